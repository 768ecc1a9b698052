#include "platform/automation/date.h"

#include "platform/automation/error.h"
#include "platform/automation/number_text.h"

#include <array>
#include <chrono>
#include <cmath>
#include <fmt/format.h>

namespace corveth {

namespace {

constexpr int firstDay = -657434; // 0100-01-01
constexpr int lastDay = 2958465;  // 9999-12-31
constexpr int firstYear = 100;
constexpr int lastYear = 9999;
constexpr std::int64_t secondMs = 1000;
constexpr std::int64_t minuteMs = 60 * secondMs;
constexpr std::int64_t hourMs = 60 * minuteMs;
constexpr std::int64_t dayMs = 24 * hourMs;
constexpr std::chrono::sys_days epoch = std::chrono::year{1899} / std::chrono::December / 30;

constexpr std::array<TextView, 12> monthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool isValidDay(double day) noexcept {
    return day > firstDay - 1 && day < lastDay + 1; // false for what is not a number
}

/// A date taken apart: its day, and the time of day in milliseconds.
struct Parts {
    int day;
    std::int64_t time;
};

Parts split(Date date, std::int64_t unitMs) {
    const double day = checkedDate(date.day).day;
    const double whole = std::trunc(day);
    const std::int64_t units = dayMs / unitMs;
    Parts parts{static_cast<int>(whole), std::llround(std::fabs(day - whole) * static_cast<double>(units)) * unitMs};
    if (parts.time == dayMs) {
        // Rounded into the next day; the last day there is keeps its last moment instead.
        const bool last = parts.day == lastDay;
        parts.time = last ? dayMs - unitMs : 0;
        parts.day += last ? 0 : 1;
    }
    return parts;
}

/// The time counts forward on days before the first, too.
Date joined(int day, double fraction) noexcept {
    const double sum = day < 0 ? day - fraction : day + fraction;
    // A last moment that the sum rounds to a whole number would be another day, before the first day even an earlier
    // one.
    return {std::trunc(sum) == day ? sum : std::nextafter(sum, day)};
}

CivilTime civilOf(Parts parts) {
    const std::chrono::year_month_day date{epoch + std::chrono::days{parts.day}};
    return {static_cast<int>(date.year()),
            static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day())),
            static_cast<int>(parts.time / hourMs),
            static_cast<int>(parts.time % hourMs / minuteMs),
            static_cast<int>(parts.time % minuteMs / secondMs),
            static_cast<int>(parts.time % secondMs)};
}

bool within(int value, int lowest, int highest) noexcept {
    return value >= lowest && value <= highest;
}

std::optional<Date> tryFromCivil(const CivilTime& civil) noexcept {
    const bool plausible = within(civil.year, firstYear, lastYear) && within(civil.month, 1, 12) &&
                           within(civil.day, 1, 31) && within(civil.hour, 0, 23) && within(civil.minute, 0, 59) &&
                           within(civil.second, 0, 59) && within(civil.millisecond, 0, 999);
    if (!plausible) return std::nullopt;
    const auto date = std::chrono::year{civil.year} / std::chrono::month{static_cast<unsigned>(civil.month)} /
                      std::chrono::day{static_cast<unsigned>(civil.day)};
    if (!date.ok()) return std::nullopt;
    const auto day = static_cast<int>((std::chrono::sys_days{date} - epoch).count());
    const auto time =
        civil.hour * hourMs + civil.minute * minuteMs + civil.second * secondMs + std::int64_t{civil.millisecond};
    return joined(day, static_cast<double>(time) / static_cast<double>(dayMs));
}

/// Reads a text from its beginning. A step that does not match leaves the text as it was.
class Scanner {
public:
    explicit Scanner(TextView text) noexcept : rest_(text) {}

