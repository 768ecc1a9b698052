#include "services/schema.h"

#include "platform/automation/convert.h"
#include "platform/data/recordset.h"
#include "session/module_state.h"
#include "session/note.h"
#include "support/temporary_database.h"
#include "support/test_server.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>

namespace corveth {
namespace {

namespace fs = std::filesystem;

/// On each engine, with a place for a database where nothing is yet.
class SchemaTest : public testing::TestWithParam<test::Engine> {
protected:
    [[nodiscard]] Text source() const { return database->connectionString(); }
    [[nodiscard]] Ref<Connection> open() const {
        auto connection = make<Connection>();
        connection->open(source());
        return connection;
    }
    void execute(TextView sql) const { open()->execute(sql); }
    /// The rows of a statement, their values as text and joined by bars.
    [[nodiscard]] static std::vector<Text> rows(TextView sql, const Ref<Connection>& connection) {
        auto recordset = make<Recordset>();
        recordset->open(Text(sql), connection, CursorType::staticCopy, LockType::readOnly);
        std::vector<Text> result;
        for (; !recordset->get_EOF(); recordset->MoveNext()) {
            Text row;
            for (std::size_t i = 0; i < recordset->columnCount(); ++i) {
                const Value& value = recordset->value(i);
                row += (i == 0 ? "" : "|") + (value.isNull() ? Text("Null") : toText(value));
            }
            result.push_back(row);
        }
        return result;
    }
    [[nodiscard]] std::vector<Text> rows(TextView sql) const { return rows(sql, open()); }
    void createVersion(const Text& version) const {
        createDatabase(source());
        execute("Update SchemaVersion Set Version = " + version);
    }

