#include "services/row_check.h"

#include "platform/automation/convert.h"
#include "platform/data/recordset.h"
#include "services/check_rules.h"
#include "services/schema.h"
#include "services/schema_text.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <regex>
#include <set>
#include <span>
#include <sstream>

namespace corveth {
namespace {

using ::testing::HasSubstr;

Text bytesOf(const Text& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

class RowCheckTest : public ::testing::TestWithParam<test::Engine> {
protected:
    static Ref<Connection> open(const Text& source) {
        auto connection = make<Connection>();
        connection->open(source);
        return connection;
    }
    /// As `check table key: finding`, what is no problem in brackets; without the engine's own code of an error.
    static std::vector<Text> findings(const Text& source) {
        static const std::regex code(" \\([A-Za-z]+ [0-9A-Z]+\\)$");
        std::vector<Text> result;
        for (const Finding& finding : checkRows(source)) {
            const Text line = Text(finding.check) + " " + finding.table + " " + finding.key + ": " +
                              std::regex_replace(finding.what, code, "");
            result.push_back(finding.isProblem ? line : "(" + line + ")");
        }
        return result;
    }
    struct Case {
        const char* name;
        std::vector<Text> given;
        std::vector<Text> expected;
    };
    static void finds(std::span<const Case> cases) {
        for (const auto& row : cases) {
            SCOPED_TRACE(row.name);
            const auto database = GetParam().make(true);
            {
                const auto connection = open(database->connectionString());
                for (const Text& statement : row.given)
                    connection->execute(statement);
            }
            EXPECT_EQ(findings(database->connectionString()), row.expected);
        }
    }
};

TEST_P(RowCheckTest, FindsWhatDoesNotFitTogether) {
    const auto& engine = GetParam();
    const Case cases[] = {
        {"nothing", {}, {}},
        {"rows that fit",
         {"Insert Into ContactMaster (ContactId, CompanyId) Values ('CM00000001', ''), ('CN00000002', 'cm00000001'), "
          "('CN00000003', Null)",
          "Insert Into ContactDetails (ContactId) Values ('CM00000001')",
          "Insert Into Projects (Id) Values ('PT00000001')", "Insert Into Products (Id) Values ('PD00000001')",
          "Insert Into Notes (NoteId, LinkId) Values ('NT00000001', 'CN00000002'), ('NT00000002', 'NT00000001'), "
          "('NT00000003', 'PTx'), ('NT00000004', 'TK00000001'), ('NT00000005', 'PD00000001'), ('NT00000006', '')",
          "Update Notes Set LinkId='PT00000001' Where NoteId='NT00000003'",
          "Delete From Notes Where NoteId='NT00000004'",
          "Insert Into Participants (ContactId, LinkId) Values ('CN00000002', 'PT00000001')",
          "Insert Into ItemMap Values ('CM00000001', 'PT00000001', 28, ''), ('CM00000001', 'NT00000001', 32, '')"},
         {}},
        {"links without an item, of every column that has some",
         {"Insert Into Actions (Id, LinkId, AssignedTo, TaskId) Values ('AC00000001', 'AC00000002', 'CN1', 'PT1')",
          "Insert Into Attachments (AttachmentID, LinkID) Values ('AT00000001', 'CN00000001')",
          "Insert Into Favourites (FavouriteID, LinkId) Values ('FV00000001', 'AT00000002')",
          "Insert Into ItemMap Values ('RM00000001', 'TK00000001', 28, '')",
          "Insert Into Notes (NoteId, LinkId) Values ('NT00000001', 'PD00000001')",
          "Insert Into ContactMaster (ContactId) Values ('CN00000007')",
          "Insert Into Participants (ContactId, LinkId) Values ('CN00000007', 'PT00000001')",
          "Insert Into Products (Id, LinkId) Values ('PD00000002', 'CM00000001')",
          "Insert Into Projects (Id, SourceId) Values ('PT00000009', 'VR00000001')",
          "Insert Into Reminders (ReminderId, LinkId) Values ('RM00000002', 'NT00000002')",
          "Insert Into StatusHistory (Id, LinkId) Values ('SH00000001', 'PT00000002')"},
         {"link Actions AC00000001: LinkId \"AC00000002\" names no item",
          "link Actions AC00000001: AssignedTo \"CN1\" names no item",
          "link Actions AC00000001: TaskId \"PT1\" names no item",
          "link Attachments AT00000001: LinkID \"CN00000001\" names no item",
          "link Favourites FV00000001: LinkId \"AT00000002\" names no item",
          "link ItemMap RM00000001 TK00000001: LinkId \"RM00000001\" names no item",
          "link ItemMap RM00000001 TK00000001: ItemId \"TK00000001\" names no item",
          "link Notes NT00000001: LinkId \"PD00000001\" names no item",
          "link Participants CN00000007 PT00000001: LinkId \"PT00000001\" names no item",
          "link Products PD00000002: LinkId \"CM00000001\" names no item",
          "link Projects PT00000009: SourceId \"VR00000001\" names no item",
          "link Reminders RM00000002: LinkId \"NT00000002\" names no item",
          "link StatusHistory SH00000001: LinkId \"PT00000002\" names no item"}},
        {"links that cannot be told",
         {"Insert Into Notes (NoteId, LinkId) Values ('NT00000001', 'BG00000001'), ('NT00000002', 'it''s'), "
          "('NT00000003', Null)"},
         {}},
        {"a company that is gone",
         {"Insert Into ContactMaster (ContactId, CompanyId) Values ('CN00000001', 'CM00000001')"},
         {"link ContactMaster CN00000001: CompanyId \"CM00000001\" names no row of ContactMaster"}},
        {"a tree with holes",
         {"Insert Into Projects (Id, ParentID, ProjectId, VersionId, prjCategoryId) Values "
          "('PT00000001', 'PT00000001', 'PT00000001', '', ''), "
          "('PT00000002', 'PT00000008', 'PT00000009', 'VR00000001', 'PC00000001')",
          "Insert Into ProjectTypeMaster (ItemID, ParentID) Values ('PC00000002', ''), ('PC00000003', 'PC00000004')"},
         {"link Projects PT00000002: ParentID \"PT00000008\" names no row of Projects",
          "link Projects PT00000002: ProjectId \"PT00000009\" names no row of Projects",
          "link Projects PT00000002: VersionId \"VR00000001\" names no row of Versions",
          "link Projects PT00000002: prjCategoryId \"PC00000001\" names no row of ProjectTypeMaster",
          "link ProjectTypeMaster PC00000003: ParentID \"PC00000004\" names no row of ProjectTypeMaster"}},
        {"calendars of nothing, and two of one project",
         {"Insert Into Projects (Id) Values ('PT00000001')",
          "Insert Into WorkingHours (Id, ProjectId) Values ('a', 'PT00000001'), ('b', 'pt00000001'), ('c', 'PT1')",
          "Insert Into Holidays (excDate, ProjectId) Values (45000, Null), (45000, 'PT00000001'), (45001, 'PT1')"},
         {"link Holidays 45001 PT1: ProjectId \"PT1\" names no row of Projects",
          "link WorkingHours c: ProjectId \"PT1\" names no row of Projects",
          "duplicate WorkingHours PT00000001: 2 rows have the same ProjectId"}},
        {"dependants without their contact",
         {"Insert Into ContactDetails (ContactId) Values ('CN00000001')",
          "Insert Into Projects (Id) Values ('PT00000001')",
          "Insert Into Participants (ContactId, LinkId) Values ('CN00000002', 'PT00000001')"},
         {"orphan ContactDetails CN00000001: ContactId \"CN00000001\" names no row of ContactMaster",
          "orphan Participants CN00000002 PT00000001: ContactId \"CN00000002\" names no row of ContactMaster"}},
        {"pairs that are there twice",
         {"Insert Into ItemMap Values ('RQ00000001', 'CR00000001', 68, ''), ('RQ00000001', 'cr00000001', 68, ''), "
          "('RQ00000001', 'CR00000002', 68, ''), ('RQ00000002', 'CR00000001', 68, '')"},
         {"duplicate ItemMap RQ00000001 CR00000001: 2 rows have the same LinkId, ItemId"}},
        {"counters",
         {engine.setCounter("Notes", "NT", 9), engine.setCounter("Contacts", "CN", 3),
          engine.setCounter("Contacts", "CM", 0), engine.setCounter("Elsewhere", "XX", 1),
          "Insert Into Notes (NoteId) Values ('NT00000010'), ('NT99999'), ('NT9999999Z'), ('XX99999999')",
          "Insert Into ContactMaster (ContactId) Values ('CN00000003')"},
         {"(counter Notes NT: stands at 9, behind the key NT00000010)"}},
        {"a table that is gone",
         {"drop table Favourites", "Insert Into ContactDetails (ContactId) Values ('CN00000001')"},
         {"link Favourites : cannot be read: " + engine.noTable("Favourites"),
          "orphan ContactDetails CN00000001: ContactId \"CN00000001\" names no row of ContactMaster"}},
    };
    finds(cases);
}

TEST_P(RowCheckTest, OnlyReads) {
    const auto database = GetParam().make(true);
    auto reader = make<Connection>();
    reader->openReadOnly(database->connectionString());
    for (const char* statement : {"Delete From Notes", "drop table Notes"})
        EXPECT_THAT(test::raised([&] { reader->execute(statement); }), HasSubstr(GetParam().readOnly)) << statement;
    EXPECT_THAT(test::raised([&] { static_cast<void>(reader->nextId("NT", 10, "NoteId", "Notes")); }),
                HasSubstr(GetParam().readOnly));
}

TEST_P(RowCheckTest, SaysWhatKeepsItFromLooking) {
    const auto database = GetParam().make(false);
    const Text source = database->connectionString();
    EXPECT_THAT(test::raised([&] { checkRows(source); }), HasSubstr(database->name()));
    createDatabase(source);
    open(source)->execute("Update SchemaVersion Set Version = 7");
    EXPECT_THAT(test::raised([&] { checkRows(source); }), HasSubstr("of version 7, newer than"));
}

TEST_P(RowCheckTest, GivesClientsAListInJson) {
    const auto database = GetParam().make(true);
    const Text source = database->connectionString();
    const auto schema = make<Schema>();
    EXPECT_EQ(schema->CheckRows(source), "[]");
    open(source)->execute("Insert Into Notes (NoteId, LinkId) Values ('NT1', 'CN1')");
    EXPECT_EQ(nlohmann::json::parse(schema->CheckRows(source)),
              nlohmann::json::parse(R"([{"check": "link", "table": "Notes", "key": "NT1",
                                         "finding": "LinkId \"CN1\" names no item", "problem": true}])"));
}

CORVETH_ON_EVERY_ENGINE(RowCheckTest);

TEST(RowCheckRules, EveryColumnThatHoldsLinksHasItsRule) {
    std::set<Text> columns;
    for (const auto& table : wholeDefinition().tables) {
        for (const auto& column : table.columns) {
            if (equalNoCase(column.name, "LinkId")) columns.insert(table.name + "." + column.name);
        }
    }
    std::set<Text> checked;
    for (const auto& rule : rules::itemLinks) {
        if (equalNoCase(rule.column, "LinkId")) checked.insert(Text(rule.table) + "." + rule.column);
    }
    EXPECT_EQ(checked, columns);
}

/// This engine's databases are files, and their columns hold what was put into them.
class RowCheckFileTest : public RowCheckTest {
protected:
    [[nodiscard]] static Text source(const Text& file) { return "Provider=SQLite;Data Source=" + file; }

