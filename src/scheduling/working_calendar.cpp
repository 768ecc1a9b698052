#include "scheduling/working_calendar.h"

#include "platform/automation/convert.h"
#include "platform/automation/error.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <map>
#include <utility>

namespace corveth {

namespace {

constexpr int daysOfWeek = 7, hoursOfDay = 24;
constexpr double endOfDates = 2958466; ///< the day behind 9999-12-31

/// A sum that has room for 16 bits, whether it counts up or down.
class Sum {
public:
    explicit Sum(bool isDown) noexcept : isDown_(isDown) {}

    void add(std::int64_t hours) {
        value_ += isDown_ ? -hours : hours;
        if (value_ < std::numeric_limits<std::int16_t>::min() || value_ > std::numeric_limits<std::int16_t>::max()) {
            raise(errors::overflow, fmt::format("{} working hours", value_));
        }
    }
    [[nodiscard]] std::int16_t value() const noexcept { return static_cast<std::int16_t>(value_); }

private:
    bool isDown_;
    std::int64_t value_ = 0;
};

/// What comes of it, or what it fails with.
template <class Convert>
std::shared_ptr<const Error> failureOf(const Convert& convert) {
    try {
        convert();
        return nullptr;
    } catch (const Error& error) {
        return std::make_shared<const Error>(error);
    }
}

Date dayAfter(Date day) {
    return checkedDate(day.day + 1.0);
}

} // namespace

/// Days that follow one another on weekdays in a row, and whose sums with whole numbers are exact: one more day is
/// added at a time, which is the same only there.
struct WorkingCalendar::Run {
    double first;
    std::int64_t weekday; ///< Sunday is 0
    std::int64_t days;

    explicit Run(Date from) : first(from.day), weekday(corveth::weekday(from) - 1), days(count(endFrom(first))) {}

    [[nodiscard]] Date at(std::int64_t day) const noexcept { return {first + static_cast<double>(day)}; }

