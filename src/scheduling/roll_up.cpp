#include "scheduling/roll_up.h"

#include "platform/automation/convert.h"
#include "scheduling/calendar_functions.h"
#include "session/statements.h"

#include <unordered_map>

namespace corveth {

namespace {

/// Whether it is finished is left as it was: a project's own flag is one of those that the average is made of.
Sql clearing(const Text& id) {
    return Sql{"Update Projects Set PlnDuration=0, EarliestStartdate=NULL, PlnStartdate=NULL, PlnFinishdate=NULL, "
               " PlnWork=0,  Users=0, ActDuration=0, RemainingWork=0, ActWorkDuration=0, PercCompleted=0, "
               "ExptOverrun=0, ActStartDate=NULL, ActFinishdate=NULL  Where Id='",
               id, "'"};
}

Sql summing(const Text& parentId) {
    return Sql{"SELECT Projects.ParentId, Max(Projects.PlnDuration) AS PlnDuration, "
               " Min(Projects.EarliestStartdate) AS EarliestStartdate,"
               " Min(Projects.PlnStartdate) AS PlnStartdate, "
               " Max(Projects.PlnFinishdate) AS PlnFinishdate, "
               " Sum(Projects.PlnWork) AS PlnWork, Sum(Projects.Users) AS Users, "
               " Max(Projects.ActDuration) AS ActDuration, AVG(Projects.PercCompleted) AS percCompleted,"
               " Sum(Projects.RemainingWork) AS RemainingWork, Sum(Projects.ActWorkDuration) "
               " AS ActWorkDuration, Sum(Projects.ExptOverrun)"
               " AS ExptOverrun, Min(Projects.ActStartDate) AS ActStartDate, Max(Projects.ActFinishdate) "
               " AS ActFinishdate, AVG(Projects.Finished) As Finished From Projects GROUP BY Projects.ParentId HAVING "
               " (Projects.ParentId='",
               parentId, "')"};
}

/// The columns of the sums, in the order in which they are asked for.
enum Sum : std::size_t {
    parent,
    longestDuration,
    earliestStart,
    start,
    finish,
    work,
    users,
    actualDuration,
    averagePercentage,
    remainingWork,
    workDone,
    overrun,
    actualStart,
    actualFinish,
    finished,
};

Sql numberOr(const Value& value, const char* otherwise) {
    return Sql::verbatim(value.isNull() ? Text(otherwise) : plainDecimal(toDouble(value)));
}

/// Within quotes, or for a flag: nothing where there is no number, which is refused when it is to be stored.
Sql number(const Value& value) {
    return numberOr(value, "");
}

Sql day(const Value& value) {
    return numberOr(value, "Null");
}

/// Of the work that was planned, not the average of the rows' percentages. Exactly 100 stays.
float percentageOf(const Recordset& sums) {
    const Value& planned = sums.value(work);
    if (planned.isNull() || toDouble(planned) <= 0) return 0;
    const double done = toDouble(sums.value(workDone)) - toDouble(sums.value(overrun));
    const float percentage = toSingle(done / toDouble(planned) * 100);
    return percentage > 100 ? 99 : percentage;
}

/// The working time of the whole span in the project's calendar, whatever the rows below take each.
std::int16_t hoursOf(const Recordset& sums, const Text& rootId) {
    const Date first = toDate(sums.value(start));
    const Date last = toDate(sums.value(finish));
    return WorkingHoursBetween(first, last, rootId, true);
}

Sql rewriting(const Text& id, const Recordset& sums, std::int16_t hours, float percentage) {
    // clang-format off
    return Sql{"Update Projects Set PlnDuration=", hours, ", "
               " PlnWork='", number(sums.value(work)), "', "
               "EarliestStartdate=", day(sums.value(earliestStart)), ", "
               "PlnStartdate=", day(sums.value(start)), ","
               "PlnFinishdate=", day(sums.value(finish)), ", "
               " Users='", number(sums.value(users)), "', "
               "ActDuration='", number(sums.value(actualDuration)), "', "
               "RemainingWork='", number(sums.value(remainingWork)), "', "
               "ActWorkDuration='", number(sums.value(workDone)), "', "
               "PercCompleted='", percentage, "', "
               "ExptOverrun='", number(sums.value(overrun)), "', "
               "ActStartDate=", day(sums.value(actualStart)), ", "
               "ActFinishdate=", day(sums.value(actualFinish)), ", "
               "Finished=", number(sums.value(finished)), " Where Id='", id, "'"};
    // clang-format on
}

/// From the rows right below `id` into it. Without any it stays cleared.
void sumInto(const Text& id, const Text& rootId) {
    execute(clearing(id));
    const auto sums = openRecordset(summing(id), CursorType::staticCopy);
    if (sums->isEmpty()) return;
    const float percentage = percentageOf(*sums);
    const std::int16_t hours = hoursOf(*sums, rootId);
    execute(rewriting(id, *sums, hours, percentage));
}

/// No row of a sound tree is met a third time; a walk that goes in a circle would never end.
class Visits {
public:
    void add(const Text& id, const Text& rootId) {
        if (++counts_[foldCase(id)] < 3) return;
        raise(errors::invalidCall,
              "the row " + id + " of Projects is met a third time on the way up to the project " + rootId);
    }

private:
    std::unordered_map<Text, int> counts_;
};

} // namespace

void rollUp(Text parentId, const Text& rootId) {
    Visits visits;
    for (int count = 0; count <= 1 || !equalNoCase(parentId, rootId);) {
        visits.add(parentId, rootId);
        sumInto(parentId, rootId);
        const auto rows =
            openRecordset(Sql{"Select ID, ParentId From Projects Where Id='", parentId, "'"}, CursorType::staticCopy);
        if (rows->isEmpty()) return;
        const auto& above = rows->value("ParentId");
        parentId = above.isNull() ? Text() : toText(above);
        if (equalNoCase(toText(rows->value("ID")), parentId)) ++count;
    }
}

} // namespace corveth
