#include "platform/data/column_value.h"

#include "platform/automation/convert.h"
#include "platform/data/dialect.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace corveth::data {

namespace {

constexpr const char* source = "ADODB.Recordset";
constexpr std::size_t shownLength = 60;

[[noreturn]] void refuse(const Value& value, TextView column) {
    Text shown(typeName(value));
    if (const auto* text = value.getIf<Text>()) shown = "\"" + text->substr(0, shownLength) + "\"";
    raise(errors::dataTypeMismatch, "The column " + Text(column) + " does not take " + shown + ".", source);
}

/// Text becomes the number that it writes.
Value toNumber(Value value, TextView column) {
    const auto* text = value.getIf<Text>();
    if (text == nullptr) return value;
    double number = 0;
    if (!parseNumber(*text, number)) refuse(value, column);
    return number;
}

Value toDateValue(const Value& value, TextView column) {
    const auto* text = value.getIf<Text>();
    if (text == nullptr) return toDate(value);
    const auto date = tryParseDate(*text);
    if (!date) refuse(value, column);
    return *date;
}

Value toBooleanValue(Value value, TextView column) {
    if (const auto* text = value.getIf<Text>()) {
        if (equalNoCase(*text, "True")) return true;
        if (equalNoCase(*text, "False")) return false;
    }
    return toBoolean(toNumber(std::move(value), column));
}

Value toCurrencyValue(Value value, TextView column) {
    if (const auto* text = value.getIf<Text>()) {
        double number = 0;
        if (!parseNumber(*text, number)) refuse(value, column);
        // Plain texts keep all their digits, which a double would not.
        if (text->find_first_not_of("0123456789.-+ ") == Text::npos) return parseCurrency(trimBlanks(*text));
        return toCurrency(number);
    }
    return toCurrency(value);
}

Value toBytesValue(Value value, TextView column) {
    if (value.is(ValueType::bytes)) return value;
    refuse(value, column);
}

bool isPlain(const Value& value) noexcept {
    switch (value.type()) {
    case ValueType::object:
    case ValueType::record:
    case ValueType::missing:
        return false;
    default:
        return true;
    }
}

Value converted(ColumnKind kind, Value value, TextView column) {
    switch (kind) {
    case ColumnKind::undeclared:
        return value;
    case ColumnKind::text:
        if (value.is(ValueType::text)) return value;
        if (value.is(ValueType::bytes)) refuse(value, column);
        return toText(value);
    case ColumnKind::integer:
        return toInteger(toNumber(std::move(value), column));
    case ColumnKind::longInteger:
        return toLong(toNumber(std::move(value), column));
    case ColumnKind::byte:
        return toByte(toNumber(std::move(value), column));
    case ColumnKind::single:
        return toSingle(toNumber(std::move(value), column));
    case ColumnKind::doubleFloat:
        return toDouble(toNumber(std::move(value), column));
    case ColumnKind::currency:
        return toCurrencyValue(std::move(value), column);
    case ColumnKind::date:
        return toDateValue(value, column);
    case ColumnKind::boolean:
        return toBooleanValue(std::move(value), column);
    case ColumnKind::bytes:
        return toBytesValue(std::move(value), column);
    }
    return value;
}

Parameter finite(double number) {
    if (!std::isfinite(number)) raise(errors::overflow, "a number that is not finite cannot be stored", source);
    return number;
}

/// Whole amounts are exact as integers; others as long as the nearest double still means this amount.
Parameter exactCurrency(Currency amount) {
    if (amount.scaled % Currency::scale == 0) return amount.scaled / Currency::scale;
    // Beyond this a double has hardly a decimal left, and rounding up could leave the range.
    constexpr double hardlyExact = 9e14;
    const double number = toDouble(amount);
    if (std::abs(number) > hardlyExact || toCurrency(number) != amount) {
        raise(errors::overflow, "the amount " + toText(amount) + " cannot be stored exactly", source);
    }
    return number;
}

/// What `text` says beside a column of numbers. Nothing is rounded: `'1.5'` is no whole number.
Parameter comparedNumber(ColumnKind kind, TextView text, TextView column) {
    if (kind == ColumnKind::boolean && equalNoCase(text, "True")) return std::int64_t{-1};
    if (kind == ColumnKind::boolean && equalNoCase(text, "False")) return std::int64_t{0};
    double number = 0;
    const auto date = kind == ColumnKind::date ? tryParseDate(text) : std::nullopt;
    if (date) {
        number = date->day;
    } else if (!parseNumber(text, number) || !std::isfinite(number)) {
        refuse(Value(text), column);
    }
    // So that an index of whole numbers serves.
    constexpr double exactlyWhole = 1e15;
    if (std::abs(number) < exactlyWhole && std::trunc(number) == number) return static_cast<std::int64_t>(number);
    return number;
}

} // namespace

Value toColumnValue(ColumnKind kind, Value value, TextView column) {
    if (value.isNull()) return value;
    if (!isPlain(value)) {
        raise(errors::typeMismatch, "The column " + Text(column) + " does not take " + Text(typeName(value)) + ".",
              source);
    }
    return converted(kind, std::move(value), column);
}