    test::TemporaryFolder folder;
};

TEST_P(RowCheckFileTest, FindsWhatIsNoText) {
    const Case cases[] = {
        {"a key that is no text",
         {"Insert Into Notes (NoteId, LinkId) Values (zeroblob(3), 'CN00000001'), ('NT00000001', 'CN00000002')"},
         {"link Notes NT00000001: LinkId \"CN00000002\" names no item",
          "link Notes (3 bytes): LinkId \"CN00000001\" names no item"}},
        {"a counter of no code", {"Insert Into IdCounters Values ('Notes', '''', 1)"}, {}},
    };
    finds(cases);
    const auto database = GetParam().make(true);
    open(database->connectionString())->execute("Insert Into Notes (NoteId, LinkId) Values ('NT1', 'CN\xFF')");
    EXPECT_THAT(make<Schema>()->CheckRows(database->connectionString()), HasSubstr("LinkId \\\"CN\uFFFD\\\""));
}

TEST_P(RowCheckFileTest, ChangesNoByte) {
    const Text file = folder.file("x.db");
    createDatabase(source(file));
    const auto writer = open(source(file));
    writer->execute("Insert Into ContactDetails (ContactId) Values ('CN00000001')");
    // As a writer leaves them that was killed.
    const Text left = folder.file("left.db");
    for (const char* suffix : {"", "-wal"})
        std::filesystem::copy_file(file + suffix, left + suffix);
    const Text before = bytesOf(left), changes = bytesOf(left + "-wal");
    ASSERT_NE(changes, "");
    const Text link = folder.file("link.db");
    std::filesystem::create_symlink(left, link);
    for (const auto& path : {left, link}) {
        EXPECT_EQ(findings(source(path)).size(), 1U) << "what only the log of changes has is seen by " << path;
        EXPECT_TRUE(bytesOf(left) == before && bytesOf(left + "-wal") == changes) << path;
    }

    writer->Close();
    const Text closed = bytesOf(file);
    EXPECT_EQ(findings(source(file)).size(), 1U);
    EXPECT_TRUE(bytesOf(file) == closed);
    EXPECT_FALSE(std::filesystem::exists(file + "-wal"));
}

CORVETH_ON_ENGINE("SQLite", RowCheckFileTest);

} // namespace
} // namespace corveth
