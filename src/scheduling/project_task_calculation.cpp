// What the assignments of a task's figures recompute, and where the calculation finds what it needs of the task.

#include "platform/desktop/clock.h"
#include "scheduling/calendar_functions.h"
#include "scheduling/parent_item.h"
#include "scheduling/participants.h"
#include "scheduling/project_task.h"
#include "session/failure.h"

namespace corveth {

class ProjectTask::Steps final : public TaskSteps {
public:
    explicit Steps(ProjectTask& task) : task_(task) {}

    float totalAvailability() override { return users().getTotalAvilability(); }
    std::int32_t participantCount() override { return users().get_Count(); }
    float availability(std::int32_t participant) override { return users().at(participant)->Availability; }
    void setAvailability(std::int32_t participant, float percent) override {
        users().at(participant)->Availability = percent;
    }
    float allottedWork(std::int32_t participant) override { return users().at(participant)->WorkAlloted; }
    void setAllottedWork(std::int32_t participant, float hours) override {
        users().at(participant)->WorkAlloted = hours;
    }
    void calcPlannedFinish() override { task_.calcPlannedFinish(); }
    void calcActualDuration() override { task_.calcActualDuration(); }
    void calcRemainingDuration() override { task_.calcRemainingDuration(); }

private:
    /// Not read before it is consulted: what needs no participant asks no database.
    Participants& users() { return *task_.get_Users(); }

    ProjectTask& task_;
};

Date ProjectTask::dateOf(const char* name, const Text& text) const {
    const auto date = tryParseDate(text);
    if (!date) raise(errors::typeMismatch, Text(name) + " " + inQuotes(text));
    return *date;
}

void ProjectTask::calcPlannedFinish() {
    const Date start = dateOf("PlannedStartDate", PlannedStartDate);
    PlannedFinishDate = AddWorkingHours(start, toInteger(figures_.plannedDuration), ID);
}

void ProjectTask::calcActualDuration() {
    const Date start = actualStartDate_.empty() ? dateOf("PlannedStartDate", PlannedStartDate)
                                                : dateOf("ActualStartDate", actualStartDate_);
    std::int16_t hours = 0;
    if (!actualFinishDate_.empty()) {
        hours = WorkingHoursBetween(start, dateOf("ActualFinishDate", actualFinishDate_), ID, true);
    } else if (start != today()) {
        hours = WorkingHoursBetween(start, today(), ID, false);
    }
    ActualDuration = hours < 1 ? 0 : static_cast<float>(hours);
}

void ProjectTask::calcRemainingDuration() {
    if (figures_.finished) {
        RemainingDuration = 0;
        return;
    }
    RemainingDuration = RemainingWorkingHours(PlannedStartDate, PlannedFinishDate, actualStartDate_, actualFinishDate_,
                                              parentProject_->get_ID());
    if (RemainingDuration > figures_.plannedDuration) RemainingDuration = figures_.plannedDuration;
}

void ProjectTask::calcDurations() {
    calcActualDuration();
    calcRemainingDuration();
}

void ProjectTask::let_EarliestStartDate(Text value) {
    earliestStartDate_ = std::move(value);
    if (!earliestStartDate_.empty()) {
        PlannedStartDate = toText(NextWorkingDay(dateOf("EarliestStartDate", earliestStartDate_), ID));
        calcPlannedFinish();
    }
    calcDurations();
    calcProgress(figures_);
}

void ProjectTask::let_PlannedDuration(float value) {
    try {
        figures_.plannedDuration = value;
        Steps steps(*this);
        onPlannedDurationChanged(get_CalculationMethod(), figures_, steps);
        calcProgress(figures_);
    } catch (...) {
        Error cause = currentError();
        throw Error(cause.number, "Planned duration", std::move(cause.description));
    }
}

void ProjectTask::assignPlannedWork(float value) {
    try {
        figures_.plannedWork = value;
        Steps steps(*this);
        onPlannedWorkChanged(get_CalculationMethod(), figures_, steps);
        calcProgress(figures_);
    } catch (...) {
        Error cause = currentError();
        throw Error(cause.number, "Planned Work", std::move(cause.description));
    }
}

void ProjectTask::let_PlannedWork(float value) {
    const float previous = figures_.plannedWork;
    try {
        assignPlannedWork(value);
    } catch (const Error&) {
        assignPlannedWork(previous); // a failure of this one is raised in place of the first
        throw;
    }
}

void ProjectTask::let_ActualWorked(float value) {
    figures_.actualWorked = value;
    calcProgress(figures_);
}

void ProjectTask::let_ActualStartDate(Text value) {
    actualStartDate_ = std::move(value);
    calcDurations();
    calcProgress(figures_);
}

void ProjectTask::let_ActualFinishDate(Text value) {
    actualFinishDate_ = std::move(value);
    figures_.finished = !actualFinishDate_.empty();
    calcDurations();
    calcProgress(figures_);
}

void ProjectTask::let_Finished(bool value) {
    figures_.finished = value;
    if (value) figures_.completedPercentage = 100;
    let_ActualFinishDate(value ? toText(today()) : Text());
}

void ProjectTask::AvailabilityChanged() {
    Steps steps(*this);
    onAvailabilityChanged(get_CalculationMethod(), figures_, steps);
}

} // namespace corveth
