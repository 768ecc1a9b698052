#pragma once

#include "platform/automation/text.h"

#include <compare>
#include <optional>

namespace corveth {

/// A day number: whole days since 1899-12-30; the fraction is the time of day, counted forward for negative
/// days too (-1.25 is 1899-12-29 06:00).
struct Date {
    double day = 0;

    friend constexpr auto operator<=>(Date, Date) = default;
};

struct CivilTime {
    int year = 1899, month = 12, day = 30;
    int hour = 0, minute = 0, second = 0, millisecond = 0;
};

/// 6 for a day number outside 0100-01-01 .. 9999-12-31 or not finite.
CORVETH_API Date checkedDate(double day);
/// 5 for a calendar day or time of day that does not exist.
CORVETH_API Date fromCivil(const CivilTime& civil);
/// Rounded to the nearest second, or to the millisecond when `milliseconds` is set.
CORVETH_API CivilTime toCivil(Date date, bool milliseconds = false);

/// `yyyy-mm-dd`, with ` hh:mm:ss` when there is a time of day (`.fff` appended when whole seconds do not give
/// the value back); the time alone when the day is 0 ("00:00:00" for the value 0).
CORVETH_API Text toText(Date date);
/// The accepted forms: that one, ISO with `T`, `m/d/yyyy`, `d-mmm-yyyy`, `d mmm yyyy`, `mmm d, yyyy`, each with an
/// optional `h:mm[:ss[.fff]] [AM/PM]`; a time alone; a plain number as a day number. Empty when it is none of them.
CORVETH_API std::optional<Date> tryParseDate(TextView text);
/// The same; 13 that names the text.
CORVETH_API Date parseDate(TextView text);

/// `months` later (or earlier), clipped to the end of the month; 5 before the year 100.
CORVETH_API Date addMonths(Date date, int months);
/// Sunday is 1.
CORVETH_API int weekday(Date date);
/// `HH:MM AM/PM` of twelve hours, two digits each, after rounding to whole seconds.
CORVETH_API Text toClockText(Date date);

} // namespace corveth
