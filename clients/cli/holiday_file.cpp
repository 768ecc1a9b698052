#include "cli/holiday_file.h"

#include "cli/names.h"
#include "common/late_bound.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <optional>

namespace corveth::cli {

namespace {

constexpr std::size_t mostDays = 100'000; ///< every day of 273 years
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view calendarBegin = "BEGIN:VCALENDAR";
constexpr std::chrono::sys_days epoch = std::chrono::year{1899} / std::chrono::December / 30;

std::string_view trimmed(std::string_view text) {
    constexpr const char* blanks = " \t";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// All of the text as a number without a sign.
std::optional<int> readNumber(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() || text[0] == '-') return std::nullopt;
    return number;
}

std::optional<std::int32_t> readDay(std::string_view text) {
    constexpr std::size_t length = 10;
    if (text.size() != length || text[4] != '-' || text[7] != '-') return std::nullopt;
    const auto year = readNumber(text.substr(0, 4)), month = readNumber(text.substr(5, 2)),
               day = readNumber(text.substr(8));
    if (!year || !month || !day || *year < 100) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year{*year}, std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok()) return std::nullopt;
    return static_cast<std::int32_t>((std::chrono::sys_days{date} - epoch).count());
}

std::string dayText(std::int32_t day) {
    const std::chrono::year_month_day date{epoch + std::chrono::days{day}};
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                       static_cast<unsigned>(date.day()));
}

/// The fields of a line; one in quotes may hold commas and quotes, which are doubled.
std::vector<std::string> fieldsOf(std::string_view text, std::uint64_t line) {
    std::vector<std::string> fields;
    for (;;) {
        std::string field;
        text = trimmed(text);
        if (text.starts_with('"')) {
            std::size_t at = 1;
            for (; at < text.size(); ++at) {
                if (text[at] == '"' && (at + 1 == text.size() || text[at + 1] != '"')) break;
                if (text[at] == '"') ++at;
                field += text[at];
            }
            if (at >= text.size()) refuseLine(line, "a quote is not closed");
            text = trimmed(text.substr(at + 1));
            if (!text.empty() && text[0] != ',') refuseLine(line, "something follows a field in quotes");
        } else {
            const std::string_view plain = text.substr(0, text.find(','));
            field = trimmed(plain);
            text.remove_prefix(plain.size());
        }
        fields.push_back(std::move(field));
        if (text.empty()) return fields;
        text.remove_prefix(1);
    }
}

/// Which field is which; -1 for none.
struct Layout {
    std::ptrdiff_t date = 0, name = 1, hours = 2;
    std::size_t most = 3; ///< fields of a line

    /// From the names in a first line; as it stands where that has none.
    static std::optional<Layout> fromHeader(const std::vector<std::string>& names) {
        const auto find = [&](std::string_view name) -> std::ptrdiff_t {
            const auto found = std::ranges::find_if(names, [&](const auto& each) { return equalNoCase(each, name); });
            return found == names.end() ? -1 : found - names.begin();
        };
        if (find("date") < 0) return std::nullopt;
        return Layout{find("date"), find("name"), find("hours"), names.size()};
    }
};

std::string fieldAt(const std::vector<std::string>& fields, std::ptrdiff_t at) {
    const auto index = static_cast<std::size_t>(at);
    return at >= 0 && index < fields.size() ? fields[index] : std::string();
}

Holiday readHoliday(const std::vector<std::string>& fields, const Layout& layout, std::uint64_t line) {
    constexpr int hoursOfDay = 24;
    if (fields.size() > layout.most) {
        refuseLine(line, fmt::format("there are {} fields; a name with commas is put in quotes", fields.size()));
    }
    Holiday holiday{.name = fieldAt(fields, layout.name), .line = line};
    const std::string date = fieldAt(fields, layout.date), hours = fieldAt(fields, layout.hours);
    const auto day = readDay(date);
    if (!day) refuseLine(line, fmt::format("\"{}\" is no date; dates are written 2024-12-25", date));
    holiday.day = *day;
    if (!hours.empty()) {
        const auto number = readNumber(hours);
        if (!number || *number > hoursOfDay) {
            refuseLine(line, fmt::format("\"{}\" is no number of hours; hours are whole numbers from 0 to 24", hours));
        }
        holiday.hours = *number;
    }
    return holiday;
}

} // namespace

void refuseLine(std::uint64_t line, const std::string& why) {
    throw client::Failure(5, "corveth", fmt::format("line {}: {}", line, why));
}

void addHoliday(HolidayList& list, const Holiday& holiday) {
    const auto [at, isNew] = list.days.try_emplace(holiday.day, holiday);
    if (list.days.size() > mostDays) refuseLine(holiday.line, fmt::format("these are more than {} days", mostDays));
    if (isNew) return;
    const Holiday& same = at->second;
    if (same.hours != holiday.hours) {
        refuseLine(holiday.line, fmt::format("{} has {} hours in line {} and {} here", dayText(holiday.day), same.hours,
                                             same.line, holiday.hours));
    }
    ++list.passedOver;
}

HolidayList readCommaSeparated(const std::vector<std::string>& lines) {
    HolidayList list;
    Layout layout;
    bool isFirst = true;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (trimmed(lines[i]).empty()) continue;
        const auto fields = fieldsOf(lines[i], i + 1);
        const auto header = isFirst ? Layout::fromHeader(fields) : std::nullopt;
        isFirst = false;
        if (header) {
            layout = *header;
        } else {
            addHoliday(list, readHoliday(fields, layout, i + 1));
        }
    }
    return list;
}

HolidayList readHolidays(InputFile& file) {
    std::vector<std::string> lines;
    for (std::string line; file.nextLine(line);) {
        if (lines.empty() && line.starts_with(byteOrderMark)) line.erase(0, byteOrderMark.size());
        if (line.ends_with('\r')) line.pop_back();
        lines.push_back(std::move(line));
    }
    const bool isCalendar = !lines.empty() && equalNoCase(trimmed(lines.front()), calendarBegin);
    return isCalendar ? readCalendar(lines) : readCommaSeparated(lines);
}

} // namespace corveth::cli
