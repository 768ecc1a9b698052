#include "platform/automation/date.h"

#include "platform/outcome.h"

#include <climits>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

using namespace corveth;
using corveth::test::errorOf;
using corveth::test::outcome;

namespace {

using namespace std::string_literals;

constexpr double firstDay = -657434;
constexpr double lastDay = 2958465;

TEST(Date, AsText) {
    struct Row {
        double given;
        const char* expected;
    };
    const Row rows[] = {
        {0, "00:00:00"},
        {-0.0, "00:00:00"},
        {0.25, "06:00:00"},
        {-0.25, "06:00:00"},
        {1, "1899-12-31"},
        {-1, "1899-12-29"},
        {-1.25, "1899-12-29 06:00:00"},
        {39128, "2007-02-15"},
        {39128.5006944444, "2007-02-15 12:01:00"},
        {39128 + 0.25 / 86400, "2007-02-15 00:00:00.250"},
        {39128.999999999, "2007-02-16"},
        {0.9999999999, "1899-12-31"},
        {-0.9999999999, "1899-12-31"},
        {-1.9999999999, "00:00:00"},
        {firstDay, "0100-01-01"},
        {firstDay - 0.5, "0100-01-01 12:00:00"},
        {lastDay, "9999-12-31"},
        {lastDay + 0.999999999, "9999-12-31 23:59:59.999"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(outcome([&] { return toText(Date{row.given}); }), row.expected) << row.given;
}

TEST(Date, DayNumbersOutsideTheCalendarOverflow) {
    const double outside[] = {firstDay - 1,
                              lastDay + 1,
                              1e300,
                              -1e300,
                              std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()};
    for (const double day : outside) {
        const Date date{day};
        EXPECT_EQ(errorOf([&] { return checkedDate(day); }), errors::overflow) << day;
        EXPECT_EQ(errorOf([&] { return toCivil(date); }), errors::overflow) << day;
        EXPECT_EQ(errorOf([&] { return toText(date); }), errors::overflow) << day;
        EXPECT_EQ(errorOf([&] { return weekday(date); }), errors::overflow) << day;
        EXPECT_EQ(errorOf([&] { return addMonths(date, 1); }), errors::overflow) << day;
        EXPECT_EQ(errorOf([&] { return toDate(Value(day)); }), errors::overflow) << day;
    }
}

TEST(Date, FromText) {
    struct Row {
        Text given;
        const char* expected;
    };
    const Row rows[] = {
        {"2007-02-13", "2007-02-13"},
        {" 2007-02-13  ", "2007-02-13"},
        {"2007-02-13 14:05:09", "2007-02-13 14:05:09"},
        {"2007-02-13T14:05", "2007-02-13 14:05:00"},
        {"2007-02-13 14:05:09.250", "2007-02-13 14:05:09.250"},
        {"2/13/2007", "2007-02-13"},
        {"02/03/2007", "2007-02-03"},
        {"2/13/2007 2:05 PM", "2007-02-13 14:05:00"},
        {"2/13/2007 2:05pm", "2007-02-13 14:05:00"},
        {"13-Feb-2007", "2007-02-13"},
        {"13 feb 2007 12:05 AM", "2007-02-13 00:05:00"},
        {"FEB 3, 2007 12:05 PM", "2007-02-03 12:05:00"},
        {"29-Feb-2000", "2000-02-29"},
        {"0100-01-01", "0100-01-01"},
        {"9999-12-31 23:59:59", "9999-12-31 23:59:59"},
        {"1899-12-29 06:00", "1899-12-29 06:00:00"},
        {"1899-12-30", "00:00:00"},
        {"14:05", "14:05:00"},
        {"0:00:00", "00:00:00"},
        {"11:59:59 PM", "23:59:59"},
        {"39128", "2007-02-15"},
        {"39128.5006944444", "2007-02-15 12:01:00"},
        {"10.5", "1900-01-09 12:00:00"},
        {"-1.25", "1899-12-29 06:00:00"},
        {"4.16666666666667E-02", "01:00:00"},
        {"2007", "1905-06-29"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(outcome([&] { return toText(toDate(Value(row.given))); }), row.expected) << inQuotes(row.given);
    // Month and day are never swapped, years have four digits.
    const std::vector<Text> otherForms = {"13/2/2007",        "2/13/07",     "13-Feb-07",        "2/13",
                                          "13-2-2007",        "2007/02/13",  "2007-2-13",        "Feb 13 2007",
                                          "13-February-2007", "13-Foo-2007", "Tue, Feb 13, 2007"};
    const std::vector<Text> noSuchTimes = {"2007-02-29",          "1900-02-29", "2007-04-31",       "2007-13-01",
                                           "2007-00-10",          "0099-12-31", "2007-02-13 24:00", "2007-02-13 23:60",
                                           "2007-02-13 23:59:60", "13:05 PM",   "0:05 AM"};
    const std::vector<Text> almost = {"2007-02-13T",
                                      "2/13/2007T14:05",
                                      "2007-02-13 14:05Z",
                                      "2007-02-13 14:05:09.25",
                                      "2007-02-13 14:5",
                                      "2007-02-13 14",
                                      "2007-02-1314:05",
                                      "2 PM",
                                      "2007-02-13x",
                                      "2007-02-13\0"s,
                                      "1,234",
                                      "&H10",
                                      "1e10",
                                      "2958466",
                                      "",
                                      " ",
                                      "now"};
    for (const auto* refused : {&otherForms, &noSuchTimes, &almost}) {
        for (const Text& text : *refused)
            EXPECT_EQ(outcome([&] { return toText(toDate(Value(text))); }),
                      "error 13: Type mismatch: " + inQuotes(text));
    }
}

TEST(Date, CivilDaysAndTimesThatDoNotExistAreRefused) {
    const CivilTime wrong[] = {
        {2007, 2, 29},   {2007, 0, 1},       {2007, 13, 1},         {2007, 1, 0},           {99, 12, 31},
        {10000, 1, 1},   {2007, 1, 1, 24},   {2007, 1, 1, 0, 60},   {2007, 1, 1, 0, 0, -1}, {2007, 1, 1, 0, 0, 0, 1000},
        {INT_MIN, 1, 1}, {2007, INT_MAX, 1}, {2007, 1, 1, INT_MAX},
    };
    for (const CivilTime& civil : wrong) {
        EXPECT_EQ(errorOf([&] { return fromCivil(civil); }), errors::invalidCall)
            << civil.year << ' ' << civil.month << ' ' << civil.day;
    }
}

// Days, times and texts lead back to where they came from, on both sides of day 0.
TEST(Date, RoundTrips) {
    std::mt19937_64 random(18991230);
    std::uniform_int_distribution<std::int64_t> day(static_cast<int>(firstDay), static_cast<int>(lastDay));
    std::uniform_int_distribution<std::int64_t> milliseconds(0, 86'399'999);
    for (int i = 0; i < 20'000; ++i) {
        const std::int64_t whole = day(random);
        const double fraction = static_cast<double>(milliseconds(random)) / 86'400'000.0;
        const Date date{static_cast<double>(whole) + (whole < 0 ? -fraction : fraction)};

        const Date back = fromCivil(toCivil(date, true));
        ASSERT_NEAR(back.day, date.day, 1e-8);
        ASSERT_EQ(fromCivil(toCivil(back, true)), back);
        ASSERT_EQ(parseDate(toText(back)), back) << toText(back);
        ASSERT_EQ(weekday(Date{static_cast<double>(whole)}), weekday(date));
    }
    for (double d = firstDay; d < firstDay + 1000; ++d) {
        ASSERT_EQ(weekday(Date{d + 1}), weekday(Date{d}) % 7 + 1) << d;
    }
}

TEST(Date, Weekday) {
    struct Row {
        const char* given;
        int expected;
    };
    const Row rows[] = {{"2007-02-11", 1}, {"2007-02-17", 7},       {"1899-12-30 12:00", 7},
                        {"1899-12-24", 1}, {"1899-12-23 18:00", 7}, {"2000-02-29", 3}};
    for (const Row& row : rows)
        EXPECT_EQ(weekday(parseDate(row.given)), row.expected) << row.given;
}

TEST(Date, AddMonthsClipsToTheMonthsEnd) {
    struct Row {
        const char* given;
        int months;
        const char* expected;
    };
    const Row rows[] = {
        {"2007-01-31", 1, "2007-02-28"},
        {"2008-01-31", 1, "2008-02-29"},
        {"2008-02-29", 12, "2009-02-28"},
        {"2007-03-31 06:30:00", -1, "2007-02-28 06:30:00"},
        {"2007-01-15", -1, "2006-12-15"},
        {"2007-12-15", 1, "2008-01-15"},
        {"1900-01-05 06:00:00", -2, "1899-11-05 06:00:00"},
        {"1899-11-05 06:00:00", 2, "1900-01-05 06:00:00"},
        {"1.9999999999999998", -1, "1899-12-01"}, // the last moment of November, before the first day
        {"0100-01-31", -1, "error 5: Invalid procedure call or argument: -1 months from 0100-01-31"},
        {"9999-12-01", 1, "error 5: Invalid procedure call or argument: 1 months from 9999-12-01"},
        {"2007-01-01", INT_MIN, "error 5: Invalid procedure call or argument: -2147483648 months from 2007-01-01"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(outcome([&] { return toText(addMonths(parseDate(row.given), row.months)); }), row.expected)
            << row.given;
    }
}

TEST(Date, ClockText) {
    struct Row {
        const char* given;
        const char* expected;
    };
    const Row rows[] = {
        {"0:05", "12:05 AM"},
        {"14:05", "02:05 PM"},
        {"12:00", "12:00 PM"},
        {"11:59:59", "11:59 AM"},
        {"11:59:59.600", "12:00 PM"},
        {"2007-02-13 23:59:59.600", "12:00 AM"},
        {"1899-12-01 09:30", "09:30 AM"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(toClockText(parseDate(row.given)), row.expected) << row.given;
}

} // namespace
