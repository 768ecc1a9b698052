#pragma once

#include "cli/gantt_chart.h"

#include <string>
#include <vector>

namespace corveth::cli {

/// Where days stand in a picture, and how its time axis is divided: by days, weeks, months, quarters or years, as the
/// span asks.
class TimeAxis {
public:
    struct Tick {
        double from, to;                 ///< in the picture, within the axis
        std::vector<std::string> labels; ///< the longest first
        bool isWhole;                    ///< it begins within the axis
    };

    /// Both days are on it, and what it takes to be neither cramped nor stretched.
    TimeAxis(Day first, Day last, double left);

    [[nodiscard]] Day first() const noexcept { return first_; }
    [[nodiscard]] Day last() const noexcept { return last_; }
    [[nodiscard]] double left() const noexcept { return left_; }
    [[nodiscard]] double right() const noexcept { return at(last_ + 1); }
    [[nodiscard]] double dayWidth() const noexcept { return dayWidth_; }
    /// Where the day begins.
    [[nodiscard]] double at(double day) const noexcept { return left_ + (day - first_) * dayWidth_; }

    [[nodiscard]] std::vector<Tick> upperTicks() const { return ticks(upper_); }
    [[nodiscard]] std::vector<Tick> lowerTicks() const { return ticks(lower_); }
    /// Where lines go down through the chart: weeks where the axis shows days.
    [[nodiscard]] std::vector<Tick> gridTicks() const;

private:
    enum class Unit { none, day, week, month, quarter, years };

    [[nodiscard]] Day beginOf(Unit unit, Day day) const;
    [[nodiscard]] Day after(Unit unit, Day begin) const;
    [[nodiscard]] std::vector<Tick> ticks(Unit unit) const;
    static std::vector<std::string> labelsOf(Unit unit, Day begin);

    Day first_, last_;
    double left_, dayWidth_;
    Unit upper_ = Unit::none, lower_ = Unit::years;
    int yearStep_ = 1;
};

} // namespace corveth::cli
