#include "scheduling/project_types.h"

#include "platform/automation/collection.h"
#include "platform/automation/convert.h"
#include "platform/automation/dispatch.h"
#include "session/module_state.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;

constexpr const char* loading = "open|Select * From ProjectTypeMaster Order By  ParentID, ItemId";
constexpr const char* saving = "open|Select * From ProjectTypeMaster";

class ProjectTypesTest : public test::DatabaseTest {
protected:
    void putRows() {
        sql("Insert Into ProjectTypeMaster (ItemID, ParentID, ItemType, Description, ItemIndex) Values "
            "('PC00000003', 'PC00000001', 'leaf', 'Roofs', 7), ('PC00000001', Null, 'root', 'Buildings', 7), "
            "('PC00000002', 'PC00000001', 'leaf', Null, 7), ('PC00000004', 'PC00000003', 'leaf', 'Tiles', 7)");
    }
    static Text listed(const ProjectTypes& types) {
        Text text;
        for (std::int32_t position = 1; position <= types.get_Count(); ++position) {
            const auto type = types.get_Item(position);
            text += type->ID + "," + type->ParentId + "," + type->ItemType + "," + type->Description + "," +
                    std::to_string(type->ItemIndex) + ";";
        }
        return text;
    }
    Text rows() {
        auto list = make<Recordset>();
        list->open("Select ItemID & ',' & Nz(ParentID, '-') & ',' & ItemType & ',' & Description & ',' & ItemIndex "
                   "From ProjectTypeMaster Order By ItemID",
                   connection, CursorType::staticCopy, LockType::readOnly);
        Text text;
        for (; !list->get_EOF(); list->MoveNext())
            text += toText(list->value(0)) + ";";
        statements();
        return text;
    }
};

TEST_P(ProjectTypesTest, LoadsAllWhenItIsMadeParentsByTheirIdsFirst) {
    putRows();
    const auto types = make<ProjectTypes>();
    EXPECT_THAT(statements(), ElementsAre(loading));
    EXPECT_EQ(listed(*types), "PC00000001,,root,Buildings,0;PC00000002,PC00000001,leaf,,1;"
                              "PC00000003,PC00000001,leaf,Roofs,2;PC00000004,PC00000003,leaf,Tiles,3;");

    moduleState().SharedConnection = nullptr;
    test::expectFailure({errors::badConnection}, [] { static_cast<void>(make<ProjectTypes>()); });
}

