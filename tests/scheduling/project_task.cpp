#include "scheduling/project_task.h"

#include "attachments/attachments.h"
#include "scheduling/participants.h"
#include "scheduling/project_type.h"
#include "scheduling/task_world.h"
#include "session/link_item.h"
#include "session/module_state.h"
#include "tracking/actions.h"
#include "tracking/version.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class ProjectTaskTest : public test::TaskWorld {
protected:
    /// What a new item is given.
    static Text plan(const ProjectTask& task) {
        return task.Priority + "|" + task.get_EarliestStartDate() + "|" + task.PlannedStartDate + "|" +
               task.PlannedFinishDate + "|" + plainDecimal(task.get_PlannedDuration()) + "|" +
               plainDecimal(task.get_PlannedWork()) + "|" + plainDecimal(task.get_RemainingWork()) + "|" +
               plainDecimal(task.ActualDuration) + "|" + plainDecimal(task.RemainingDuration) + "|" +
               plainDecimal(task.get_CompletedPercentage());
    }
    /// What deleting one row sends.
    static void addDeletion(std::vector<Text>& trace, const Text& id) {
        const Text only = "='" + id + "'";
        for (const Text& statement :
             {"DELETE FROM Actions WHERE LinkId" + only, "DELETE From Attachments Where LinkID " + only,
              "DELETE From Reminders Where LinkID " + only, "DELETE From Notes Where LinkID " + only,
              "DELETE From Favourites Where LinkID " + only, "DELETE From StatusHistory Where LinkID " + only,
              "DELETE From ItemMap Where LinkId " + only + " Or ItemID " + only,
              "DELETE From Participants Where LinkID " + only, "DELETE From Projects Where ID " + only}) {
            trace.push_back("execute|" + statement);
        }
    }
    static Text childrenOf(const Text& id) {
        return "open|SELECT ID, ParentId ,ItemType FROM Projects WHERE ParentID='" + id + "' ORDER BY ItemType Desc";
    }
};

