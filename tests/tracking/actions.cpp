#include "tracking/actions.h"

#include "platform/automation/convert.h"
#include "session/module_state.h"
#include "support/fixture.h"
#include "tracking/version.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;

class ActionsTest : public test::DatabaseTest {
protected:
    static Ref<Action> action(const Text& id, const Text& text = {}) {
        auto made = make<Action>();
        made->let_ID(id);
        made->Description = text;
        return made;
    }
    static Text texts(Action& action) {
        return action.get_ID() + "|" + action.Description + "|" + action.Priority + "|" + action.FinishBy + "|" +
               std::to_string(action.PercentageCompleted) + "|" + action.FinishDate + "|" + action.LinkId + "|" +
               action.get_AssignedTo()->ID + "|" + action.get_Task()->ID;
    }
    Text rows(TextView query) {
        auto list = make<Recordset>();
        list->open(Text(query), connection, CursorType::staticCopy, LockType::readOnly);
        Text text;
        for (; !list->get_EOF(); list->MoveNext())
            text += toText(list->value(0)) + ";";
        statements();
        return text;
    }
    Text actions() { return rows("Select Id & ' ' & LinkId & ' ' & Description From Actions Order By Id"); }
    Text idsIn(const char* table) { return rows("Select Id From " + Text(table) + " Order By Id"); }
};

TEST_P(ActionsTest, WhatIsSavedIsLoaded) {
    sql("Insert Into Projects (Id, ItemName, ProjectId, ParentID) Values ('PT00000001', 'Dig', 'PT1', 'PT1')");
    const auto saved = action("", "Call");
    saved->Priority = "High";
    saved->FinishBy = "2024-02-29 10:30:00";
    saved->PercentageCompleted = 255;
    saved->LinkId = "RK00000001";
    saved->get_AssignedTo()->ID = "CN00000001";
    saved->get_Task()->ID = "PT00000001";
    EXPECT_EQ(saved->get_LinkType(), "Risk");
    saved->Update();
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Actions Where Id=\"\""));
    EXPECT_EQ(scalar("Select FinishBy+0 & ' ' & Nz(FinishDate, '-') From Actions"), "45351.4375 -");

    const auto loaded = action("ac00000001");
    loaded->Populate();
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Actions Where Id=\"ac00000001\""));
    EXPECT_EQ(texts(*loaded), "ac00000001|Call|High|2024-02-29 10:30:00|255||RK00000001|CN00000001|PT00000001");
    EXPECT_EQ(loaded->get_Task()->ItemDescription, "Dig");
    EXPECT_EQ(loaded->get_Task(), loaded->get_Task());
    EXPECT_EQ(statements().size(), 2U) << "each item is looked up once";
    const auto task = loaded->get_Task();
    loaded->Populate();
    EXPECT_NE(loaded->get_Task(), task);
}

TEST_P(ActionsTest, ANewActionHasDefaultsAndNullDatesLeaveThoseThatAreHeld) {
    sql("Insert Into Actions (Id, PercCompleted) Values ('AC00000001', 3)");
    const auto one = action("AC00000001", "before");
    one->Priority = one->LinkId = one->FinishBy = one->FinishDate = "2024-01-01";
    one->Populate();
    EXPECT_EQ(texts(*one), "AC00000001|||2024-01-01|3|2024-01-01|||");
    one->let_ID("AC00000002");
    one->LinkId = "before";
    one->Populate();
    EXPECT_EQ(texts(*one), "AC00000002|<New Action>|Low||0||||");

    sql("Update Actions Set PercCompleted=Null");
    test::expectFailure({errors::invalidNull, "prjCorveth"}, [&] { action("AC00000001")->Populate(); });
}

TEST_P(ActionsTest, SavingWithoutARowKeepsTheIdThatIsThere) {
    const auto given = action("AC00000007", "given");
    given->Update();
    const auto made = action("", "made");
    made->Update();
    made->Description = "made again";
    made->Update();
    EXPECT_EQ(given->get_ID() + " " + made->get_ID(), "AC00000007 AC00000008");
    EXPECT_EQ(actions(), "AC00000007  given;AC00000008  made again;");
}

TEST_P(ActionsTest, SavingLooksUpTheItemsThatWereNotReadYet) {
    sql("Insert Into Actions (Id, PercCompleted, AssignedTo, TaskId) Values ('AC00000001', 0, 'PD00000001', 'PT1')");
    const auto one = action("AC00000001");
    one->Populate();
    statements();
    one->Update();
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Actions Where Id=\"AC00000001\"",
                                          "open|Select ItemName,ID, ParentId  From Products Where ID='PD00000001'",
                                          "open|Select ItemName,ProjectID, ParentId  From Projects Where ID=\"PT1\""));
    EXPECT_EQ(scalar("Select AssignedTo & TaskId From Actions"), "PD00000001PT1");
}

TEST_P(ActionsTest, DeletingTakesLinksAndParticipantsAlongOrNothing) {
    const auto one = action("AC00000001");
    const auto put = [&] {
        one->Update();
        sql("Insert Into Participants (ContactId, LinkId) Values ('CN1', 'AC00000001')");
        sql("Insert Into ItemMap Values ('AC00000001', 'PT1', 24, ''), ('PT1', 'AC00000001', 0, ''), ('A', 'B', 0, "
            "'')");
        statements();
    };
    const auto left = [&] {
        return scalar("Select Count(*) From Actions") + scalar("Select Count(*) From Participants") +
               scalar("Select Count(*) From ItemMap");
    };
    put();
    one->DeleteAction(true);
    EXPECT_THAT(statements(),
                ElementsAre("begin", "execute|DELETE From ItemMap Where LinkId ='AC00000001' Or ItemID ='AC00000001'",
                            "execute|DELETE From Participants Where LinkID ='AC00000001'",
                            "execute|DELETE From Actions Where ID ='AC00000001'", "commit"));
    EXPECT_EQ(left(), "001");

    sql("Delete From ItemMap");
    put();
    const test::Failure failure{errors::application, "Action", "Cannot delete Action(s)."};
    refuse({"kept", "before delete", "Actions", nullptr, "not now"});
    test::expectFailure(failure, [&] { one->DeleteAction(true); });
    EXPECT_EQ(left(), "113");
    test::expectFailure(failure, [&] { one->DeleteAction(); });
    EXPECT_EQ(left(), "101");
}

