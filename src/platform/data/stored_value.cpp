#include "platform/data/stored_value.h"

#include "platform/automation/convert.h"

#include <cmath>
#include <limits>

namespace corveth::data {

namespace {

bool isBetween(std::int64_t number, std::int64_t lowest, std::int64_t highest) noexcept {
    return number >= lowest && number <= highest;
}

template <class T>
Value whole(std::int64_t number) {
    if (isBetween(number, std::numeric_limits<T>::min(), std::numeric_limits<T>::max())) {
        return static_cast<T>(number);
    }
    return static_cast<double>(number);
}

Currency storedCurrency(double number) {
    constexpr double roundedSafely = 1e11;
    if (std::abs(number) < roundedSafely) {
        // The usual case, told from the others by going back: it was stored from exactly this amount.
        const Currency amount{std::llround(number * double{Currency::scale})};
        if (static_cast<double>(amount.scaled) / double{Currency::scale} == number) return amount;
    }
    return toCurrency(number);
}

} // namespace

Value storedValue(std::int64_t number, ColumnKind kind) {
    switch (kind) {
    case ColumnKind::integer:
        return whole<std::int16_t>(number);
    case ColumnKind::byte:
        return whole<std::uint8_t>(number);
    case ColumnKind::boolean:
        return number != 0;
    case ColumnKind::currency:
        if (isBetween(number, std::numeric_limits<std::int64_t>::min() / Currency::scale,
                      std::numeric_limits<std::int64_t>::max() / Currency::scale)) {
            return Currency{number * Currency::scale};
        }
        return static_cast<double>(number);
    case ColumnKind::single:
        return static_cast<float>(number);
    case ColumnKind::doubleFloat:
        return static_cast<double>(number);
    case ColumnKind::date:
        return Date{static_cast<double>(number)};
    case ColumnKind::text:
        return std::to_string(number);
    case ColumnKind::undeclared:
    case ColumnKind::longInteger:
    case ColumnKind::bytes:
        break;
    }
    return whole<std::int32_t>(number);
}

Value storedValue(double number, ColumnKind kind) {
    constexpr double surelyExact = 1e15;
    switch (kind) {
    case ColumnKind::boolean:
        return number != 0;
    case ColumnKind::integer:
    case ColumnKind::longInteger:
    case ColumnKind::byte:
        // In a Union the columns of the other statements may be of another type.
        if (std::trunc(number) == number && std::abs(number) < surelyExact)
            return storedValue(static_cast<std::int64_t>(number), kind);
        return number;
    case ColumnKind::currency:
        return storedCurrency(number);
    case ColumnKind::single:
        if (std::abs(number) <= double{std::numeric_limits<float>::max()}) return static_cast<float>(number);
        return number;
    case ColumnKind::date:
        return Date{number};
    case ColumnKind::undeclared:
        // What an expression yields is whole or not whatever the engine stores its operands as.
        if (std::trunc(number) == number && number >= double{std::numeric_limits<std::int32_t>::min()} &&
            number <= double{std::numeric_limits<std::int32_t>::max()}) {
            return static_cast<std::int32_t>(number);
        }
        return number;
    default:
        return number;
    }
}

} // namespace corveth::data
