#include "cli/commands.h"
#include "cli/files.h"
#include "cli/gantt_chart.h"
#include "cli/names.h"
#include "cli/project_outline.h"
#include "cli/record.h"
#include "cli/rows.h"
#include "cli/text_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cfenv>
#include <chrono>
#include <cmath>
#include <ctime>
#include <set>

namespace corveth::cli {

using client::Failure;
using client::Variant;

namespace {

/// Empty for what is no number.
std::optional<double> numberOf(const Variant& value) {
    return std::visit(
        [](const auto& held) -> std::optional<double> {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_arithmetic_v<Held>) {
                return static_cast<double>(held);
            } else if constexpr (std::is_same_v<Held, client::DateNumber>) {
                return held.day;
            } else if constexpr (std::is_same_v<Held, client::Money>) {
                return static_cast<double>(held.scaled) / 10000;
            } else {
                return std::nullopt;
            }
        },
        value);
}

constexpr const char* planColumns = "ID, ParentID, ItemName, ItemType, PlnStartDate, PlnFinishDate, ActStartDate, "
                                    "ActFinishDate, PlnDuration, PlnWork, ActWorkDuration, RemainingWork, ExptOverrun, "
                                    "Users, PercCompleted, Finished";

PlanItem itemOf(const Row& row) {
    std::size_t column = 0;
    const auto text = [&] { return plainText(row.at(column++)); };
    const auto date = [&] { return numberOf(row.at(column++)); };
    const auto number = [&] { return numberOf(row.at(column++)).value_or(0); };
    PlanItem item;
    item.id = text();
    item.parentId = text();
    item.name = text();
    item.type = static_cast<int>(number());
    for (auto* day : {&item.plannedStart, &item.plannedFinish, &item.actualStart, &item.actualFinish})
        *day = date();
    for (auto* figure : {&item.duration, &item.work, &item.worked, &item.remainingWork, &item.overrun, &item.resources,
                         &item.percentage})
        *figure = number();
    item.isFinished = number() != 0;
    return item;
}

/// A project or a part of one, as its rows have it.
class Plan {
public:
    Plan(const Session& session, const std::string& key) : session_(session) {
        std::string projectId;
        forEachRow(session, "Select ID, ProjectId From Projects Where ID=" + textLiteral(key), [&](const Row& row) {
            top_ = plainText(row[0]);
            projectId = plainText(row[1]);
        });
        if (top_.empty()) {
            throw Failure(3021, "ProjectTask",
                          fmt::format("there is no project, group or task with the key \"{}\"", key));
        }
        calendar_ = projectId.empty() ? top_ : projectId;
        const std::string wholeProject = "ProjectId=" + textLiteral(top_);
        read(equalNoCase(projectId, top_) ? wholeProject : "ID=" + textLiteral(top_));
        readBelow();
    }

    [[nodiscard]] const std::string& calendar() const noexcept { return calendar_; }
    [[nodiscard]] std::vector<OutlineRow> rows() const { return outline(items_, top_); }

private:
    void read(const std::string& condition) {
        forEachRow(session_, fmt::format("Select {} From Projects Where {}", planColumns, condition),
                   [&](const Row& row) {
                       PlanItem item = itemOf(row);
                       if (known_.insert(foldCase(item.id)).second) items_.push_back(std::move(item));
                   });
    }

    /// Level by level, what has its parent among the items and names another project, or another root.
    void readBelow() {
        constexpr std::size_t piece = 200;
        for (std::size_t begin = 0; begin < items_.size();) {
            const std::size_t end = std::min(begin + piece, items_.size());
            std::vector<std::string> keys;
            for (; begin < end; ++begin)
                keys.push_back(textLiteral(items_[begin].id));
            read(fmt::format("ParentID In ({})", fmt::join(keys, ",")));
        }
    }

