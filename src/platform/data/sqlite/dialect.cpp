#include "platform/data/sqlite/dialect.h"

#include "platform/automation/convert.h"
#include "platform/data/like.h"
#include "platform/data/sqlite/error.h"
#include "platform/desktop/clock.h"

#include <array>
#include <sqlite3.h>

namespace corveth::data::sqlite {

namespace {

constexpr std::array functionNames = std::to_array<Dialect::Function>({
    {"right", "corveth_right"},
    {"left", "corveth_left"},
    {"mid", "corveth_mid"},
    {"len", "corveth_len"},
    {"ucase", "corveth_upper"},
    {"lcase", "corveth_lower"},
    {"upper", "corveth_upper"},
    {"lower", "corveth_lower"},
    {"nz", "corveth_nz"},
    {"date", "corveth_date"},
    {"now", "corveth_now"},
});

void appendParameter(Text& out, std::size_t number) {
    out += '?';
    out += std::to_string(number);
}

using Arguments = std::span<sqlite3_value*>;

bool isNull(sqlite3_value* value) noexcept {
    return sqlite3_value_type(value) == SQLITE_NULL;
}

/// As the dialect writes values into text: real numbers by the platform's rules, not the engine's.
Text asText(sqlite3_value* value) {
    if (sqlite3_value_type(value) == SQLITE_FLOAT) return toText(Value(sqlite3_value_double(value)));
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    if (text == nullptr) return {};
    return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

void giveText(sqlite3_context* context, TextView text) {
    sqlite3_result_text64(context, text.data() == nullptr ? "" : text.data(), text.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8);
}

std::size_t unitCount(TextView text) noexcept {
    std::size_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0U) != 0x80U) units += byte >= 0xF0U ? 2 : 1;
    }
    return units;
}

TextView afterUnits(TextView text, std::size_t units) noexcept {
    return text.substr(leftUnits(text, units).size());
}

/// A length or position; below `lowest` it is no argument for a text function.
std::size_t countArgument(sqlite3_value* value, std::int64_t lowest) {
    const std::int64_t count = sqlite3_value_int64(value);
    if (count < lowest) raise(errors::invalidCall, std::to_string(count));
    return static_cast<std::size_t>(count);
}

void concatenate(sqlite3_context* context, Arguments arguments) {
    Text joined;
    bool allNull = true;
    for (auto* argument : arguments) {
        allNull = allNull && isNull(argument);
        joined += asText(argument);
    }
    if (!allNull) giveText(context, joined);
}

void like(sqlite3_context* context, Arguments arguments) {
    if (isNull(arguments[0]) || isNull(arguments[1])) return;
    sqlite3_result_int(context, likeMatches(asText(arguments[0]), asText(arguments[1])) ? 1 : 0);
}

void left(sqlite3_context* context, Arguments arguments) {
    if (isNull(arguments[0])) return;
    giveText(context, leftUnits(asText(arguments[0]), countArgument(arguments[1], 0)));
}

void right(sqlite3_context* context, Arguments arguments) {
    if (isNull(arguments[0])) return;
    const Text text = asText(arguments[0]);
    const std::size_t wanted = countArgument(arguments[1], 0);
    const std::size_t units = unitCount(text);
    giveText(context, wanted >= units ? TextView(text) : afterUnits(text, units - wanted));
}

void mid(sqlite3_context* context, Arguments arguments) {
    if (isNull(arguments[0])) return;
    const Text text = asText(arguments[0]);
    const TextView rest = afterUnits(text, countArgument(arguments[1], 1) - 1);
    giveText(context, arguments.size() == 3 ? leftUnits(rest, countArgument(arguments[2], 0)) : rest);
}

void len(sqlite3_context* context, Arguments arguments) {
    if (isNull(arguments[0])) return;
    sqlite3_result_int64(context, static_cast<sqlite3_int64>(unitCount(asText(arguments[0]))));
}

/// Of the letters that the engine folds, too.
template <char first, int distance>
void shiftLetters(sqlite3_context* context, Arguments arguments) {
    if (isNull(arguments[0])) return;
    Text text = asText(arguments[0]);
    for (char& c : text) {
        if (c >= first && c <= first + ('z' - 'a')) c = static_cast<char>(c + distance);
    }
    giveText(context, text);
}

void nz(sqlite3_context* context, Arguments arguments) {
    if (!isNull(arguments[0])) {
        sqlite3_result_value(context, arguments[0]);
    } else if (arguments.size() == 2) {
        sqlite3_result_value(context, arguments[1]);
    } else {
        giveText(context, {});
    }
}

void today(sqlite3_context* context, Arguments /*arguments*/) {
    sqlite3_result_double(context, corveth::today().day);
}

void now(sqlite3_context* context, Arguments /*arguments*/) {
    sqlite3_result_double(context, corveth::now().day);
}

/// No exception may pass through the engine.
template <void (*function)(sqlite3_context*, Arguments)>
void call(sqlite3_context* context, int count, sqlite3_value** arguments) {
    try {
        function(context, Arguments(arguments, static_cast<std::size_t>(count)));
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(context);
    } catch (const std::exception& error) {
        sqlite3_result_error(context, error.what(), -1);
    }
}

struct Registered {
    const char* name;
    int arguments;
    void (*function)(sqlite3_context*, int, sqlite3_value**);
    bool isPure = true;
};

constexpr std::array registered = std::to_array<Registered>({
    {"corveth_concat", -1, &call<concatenate>},
    {"corveth_like", 2, &call<like>},
    {"corveth_left", 2, &call<left>},
    {"corveth_right", 2, &call<right>},
    {"corveth_mid", 2, &call<mid>},
    {"corveth_mid", 3, &call<mid>},
    {"corveth_len", 1, &call<len>},
    {"corveth_upper", 1, &call<shiftLetters<'a', 'A' - 'a'>>},
    {"corveth_lower", 1, &call<shiftLetters<'A', 'a' - 'A'>>},
    {"corveth_nz", 1, &call<nz>},
    {"corveth_nz", 2, &call<nz>},
    {"corveth_date", 0, &call<today>, false},
    {"corveth_now", 0, &call<now>, false},
});

} // namespace

const Dialect& dialect() noexcept {
    static constexpr Dialect sqliteDialect{.functions = functionNames,
                                           .concatenate = "corveth_concat",
                                           .textFunction = {},
                                           .likeOperator = "Like",
                                           .likeCollation = {},
                                           .likeFunction = "corveth_like",
                                           .appendParameter = &appendParameter,
                                           .divisor = "1.0 *",
                                           .nullArgument = {},
                                           .conditionNumber = {},
                                           .reservedNames = {},
                                           .casts = {}};
    return sqliteDialect;
}

void registerFunctions(sqlite3* database) {
    for (const auto& function : registered) {
        const int flags = SQLITE_UTF8 | SQLITE_DIRECTONLY | (function.isPure ? SQLITE_DETERMINISTIC : 0);
        const int code = sqlite3_create_function_v2(database, function.name, function.arguments, flags, nullptr,
                                                    function.function, nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) fail(database, code);
    }
}

} // namespace corveth::data::sqlite
