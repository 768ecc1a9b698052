// Files of holidays: a file is refused with a sentence that names a line of it, or its days are days of the calendar,
// which read the same once they are written as comma-separated values.

#include "support.h"

#include "cli/holiday_file.h"
#include "common/late_bound.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <optional>

using namespace corveth;
using cli::HolidayList;
using fuzz::require;
using Lines = std::vector<std::string>;

namespace {

constexpr std::chrono::sys_days epoch = std::chrono::year{1899} / std::chrono::December / 30;

Lines linesOf(TextView text) {
    Lines lines;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// Nothing for a file that is refused.
std::optional<HolidayList> readWith(HolidayList (*read)(const Lines&), const Lines& lines) {
    try {
        return read(lines);
    } catch (const client::Failure& failure) {
        const TextView words = failure.what();
        const auto start = words.find("line ") + 5;
        std::uint64_t line = 0;
        const auto [end, error] = std::from_chars(words.data() + start, words.data() + words.size(), line);
        require(error == std::errc() && *end == ':' && line >= 1 && line <= lines.size(), "a line of the file", words);
        return std::nullopt;
    }
}

void check(const HolidayList& list) {
    Lines written;
    for (const auto& [day, holiday] : list.days) {
        const std::chrono::year_month_day date{epoch + std::chrono::days{day}};
        const int year = static_cast<int>(date.year());
        require(day == holiday.day && year >= 100 && year <= 9999, "a day of the calendar");
        require(holiday.hours >= 0 && holiday.hours <= 24, "hours of a day");
        std::string name;
        for (const char c : holiday.name)
            name += c == '"' ? std::string("\"\"") : std::string(1, c);
        written.push_back(fmt::format("{:04}-{:02}-{:02},\"{}\",{}", year, static_cast<unsigned>(date.month()),
                                      static_cast<unsigned>(date.day()), name, holiday.hours));
    }
    const auto again = readWith(cli::readCommaSeparated, written);
    require(again && again->days.size() == list.days.size() && again->passedOver == 0, "as many days");
    for (const auto& [day, holiday] : again->days) {
        const auto& first = list.days.at(day);
        require(holiday.hours == first.hours && holiday.name == first.name, "the same day", holiday.name);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Lines lines = linesOf(fuzz::textOf(data, size));
    for (const auto read : {cli::readCommaSeparated, cli::readCalendar}) {
        if (const auto list = readWith(read, lines)) check(*list);
    }
    return 0;
}