    [[nodiscard]] bool atEnd() const noexcept { return rest_.empty(); }
    bool accept(char c) noexcept {
        if (!rest_.starts_with(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }
    /// At least one blank.
    bool blanks() noexcept {
        if (!accept(' ')) return false;
        while (accept(' ')) {
        }
        return true;
    }
    /// A run of `fewest` to `most` digits.
    bool number(int& value, std::size_t fewest, std::size_t most) noexcept {
        std::size_t count = 0;
        int read = 0;
        while (count < rest_.size() && rest_[count] >= '0' && rest_[count] <= '9') {
            if (count == most) return false;
            read = read * 10 + (rest_[count++] - '0');
        }
        if (count < fewest) return false;
        value = read;
        rest_.remove_prefix(count);
        return true;
    }
    bool word(TextView expected) noexcept {
        if (!equalNoCase(rest_.substr(0, expected.size()), expected)) return false;
        rest_.remove_prefix(expected.size());
        return true;
    }
    bool monthName(int& month) noexcept {
        for (std::size_t i = 0; i < monthNames.size(); ++i) {
            if (!word(monthNames[i])) continue;
            month = static_cast<int>(i) + 1;
            return true;
        }
        return false;
    }

private:
    TextView rest_;
};

bool year(Scanner& in, CivilTime& civil) noexcept {
    return in.number(civil.year, 4, 4);
}

bool isoDay(Scanner& in, CivilTime& civil) noexcept {
    return year(in, civil) && in.accept('-') && in.number(civil.month, 2, 2) && in.accept('-') &&
           in.number(civil.day, 2, 2);
}

bool slashDay(Scanner& in, CivilTime& civil) noexcept {
    return in.number(civil.month, 1, 2) && in.accept('/') && in.number(civil.day, 1, 2) && in.accept('/') &&
           year(in, civil);
}

bool dashNameDay(Scanner& in, CivilTime& civil) noexcept {
    return in.number(civil.day, 1, 2) && in.accept('-') && in.monthName(civil.month) && in.accept('-') &&
           year(in, civil);
}

bool blankNameDay(Scanner& in, CivilTime& civil) noexcept {
    return in.number(civil.day, 1, 2) && in.blanks() && in.monthName(civil.month) && in.blanks() && year(in, civil);
}

bool nameFirstDay(Scanner& in, CivilTime& civil) noexcept {
    return in.monthName(civil.month) && in.blanks() && in.number(civil.day, 1, 2) && in.accept(',') && in.blanks() &&
           year(in, civil);
}

/// `h:mm[:ss[.fff]] [AM/PM]`; an hour with AM or PM is 1 to 12.
bool timeOfDay(Scanner& in, CivilTime& civil) noexcept {
    if (!in.number(civil.hour, 1, 2) || !in.accept(':') || !in.number(civil.minute, 2, 2)) return false;
    if (in.accept(':')) {
        if (!in.number(civil.second, 2, 2)) return false;
        if (in.accept('.') && !in.number(civil.millisecond, 3, 3)) return false;
    }
    in.blanks();
    const bool morning = in.word("AM");
    const bool afternoon = !morning && in.word("PM");
    if (morning || afternoon) {
        if (!within(civil.hour, 1, 12)) return false;
        civil.hour = civil.hour % 12 + (afternoon ? 12 : 0);
    }
    return true;
}

struct DayForm {
    bool (*read)(Scanner&, CivilTime&) noexcept;
    bool takesT; ///< between day and time
};
constexpr DayForm dayForms[] = {
    {isoDay, true}, {slashDay, false}, {dashNameDay, false}, {blankNameDay, false}, {nameFirstDay, false},
};

std::optional<CivilTime> readCivil(TextView text) noexcept {
    for (const DayForm& form : dayForms) {
        Scanner in(text);
        CivilTime civil;
        if (!form.read(in, civil)) continue;
        if (in.atEnd()) return civil;
        const bool separated = (form.takesT && in.accept('T')) || in.blanks();
        if (separated && timeOfDay(in, civil) && in.atEnd()) return civil;
        return std::nullopt;
    }
    Scanner in(text);
    CivilTime civil;
    if (timeOfDay(in, civil) && in.atEnd()) return civil;
    return std::nullopt;
}

} // namespace

Date checkedDate(double day) {
    if (!isValidDay(day)) {
        raise(errors::overflow, fmt::format("the day number {} is outside 0100-01-01 to 9999-12-31", day));
    }
    return {day};
}

Date fromCivil(const CivilTime& civil) {
    const auto date = tryFromCivil(civil);
    if (!date) {
        raise(errors::invalidCall,
              fmt::format("there is no {:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", civil.year, civil.month, civil.day,
                          civil.hour, civil.minute, civil.second, civil.millisecond));
    }
    return *date;
}

CivilTime toCivil(Date date, bool milliseconds) {
    return civilOf(split(date, milliseconds ? 1 : secondMs));
}

Text toText(Date date) {
    const Parts parts = split(date, 1);
    const CivilTime civil = civilOf(parts);
    Text result;
    if (parts.day != 0) result = fmt::format("{:04}-{:02}-{:02}", civil.year, civil.month, civil.day);
    if (parts.day != 0 && parts.time != 0) result += ' ';
    if (parts.day == 0 || parts.time != 0) {
        result += fmt::format("{:02}:{:02}:{:02}", civil.hour, civil.minute, civil.second);
        if (civil.millisecond != 0) result += fmt::format(".{:03}", civil.millisecond);
    }
    return result;
}

std::optional<Date> tryParseDate(TextView text) {
    text = trimBlanks(text);
    if (const auto civil = readCivil(text)) return tryFromCivil(*civil);
    // A day number as the conversion of a number to text writes it.
    if (const auto number = Decimal::readScientific(text)) {
        const double day = number->toDouble();
        if (isValidDay(day)) return Date{day};
    }
    return std::nullopt;
}

Date parseDate(TextView text) {
    const auto date = tryParseDate(text);
    if (!date) raise(errors::typeMismatch, inQuotes(text));
    return *date;
}

Date addMonths(Date date, int months) {
    const double day = checkedDate(date.day).day;
    const double whole = std::trunc(day);
    const std::chrono::year_month_day from{epoch + std::chrono::days{static_cast<int>(whole)}};
    const std::int64_t target = std::int64_t{static_cast<int>(from.year())} * 12 + static_cast<unsigned>(from.month()) -
                                1 + std::int64_t{months};
    if (target < std::int64_t{firstYear} * 12 || target >= (std::int64_t{lastYear} + 1) * 12) {
        raise(errors::invalidCall, fmt::format("{} months from {}", months, toText(date)));
    }
    const auto month =
        std::chrono::year{static_cast<int>(target / 12)} / std::chrono::month{static_cast<unsigned>(target % 12) + 1};
    const auto last = (month / std::chrono::last).day();
    const std::chrono::sys_days to{month / std::min(from.day(), last)};
    return joined(static_cast<int>((to - epoch).count()), std::fabs(day - whole));
}

int weekday(Date date) {
    const auto day = static_cast<int>(std::trunc(checkedDate(date.day).day));
    // Day 1 was a Sunday.
    return ((day - 1) % 7 + 7) % 7 + 1;
}

Text toClockText(Date date) {
    const CivilTime civil = toCivil(date);
    const int hour = civil.hour % 12 == 0 ? 12 : civil.hour % 12;
    return fmt::format("{:02}:{:02} {}", hour, civil.minute, civil.hour < 12 ? "AM" : "PM");
}

} // namespace corveth
