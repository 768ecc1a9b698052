#include "platform/automation/convert.h"

#include "platform/automation/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace corveth {

namespace {

constexpr int doubleDigits = 15;
constexpr int singleDigits = 7;

[[noreturn]] void refuse(const Value& value, TextView wanted) {
    if (value.isNull()) raise(errors::invalidNull);
    raise(errors::typeMismatch, fmt::format("{} as {}", typeName(value), wanted));
}

[[noreturn]] void refuseText(TextView text) {
    raise(errors::typeMismatch, inQuotes(text));
}

[[noreturn]] void tooLarge(const Value& value, TextView wanted) {
    const auto* text = value.getIf<Text>();
    raise(errors::overflow, fmt::format("{} as {}", text != nullptr ? inQuotes(*text) : Text(typeName(value)), wanted));
}

Decimal numberIn(TextView text) {
    const auto number = Decimal::read(text);
    if (!number) refuseText(text);
    return *number;
}

/// The number that `value` holds; `wanted` is for the message.
double numberOf(const Value& value, TextView wanted) {
    switch (value.type()) {
    case ValueType::empty:
    case ValueType::missing:
        return 0;
    case ValueType::boolean:
        return *value.getIf<bool>() ? -1 : 0;
    case ValueType::byte:
        return *value.getIf<std::uint8_t>();
    case ValueType::integer:
        return *value.getIf<std::int16_t>();
    case ValueType::longInteger:
        return *value.getIf<std::int32_t>();
    case ValueType::single:
        return static_cast<double>(*value.getIf<float>());
    case ValueType::doubleFloat:
        return *value.getIf<double>();
    case ValueType::currency:
        return toDouble(*value.getIf<Currency>());
    case ValueType::date:
        return value.getIf<Date>()->day;
    case ValueType::text:
        return numberIn(*value.getIf<Text>()).toDouble();
    case ValueType::null:
    case ValueType::object:
    case ValueType::bytes:
    case ValueType::record:
        break;
    }
    refuse(value, wanted);
}

template <class Whole>
Whole toWhole(const Value& value, TextView wanted) {
    if (const auto* same = value.getIf<Whole>()) return *same;
    const double number = numberOf(value, wanted);
    if (!std::isfinite(number)) tooLarge(value, wanted);
    return static_cast<Whole>(
        roundHalfEven(number, std::numeric_limits<Whole>::min(), std::numeric_limits<Whole>::max()));
}

/// A number's decimal digits: `first.rest` times ten to the `exponent`.
struct Digits {
    bool negative = false;
    Text digits; ///< without zeros at the end; "0" for 0
    int exponent = 0;

    [[nodiscard]] int count() const noexcept { return static_cast<int>(digits.size()); }
    [[nodiscard]] int decimals() const noexcept { return std::max(0, count() - 1 - exponent); }

    [[nodiscard]] Text fixed() const {
        Text result = negative ? "-" : "";
        const auto before = static_cast<std::size_t>(std::max(0, exponent + 1)); // digits before the point
        if (before == 0) {
            return result.append("0.").append(static_cast<std::size_t>(-exponent) - 1, '0').append(digits);
        }
        if (before >= digits.size()) return result.append(digits).append(before - digits.size(), '0');
        return result.append(digits, 0, before).append(1, '.').append(digits, before);
    }
    [[nodiscard]] Text scientific() const {
        return fmt::format("{}{}{}{}E{}{:02}", negative ? "-" : "", digits[0], count() > 1 ? "." : "",
                           TextView(digits).substr(1), exponent < 0 ? '-' : '+', std::abs(exponent));
    }
};

/// `significant` digits, or with 0 as many as it takes to read the same value back.
template <class Float>
Digits digitsOf(Float value, int significant) {
    if (!std::isfinite(value)) raise(errors::overflow, "a number that is not finite");
    std::array<char, 64> written{};
    char* const limit = written.data() + written.size();
    const Float magnitude = std::fabs(value);
    const auto result =
        significant == 0
            ? std::to_chars(written.data(), limit, magnitude, std::chars_format::scientific)
            : std::to_chars(written.data(), limit, magnitude, std::chars_format::scientific, significant - 1);
    const TextView text(written.data(), static_cast<std::size_t>(result.ptr - written.data()));
    const std::size_t mark = text.find('e');

    Digits digits;
    std::copy_if(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(mark), std::back_inserter(digits.digits),
                 [](char c) { return c != '.'; });
    digits.digits.erase(std::max<std::size_t>(digits.digits.find_last_not_of('0') + 1, 1));
    const std::size_t sign = text[mark + 1] == '+' ? 1 : 0; // from_chars takes no plus
    std::from_chars(text.data() + mark + 1 + sign, text.data() + text.size(), digits.exponent);
    digits.negative = value < 0; // never for 0
    return digits;
}

template <class Float>
Text numberText(Float value, int significant) {
    const Digits digits = digitsOf(value, significant);
    const bool fits = digits.exponent < significant && digits.decimals() <= significant;
    return fits ? digits.fixed() : digits.scientific();
}

} // namespace

bool toBoolean(const Value& value) {
    if (const auto* same = value.getIf<bool>()) return *same;
    if (const auto* text = value.getIf<Text>()) {
        const TextView word = trimBlanks(*text);
        if (equalNoCase(word, "True")) return true;
        if (equalNoCase(word, "False")) return false;
    }
    const double number = numberOf(value, "Boolean");
    if (!std::isfinite(number)) tooLarge(value, "Boolean");
    return number != 0;
}

