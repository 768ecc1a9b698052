#include "scheduling/task_calculation.h"

#include "platform/automation/convert.h"

namespace corveth {

namespace {

enum class Step : std::uint8_t {
    end, ///< of a row
    countResources,
    durationFromWork,              ///< the work itself without a resource
    durationFromWorkWhenResources, ///< the work itself unless there is more than none of them
    workFromDuration,              ///< the duration itself without a resource
    workAsProduct,
    allotWork,
    availabilityFromAllotted,
    plannedFinish,
    actualDuration,
    remainingDuration,
};

/// What is done for a method, in this order.
struct Row {
    ptCalcMethod method;
    Step steps[6];
};

using enum ptCalcMethod;
using enum Step;

constexpr Row afterWork[] = {
    {FixedWork, {allotWork, durationFromWork, plannedFinish, actualDuration, remainingDuration}},
    {FixedDuration, {allotWork, availabilityFromAllotted}},
    {FixedResourse, {durationFromWork, plannedFinish, actualDuration, remainingDuration, allotWork}},
    {None, {allotWork}},
};

constexpr Row afterDuration[] = {
    {FixedWork, {availabilityFromAllotted}},
    {FixedDuration, {workFromDuration, allotWork}},
    {FixedResourse, {workFromDuration, allotWork}},
};
/// Whatever the method is, known or not.
constexpr Step afterDurationAlways[] = {plannedFinish, actualDuration, remainingDuration};

constexpr Row afterAvailability[] = {
    {FixedWork,
     {countResources, durationFromWorkWhenResources, plannedFinish, actualDuration, remainingDuration, allotWork}},
    {FixedDuration, {countResources, workFromDuration, allotWork}},
    {FixedResourse, {countResources, workAsProduct, allotWork}},
    {None, {allotWork}},
};

/// 6 for what is no single.
float single(double value) {
    return toSingle(value);
}

double quotient(double dividend, double divisor, const char* what) {
    if (divisor == 0) raise(errors::divisionByZero, what);
    return dividend / divisor;
}

class Calculation {
public:
    Calculation(TaskFigures& figures, TaskSteps& task) : figures_(figures), task_(task) {}

    void run(std::span<const Row> table, ptCalcMethod method) {
        for (const Row& row : table) {
            if (row.method == method) run(row.steps);
        }
    }
    void run(std::span<const Step> steps) {
        for (const Step step : steps) {
            if (step == Step::end) break;
            take(step);
        }
    }

private:
    void take(Step step) {
        const double work = figures_.plannedWork;
        const double duration = figures_.plannedDuration;
        const double resources = figures_.resourceCount;
        switch (step) {
        case countResources:
            count(task_.totalAvailability());
            break;
        case durationFromWork:
            figures_.plannedDuration = single(resources != 0 ? work / resources : work);
            break;
        case durationFromWorkWhenResources:
            figures_.plannedDuration = single(resources > 0 ? work / resources : work);
            break;
        case workFromDuration:
            figures_.plannedWork = single(resources == 0 ? duration : resources * duration);
            break;
        case workAsProduct:
            figures_.plannedWork = single(resources * duration);
            break;
        case allotWork:
            allot(work);
            break;
        case availabilityFromAllotted:
            deriveAvailability(duration);
            break;
        case plannedFinish:
            task_.calcPlannedFinish();
            break;
        case actualDuration:
            task_.calcActualDuration();
            break;
        case remainingDuration:
            task_.calcRemainingDuration();
            break;
        case Step::end:
            break;
        }
    }

    /// Returns the total it was given.
    double count(double totalAvailability) {
        figures_.resourceCount = single(totalAvailability / 100);
        return totalAvailability;
    }

    /// Shares the work in proportion to availability.
    void allot(double work) {
        const double total = count(task_.totalAvailability());
        for (std::int32_t i = 1; i <= task_.participantCount(); ++i) {
            task_.setAllottedWork(i, total != 0 ? single(task_.availability(i) * work / total) : 0);
        }
    }

    /// The other way round: whoever does his share of the work in the time there is.
    void deriveAvailability(double duration) {
        for (std::int32_t i = 1; i <= task_.participantCount(); ++i) {
            const double share = quotient(task_.allottedWork(i), duration, "a duration of 0 leaves no availability");
            task_.setAvailability(i, single(share * 100));
        }
        count(task_.totalAvailability());
    }

    TaskFigures& figures_;
    TaskSteps& task_;
};

} // namespace

void onPlannedWorkChanged(ptCalcMethod method, TaskFigures& figures, TaskSteps& steps) {
    Calculation(figures, steps).run(afterWork, method);
}

void onPlannedDurationChanged(ptCalcMethod method, TaskFigures& figures, TaskSteps& steps) {
    if (figures.plannedDuration == 0) return;
    Calculation calculation(figures, steps);
    calculation.run(afterDuration, method);
    calculation.run(afterDurationAlways);
}

void onAvailabilityChanged(ptCalcMethod method, TaskFigures& figures, TaskSteps& steps) {
    Calculation(figures, steps).run(afterAvailability, method);
}

void calcProgress(TaskFigures& figures) {
    const double planned = figures.plannedWork;
    const double done = figures.actualWorked;
    const float mostUnfinished = 99;
    figures.remainingWork = 0;
    if (figures.finished) {
        figures.expectedOverrun = single(done - planned);
        figures.completedPercentage = 100;
    } else if (done < planned) {
        figures.remainingWork = single(planned - done);
        figures.expectedOverrun = 0;
        const double percentage = quotient(done * 100, planned, "the planned work is 0, the work done is below it");
        figures.completedPercentage = percentage >= 100 ? mostUnfinished : single(percentage);
    } else {
        figures.expectedOverrun = single(done - planned);
        figures.completedPercentage = mostUnfinished;
    }
}

} // namespace corveth
