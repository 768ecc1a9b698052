#pragma once

#include "cli/files.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace corveth::cli {

/// A day with working hours of its own.
struct Holiday {
    std::int32_t day = 0; ///< days since 1899-12-30
    int hours = 0;
    std::string name;
    std::uint64_t line = 0; ///< of the file
};

struct HolidayList {
    std::map<std::int32_t, Holiday> days; ///< by their numbers
    std::size_t passedOver = 0; ///< entries that stand for no day of their own: events with times, days named before
};

/// Reads comma-separated values (date, name, hours; the hours are 0 where there are none) or, where the file begins as
/// one, an iCalendar's all-day events. 5 that names the line for what cannot be understood.
HolidayList readHolidays(InputFile& file);

// The two kinds of files, from their lines without their ends; the first line is 1.
HolidayList readCommaSeparated(const std::vector<std::string>& lines);
HolidayList readCalendar(const std::vector<std::string>& lines);

/// 5 that names the line.
[[noreturn]] void refuseLine(std::uint64_t line, const std::string& why);
/// Puts the day into the list. One that is there with the same hours is passed over, with others it is refused.
void addHoliday(HolidayList& list, const Holiday& holiday);

} // namespace corveth::cli