TEST_P(ProjectTaskTest, ANewItemIsPlannedFromItsParentOrTheNextWorkingDay) {
    const Text project = saved(ptType::PROJECT);
    sql("Update Projects Set Priority='High', EarliestStartDate=46100, PlnStartDate=46101.5, PlnFinishDate=46130");
    const struct {
        const char* name;
        ptType type;
        Text parent;
        Date today;
        const char* expected;
    } cases[] = {
        {"a project", ptType::PROJECT, "", fromCivil({2026, 3, 5}), "Medium||2026-03-05|2026-03-05|8|8|8|0|8|0"},
        {"on a Saturday", ptType::PROJECT, "", fromCivil({2026, 3, 7}), "Medium||2026-03-09|2026-03-09|8|8|8|0|8|0"},
        {"a task", ptType::Task, project, fromCivil({2026, 3, 5}),
         "High|2026-03-19|2026-03-20 12:00:00|2026-03-20 12:00:00|8|8|8|0|8|0"},
        {"a task late", ptType::Task, project, fromCivil({2026, 3, 24}),
         "High|2026-03-19|2026-03-20 12:00:00|2026-03-20 12:00:00|8|8|8|16|0|0"},
        {"a project below another", ptType::PROJECT, project, fromCivil({2026, 3, 5}),
         "High|2026-03-19|2026-03-20 12:00:00|2026-03-20 12:00:00|8|8|8|0|8|0"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        now = row.today;
        EXPECT_EQ(plan(*item(row.type, row.parent)), row.expected);
    }

    now = fromCivil({2026, 3, 5});
    const auto used = item(ptType::PROJECT, project);
    used->let_ItemName("Bridge");
    used->let_ActualStartDate("2026-03-02");
    used->let_Finished(true);
    used->let_ActualWorked(12);
    used->let_ParentId("");
    used->Populate();
    EXPECT_EQ(plan(*used), cases[0].expected) << "an object that was another item before";
    EXPECT_EQ(used->get_ItemName() + used->get_ActualStartDate() + used->get_ActualFinishDate(), "New Project");
    EXPECT_EQ(used->get_ActualWorked() + used->get_ExpectedOverrun(), 0);
    EXPECT_FALSE(used->get_Finished());
}

TEST_P(ProjectTaskTest, AnItemThatCannotBePlannedFails) {
    const Text unplanned = "Type mismatch: PlannedStartDate \"\"";
    const struct {
        const char* name;
        ptType type;
        const char* parent;
        const char* before;
        Text expected;
    } cases[] = {
        {"a task without a parent", ptType::Task, "", "Select 1", unplanned},
        {"a parent that is not there", ptType::Task, "PT00000099", "Select 1",
         "Invalid procedure call or argument: the parent \"PT00000099\" is no row of Projects"},
        {"a parent that would end the statement", ptType::Task, "P\"T", "Select 1", "Invalid procedure call"},
        {"a calendar without a row", ptType::PROJECT, "", "Delete From WorkingHours", unplanned},
        {"no table", ptType::PROJECT, "", "Drop Table Projects", GetParam().noTable("Projects")},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        sql(row.before);
        auto task = make<ProjectTask>();
        task->ItemType = row.type;
        test::expectFailure({errors::application, "Projects", row.expected}, [&] {
            try {
                task->let_ParentId(row.parent);
            } catch (const Error& error) { // not within the trap of Populate
                throw Error(errors::application, "Projects", error.description);
            }
            task->Populate();
        });
    }
}

TEST_P(ProjectTaskTest, ANewProjectIsItsOwnParent) {
    const auto project = item(ptType::PROJECT);
    EXPECT_THAT(trace(), ElementsAre(rowOf(""), "calendar", "calendar", "calendar"))
        << "the next working day, the hours of the day, the hours that are left; today is the start";
    project->Update();
    EXPECT_EQ(project->ID, "PT00000001");
    EXPECT_THAT(trace(), ElementsAre(rowOf(""), rowOf("PT00000001"), rowOf("PT00000001"), "begin", "commit"));
    EXPECT_EQ(row("PT00000001", {"ParentID", "ProjectId", "ItemName", "PlnStartDate", "ActStartDate", "CalcMethod"}),
              "PT00000001|PT00000001|New Project|46086|(null)|0");

    const auto again = loaded("PT00000001");
    const Text parent = rowOf("PT00000001");
    EXPECT_THAT(trace(), ElementsAre(parent, parent, parent, "calendar PT00000001"));
    again->Update();
    EXPECT_THAT(trace(), ElementsAre(parent, "begin", "commit"));
}

TEST_P(ProjectTaskTest, EveryPropertyComesBack) {
    const Text project = saved(ptType::PROJECT);
    const auto task = item(ptType::Task, project);
    // Every one takes a value of its own, so that two columns cannot stand for each other.
    task->Description = "description";
    task->Priority = "priority";
    task->AwardedAmount = 1.5F;
    task->BudgetedAmount = 2.25F;
    task->let_ItemName("name");
    task->let_CalculationMethod(ptCalcMethod::None);
    task->let_PlannedDuration(15);
    task->let_PlannedWork(12.1F);
    task->let_ActualStartDate("2026-03-06 08:30:00");
    task->let_EarliestStartDate("2026-03-11 07:00:00.250");
    task->let_ActualFinishDate("2026-03-17");
    task->let_ActualWorked(14.3F);
    task->PlannedFinishDate = "2026-03-21";
    task->ActualDuration = 9; // saved, but computed anew when it is loaded
    task->let_RemainingWork(3.3F);
    task->let_ExpectedOverrun(-4.5F);
    task->let_CompletedPercentage(66.6F);
    task->Update();
    EXPECT_EQ(row(task->ID, {"PlnStartDate", "ActDuration", "ParentID", "ProjectId"}),
              "46092.2916695602|9|PT00000001|PT00000001");

    const auto again = loaded(task->ID);
    const auto texts = [](ProjectTask& it) {
        return std::vector<Text>{it.get_ItemName(),        it.Description,           it.Priority,
                                 it.PlannedStartDate,      it.PlannedFinishDate,     it.get_EarliestStartDate(),
                                 it.get_ActualStartDate(), it.get_ActualFinishDate()};
    };
    EXPECT_EQ(texts(*again), texts(*task));
    const auto figures = [](ProjectTask& it) {
        return std::vector<float>{it.AwardedAmount,       it.BudgetedAmount,        it.get_PlannedDuration(),
                                  it.get_PlannedWork(),   it.get_ResourceCount(),   it.get_ActualWorked(),
                                  it.get_RemainingWork(), it.get_ExpectedOverrun(), it.get_CompletedPercentage()};
    };
    EXPECT_EQ(figures(*again), figures(*task));
    EXPECT_EQ(again->PlannedStartDate, "2026-03-11 07:00:00.250");
    EXPECT_TRUE(again->get_Finished());
    EXPECT_EQ(again->get_CalculationMethod(), ptCalcMethod::None);
    EXPECT_EQ(again->ItemType, ptType::Task);
    EXPECT_EQ(again->ActualDuration, 64) << "the working days from the actual start to the actual finish";
    EXPECT_EQ(again->RemainingDuration, 0);
}

TEST_P(ProjectTaskTest, AnUnnamedItemTakesTheNameOfItsTypeAndKeepsIt) {
    const struct {
        ptType type;
        const char* expected;
    } cases[] = {
        {ptType::PROJECT, "New Project"},
        {ptType::GroupTask, "New Task"},
        {ptType::Task, "New Sub Task"},
        {test::unnamed<ptType>(7), ""},
    };
    for (const auto& row : cases) {
        auto task = make<ProjectTask>();
        task->ItemType = row.type;
        EXPECT_EQ(task->get_ItemName(), row.expected);
        task->ItemType = ptType::GroupTask;
        EXPECT_EQ(task->get_ItemName(), *row.expected == 0 ? "New Task" : row.expected);
    }
}

TEST_P(ProjectTaskTest, ANullWhereNoneMayBeFailsAndANullTextOfTheProjectIsEmpty) {
    const Text project = saved(ptType::PROJECT);
    const Text task = saved(ptType::GroupTask, project);
    sql("Update Projects Set SourceType=Null, BidId=Null, VersionId=Null, SourceId=Null, prjCategoryId=Null");
    EXPECT_EQ(loaded(task)->SourceType, "");
    for (const char* column : {"ItemName", "Priority", "PlnWork", "CalcMethod", "Finished", "ItemType", "ParentID"}) {
        SCOPED_TRACE(column);
        const Text copy = saved(ptType::GroupTask, project);
        sql(Text("Update Projects Set ") + column + "=Null Where Id='" + copy + "'");
        test::expectFailure({errors::application, "Projects", "Invalid use of Null"}, [&] { loaded(copy); });
    }
}

TEST_P(ProjectTaskTest, TheParentIsLoadedWhenAnotherOneIsAssigned) {
    const Text first = saved(ptType::PROJECT), second = saved(ptType::PROJECT);
    const Text group = saved(ptType::GroupTask, first);
    trace();
    auto task = make<ProjectTask>();
    const auto before = task->get_Parent();
    const struct {
        const char* name;
        Text parent;
        std::vector<Text> statements;
        Text shown;
    } cases[] = {
        {"a group", group, {rowOf(group), rowOf(first)}, group + " " + first},
        {"the same", group, {}, group + " " + first},
        {"none", "", {}, " "},
        {"the group again", group, {rowOf(group), rowOf(first)}, group + " " + first},
        {"another", second, {rowOf(second), rowOf(second)}, second + " " + second},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        task->let_ParentId(row.parent);
        EXPECT_EQ(trace(), row.statements);
        EXPECT_EQ(task->get_Parent()->get_ID() + " " + task->get_ParentProject()->get_ID(), row.shown);
    }
    EXPECT_EQ(before->get_ID(), group) << "none brought new objects";
}

TEST_P(ProjectTaskTest, WhatBelongsToTheProjectComesFromItsRoot) {
    const Text project = saved(ptType::PROJECT);
    const Text task = saved(ptType::Task, saved(ptType::GroupTask, project));
    const auto set = [&](const Text& id, const Text& mark) {
        sql("Update Projects Set prjCategoryId='PC" + mark + "', VersionId='VR" + mark + "', SourceId='CN" + mark +
            "', SourceType='" + mark + "', BidId='BD" + mark + "' Where Id='" + id + "'");
    };
    set(project, "00000001");
    set(task, "00000002");
    trace();
    const auto read = loaded(task);
    EXPECT_EQ(read->SourceType + "|" + read->BidID, "00000001|BD00000001");
    trace();
    EXPECT_EQ(read->get_ProjectCategory()->ID, "PC00000001");
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(read->get_Version()->get_ID(), "VR00000001");
    EXPECT_THAT(trace(), ElementsAre("open|Select * From Versions Where Id=\"VR00000001\""));
    EXPECT_EQ(read->get_Source()->ID, "CN00000001");
    EXPECT_EQ(trace().size(), 1U);
    for (const auto& [name, count] : {std::pair{"Attachments", read->get_Attachments()->get_Count()},
                                      {"Actions", read->get_Actions()->get_Count()},
                                      {"Users", read->get_Users()->get_Count()}}) {
        EXPECT_EQ(count, 0) << name;
    }
    EXPECT_THAT(trace(), ElementsAre("open|Select * From Attachments Where LinkId='" + task + "';",
                                     "open|Select * From Actions Where LinkId=\"" + task + "\"",
                                     "open|SELECT ContactId From Users Where LinkId ='" + task + "'"));
    const auto held = [&] {
        return std::vector<Ref<Object>>{read->get_Version(),     read->get_Source(),  read->get_ProjectCategory(),
                                        read->get_Attachments(), read->get_Actions(), read->get_Users()};
    };
    const auto before = held();
    EXPECT_EQ(held(), before);
    EXPECT_THAT(trace(), IsEmpty()) << "kept";
    read->Populate();
    const auto after = held();
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_NE(after[i], before[i]) << i << ": only until the item is loaded again";

    const auto fresh = make<ProjectTask>();
    trace();
    EXPECT_EQ(fresh->get_Users()->get_Count() + fresh->get_Actions()->get_Count(), 0);
    EXPECT_EQ(fresh->get_Version()->get_ID() + fresh->get_Source()->ID, "");
    EXPECT_THAT(trace(), IsEmpty()) << "without an ID there is nothing to load";
}

TEST_P(ProjectTaskTest, WhatAProjectChangesReachesItsWholeTree) {
    const auto statement = [](const Text& what) {
        return "execute|Update Projects Set " + what + " Where ProjectId='PT00000001'";
    };
    using Change = void (*)(ProjectTask&);
    const struct {
        const char* name;
        Change change;
        std::vector<Text> fromProject, fromTask;
        const char* column;
        const char* inTree;
    } cases[] = {
        {"version",
         [](ProjectTask& it) { it.get_Version()->let_ID("VR00000001"); },
         {statement("VersionID='VR00000001'")},
         {},
         "VersionId",
         "VR00000001"},
        {"method",
         [](ProjectTask& it) { it.let_CalculationMethod(ptCalcMethod::None); },
         {statement("CalcMethod='3'")},
         {},
         "CalcMethod",
         "3"},
        {"source",
         [](ProjectTask& it) { it.get_Source()->ID = "CN00000001"; },
         {statement("SourceID='CN00000001'")},
         {},
         "SourceId",
         "CN00000001"},
        {"bid",
         [](ProjectTask& it) { it.BidID = "BD00000001"; },
         {statement("BIDID='BD00000001'")},
         {"execute|Update Projects Set BIDID='BD00000001' Where ProjectId='PT00000002'"},
         "BidId",
         "BD00000001"},
        {"source type", [](ProjectTask& it) { it.SourceType = "Bid"; }, {}, {}, "SourceType", ""},
    };
    const Text project = saved(ptType::PROJECT);
    const Text group = saved(ptType::GroupTask, project);
    ASSERT_EQ(project + group, "PT00000001PT00000002");
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto handedDown = [&](const Text& id) {
            const auto task = loaded(id);
            row.change(*task);
            trace();
            task->Update();
            auto statements = trace();
            std::erase_if(statements, [](const Text& it) { return !it.starts_with("execute"); });
            return statements;
        };
        EXPECT_EQ(handedDown(group), row.fromTask);
        const Text before = this->row(group, {row.column});
        sql(Text("Update Projects Set ") + row.column + "=Null Where Id='" + group + "' And '" + row.column +
            "'<>'CalcMethod'");
        EXPECT_EQ(handedDown(project), row.fromProject);
        EXPECT_EQ(this->row(group, {row.column}), *row.inTree == 0 ? "(null)" : row.inTree) << before;
    }
}

