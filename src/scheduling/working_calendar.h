#pragma once

#include "platform/automation/date.h"
#include "platform/automation/value.h"

#include <array>
#include <optional>
#include <vector>

namespace corveth {

/// A day with hours of its own, as its row has them.
struct ExceptionDay {
    Value day; ///< a day number; Null is no day
    Value hours;
};

/// Working hours: those of the weekdays, and days that have their own. Hours are whole numbers of 16 bits, and so is
/// every sum on the way to a result; a value that is none fails (6, 13, 94) when a day that has it is counted. Days
/// follow one another at the same time of day, and one that has a time of day is another than an exception that has
/// none.
class CORVETH_API WorkingCalendar {
public:
    /// Sunday first.
    using Week = std::array<Value, 7>;

    /// Of several exceptions for a day the first one holds. `name` is for messages.
    WorkingCalendar(Text name, Week week, std::vector<ExceptionDay> exceptions);

    [[nodiscard]] std::int16_t hoursOf(Date day) const;

    /// The day on which `hours` are reached, counted from `start` on, its own included; `start` for no hours or fewer.
    /// 6 when `longestPause` days in a row have no hours.
    [[nodiscard]] Date add(Date start, std::int16_t hours) const;

    /// The hours from the earlier of both days on up to the later one, which counts itself when `includeEnd` is set;
    /// negative when `start` is the later one.
    [[nodiscard]] std::int16_t between(Date start, Date end, bool includeEnd) const;

    /// Ten years, three of them leap years.
    static constexpr int longestPause = 3653;

private:
    struct Run;
    struct Special {
        double day;
        Value hours;
    };
    /// Of two weeks: the hours of the days before each.
    using Sums = std::array<std::int64_t, 15>;

    void sumUpWeek();
    void takeSpecials(std::vector<ExceptionDay> exceptions);
    [[nodiscard]] bool isRegular() const noexcept { return isWeekRegular_ && !noDay_; }
    [[nodiscard]] std::int64_t hoursOfWeek() const noexcept { return sums_[week_.size()]; }
    [[nodiscard]] std::int64_t hoursOfWeekdays(std::int64_t weekday, std::int64_t days) const noexcept;
    [[nodiscard]] std::optional<std::int64_t> daysUntil(std::int64_t hours, std::int64_t weekday,
                                                        std::int64_t days) const noexcept;
    template <class Plain, class Exception>
    bool visit(const Run& run, const Plain& plain, const Exception& exception) const;
    [[nodiscard]] std::optional<Date> addByWeek(Date start, std::int16_t hours) const;
    [[nodiscard]] Date addByDay(Date start, std::int16_t hours) const;

    Text name_;
    Week week_;
    /// All of its days have hours, none below 0: sums over it only grow.
    bool isWeekRegular_ = false;
    Sums sums_{};                   ///< of a regular week
    std::vector<Special> specials_; ///< in the order of their days
    std::optional<Value> noDay_;    ///< in its row the search for a day fails that no row before it has
};

} // namespace corveth