    /// Leaves out the days from `stop` on. Where the difference is rounded the last day may go, too; it is then a run
    /// of its own.
    void endBefore(double stop) noexcept { days = std::min(days, count(stop)); }

private:
    [[nodiscard]] std::int64_t count(double end) const noexcept {
        return static_cast<std::int64_t>(std::ceil(end - first));
    }
    static double endFrom(double first) noexcept {
        if (std::trunc(first) == first) return endOfDates;
        // With a time of day: the day 0 comes twice, before it and after, and a double loses a digit of the time where
        // its exponent grows.
        if (first < 0) return 0;
        return std::min(endOfDates, first < 1 ? 1.0 : std::exp2(std::ilogb(first) + 1));
    }
};

StatedHours::StatedHours(const Value& value) {
    const auto* whole = value.getIf<double>(); // as they most often come
    if (whole != nullptr && std::fabs(*whole) <= hoursOfDay && std::trunc(*whole) == *whole) {
        number_ = static_cast<std::int16_t>(*whole);
    } else {
        failure_ = failureOf([&] { number_ = toInteger(value); });
    }
}

ExceptionDay::ExceptionDay(const Value& dayNumber, const Value& ownHours)
    : day(std::numeric_limits<double>::quiet_NaN()), hours(ownHours) {
    if (!dayNumber.isNull()) failure = failureOf([&] { day = toDouble(dayNumber); });
}

WorkingCalendar::WorkingCalendar(Text name, Week week, std::vector<ExceptionDay> exceptions)
    : name_(std::move(name)), week_(std::move(week)), exceptions_(std::move(exceptions)) {
    sumUpWeek();
    sortExceptions();
}

void WorkingCalendar::sumUpWeek() {
    for (std::size_t day = 0; day < daysOfWeek; ++day) {
        if (!week_[day].isNumber() || week_[day].number() < 0) return;
        sums_[day + 1] = sums_[day] + week_[day].number();
    }
    for (std::size_t day = 1; day <= daysOfWeek; ++day)
        sums_[daysOfWeek + day] = hoursOfWeek() + sums_[day];
    isWeekRegular_ = true;
}

void WorkingCalendar::sortExceptions() {
    const auto failing = std::ranges::find_if(exceptions_, [](const auto& row) { return row.failure != nullptr; });
    if (failing != exceptions_.end()) failure_ = failing->failure;
    exceptions_.erase(failing, exceptions_.end());
    // As rows most often come.
    const auto isOutOfOrder = [](const ExceptionDay& a, const ExceptionDay& b) { return !(a.day < b.day); };
    if (std::ranges::adjacent_find(exceptions_, isOutOfOrder) == exceptions_.end() &&
        (exceptions_.empty() || !std::isnan(exceptions_.front().day))) {
        return;
    }
    std::map<double, ExceptionDay> byDay;
    for (ExceptionDay& row : exceptions_) {
        if (!std::isnan(row.day)) byDay.try_emplace(row.day, std::move(row));
    }
    exceptions_.clear();
    for (auto& [day, row] : byDay) {
        exceptions_.push_back(std::move(row));
    }
}

std::int16_t WorkingCalendar::hoursOf(Date day) const {
    // Also when the day has its own: a weekday without hours fails.
    const std::int16_t usual = week_[static_cast<std::size_t>(weekday(day) - 1)].number();
    const auto found = std::ranges::lower_bound(exceptions_, day.day, {}, &ExceptionDay::day);
    if (found != exceptions_.end() && found->day == day.day) return found->hours.number();
    if (failure_ != nullptr) throw Error(*failure_);
    return usual;
}

/// Of so many days without exceptions from a weekday on.
std::int64_t WorkingCalendar::hoursOfWeekdays(std::int64_t weekday, std::int64_t days) const noexcept {
    const auto from = static_cast<std::size_t>(weekday), to = static_cast<std::size_t>(weekday + days % daysOfWeek);
    return days / daysOfWeek * hoursOfWeek() + sums_[to] - sums_[from];
}

/// How many such days are before the one that brings `hours`, when it is among so many.
std::optional<std::int64_t> WorkingCalendar::daysUntil(std::int64_t hours, std::int64_t weekday,
                                                       std::int64_t days) const noexcept {
    const std::int64_t weeks = (hours - 1) / hoursOfWeek();
    for (std::int64_t day = weeks * daysOfWeek; day < days; ++day) {
        if (hoursOfWeekdays(weekday, day + 1) >= hours) return day;
    }
    return std::nullopt;
}

/// The days of a run in order, as `plain(day, weekday, days)` for those in a row without exceptions and `exception(day,
/// hours)`, until one of them is true; whether one was.
template <class Plain, class Exception>
bool WorkingCalendar::visit(const Run& run, const Plain& plain, const Exception& exception) const {
    const auto plainUpTo = [&](std::int64_t from, std::int64_t to) {
        return from < to && plain(from, (run.weekday + from) % daysOfWeek, to - from);
    };
    std::int64_t next = 0;
    const double end = run.at(run.days).day;
    auto row = std::ranges::lower_bound(exceptions_, run.first, {}, &ExceptionDay::day);
    for (; row != exceptions_.end() && row->day < end; ++row) {
        const auto day = static_cast<std::int64_t>(row->day - run.first);
        if (run.at(day).day != row->day) continue; // of another time of day
        if (plainUpTo(next, day) || exception(day, row->hours)) return true;
        next = day + 1;
    }
    return plainUpTo(next, run.days);
}

std::int16_t WorkingCalendar::between(Date start, Date end, bool includeEnd) const {
    for (const Date date : {start, end})
        static_cast<void>(checkedDate(date.day));
    const bool isReversed = start > end;
    if (isReversed) std::swap(start, end);
    const double stop = includeEnd ? dayAfter(end).day : end.day;
    Sum total(isReversed);
    for (Date day = start; day.day < stop;) {
        if (!isRegular()) {
            total.add(hoursOf(day));
            day = dayAfter(day);
            continue;
        }
        Run run(day);
        run.endBefore(stop);
        visit(
            run,
            [&](std::int64_t /*day*/, std::int64_t weekday, std::int64_t days) {
                total.add(hoursOfWeekdays(weekday, days));
                return false;
            },
            [&](std::int64_t /*day*/, const StatedHours& hours) {
                total.add(hours.number());
                return false;
            });
        day = dayAfter(run.at(run.days - 1));
    }
    return total.value();
}

Date WorkingCalendar::add(Date start, std::int16_t hours) const {
    if (hours <= 0) return start;
    if (isRegular() && hoursOfWeek() > 0) {
        if (const auto day = addByWeek(start, hours)) return *day;
    }
    return addByDay(start, hours);
}

/// Nothing when there may be too long a pause.
std::optional<Date> WorkingCalendar::addByWeek(Date start, std::int16_t hours) const {
    // Each week has a day with hours, unless an exception takes them.
    constexpr int weeksOfPause = longestPause / daysOfWeek;
    Sum sum(false);
    int exceptionsOfPause = 0;
    for (Date from = start;;) {
        const Run run(from);
        std::int64_t found = 0;
        const bool isOver = visit(
            run,
            [&](std::int64_t day, std::int64_t weekday, std::int64_t days) {
                const auto before = daysUntil(hours - sum.value(), weekday, days);
                const std::int64_t more = hoursOfWeekdays(weekday, before ? *before + 1 : days);
                sum.add(more);
                if (more > 0) exceptionsOfPause = 0;
                found = day + before.value_or(0);
                return before.has_value();
            },
            [&](std::int64_t day, const StatedHours& own) {
                const std::int16_t more = own.number();
                sum.add(more);
                exceptionsOfPause = more == 0 ? exceptionsOfPause + 1 : 0;
                found = day;
                return sum.value() >= hours || exceptionsOfPause == weeksOfPause;
            });
        if (isOver) return exceptionsOfPause == weeksOfPause ? std::nullopt : std::optional(run.at(found));
        from = dayAfter(run.at(run.days - 1));
    }
}

Date WorkingCalendar::addByDay(Date start, std::int16_t hours) const {
    Sum sum(false);
    int pause = 0;
    for (Date day = start;; day = dayAfter(day)) {
        const std::int16_t more = hoursOf(day);
        sum.add(more);
        if (sum.value() >= hours) return day;
        pause = more == 0 ? pause + 1 : 0;
        if (pause == longestPause) {
            raise(errors::overflow,
                  fmt::format("{} has no working hours in the ten years up to {}", name_, toText(day)));
        }
    }
}

} // namespace corveth
