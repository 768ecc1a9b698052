#include "scheduling/calendar_functions.h"

#include "platform/automation/convert.h"
#include "platform/desktop/clock.h"
#include "scheduling/working_calendar.h"
#include "session/statements.h"

#include <array>

namespace corveth {

namespace {

Ref<Recordset> openRows(const Sql& sql) {
    return openRecordset(sql, CursorType::staticCopy, LockType::optimistic);
}

Sql patternQuery(const Text& key) {
    if (key.empty()) return Sql{"Select * From WorkingHours Where ProjectId='' Or ProjectId is Null"};
    return Sql{"Select * From WorkingHours Where ProjectId=\"", key, "\""};
}

Sql exceptionQuery(const Text& key) {
    if (key.empty()) return Sql{"Select * From Holidays Where Projectid='' or ProjectId is Null"};
    return Sql{"Select * From Holidays Where Projectid=\"", key, "\""};
}

std::vector<ExceptionDay> readExceptions(Recordset& rows) {
    static constexpr std::array names = {"excDate", "WorkingHour"};
    if (rows.isEmpty()) return {};
    const auto at = rows.positions(&names, names);
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (at[i] < 0) raise(errors::noSuchItem, names[i]);
    }
    const auto day = static_cast<std::size_t>(at[0]), hours = static_cast<std::size_t>(at[1]);
    const auto count = rows.get_RecordCount();
    std::vector<ExceptionDay> days;
    days.reserve(static_cast<std::size_t>(count));
    for (std::int32_t row = 0; row < count; ++row, rows.MoveNext()) {
        const auto cells = rows.cells();
        days.emplace_back(cells[day], cells[hours]);
    }
    return days;
}

/// The calendar of that key, as the tables have it now; nothing where not even the default one has a pattern.
std::optional<WorkingCalendar> readCalendar(const Text& key) {
    auto pattern = openRows(patternQuery(key));
    auto exceptions = openRows(exceptionQuery(key));
    if (pattern->isEmpty()) pattern = openRows(patternQuery({}));
    if (exceptions->isEmpty()) exceptions = openRows(exceptionQuery({}));
    if (pattern->isEmpty()) return std::nullopt;

    WorkingCalendar::Week week;
    for (std::size_t day = 0; day < week.size(); ++day)
        week[day] = pattern->value(day + 1); // behind the row's key; the names of the columns do not matter
    return WorkingCalendar(key.empty() ? "the default calendar" : "the calendar of " + key, std::move(week),
                           readExceptions(*exceptions));
}

bool isEmptyText(const Value& value) noexcept {
    const auto* text = value.getIf<Text>();
    return text != nullptr ? text->empty() : value.is(ValueType::empty) || value.isNull();
}

} // namespace

Text AddWorkingHours(Date start, std::int16_t hours, const Text& key) {
    const auto calendar = readCalendar(key);
    return calendar ? toText(calendar->add(start, hours)) : Text();
}

Value NextWorkingDay(Date date, const Text& key) {
    return AddWorkingHours(date, 1, key);
}

std::int16_t WorkingHoursBetween(Date start, Date end, const Text& key, bool includeEnd) {
    const auto calendar = readCalendar(key);
    return calendar ? calendar->between(start, end, includeEnd) : std::int16_t{0};
}

float RemainingWorkingHours(const Value& plannedStart, const Value& plannedFinish, const Value& actualStart,
                            const Value& actualFinish, const Text& key) {
    const Date start = std::max(toDate(isEmptyText(actualStart) ? plannedStart : actualStart), today());
    const Date finish = toDate(isEmptyText(actualFinish) ? plannedFinish : actualFinish);
    return std::max<float>(0, WorkingHoursBetween(start, finish, key, start <= finish));
}

} // namespace corveth
