#include "platform/automation/currency.h"

#include "platform/automation/error.h"
#include "platform/automation/number_text.h"

#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace corveth {

namespace {

constexpr int decimals = 4;

} // namespace

Currency toCurrency(double value) {
    const double scaled = value * static_cast<double>(Currency::scale);
    // The largest amount is 2^63 - 1 units, which no double is; so the bound itself is outside.
    constexpr double bound = 9223372036854775808.0;
    if (!(std::fabs(scaled) < bound)) raise(errors::overflow, fmt::format("{} as Currency", value));
    // The remainder by 1 is exact and halves go to even, whatever the rounding mode of the host is.
    return {static_cast<std::int64_t>(scaled - std::remainder(scaled, 1.0))};
}

double toDouble(Currency value) noexcept {
    return static_cast<double>(value.scaled) / static_cast<double>(Currency::scale);
}

Currency parseCurrency(TextView text) {
    const auto number = Decimal::readPlain(text);
    if (!number) raise(errors::typeMismatch, quoted(text));
    const auto scaled = number->toScaled(decimals);
    if (!scaled) raise(errors::overflow, quoted(text) + " as Currency");
    return {*scaled};
}

Text toText(Currency value) {
    const bool negative = value.scaled < 0;
    // Counted without a sign: the smallest amount has no positive counterpart.
    const auto magnitude =
        negative ? ~static_cast<std::uint64_t>(value.scaled) + 1 : static_cast<std::uint64_t>(value.scaled);
    constexpr auto scale = static_cast<std::uint64_t>(Currency::scale);
    Text result = fmt::format("{}{}.{:04}", negative ? "-" : "", magnitude / scale, magnitude % scale);
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') result.pop_back();
    return result;
}

} // namespace corveth
