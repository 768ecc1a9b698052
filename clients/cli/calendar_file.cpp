// The all-day events of an iCalendar file. Of its grammar this takes what calendars of holidays are made of, with the
// lines' numbers, which the usual libraries do not keep; what it does not know in an all-day event it refuses.

#include "cli/holiday_file.h"
#include "cli/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <limits>
#include <optional>

namespace corveth::cli {

namespace {

namespace calendar = std::chrono;
using calendar::sys_days;
using calendar::year_month_day;

constexpr sys_days epoch = calendar::year{1899} / calendar::December / 30;
constexpr int longestEvent = 366; ///< days
constexpr int yearsAhead = 10;    ///< that an event which comes back for ever is written for

/// One property: `NAME;PARAMETER=VALUE;...:VALUE`.
struct Property {
    std::string_view name, parameters, value;
    std::uint64_t line = 0;

    [[nodiscard]] bool is(std::string_view expected) const noexcept { return equalNoCase(name, expected); }
};

Property readProperty(std::string_view text, std::uint64_t line) {
    bool isQuoted = false;
    const auto colon = std::ranges::find_if(text, [&](char c) {
        if (c == '"') isQuoted = !isQuoted;
        return c == ':' && !isQuoted;
    });
    if (colon == text.end()) refuseLine(line, fmt::format("\"{}\" is no property of a calendar", text));
    const auto length = static_cast<std::size_t>(colon - text.begin());
    const std::string_view head = text.substr(0, length);
    const std::size_t end = std::min(head.find(';'), head.size());
    return {head.substr(0, end), head.substr(end), text.substr(length + 1), line};
}

/// A whole number with an optional sign.
std::optional<int> readNumber(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// `20241225`; nothing for a day with a time.
std::optional<sys_days> readDay(std::string_view text) {
    constexpr std::size_t length = 8;
    if (text.size() != length || text.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
    const auto part = [&](std::size_t from, std::size_t count) {
        return readNumber(text.substr(from, count)).value_or(0);
    };
    const year_month_day date{calendar::year(part(0, 4)), calendar::month(static_cast<unsigned>(part(4, 2))),
                              calendar::day(static_cast<unsigned>(part(6, 2)))};
    if (!date.ok() || date.year() < calendar::year{100}) return std::nullopt;
    return sys_days{date};
}

sys_days requireDay(const Property& property, std::string_view text) {
    const auto day = readDay(text);
    if (!day) refuseLine(property.line, fmt::format("\"{}\" is no day", text));
    return *day;
}

/// `P3D` or `P2W`.
int readDays(const Property& property) {
    constexpr int daysOfWeek = 7;
    std::string_view text = property.value;
    const bool isWeeks = text.ends_with('W');
    std::optional<int> count;
    if (text.starts_with('P') && text.size() > 2 && (isWeeks || text.ends_with('D'))) {
        count = readNumber(text.substr(1, text.size() - 2));
    }
    const int most = isWeeks ? longestEvent / daysOfWeek : longestEvent;
    if (!count || *count < 1 || *count > most) {
        refuseLine(property.line, fmt::format("\"{}\" is no number of days up to {}", text, longestEvent));
    }
    return isWeeks ? *count * daysOfWeek : *count;
}

/// Text as it was before `\n`, `\,`, `\;` and `\\` stood for what has a meaning of its own.
std::string unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '\\' && i + 1 < text.size()) {
            c = text[++i];
            if (c == 'n' || c == 'N') c = ' ';
        }
        result += c;
    }
    return result;
}

/// Calls `take` with each part of a text between separators.
template <class Take>
void forEachPart(std::string_view text, char separator, const Take& take) {
    for (;;) {
        const std::size_t end = std::min(text.find(separator), text.size());
        take(text.substr(0, end));
        if (end == text.size()) return;
        text.remove_prefix(end + 1);
    }
}

/// An event that comes back every year, or every few years: on the same day, or on a weekday counted within a month.
class YearlyRule {
public:
    YearlyRule(const Property& property, year_month_day first) : property_(property), first_(first) {
        month_ = first.month();
        dayOfMonth_ = first.day();
        bool isYearly = false;
        forEachPart(property.value, ';', [&](std::string_view part) {
            const std::size_t end = std::min(part.find('='), part.size());
            const std::string_view name = part.substr(0, end), value = part.substr(std::min(end + 1, part.size()));
            if (equalNoCase(name, "FREQ") && equalNoCase(value, "YEARLY")) {
                isYearly = true;
            } else {
                readPart(name, value);
            }
        });
        // A weekday or a day of every month would be meant.
        if (!isYearly || ((weekday_ || hasDay_) && !hasMonth_) || (weekday_ && hasDay_)) refuse();
    }