TEST_P(ProjectTaskTest, LoadingAgainTakesBackNothingThatWasHandedDown) {
    const auto project = item(ptType::PROJECT);
    project->Update();
    const Text group = saved(ptType::GroupTask, project->ID);
    project->get_Version()->let_ID("VR00000001");
    project->get_Source()->ID = "BD00000001";
    project->get_ProjectCategory()->ID = "PC00000001";
    project->BidID = "BD00000002";
    project->SourceType = "Bid";
    for (int times = 0; times < 2; ++times) {
        project->Update();
        project->Populate();
    }
    EXPECT_EQ(row(project->ID, {"VersionId", "SourceId", "prjCategoryId", "BidId", "SourceType"}),
              "VR00000001|BD00000001|PC00000001|BD00000002|Bid");
    EXPECT_EQ(row(group, {"VersionId", "SourceId", "BidId"}), "VR00000001|BD00000001|BD00000002");
}

TEST_P(ProjectTaskTest, ADayThatIsNotAssignedKeepsItsNumber) {
    const Text project = saved(ptType::PROJECT);
    sql("Update Projects Set PlnStartDate=46086.00805555556, PlnFinishDate=46087.00805555556, ActStartDate=Null");
    const auto task = loaded(project);
    task->Description = "changed";
    task->PlannedFinishDate = "2026-03-06 00:11:37";
    task->Update();
    EXPECT_EQ(scalar("Select Description From Projects Where PlnStartDate=46086.00805555556"), "changed");
    EXPECT_EQ(scalar("Select Count(*) From Projects Where PlnFinishDate=46087.00805555556"), "0");
}

