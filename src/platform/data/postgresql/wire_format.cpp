#include "platform/data/postgresql/wire_format.h"

#include "platform/automation/convert.h"
#include "platform/data/stored_value.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace corveth::data::postgresql {

namespace {

constexpr const char* source = "ADODB.Connection";
constexpr std::size_t shownLength = 60;

/// Day numbers of the day from which the server counts.
constexpr double firstDay = 36526;
constexpr double microsecondsPerDay = 86400e6;

template <class Bits>
Bits readBits(TextView from) noexcept {
    Bits bits = 0;
    for (std::size_t i = 0; i < sizeof(Bits); ++i)
        bits = static_cast<Bits>(bits << 8U) | static_cast<unsigned char>(from[i]);
    return bits;
}

template <class T>
T readWhole(TextView bytes) noexcept {
    return static_cast<T>(readBits<std::make_unsigned_t<T>>(bytes));
}

/// A number with its decimal point where the server keeps it: groups of four digits.
struct Numeric {
    static constexpr std::uint16_t negative = 0x4000, special = 0x8000;

    explicit Numeric(TextView bytes) noexcept
        : count(readWhole<std::int16_t>(bytes)),
          weight(readWhole<std::int16_t>(bytes.substr(2))),
          sign(readWhole<std::uint16_t>(bytes.substr(4))),
          digits(bytes.substr(8)) {}

    [[nodiscard]] int group(int i) const noexcept {
        return i < 0 || i >= count ? 0 : readWhole<std::int16_t>(digits.substr(static_cast<std::size_t>(i) * 2));
    }

    int count;
    int weight; ///< of the first group
    std::uint16_t sign;
    TextView digits;
};

/// Nothing where it does not fit or has more than four decimals.
std::optional<Currency> currencyOf(const Numeric& number) noexcept {
    constexpr int largest = 4; // groups before the point
    if (number.sign >= Numeric::special || number.weight >= largest || number.count - number.weight > 2) {
        return std::nullopt;
    }
    std::int64_t scaled = 0;
    for (int weight = largest - 1; weight >= -1; --weight) {
        const int group = number.group(number.weight - weight);
        if (__builtin_mul_overflow(scaled, std::int64_t{10000}, &scaled) ||
            __builtin_sub_overflow(scaled, std::int64_t{group}, &scaled)) {
            return std::nullopt;
        }
    }
    if (number.sign == Numeric::negative) return Currency{scaled};
    if (scaled == std::numeric_limits<std::int64_t>::min()) return std::nullopt;
    return Currency{-scaled};
}

double realOf(const Numeric& number) {
    if (number.sign >= Numeric::special) return std::numeric_limits<double>::quiet_NaN();
    // By way of text, which gives the nearest double whatever the length.
    Text text = number.sign == Numeric::negative ? "-0." : "0.";
    for (int i = 0; i < number.count; ++i) {
        const Text group = std::to_string(number.group(i));
        text.append(4 - group.size(), '0').append(group);
    }
    text += 'e' + std::to_string((number.weight + 1) * 4);
    double result = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), result);
    if (fault == std::errc::result_out_of_range) result = number.weight > 0 ? HUGE_VAL : 0;
    return result;
}

Value numericValue(TextView bytes, ColumnKind kind) {
    const Numeric number(bytes);
    if (kind == ColumnKind::currency) {
        if (const auto amount = currencyOf(number)) return *amount;
    }
    return storedValue(realOf(number), kind);
}

/// The same as what a recordset says of a column, only that its name is not known here.
[[noreturn]] void refuse(TextView text) {
    raise(errors::dataTypeMismatch, "\"" + Text(leftUnits(text, shownLength)) + "\" is compared with a number.",
          source);
}

} // namespace

std::optional<WireType> builtInType(Oid type) noexcept {
    switch (type) {
    case 16:
        return WireType::boolean;
    case bytesType:
        return WireType::bytes;
    case 18: // "char"
    case 19: // name
    case textType:
    case 705: // unknown
    case 1042:
    case 1043:
        return WireType::text;
    case int8Type:
        return WireType::int8;
    case 21:
        return WireType::int2;
    case int4Type:
        return WireType::int4;
    case 700:
        return WireType::float4;
    case float8Type:
        return WireType::float8;
    case 1700:
        return WireType::numeric;
    case 1082:
        return WireType::date;
    case 1114:
        return WireType::timestamp;
    default:
        return std::nullopt;
    }
}

ColumnKind kindOf(WireType type) noexcept {
    switch (type) {
    case WireType::text:
        return ColumnKind::text;
    case WireType::int2:
        return ColumnKind::integer;
    case WireType::int4:
    case WireType::int8:
        return ColumnKind::longInteger;
    case WireType::float4:
        return ColumnKind::single;
    case WireType::float8:
    case WireType::numeric:
        return ColumnKind::doubleFloat;
    case WireType::boolean:
        return ColumnKind::boolean;
    case WireType::bytes:
        return ColumnKind::bytes;
    case WireType::date:
    case WireType::timestamp:
        return ColumnKind::date;
    case WireType::other:
        break;
    }
    return ColumnKind::undeclared;
}

bool Encoder::encode(std::span<const Parameter> parameters, std::span<const WireType> types, std::size_t& position) {
    arguments_.values.clear();
    arguments_.lengths.clear();
    arguments_.formats.clear();
    fixed_.clear();
    texts_.clear();
    for (position = 0; position < parameters.size(); ++position) {
        const WireType type = position < types.size() ? types[position] : WireType::text;
        if (!encode(parameters[position], type)) return false;
    }
    return true;
}

