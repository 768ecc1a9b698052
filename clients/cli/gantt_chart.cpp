#include "cli/gantt_chart.h"

#include "cli/text_table.h"
#include "cli/time_axis.h"
#include "cli/xml_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace corveth::cli {

namespace {

constexpr const char* style = R"(
text { fill: #1f2933 }
.page { fill: #ffffff }
.heading { font-size: 16px; font-weight: bold }
.group text.name, .project text.name { font-weight: bold }
.apart text.name { font-style: italic }
.muted { fill: #5b6875 }
.off { fill: #e8ebef }
.grid { stroke: #d3d9e0 }
.rows { stroke: #eceff2 }
.plan { fill: #a9c4ec }
.done { fill: #2a62b3 }
.group .plan, .project .plan { fill: #a3adb8 }
.group .done, .project .done { fill: #36424f }
.odd { fill: none; stroke: #2a62b3; stroke-dasharray: 3 2 }
.mark { fill: none; stroke: #5b6875; stroke-width: 1.5 }
.check { fill: none; stroke: #1b7a3c; stroke-width: 2 }
.over { fill: url(#hatch); stroke: #b7410e }
.stripe { stroke: #b7410e; stroke-width: 2 }
.today { stroke: #c2185b; stroke-width: 1.5 }
text.today { fill: #c2185b; stroke: none; font-weight: bold }
@media (prefers-color-scheme: dark) {
text { fill: #e3e7eb }
.page { fill: #14181d }
.muted { fill: #9ba6b2 }
.off { fill: #232a32 }
.grid { stroke: #39424c }
.rows { stroke: #20262d }
.plan { fill: #34527d }
.done { fill: #84b3f4 }
.group .plan, .project .plan { fill: #56616d }
.group .done, .project .done { fill: #cdd4db }
.odd { stroke: #84b3f4 }
.mark { stroke: #9ba6b2 }
.check { stroke: #6fd08c }
.over { stroke: #f29a5b }
.stripe { stroke: #f29a5b }
.today { stroke: #ff7aa8 }
text.today { fill: #ff7aa8 }
}
)";

/// As few digits as a picture needs.
std::string length(double value) {
    std::string text = fmt::format("{:.2f}", value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text == "-0" ? "0" : text;
}

std::string hoursText(double hours) {
    return length(std::round(hours * 10) / 10) + " h";
}

/// What is the same for all rows, by how many there are.
struct Measures {
    explicit Measures(std::size_t rows)
        : rowHeight(rows <= 80    ? 24
                    : rows <= 250 ? 20
                                  : 17),
          fontSize(rows <= 250 ? 12 : 11) {}

    double rowHeight, fontSize;
    [[nodiscard]] double cell() const { return fontSize * 0.6; } ///< a character, as fonts go
};

constexpr double margin = 16, indent = 14, labelRoom = 112, axisHeight = 36, axisRow = 17, axisFont = 11;
constexpr double top = 62; ///< what the heading takes
constexpr std::size_t deepestIndent = 8;
/// A long chart has its axis again after so many rows.
constexpr std::size_t longChart = 60, rowsOfBand = 40;

const char* className(GanttRow::Kind kind) {
    switch (kind) {
    case GanttRow::Kind::project:
        return "project";
    case GanttRow::Kind::group:
        return "group";
    default:
        return "task";
    }
}

class Drawing {
public:
    explicit Drawing(const GanttChart& chart)
        : chart_(chart), measures_(chart.rows.size()), nameWidth_(widthOfNames()), axis_(axisOf(chart)) {
        placeRows();
    }

    std::string text() {
        open();
        shadeDays();
        drawGrid();
        for (const double y : bands_)
            drawAxis(y);
        for (std::size_t row = 0; row < chart_.rows.size(); ++row)
            drawRow(chart_.rows[row], rowTops_[row]);
        drawToday();
        drawLegend();
        svg_ += "</svg>\n";
        return std::move(svg_);
    }

private:
    template <class... Values>
    void add(fmt::format_string<Values...> pattern, Values&&... values) {
        fmt::format_to(std::back_inserter(svg_), pattern, std::forward<Values>(values)...);
        svg_ += '\n';
    }
    void line(const char* kind, double x1, double y1, double x2, double y2) {
        add(R"(<line class="{}" x1="{}" y1="{}" x2="{}" y2="{}"/>)", kind, length(x1), length(y1), length(x2),
            length(y2));
    }
    void box(const char* kind, double x, double y, double width, double height, double round = 0) {
        add(R"(<rect class="{}" x="{}" y="{}" width="{}" height="{}"{}/>)", kind, length(x), length(y), length(width),
            length(height), round > 0 ? fmt::format(R"( rx="{}")", length(round)) : "");
    }
    void words(const char* kind, double x, double y, std::string_view text, const char* more = "") {
        add(R"(<text class="{}" x="{}" y="{}"{}>{}</text>)", kind, length(x), length(y), more, xmlText(text));
    }

    [[nodiscard]] double indentOf(const GanttRow& row) const {
        return margin + indent * static_cast<double>(std::min(row.depth, deepestIndent));
    }
    /// Bold letters are wider.
    [[nodiscard]] double cellOf(const GanttRow& row) const {
        return measures_.cell() * (row.kind == GanttRow::Kind::task ? 1 : 1.1);
    }
    [[nodiscard]] double widthOfNames() const {
        constexpr double narrowest = 140, widest = 360;
        double width = narrowest;
        for (const GanttRow& row : chart_.rows) {
            const auto cells = static_cast<double>(displayWidth(onOneLine(row.name)));
            width = std::max(width, indentOf(row) + cells * cellOf(row) + margin);
        }
        return std::min(width, widest);
    }

    [[nodiscard]] TimeAxis axisOf(const GanttChart& chart) const {
        std::vector<Day> days;
        for (const GanttRow& row : chart.rows) {
            for (const auto& day : {row.start, row.finish}) {
                if (day) days.push_back(*day);
            }
        }
        if (days.empty()) return {chart.today, chart.today, nameWidth_};
        auto [first, last] = std::ranges::minmax(days);
        // Today is on it unless it is far away.
        const Day near = std::max(14, (last - first) / 4);
        if (chart.today < first && first - chart.today <= near) first = chart.today;
        if (chart.today > last && chart.today - last <= near) last = chart.today;
        return {first, last, nameWidth_};
    }

    void placeRows() {
        double y = top;
        const bool isLong = chart_.rows.size() > longChart;
        for (std::size_t row = 0; row < chart_.rows.size(); ++row) {
            if (row == 0 || (isLong && row % rowsOfBand == 0)) {
                bands_.push_back(y);
                y += axisHeight;
            }
            rowTops_.push_back(y);
            y += measures_.rowHeight;
        }
        bottom_ = y;
    }

    void open() {
        const double width = axis_.right() + labelRoom, height = bottom_ + 44;
        add(R"(<svg xmlns="http://www.w3.org/2000/svg" width="{0}" height="{1}" viewBox="0 0 {0} {1}" role="img" )"
            R"(font-family="system-ui, sans-serif" font-size="{2}">)",
            length(width), length(height), length(measures_.fontSize));
        add("<title>{}</title>", xmlText(chart_.title));
        add("<style>{}</style>", style);
        add(R"(<defs><pattern id="hatch" width="5" height="5" patternUnits="userSpaceOnUse" )"
            R"svg(patternTransform="rotate(45)"><line class="stripe" x1="1" y1="0" x2="1" y2="5"/></pattern>)svg");
        add(R"(<clipPath id="names"><rect x="0" y="0" width="{}" height="{}"/></clipPath></defs>)",
            length(nameWidth_ - 4), length(height));
        box("page", 0, 0, width, height);
        words("heading", margin, 26, shortened(onOneLine(chart_.title), static_cast<std::size_t>(width / 11)));
        words("muted", margin, 44, chart_.subtitle);
    }

    void shadeDays() {
        constexpr double thinnest = 1.5; // pixels; less would be a blur
        if (axis_.dayWidth() * 14 < thinnest) return;
        const auto shade = [&](Day from, Day to) {
            if (axis_.at(to) - axis_.at(from) < thinnest) return;
            box("off", axis_.at(from), bands_.front() + axisRow, axis_.at(to) - axis_.at(from),
                bottom_ - bands_.front() - axisRow);
        };
        std::optional<Day> begin;
        for (Day day = axis_.first(); day <= axis_.last(); ++day) {
            if (!chart_.workingDays.contains(day)) {
                if (!begin) begin = day;
            } else if (begin) {
                shade(*begin, day);
                begin.reset();
            }
        }
        if (begin) shade(*begin, axis_.last() + 1);
    }

    void drawGrid() {
        for (const auto& tick : axis_.gridTicks()) {
            if (tick.isWhole) line("grid", tick.from, bands_.front() + axisRow, tick.from, bottom_);
        }
        for (const double y : rowTops_)
            line("rows", margin, y + measures_.rowHeight, axis_.right(), y + measures_.rowHeight);
    }

    void drawAxis(double y) {
        if (y > bands_.front()) box("page", 0, y, axis_.right() + labelRoom, axisHeight);
        const auto labels = [&](const std::vector<TimeAxis::Tick>& ticks, double base) {
            for (const auto& tick : ticks) {
                const double room = (tick.to - tick.from - 4) / (axisFont * 0.6);
                const auto fitting = std::ranges::find_if(
                    tick.labels, [&](const auto& label) { return static_cast<double>(label.size()) <= room; });
                if (fitting == tick.labels.end()) continue;
                words("muted", tick.from + 3, base, *fitting, R"( font-size="11")");
            }
        };
        for (const auto& tick : axis_.upperTicks()) {
            if (tick.isWhole) line("grid", tick.from, y, tick.from, y + axisHeight);
        }
        labels(axis_.upperTicks(), y + 13);
        labels(axis_.lowerTicks(), y + axisRow + 13);
        line("grid", axis_.left(), y + axisRow, axis_.right(), y + axisRow);
        line("grid", margin, y + axisHeight, axis_.right(), y + axisHeight);
    }

    void drawRow(const GanttRow& row, double y) {
        add(R"(<g class="{}{}" data-id="{}">)", className(row.kind), row.isApart ? " apart" : "", xmlText(row.id));
        add("<title>{}</title>", xmlText(row.details));
        const double base = y + measures_.rowHeight / 2 + measures_.fontSize * 0.36;
        const double left = indentOf(row);
        const auto cells = static_cast<std::size_t>(std::max(1.0, (nameWidth_ - margin - left) / cellOf(row)));
        words("name", left, base, shortened(onOneLine(row.name), cells), R"x( clip-path="url(#names)")x");
        if (row.start && row.finish) {
            drawSpan(row, *row.start, *row.finish, y, base);
        } else {
            drawMissing(row, y, base);
        }
        svg_ += "</g>\n";
    }

    /// A diamond where there is no bar.
    void drawMissing(const GanttRow& row, double y, double base) {
        const auto known = row.start ? row.start : row.finish;
        const double x = known ? axis_.at(*known + 0.5) : axis_.left() + 10;
        add(R"(<path class="mark" d="M{} {}l5 5l-5 5l-5 -5z"/>)", length(x), length(y + measures_.rowHeight / 2 - 5));
        words("muted", x + 9, base, known ? (row.start ? "no finish" : "no start") : "no dates");
    }

    void drawSpan(const GanttRow& row, Day start, Day finish, double y, double base) {
        const double from = axis_.at(std::min(start, finish));
        const double to = std::max(axis_.at(std::max(start, finish) + 1), from + 3);
        const double inset = 4, height = measures_.rowHeight - 2 * inset;
        const double share = std::clamp(row.percentage, 0.0, 100.0) / 100;
        if (finish < start) {
            box("odd", from, y + inset, to - from, height, 2);
            words("muted", to + 5, base, "finish before start");
            return;
        }
        if (row.kind == GanttRow::Kind::task) {
            box("plan", from, y + inset, to - from, height, 2);
            if (share > 0) box("done", from, y + inset, (to - from) * share, height, 2);
        } else {
            drawBracket(row, from, to, y + inset, height, share);
        }
        drawState(row, to, y + inset, height, base);
    }

    /// From above, with ends that point down.
    void drawBracket(const GanttRow& row, double from, double to, double y, double height, double share) {
        const double thick = row.kind == GanttRow::Kind::project ? 7 : 5;
        const double end = std::min(5.0, (to - from) / 2);
        const double drop = height - thick - 1;
        add(R"(<path class="plan" d="M{} {}H{}v{}l{} {}H{}l{} {}z"/>)", length(from), length(y), length(to),
            length(thick + drop), length(-end), length(-drop), length(from + end), length(-end), length(drop));
        if (share > 0) box("done", from, y, (to - from) * share, thick);
    }

    /// Behind the bar: what is done, and what is more than was planned.
    void drawState(const GanttRow& row, double to, double y, double height, double base) {
        double x = to + 2;
        if (row.overrun > 0) {
            box("over", x, y + 0.5, 8, height - 1);
            x += 10;
        }
        x += 3;
        if (row.isFinished) {
            add(R"(<path class="check" d="M{} {}l3.5 3.5l6.5 -8"/>)", length(x), length(y + height / 2));
            x += 14;
        }
        std::string label;
        if (!row.isFinished && row.percentage > 0) label = fmt::format("{:.0f} %", std::floor(row.percentage));
        if (row.overrun > 0) label += fmt::format("{}+{}", label.empty() ? "" : "  ", hoursText(row.overrun));
        if (!label.empty()) words("muted", x, base, label);
    }

    void drawToday() {
        const std::string label = "today " + dayText(chart_.today);
        const double y = bands_.front() - 5;
        if (chart_.today < axis_.first()) {
            words("today", axis_.left(), y, "← " + label);
        } else if (chart_.today > axis_.last()) {
            words("today", axis_.right(), y, label + " →", R"( text-anchor="end")");
        } else {
            const double x = axis_.at(chart_.today + 0.5);
            line("today", x, y + 3, x, bottom_);
            const double half = static_cast<double>(label.size()) * measures_.cell() / 2 + 2;
            words("today", std::clamp(x, axis_.left() + half, axis_.right() + labelRoom - half), y, label,
                  R"( text-anchor="middle")");
        }
    }

    void drawLegend() {
        const double y = bottom_ + 14, height = 12, base = y + 10;
        double x = margin;
        const auto entry = [&](double width, std::string_view label) {
            x += width + 5;
            words("muted", x, base, label);
            x += static_cast<double>(displayWidth(label)) * measures_.cell() + 16;
        };
        svg_ += "<g class=\"legend\">\n<g class=\"task\">\n";
        box("plan", x, y, 30, height, 2);
        box("done", x, y, 12, height, 2);
        entry(30, "task, done so far");
        svg_ += "</g>\n<g class=\"group\">\n";
        GanttRow group;
        group.kind = GanttRow::Kind::group;
        drawBracket(group, x, x + 30, y, height, 0.4);
        entry(30, "group or project");
        svg_ += "</g>\n";
        add(R"(<path class="check" d="M{} {}l3.5 3.5l6.5 -8"/>)", length(x), length(y + height / 2));
        entry(10, "finished");
        box("over", x, y + 0.5, 8, height - 1);
        entry(8, "work beyond the plan");
        box("off", x, y, 16, height);
        entry(16, "no working day");
        svg_ += "</g>\n";
    }

    const GanttChart& chart_;
    Measures measures_;
    double nameWidth_;
    TimeAxis axis_;
    std::vector<double> rowTops_, bands_;
    double bottom_ = 0;
    std::string svg_;
};

} // namespace

std::string ganttSvg(const GanttChart& chart) {
    return Drawing(chart).text();
}

} // namespace corveth::cli
