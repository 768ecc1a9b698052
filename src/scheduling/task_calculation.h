#pragma once

// How the figures of a task follow from one another, apart from where they are kept. Work and durations are hours,
// availability is a percentage of one full-time resource. Figures are computed as doubles and kept as singles: 6 for
// what does not fit, 11 for a division by zero. Each figure is stored before the next one is taken, so a failure leaves
// what was assigned up to it.

#include "scheduling/scheduling_types.h"

namespace corveth {

/// The figures that the calculation reads and writes.
struct TaskFigures {
    float plannedWork = 0;
    float plannedDuration = 0;
    float resourceCount = 0; ///< full-time resources: the participants' availabilities added up, by 100
    float actualWorked = 0;
    float remainingWork = 0;
    float expectedOverrun = 0; ///< hours of work beyond the plan
    float completedPercentage = 0;
    bool finished = false;
};

/// What the task owns besides: its participants, its dates and the calendar. Whatever reads figures here reads the
/// task's own, which are the ones the calculation is given.
class TaskSteps {
public:
    virtual float totalAvailability() = 0;
    virtual std::int32_t participantCount() = 0;
    // `participant` counts from 1.
    virtual float availability(std::int32_t participant) = 0;
    virtual void setAvailability(std::int32_t participant, float percent) = 0;
    virtual float allottedWork(std::int32_t participant) = 0;
    virtual void setAllottedWork(std::int32_t participant, float hours) = 0;
    /// From planned start and duration.
    virtual void calcPlannedFinish() = 0;
    virtual void calcActualDuration() = 0;
    virtual void calcRemainingDuration() = 0;

protected:
    TaskSteps() = default;
    TaskSteps(const TaskSteps&) = default;
    TaskSteps& operator=(const TaskSteps&) = default;
    ~TaskSteps() = default;
};

/// What follows from work that was just assigned.
CORVETH_API void onPlannedWorkChanged(ptCalcMethod method, TaskFigures& figures, TaskSteps& steps);
/// What follows from a duration that was just assigned; nothing from 0.
CORVETH_API void onPlannedDurationChanged(ptCalcMethod method, TaskFigures& figures, TaskSteps& steps);
/// What follows from availabilities that were changed.
CORVETH_API void onAvailabilityChanged(ptCalcMethod method, TaskFigures& figures, TaskSteps& steps);

/// Remaining work, overrun and percentage, from planned and actual work. What is not finished never shows 100.
CORVETH_API void calcProgress(TaskFigures& figures);

} // namespace corveth