Parameter toColumnParameter(ColumnKind kind, const Parameter& parameter, TextView column, std::deque<Text>& texts) {
    const auto* text = std::get_if<TextView>(&parameter);
    const auto* whole = std::get_if<std::int64_t>(&parameter);
    const auto* number = std::get_if<double>(&parameter);
    const bool isText = text != nullptr;
    if (kind == ColumnKind::undeclared || (kind == ColumnKind::text && isText)) return parameter;
    if (kind == ColumnKind::doubleFloat) { // the same as below, without the way through values
        double read = 0;
        if (whole != nullptr) return static_cast<double>(*whole);
        if (isText && parseNumber(*text, read) && std::isfinite(read)) return read;
    }
    Value value;
    if (isText) {
        value = *text;
    } else if (whole != nullptr) {
        // Whole numbers that a double holds exactly, which is all that fits these columns.
        value = static_cast<double>(*whole);
        if (kind == ColumnKind::currency) value = parseCurrency(std::to_string(*whole));
    } else if (number != nullptr) {
        value = *number;
    } else {
        return parameter;
    }
    value = converted(kind, std::move(value), column);
    if (const auto* made = value.getIf<Text>()) return TextView(texts.emplace_back(*made));
    return toParameter(value);
}

Parameter toComparedParameter(ColumnKind kind, const Parameter& parameter, TextView column, std::deque<Text>& texts) {
    const auto* text = std::get_if<TextView>(&parameter);
    switch (kind) {
    case ColumnKind::undeclared:
    case ColumnKind::bytes:
        return parameter;
    case ColumnKind::text:
        return text != nullptr ? parameter : toColumnParameter(kind, parameter, column, texts);
    default:
        return text != nullptr ? comparedNumber(kind, *text, column) : parameter;
    }
}

Parameter toParameter(const Value& value) {
    switch (value.type()) {
    case ValueType::null:
    case ValueType::empty:
        return std::monostate{};
    case ValueType::boolean:
        return std::int64_t{*value.getIf<bool>() ? -1 : 0};
    case ValueType::byte:
        return std::int64_t{*value.getIf<std::uint8_t>()};
    case ValueType::integer:
        return std::int64_t{*value.getIf<std::int16_t>()};
    case ValueType::longInteger:
        return std::int64_t{*value.getIf<std::int32_t>()};
    case ValueType::single:
        return finite(double{*value.getIf<float>()});
    case ValueType::doubleFloat:
        return finite(*value.getIf<double>());
    case ValueType::currency:
        return exactCurrency(*value.getIf<Currency>());
    case ValueType::date:
        return finite(value.getIf<Date>()->day);
    case ValueType::text: {
        const TextView text = *value.getIf<Text>();
        if (text.find('\0') != TextView::npos) {
            raise(errors::invalidCall, "a text that holds a NUL character cannot be stored", source);
        }
        return text;
    }
    case ValueType::bytes:
        return std::span<const std::byte>(*value.getIf<Bytes>());
    case ValueType::object:
    case ValueType::record:
    case ValueType::missing:
        break;
    }
    raise(errors::typeMismatch, Text(typeName(value)) + " cannot be stored", source);
}

std::int32_t dataTypeNumber(ColumnKind kind) noexcept {
    switch (kind) {
    case ColumnKind::undeclared:
        return 12;
    case ColumnKind::text:
        return 202;
    case ColumnKind::integer:
        return 2;
    case ColumnKind::longInteger:
        return 3;
    case ColumnKind::byte:
        return 17;
    case ColumnKind::single:
        return 4;
    case ColumnKind::doubleFloat:
        return 5;
    case ColumnKind::currency:
        return 6;
    case ColumnKind::date:
        return 7;
    case ColumnKind::boolean:
        return 11;
    case ColumnKind::bytes:
        return 205;
    }
    return 12;
}

ColumnKind kindOfDeclaredType(TextView declared) noexcept {
    struct Rule {
        TextView part;
        ColumnKind kind;
    };
    // The first that occurs in the name decides.
    static constexpr auto rules = std::to_array<Rule>({
        {"char", ColumnKind::text},         {"text", ColumnKind::text},           {"clob", ColumnKind::text},
        {"blob", ColumnKind::bytes},        {"binary", ColumnKind::bytes},        {"smallint", ColumnKind::integer},
        {"tinyint", ColumnKind::byte},      {"byte", ColumnKind::byte},           {"int", ColumnKind::longInteger},
        {"single", ColumnKind::single},     {"real", ColumnKind::doubleFloat},    {"double", ColumnKind::doubleFloat},
        {"float", ColumnKind::doubleFloat}, {"numeric", ColumnKind::doubleFloat}, {"decimal", ColumnKind::doubleFloat},
        {"currency", ColumnKind::currency}, {"money", ColumnKind::currency},      {"date", ColumnKind::date},
        {"timestamp", ColumnKind::date},    {"bool", ColumnKind::boolean},        {"bit", ColumnKind::boolean},
    });
    const auto contains = [declared](TextView part) {
        for (std::size_t at = 0; at + part.size() <= declared.size(); ++at) {
            if (equalNoCase(declared.substr(at, part.size()), part)) return true;
        }
        return false;
    };
    const auto* found = std::ranges::find_if(rules, [&](const Rule& rule) { return contains(rule.part); });
    return found == rules.end() ? ColumnKind::undeclared : found->kind;
}

Text withValues(TextView statement, std::span<const Parameter> parameters) {
    Text out;
    std::size_t next = 0;
    bool inName = false;
    for (const char c : statement) {
        if (c == '[' || c == ']') inName = c == '[';
        if (c != '?' || inName || next == parameters.size()) {
            out += c;
            continue;
        }
        const Parameter& parameter = parameters[next++];
        if (const auto* text = std::get_if<TextView>(&parameter)) {
            appendTextLiteral(out, *text);
        } else if (const auto* whole = std::get_if<std::int64_t>(&parameter)) {
            out += std::to_string(*whole);
        } else if (const auto* number = std::get_if<double>(&parameter)) {
            out += plainDecimal(*number);
        } else if (const auto* bytes = std::get_if<std::span<const std::byte>>(&parameter)) {
            out += "<" + std::to_string(bytes->size()) + " bytes>";
        } else {
            out += "Null";
        }
    }
    return out;
}

} // namespace corveth::data
