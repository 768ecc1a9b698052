// A task's assignments, with its participants, its dates and its calendars.

#include "scheduling/participants.h"
#include "scheduling/task_world.h"

#include <functional>
#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;

using enum ptCalcMethod;

using People = std::vector<float>;
const People nobody, noneOfOne{0}, half{50}, one{100}, oneAndAHalf{50, 100}, two{100, 100}; ///< availabilities

using Assign = std::function<void(ProjectTask&)>;
Assign work(float hours) {
    return [hours](ProjectTask& it) { it.let_PlannedWork(hours); };
}
Assign duration(float hours) {
    return [hours](ProjectTask& it) { it.let_PlannedDuration(hours); };
}

class TaskAssignmentTest : public test::TaskWorld {
protected:
    /// A new project planned from Thursday on, eight hours of work.
    static Ref<ProjectTask> planned(ptCalcMethod method, const People& availabilities = nobody) {
        auto task = item(ptType::PROJECT);
        task->let_CalculationMethod(method);
        for (const float availability : availabilities) {
            auto participant = make<Participant>();
            participant->ID = "CN" + std::to_string(task->get_Users()->get_Count());
            participant->Availability = availability;
            task->get_Users()->AddItem(participant);
        }
        return task;
    }
    /// Work, duration, resources, finish and what each participant is allotted and available.
    static Text plan(const ProjectTask& task) {
        Text result = plainDecimal(task.get_PlannedWork()) + " " + plainDecimal(task.get_PlannedDuration()) + " " +
                      plainDecimal(task.get_ResourceCount()) + " " + task.PlannedFinishDate;
        const auto users = task.get_Users();
        for (std::int32_t i = 1; i <= users->get_Count(); ++i) {
            const auto participant = users->at(i);
            result += " " + plainDecimal(participant->WorkAlloted) + "@" + plainDecimal(participant->Availability);
        }
        return result;
    }
    /// Actual and remaining duration, remaining work, overrun, percentage, finish.
    static Text progress(const ProjectTask& task) {
        return plainDecimal(task.ActualDuration) + " " + plainDecimal(task.RemainingDuration) + " " +
               plainDecimal(task.get_RemainingWork()) + " " + plainDecimal(task.get_ExpectedOverrun()) + " " +
               plainDecimal(task.get_CompletedPercentage()) + " " + (task.get_Finished() ? "finished " : "open ") +
               task.get_ActualFinishDate();
    }
};

