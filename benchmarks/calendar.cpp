#include "operations.h"

#include "scheduling/calendar_functions.h"

#include <stdexcept>

namespace corveth::bench {

namespace {

constexpr int calls = 100;
constexpr double tenYears = 3652;
constexpr std::int16_t manyHours = 20'000;

/// The classes count hours, the raw side reads what they read and counts nothing.
template <class Call>
Pair beside(World& world, const Call& call) {
    auto raw = std::make_shared<RawHours>();
    return {calls,
            {{},
             [=] {
                 for (int i = 0; i < calls; ++i) {
                     if (!call()) throw std::runtime_error("the calendar has no hours");
                 }
                 return std::size_t{calls};
             }},
            {{}, [=, &world] {
                 for (int i = 0; i < calls; ++i) {
                     world.rawCalendar().read(RawCalendar::project, *raw);
                     if (raw->exceptions.size() != RawCalendar::exceptions || raw->week[1] <= 0) {
                         throw std::runtime_error("the calendar was not read");
                     }
                 }
                 return std::size_t{calls};
             }}};
}

} // namespace

Pair hoursOfTenYears(World& world) {
    return beside(world, [start = Date{RawCalendar::firstDay}, key = Text(RawCalendar::project)] {
        return WorkingHoursBetween(start, {start.day + tenYears}, key, true) > 0;
    });
}

Pair addManyHours(World& world) {
    return beside(world, [start = Date{RawCalendar::firstDay}, key = Text(RawCalendar::project)] {
        return !AddWorkingHours(start, manyHours, key).empty();
    });
}

} // namespace corveth::bench