TEST_P(ProjectTaskTest, ATaskThatIsItsOwnParentKeepsItsFigures) {
    const Text project = saved(ptType::PROJECT);
    const auto task = item(ptType::Task, project);
    task->let_PlannedWork(24);
    task->Update();
    task->let_ParentId(task->ID);
    task->Update();
    EXPECT_EQ(row(task->ID, {"ParentID", "PlnWork", "PlnStartDate"}), task->ID + "|24|46086");
    loaded(task->ID)->Update();
    EXPECT_EQ(row(task->ID, {"PlnWork", "PlnStartDate"}), "24|46086");
}

TEST_P(ProjectTaskTest, IsNotMovedToAParentThatIsNotThere) {
    const Text project = saved(ptType::PROJECT);
    const auto task = item(ptType::Task, project);
    task->Update();
    task->let_ParentId("PT00000099");
    test::expectFailure({errors::application, "Versions",
                         "Invalid procedure call or argument: the parent \"PT00000099\" is no row of Projects"},
                        [&] { task->Update(); });
    EXPECT_EQ(row(task->ID, {"ParentID", "ProjectId"}), project + "|" + project);

    sql("Update Projects Set ParentID='PT00000099' Where Id='" + task->ID + "'");
    const auto orphan = loaded(task->ID);
    orphan->Description = "found";
    orphan->Update();
    EXPECT_EQ(row(task->ID, {"Description", "ParentID"}), "found|PT00000099");
}