TEST_P(TaskAssignmentTest, ThePlanFollowsWhatIsAssigned) {
    const auto availability = [](ProjectTask& it) {
        it.let_PlannedWork(30);
        it.get_Users()->at(1)->Availability = 200;
        it.AvailabilityChanged();
    };
    const struct {
        const char* name;
        ptCalcMethod method;
        People availabilities;
        Assign assign;
        const char* expected;
    } cases[] = {
        {"fixed work: work", FixedWork, oneAndAHalf, work(30), "30 20 1.5 2026-03-09 10@50 20@100"},
        {"fixed work: work, nobody", FixedWork, nobody, work(30), "30 30 0 2026-03-10"},
        {"fixed work: work, nobody available", FixedWork, noneOfOne, work(30), "30 30 0 2026-03-10 0@0"},
        {"fixed work: duration", FixedWork, oneAndAHalf,
         [](ProjectTask& it) {
             it.let_PlannedWork(30);
             it.let_PlannedDuration(40);
         },
         "30 40 0.75 2026-03-11 10@25 20@50"},
        {"fixed work: availability", FixedWork, one, availability, "30 15 2 2026-03-06 30@200"},
        {"fixed duration: duration, nobody", FixedDuration, nobody, duration(16), "16 16 0 2026-03-06"},
        {"fixed duration: work", FixedDuration, one, work(20), "20 8 2.5 2026-03-05 20@250"},
        {"fixed duration: availability", FixedDuration, one, availability, "16 8 2 2026-03-05 16@200"},
        {"fixed resource: duration, not counted yet", FixedResourse, two, duration(10),
         "10 10 2 2026-03-06 5@100 5@100"},
        {"fixed resource: duration", FixedResourse, two,
         [](ProjectTask& it) {
             it.AvailabilityChanged();
             it.let_PlannedDuration(10);
         },
         "20 10 2 2026-03-06 10@100 10@100"},
        {"fixed resource: work", FixedResourse, two,
         [](ProjectTask& it) {
             it.AvailabilityChanged();
             it.let_PlannedWork(30);
         },
         "30 15 2 2026-03-06 15@100 15@100"},
        {"none: work", None, half, work(30), "30 8 0.5 2026-03-05 30@50"},
        {"none: duration", None, half, duration(30), "8 30 0 2026-03-10 0@50"},
        {"no duration", FixedDuration, one, duration(0), "8 0 0 2026-03-05 0@100"},
        {"negative duration", FixedDuration, nobody, duration(-16), "-16 -16 0 2026-03-05"},
        {"another method", test::unnamed<ptCalcMethod>(9), half, work(30), "30 8 0 2026-03-05 0@50"},
        {"the earliest start, a Saturday", FixedWork, nobody,
         [](ProjectTask& it) {
             it.let_PlannedDuration(16);
             it.let_EarliestStartDate("2026-03-07");
         },
         "8 16 0 2026-03-10"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto task = planned(row.method, row.availabilities);
        row.assign(*task);
        EXPECT_EQ(plan(*task), row.expected);
    }
}

TEST_P(TaskAssignmentTest, HalvesOfHoursGoToTheEvenOne) {
    sql("Update WorkingHours Set Monday=1, Tuesday=1, Wednesday=1, Thursday=1, Friday=1");
    const auto task = planned(None);
    for (const auto& [duration, finish] :
         {std::pair{1.5F, "2026-03-06"}, {2.5F, "2026-03-06"}, {3.5F, "2026-03-10"}, {3.4F, "2026-03-09"}}) {
        task->let_PlannedDuration(duration);
        EXPECT_EQ(task->PlannedFinishDate, finish) << duration;
    }
}

TEST_P(TaskAssignmentTest, ProgressFollowsWhatIsAssigned) {
    const struct {
        const char* name;
        Assign assign;
        const char* expected;
    } cases[] = {
        {"part of the work", [](ProjectTask& it) { it.let_ActualWorked(2); }, "0 8 6 0 25 open "},
        {"more than the work", [](ProjectTask& it) { it.let_ActualWorked(10); }, "0 8 0 2 99 open "},
        {"all of the work", [](ProjectTask& it) { it.let_ActualWorked(8); }, "0 8 0 0 99 open "},
        {"no work at all", work(0), "0 0 0 0 99 open "},
        {"negative work done", [](ProjectTask& it) { it.let_ActualWorked(-2); }, "0 8 10 0 -25 open "},
        {"finished",
         [](ProjectTask& it) {
             it.let_ActualWorked(2);
             it.let_Finished(true);
         },
         "8 0 0 -6 100 finished 2026-03-05"},
        {"finished, then not",
         [](ProjectTask& it) {
             it.let_Finished(true);
             it.let_Finished(false);
         },
         "0 8 8 0 0 open "},
        {"an actual finish", [](ProjectTask& it) { it.let_ActualFinishDate("2026-03-09"); },
         "24 0 0 -8 100 finished 2026-03-09"},
        {"an actual start", [](ProjectTask& it) { it.let_ActualStartDate("2026-03-02"); }, "24 8 8 0 0 open "},
        {"an actual start to come", [](ProjectTask& it) { it.let_ActualStartDate("2026-03-09"); }, "0 0 8 0 0 open "},
        {"no earliest start", [](ProjectTask& it) { it.let_EarliestStartDate(""); }, "0 8 8 0 0 open "},
        {"no duration",
         [](ProjectTask& it) {
             it.let_ActualWorked(4);
             it.let_CompletedPercentage(1);
             it.let_PlannedDuration(0);
         },
         "0 8 4 0 50 open "},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto task = planned(FixedWork);
        row.assign(*task);
        EXPECT_EQ(progress(*task), row.expected);
    }
}

TEST_P(TaskAssignmentTest, AFailureLeavesWhatWasAssignedUpToIt) {
    const auto withoutStart = [](ProjectTask& it) { it.PlannedStartDate.clear(); };
    const auto withoutDuration = [](ProjectTask& it) {
        it.get_Users()->at(1)->WorkAlloted = 5;
        it.let_PlannedDuration(0);
    };
    const auto nothing = [](ProjectTask&) {};
    const Text noStart = "Type mismatch: PlannedStartDate \"\"";
    const struct {
        const char* name;
        ptCalcMethod method;
        Assign before, assign;
        test::Failure expected;
        const char* plan;
    } cases[] = {
        {"a duration beyond 16 bits", FixedDuration, nothing, duration(40000),
         test::Failure(errors::overflow, "Planned duration", "Overflow"), "40000 40000 1 2026-03-05 40000@100"},
        {"a duration without a start", FixedWork, withoutStart, duration(4),
         test::Failure(errors::typeMismatch, "Planned duration", noStart), "8 4 0 2026-03-05 0@0"},
        {"work whose duration is beyond 16 bits", FixedWork, nothing, work(40000),
         test::Failure(errors::overflow, "Planned Work", "Overflow"), "8 8 1 2026-03-05 8@100"},
        {"work, and no way back", FixedWork, withoutStart, work(40),
         test::Failure(errors::typeMismatch, "Planned Work", noStart), "8 8 1 2026-03-05 8@100"},
        {"work over no duration", FixedDuration, withoutDuration, work(40),
         test::Failure(errors::divisionByZero, "Planned Work", "Division by zero"), "8 0 1 2026-03-05 8@100"},
        {"an earliest start that is none", FixedWork, nothing,
         [](ProjectTask& it) { it.let_EarliestStartDate("13/13/2026"); },
         test::Failure(errors::typeMismatch, "prjCorveth", "Type mismatch: EarliestStartDate \"13/13/2026\""),
         "8 8 0 2026-03-05 0@100"},
        {"an actual start that is none", FixedWork, nothing, [](ProjectTask& it) { it.let_ActualStartDate("soon"); },
         test::Failure(errors::typeMismatch, "prjCorveth", "Type mismatch: ActualStartDate \"soon\""),
         "8 8 0 2026-03-05 0@100"},
        {"an actual finish that is none", FixedWork, nothing, [](ProjectTask& it) { it.let_ActualFinishDate("soon"); },
         test::Failure(errors::typeMismatch, "prjCorveth", "Type mismatch: ActualFinishDate \"soon\""),
         "8 8 0 2026-03-05 0@100"},
        {"availability, no start", FixedWork, withoutStart, [](ProjectTask& it) { it.AvailabilityChanged(); },
         test::Failure(errors::typeMismatch, "prjCorveth", noStart), "8 8 1 2026-03-05 0@100"},
        {"a method beyond 16 bits", FixedWork, nothing,
         [](ProjectTask& it) { it.let_CalculationMethod(test::unnamed<ptCalcMethod>(40000)); },
         test::Failure(errors::overflow, "prjCorveth", "Overflow"), "8 8 0 2026-03-05 0@100"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto task = planned(row.method, one);
        row.before(*task);
        test::expectFailure(row.expected, [&] { row.assign(*task); });
        EXPECT_EQ(plan(*task), row.plan);
    }
}

TEST_P(TaskAssignmentTest, TheFinishGoesByTheTasksCalendarWhatIsLeftByTheProjects) {
    const Text project = saved(ptType::PROJECT);
    sql("Insert Into WorkingHours Values ('WH00000002', 0, 4, 4, 4, 4, 4, 0, '" + project + "')");
    const auto task = item(ptType::Task, project);
    trace();
    task->let_PlannedDuration(24);
    EXPECT_THAT(trace(), ElementsAre("calendar", "calendar " + project))
        << "the finish; what is left. Today is the start";
    EXPECT_EQ(task->PlannedFinishDate, "2026-03-09") << "three days of eight hours";
    EXPECT_EQ(task->RemainingDuration, 12) << "three days of four";
}

TEST_P(TaskAssignmentTest, ParticipantsAreReadWhenTheyAreConsulted) {
    const Text project = saved(ptType::PROJECT);
    const Text read = "open|SELECT ContactId From Users Where LinkId ='" + project + "'";
    const struct {
        const char* name;
        ptCalcMethod method;
        Assign assign;
        bool isRead;
    } cases[] = {
        {"work", None, work(3), true},
        {"availability", None, [](ProjectTask& it) { it.AvailabilityChanged(); }, true},
        {"no duration", FixedWork, duration(0), false},
        {"a method that there is not", test::unnamed<ptCalcMethod>(9),
         [](ProjectTask& it) { it.AvailabilityChanged(); }, false},
        {"work done", FixedWork, [](ProjectTask& it) { it.let_ActualWorked(3); }, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto task = loaded(project);
        task->let_CalculationMethod(row.method);
        trace();
        row.assign(*task);
        EXPECT_EQ(trace(), row.isRead ? std::vector{read} : std::vector<Text>{});
    }
}

TEST_P(TaskAssignmentTest, WhatAParticipantIsAllottedIsTheClientsToSave) {
    const Text project = saved(ptType::PROJECT);
    sql("Insert Into Participants (ContactId, LinkId, Availability, Billable, AllotedHrs) Values ('CN00000001', '" +
        project + "', 50, 0, 0)");
    const auto task = loaded(project);
    task->let_PlannedWork(12);
    EXPECT_EQ(plan(*task), "12 24 0.5 2026-03-09 12@50");
    task->Update();
    EXPECT_EQ(row(project, {"PlnWork", "Users"}), "12|0.5");
    EXPECT_EQ(scalar("Select AllotedHrs From Participants"), "0");
    task->get_Users()->UpdateParticipants();
    EXPECT_EQ(scalar("Select AllotedHrs From Participants"), "12");
}

CORVETH_ON_EVERY_ENGINE(TaskAssignmentTest);

} // namespace
} // namespace corveth
