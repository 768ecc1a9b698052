// Opening and closing, connection strings, the trace.

#include "platform/automation/class_registry.h"
#include "platform/automation/convert.h"
#include "platform/automation/dispatch.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <sys/stat.h>
#include <thread>

namespace corveth::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

Text contentOf(const Text& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

TEST(ConnectionString, NamesAllThatIsWrongAtOnce) {
    constexpr const char* begin =
        "3001 ADODB.Connection: Arguments are of the wrong type, are out of acceptable range, "
        "or are in conflict with one another. Connection string: ";
    struct Case {
        const char* name;
        const char* given;
        const char* expected;
    };
    const Case cases[] = {
        {"nothing", "", "\"Provider\" is missing (known: SQLite, PostgreSQL)."},
        {"an unknown provider", "Provider=Ledger;Data Source=x",
         "the provider \"Ledger\" is not known (known: SQLite, PostgreSQL)."},
        {"no file", "provider = sqlite", "\"Data Source\" is missing."},
        {"unknown keywords", "Provider=SQLite;Data Sauce=x;Colour=red",
         "the keyword \"Data Sauce\" is not known; the keyword \"Colour\" is not known; \"Data Source\" is missing."},
        {"keywords of another engine", "Provider=SQLite;Data Source=x;Host=h;SSL Mode=off",
         "\"Host\" does not suit the provider SQLite; \"SSL Mode\" does not suit the provider SQLite."},
        {"twice", "Provider=SQLite;Data Source=x;DATA SOURCE=y", "\"Data Source\" is given twice."},
        {"a password that ends too early", "Provider=SQLite;Data Source=x;Password=a;b=c;d;e=f",
         "what follows the Password (one with a semicolon stands in quotes) has no value; what follows the "
         "Password (one with a semicolon stands in quotes) is not known; what follows the Password (one "
         "with a semicolon stands in quotes) is not known; \"Password\" does not suit the provider SQLite."},
        {"no value", "Provider=SQLite;Data Source", "\"Data Source\" has no value; \"Data Source\" is missing."},
        {"no keyword", "Provider=SQLite;=x;Data Source=x", "a value without a keyword."},
        {"no end", "Provider=SQLite;Data Source='x;Log=y", "a quoted value has no end."},
        {"text after quotes", "Provider=SQLite;Data Source='x' y", "text follows a quoted value."},
        {"no number", "Provider=SQLite;Data Source=x;Default Timeout=soon",
         "\"Default Timeout\" is not a number of seconds: \"soon\"."},
        {"a negative one", "Provider=SQLite;Data Source=x;Default Timeout=-1", "\"Default Timeout\" is not a number"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT(raised([&] { make<Connection>()->open(row.given); }), StartsWith(Text(begin) + row.expected));
    }
}

class DataConnection : public DataTest {};

TEST_P(DataConnection, ReadsTheStringAsItIsMeant) {
    connection->Close();
    database().rename("odd; 'name' = \"x\"");
    const auto other = make<Connection>();
    Text given = connectionString() + ";;Default Timeout=3; ";
    given.replace(0, given.find('='), " ; proVIDER ");
    callMember(*other, "Open", {given});
    EXPECT_EQ(toText(getMember(*other, "State")), "1");
    EXPECT_EQ(other->get_CommandTimeout(), 3);
    EXPECT_EQ(other->get_ConnectionString(), given);
    EXPECT_THAT(raised([&] { other->open(given); }), StartsWith("3705 ADODB.Connection"));
    other->Close();
    EXPECT_THAT(raised([&] { other->Close(); }), StartsWith("3704 ADODB.Connection"));
    EXPECT_THAT(raised([&] { other->execute("Delete From Items"); }), StartsWith("3704 ADODB.Connection"));
    other->Open({}, {}, {}, -1);
    EXPECT_EQ(other->execute("Delete From Items"), 0) << "opens again by its own string";
}

TEST_P(DataConnection, ExecutesForLateBoundClients) {
    const auto created = createObject("adodb.connection");
    auto& other = *created;
    letMember(other, "ConnectionString", connectionString());
    callMember(other, "Open");
    Value arguments[] = {"Insert Into Items (Id) Values ('A1'), ('A2')", Missing{}};
    const auto none = invoke(other, memberId(other.classInfo(), "Execute"), invokeFlags::method, arguments);
    EXPECT_EQ(toText(arguments[1]), "2");
    EXPECT_EQ(toText(getMember(**none.getIf<Ref<Object>>(), "State")), "0");
    const auto result = callMember(other, "Execute", {"Select Id From Items Order By Id"});
    auto& recordset = static_cast<Recordset&>(**result.getIf<Ref<Object>>());
    EXPECT_EQ(DataTest::rowsOf(recordset), "A1;A2");
    EXPECT_THAT(raised([&] { callMember(other, "Execute", {"Select Nope From Items"}); }),
                StartsWith("-2147467259 ADODB.Connection: " + GetParam().noColumn("Nope")));
    EXPECT_EQ(toText(callMember(other, "BeginTrans")), "1");
    callMember(other, "RollbackTrans");
    callMember(other, "Close");
}

TEST_P(DataConnection, TracesWhatIsSentBeforeItRuns) {
    const Text trace = folder.file("trace.txt");
    const auto traced = connect("Trace File=" + trace);
    traced->execute("Insert Into Items (Id, Name, Size)\r\nValues ('A1', \"x\"\n, True)");
    EXPECT_THAT(raised([&] { traced->execute("Select \tNope From Items;"); }), HasSubstr(GetParam().noColumn("Nope")));
    EXPECT_EQ(raised([&] { traced->execute(" "); }).substr(0, 11), "-2147217908");
    traced->BeginTrans();
    traced->BeginTrans();
    {
        auto items = make<Recordset>();
        items->open("Select * From Items Where Id=\"A1\"", traced, CursorType::keyset, LockType::optimistic);
        items->set("Name", "it's");
        items->set("Data", Bytes(3));
        items->set("Due", Date{43890.5});
        items->Update();
        items->Delete();
    }
    traced->RollbackTrans();
    traced->traceRefused("open", "Select * From Items Where Id='a'b'");
    EXPECT_EQ(traced->nextId("XX", 5, "Id", "Items"), "XX001");
    traced->CommitTrans();
    EXPECT_THAT(raised([&] { traced->CommitTrans(); }), HasSubstr("No transaction"));

    const Text expected =
        "execute\tInsert Into Items (Id, Name, Size)\\nValues ('A1', \"x\"\\n, True)\n"
        "execute\tSelect \tNope From Items;\n"
        "begin\n"
        "begin\n"
        "open\tSelect * From Items Where Id=\"A1\"\n"
        "row\tUpdate [Items] Set [Name] = 'it''s', [Due] = 43890.5, [Data] = <3 bytes> Where [Id] = 'A1'\n"
        "row\tDelete From [Items] Where [Id] = 'A1'\n"
        "rollback\n"
        "open\tSelect * From Items Where Id='a'b'\n"
        "service\t";
    const Text content = contentOf(trace);
    EXPECT_EQ(content.substr(0, expected.size()), expected);
    EXPECT_THAT(content, testing::EndsWith("\ncommit\n"));
    EXPECT_EQ(rows("Select Name From Items"), "x");
    EXPECT_THAT(raised([&] { static_cast<void>(connect("Trace File=" + folder.file("none/trace"))); }),
                StartsWith("3002 ADODB.Connection: File could not be opened. \"" + folder.file("none/trace")));
}

TEST_P(DataConnection, BelongsToTheThreadThatMadeIt) {
    connection->execute("Insert Into Items (Id) Values ('A1')");
    const auto items = open("Select * From Items");
    const std::vector<std::function<void()>> calls = {
        [&] { connection->execute("Delete From Items"); },
        [&] { connection->BeginTrans(); },
        [&] { connection->Close(); },
        [&] { static_cast<void>(connection->get_State()); },
        [&] { static_cast<void>(connection->nextId("XX", 5, "Id", "Items")); },
        [&] { static_cast<void>(items->value(0)); },
        [&] { static_cast<void>(items->get_EOF()); },
        [&] { items->set("Size", 1); },
        [&] { items->MoveNext(); },
        [&] { items->Delete(); },
        [&] { items->Close(); },
    };
    std::vector<Text> failures;
    std::thread([&] {
        for (const auto& call : calls)
            failures.push_back(raised(call).substr(0, 11));
    }).join();
    EXPECT_THAT(failures, testing::Each(Text("-2147417842")));
    EXPECT_EQ(rows("Select Count(*) From Items"), "1");
}

CORVETH_ON_EVERY_ENGINE(DataConnection);

class DatabaseFile : public ::testing::Test {
protected:
    [[nodiscard]] Text opening(TextView file) const {
        return raised([&] { make<Connection>()->open("Provider=SQLite;Data Source=" + folder.file(file)); });
    }
    TemporaryFolder folder;
};

TEST_F(DatabaseFile, IsOpenedOnlyWhenItIsOne) {
    const Text begin = "-2147467259 ADODB.Connection: The database \"";
    EXPECT_EQ(opening("none.db"), begin + folder.file("none.db") + "\" cannot be opened: there is no such file");
    EXPECT_FALSE(std::filesystem::exists(folder.file("none.db")));
    std::ofstream(folder.file("letter.db"))
        << "Dear Sirs, this is a letter that is long enough to be a header of a file.";
    EXPECT_THAT(opening("letter.db"),
                StartsWith(begin + folder.file("letter.db") + "\" cannot be opened: file is not a database"));
    EXPECT_THAT(opening("."), StartsWith(begin + folder.file(".")));
    EXPECT_THAT(raised([] { make<Connection>()->open("Provider=SQLite;Data Source=:memory:"); }),
                HasSubstr("there is no such file"));
}

} // namespace
} // namespace corveth::test