bool Encoder::encode(const Parameter& parameter, WireType type) {
    if (const auto* text = std::get_if<TextView>(&parameter)) return encodeText(*text, type);
    if (const auto* whole = std::get_if<std::int64_t>(&parameter)) return encodeWhole(*whole, type);
    if (const auto* real = std::get_if<double>(&parameter)) return encodeReal(*real, type);
    if (const auto* bytes = std::get_if<std::span<const std::byte>>(&parameter)) {
        addBinary(bytes->data(), bytes->size());
        return true;
    }
    arguments_.values.push_back(nullptr);
    arguments_.lengths.push_back(0);
    arguments_.formats.push_back(1);
    return true;
}

bool Encoder::encodeWhole(std::int64_t number, WireType type) {
    const auto fits = [number]<class T>(T /*type*/) {
        return number >= std::numeric_limits<T>::min() && number <= std::numeric_limits<T>::max();
    };
    switch (type) {
    case WireType::int2:
        if (!fits(std::int16_t{})) return false;
        addFixed(static_cast<std::uint16_t>(number));
        return true;
    case WireType::int4:
        if (!fits(std::int32_t{})) return false;
        addFixed(static_cast<std::uint32_t>(number));
        return true;
    case WireType::int8:
        addFixed(static_cast<std::uint64_t>(number));
        return true;
    case WireType::float4:
    case WireType::float8:
        return encodeReal(static_cast<double>(number), type);
    default:
        addText(std::to_string(number));
        return true;
    }
}

bool Encoder::encodeReal(double number, WireType type) {
    switch (type) {
    case WireType::int2:
    case WireType::int4:
    case WireType::int8: {
        constexpr double beyond = 9223372036854775808.0;
        if (std::nearbyint(number) != number || std::abs(number) >= beyond) return false;
        return encodeWhole(static_cast<std::int64_t>(number), type);
    }
    case WireType::float4: {
        const auto single = static_cast<float>(number);
        if (double{single} != number) return false;
        addFixed(std::bit_cast<std::uint32_t>(single));
        return true;
    }
    case WireType::float8:
        addFixed(std::bit_cast<std::uint64_t>(number));
        return true;
    case WireType::text:
        addText(toText(Value(number)));
        return true;
    default:
        addText(plainDecimal(number));
        return true;
    }
}

bool Encoder::encodeText(TextView text, WireType type) {
    switch (type) {
    case WireType::text:
    case WireType::bytes:
        addBinary(text.data(), text.size());
        return true;
    case WireType::int2:
    case WireType::int4:
    case WireType::int8:
    case WireType::float4:
    case WireType::float8:
    case WireType::numeric: {
        double number = 0;
        if (!parseNumber(text, number) || !std::isfinite(number)) refuse(text);
        return encodeReal(number, type);
    }
    default:
        addText(Text(text));
        return true;
    }
}

template <class Bits>
void Encoder::addFixed(Bits bits) {
    auto& room = fixed_.emplace_back();
    for (std::size_t i = 0; i < sizeof(Bits); ++i)
        room[i] = static_cast<char>(bits >> (8 * (sizeof(Bits) - 1 - i)));
    addBinary(room.data(), sizeof(Bits));
}

void Encoder::addBinary(const void* data, std::size_t size) {
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        raise(errors::overflow, "a value of " + std::to_string(size) + " bytes is more than the server takes", source);
    }
    arguments_.values.push_back(size == 0 ? "" : static_cast<const char*>(data));
    arguments_.lengths.push_back(static_cast<int>(size));
    arguments_.formats.push_back(1);
}

void Encoder::addText(Text text) {
    const Text& kept = texts_.emplace_back(std::move(text));
    arguments_.values.push_back(kept.c_str());
    arguments_.lengths.push_back(static_cast<int>(kept.size()));
    arguments_.formats.push_back(0);
}

Value decodeBinary(TextView bytes, WireType type, ColumnKind kind) {
    switch (type) {
    case WireType::int2:
        return storedValue(std::int64_t{readWhole<std::int16_t>(bytes)}, kind);
    case WireType::int4:
        return storedValue(std::int64_t{readWhole<std::int32_t>(bytes)}, kind);
    case WireType::int8:
        return storedValue(readWhole<std::int64_t>(bytes), kind);
    case WireType::float4:
        return storedValue(double{std::bit_cast<float>(readBits<std::uint32_t>(bytes))}, kind);
    case WireType::float8:
        return storedValue(std::bit_cast<double>(readBits<std::uint64_t>(bytes)), kind);
    case WireType::numeric:
        return numericValue(bytes, kind);
    case WireType::boolean:
        return storedValue(std::int64_t{bytes.front() == 0 ? 0 : 1}, kind);
    case WireType::bytes: {
        const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
        return Bytes(first, first + bytes.size());
    }
    case WireType::date:
        return Date{firstDay + static_cast<double>(readWhole<std::int32_t>(bytes))};
    case WireType::timestamp:
        return Date{firstDay + static_cast<double>(readWhole<std::int64_t>(bytes)) / microsecondsPerDay};
    case WireType::text:
    case WireType::other:
        break;
    }
    return Value(bytes);
}

Value decodeText(TextView text, WireType type, ColumnKind kind) {
    switch (type) {
    case WireType::int2:
    case WireType::int4:
    case WireType::int8: {
        std::int64_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        return storedValue(number, kind);
    }
    case WireType::float4:
    case WireType::float8:
    case WireType::numeric: {
        double number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        return storedValue(number, kind);
    }
    case WireType::boolean:
        return storedValue(std::int64_t{text == "t" ? 1 : 0}, kind);
    default:
        return Value(text);
    }
}

} // namespace corveth::data::postgresql
