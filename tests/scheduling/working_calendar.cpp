#include "scheduling/working_calendar.h"

#include "platform/automation/convert.h"
#include "platform/outcome.h"

#include <cmath>
#include <gtest/gtest.h>

#include <random>

namespace corveth {
namespace {

using test::outcome;

/// Of a day with hours of its own.
struct Row {
    Value day, hours;
};
using Rows = std::vector<Row>;

Date day(TextView text) {
    return parseDate(text);
}

double number(TextView text) {
    return day(text).day;
}

using Week = std::array<Value, 7>;

const Week officeWeek = {0.0, 8.0, 8.0, 8.0, 8.0, 8.0, 0.0};

WorkingCalendar calendarOf(const Week& week, const Rows& rows, Text name = "the calendar") {
    WorkingCalendar::Week hours;
    std::ranges::copy(week, hours.begin());
    std::vector<ExceptionDay> exceptions;
    for (const Row& row : rows)
        exceptions.emplace_back(row.day, row.hours);
    return {std::move(name), hours, std::move(exceptions)};
}

WorkingCalendar office(const Rows& exceptions = {}) {
    return calendarOf(officeWeek, exceptions);
}

// 2024-01-01 is a Monday.
const Rows someExceptions = {
    {number("2024-01-03"), 0.0},                       // a Wednesday
    {number("2024-01-06"), 4.0},                       // a Saturday
    {number("2024-01-03"), 5.0},                       // too late: the day has a row
    {Null{}, "no hours"},                              // no day
    {number("2024-01-04 12:00"), Null{}},              // not the day at midnight
    {Text(std::to_string(number("2024-01-08"))), "3"}, // texts that read as numbers
};

TEST(WorkingCalendarTest, AddsHours) {
    const struct {
        const char* name;
        Rows exceptions;
        const char* start;
        std::int16_t hours;
        const char* expected;
    } cases[] = {
        {"over a weekend", {}, "2024-01-05", 16, "2024-01-08"},
        {"the first day is enough", {}, "2024-01-05", 8, "2024-01-05"},
        {"an hour more", {}, "2024-01-05", 9, "2024-01-08"},
        {"none", {}, "2024-01-06", 0, "2024-01-06"},
        {"fewer than none", {}, "2024-01-06", -1, "2024-01-06"},
        {"from a day without hours", {}, "2024-01-06", 1, "2024-01-08"},
        {"the time of day stays", {}, "2024-01-05 09:30", 16, "2024-01-08 09:30:00"},
        {"a holiday is passed over", someExceptions, "2024-01-02", 16, "2024-01-04"},
        {"not at another time of day", someExceptions, "2024-01-02 09:00", 16, "2024-01-03 09:00:00"},
        {"a Saturday counts", someExceptions, "2024-01-05", 12, "2024-01-06"},
        {"a short Monday", someExceptions, "2024-01-05", 16, "2024-01-09"},
        {"at a time that the day has no hours for", someExceptions, "2024-01-04 12:00", 1,
         "error 94: Invalid use of Null"},
        {"all that fits", {}, "2024-01-01", 32760, "2039-09-09"},
        {"a sum beyond", {}, "2024-01-01", 32761, "error 6: Overflow: 32768 working hours"},
        {"a day beyond all",
         {{number("2024-01-02"), 32767.0}},
         "2024-01-01",
         9,
         "error 6: Overflow: 32775 working hours"},
        {"to the last day there is", {}, "9999-12-31", 8, "9999-12-31"},
        {"beyond it",
         {},
         "9999-12-31",
         9,
         "error 6: Overflow: the day number 2958466 is outside 0100-01-01 to 9999-12-31"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(outcome([&] { return toText(office(row.exceptions).add(day(row.start), row.hours)); }), row.expected);
    }
}

TEST(WorkingCalendarTest, CountsHoursBetweenDays) {
    const struct {
        const char* name;
        Rows exceptions;
        const char* start;
        const char* end;
        bool includeEnd;
        const char* expected;
    } cases[] = {
        {"a day with itself", {}, "2024-01-05", "2024-01-05", true, "8"},
        {"without it", {}, "2024-01-05", "2024-01-05", false, "0"},
        {"a week", {}, "2024-01-01", "2024-01-07", true, "40"},
        {"backwards without the later day", {}, "2024-01-05", "2024-01-01", false, "-32"},
        {"backwards with it", {}, "2024-01-05", "2024-01-01", true, "-40"},
        {"with exceptions", someExceptions, "2024-01-01", "2024-01-08", true, "39"},
        {"a later time of day counts its own day", {}, "2024-01-01 09:00", "2024-01-02 10:00", false, "16"},
        {"an earlier one does not", {}, "2024-01-01 09:00", "2024-01-02 08:00", false, "8"},
        {"as much as fits", {}, "2024-01-01", "2039-09-09", true, "32760"},
        {"more than fits", {}, "2024-01-01", "2039-09-12", true, "error 6: Overflow: 32768 working hours"},
        {"down to the last that fits", {}, "2039-09-12", "2024-01-01", true, "-32768"},
        {"the last day there is", {}, "9999-12-31", "9999-12-31", false, "0"},
        {"with it",
         {},
         "9999-12-30",
         "9999-12-31",
         true,
         "error 6: Overflow: the day number 2958466 is outside 0100-01-01 to 9999-12-31"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(outcome([&] { return office(row.exceptions).between(day(row.start), day(row.end), row.includeEnd); }),
                  row.expected);
    }
}

TEST(WorkingCalendarTest, WhatIsNoCountOfHoursFailsOnTheDayThatHasIt) {
    const struct {
        Value hours;
        const char* expected;
    } cases[] = {
        {Null{}, "error 94: Invalid use of Null"},
        {40000.0, "error 6: Overflow: 40000 is not between -32768 and 32767"},
        {"eight", "error 13: Type mismatch: \"eight\""},
        {7.5, "8"}, // to the even neighbour
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.expected);
        Week week = officeWeek;
        week[3] = row.hours; // Wednesday
        const WorkingCalendar byWeekday = calendarOf(week, {{number("2024-01-10"), 1.0}});
        const WorkingCalendar byException = office({{number("2024-01-03"), row.hours}});
        for (const auto* calendar : {&byWeekday, &byException}) {
            EXPECT_EQ(outcome([&] { return calendar->between(day("2024-01-01"), day("2024-01-02"), true); }), "16");
            EXPECT_EQ(outcome([&] { return calendar->between(day("2024-01-03"), day("2024-01-03"), true); }),
                      row.expected);
        }
        if (row.expected[0] == 'e') {
            // The exception does not stand for a weekday without hours.
            EXPECT_EQ(outcome([&] { return byWeekday.hoursOf(day("2024-01-10")); }), row.expected);
        }
    }
}

TEST(WorkingCalendarTest, GivesUpAfterTenYearsWithoutHours) {
    const auto closed = [](int days) {
        Rows rows;
        for (int i = 0; i < days; ++i)
            rows.push_back({number("2024-01-01") + i, 0.0});
        return rows;
    };
    const Week none = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    const WorkingCalendar never = calendarOf(none, {}, "the default calendar");
    EXPECT_EQ(outcome([&] { return toText(never.add(day("2024-01-01"), 1)); }),
              "error 6: Overflow: the default calendar has no working hours in the ten years up to 2033-12-31");
    const WorkingCalendar once = calendarOf(none, {{number("2033-12-31"), 1.0}});
    EXPECT_EQ(outcome([&] { return toText(once.add(day("2024-01-01"), 1)); }), "2033-12-31");
    EXPECT_EQ(outcome([&] { return toText(office(closed(3652)).add(day("2024-01-01"), 1)); }),
              "error 6: Overflow: the calendar has no working hours in the ten years up to 2033-12-31")
        << "the last of them is a Saturday behind the exceptions";
    EXPECT_EQ(outcome([&] { return toText(office(closed(3651)).add(day("2024-01-01"), 1)); }), "2033-12-30");
}

/// The rules word by word: day by day, each looked for among the rows from the first one on.
class DayByDay {
public:
    DayByDay(Week week, Rows rows) : week_(std::move(week)), rows_(std::move(rows)) {}

    [[nodiscard]] std::int16_t hoursOf(Date day) const {
        std::int16_t hours = toInteger(week_[static_cast<std::size_t>(weekday(day) - 1)]);
        for (const Row& row : rows_) {
            if (row.day.isNull() || toDouble(row.day) != day.day) continue;
            hours = toInteger(row.hours);
            break;
        }
        return hours;
    }
    [[nodiscard]] Date add(Date start, std::int16_t hours) const {
        Date day = start;
        std::int16_t count = 0;
        for (int pause = 0; count < hours;) {
            const std::int16_t more = hoursOf(day);
            count = sum(count, more);
            if (count >= hours) break;
            pause = more == 0 ? pause + 1 : 0;
            if (pause == WorkingCalendar::longestPause) raise(errors::overflow);
            day = checkedDate(day.day + 1);
        }
        return day;
    }
    [[nodiscard]] std::int16_t between(Date start, Date end, bool includeEnd) const {
        const bool isReversed = start > end;
        if (isReversed) std::swap(start, end);
        const Date stop = checkedDate(end.day + (includeEnd ? 1 : 0));
        std::int16_t total = 0;
        for (Date day = start; stop > day;) {
            const std::int16_t hours = hoursOf(day);
            day = checkedDate(day.day + 1);
            total = isReversed ? sum(total, -hours) : sum(total, hours);
        }
        return total;
    }

private:
    static std::int16_t sum(int a, int b) { return toInteger(Value(std::int32_t{a + b})); }

    Week week_;
    Rows rows_;
};

/// Which of both it came to: an error's number, or a value.
template <class Operation>
std::pair<std::int32_t, double> resultOf(const Operation& operation) {
    try {
        return {0, static_cast<double>(operation())};
    } catch (const Error& error) {
        return {error.number, 0};
    }
}

TEST(WorkingCalendarTest, DaysFollowOneAnotherByOneMoreEachTime) {
    const struct {
        const char* name;
        double start, end;
    } cases[] = {
        {"the day 0 comes twice, before it and after", -2.25, 6},
        {"a moment that one more day takes away", -1e-20, 3},
        {"the last moment before day 1", std::nextafter(1, 0), 5},
        {"an end that a difference rounds to whole days", -5, std::nextafter(3, 4)},
        {"a digit of the time is lost at a power of two", 32767.1, 32770.1},
        {"and at several", 1.1, 32770.1},
        {"there is no day behind the last", 2958465.25, 2958465.5},
        {"the first", -657434.75, -657430},
    };
    const Week week = {1.0, 2.0, 4.0, 8.0, 16.0, 32.0, 64.0};
    for (const auto& row : cases) {
        Rows rows;
        double day = row.start;
        for (int i = 0; i < 10 && day < row.end; ++i, day += 1)
            rows.push_back({day, 3.0});
        for (const Rows& exceptions : {Rows(), rows}) {
            SCOPED_TRACE(row.name);
            const WorkingCalendar calendar = calendarOf(week, exceptions);
            const DayByDay expected(week, exceptions);
            EXPECT_EQ(resultOf([&] { return calendar.between({row.start}, {row.end}, false); }),
                      resultOf([&] { return expected.between({row.start}, {row.end}, false); }));
            EXPECT_EQ(resultOf([&] { return calendar.add({row.start}, 200).day; }),
                      resultOf([&] { return expected.add({row.start}, 200).day; }));
        }
    }
}

/// Calendars and days as they come, and as they should not.
class Chance {
public:
    explicit Chance(unsigned seed) : random_(seed) {}

    int upTo(int most) { return std::uniform_int_distribution(0, most)(random_); }
    bool isOneIn(int many) { return upTo(many - 1) == 0; }

    Value hours() {
        if (isOneIn(400)) return Null{};
        if (isOneIn(400)) return "no hours";
        if (isOneIn(400)) return 40000.0;
        if (isOneIn(60)) return -static_cast<double>(upTo(9));
        if (isOneIn(60)) return 20000.0;
        if (isOneIn(10)) return upTo(48) / 2.0;
        return static_cast<double>(isOneIn(3) ? 0 : upTo(12));
    }
    Week week() {
        Week week = officeWeek;
        if (isOneIn(10)) return {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
        if (isOneIn(3)) {
            for (Value& day : week)
                day = hours();
        }
        return week;
    }
    /// Around the days where sums are rounded, and the ends of the calendar.
    double start() {
        constexpr double origins[] = {45292, 32000, 65000, 0, -3, 1, -40000, -657434, 2957765};
        const double whole = origins[upTo(8)] + upTo(isOneIn(2) ? 12 : 700);
        if (!isOneIn(3)) return whole;
        const double time = isOneIn(2) ? upTo(95) / 96.0 : std::generate_canonical<double, 53>(random_);
        return whole < 0 ? whole - time : whole + time;
    }
    Rows exceptions(double from) {
        Rows rows;
        const int count = isOneIn(4) ? 0 : isOneIn(200) ? 700 : upTo(40);
        double day = from - 10;
        for (int i = 0; i < count; ++i) {
            day += isOneIn(8) ? -upTo(30) : upTo(isOneIn(3) ? 60 : 3);
            const double at = isOneIn(12) ? std::trunc(day) : isOneIn(30) ? day + 0.25 : day;
            Value value = at;
            if (isOneIn(100)) value = Null{};
            if (isOneIn(1500)) value = "no day";
            rows.push_back({value, count > 600 ? Value(0.0) : hours()});
        }
        return rows;
    }

private:
    std::mt19937 random_;
};

TEST(WorkingCalendarTest, IsWhatCountingDayByDayGives) {
    constexpr unsigned calendars = 400;
    int values = 0, failures = 0;
    for (unsigned seed = 0; seed < calendars; ++seed) {
        SCOPED_TRACE(seed);
        Chance chance(seed);
        const Date from{chance.start()};
        const auto week = chance.week();
        const Rows rows = chance.exceptions(from.day);
        const DayByDay expected(week, rows);
        const WorkingCalendar calendar = calendarOf(week, rows);

        const auto compare = [&](const auto& operation) {
            const auto result = resultOf([&] { return operation(calendar); });
            (result.first == 0 ? values : failures) += 1;
            EXPECT_EQ(result, resultOf([&] { return operation(expected); }));
        };
        for (const int most : {20, 400, 40000}) {
            const auto hours = static_cast<std::int16_t>(std::min(chance.upTo(most), 32767));
            SCOPED_TRACE(fmt::format("{} hours from {}", hours, from.day));
            compare([&](const auto& way) { return way.add(from, hours).day; });
        }
        for (const int most : {20, 400, 2500}) {
            constexpr double lastDay = 2958465;
            Date to{std::min(from.day + chance.upTo(most) + (chance.isOneIn(4) ? 0.5 : 0.0), lastDay)};
            Date first = from;
            if (chance.isOneIn(3)) std::swap(first, to);
            SCOPED_TRACE(fmt::format("from {} to {}", first.day, to.day));
            for (const bool includeEnd : {false, true})
                compare([&](const auto& way) { return way.between(first, to, includeEnd); });
        }
    }
    EXPECT_GT(failures, 100);
    EXPECT_GT(values, 1000);
}

} // namespace
} // namespace corveth
