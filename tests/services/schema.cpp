#include "services/schema.h"

#include "platform/data/recordset.h"

#include <filesystem>
#include <fstream>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

namespace corveth {
namespace {

namespace fs = std::filesystem;

class SchemaTest : public testing::Test {
protected:
    SchemaTest() {
        std::string pattern = testing::TempDir() + "corveth-schema-XXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~SchemaTest() override { fs::remove_all(folder_); }

    [[nodiscard]] fs::path file() const { return folder_ / "x.db"; }
    [[nodiscard]] Text database() const { return "Provider=SQLite;Data Source=" + file().string(); }
    [[nodiscard]] std::size_t filesInFolder() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }

    [[nodiscard]] Ref<Connection> open() const {
        auto connection = make<Connection>();
        connection->open(database());
        return connection;
    }
    void execute(TextView sql) const { open()->execute(sql); }
    /// The rows of a statement, their values as text and joined by bars.
    [[nodiscard]] std::vector<Text> rows(TextView sql) const {
        auto recordset = make<Recordset>();
        recordset->open(Text(sql), open(), CursorType::staticCopy, LockType::readOnly);
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

    fs::path folder_;
};

TEST_F(SchemaTest, aNewDatabaseIsStampedPrivateAndUsable) {
    createDatabase(database());
    EXPECT_EQ(databaseVersion(database()), schemaVersion);
    EXPECT_NO_THROW(checkDatabase(database()));
    EXPECT_EQ(fs::status(file()).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(filesInFolder(), 1U);
    EXPECT_THAT(rows("Select Version From SchemaVersion"), testing::ElementsAre("1"));
}

TEST_F(SchemaTest, refusesToMakeWhereThereIsSomething) {
    const auto version = [this](int number) {
        createDatabase(database());
        execute("Update SchemaVersion Set Version = " + std::to_string(number));
    };
    const struct {
        const char* name;
        std::function<void()> given;
        const char* expected;
    } cases[] = {
        {"this version", [&] { version(schemaVersion); }, "x.db has its tables already, of version 1."},
        {"newer", [&] { version(7); }, "of version 7, which is newer than this build's 1."},
        {"other tables", [&] { version(1), execute("drop table SchemaVersion"); }, "none of the tables of this system"},
        {"no database", [&] { std::ofstream(file()) << "Dear diary, this is not a database at all."; },
         "file is not a database"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        fs::remove(file());
        row.given();
        const auto before = fs::file_size(file());
        try {
            createDatabase(database());
            ADD_FAILURE() << "was made";
        } catch (const Error& error) {
            EXPECT_EQ(error.number, 58);
            EXPECT_THAT(error.description, testing::HasSubstr(row.expected));
        }
        EXPECT_EQ(fs::file_size(file()), before);
    }
}

TEST_F(SchemaTest, checkTellsWhatKeepsADatabaseFromBeingUsed) {
    const struct {
        const char* name;
        std::function<void()> given;
        std::int32_t number;
        const char* expected;
    } cases[] = {
        {"no file", [] {}, errors::engine, "x.db"},
        {"no database", [&] { std::ofstream(file()) << "Dear diary, this is not a database at all."; }, errors::engine,
         "x.db"},
        {"no tables", [&] { createDatabase(database()), execute("drop table SchemaVersion"); }, errors::application,
         "x.db has none of the tables"},
        {"no version", [&] { createDatabase(database()), execute("Delete From SchemaVersion"); }, errors::application,
         "has none of the tables"},
        {"older", [&] { createDatabase(database()), execute("Update SchemaVersion Set Version = -1"); },
         errors::application, "of version -1, older than"},
        {"newer", [&] { createDatabase(database()), execute("Update SchemaVersion Set Version = 2"); },
         errors::application, "of version 2, newer than"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        fs::remove(file());
        row.given();
        const bool existed = fs::exists(file());
        try {
            checkDatabase(database());
            ADD_FAILURE() << "was accepted";
        } catch (const Error& error) {
            EXPECT_EQ(error.number, row.number);
            EXPECT_THAT(error.description, testing::HasSubstr(row.expected));
        }
        EXPECT_EQ(fs::exists(file()), existed);
    }
}

TEST_F(SchemaTest, whatCannotBeMadeLeavesNothingBehind) {
    fs::create_directory(folder_ / "sub");
    EXPECT_THROW(createDatabase("Provider=SQLite;Data Source=" + (folder_ / "none" / "x.db").string()), Error);
    EXPECT_THROW(createDatabase("Provider=SQLite;Data Source=" + (folder_ / "sub").string()), Error);
    EXPECT_THROW(createDatabase("Provider=SQLite"), Error);
    EXPECT_EQ(filesInFolder(), 1U);
}

/// What a statement on the view does to the two tables under it.
TEST_F(SchemaTest, contactsAreWrittenThroughTheirView) {
    createDatabase(database());
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
TEST_F(SchemaTest, keysAndLinksAreFoundByIndex) {
    createDatabase(database());
    const char* const conditions[] = {
        "Notes Where NoteId",         "Notes Where LinkId",           "Notes Where LinkType",
        "Attachments Where LinkID",   "Reminders Where LinkID",       "Favourites Where LinkID",
        "StatusHistory Where LinkID", "Participants Where ContactID", "Participants Where LinkId",
        "ItemMap Where LinkId",       "ItemMap Where ItemID",         "ContactMaster Where CompanyID",
        "Contacts Where ContactId",   "Contacts Where CompanyID",     "Contacts Where ContactType",
        "Projects Where ID",          "Projects Where ParentID",      "Projects Where ProjectId",
        "Products Where ID",          "Products Where ParentId",      "Products Where LinkId",
    };
    for (const char* condition : conditions) {
        const auto plan = rows("explain query plan Select * From " + Text(condition) + " = 'x'");
        EXPECT_THAT(plan, testing::Not(testing::Contains(testing::HasSubstr("SCAN")))) << condition;
    }
}

} // namespace
} // namespace corveth
