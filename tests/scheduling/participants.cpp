#include "scheduling/participants.h"

#include "platform/automation/convert.h"
#include "session/module_state.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

#include <limits>

namespace corveth {
namespace {

using ::testing::ElementsAre;

class ParticipantsTest : public test::DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        sql("Insert Into Contacts (ContactId, ContactName) Values ('CN00000001', 'Ann'), ('CN00000002', 'Bo')");
        statements();
    }
    static Ref<Participant> participant(const Text& contact, const Text& item, float availability = 100) {
        auto made = make<Participant>();
        made->ID = contact;
        made->LinkId = item;
        made->Availability = availability;
        return made;
    }
    static Ref<Participants> of(const Text& item) {
        auto list = make<Participants>();
        list->let_LinkId(item);
        return list;
    }
    Text rows() {
        auto list = make<Recordset>();
        list->open("Select ContactId & ' ' & LinkId & ' ' & Availability From Participants Order By ContactId, LinkId",
                   connection, CursorType::staticCopy, LockType::readOnly);
        Text text;
        for (; !list->get_EOF(); list->MoveNext())
            text += toText(list->value(0)) + ";";
        statements();
        return text;
    }
};

TEST_P(ParticipantsTest, WhatIsSavedIsLoadedWithTheContactsName) {
    auto saved = participant("CN00000001", "PT00000001", 37.5F);
    saved->Description = "not stored";
    saved->Role = "Lead";
    saved->Permission = "Read";
    saved->WorkDone = 0.1F;
    saved->WorkAlloted = 3;
    saved->Rate = 2;
    saved->Amount = -4;
    saved->Account = "AC1";
    saved->Billable = true;
    saved->Comment = "it's her";
    saved->Update();
    saved->Role = "Lead again";
    saved->Update();
    EXPECT_EQ(scalar("Select Count(*) From Participants"), "1");
    EXPECT_THAT(
        statements(),
        ElementsAre("open|Select * From Participants Where ContactId=\"CN00000001\" And LinkId=\"PT00000001\"",
                    "open|Select * From Participants Where ContactId=\"CN00000001\" And LinkId=\"PT00000001\""));

    const auto loaded = participant("cn00000001", "pt00000001", 0);
    loaded->Populate();
    EXPECT_EQ(loaded->Description + "|" + loaded->LinkId + "|" + loaded->ID + "|" + loaded->Role + "|" +
                  loaded->Permission + "|" + loaded->Account + "|" + loaded->Comment,
              "Ann|PT00000001|cn00000001|Lead again|Read|AC1|it's her");
    EXPECT_THAT(
        (std::vector<float>{loaded->WorkDone, loaded->WorkAlloted, loaded->Rate, loaded->Amount, loaded->Availability}),
        ElementsAre(0.1F, 3, 2, -4, 37.5F));
    EXPECT_TRUE(loaded->Billable);
    EXPECT_THAT(statements(),
                ElementsAre("open|Select * From Users Where ContactId ='cn00000001' And LinkID ='pt00000001'"));
}

TEST_P(ParticipantsTest, AContactWhoIsNotAssignedBecomesABillableMemberOfNoItem) {
    const auto fresh = make<Participant>();
    EXPECT_EQ(fresh->Role + "|" + fresh->Permission, "Team Member|Full");
    EXPECT_EQ(fresh->Rate, 1);
    EXPECT_FALSE(fresh->Billable);

    const auto other = participant("CN00000001", "PT00000001", 5);
    other->Description = other->Role = other->Permission = other->Account = other->Comment = "left over";
    other->WorkDone = 7;
    other->Rate = 8;
    other->Populate();
    EXPECT_EQ(other->Description + other->LinkId + other->Account + other->Comment, "");
    EXPECT_EQ(other->ID + "|" + other->Role + "|" + other->Permission, "CN00000001|Team Member|Full");
    EXPECT_TRUE(other->Billable);
    EXPECT_THAT((std::vector<float>{other->Availability, other->WorkDone, other->Rate}), ElementsAre(100, 7, 8));
}

TEST_P(ParticipantsTest, NullsReadAsEmptyAndThoseWithoutAContactHaveNoName) {
    sql("Insert Into Participants (ContactId, LinkId, Billable) Values ('CN00000009', 'PT00000001', True)");
    const auto loaded = participant("CN00000009", "PT00000001");
    loaded->Description = loaded->Role = loaded->Comment = "before";
    loaded->WorkDone = loaded->WorkAlloted = loaded->Amount = 1;
    loaded->Populate();
    EXPECT_EQ(loaded->Description + loaded->Role + loaded->Permission + loaded->Account + loaded->Comment, "");
    EXPECT_EQ(loaded->WorkDone + loaded->WorkAlloted + loaded->Amount + loaded->Rate + loaded->Availability, 0);
    EXPECT_EQ(scalar("Select ContactName From Users"), "");

    sql("Update Participants Set Billable=Null");
    test::expectFailure({errors::application, "Projects", "Invalid use of Null"}, [&] { loaded->Populate(); });
}

