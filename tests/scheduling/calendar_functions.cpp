#include "scheduling/calendar_functions.h"

#include "platform/automation/convert.h"
#include "platform/desktop/clock.h"
#include "platform/outcome.h"
#include "support/fixture.h"

#include <gtest/gtest.h>

namespace corveth {
namespace {

using test::outcome;

constexpr const char* openPattern = "open|Select * From WorkingHours Where ProjectId=\"PT00000001\"";
constexpr const char* openExceptions = "open|Select * From Holidays Where Projectid=\"PT00000001\"";
constexpr const char* openDefaultPattern = "open|Select * From WorkingHours Where ProjectId='' Or ProjectId is Null";
constexpr const char* openDefaultExceptions = "open|Select * From Holidays Where Projectid='' or ProjectId is Null";

// 2024-01-01 is a Monday. A new database has a default calendar of Monday to Friday, 8 hours.
class CalendarFunctionsTest : public test::DatabaseTest {
protected:
    void TearDown() override {
        setClock({});
        DatabaseTest::TearDown();
    }
    void addPattern(const char* project, int hours) {
        sql(fmt::format("Insert Into WorkingHours Values ('W{0}', {1}, {1}, {1}, {1}, {1}, {1}, {1}, {2})", hours,
                        hours, project));
    }
    void addException(TextView day, int hours, const char* project) {
        sql(fmt::format("Insert Into Holidays (excDate, WorkingHour, ProjectId) Values ({}, {}, {})",
                        plainDecimal(parseDate(day).day), hours, project));
    }
    static Text between(TextView start, TextView end, const Text& key = "PT00000001") {
        return outcome([&] { return WorkingHoursBetween(parseDate(start), parseDate(end), key, true); });
    }
    static Text add(TextView start, std::int16_t hours, const Text& key = "PT00000001") {
        return outcome([&] { return AddWorkingHours(parseDate(start), hours, key); });
    }
};

TEST_P(CalendarFunctionsTest, PatternAndExceptionsAreEachTheDefaultOnesWhereAProjectHasNone) {
    addException("2024-01-02", 1, "Null");
    addException("2024-01-03", 2, "''");
    const auto expect = [&](const char* hours, const Text& key, const std::vector<Text>& sent) {
        statements();
        EXPECT_EQ(between("2024-01-01", "2024-01-03", key), hours);
        EXPECT_EQ(statements(), sent);
    };
    expect("11", "", {openDefaultPattern, openDefaultExceptions});
    expect("11", "PT00000001", {openPattern, openExceptions, openDefaultPattern, openDefaultExceptions});
    addPattern("'PT00000001'", 4);
    expect("7", "PT00000001", {openPattern, openExceptions, openDefaultExceptions});
    addException("2024-01-03", 3, "'PT00000001'");
    expect("11", "pt00000001",
           {"open|Select * From WorkingHours Where ProjectId=\"pt00000001\"",
            "open|Select * From Holidays Where Projectid=\"pt00000001\""}); // 4 + 4 + 3
    sql("Delete From WorkingHours Where ProjectId='PT00000001'");
    expect("19", "PT00000001", {openPattern, openExceptions, openDefaultPattern}); // 8 + 8 + 3
    sql("Delete From Holidays");
    expect("24", "", {openDefaultPattern, openDefaultExceptions, openDefaultExceptions});
}

TEST_P(CalendarFunctionsTest, WithoutAnyPatternThereAreNoHoursAndNoDay) {
    sql("Delete From WorkingHours");
    addException("2024-01-01", 5, "Null");
    EXPECT_EQ(between("2024-01-01", "2024-01-03"), "0");
    EXPECT_EQ(add("2024-01-01", 8), "");
    EXPECT_EQ(toText(NextWorkingDay(parseDate("2024-01-01"), "")), "");
    addPattern("'PT00000002'", 4); // another project's
    EXPECT_EQ(add("2024-01-01", 0), "");
}

TEST_P(CalendarFunctionsTest, DaysAreText) {
    addException("2024-01-01", 0, "Null");
    EXPECT_EQ(add("2023-12-29 09:30", 16), "2024-01-01 09:30:00") << "the holiday has no time of day";
    EXPECT_EQ(add("2023-12-29", 16), "2024-01-02");
    const Value next = NextWorkingDay(parseDate("2023-12-30"), "PT00000001");
    ASSERT_TRUE(next.is(ValueType::text));
    EXPECT_EQ(toText(next), "2024-01-02");
    sql("Update WorkingHours Set Monday=0, Tuesday=0, Wednesday=0, Thursday=0, Friday=0");
    EXPECT_EQ(add("2023-12-30", 1), "error 6: Overflow: the calendar of PT00000001 has no working hours in the ten "
                                    "years up to 2033-12-29");
}

TEST_P(CalendarFunctionsTest, AWeekdayIsToldByItsPlaceInTheRow) {
    sql("Update WorkingHours Set Sunday=1, Monday=2, Tuesday=3, Wednesday=4, Thursday=5, Friday=6, Saturday=Null");
    const char* expected[] = {"2", "3", "4", "5", "6", "error 94: Invalid use of Null", "1"};
    for (int i = 0; i < 7; ++i) {
        const Text day = toText(Date{parseDate("2024-01-01").day + i});
        EXPECT_EQ(between(day, day), expected[i]) << day;
    }
    addException("2024-01-02", 0, "Null");
    sql("Update Holidays Set WorkingHour=Null");
    EXPECT_EQ(between("2024-01-01", "2024-01-01"), "2");
    EXPECT_EQ(between("2024-01-02", "2024-01-02"), "error 94: Invalid use of Null");
    sql("Update Holidays Set excDate=Null");
    EXPECT_EQ(between("2024-01-02", "2024-01-02"), "3");
}

TEST_P(CalendarFunctionsTest, WhatRemainsIsCountedFromTodayOn) {
    setClock([] { return parseDate("2024-01-03 15:00"); }); // a Wednesday
    addPattern("'PT00000001'", 4);
    const struct {
        const char* name;
        Value plannedStart, plannedFinish, actualStart, actualFinish;
        const char* expected;
    } cases[] = {
        {"in the future", "2024-01-08", "2024-01-09", "", "", "8"},
        {"has begun", "2024-01-01", "2024-01-04", "", "", "8"},
        {"ends today", "2024-01-01", "2024-01-03", "", "", "4"},
        {"is over", "2024-01-01", "2024-01-02", "", "", "0"},
        {"the actual start is the one", "2024-01-01", "2024-01-05", "2024-01-05", "", "4"},
        {"the actual finish is the one", "2024-01-01", "2024-01-31", "", "2024-01-04", "8"},
        {"the other way round", "2024-02-02", "2024-02-01", "", "", "0"},
        {"empty is no text either", "2024-01-01", "2024-01-04", Value(), Null{}, "8"},
        {"no start", "", "2024-01-04", "", "", "error 13: Type mismatch: \"\""},
        {"no finish", "2024-01-01", "soon", "", "", "error 13: Type mismatch: \"soon\""},
        {"Null", "2024-01-01", Null{}, "", "", "error 94: Invalid use of Null"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(outcome([&] {
                      return RemainingWorkingHours(row.plannedStart, row.plannedFinish, row.actualStart,
                                                   row.actualFinish, "PT00000001");
                  }),
                  row.expected)
            << row.name;
    }
}

TEST_P(CalendarFunctionsTest, AKeyThatWouldEndItsQuotesIsRefused) {
    test::expectFailure({errors::invalidCall}, [] { static_cast<void>(AddWorkingHours(Date{1}, 1, "a\" Or 1=1")); });
}

CORVETH_ON_EVERY_ENGINE(CalendarFunctionsTest);

} // namespace
} // namespace corveth
