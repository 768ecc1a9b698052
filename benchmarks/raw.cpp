#include "raw.h"

#include <ctime>
#include <fmt/format.h>
#include <stdexcept>

namespace corveth::bench {

void RawNotes::save(const RawNote& note) {
    if (!load(note.id, found_)) {
        insert(newId(), note);
        return;
    }
    if (found_.linkId != note.linkId || found_.linkType != note.linkType) {
        throw std::runtime_error("no statement is prepared for a note that changes its link");
    }
    if (found_.title != note.title || found_.note != note.note) update(found_, note);
}

std::string RawContact::wholeName() const {
    return texts[title] + " " + texts[firstName] + " " + texts[middleName] + " " + texts[lastName];
}

std::vector<std::unique_ptr<RawContact>> RawContacts::persons() {
    std::vector<std::unique_ptr<RawContact>> persons;
    for (const std::string& id : personIds())
        load(id, *persons.emplace_back(std::make_unique<RawContact>()));
    return persons;
}

void RawAttachments::save(const RawAttachment& attachment) {
    if (attachment.id.empty()) {
        insert(newId(), attachment);
        return;
    }
    RawAttachment found;
    if (!load(attachment.id, found)) throw std::runtime_error("no attachment " + attachment.id);
    if (found.data != attachment.data) update(attachment);
}

namespace {

constexpr int firstKey = 1000;

std::string projectKey(int number) {
    return fmt::format("PT{:08}", firstKey + number);
}

} // namespace

std::string RawTasks::rows() {
    std::string sql = "insert into Projects (Id, ParentID, ProjectId, ItemName, Description, BidId, CalcMethod, "
                      "EarliestStartDate, PlnStartDate, PlnFinishDate, PlnDuration, PlnWork, Users, RemainingWork, "
                      "ActDuration, ActWorkDuration, PercCompleted, AwAmount, BudgAmount, ExptOverrun, ItemType, "
                      "Finished, VersionId, SourceId, prjCategoryId, Priority, SourceType) values ";
    // Still to come: nothing of a task's duration is over, on either side.
    constexpr int starts = 20, daysOfWeek = 7;
    const int firstStart = static_cast<int>(today()) + daysOfWeek;
    for (int i = 0; i <= groups + subgroups + tasks; ++i) {
        const bool isGroup = i <= groups + subgroups;
        int parent = 0;
        if (i > groups) parent = 1 + (i - groups - 1) / (subgroups / groups);
        if (!isGroup) parent = 1 + groups + (i - groups - subgroups - 1) / (tasks / subgroups);
        const int type = i == 0 ? 0 : isGroup ? 1 : 2;
        const int start = firstStart + i % starts * daysOfWeek;
        sql += fmt::format("{}('{}', '{}', '{}', 'Task number {}', 'What is to be done, and by whom', '', 0, {}, {}, "
                           "{}, 8, 8, 1, 8, 0, 0, 0, 100, 90, 0, {}, 0, '', '', '', 'Medium', '')",
                           i == 0 ? "" : ", ", projectKey(i), projectKey(parent), projectKey(0), i, start, start, start,
                           type);
    }
    return sql;
}

std::string RawTasks::taskId(int number) {
    return projectKey(1 + groups + subgroups + number);
}

std::string RawTasks::clearStatement(const char* id) {
    return fmt::format("update Projects set PlnDuration=0, EarliestStartDate=null, PlnStartDate=null, "
                       "PlnFinishDate=null, PlnWork=0, Users=0, ActDuration=0, RemainingWork=0, ActWorkDuration=0, "
                       "PercCompleted=0, ExptOverrun=0, ActStartDate=null, ActFinishDate=null where Id={}",
                       id);
}

std::string RawTasks::sumStatement(const char* id) {
    return fmt::format("select ParentID, max(PlnDuration), min(EarliestStartDate), min(PlnStartDate), "
                       "max(PlnFinishDate), sum(PlnWork), sum(Users), max(ActDuration), avg(PercCompleted), "
                       "sum(RemainingWork), sum(ActWorkDuration), sum(ExptOverrun), min(ActStartDate), "
                       "max(ActFinishDate), avg(Finished) from Projects where ParentID={} group by ParentID",
                       id);
}

std::array<RawNumber, 14> RawTasks::written(double hours, double percentage, const RawSums& sums) {
    const auto& of = sums.numbers;
    return {
        RawNumber{hours},           of[RawSums::plannedWork], of[RawSums::earliestStart],  of[RawSums::plannedStart],
        of[RawSums::plannedFinish], of[RawSums::users],       of[RawSums::actualDuration], of[RawSums::remainingWork],
        of[RawSums::actualWorked],  RawNumber{percentage},    of[RawSums::overrun],        of[RawSums::actualStart],
        of[RawSums::actualFinish],  of[RawSums::finished]};
}

void RawTasks::save(const std::string& id, double done, bool isInTransaction) {
    if (!load(id, found_)) throw std::runtime_error("no task " + id);
    auto& numbers = found_.numbers;
    if (numbers[RawTask::actualWorked] != done) {
        const double planned = numbers[RawTask::plannedWork];
        numbers[RawTask::actualWorked] = done;
        numbers[RawTask::remainingWork] = static_cast<float>(planned - done);
        numbers[RawTask::percentage] = static_cast<float>(done * 100 / planned);
        update(found_);
    }
    isInTransaction ? beginInner() : begin();
    rollUp(found_.texts[RawTask::parentId], found_.texts[RawTask::projectId]);
    isInTransaction ? commitInner() : commit();
}

void RawTasks::rollUp(std::string id, const std::string& projectId) {
    for (int count = 0; count <= 1 || id != projectId;) {
        clear(id);
        if (sum(id, sums_)) {
            const auto& numbers = sums_.numbers;
            const double planned = numbers[RawSums::plannedWork].value;
            const double done = numbers[RawSums::actualWorked].value - numbers[RawSums::overrun].value;
            float percentage = planned > 0 ? static_cast<float>(done / planned * 100) : 0;
            if (percentage > 100) percentage = 99;
            write(id, hoursOf(sums_, projectId), percentage, sums_);
        }
        if (!above(id, key_, parentId_)) return;
        if (key_ == parentId_) ++count;
        id = parentId_;
    }
}

double RawTasks::hoursOf(const RawSums& sums, const std::string& projectId) {
    const bool hasWeek = readWeek(projectId, hours_);
    const bool hasExceptions = readExceptions(projectId, hours_);
    if (!hasWeek && !readWeek("", hours_)) return 0;
    if (!hasExceptions) readExceptions("", hours_);
    if (!hours_.exceptions.empty()) throw std::runtime_error("nothing counts the exceptions here");
    const int start = static_cast<int>(sums.numbers[RawSums::plannedStart].value);
    const int finish = static_cast<int>(sums.numbers[RawSums::plannedFinish].value);
    double hours = 0;
    for (int day = start; day <= finish; ++day) // a multiple of seven is a Saturday
        hours += hours_.week[static_cast<std::size_t>(day + 6) % hours_.week.size()];
    return hours;
}

double today() {
    constexpr std::time_t dayOfEpoch = 25569, secondsOfDay = 86400;
    const std::time_t day = dayOfEpoch + std::time(nullptr) / secondsOfDay;
    return static_cast<double>(day);
}

} // namespace corveth::bench
