#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace corveth::cli {

/// Days are counted from 1899-12-30, without a time.
using Day = int;

/// `yyyy-mm-dd`.
std::string dayText(Day day);

/// Which days are worked on.
struct WorkingDays {
    std::array<int, 7> hours{}; ///< of each weekday, Sunday first
    std::map<Day, int> exceptions;

    [[nodiscard]] bool contains(Day day) const;
};

struct GanttRow {
    enum class Kind { project, group, task };

    std::string name;
    std::string id;
    std::string details; ///< lines that a viewer shows when it is pointed at
    Kind kind = Kind::task;
    std::size_t depth = 0;
    std::optional<Day> start, finish; ///< both days are worked on
    double percentage = 0;
    double overrun = 0; ///< hours of work
    bool isFinished = false;
    bool isApart = false; ///< it does not hang together with the rest
};

struct GanttChart {
    std::string title, subtitle;
    std::vector<GanttRow> rows;
    WorkingDays workingDays;
    Day today = 0;
};

/// The chart as a picture in SVG, light or dark as its viewer is. The same chart always gives the same text.
std::string ganttSvg(const GanttChart& chart);

} // namespace corveth::cli
