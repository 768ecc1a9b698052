#include "platform/desktop/clock.h"

#include "platform/desktop/replaceable.h"

#include <algorithm>
#include <cmath>
#include <ctime>

namespace corveth {

namespace {

Date systemClock() {
    const std::time_t seconds = std::time(nullptr);
    std::tm local{};
    localtime_r(&seconds, &local);
    return fromCivil({.year = local.tm_year + 1900,
                      .month = local.tm_mon + 1,
                      .day = local.tm_mday,
                      .hour = local.tm_hour,
                      .minute = local.tm_min,
                      .second = std::min(local.tm_sec, 59)}); // a leap second is 60
}

Replaceable<Date()>& clock() {
    static Replaceable<Date()> clock(systemClock);
    return clock;
}

} // namespace

Date now() {
    return clock()();
}

Date today() {
    return {std::trunc(now().day)};
}

Clock setClock(Clock replacement) {
    return clock().set(std::move(replacement));
}

} // namespace corveth
