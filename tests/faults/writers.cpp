// Several processes and threads that save new records at once.

#include "faults/child.h"
#include "faults/records.h"
#include "session/failure.h"
#include "session/module_state.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <fmt/format.h>

#include <atomic>
#include <set>
#include <thread>

namespace corveth::test {
namespace {

struct Case {
    const char* name;
    const char* engine;
    int threads; ///< of each of two processes
    int runs;    ///< of each thread
    bool foreignRows;

    friend void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }
};

const Case cases[] = {
    {"SQLiteAlone", "SQLite", 8, 6, false},
    {"SQLiteWithRowsBehindTheCounter", "SQLite", 8, 6, true},
    {"PostgreSQLAlone", "PostgreSQL", 8, 6, false},
    {"PostgreSQLWithRowsBehindTheCounter", "PostgreSQL", 8, 6, true},
};
constexpr int notesOfARun = 10, processes = 2, ahead = 20;

struct RolledBack {};

/// Every other run of notes in one transaction, one of which is rolled back now and then; the others each on its own.
/// Reports the ID of each note, and of those that were rolled back that they are "gone".
void saveNotes(const Text& database, int runs, const Child::Report& report) {
    share(database);
    for (int run = 0; run < runs; ++run) {
        std::vector<Text> ids;
        const bool isRolledBack = run % 6 == 5;
        try {
            inTransaction(run % 2 == 1, [&] {
                for (int i = 0; i < notesOfARun; ++i) {
                    const auto note = make<Note>();
                    note->Title = "own";
                    note->Update();
                    ids.push_back(lastId());
                }
                if (isRolledBack) throw RolledBack();
            });
        } catch (const RolledBack&) { // NOLINT(bugprone-empty-catch): as it should be
        }
        for (const Text& id : ids)
            report((isRolledBack ? "gone " : "") + id);
    }
    closeShared();
}

void saveNotesInThreads(const Text& database, const Case& row, const Child::Report& report) {
    std::vector<std::thread> threads;
    std::atomic<bool> isFailed = false;
    for (int i = 0; i < row.threads; ++i) {
        threads.emplace_back([&] {
            const Text failure = raised([&] { saveNotes(database, row.runs, report); });
            if (failure.empty()) return;
            report("failed: " + failure);
            isFailed = true;
        });
    }
    for (auto& thread : threads)
        thread.join();
    if (isFailed) throw Error(errors::application, "test", "a thread failed");
}

/// Rows of another program, which takes a number by itself, beyond those that all the others are taking. How many went
/// in.
int insertBehindTheCounter(const Text& database, const std::atomic<bool>& isOver) {
    const auto connection = make<Connection>();
    connection->open(database);
    int inserted = 0;
    while (!isOver || inserted == 0) {
        connection->BeginTrans();
        const Text greatest = firstValue(connection, "Select Max(NoteId) & '' From Notes");
        const int number = greatest.size() > 2 ? std::stoi(greatest.substr(2)) : 0;
        const Text failure = raised([&] {
            connection->execute(
                fmt::format("Insert Into Notes (NoteId, Title) Values ('NT{:08}', 'foreign')", number + ahead));
        });
        connection->CommitTrans();
        if (failure.empty()) {
            ++inserted;
        } else {
            EXPECT_THAT(failure, testing::HasSubstr("duplicate key"))
                << "somebody else may be quicker, and that is all";
        }
        // Locks go to whoever asks at the right moment: the others must get some.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return inserted;
}

class Writers : public testing::TestWithParam<Case> {};

TEST_P(Writers, GiveEveryNoteItsOwnIdAndLoseNone) {
    const Case& row = GetParam();
    const auto made = engines(row.engine).front().make(true);
    const Text database = made->connectionString() + ";Default Timeout=60";
    std::vector<std::unique_ptr<Child>> children;
    while (children.size() < processes) {
        children.push_back(
            std::make_unique<Child>([&](const auto& report) { saveNotesInThreads(database, row, report); }));
    }
    int foreignRows = 0;
    std::atomic<bool> isOver = false;
    std::thread foreigner([&] {
        if (row.foreignRows) foreignRows = insertBehindTheCounter(database, isOver);
    });
    std::multiset<Text> ids;
    std::set<Text> gone;
    for (const auto& child : children) {
        for (Text line; child->readLine(line);) {
            if (line.starts_with("gone ")) {
                EXPECT_TRUE(gone.insert(line.substr(5)).second) << line;
            } else {
                ids.insert(line);
            }
        }
        EXPECT_EQ(child->wait(), 0) << *ids.rbegin();
    }
    isOver = true;
    foreigner.join();
    EXPECT_EQ(foreignRows > 0, row.foreignRows);

    const auto connection = share(database);
    std::multiset<Text> stored;
    const auto rows = make<Recordset>();
    rows->open("Select NoteId From Notes Where Title='own'", connection, CursorType::forwardOnly, LockType::readOnly);
    for (; !rows->get_EOF(); rows->MoveNext()) {
        const Text id = *rows->value("NoteId").getIf<Text>();
        stored.insert(id);
        EXPECT_FALSE(gone.contains(id)) << id << " was given again";
    }
    EXPECT_EQ(stored, ids);
    const int own = processes * row.threads * notesOfARun * (row.runs - row.runs / 6);
    EXPECT_EQ(firstValue(connection, "Select Count(*) From Notes"), std::to_string(own + foreignRows));
    closeShared();
}

INSTANTIATE_TEST_SUITE_P(Faults, Writers, testing::ValuesIn(cases),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace corveth::test
