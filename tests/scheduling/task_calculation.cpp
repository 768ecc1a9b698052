#include "scheduling/task_calculation.h"

#include "platform/automation/convert.h"

#include <cmath>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <random>

namespace corveth {
namespace {

struct Person {
    float availability = 0;
    float allotted = 0;
};

/// A task whose calendar only notes that it was asked.
class Task final : public TaskSteps {
public:
    float totalAvailability() override {
        double total = 0;
        for (const Person& person : people)
            total += person.availability;
        return static_cast<float>(total);
    }
    std::int32_t participantCount() override { return static_cast<std::int32_t>(people.size()); }
    float availability(std::int32_t participant) override { return at(participant).availability; }
    void setAvailability(std::int32_t participant, float percent) override {
        at(participant).availability = percent;
        done.push_back(fmt::format("{} at {}%", participant, plainDecimal(percent)));
    }
    float allottedWork(std::int32_t participant) override { return at(participant).allotted; }
    void setAllottedWork(std::int32_t participant, float hours) override {
        at(participant).allotted = hours;
        done.push_back(fmt::format("{} gets {}", participant, plainDecimal(hours)));
    }
    void calcPlannedFinish() override {
        if (!hasStart) raise(errors::typeMismatch, "no planned start");
        done.push_back("finish after " + plainDecimal(figures.plannedDuration));
    }
    void calcActualDuration() override { done.emplace_back("actual"); }
    void calcRemainingDuration() override { done.emplace_back("remaining"); }

    /// What was done, then the figures.
    [[nodiscard]] Text told() const {
        return fmt::format("{}{}W {} D {} R {}", fmt::join(done, ", "), done.empty() ? "" : ": ",
                           plainDecimal(figures.plannedWork), plainDecimal(figures.plannedDuration),
                           plainDecimal(figures.resourceCount));
    }