TEST_P(ActionsTest, FailuresAreToldAsTheirMethodsDo) {
    const auto one = action("AC00000001");
    const auto badDate = action("");
    badDate->FinishBy = "tomorrow";
    const auto badQuote = action("x\"y");
    const auto list = make<Actions>();
    list->AddItem(badDate);
    const struct {
        const char* name;
        std::function<void()> action;
        test::Failure expected;
    } cases[] = {
        {"a date that is none", [&] { badDate->Update(); }, {errors::application, "Action", "Type mismatch"}},
        {"an ID that ends its quotes", [&] { badQuote->Update(); }, {errors::application, "Action"}},
        {"the same, loading", [&] { badQuote->Populate(); }, {errors::invalidCall}},
        {"saving a list", [&] { list->UpdateActions(); }, {errors::application, "Action", "Type mismatch"}},
        {"Nothing in a list", [&] { list->AddItem(nullptr); }, {errors::objectNotSet}},
        {"no connection, saving",
         [&] { moduleState() = {}, one->Update(); },
         {errors::application, "Action", "The connection"}},
        {"no connection, loading", [&] { one->Populate(); }, {errors::badConnection}},
        {"no connection, a list", [&] { list->Populate(); }, {errors::application, "Actions", "The connection"}},
        {"no connection, saving a list", [&] { list->UpdateActions(); }, {errors::objectNotSet}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        test::expectFailure(row.expected, row.action);
    }
}

TEST_P(ActionsTest, AListIsAddedToByLoading) {
    for (const char* id : {"AC00000002", "AC00000001"}) {
        const auto saved = action(id, Text("of ") + id);
        saved->LinkId = "RK00000001";
        saved->Update();
    }
    statements();
    const auto list = make<Actions>();
    EXPECT_TRUE(list->AddItem(action("", "first")).is(ValueType::empty));
    list->let_LinkId("RK00000001");
    list->Populate();
    EXPECT_THAT(statements(),
                ElementsAre("open|Select * From Actions Where LinkId=\"RK00000001\"", testing::_, testing::_));
    EXPECT_EQ(list->get_Count(), 3);
    EXPECT_EQ(list->get_Item(1)->Description, "first");
    EXPECT_EQ(list->get_Item(Text("ac00000001"))->Description, "of AC00000001");
    test::expectFailure({errors::application, "Actions", "This key is already"}, [&] { list->Populate(); });
}

TEST_P(ActionsTest, SavingAListReplacesTheActionsOfItsItem) {
    const auto list = make<Actions>();
    list->let_LinkId("RK00000001");
    for (const char* id : {"AC00000001", "AC00000002", ""})
        list->AddItem(action(id, Text("text ") + id));
    list->UpdateActions();
    action("AC00000009", "of nothing")->Update();
    EXPECT_EQ(actions(), "AC00000001 RK00000001 text AC00000001;AC00000002 RK00000001 text AC00000002;"
                         "AC00000003 RK00000001 text ;AC00000009  of nothing;");
    list->Remove(Text("AC00000001"));
    list->UpdateActions();
    EXPECT_EQ(actions(), "AC00000002 RK00000001 text AC00000002;AC00000003 RK00000001 text ;AC00000009  of nothing;");
}

TEST_P(ActionsTest, AVersionIsSavedUnderAnIdOfItsOwn) {
    const auto version = make<Version>();
    version->let_ID("VR00000009"); // has no row
    version->VersionName = "1.0";
    version->ReleaseDate = "2024-02-29";
    version->Update();
    EXPECT_EQ(version->get_ID(), "VR00000001");
    version->Description = "first";
    version->ReleaseDate = "";
    version->Update();
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Versions Where Id=\"VR00000009\"",
                                          "open|Select * From Versions Where Id=\"VR00000001\""));
    EXPECT_EQ(rows("Select Id & ' ' & VersionName & ' ' & Description & ' ' & Nz(ReleaseDate, '-') From Versions"),
              "VR00000001 1.0 first -;");

    version->VersionName = version->Description = "before";
    version->ReleaseDate = "2020-01-01";
    version->Populate();
    EXPECT_EQ(version->VersionName + "|" + version->Description + "|" + version->ReleaseDate, "1.0|first|2020-01-01");
    sql("Update Versions Set Description=Null, ReleaseDate=45351.5");
    version->Populate();
    EXPECT_EQ(version->Description + "|" + version->ReleaseDate, "|2024-02-29 12:00:00");
    version->let_ID("VR00000002");
    version->Populate();
    EXPECT_EQ(version->get_ID() + version->VersionName + version->ReleaseDate, "VR00000002");

    sql("Update Versions Set VersionName=Null");
    version->let_ID("VR00000001");
    test::expectFailure({errors::invalidNull, "prjCorveth"}, [&] { version->Populate(); });
    version->ReleaseDate = "some day";
    test::expectFailure({errors::application, "Versions", "Type mismatch"}, [&] { version->Update(); });
    EXPECT_EQ(idsIn("Versions"), "VR00000001;");
}

CORVETH_ON_EVERY_ENGINE(ActionsTest);

} // namespace
} // namespace corveth