    const Session& session_;
    std::string top_, calendar_;
    std::vector<PlanItem> items_;
    std::set<std::string> known_;
};

/// As the row's single-precision figures are written: a double shows the digits of their error.
Variant figure(double value) {
    const auto single = static_cast<float>(value);
    if (static_cast<double>(single) == value) return single;
    return value;
}

std::string figureText(double value, int decimals) {
    std::string text = fmt::format("{:.{}f}", value, decimals);
    if (decimals > 0) text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text == "-0" ? "0" : text;
}

std::string typeText(const PlanItem& item) {
    switch (item.type) {
    case PlanItem::project:
        return "Project";
    case PlanItem::group:
        return "Group";
    case PlanItem::task:
        return "Task";
    default:
        return fmt::format("{}", item.type);
    }
}

/// The flag of a group is the average of those below it, so it is set as soon as one of them is.
bool isDone(const PlanItem& item) {
    return item.isFinished && (item.type == PlanItem::task || item.percentage >= 100);
}

std::string finishedText(const PlanItem& item) {
    if (!item.isFinished) return {};
    return isDone(item) ? "yes" : "partly";
}

std::string nameText(const PlanItem& item) {
    return item.name.empty() ? "(no name)" : item.name;
}

Variant dateValue(const std::optional<double>& day) {
    return day ? Variant(client::DateNumber{*day}) : Variant();
}

std::string treeTable(const std::vector<OutlineRow>& rows) {
    TextTable table({"ID", "Name", "Type", "Start", "Finish", "Duration", "Work", "Done", "Percent", "Resources",
                     "Overrun", "Finished", "Remark"});
    constexpr std::size_t withoutRemark = 12;
    for (const OutlineRow& row : rows) {
        const PlanItem& item = *row.item;
        const auto number = [](double value) { return TextTable::Cell{figureText(value, 2), true}; };
        table.addRow({{item.id},
                      {row.lines + nameText(item)},
                      {typeText(item)},
                      {plainText(dateValue(item.plannedStart))},
                      {plainText(dateValue(item.plannedFinish))},
                      number(item.duration),
                      number(item.work),
                      number(item.worked),
                      number(item.percentage),
                      number(item.resources),
                      number(item.overrun),
                      {finishedText(item)},
                      {row.remark}});
    }
    table.dropEmptyColumns(withoutRemark);
    return table.text();
}

/// Named as the members of the class are.
Json itemJson(const OutlineRow& row) {
    const PlanItem& item = *row.item;
    Json json = {{"ID", item.id}, {"ParentId", item.parentId}, {"ItemName", item.name}, {"ItemType", item.type}};
    const auto date = [&](const char* name, const std::optional<double>& day) {
        json[name] = jsonValue(dateValue(day));
    };
    const auto number = [&](const char* name, double value) { json[name] = jsonValue(figure(value)); };
    date("PlannedStartDate", item.plannedStart);
    date("PlannedFinishDate", item.plannedFinish);
    date("ActualStartDate", item.actualStart);
    date("ActualFinishDate", item.actualFinish);
    number("PlannedDuration", item.duration);
    number("PlannedWork", item.work);
    number("ActualWorked", item.worked);
    number("RemainingWork", item.remainingWork);
    number("ExpectedOverrun", item.overrun);
    number("ResourceCount", item.resources);
    number("CompletedPercentage", item.percentage);
    json["Finished"] = item.isFinished;
    if (!row.remark.empty()) json["remark"] = row.remark;
    json["children"] = Json::array();
    return json;
}

/// The item with its children in it; what stands apart is a list of its own.
std::string treeJson(const std::vector<OutlineRow>& rows) {
    Json apart = Json::array();
    Json top;
    std::vector<Json*> path;
    for (const OutlineRow& row : rows) {
        Json json = itemJson(row);
        path.resize(row.depth);
        if (row.depth > 0) {
            path.push_back(&(*path.back())["children"].emplace_back(std::move(json)));
        } else if (top.is_null()) {
            top = std::move(json);
            path.push_back(&top);
        } else {
            path.push_back(&apart.emplace_back(std::move(json)));
        }
    }
    top["apart"] = std::move(apart);
    return top.dump(1) + "\n";
}

/// The first row's hours of the seven weekdays, and the first exception of each day: of the project's own calendar,
/// each of the two from the default one where it has none.
WorkingDays workingDays(const Session& session, const std::string& calendar) {
    const auto hoursOf = [](const Variant& value) {
        return static_cast<int>(std::nearbyint(std::clamp(numberOf(value).value_or(0), -32768.0, 32767.0)));
    };
    const std::string own = "ProjectId=" + textLiteral(calendar), usual = "ProjectId='' Or ProjectId Is Null";
    WorkingDays days;
    bool hasPattern = false;
    for (const std::string& condition : {own, usual}) {
        forEachRow(session, "Select * From WorkingHours Where " + condition, [&](const Row& row) {
            for (std::size_t day = 0; !hasPattern && day < days.hours.size(); ++day)
                days.hours[day] = hoursOf(row.at(day + 1));
            hasPattern = true;
        });
        if (hasPattern) break;
    }
    // Without any pattern there is no scheduling, and nothing to shade.
    if (!hasPattern) days.hours.fill(1);
    bool hasExceptions = false;
    for (const std::string& condition : {own, usual}) {
        forEachRow(session, "Select excDate, WorkingHour From Holidays Where " + condition, [&](const Row& row) {
            hasExceptions = true;
            const auto day = numberOf(row[0]);
            // A day with a time of day is that of no whole day.
            if (!day || std::trunc(*day) != *day || std::abs(*day) > 1e7) return;
            days.exceptions.emplace(static_cast<Day>(*day), hoursOf(row[1]));
        });
        if (hasExceptions) break;
    }
    return days;
}

/// Nothing for a number that is no day of the calendar.
std::optional<Day> dayOf(const std::optional<double>& day) {
    constexpr double first = -657434, last = 2958465; // the years 100 to 9999
    const double number = day.value_or(first - 1);
    const bool isDay = number >= first && number < last + 1;
    return isDay ? std::optional(static_cast<Day>(std::floor(number))) : std::nullopt;
}

Day today() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    using namespace std::chrono;
    const sys_days date = year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday;
    return static_cast<Day>((date - sys_days(year{1899} / December / 30)).count());
}