    std::unique_ptr<test::TestDatabase> database = GetParam().make(false);
};

TEST_P(SchemaTest, aNewDatabaseIsStampedAndUsable) {
    createDatabase(source());
    EXPECT_EQ(databaseVersion(source()), schemaVersion);
    EXPECT_NO_THROW(checkDatabase(source()));
    EXPECT_THAT(rows("Select Version From SchemaVersion"), testing::ElementsAre(std::to_string(schemaVersion)));
}

TEST_P(SchemaTest, aNewDatabaseHasAWeekOfWork) {
    createDatabase(source());
    EXPECT_THAT(rows("Select * From WorkingHours Where ProjectId='' Or ProjectId is Null"),
                testing::ElementsAre("WH00000001|0|8|8|8|8|8|0|Null"));
    EXPECT_THAT(rows("Select * From Holidays"), testing::ElementsAre());
}

TEST_P(SchemaTest, usersAreParticipantsWithTheirNamesToBeRead) {
    createDatabase(source());
    execute("Insert Into ContactMaster (ContactId, ContactName) Values ('CN1', 'Ann'), ('CN2', Null), ('CN3', 'Bo')");
    execute("Insert Into Participants (ContactId, LinkId, Role, Availability) Values ('cn1', 'PT1', 'Lead', 50), "
            "('CN1', 'PT2', Null, 0), ('CN2', 'PT1', Null, 0), ('CN9', 'PT1', Null, 0)");
    EXPECT_THAT(
        rows("Select ContactId, LinkId, Role, Availability, ContactName From Users Order By ContactId, LinkId"),
        testing::ElementsAre("cn1|PT1|Lead|50|Ann", "CN1|PT2|Null|0|Ann", "CN2|PT1|Null|0|", "CN9|PT1|Null|0|"));

    const auto connection = open();
    auto users = make<Recordset>();
    users->open("Select * From Users", connection, CursorType::keyset, LockType::optimistic);
    EXPECT_EQ(users->columnName(users->columnCount() - 1), "ContactName");
    EXPECT_EQ(users->columnName(9), "Billable");
    constexpr const char* notSupported = "Current Recordset does not support";
    EXPECT_THAT(test::raised([&] { users->set("Role", Text("x")); }), testing::HasSubstr(notSupported));
    EXPECT_THAT(test::raised([&] { users->AddNew(); }), testing::HasSubstr(notSupported));
    for (const char* statement : {"Update Users Set Role='x'", "Delete From Users",
                                  "Insert Into Users (ContactId, LinkId) Values ('CN3', 'PT1')"})
        EXPECT_THAT(test::raised([&] { execute(statement); }), testing::HasSubstr("view")) << statement;
    EXPECT_THAT(rows("Select Count(*), Count(Role) From Participants"), testing::ElementsAre("4|1"));
}

TEST_P(SchemaTest, refusesToMakeWhereThereIsSomething) {
    const struct {
        const char* name;
        std::function<void()> given;
        const char* expected;
    } cases[] = {
        {"this version", [&] { createVersion("2"); }, " has its tables already, of version 2."},
        {"newer", [&] { createVersion("7"); },
         " has its tables already, of version 7, which is newer than this build's 2."},
        {"other tables", [&] { createVersion("1"), execute("drop table SchemaVersion"); },
         " exists already and has none of the tables of this system."},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        database->remove();
        row.given();
        execute("Insert Into Notes (NoteId) Values ('NT1')");
        EXPECT_EQ(test::raised([&] { createDatabase(source()); }),
                  "58 Corveth.Schema: " + database->name() + row.expected);
        EXPECT_THAT(rows("Select NoteId From Notes"), testing::ElementsAre("NT1"));
    }
}

TEST_P(SchemaTest, checkTellsWhatKeepsADatabaseFromBeingUsed) {
    const struct {
        const char* name;
        std::function<void()> given;
        std::int32_t number;
        const char* expected;
    } cases[] = {
        {"no database", [] {}, errors::engine, ""},
        {"no tables", [&] { createDatabase(source()), execute("drop table SchemaVersion"); }, errors::application,
         " has none of the tables"},
        {"no version", [&] { createDatabase(source()), execute("Delete From SchemaVersion"); }, errors::application,
         " has none of the tables"},
        {"older", [&] { createVersion("1"); }, errors::application,
         " are of version 1, older than this build's 2. A dump of them"},
        {"newer", [&] { createVersion("3"); }, errors::application, " are of version 3, newer than this build's 2."},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        database->remove();
        row.given();
        try {
            checkDatabase(source());
            ADD_FAILURE() << "was accepted";
        } catch (const Error& error) {
            EXPECT_EQ(error.number, row.number);
            EXPECT_THAT(error.description, testing::HasSubstr(row.expected));
            EXPECT_THAT(error.description, testing::HasSubstr(database->name()));
        }
    }
}

/// What a statement on the view does to the two tables under it.
TEST_P(SchemaTest, contactsAreWrittenThroughTheirView) {
    createDatabase(source());
    const struct {
        const char* name;
        const char* statement;
        std::vector<Text> master;
        std::vector<Text> details;
    } cases[] = {
        {"insert",
         "Insert Into Contacts (ContactId, FirstName, Fax, Expr1) Values ('CN1', 'Ann', '11', 'CN1')",
         {"CN1|Ann"},
         {"CN1|Null|11"}},
        {"first table", "Update Contacts Set FirstName='Eve' Where ContactId='CN1'", {"CN1|Eve"}, {"CN1|Null|11"}},
        {"second table, key in small letters",
         "Update Contacts Set Phone='5' Where ContactId='cn1'",
         {"CN1|Eve"},
         {"CN1|5|11"}},
        {"both", "Update Contacts Set FirstName='Zoe', Fax=Null Where ContactId='CN1'", {"CN1|Zoe"}, {"CN1|5|Null"}},
        {"details gone", "Delete From ContactDetails", {"CN1|Zoe"}, {}},
        {"details made again", "Update Contacts Set Fax='9' Where ContactId='CN1'", {"CN1|Zoe"}, {"CN1|Null|9"}},
        {"key", "Update Contacts Set ContactId='CN2', Phone='6' Where ContactId='CN1'", {"CN2|Zoe"}, {"CN2|6|9"}},
        {"another",
         "Insert Into Contacts (ContactId) Values ('CN3')",
         {"CN2|Zoe", "CN3|Null"},
         {"CN2|6|9", "CN3|Null|Null"}},
        {"delete", "Delete From Contacts Where ContactId='CN2'", {"CN3|Null"}, {"CN3|Null|Null"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        execute(row.statement);
        EXPECT_EQ(rows("Select ContactId, FirstName From ContactMaster Order By ContactId"), row.master);
        EXPECT_EQ(rows("Select ContactId, Phone, Fax From ContactDetails Order By ContactId"), row.details);
    }
}

/// No statement that the system sends may read a whole table to find the rows of one key or link.
TEST_P(SchemaTest, keysAndLinksAreFoundByIndex) {
    createDatabase(source());
    const char* const conditions[] = {
        "Notes Where NoteId",
        "Notes Where LinkId",
        "Notes Where LinkType",
        "Attachments Where LinkID",
        "Reminders Where LinkID",
        "Favourites Where LinkID",
        "StatusHistory Where LinkID",
        "Participants Where ContactID",
        "Participants Where LinkId",
        "ItemMap Where LinkId",
        "ItemMap Where ItemID",
        "ContactMaster Where CompanyID",
        "Contacts Where ContactId",
        "Contacts Where CompanyID",
        "Contacts Where ContactType",
        "Projects Where ID",
        "Projects Where ParentID",
        "Projects Where ProjectId",
        "Products Where ID",
        "Products Where ParentId",
        "Products Where LinkId",
        "Projects Where PrjCategoryID",
        "WorkingHours Where ProjectId",
        "Holidays Where Projectid",
        "ProjectTypeMaster Where ItemId",
        "ProjectTypeMaster Where ParentId",
        "Users Where LinkId",
        "Users Where ContactId",
        "Versions Where Id",
        "Actions Where Id",
        "Actions Where LinkId",
    };
    const auto connection = open();
    if (GetParam().searchByIndex != nullptr) connection->execute(GetParam().searchByIndex);
    for (const char* condition : conditions) {
        const auto plan = rows(GetParam().plan + ("Select * From " + Text(condition) + " = '1'"), connection);
        EXPECT_THAT(plan, testing::Not(testing::Contains(testing::HasSubstr(GetParam().wholeTable)))) << condition;
    }
}

CORVETH_ON_EVERY_ENGINE(SchemaTest);

/// This engine's databases have users, who have rights.
class SchemaServerTest : public SchemaTest {
protected:
    SchemaServerTest() { test::ServerConnection("postgres").run("create role " + user + " login"); }
    ~SchemaServerTest() override {
        if (database != nullptr) database->remove(); // and what the user may do in it
        test::ServerConnection("postgres").run("drop role " + user);
    }
    /// The database as the user reaches it, who may nothing by himself.
    [[nodiscard]] Text sourceOfUser() const { return replaceAll(source(), "User ID=corveth", "User ID=" + user); }

    const Text user = "user_of_" + database->name();
};

TEST_P(SchemaServerTest, whoMayNotIsToldWhatAndWhere) {
    const struct {
        const char* name;
        std::function<void()> given;
        std::function<void()> action;
        Text expected;
    } cases[] = {
        {"a database", [] {}, [&] { createDatabase(sourceOfUser()); },
         "The database \"" + database->name() + "\" cannot be made: permission denied to create database"},
        {"tables", [&] { test::ServerConnection("postgres").run("create database " + database->name()); },
         [&] { createDatabase(sourceOfUser()); },
         "The tables of " + database->name() +
             " cannot be made: permission denied to create extension \"citext\": Must have CREATE privilege"},
        {"a look", [&] { createDatabase(source()); }, [&] { checkDatabase(sourceOfUser()); },
         "permission denied for table schemaversion"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        row.given();
        EXPECT_THAT(test::raised(row.action), testing::HasSubstr(row.expected));
    }
}

/// Tables in a schema of one user's own would be seen by nobody else.
TEST_P(SchemaServerTest, whoeverHasRightsOnTheTablesWorksWithThem) {
    createDatabase(source());
    execute("grant select, insert, update, delete on all tables in schema public to " + user);
    moduleState().SharedConnection = make<Connection>();
    moduleState().SharedConnection->open(sourceOfUser());
    auto note = make<Note>();
    note->Title = "mine";
    note->Update();
    moduleState() = {};
    EXPECT_THAT(rows("Select NoteId & ' ' & Title From Notes"), testing::ElementsAre("NT00000001 mine"));
}

CORVETH_ON_ENGINE("PostgreSQL", SchemaServerTest);

/// This engine's databases are files.
class SchemaFileTest : public testing::Test {
protected:
    [[nodiscard]] Text source(TextView file) const { return "Provider=SQLite;Data Source=" + folder.file(file); }
    [[nodiscard]] std::ptrdiff_t filesInFolder() const {
        return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
    }

    test::TemporaryFolder folder;
};

TEST_F(SchemaFileTest, isPrivateAndAlone) {
    createDatabase(source("x.db"));
    EXPECT_EQ(fs::status(folder.file("x.db")).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(filesInFolder(), 1);
    EXPECT_NE(test::raised([&] { checkDatabase(source("none.db")); }), "");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(SchemaFileTest, isNotMadeOfALetter) {
    const Text letter = "Dear diary, this is not a database at all.";
    std::ofstream(folder.file("x.db")) << letter;
    EXPECT_THAT(test::raised([&] { createDatabase(source("x.db")); }),
                testing::AllOf(testing::StartsWith("58 "), testing::HasSubstr("file is not a database")));
    EXPECT_THAT(test::raised([&] { checkDatabase(source("x.db")); }), testing::HasSubstr("x.db"));
    EXPECT_EQ(fs::file_size(folder.file("x.db")), letter.size());
}

TEST_F(SchemaFileTest, leavesNothingBehindWhenItCannotBeMade) {
    fs::create_directory(folder.file("sub"));
    EXPECT_THROW(createDatabase(source("none/x.db")), Error);
    EXPECT_THROW(createDatabase(source("sub")), Error);
    EXPECT_THROW(createDatabase("Provider=SQLite"), Error);
    EXPECT_EQ(filesInFolder(), 1);
}

} // namespace
} // namespace corveth
