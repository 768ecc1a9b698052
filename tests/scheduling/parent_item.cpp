#include "scheduling/parent_item.h"

#include "platform/automation/convert.h"
#include "support/fixture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;

class ParentItemTest : public test::DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        sql("Insert Into Projects (Id, ParentID, ProjectId, ItemName, Description, BidId, CalcMethod, "
            "EarliestStartDate, PlnStartDate, PlnFinishDate, ActStartDate, ActFinishDate, PlnDuration, PlnWork, Users, "
            "RemainingWork, ActDuration, ActWorkDuration, PercCompleted, AwAmount, BudgAmount, ExptOverrun, ItemType, "
            "Finished, VersionId, SourceId, prjCategoryId, Priority, SourceType) Values ('PT00000002', 'PT00000001', "
            "'PT00000001', 'Groundwork', 'Dig', 'BD00000001', 2, 39120, 39125.375, 39126.5062847222, Null, 0.25, 16.5, "
            "24, 1.5, 20, 8, 4, 66.5, 1000, 900, 2.25, 1, True, 'VR00000001', 'RQ00000001', 'PC00000001', 'High', "
            "'Requirement')");
    }
    static Text told(const ParentItem& item) {
        return fmt::format("{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}",
                           item.ParentId, item.Description, item.AwardedAmount, item.BudgetedAmount, item.Priority,
                           item.Status, item.ExpectedOverrun, item.CompletedPercentage, item.EarliestStartDate,
                           item.PlannedStartDate, item.PlannedFinishDate, item.PlannedDuration, item.PlannedWork,
                           item.ActualStartDate, item.ActualFinishDate, item.ActualDuration, item.RemainingWork,
                           item.ActualWorked, item.ItemName, item.ItemType, item.VersionID, item.BidID, item.ProjectId,
                           item.SourceId, item.SourceType, item.ProjectCategoryID, item.CalculationMethod,
                           item.get_ID());
    }
    Ref<ParentItem> loaded(const char* id) {
        auto item = make<ParentItem>();
        item->loadAs(id);
        return item;
    }
};

TEST_P(ParentItemTest, LoadingCopiesEveryColumn) {
    EXPECT_EQ(told(*loaded("pt00000002")),
              "PT00000001|Dig|1000|900|High|True|2.25|66|2007-02-07|2007-02-12 09:00:00|2007-02-13 12:09:03|16.5|24||"
              "06:00:00|8|20|4|Groundwork|1|VR00000001|BD00000001|PT00000001|RQ00000001|Requirement|PC00000001|2|"
              "PT00000002");
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Projects Where Id=\"pt00000002\""));
}

TEST_P(ParentItemTest, TextsAndDatesWithoutAValueAreEmpty) {
    sql("Update Projects Set ParentID=Null, ProjectId=Null, ItemName=Null, Description=Null, BidId=Null, "
        "EarliestStartDate=Null, PlnStartDate=Null, PlnFinishDate=Null, ActFinishDate=Null, Finished=Null, "
        "VersionId=Null, SourceId=Null, prjCategoryId=Null, Priority=Null, SourceType=Null");
    EXPECT_EQ(told(*loaded("PT00000002")), "||1000|900|||2.25|66||||16.5|24|||8|20|4||1|||||||2|PT00000002");
}

TEST_P(ParentItemTest, WithoutARowTheFieldsStay) {
    const auto item = loaded("PT00000002");
    item->loadAs("PT00000009");
    EXPECT_EQ(item->ItemName + item->get_ID(), "GroundworkPT00000009");
    item->Update();
    EXPECT_EQ(scalar("Select Count(*) From Projects"), "1");
}

TEST_P(ParentItemTest, FailuresNameTheTable) {
    const struct {
        const char *name, *change;
        Text words;
    } rows[] = {
        {"a percentage that is no byte", "PercCompleted=-1", "Overflow"},
        {"a method that is no byte", "CalcMethod=256", "Overflow"},
        {"no work", "PlnWork=Null", "Invalid use of Null"},
        {"no such day", "PlnStartDate=1e9", "Overflow"},
    };
    const auto item = loaded("PT00000002");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        connection->BeginTrans();
        connection->execute(Text("Update Projects Set ") + row.change);
        test::expectFailure({errors::application, "Projects", row.words}, [&] { item->Populate(); });
        connection->RollbackTrans();
    }
    item->ItemType = 2;
    refuse({"kept", "before update", "Projects", nullptr, "The row is kept."});
    test::expectFailure({errors::application, "Projects", "The row is kept."}, [&] { item->Update(); });
}

TEST_P(ParentItemTest, SavingWritesParentAndTypeAlone) {
    const auto item = loaded("PT00000002");
    item->ParentId = "PT00000003";
    item->ItemType = 2;
    item->ItemName = "Not written";
    item->Update();
    EXPECT_EQ(scalar("Select ParentID & ItemType & ItemName From Projects"), "PT000000032Groundwork");
}

TEST_P(ParentItemTest, ClearingTakesTheParticipantsOfTheItemAlone) {
    for (const char* link : {"PT00000002", "PT00000003"})
        sql(fmt::format("Insert Into Participants (ContactId, LinkId) Values ('CN00000001', '{}')", link));
    const auto item = loaded("PT00000002");
    statements();
    item->ClearAllUser();
    EXPECT_EQ(scalar("Select LinkId From Participants"), "PT00000003");
    EXPECT_THAT(statements(), ElementsAre("execute|Delete From Participants Where LinkId=\"PT00000002\""));
}

CORVETH_ON_EVERY_ENGINE(ParentItemTest);

} // namespace
} // namespace corveth