// A project's percentage is below 0 when less than nothing was done.
TEST_P(ProjectTaskTest, FiguresThatAreNoBytesKeepNoTreeFromBeingLoaded) {
    const Text project = saved(ptType::PROJECT);
    const auto task = item(ptType::Task, project);
    task->let_ActualWorked(-2);
    task->Update();
    EXPECT_EQ(row(project, {"PercCompleted"}), "-25");
    sql("Update Projects Set CalcMethod=300 Where Id='" + project + "'");
    logged();
    EXPECT_EQ(loaded(project)->get_CompletedPercentage(), -25);
    EXPECT_THAT(logged(), Contains(StartsWith("ParentItem|reading PercCompleted of " + project + "|Overflow")));
    loaded(task->ID)->Update();
    saved(ptType::Task, project);
}

TEST_P(ProjectTaskTest, ANewProjectHandsDownWhatItWasGiven) {
    auto project = item(ptType::PROJECT);
    project->let_CalculationMethod(ptCalcMethod::FixedDuration);
    project->BidID = "BD00000001";
    project->get_Version()->let_ID("VR00000001");
    trace();
    project->Update();
    const Text own = " Where ProjectId='PT00000001'";
    EXPECT_THAT(trace(), ElementsAre(rowOf(""), rowOf("PT00000001"), rowOf("PT00000001"), "begin",
                                     "execute|Update Projects Set VersionID='VR00000001'" + own,
                                     "execute|Update Projects Set BIDID='BD00000001'" + own, "commit"))
        << "a row that was not there had no method that could be another";
}

