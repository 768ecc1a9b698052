#include "session/item_type.h"

#include "services/schema_text.h"
#include "session/link_item.h"
#include "session/linked_items.h"
#include "support/fixture.h"

#include "platform/automation/convert.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;

TEST(ItemTypeTest, CodesBecomeNumbersAndNumbersNames) {
    const struct {
        Value given;
        const char* expected;
    } cases[] = {
        {"NT00000001", "32"},
        {"AP", "4"},
        {"BG", "8"},
        {"CN", "12"},
        {"CM", "16"},
        {"IN", "20"},
        {"PT", "24"},
        {"TK", "28"},
        {"AT", "36"},
        {"RM", "42"},
        {"BD", "46"},
        {"RK", "52"},
        {"PD", "60"},
        {"RQ", "64"},
        {"CR", "68"},
        {"nt00000001", "0"},
        {"XX", "0"},
        {"N", "0"},
        {"", "0"},
        {"IV00000001", "0"},
        {"20", "Invoice"},
        {"1E999", "0"}, // out of range: no number, and no failure
        {" 12 ", "Contact"},
        {std::int32_t{4}, "Appointment"},
        {std::int16_t{8}, "Bug"},
        {16.0, "Company"},
        {24.5, "None"},
        {std::int32_t{28}, "Task"},
        {std::int32_t{32}, "None"},
        {std::int32_t{36}, "None"},
        {std::int32_t{42}, "Reminder"},
        {std::int32_t{46}, "Bid"},
        {std::int32_t{52}, "Risk"},
        {std::int32_t{56}, "None"},
        {std::int32_t{60}, "Product"},
        {std::int32_t{64}, "Requirement"},
        {std::int32_t{68}, "Change Request"},
        {std::int32_t{72}, "None"},
        {Value(), "None"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(toText(ConvertItemType(row.given)), row.expected) << toText(row.given);
    }
    EXPECT_TRUE(ConvertItemType("CN").is(ValueType::integer));
    test::expectFailure({errors::invalidNull}, [] { static_cast<void>(ConvertItemType(Null{})); });
}

class LinkItemTest : public test::DatabaseTest {};

TEST_P(LinkItemTest, AnItemIsLookedUpWhereItsTypeLives) {
    sql("Insert Into ContactMaster (ContactId, CompanyId, Title, FirstName, MiddleName, LastName) Values "
        "('CN00000001', 'CM00000001', 'Dr', 'Ada', '', 'Byron'), ('CM00000001', Null, Null, 'Acme', Null, Null)");
    sql("Insert Into Projects (ID, ItemName, ProjectId, ParentId) Values ('PT00000002', 'Dig', 'PT00000001', 'PT0')");
    sql("Insert Into Products (ID, ItemName, ParentId) Values ('PD00000001', 'Spade', 'PD0')");
    const struct {
        const char* id;
        const char* expected; ///< description, project, parent, type
        const char* statement;
    } cases[] = {
        {"CN00000001", "Dr Ada Byron||CM00000001|Contact",
         "open| SELECT ContactID, CompanyID, Title & ' ' & FirstName  & ' ' & MiddleName  & ' ' &  LastName as "
         "Description  FROM ContactMaster Where ContactID=\"CN00000001\""},
        {"CM00000001", " Acme |||Company", nullptr}, // Nulls count as empty, and one pass leaves the blanks at the ends
        {"PT00000002", "Dig|PT00000001|PT0|Project",
         "open|Select ItemName,ProjectID, ParentId  From Projects Where ID=\"PT00000002\""},
        {"PD00000001", "Spade|PD00000001|PD0|Product",
         "open|Select ItemName,ID, ParentId  From Products Where ID='PD00000001'"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.id);
        statements();
        auto item = make<LinkItem>();
        item->ID = row.id;
        item->ProjectId = "before";
        item->Populate();
        EXPECT_EQ(item->ItemDescription + "|" + item->ProjectId + "|" + item->ParentId + "|" + item->SourceType,
                  row.expected);
        if (row.statement != nullptr) {
            EXPECT_THAT(statements(), ElementsAre(row.statement));
        }
    }
}

TEST_P(LinkItemTest, WithoutALookupOrARowTheDescriptionStays) {
    const struct {
        const char* id;
        const char* type;
        std::size_t lookups;
    } cases[] = {{"AP00000001", "Appointment", 0},
                 {"", "None", 0},
                 {"CN99999999", "Contact", 1},
                 {"IN00000001", "Invoice", 0},
                 {"TK00000001", "Task", 1}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.id);
        auto item = make<LinkItem>();
        item->ID = row.id;
        item->ItemDescription = "before";
        item->Populate();
        EXPECT_EQ(item->ItemDescription + "|" + item->SourceType, Text("before|") + row.type);
        EXPECT_EQ(statements().size(), row.lookups);
    }
    auto item = make<LinkItem>();
    item->let_LinkId("BG00000001");
    item->PopulateWithLinkId();
    EXPECT_EQ(item->get_ItemTypeAsLink() + "|" + item->get_ItemTypeID() + "|" + item->SourceType, "Bug|None|");
}

TEST_P(LinkItemTest, DeletingDependantsTakesTheFiveTablesInOrder) {
    const data::Definition definition = wholeDefinition();
    for (const auto* table : {"Attachments", "Reminders", "Notes", "Favourites", "StatusHistory"}) {
        const Text key = definition.findTable(table)->key.front();
        sql(Text("Insert Into ") + table + " (" + key + ", LinkId) Values ('A', 'BG00000001'), ('B', 'BG00000002')");
    }
    statements();
    DeleteLinkedItems("BG00000001");
    EXPECT_THAT(statements(), ElementsAre("execute|DELETE From Attachments Where LinkID ='BG00000001'",
                                          "execute|DELETE From Reminders Where LinkID ='BG00000001'",
                                          "execute|DELETE From Notes Where LinkID ='BG00000001'",
                                          "execute|DELETE From Favourites Where LinkID ='BG00000001'",
                                          "execute|DELETE From StatusHistory Where LinkID ='BG00000001'"));
    for (const auto* table : {"Attachments", "Reminders", "Notes", "Favourites", "StatusHistory"}) {
        EXPECT_EQ(scalar(Text("Select LinkId From ") + table), "BG00000002") << table;
    }

    sql("Drop Table Notes");
    test::expectFailure({errors::engine}, [] { DeleteLinkedItems("BG00000002"); });
    EXPECT_EQ(scalar("Select Count(*) From Reminders"), "0") << "what stood before the failure is done";
    EXPECT_EQ(scalar("Select Count(*) From Favourites"), "1") << "what stood behind it is not";
}

CORVETH_ON_EVERY_ENGINE(LinkItemTest);

} // namespace
} // namespace corveth