Day dayNamed(const std::string& text) {
    using namespace std::chrono;
    int y = 0, read = 0;
    unsigned m = 0, d = 0;
    const bool isRead = std::sscanf(text.c_str(), "%4d-%2u-%2u%n", &y, &m, &d, &read) == 3; // NOLINT(cert-err34-c)
    const year_month_day date = year(y) / month(m) / day(d);
    if (!isRead || static_cast<std::size_t>(read) != text.size() || !date.ok() || y < 100) {
        throw WrongUse(fmt::format("\"{}\" is no day; write it as 2026-11-23", text));
    }
    return static_cast<Day>((sys_days(date) - sys_days(year{1899} / December / 30)).count());
}

std::string spanText(const PlanItem& item) {
    const auto start = dayOf(item.plannedStart), finish = dayOf(item.plannedFinish);
    if (!start && !finish) return "no dates";
    return fmt::format("{} to {}", start ? dayText(*start) : "?", finish ? dayText(*finish) : "?");
}

std::string workText(const PlanItem& item) {
    std::string text = fmt::format("{} h of {} h of work done, {} %", figureText(item.worked, 1),
                                   figureText(item.work, 1), figureText(std::floor(item.percentage), 0));
    if (item.overrun > 0) text += fmt::format(", {} h beyond the plan", figureText(item.overrun, 1));
    if (isDone(item)) text += ", finished";
    return text;
}

GanttRow ganttRow(const OutlineRow& row) {
    const PlanItem& item = *row.item;
    using Kind = GanttRow::Kind;
    const Kind kind = item.type == PlanItem::project ? Kind::project
                      : item.type == PlanItem::group ? Kind::group
                                                     : Kind::task;
    std::string details =
        fmt::format("{}\n{} {}\n{}\n{}", nameText(item), typeText(item), item.id, spanText(item), workText(item));
    if (!row.remark.empty()) details += "\n" + row.remark;
    return {.name = nameText(item),
            .id = item.id,
            .details = std::move(details),
            .kind = kind,
            .depth = row.depth,
            .start = dayOf(item.plannedStart),
            .finish = dayOf(item.plannedFinish),
            .percentage = item.percentage,
            .overrun = item.overrun,
            .isFinished = isDone(item),
            .isApart = !row.remark.empty()};
}

} // namespace

std::string showTree(const Request& request) {
    Library library;
    const Session session(library, request.database);
    const Plan plan(session, request.key);
    return request.asJson ? treeJson(plan.rows()) : treeTable(plan.rows());
}

std::string drawGantt(const Request& request) {
    const Day day = request.today.empty() ? today() : dayNamed(request.today);
    Library library;
    const Session session(library, request.database);
    const Plan plan(session, request.key);
    const auto rows = plan.rows();
    const PlanItem& top = *rows.front().item;

    GanttChart chart{.title = nameText(top),
                     .subtitle = spanText(top) + "  ·  " + workText(top),
                     .rows = {},
                     .workingDays = workingDays(session, plan.calendar()),
                     .today = day};
    for (const OutlineRow& row : rows)
        chart.rows.push_back(ganttRow(row));

    if (request.output.empty() || request.output == "-") return ganttSvg(chart);
    OutputFile file(request.output,
                    {.existing = request.replaces ? OutputRule::Existing::isReplaced : OutputRule::Existing::isKept,
                     .refusal = "is kept; give another name with -o, or --replace"});
    file.write(ganttSvg(chart));
    file.complete();
    return fmt::format("{} {} drawn in {}\n", rows.size(), rows.size() == 1 ? "row" : "rows",
                       onOneLine(request.output));
}

} // namespace corveth::cli
