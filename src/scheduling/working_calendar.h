#pragma once

#include "platform/automation/date.h"
#include "platform/automation/error.h"
#include "platform/automation/value.h"

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace corveth {

/// A number of hours as a row has it: of 16 bits, or a failure (6, 13, 94) for who asks for it.
class CORVETH_API StatedHours {
public:
    StatedHours() = default;
    StatedHours(const Value& value);

    [[nodiscard]] bool isNumber() const noexcept { return failure_ == nullptr; }
    [[nodiscard]] std::int16_t number() const {
        if (failure_ != nullptr) throw Error(*failure_);
        return number_;
    }

private:
    std::int16_t number_ = 0;
    std::shared_ptr<const Error> failure_;
};

/// A day with hours of its own, as its row has them.
struct CORVETH_API ExceptionDay {
    /// Null is no day.
    ExceptionDay(const Value& dayNumber, const Value& ownHours);

    double day; ///< not a number for none
    StatedHours hours;
    std::shared_ptr<const Error> failure; ///< for who comes to the row with a value that is no number
};

/// Working hours: those of the weekdays, and days that have their own. Hours are whole numbers of 16 bits, and so is
/// every sum on the way to a result; a value that is none fails when a day that has it is counted. Days
/// follow one another at the same time of day, and one that has a time of day is another than an exception that has
/// none.
class CORVETH_API WorkingCalendar {
public:
    /// Sunday first.
    using Week = std::array<StatedHours, 7>;

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
    /// Of two weeks: the hours of the days before each.
    using Sums = std::array<std::int64_t, 15>;

    void sumUpWeek();
    void sortExceptions();
    [[nodiscard]] bool isRegular() const noexcept { return isWeekRegular_ && !failure_; }
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
    Sums sums_{};                          ///< of a regular week
    std::vector<ExceptionDay> exceptions_; ///< in the order of their days
    std::shared_ptr<const Error> failure_; ///< for who looks for a day that is not among them
};

} // namespace corveth