TEST_P(ProjectTypesTest, LookingUpFindsByKeyOrNothing) {
    putRows();
    const auto types = make<ProjectTypes>();
    const struct {
        const char* name;
        Value given;
        const char* expected;
    } cases[] = {
        {"key", Text("pc00000003"), "Roofs"},
        {"position", 1, "Buildings"},
        {"unknown key", Text("PC9"), "-"},
        {"beyond the last", 5, "-"},
        {"empty text", Text(), "-"},
        {"nothing", Value(), "-"},
        {"Null", Null{}, "-"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto found = types->get_Item(row.given);
        EXPECT_EQ(found ? found->Description : "-", row.expected);
        test::expectFailure({errors::objectNotSet}, [&] { static_cast<void>(types->get_Parent(row.given)); });
    }
}

TEST_P(ProjectTypesTest, SavingAllWritesNewRowsAndOldOnes) {
    auto types = make<ProjectTypes>();
    const auto root = types->AddItem("", "", "Buildings", "root");
    const auto leaf = types->AddItem("", "PC00000001", "Roofs", "leaf");
    EXPECT_EQ(types->get_Item(Text("")), nullptr);
    statements();
    types->Update();
    EXPECT_THAT(statements(), ElementsAre(saving, saving));
    EXPECT_EQ(root->ID + "," + leaf->ID, "PC00000001,PC00000002");
    EXPECT_EQ(rows(), "PC00000001,-,root,Buildings,0;PC00000002,PC00000001,leaf,Roofs,1;");

    types = make<ProjectTypes>();
    types->get_Item(Text("PC00000002"))->Description = "Walls";
    types->get_Item(Text("PC00000002"))->ParentId = ""; // an empty parent is not written
    types->get_Item(Text("PC00000001"))->ItemIndex = 9;
    statements();
    types->Update();
    EXPECT_THAT(statements(), ElementsAre());
    EXPECT_EQ(rows(), "PC00000001,-,root,Buildings,9;PC00000002,PC00000001,leaf,Walls,1;");
}

TEST_P(ProjectTypesTest, OneThatIsSavedStandsLastUnderItsNewId) {
    const auto types = make<ProjectTypes>();
    types->AddItem("mine", "", "Roads", "root"); // there is no row at all, so its ID is replaced
    types->AddItem("yours", "", "Bridges", "root");
    types->Update(Text("MINE"));
    EXPECT_EQ(listed(*types), "yours,,root,Bridges,1;PC00000001,,root,Roads,0;");
    EXPECT_EQ(types->get_Item(Text("mine")), nullptr);
    EXPECT_EQ(types->get_Item(Text("PC00000001"))->Description, "Roads");
    types->Update(2);
    EXPECT_EQ(rows(), "PC00000001,-,root,Roads,0;");
}

TEST_P(ProjectTypesTest, AFailureToSaveIsToldAndLeavesTheOthersTheirChance) {
    putRows();
    const auto types = make<ProjectTypes>();
    const test::Failure cannotSave{errors::application, "ProjectType", "Cannot save Project Type."};
    types->AddItem("PC00000009", "", "No row of that ID", "root");
    types->AddItem("it's", "", "Ends its quotes", "root");
    test::expectFailure(cannotSave, [&] { types->Update(Text("PC00000009")); });
    test::expectFailure(cannotSave, [&] { types->Update(Text("it's")); });
    test::expectFailure({errors::invalidCall}, [&] { types->Update(Text("PC00000009")); });

    types->get_Item(1)->ItemType = Text("nul\0", 4);
    test::expectFailure(cannotSave, [&] { types->Update(); });
    types->get_Item(1)->ItemType = "root";
    types->get_Item(3)->Description = "Gables";
    types->Update();
    EXPECT_EQ(rows(), "PC00000001,-,root,Buildings,0;PC00000002,PC00000001,leaf,,1;"
                      "PC00000003,PC00000001,leaf,Gables,2;PC00000004,PC00000003,leaf,Tiles,3;");
}

TEST_P(ProjectTypesTest, SavesWhatOthersHaveChangedInTheMeantime) {
    putRows();
    const auto types = make<ProjectTypes>();
    const auto type = types->get_Item(Text("PC00000001"));
    type->Description = "Halls";
    types->Update(Text("PC00000001"));
    sql("Update ProjectTypeMaster Set Description='Sheds' Where ItemID='PC00000001'");
    types->Update(Text("PC00000001"));
    EXPECT_EQ(scalar("Select Description From ProjectTypeMaster Where ItemID='PC00000001'"), "Halls");

    const test::Failure cannotSave{errors::application, "ProjectType", "Cannot save Project Type."};
    connection->BeginTrans();
    types->AddItem("", "", "Bridges", "root");
    types->Update();
    connection->RollbackTrans();
    test::expectFailure(cannotSave, [&] { types->Update(); });
    type->DeleteType();
    test::expectFailure(cannotSave, [&] { types->Update(Text("PC00000001")); });
}

TEST_P(ProjectTypesTest, ANewOneThatGetsNoIdIsNotInTheWayOfTheNext) {
    putRows();
    sql("Insert Into ProjectTypeMaster (ItemID) Values ('PC99999999')"); // the last there is
    const auto types = make<ProjectTypes>();
    types->AddItem("", "", "Bridges", "root");
    test::expectFailure({errors::application, "ProjectType"}, [&] { types->Update(types->get_Count()); });
    types->get_Item(Text("PC00000001"))->Description = "Halls";
    types->Update(Text("PC00000001"));
    EXPECT_EQ(scalar("Select Count(*) From ProjectTypeMaster Where Description='Halls'"), "1");
}

TEST_P(ProjectTypesTest, ANewOneThatCannotBeSavedKeepsItsEmptyId) {
    const auto types = make<ProjectTypes>();
    const auto type = types->AddItem("", "", Text("nul\0", 4), "root");
    test::expectFailure({errors::application, "ProjectType"}, [&] { types->Update(); });
    EXPECT_EQ(type->ID, "");
    type->Description = "Roads";
    types->Update();
    EXPECT_EQ(rows(), type->ID + ",-,root,Roads,0;");
}

TEST_P(ProjectTypesTest, RemovingTakesTheChildrenAlongAndLoadsAgain) {
    putRows();
    const auto types = make<ProjectTypes>();
    types->AddItem("", "", "not saved", "root");
    statements();
    types->Remove(Text("PC00000001"));
    EXPECT_THAT(statements(), ElementsAre("execute|Delete From ProjectTypeMaster Where ItemId='PC00000001' Or "
                                          "ParentId='PC00000001'",
                                          loading));
    EXPECT_EQ(listed(*types), "PC00000004,PC00000003,leaf,Tiles,0;");

    for (const Value& nothing : {Value(Text("PC00000001")), Value(Text()), Value(7)}) {
        types->Remove(nothing);
        EXPECT_THAT(statements(), ElementsAre(loading));
    }
    moduleState().SharedConnection = nullptr;
    types->Remove(Text("PC00000004"));
    EXPECT_EQ(types->get_Count(), 0);
}

TEST_P(ProjectTypesTest, DeletingOneRunsOneStatement) {
    putRows();
    const auto type = make<ProjectType>();
    type->ID = "PC00000003";
    type->DeleteType();
    EXPECT_THAT(statements(), ElementsAre("execute|DELETE From ProjectTypeMaster Where ItemId ='PC00000003' Or "
                                          "ParentId ='PC00000003'"));
    EXPECT_EQ(rows(), "PC00000001,-,root,Buildings,7;PC00000002,PC00000001,leaf,,7;");
}

TEST_P(ProjectTypesTest, TheMemberListIsALiveObject) {
    putRows();
    const auto types = make<ProjectTypes>();
    const auto items = types->ProjectItems();
    const auto count = [&] { return toLong(getMember(*items, "Count")); };
    types->AddItem("PC5", "", "added later", "");
    EXPECT_EQ(count(), 5);

    const auto own = make<ProjectType>();
    own->Description = "put in by the client";
    callMember(*items, "Add", {Value(own), Text("key")});
    callMember(*items, "Add", {Value(make<ProjectType>())});
    EXPECT_EQ(types->get_Count(), 7);
    EXPECT_EQ(types->get_Item(Text("KEY")), own);
    callMember(*items, "Remove", {Value(1)});
    EXPECT_EQ(types->get_Item(Text("PC00000001")), nullptr);

    const struct {
        const char* name;
        Value item, key;
        std::int32_t expected;
    } refused[] = {
        {"a key twice", Value(own), Text("Key"), errors::duplicateKey},
        {"a number as key", Value(own), 3, errors::typeMismatch},
        {"Null as key", Value(own), Null{}, errors::invalidNull},
        {"an object of another class", Value(types), Missing{}, errors::typeMismatch},
        {"Nothing", Value(Ref<Object>()), Missing{}, errors::objectNotSet},
    };
    for (const auto& row : refused) {
        SCOPED_TRACE(row.name);
        test::expectFailure({row.expected}, [&] { callMember(*items, "Add", {row.item, row.key}); });
    }

    Value member;
    std::int32_t seen = 0;
    const auto each = static_cast<Collection&>(*items).get_NewEnum();
    while (each->next(member))
        ++seen;
    EXPECT_EQ(seen, count());
    types->Remove(Text("")); // the list is a new one now
    EXPECT_EQ(count(), 6);
    EXPECT_EQ(types->get_Count(), 4);
}

CORVETH_ON_EVERY_ENGINE(ProjectTypesTest);

} // namespace
} // namespace corveth