TEST_P(ParticipantsTest, FailuresAreToldAsTheirMethodsDo) {
    const auto one = participant("CN00000001", "PT00000001");
    const auto list = of("PT00000001");
    list->AddItem(one);
    const struct {
        const char* name;
        std::function<void()> action;
        test::Failure expected;
    } cases[] = {
        {"loading", [&] { one->Populate(); }, {errors::application, "Projects", "The connection cannot be used"}},
        {"saving", [&] { one->Update(); }, {errors::application, "Projects", "The connection cannot be used"}},
        {"deleting", [&] { one->DeleteParticipant(); }, {errors::objectNotSet, "prjCorveth", "Object variable"}},
        {"loading a list",
         [&] { of("PT1")->Populate(); },
         {errors::application, "Participants", "ErrorThe connection cannot be used"}},
        {"adding to a list",
         [&] { list->Add("CN00000002"); },
         {errors::application, "Projects", "The connection cannot be used"}},
        {"saving a list",
         [&] { list->UpdateParticipants(); },
         {errors::application, "Participants", "ErrorObject variable"}},
    };
    moduleState().SharedConnection = nullptr;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        test::expectFailure(row.expected, row.action);
    }
    try {
        static_cast<void>(one->getTaskCount());
        ADD_FAILURE() << "tasks were counted";
    } catch (const Error& error) {
        EXPECT_EQ(error.number, errors::application);
        EXPECT_EQ(error.source + "|" + error.description, "Projects|");
    }
}

TEST_P(ParticipantsTest, ALinkThatEndsItsQuotesReachesNoRow) {
    participant("CN00000001", "PT00000001")->Update();
    const auto list = of("x' Or 'a'='a");
    test::expectFailure({errors::application, "Participants", "Error"}, [&] { list->Populate(); });
    list->let_LinkId("x\" Or \"a\"=\"a");
    test::expectFailure({errors::application, "Participants", "Error"}, [&] { list->UpdateParticipants(); });
    EXPECT_EQ(rows(), "CN00000001 PT00000001 100;");
}

TEST_P(ParticipantsTest, AListLoadsEachOfItsMembers) {
    participant("CN00000001", "PT00000001", 50)->Update();
    participant("CN00000002", "PT00000001", 25)->Update();
    participant("CN00000002", "PT00000002", 10)->Update();
    statements();
    const auto list = of("PT00000001");
    list->AddItem(participant("CN00000007", ""));
    list->Populate();
    EXPECT_THAT(statements(),
                ElementsAre("open|SELECT ContactId From Users Where LinkId ='PT00000001'",
                            "open|Select * From Users Where ContactId ='CN00000001' And LinkID ='PT00000001'",
                            "open|Select * From Users Where ContactId ='CN00000002' And LinkID ='PT00000001'"));
    EXPECT_EQ(list->get_Count(), 2);
    EXPECT_EQ(list->get_Item(Text("cn00000002"))->Description, "Bo");
    EXPECT_EQ(list->getTotalAvilability(), 75);

    list->let_LinkId("");
    list->Populate();
    EXPECT_EQ(list->get_Count(), 0);
    EXPECT_THAT(statements(), ElementsAre());
}

TEST_P(ParticipantsTest, AContactIsAddedOnce) {
    participant("CN00000001", "PT00000001", 50)->Update();
    const auto list = of("PT00000001");
    EXPECT_EQ(list->Add("CN00000001", "CN00000001")->Availability, 50);
    test::expectFailure({10, "Participants", "Participant already added into list"},
                        [&] { list->AddItem(participant("cn00000001", "")); });
    test::expectFailure({errors::duplicateKey}, [&] { list->Add("CN00000001", "CN00000001"); });
    list->Add("CN00000001");
    list->AddItem(nullptr);
    EXPECT_EQ(list->get_Count(), 2);
    list->Remove(1);
    list->AddItem(participant("CN00000001", ""));
    EXPECT_EQ(list->get_Count(), 2);
    list->Clear();
    EXPECT_EQ(list->get_Count(), 0);
    EXPECT_EQ(rows(), "CN00000001 PT00000001 50;");
}

TEST_P(ParticipantsTest, TotalsAreSingles) {
    constexpr float greatest = std::numeric_limits<float>::max();
    const struct {
        const char* name;
        std::vector<float> given;
        float expected;
    } cases[] = {
        {"nobody", {}, 0},
        {"three", {50, 100, 25}, 175},
        {"what a single cannot hold beside much is lost", {16777216, 1, 1}, 16777216},
        {"in the order of the members", {1, 1, 16777216}, 16777218},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto list = make<Participants>();
        for (const float figure : row.given) {
            const auto member = participant(std::to_string(list->get_Count()), "", figure);
            member->WorkAlloted = figure;
            list->AddItem(member);
        }
        EXPECT_EQ(list->getTotalAvilability(), row.expected);
        EXPECT_EQ(list->GetTotalAllotedHours(), row.expected);
        list->AddItem(participant("a", "", greatest));
        list->AddItem(participant("b", "", greatest));
        test::expectFailure({errors::overflow}, [&] { static_cast<void>(list->getTotalAvilability()); });
    }
}

TEST_P(ParticipantsTest, SavingAListReplacesTheParticipantsOfItsItem) {
    participant("CN00000001", "PT00000001", 50)->Update();
    participant("CN00000001", "PT00000002", 60)->Update();
    const auto list = of("PT00000001");
    list->AddItem(participant("CN00000002", "", 70)); // as one that was not assigned is after loading
    statements();
    list->UpdateParticipants();
    EXPECT_THAT(
        statements(),
        ElementsAre("execute|Delete From Participants Where LinkId=\"PT00000001\"",
                    "open|Select * From Participants Where ContactId=\"CN00000002\" And LinkId=\"PT00000001\""));
    EXPECT_EQ(rows(), "CN00000001 PT00000002 60;CN00000002 PT00000001 70;");

    participant("CN00000001", "PT00000002")->DeleteParticipant();
    EXPECT_THAT(statements(),
                ElementsAre("execute|DELETE From Participants Where ContactId ='CN00000001' And LinkID ='PT00000002'"));
    list->Clear();
    list->UpdateParticipants();
    EXPECT_EQ(rows(), "");
}

CORVETH_ON_EVERY_ENGINE(ParticipantsTest);

} // namespace
} // namespace corveth