std::uint8_t toByte(const Value& value) {
    // True has all bits set in every whole type; as -1 it would not fit.
    if (const auto* flag = value.getIf<bool>()) return *flag ? 0xFF : 0;
    return toWhole<std::uint8_t>(value, "Byte");
}

std::int16_t toInteger(const Value& value) {
    return toWhole<std::int16_t>(value, "Integer");
}

std::int32_t toLong(const Value& value) {
    return toWhole<std::int32_t>(value, "Long");
}

float toSingle(const Value& value) {
    if (const auto* text = value.getIf<Text>()) {
        const float single = numberIn(*text).toSingle();
        if (!std::isfinite(single)) tooLarge(value, "Single");
        return single;
    }
    const double number = numberOf(value, "Single");
    if (!(std::fabs(number) <= static_cast<double>(std::numeric_limits<float>::max()))) tooLarge(value, "Single");
    return static_cast<float>(number);
}

double toDouble(const Value& value) {
    const double number = numberOf(value, "Double");
    if (!std::isfinite(number)) tooLarge(value, "Double");
    return number;
}

Currency toCurrency(const Value& value) {
    if (const auto* same = value.getIf<Currency>()) return *same;
    if (const auto* text = value.getIf<Text>()) {
        const auto scaled = numberIn(*text).toScaled(4);
        if (!scaled) tooLarge(value, "Currency");
        return {*scaled};
    }
    return toCurrency(numberOf(value, "Currency"));
}

Date toDate(const Value& value) {
    if (const auto* text = value.getIf<Text>()) return parseDate(*text);
    return checkedDate(numberOf(value, "Date"));
}

Text toText(const Value& value) {
    switch (value.type()) {
    case ValueType::empty:
    case ValueType::missing:
        return {};
    case ValueType::boolean:
        return *value.getIf<bool>() ? "True" : "False";
    case ValueType::byte:
        return fmt::format("{}", *value.getIf<std::uint8_t>());
    case ValueType::integer:
        return fmt::format("{}", *value.getIf<std::int16_t>());
    case ValueType::longInteger:
        return fmt::format("{}", *value.getIf<std::int32_t>());
    case ValueType::single:
        return numberText(*value.getIf<float>(), singleDigits);
    case ValueType::doubleFloat:
        return numberText(*value.getIf<double>(), doubleDigits);
    case ValueType::currency:
        return toText(*value.getIf<Currency>());
    case ValueType::date:
        return toText(*value.getIf<Date>());
    case ValueType::text:
        return *value.getIf<Text>();
    case ValueType::null:
    case ValueType::object:
    case ValueType::bytes:
    case ValueType::record:
        break;
    }
    refuse(value, "String");
}

namespace {

/// Plain digits with or without a sign and a point, as programs write them; most texts are that, and reading them is
/// quicker than looking for all that a number may be. False for any other.
bool parsePlain(TextView text, double& number) noexcept {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const std::size_t first = text.starts_with('-') ? 1 : 0;
    if (text.size() <= first || !isDigit(text[first]) || !isDigit(text.back())) return false;
    double read = 0;
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const auto [stop, error] = std::from_chars(begin, end, read, std::chars_format::fixed);
    if (error != std::errc() || stop != end || (read == 0 && first == 1)) return false;
    number = read;
    return true;
}

} // namespace

bool parseNumber(TextView text, double& number) noexcept {
    if (parsePlain(text, number)) return true;
    const auto read = Decimal::read(text);
    if (read) number = read->toDouble();
    return read.has_value();
}

bool isNumeric(const Value& value) noexcept {
    switch (value.type()) {
    case ValueType::empty:
    case ValueType::boolean:
    case ValueType::byte:
    case ValueType::integer:
    case ValueType::longInteger:
    case ValueType::single:
    case ValueType::doubleFloat:
    case ValueType::currency:
        return true;
    case ValueType::text: {
        const auto number = Decimal::read(*value.getIf<Text>());
        return number && std::isfinite(number->toDouble()); // what would overflow is no number
    }
    case ValueType::null:
    case ValueType::date:
    case ValueType::object:
    case ValueType::bytes:
    case ValueType::record:
    case ValueType::missing:
        break;
    }
    return false;
}

Text plainDecimal(double value) {
    // Whole numbers, which most hours and days are, are exact up to here and have no shorter form.
    constexpr double exact = 9007199254740992;
    if (std::fabs(value) < exact && std::trunc(value) == value) return std::to_string(static_cast<std::int64_t>(value));
    return digitsOf(value, 0).fixed();
}

Text plainDecimal(float value) {
    return digitsOf(value, 0).fixed();
}

std::int64_t roundHalfEven(double value, std::int64_t lowest, std::int64_t highest) {
    constexpr double bound = 9223372036854775808.0;
    if (std::isfinite(value) && std::fabs(value) < bound) {
        // The remainder by 1 is exact and halves go to even, whatever the rounding mode of the host is.
        const auto whole = static_cast<std::int64_t>(value - std::remainder(value, 1.0));
        if (whole >= lowest && whole <= highest) return whole;
    }
    raise(errors::overflow, fmt::format("{} is not between {} and {}", value, lowest, highest));
}

} // namespace corveth