TEST_P(ProjectTaskTest, ATaskIsSummedIntoItsAncestorsAfterItIsSaved) {
    const Text project = saved(ptType::PROJECT);
    const Text group = saved(ptType::GroupTask, project);
    const auto task = item(ptType::Task, group);
    task->let_PlannedWork(20);
    trace();
    task->Update();
    const auto statements = trace();
    ASSERT_GE(statements.size(), 4U);
    EXPECT_EQ(statements[0], rowOf(""));
    EXPECT_EQ(statements[1], "begin");
    EXPECT_THAT(statements[2], StartsWith("execute|Update Projects Set PlnDuration=0, "));
    EXPECT_EQ(statements.back(), "commit");
    EXPECT_EQ(row(group, {"PlnWork"}) + "|" + row(project, {"PlnWork"}), "20|20");

    saved(ptType::GroupTask, group);
    EXPECT_EQ(row(group, {"PlnWork"}), "20") << "a group is not summed up when it is saved";
}

TEST_P(ProjectTaskTest, AFailureBeforeTheRowIsSavedIsRaisedALaterOneIsNot) {
    const Text project = saved(ptType::PROJECT);
    const test::Refusal noInsert{"no_insert", "before insert", "Projects", nullptr, "no more projects"};
    refuse(noInsert);
    const auto task = item(ptType::PROJECT);
    test::expectFailure({errors::application, "Versions"}, [&] { task->Update(); });
    EXPECT_EQ(connection->transactionLevel(), 0);
    allow(noInsert);
    task->Update();
    EXPECT_EQ(row(task->ID, {"ParentID", "ProjectId"}), task->ID + "|" + task->ID)
        << "the ID of the attempt that failed is nobody's parent";

    auto bad = loaded(project);
    bad->PlannedStartDate = "soon";
    test::expectFailure({errors::application, "Versions", "Type mismatch: \"soon\""}, [&] { bad->Update(); });
    EXPECT_EQ(row(project, {"PlnStartDate"}), "46086");

    // A group that is its own grandchild: the walk over the ancestors would not end.
    const Text group = saved(ptType::GroupTask, project);
    const Text inner = saved(ptType::GroupTask, group);
    const auto leaf = item(ptType::Task, inner);
    sql("Update Projects Set ParentID='" + inner + "' Where Id='" + group + "'");
    logged();
    leaf->let_PlannedWork(5);
    leaf->Update();
    EXPECT_THAT(logged(), ElementsAre(StartsWith("ProjectTask|summing up the ancestors of " + leaf->ID + "|")));
    EXPECT_EQ(row(leaf->ID, {"PlnWork"}), "5");
    EXPECT_EQ(connection->transactionLevel(), 0) << "what was done is committed";
    test::expectFailure({errors::invalidCall}, [&] { leaf->UpdateParents(); });
}

TEST_P(ProjectTaskTest, ASaveWithinTheClientsTransactionIsPartOfIt) {
    const auto project = item(ptType::PROJECT);
    project->Update();
    EXPECT_EQ(connection->BeginTrans(), 1);
    project->Description = "changed";
    project->Update();
    EXPECT_EQ(connection->transactionLevel(), 1);
    connection->RollbackTrans();
    EXPECT_EQ(row(project->ID, {"Description"}), "");
}