    TaskFigures figures;
    std::vector<Person> people;
    std::vector<Text> done;
    bool hasStart = true;

private:
    Person& at(std::int32_t participant) { return people.at(static_cast<std::size_t>(participant - 1)); }
};

enum class Event { work, duration, availability };

void assign(Task& task, Event event, ptCalcMethod method, float value = 0) {
    switch (event) {
    case Event::work:
        task.figures.plannedWork = value;
        onPlannedWorkChanged(method, task.figures, task);
        break;
    case Event::duration:
        task.figures.plannedDuration = value;
        onPlannedDurationChanged(method, task.figures, task);
        break;
    case Event::availability:
        onAvailabilityChanged(method, task.figures, task);
        break;
    }
}

struct Before {
    float work, duration, resources;
};

Task taskOf(const Before& before, const std::vector<Person>& people) {
    Task task;
    task.figures.plannedWork = before.work;
    task.figures.plannedDuration = before.duration;
    task.figures.resourceCount = before.resources;
    task.people = people;
    return task;
}

using enum ptCalcMethod;
constexpr auto unknown = static_cast<ptCalcMethod>(7);
const std::vector<Person> nobody;
const std::vector<Person> oneAndAHalf{{50, 0}, {100, 0}};
const std::vector<Person> two{{200, 3}};
const std::vector<Person> negative{{-50, 0}};

TEST(TaskCalculation, WhatFollowsFromAnAssignment) {
    const struct {
        const char* name;
        Event event;
        ptCalcMethod method;
        float assigned;
        Before before;
        std::vector<Person> people;
        const char* expected;
    } rows[] = {
        {"work: the duration follows", Event::work, FixedWork, 30, Before(1, 2, 9), oneAndAHalf,
         "1 gets 10, 2 gets 20, finish after 20, actual, remaining: W 30 D 20 R 1.5"},
        {"work, nobody: the duration is the work", Event::work, FixedWork, 30, Before(1, 2, 9), nobody,
         "finish after 30, actual, remaining: W 30 D 30 R 0"},
        {"work, less than nobody", Event::work, FixedWork, 30, Before(1, 2, 9), negative,
         "1 gets 30, finish after -60, actual, remaining: W 30 D -60 R -0.5"},
        {"work, the duration fixed: availability follows", Event::work, FixedDuration, 30, Before(1, 40, 9),
         oneAndAHalf, "1 gets 10, 2 gets 20, 1 at 25%, 2 at 50%: W 30 D 40 R 0.75"},
        {"work, resources fixed: as they were counted last", Event::work, FixedResourse, 30, Before(1, 2, 4), two,
         "finish after 7.5, actual, remaining, 1 gets 30: W 30 D 7.5 R 2"},
        {"work, resources fixed: counted", Event::work, FixedResourse, 30, Before(1, 2, 2), two,
         "finish after 15, actual, remaining, 1 gets 30: W 30 D 15 R 2"},
        {"work, resources fixed: none", Event::work, FixedResourse, 30, Before(1, 2, 0), nobody,
         "finish after 30, actual, remaining: W 30 D 30 R 0"},
        {"work alone", Event::work, None, 30, Before(1, 2, 9), oneAndAHalf, "1 gets 10, 2 gets 20: W 30 D 2 R 1.5"},
        {"work, nobody available", Event::work, None, 30, Before(1, 2, 9), {{0, 5}}, "1 gets 0: W 30 D 2 R 0"},
        {"work, another method", Event::work, unknown, 30, Before(1, 2, 9), oneAndAHalf, "W 30 D 2 R 9"},

        {"duration, the work fixed: availability follows",
         Event::duration,
         FixedWork,
         10,
         Before(8, 2, 9),
         {{100, 5}, {100, 3}},
         "1 at 50%, 2 at 30%, finish after 10, actual, remaining: W 8 D 10 R 0.8"},
        {"duration: the work follows", Event::duration, FixedDuration, 10, Before(8, 2, 3), two,
         "1 gets 30, finish after 10, actual, remaining: W 30 D 10 R 2"},
        {"duration, nobody: the work is the duration", Event::duration, FixedDuration, 16, Before(8, 2, 0), nobody,
         "finish after 16, actual, remaining: W 16 D 16 R 0"},
        {"duration, resources fixed", Event::duration, FixedResourse, 10, Before(8, 2, 2), two,
         "1 gets 20, finish after 10, actual, remaining: W 20 D 10 R 2"},
        {"duration alone", Event::duration, None, 10, Before(8, 2, 3), two,
         "finish after 10, actual, remaining: W 8 D 10 R 3"},
        {"duration, another method", Event::duration, unknown, 10, Before(8, 2, 3), two,
         "finish after 10, actual, remaining: W 8 D 10 R 3"},
        {"no duration: nothing", Event::duration, FixedDuration, 0, Before(8, 2, 3), two, "W 8 D 0 R 3"},
        {"a negative duration counts", Event::duration, FixedResourse, -4, Before(8, 2, 2), nobody,
         "finish after -4, actual, remaining: W -8 D -4 R 0"},

        {"availability, the work fixed", Event::availability, FixedWork, 0, Before(30, 2, 9), oneAndAHalf,
         "finish after 20, actual, remaining, 1 gets 10, 2 gets 20: W 30 D 20 R 1.5"},
        {"availability, the work fixed, less than nobody", Event::availability, FixedWork, 0, Before(30, 2, 9),
         negative, "finish after 30, actual, remaining, 1 gets 30: W 30 D 30 R -0.5"},
        {"availability, the duration fixed", Event::availability, FixedDuration, 0, Before(30, 10, 9), two,
         "1 gets 20: W 20 D 10 R 2"},
        {"availability, the duration fixed, nobody", Event::availability, FixedDuration, 0, Before(30, 10, 9), nobody,
         "W 10 D 10 R 0"},
        {"availability, resources fixed", Event::availability, FixedResourse, 0, Before(30, 10, 9), two,
         "1 gets 20: W 20 D 10 R 2"},
        {"availability, resources fixed, nobody: no work", Event::availability, FixedResourse, 0, Before(30, 10, 9),
         nobody, "W 0 D 10 R 0"},
        {"availability alone", Event::availability, None, 0, Before(30, 10, 9), two, "1 gets 30: W 30 D 10 R 2"},
        {"availability, another method", Event::availability, unknown, 0, Before(30, 10, 9), two, "W 30 D 10 R 9"},
    };
    for (const auto& row : rows) {
        Task task = taskOf(row.before, row.people);
        assign(task, row.event, row.method, row.assigned);
        EXPECT_EQ(task.told(), row.expected) << row.name;
    }
}

TEST(TaskCalculation, AFailureLeavesWhatWasAssignedBeforeIt) {
    const struct {
        const char* name;
        Event event;
        ptCalcMethod method;
        float assigned;
        Before before;
        std::vector<Person> people;
        std::int32_t error;
        const char* left;
        bool hasStart = true;
    } rows[] = {
        {"no duration to share the work over", Event::work, FixedDuration, 30, Before(1, 0, 9), two, 11,
         "1 gets 30: W 30 D 0 R 2"},
        {"nothing over nothing", Event::work, FixedDuration, 0, Before(1, 0, 9), two, 11, "1 gets 0: W 0 D 0 R 2"},
        {"a duration beyond a single",
         Event::work,
         FixedWork,
         3e38F,
         Before(1, 2, 9),
         {{10, 0}},
         6,
         "1 gets 300000000000000000000000000000000000000: W 300000000000000000000000000000000000000 D 2 R 0.1"},
        {"work beyond a single", Event::duration, FixedDuration, 3e38F, Before(1, 2, 2), two, 6,
         "W 1 D 300000000000000000000000000000000000000 R 2"},
        {"an availability beyond a single",
         Event::duration,
         FixedWork,
         0.1F,
         Before(1, 2, 2),
         {{1, 1}, {1, 3e38F}},
         6,
         "1 at 1000%: W 1 D 0.1 R 2"},
        {"the task's own, unchanged", Event::work, FixedWork, 30, Before(1, 2, 9), two, 13, "1 gets 30: W 30 D 15 R 2",
         false},
    };
    for (const auto& row : rows) {
        Task task = taskOf(row.before, row.people);
        task.hasStart = row.hasStart;
        try {
            assign(task, row.event, row.method, row.assigned);
            ADD_FAILURE() << row.name << ": no error";
        } catch (const Error& error) {
            EXPECT_EQ(error.number, row.error) << row.name;
        }
        EXPECT_EQ(task.told(), row.left) << row.name;
    }
}

/// Whatever is assigned, work, duration and resources fit one another as the method says, and the work is shared out.
TEST(TaskCalculation, WorkDurationAndResourcesStayInBalance) {
    std::mt19937 random(20070213);
    const auto between = [&](double low, double high) {
        return static_cast<float>(std::uniform_real_distribution<double>(low, high)(random));
    };
    const auto expectClose = [](double value, double expected, const char* what) {
        EXPECT_NEAR(value, expected, std::abs(expected) * 1e-6) << what;
    };
    for (int round = 0; round < 3000; ++round) {
        Task task;
        task.people.resize(1 + random() % 6);
        for (Person& person : task.people)
            person.availability = between(1, 150);
        TaskFigures& figures = task.figures;
        figures.plannedDuration = between(0.5, 2000);
        assign(task, Event::work, None, between(0.5, 5000)); // counts the resources, shares the work
        const auto event = static_cast<Event>(random() % 3);
        const auto method = static_cast<ptCalcMethod>(random() % 3);
        SCOPED_TRACE(
            fmt::format("round {}, event {}, method {}", round, static_cast<int>(event), static_cast<int>(method)));
        if (event == Event::availability) task.people.front().availability = between(1, 150);
        assign(task, event, method, between(0.5, 3000));

        const double work = figures.plannedWork;
        const double duration = figures.plannedDuration;
        const double resources = figures.resourceCount;
        expectClose(work, resources * duration, "work = resources x duration");
        double allotted = 0;
        for (const Person& person : task.people)
            allotted += person.allotted;
        expectClose(allotted, work, "the shares add up");
        expectClose(task.totalAvailability(), resources * 100, "resources are counted");
        // The figure that gives way is the nearest single, to the last bit.
        if ((event != Event::duration && method == FixedWork) || (event == Event::work && method == FixedResourse)) {
            EXPECT_EQ(figures.plannedDuration, static_cast<float>(work / resources));
        }
        if (event != Event::work && method != FixedWork) {
            EXPECT_EQ(figures.plannedWork, static_cast<float>(resources * duration));
        }
    }
}

TEST(TaskCalculation, Progress) {
    const struct {
        const char* name;
        float planned, done;
        bool finished;
        const char* expected; // remaining work, overrun, percentage
    } rows[] = {
        {"under way", 8, 2, false, "6 0 25"},
        {"not begun", 8, 0, false, "8 0 0"},
        {"to the last bit", 3, 1, false, "2 0 33.333332"},
        {"all but done", 1, 0.99999994F, false, "0.000000059604645 0 99.99999"},
        {"all the work is done", 8, 8, false, "0 0 99"},
        {"more than all", 10, 12, false, "0 2 99"},
        {"nothing to do", 0, 0, false, "0 0 99"},
        {"more than nothing", 0, 3, false, "0 3 99"},
        {"finished under plan", 10, 4, true, "0 -6 100"},
        {"finished over plan", 10, 12, true, "0 2 100"},
        {"finished, nothing to do", 0, 0, true, "0 0 100"},
        {"both negative", -5, -10, false, "5 0 99"},
        {"negative work done", 10, -5, false, "15 0 -50"},
        {"more was done than a negative plan", -10, -5, false, "0 5 99"},
        {"less than nothing of nothing", 0, -5, false, "5 0 55 error 11"},
        {"an overrun beyond a single", -3e38F, 3e38F, false, "0 44 55 error 6"},
        {"a remainder beyond a single", 3e38F, -3e38F, false, "0 44 55 error 6"},
    };
    for (const auto& row : rows) {
        TaskFigures figures{.plannedWork = row.planned,
                            .actualWorked = row.done,
                            .remainingWork = 33,
                            .expectedOverrun = 44,
                            .completedPercentage = 55,
                            .finished = row.finished};
        Text outcome;
        try {
            calcProgress(figures);
        } catch (const Error& error) {
            outcome = fmt::format(" error {}", error.number);
        }
        EXPECT_EQ(fmt::format("{} {} {}{}", plainDecimal(figures.remainingWork), plainDecimal(figures.expectedOverrun),
                              plainDecimal(figures.completedPercentage), outcome),
                  row.expected)
            << row.name;
    }
}

} // namespace
} // namespace corveth
