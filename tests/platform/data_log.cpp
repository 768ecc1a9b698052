// The log of what callers are not told.

#include "services/schema.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corveth::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

std::vector<Text> linesOf(const Text& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<Text> lines;
    for (Text line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

class DataLog : public DataTest {
protected:
    [[nodiscard]] Text path() const { return folder.file("log"); }
    [[nodiscard]] Ref<Connection> logging(TextView file) const { return connect("Log=" + folder.file(file)); }
    /// That `action` failed and is in the log's last line, without the time; N stands for how long it took.
    void isSlow(const std::function<void()>& action, const Text& expected) const {
        EXPECT_THAT(raised(action), StartsWith("-2147467259 "));
        const auto lines = linesOf(path());
        ASSERT_FALSE(lines.empty());
        Text line = lines.back().substr(24);
        const auto digits = line.find_first_of("0123456789");
        ASSERT_NE(digits, Text::npos) << line;
        line.replace(digits, line.find(" ms") - digits, "N");
        EXPECT_EQ(line, "Connection\t" + expected);
    }
};

TEST_P(DataLog, HasALineForEachWithItsTimeAndNothingThatBreaksIt) {
    const struct {
        const char* name;
        Text given;
        const char* expected;
    } cases[] = {
        {"plain", "no such table: Nötes", "no such table: Nötes"},
        {"line breaks", "first\r\nsecond\nthird", "first\\r\\nsecond\\nthird"},
        {"tab", "a\tb", "a\\tb"},
        {"escape sequence", "\x1b[2J\x7f", "\\x1b[2J\\x7f"},
        {"NUL", Text("a\0b", 3), "a\\x00b"},
        {"C1", "\xC2\x85\xC2\x9F\xC2\xA0", "\\x85\\x9f\xC2\xA0"},
        {"broken at its end", "x\xC2", "x\xC2"},
        {"empty", "", ""},
    };
    const auto logged = logging("log");
    std::vector<Text> expected;
    for (const auto& row : cases) {
        logged->log("Note", "loading", row.given);
        expected.push_back(Text("\tNote\tloading\t") + row.expected);
        const auto lines = linesOf(path());
        ASSERT_EQ(lines.size(), expected.size()) << row.name << ": not there when the call returned";
        EXPECT_THAT(lines.back().substr(0, 23), MatchesRegex("....-..-..T..:..:..\\.[0-9][0-9][0-9]"));
        EXPECT_EQ(lines.back().substr(23), expected.back()) << row.name;
    }
    std::filesystem::rename(path(), folder.file("earlier"));
    logged->log("Note", "moved", "");
    logged->Close();
    logged->log("Note", "closed", "");
    EXPECT_THAT(linesOf(path()), ElementsAre(testing::EndsWith("\tmoved\t"), testing::EndsWith("\tclosed\t")));
    struct stat status {};
    ASSERT_EQ(::stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    connection->log("Note", "without a log", "");
}

TEST_P(DataLog, IsRefusedWhenItCannotBeOpened) {
    const Text begin = "3002 ADODB.Connection: File could not be opened. \"";
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
    const struct {
        const char* name;
        const char* file;
        Text expected;
    } cases[] = {
        {"no such folder", "none/log", begin + folder.file("none/log") + "\": No such file or directory"},
        {"a folder", ".", begin + folder.file(".") + "\": Is a directory"},
        {"a pipe without a reader", "pipe", begin + folder.file("pipe") + "\": No such device or address"},
    };
    for (const auto& row : cases) {
        EXPECT_THAT(raised([&] { static_cast<void>(logging(row.file)); }), StartsWith(row.expected)) << row.name;
    }
}

/// This engine's database is a file that lines could be appended to.
class DataLogIntoADatabase : public DataLog {};

TEST_P(DataLogIntoADatabase, IsRefused) {
    const Text file = folder.file("x.db"), link = folder.file("other name");
    const Text source = "Provider=SQLite;Data Source=" + file;
    createDatabase(source);
    std::filesystem::create_hard_link(file, link);
    for (const Text& output : {"Log=" + link, "Trace File=" + file}) {
        EXPECT_THAT(raised([&] { make<Connection>()->open(source + ";" + output); }),
                    StartsWith("3001 ADODB.Connection"));
    }
    EXPECT_EQ(databaseVersion(source), schemaVersion);
}

TEST_P(DataLog, DisturbsNothingWhenItCannotBeWritten) {
    const auto pipe = folder.file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const auto limited = [](const std::function<void()>& action) {
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit none{0, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
        action();
        setrlimit(RLIMIT_FSIZE, &before);
    };
    const struct {
        const char* name;
        Ref<Connection> logged;
        std::function<void(const std::function<void()>&)> within;
    } cases[] = {
        {"its folder is gone", logging("log"),
         [&](const auto& action) {
             std::filesystem::remove(path());
             std::filesystem::create_directory(path());
             action();
         }},
        {"a full device", connect("Log=/dev/full"), [](const auto& action) { action(); }},
        {"a limit on the size of files", logging("limited"), limited},
        {"a pipe that is full", logging("pipe"),
         [](const auto& action) {
             for (int i = 0; i < 10000; ++i)
                 action();
         }},
        {"a pipe that nobody reads any more", logging("pipe"),
         [&](const auto& action) {
             ::close(reader);
             action();
         }},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        row.within([&] { row.logged->log("Note", "loading", "lost"); });
        EXPECT_EQ(row.logged->execute("Delete From Items"), 0);
    }
}

TEST_P(DataLog, TakesStatementsThatWereSlow) {
    const auto locking = connect();
    const auto logged = logging("log");
    logged->let_CommandTimeout(1);
    logged->execute("Insert Into Items (Id) Values ('A1')");
    EXPECT_THAT(linesOf(path()), IsEmpty());
    auto items = make<Recordset>();
    items->open("Select * From Items", logged, CursorType::keyset, LockType::optimistic);
    items->set("Name", "it's");
    locking->BeginTrans();
    locking->execute("Update Items Set Size = 2");
    isSlow([&] { logged->execute("Update Items\nSet Size = 1 Where Id = \"A1\""); },
           "slow execute\tN ms Update Items\\nSet Size = 1 Where Id = \"A1\"");
    isSlow([&] { items->Update(); }, "slow row\tN ms Update [Items] Set [Name] = 'it''s' Where [Id] = 'A1'");
    EXPECT_EQ(linesOf(path()).size(), 2U);
}

/// With this engine a transaction waits for the one before it.
class DataLogOfTransactions : public DataLog {};

TEST_P(DataLogOfTransactions, TakesThoseThatBeganSlowly) {
    const auto locking = connect();
    const auto logged = logging("log");
    logged->let_CommandTimeout(1);
    locking->BeginTrans();
    isSlow([&] { logged->BeginTrans(); }, "slow begin\tN ms");
}

/// This engine's counters are rows, which a rollback takes back.
class DataLogOfCounters : public DataLog {};

TEST_P(DataLogOfCounters, TakesThoseThatARollbackTookBack) {
    const auto logged = connect("Log=" + path());
    for (const char* sql :
         {"create table Allowed (Id integer)",
          "create trigger Refused before insert on IdCounters when not exists (select * from Allowed) "
          "begin select raise(abort, 'not now'); end"}) {
        logged->execute(sql);
    }
    logged->BeginTrans();
    logged->execute("Insert Into Allowed Values (1)");
    EXPECT_EQ(logged->nextId("XX", 5, "Id", "Items"), "XX001");
    logged->RollbackTrans();
    EXPECT_THAT(linesOf(path()),
                ElementsAre(testing::HasSubstr("\tConnection\tkeeping the key counters through a rollback\tnot now")));
}

CORVETH_ON_EVERY_ENGINE(DataLog);
CORVETH_ON_ENGINE("SQLite", DataLogIntoADatabase);
CORVETH_ON_ENGINE("SQLite", DataLogOfTransactions);
CORVETH_ON_ENGINE("SQLite", DataLogOfCounters);

} // namespace
} // namespace corveth::test
