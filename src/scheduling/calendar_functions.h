#pragma once

// The working calendar of the database. Both tables are read at every call, so nothing has to be told of a change.
// `key` names the calendar (an item's ID); pattern and exceptions are each the default calendar's where it has none of
// its own. What does not convert fails as it does elsewhere: 6, 13, 94.

#include "platform/automation/date.h"
#include "platform/automation/value.h"

namespace corveth {

/// The day, as date text, on which `hours` working hours are reached, counted from `start` on, its own included;
/// `start` for no hours or fewer, and its time of day is kept. Empty text where no calendar has a pattern; 6 when ten
/// years in a row have no hours.
CORVETH_API Text AddWorkingHours(Date start, std::int16_t hours, const Text& key);

/// Date text: the first day from `date` on that has hours.
CORVETH_API Value NextWorkingDay(Date date, const Text& key);

/// The hours from the earlier of both days on up to the later one, which counts itself when `includeEnd` is set;
/// negative when `start` is the later one, 0 where no calendar has a pattern. 6 beyond 16 bits.
CORVETH_API std::int16_t WorkingHoursBetween(Date start, Date end, const Text& key, bool includeEnd);

/// The hours that are left, from today on at the earliest, never below 0. The dates are texts; the actual ones, where
/// they are not empty, stand for the planned ones.
CORVETH_API float RemainingWorkingHours(const Value& plannedStart, const Value& plannedFinish, const Value& actualStart,
                                        const Value& actualFinish, const Text& key);

} // namespace corveth
