#include "platform/automation/currency.h"

#include "platform/automation/error.h"
#include "platform/automation/number_text.h"

#include <array>
#include <charconv>
#include <fmt/format.h>

namespace corveth {

namespace {

constexpr int decimals = 4;

} // namespace

// Rounded as the decimal number that the value shows as: a product with 10,000 would move whole amounts that a
// double holds exactly, and send halves either way.
Currency toCurrency(double value) {
    std::array<char, 32> shortest{};
    const auto end =
        std::to_chars(shortest.data(), shortest.data() + shortest.size(), value, std::chars_format::scientific).ptr;
    const auto number =
        Decimal::readScientific({shortest.data(), static_cast<std::size_t>(end - shortest.data())}); // not inf, nan
    const auto scaled = number ? number->toScaled(decimals) : std::nullopt;
    if (!scaled) raise(errors::overflow, fmt::format("{} as Currency", value));
    return {*scaled};
}

double toDouble(Currency value) noexcept {
    return static_cast<double>(value.scaled) / static_cast<double>(Currency::scale);
}

Currency parseCurrency(TextView text) {
    const auto number = Decimal::readPlain(text);
    if (!number) raise(errors::typeMismatch, inQuotes(text));
    const auto scaled = number->toScaled(decimals);
    if (!scaled) raise(errors::overflow, inQuotes(text) + " as Currency");
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