    [[nodiscard]] std::vector<sys_days> days() const {
        std::vector<sys_days> days;
        const year_month_day today{calendar::floor<calendar::days>(calendar::system_clock::now())};
        const bool isEndless = !until_ && !count_;
        const auto lastYear = isEndless ? today.year() + calendar::years{yearsAhead} : calendar::year{9999};
        for (auto year = first_.year(); year <= lastYear; year += calendar::years{interval_}) {
            const auto day = dayIn(year);
            if (!day || *day < sys_days{first_}) continue;
            if (until_ && *day > *until_) break;
            days.push_back(*day);
            if (count_ && days.size() >= static_cast<std::size_t>(*count_)) break;
        }
        return days;
    }

private:
    void readPart(std::string_view name, std::string_view value) {
        if (equalNoCase(name, "WKST")) return;
        if (equalNoCase(name, "UNTIL")) {
            until_ = requireDay(property_, value.substr(0, value.find('T')));
            return;
        }
        if (equalNoCase(name, "BYDAY")) return readWeekday(value);
        const auto number = readNumber(value);
        const int most = equalNoCase(name, "BYMONTH") ? 12 : equalNoCase(name, "BYMONTHDAY") ? 31 : 9999;
        if (!number || *number < 1 || *number > most) refuse();
        if (equalNoCase(name, "INTERVAL")) {
            interval_ = *number;
        } else if (equalNoCase(name, "COUNT")) {
            count_ = number;
        } else if (equalNoCase(name, "BYMONTH")) {
            month_ = calendar::month(static_cast<unsigned>(*number));
            hasMonth_ = true;
        } else if (equalNoCase(name, "BYMONTHDAY")) {
            dayOfMonth_ = calendar::day(static_cast<unsigned>(*number));
            hasDay_ = true;
        } else {
            refuse();
        }
    }

    /// `4TH`: the fourth Thursday; `-1MO`: the last Monday.
    void readWeekday(std::string_view value) {
        static constexpr std::array<std::string_view, 7> names = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};
        constexpr std::size_t letters = 2;
        if (value.size() <= letters) refuse();
        const auto name = std::ranges::find_if(
            names, [&](std::string_view each) { return equalNoCase(each, value.substr(value.size() - letters)); });
        const auto number = readNumber(value.substr(0, value.size() - letters));
        if (name == names.end() || !number || (*number != -1 && (*number < 1 || *number > 5))) refuse();
        weekday_ = calendar::weekday(static_cast<unsigned>(name - names.begin()));
        ordinal_ = *number;
    }

    [[nodiscard]] std::optional<sys_days> dayIn(calendar::year year) const {
        if (weekday_ && ordinal_ < 0) return sys_days{year / month_ / (*weekday_)[calendar::last]};
        if (weekday_) {
            const auto date = year / month_ / (*weekday_)[static_cast<unsigned>(ordinal_)];
            return date.ok() ? std::optional(sys_days{date}) : std::nullopt;
        }
        const auto date = year / month_ / dayOfMonth_;
        return date.ok() ? std::optional(sys_days{date}) : std::nullopt;
    }

    [[noreturn]] void refuse() const {
        refuseLine(property_.line, fmt::format("the rule \"{}\" is not understood: an event may come back every year "
                                               "on its day, or on a weekday counted within a month",
                                               property_.value));
    }

    Property property_;
    year_month_day first_;
    calendar::month month_{};
    calendar::day dayOfMonth_{};
    std::optional<calendar::weekday> weekday_;
    int ordinal_ = 0;
    bool hasMonth_ = false, hasDay_ = false;
    int interval_ = 1;
    std::optional<int> count_;
    std::optional<sys_days> until_;
};