TEST_P(ProjectTaskTest, DeletingTakesTheRowsInOrder) {
    const Text project = saved(ptType::PROJECT);
    const Text group = saved(ptType::GroupTask, project);
    const Text inner = saved(ptType::Task, group), outer = saved(ptType::Task, project);
    const Text other = saved(ptType::PROJECT);
    for (const char* table : {"Notes (NoteId, LinkId)", "Actions (Id, LinkId)", "Attachments (AttachmentID, LinkId)"}) {
        sql(Text("Insert Into ") + table + " Values ('AA00000001', '" + inner + "')");
        sql(Text("Insert Into ") + table + " Values ('AA00000002', '" + other + "')");
    }
    sql("Insert Into ItemMap Values ('CN00000001', '" + inner + "', 28, '')");
    sql("Insert Into Participants (ContactId, LinkId) Values ('CN00000001', '" + group + "')");
    const auto task = loaded(project);
    trace();
    task->Delete(true);

    std::vector<Text> expected{"begin", childrenOf(project)};
    addDeletion(expected, outer);
    addDeletion(expected, group);
    expected.push_back(childrenOf(group));
    addDeletion(expected, inner);
    addDeletion(expected, group);
    addDeletion(expected, project); // it stands among its own children
    addDeletion(expected, project);
    expected.emplace_back("commit");
    EXPECT_EQ(trace(), expected);
    EXPECT_EQ(scalar("Select Count(*) From Projects"), "1");
    for (const char* table : {"Notes", "Actions", "Attachments"})
        EXPECT_EQ(scalar(Text("Select Count(*) From ") + table), "1") << table;
    for (const char* table : {"ItemMap", "Participants"})
        EXPECT_EQ(scalar(Text("Select Count(*) From ") + table), "0") << table;
    EXPECT_THAT(boxes, IsEmpty());
}

TEST_P(ProjectTaskTest, DeletingGoesOnWhenAStatementFails) {
    const Text project = saved(ptType::PROJECT);
    const Text group = saved(ptType::GroupTask, project), task = saved(ptType::Task, group);
    saved(ptType::Task, project);
    sql("Drop Table Actions");
    sql("Drop Table Notes");
    loaded(group)->Delete(true);
    EXPECT_EQ(scalar("Select Count(*) From Projects"), "2");
    EXPECT_THAT(boxes, IsEmpty());
    EXPECT_THAT(logged(), Contains(StartsWith("ProjectTask|deleting the actions of " + task + "|" +
                                              GetParam().noTable("Actions"))));
}

TEST_P(ProjectTaskTest, TheOnlyTaskOfAProjectStays) {
    const Text project = saved(ptType::PROJECT);
    const Text task = saved(ptType::Task, project);
    const auto read = loaded(task);
    read->Delete(true);
    EXPECT_THAT(boxes, ElementsAre(StartsWith("prjCorveth|Invalid use of Null")));
    EXPECT_TRUE(boxes.front().ends_with("|0"));
    EXPECT_EQ(row(task, {"PlnWork"}), "8");
    EXPECT_EQ(connection->BeginTrans(), 1) << "nothing was left open";
    boxes.clear();
    read->Delete();
    EXPECT_EQ(boxes.size(), 1U);
    connection->CommitTrans();
    EXPECT_EQ(row(task, {"PlnWork"}), "(none)") << "within the client's transaction it is the client's to decide";
}

TEST_P(ProjectTaskTest, ATreeThatLeadsBackIntoItselfIsDeleted) {
    const Text project = saved(ptType::PROJECT);
    const Text group = saved(ptType::GroupTask, project), inner = saved(ptType::GroupTask, group);
    saved(ptType::GroupTask, inner);
    const auto read = loaded(group);
    sql("Update Projects Set ParentID='" + inner + "' Where Id='" + group + "'");
    read->Delete(true);
    EXPECT_EQ(scalar("Select Count(*) From Projects"), "1");

    sql("Insert Into Notes (NoteId, LinkId) Values ('NT00000001', '')");
    item(ptType::PROJECT)->Delete(true);
    EXPECT_EQ(scalar("Select Count(*) From Notes"), "1") << "what belongs to no item is not a new item's";
}

CORVETH_ON_EVERY_ENGINE(ProjectTaskTest);

} // namespace
} // namespace corveth
