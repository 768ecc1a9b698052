// Date text, and day numbers as dates: what is accepted is written in one form, which reads back as the same moment.

#include "support.h"

#include "platform/automation/date.h"
#include "platform/automation/error.h"

#include <cmath>

using namespace corveth;
using fuzz::require;

namespace {

constexpr double halfMillisecond = 0.5 / 86'400'000.0;
/// A day number near the ends of the calendar is exact to 40 nanoseconds.
constexpr double slack = 1e-9;

/// Time counted evenly, also where a day number counts its fraction forward from a negative day.
double moment(Date date) {
    const double whole = std::trunc(date.day);
    return whole + std::fabs(date.day - whole);
}

void checkValue(Date date) {
    const Text written = toText(date);
    const auto read = tryParseDate(written);
    require(read.has_value(), "a date's own text is read", written);
    // The last moment of the calendar is cut, not rounded.
    const double tolerance = moment(date) > 2958465.999 ? 2 * halfMillisecond : halfMillisecond;
    require(std::fabs(moment(*read) - moment(date)) <= tolerance + slack, "text keeps the moment", written);
    require(toText(*read) == written, "text that was read is written the same", written);

    const CivilTime civil = toCivil(date, true);
    require(std::fabs(moment(fromCivil(civil)) - moment(date)) <= tolerance + slack,
            "calendar and clock keep the moment", written);
    const int day = weekday(date);
    require(day >= 1 && day <= 7, "a weekday is one of seven", written);
    require(toClockText(date).size() == 8, "clock text is HH:MM AM", written);
}

/// The day alone; text and calendar round a last moment into the next one.
CivilTime dayOf(Date date) {
    return toCivil({std::trunc(date.day)});
}

void checkMonths(Date date, int months) {
    try {
        const Date later = addMonths(date, months);
        const CivilTime from = dayOf(date), to = dayOf(later);
        require(to.year * 12 + to.month == from.year * 12 + from.month + months, "so many months later", toText(later));
        const bool isClipped = to.day < from.day && dayOf({std::trunc(later.day) + 1}).day == 1;
        require(to.day == from.day || isClipped, "the same day of the month, or its last", toText(later));
        const double time = moment(date) - std::trunc(date.day);
        require(std::fabs(moment(later) - std::trunc(later.day) - time) <= slack, "the same time", toText(later));
    } catch (const Error& error) {
        require(error.number == errors::invalidCall, "months past the calendar are error 5", error.description);
    }
}

/// `yyyy-mm-dd` alone.
bool isPlainDay(TextView text) {
    if (text.size() != 10) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDash = i == 4 || i == 7;
        if (isDash ? text[i] != '-' : (text[i] < '0' || text[i] > '9')) return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text text = fuzz::textOf(data, size);
    if (const auto date = tryParseDate(text)) {
        checkValue(*date);
        if (isPlainDay(text) && text != "1899-12-30") {
            require(toText(*date) == text, "a plain day is written as it was", text);
        }
    } else {
        try {
            parseDate(text);
            require(false, "what is no date is refused", text);
        } catch (const Error& error) {
            require(error.number == errors::typeMismatch && isUtf8(error.description), "no date is error 13", text);
        }
    }

    fuzz::Input input(data, size);
    const auto day = input.number<double>();
    const auto months = input.number<std::int32_t>();
    try {
        const Date date = checkedDate(day);
        checkValue(date);
        checkMonths(date, months);
    } catch (const Error& error) {
        require(error.number == errors::overflow, "a day beyond the calendar is error 6", error.description);
    }
    return 0;
}
