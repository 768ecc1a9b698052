#pragma once

#include "platform/automation/text.h"

#include <compare>
#include <cstdint>

namespace corveth {

/// Money: a 64-bit whole number of ten-thousandths.
struct Currency {
    std::int64_t scaled = 0;

    static constexpr std::int64_t scale = 10000;
    friend constexpr auto operator<=>(Currency, Currency) = default;
};

/// Rounded half to even to four decimals; 6 outside the range or when not finite.
CORVETH_API Currency toCurrency(double value);
CORVETH_API double toDouble(Currency value) noexcept;
/// Plain decimal number text (sign, digits, point), exactly, half to even beyond four decimals; 13 or 6.
CORVETH_API Currency parseCurrency(TextView text);
/// Up to four decimals, trailing zeros dropped, a point.
CORVETH_API Text toText(Currency value);

} // namespace corveth
