// Several processes that save new records at once.

#include "faults/child.h"
#include "faults/records.h"
#include "services/schema.h"
#include "session/failure.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <atomic>
#include <set>
#include <sqlite3.h>
#include <thread>

namespace corveth::test {
namespace {

constexpr int notesOfEach = 500, notesOfARun = 10;

/// Every other run of notes in one transaction, the others each on its own. Reports the ID of each note.
void saveNotes(const Text& database, const Child::Report& report) {
    share(database);
    for (int run = 0; run < notesOfEach / notesOfARun; ++run) {
        inTransaction(run % 2 == 1, [&] {
            for (int i = 0; i < notesOfARun; ++i) {
                const auto note = make<Note>();
                note->Title = "own";
                note->Update();
                report(lastId());
            }
        });
    }
}

/// Rows of another program, which takes the next number by itself. How many went in.
int insertBehindTheCounter(const Text& file, const std::atomic<bool>& isOver) {
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_busy_timeout(database, 60000);
    int inserted = 0;
    while (!isOver) {
        const int code = sqlite3_exec(database,
                                      "Insert Into Notes (NoteId, Title) Select 'NT' || substr('0000000' || "
                                      "(1 + coalesce(max(Cast(substr(NoteId, 3) As integer)), 0)), -8), 'foreign' "
                                      "From Notes",
                                      nullptr, nullptr, nullptr);
        EXPECT_EQ(code, SQLITE_OK) << sqlite3_errmsg(database);
        if (code == SQLITE_OK) ++inserted;
        // Locks go to whoever asks at the right moment: the others must get some.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    sqlite3_close(database);
    return inserted;
}

struct Case {
    const char* name;
    bool foreignRows;
    friend void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }
};

class Writers : public testing::TestWithParam<Case> {};

TEST_P(Writers, GiveEveryNoteItsOwnIdAndLoseNone) {
    const TemporaryFolder folder;
    const Text database = "Provider=SQLite;Default Timeout=60;Data Source=" + folder.file("test.db");
    createDatabase(database);
    Child first([&](const auto& report) { saveNotes(database, report); });
    Child second([&](const auto& report) { saveNotes(database, report); });

    int foreignRows = 0;
    std::atomic<bool> isOver = false;
    std::thread foreigner([&] {
        if (GetParam().foreignRows) foreignRows = insertBehindTheCounter(folder.file("test.db"), isOver);
    });
    std::multiset<Text> ids;
    for (Child* child : {&first, &second}) {
        for (Text line; child->readLine(line);)
            ids.insert(line);
        EXPECT_EQ(child->wait(), 0) << *ids.rbegin();
    }
    isOver = true;
    foreigner.join();
    EXPECT_EQ(foreignRows > 0, GetParam().foreignRows);

    const auto connection = share(database);
    std::multiset<Text> stored;
    const auto rows = make<Recordset>();
    rows->open("Select NoteId From Notes Where Title='own'", connection, CursorType::forwardOnly, LockType::readOnly);
    for (; !rows->get_EOF(); rows->MoveNext())
        stored.insert(*rows->value("NoteId").getIf<Text>());
    EXPECT_EQ(stored.size(), 2U * notesOfEach);
    EXPECT_EQ(stored, ids);
    EXPECT_EQ(firstValue(connection, "Select Count(*) From Notes"), std::to_string(2 * notesOfEach + foreignRows));
    closeShared();
}

INSTANTIATE_TEST_SUITE_P(Faults, Writers, testing::Values(Case{"Alone", false}, Case{"WithRowsBehindTheCounter", true}),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace corveth::test
