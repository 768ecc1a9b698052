#include "cli/time_axis.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace corveth::cli {

namespace {

using std::chrono::year_month_day;

constexpr std::chrono::sys_days dayZero = std::chrono::year{1899} / std::chrono::December / 30;

year_month_day civilOf(Day day) {
    return dayZero + std::chrono::days(day);
}

Day dayOf(std::chrono::sys_days date) {
    return static_cast<Day>((date - dayZero).count());
}

constexpr const char* months[] = {"January", "February", "March",     "April",   "May",      "June",
                                  "July",    "August",   "September", "October", "November", "December"};

} // namespace

std::string dayText(Day day) {
    const auto date = civilOf(day);
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                       static_cast<unsigned>(date.day()));
}

bool WorkingDays::contains(Day day) const {
    if (const auto found = exceptions.find(day); found != exceptions.end()) return found->second != 0;
    const auto weekday = std::chrono::weekday(dayZero + std::chrono::days(day)).c_encoding();
    return hours[weekday] != 0;
}

TimeAxis::TimeAxis(Day first, Day last, double left) : first_(first - 1), last_(last + 2), left_(left) {
    constexpr Day fewest = 14;
    constexpr double narrowest = 640, widest = 1600, widestDay = 28;
    last_ = std::max(last_, first_ + fewest - 1);
    const double days = last_ - first_ + 1.0;
    dayWidth_ = std::clamp(days * widestDay, narrowest, widest) / days;

    constexpr double dayLabel = 15, weekLabel = 4, monthLabel = 1, quarterLabel = 0.35, yearLabel = 36;
    if (dayWidth_ >= weekLabel) {
        upper_ = Unit::month;
        lower_ = dayWidth_ >= dayLabel ? Unit::day : Unit::week;
    } else if (dayWidth_ >= quarterLabel) {
        upper_ = Unit::years;
        lower_ = dayWidth_ >= monthLabel ? Unit::month : Unit::quarter;
    } else {
        constexpr double daysOfYear = 365.25;
        while (yearStep_ * daysOfYear * dayWidth_ < yearLabel)
            yearStep_ *= 10;
    }
}

std::vector<TimeAxis::Tick> TimeAxis::gridTicks() const {
    return ticks(lower_ == Unit::day ? Unit::week : lower_);
}

Day TimeAxis::beginOf(Unit unit, Day day) const {
    using namespace std::chrono;
    const auto date = civilOf(day);
    switch (unit) {
    case Unit::week:
        return day - static_cast<Day>(weekday(sys_days(date)).iso_encoding()) + 1;
    case Unit::month:
        return dayOf(date.year() / date.month() / 1);
    case Unit::quarter: {
        const unsigned begin = (static_cast<unsigned>(date.month()) - 1) / 3 * 3 + 1;
        return dayOf(date.year() / month(begin) / 1);
    }
    case Unit::years: {
        const int number = static_cast<int>(date.year());
        return dayOf(year(number - number % yearStep_) / January / 1);
    }
    default:
        return day;
    }
}

Day TimeAxis::after(Unit unit, Day begin) const {
    using namespace std::chrono;
    const auto date = civilOf(begin);
    switch (unit) {
    case Unit::week:
        return begin + 7;
    case Unit::month:
        return dayOf(date + std::chrono::months(1));
    case Unit::quarter:
        return dayOf(date + std::chrono::months(3));
    case Unit::years:
        return dayOf(date + std::chrono::years(yearStep_));
    default:
        return begin + 1;
    }
}

std::vector<std::string> TimeAxis::labelsOf(Unit unit, Day begin) {
    const auto date = civilOf(begin);
    const int year = static_cast<int>(date.year());
    const unsigned month = static_cast<unsigned>(date.month()), day = static_cast<unsigned>(date.day());
    const std::string name = months[month - 1];
    switch (unit) {
    case Unit::day:
    case Unit::week:
        return {fmt::format("{}", day)};
    case Unit::month: {
        const std::string shortName = name.substr(0, 3);
        return {fmt::format("{} {}", name, year), fmt::format("{} {}", shortName, year), shortName};
    }
    case Unit::quarter:
        return {fmt::format("Q{}", (month - 1) / 3 + 1)};
    default:
        return {fmt::format("{}", year)};
    }
}

std::vector<TimeAxis::Tick> TimeAxis::ticks(Unit unit) const {
    std::vector<Tick> found;
    if (unit == Unit::none) return found;
    for (Day begin = beginOf(unit, first_); begin <= last_;) {
        const Day next = after(unit, begin);
        Tick tick{.from = at(std::max(begin, first_)),
                  .to = at(std::min(next, last_ + 1)),
                  .labels = labelsOf(unit, begin),
                  .isWhole = begin >= first_};
        // Below years a month needs none.
        if (unit == Unit::month && lower_ == Unit::month) tick.labels.erase(tick.labels.begin(), tick.labels.end() - 1);
        // The number of a day that is not there would be read as the first one's.
        if (unit == Unit::week && !tick.isWhole) tick.labels.clear();
        found.push_back(std::move(tick));
        begin = next;
    }
    return found;
}

} // namespace corveth::cli