/// What an event's properties say.
class Event {
public:
    explicit Event(std::uint64_t line) : line_(line) {}

    void take(const Property& property) {
        if (property.is("DTSTART")) start_ = property;
        if (property.is("DTEND")) end_ = property;
        if (property.is("DURATION")) duration_ = property;
        if (property.is("SUMMARY")) summary_ = property.value;
        if (property.is("RRULE")) rule_ = property;
        if (property.is("EXDATE")) exceptions_.push_back(property);
        if (property.is("RDATE") || property.is("RECURRENCE-ID")) unknown_ = property;
        if (property.is("STATUS") && equalNoCase(property.value, "CANCELLED")) isCancelled_ = true;
    }

    void addTo(HolidayList& list) const {
        if (!start_) refuseLine(line_, "the event has no DTSTART");
        // A day with a time, or with none but a zone: no day of a calendar.
        const bool isTimed = start_->value.find('T') != std::string_view::npos;
        if (isTimed || isCancelled_) {
            ++list.passedOver;
            return;
        }
        if (unknown_) refuseLine(unknown_->line, fmt::format("{} of an event is not understood", unknown_->name));
        const sys_days first = requireDay(*start_, start_->value);
        const int length = days(first);
        std::vector<sys_days> starts{first};
        if (rule_) starts = YearlyRule(*rule_, first).days();
        for (const Property& exception : exceptions_) {
            forEachPart(exception.value, ',',
                        [&](std::string_view day) { std::erase(starts, requireDay(exception, day)); });
        }
        constexpr sys_days last = calendar::year{9999} / calendar::December / 31;
        for (const sys_days start : starts) {
            if (start + calendar::days{length - 1} > last) refuseLine(line_, "the event goes on beyond the year 9999");
            for (int i = 0; i < length; ++i)
                addHoliday(list,
                           {static_cast<std::int32_t>((start - epoch).count()) + i, 0, unescaped(summary_), line_});
        }
    }

private:
    [[nodiscard]] int days(sys_days first) const {
        if (duration_) return readDays(*duration_);
        if (!end_) return 1;
        const auto length = (requireDay(*end_, end_->value) - first).count();
        if (length < 0 || length > longestEvent) {
            refuseLine(end_->line, fmt::format("an event of {} days; it may have up to {}", length, longestEvent));
        }
        return std::max(1, static_cast<int>(length)); // the end is the day behind
    }

    std::uint64_t line_;
    std::optional<Property> start_, end_, duration_, rule_, unknown_;
    std::vector<Property> exceptions_;
    std::string_view summary_;
    bool isCancelled_ = false;
};

struct LogicalLine {
    std::string text;
    std::uint64_t line;
};

/// Lines that begin with a blank go on with the one before.
std::vector<LogicalLine> unfolded(const std::vector<std::string>& lines) {
    std::vector<LogicalLine> result;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string& line = lines[i];
        if (line.starts_with(' ') || line.starts_with('\t')) {
            if (result.empty()) refuseLine(i + 1, "nothing goes on here");
            result.back().text += line.substr(1);
        } else if (!line.empty()) {
            result.push_back({line, i + 1});
        }
    }
    return result;
}

} // namespace

HolidayList readCalendar(const std::vector<std::string>& lines) {
    HolidayList list;
    std::vector<std::string_view> open; // components within one another
    std::optional<Event> event;
    const auto logical = unfolded(lines);
    for (const auto& [text, line] : logical) {
        const Property property = readProperty(text, line);
        if (property.is("BEGIN")) {
            open.push_back(property.value);
            if (equalNoCase(property.value, "VEVENT")) event.emplace(line);
        } else if (property.is("END")) {
            if (open.empty() || !equalNoCase(open.back(), property.value)) {
                refuseLine(line, fmt::format("{} ends without having begun", property.value));
            }
            open.pop_back();
            if (event && equalNoCase(property.value, "VEVENT")) {
                event->addTo(list);
                event.reset();
            }
        } else if (event && equalNoCase(open.back(), "VEVENT")) {
            event->take(property);
        }
    }
    if (!open.empty()) refuseLine(lines.size(), fmt::format("the file ends before {} does", open.back()));
    return list;
}

} // namespace corveth::cli
