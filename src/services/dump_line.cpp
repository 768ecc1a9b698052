#include "services/dump_line.h"

#include "platform/automation/convert.h"
#include "platform/automation/error.h"
#include "platform/base64.h"
#include "services/schema.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <limits>
#include <set>

namespace corveth {

namespace {

using data::ColumnDefinition;
using data::ColumnType;
using data::TableDefinition;
using Json = nlohmann::ordered_json;

constexpr std::int32_t formatVersion = 1;

[[noreturn]] void refuse(Text why) {
    throw Error(errors::invalidCall, transferSource, std::move(why));
}

// Writing.

[[noreturn]] void refuseCell(const char* what) {
    throw Error(errors::dataTypeMismatch, transferSource, what);
}

template <class T>
const T& held(const Value& value, const char* otherwise) {
    const T* alternative = value.getIf<T>();
    if (alternative == nullptr) refuseCell(otherwise);
    return *alternative;
}

/// Null where the text says another moment: of part of a millisecond, or outside the calendar.
Json dateJson(Date date) {
    constexpr double firstDay = -657434, lastDay = 2958466;
    if (date.day >= firstDay && date.day < lastDay) {
        Text text = toText(date);
        if (const auto again = tryParseDate(text); again && *again == date) return text;
    }
    return date.day;
}

void appendCell(Text& out, ColumnType type, const Value& value) {
    switch (type) {
    case ColumnType::shortText:
    case ColumnType::text: {
        const auto& text = held<Text>(value, "holds no text");
        if (!isUtf8(text)) refuseCell("holds a text that is not well-formed");
        if (text.find('\0') != Text::npos) refuseCell("holds a text with a NUL character");
        out += Json(text).dump();
        break;
    }
    case ColumnType::smallInteger:
        out += std::to_string(held<std::int16_t>(value, "holds no whole number of 16 bits"));
        break;
    case ColumnType::integer:
        out += std::to_string(held<std::int32_t>(value, "holds no whole number of 32 bits"));
        break;
    case ColumnType::byte:
        out += std::to_string(held<std::uint8_t>(value, "holds no number from 0 to 255"));
        break;
    case ColumnType::real: {
        const double number = held<double>(value, "holds no number");
        if (!std::isfinite(number)) refuseCell("holds no finite number");
        out += Json(number).dump();
        break;
    }
    case ColumnType::currency:
        out += Json(toText(held<Currency>(value, "holds no amount of currency"))).dump();
        break;
    case ColumnType::date: {
        const Date date = held<Date>(value, "holds no date");
        if (!std::isfinite(date.day)) refuseCell("holds no finite day number");
        out += dateJson(date).dump();
        break;
    }
    case ColumnType::boolean:
        out += held<bool>(value, "holds no flag") ? "true" : "false";
        break;
    case ColumnType::blob:
        out += '"';
        appendBase64(out, held<Bytes>(value, "holds no bytes"));
        out += '"';
        break;
    }
}

/// The values of the key, or of all columns where there is none.
Text nameOfRow(const TableDefinition& table, std::span<const Value> cells) {
    Text name;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const bool isKey =
            std::ranges::any_of(table.key, [&](const Text& key) { return equalNoCase(key, table.columns[i].name); });
        if (!isKey && !table.key.empty()) continue;
        const auto* text = cells[i].getIf<Text>();
        if (!name.empty()) name += ' ';
        name += text == nullptr ? fmt::format("({})", typeName(cells[i])) : inQuotes(*text);
    }
    return name;
}

// Reading.

/// The words of the parser without its own prefix and line number, which count from the text's beginning.
Text parserWords(TextView words) {
    const auto column = words.find("column ");
    return Text(column == TextView::npos ? words.substr(words.find("] ") + 2) : words.substr(column));
}

/// A name that is given twice in one object would lose its first value without a word.
Json parseObject(TextView line) {
    std::array<std::set<Text>, 2> names; // of the line, and of its row
    const auto watch = [&](int depth, Json::parse_event_t event, Json& parsed) {
        const bool opens = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
        if (opens && depth > 1) refuse("nested more deeply than any line of a dump");
        if (event != Json::parse_event_t::key) return true;
        auto& known = names[static_cast<std::size_t>(depth - 1)];
        if (!known.insert(parsed.get<Text>()).second) refuse(inQuotes(parsed.get<Text>()) + " is given twice");
        return true;
    };
    Json json;
    try {
        json = Json::parse(line, watch);
    } catch (const Json::exception& error) {
        refuse("no JSON: " + parserWords(error.what()));
    }
    if (!json.is_object()) refuse("a line must be a JSON object");
    return json;
}

const Json& required(const Json& line, const char* name) {
    const auto found = line.find(name);
    if (found == line.end()) refuse(fmt::format("\"{}\" is missing", name));
    return *found;
}

std::int64_t wholeNumber(const Json& line, const char* name) {
    const Json& number = required(line, name);
    if (!number.is_number_integer()) refuse(fmt::format("\"{}\" must be a whole number", name));
    return number.get<std::int64_t>();
}

void requireOnly(const Json& line, std::initializer_list<TextView> names) {
    for (const auto& [name, value] : line.items()) {
        if (std::ranges::find(names, TextView(name)) == names.end())
            refuse(fmt::format("{} is none of {}", inQuotes(name), fmt::join(names, ", ")));
    }
}

/// The version of the dump's tables.
std::int64_t readHeader(const Json& line) {
    if (line["corveth"] != "dump") refuse("\"corveth\" must be \"dump\"");
    if (const auto format = wholeNumber(line, "format"); format != formatVersion)
        refuse(fmt::format("the dump is of format {}, and this build reads format {}", format, formatVersion));
    requireOnly(line, {"corveth", "format", "schema"});
    const auto schema = wholeNumber(line, "schema");
    // An older version's tables have nothing that these have not.
    constexpr std::int64_t firstVersion = 1;
    if (schema >= firstVersion && schema <= schemaVersion) return schema;
    throw Error(errors::application, transferSource,
                fmt::format("the dump is of tables of version {}, {} than this build's {}", schema,
                            schema > schemaVersion ? "newer" : "older", schemaVersion));
}

[[noreturn]] void refuseValue(const ColumnDefinition& column, const char* takes, const Json& given) {
    constexpr std::size_t shownLength = 60;
    const Text shown = given.dump(-1, ' ', false, Json::error_handler_t::replace);
    throw Error(errors::dataTypeMismatch, transferSource,
                fmt::format("the column {} takes {}, not {}", column.name, takes,
                            shown.size() > shownLength ? inQuotes(leftUnits(shown, shownLength)) : shown));
}

template <class T>
Value wholeValue(const ColumnDefinition& column, const char* takes, const Json& given) {
    if (!given.is_number_integer()) refuseValue(column, takes, given);
    // What does not fit 64 bits either is beyond all others, too.
    const bool isHuge = given.is_number_unsigned() && !std::in_range<std::int64_t>(given.get<std::uint64_t>());
    if (isHuge || !std::in_range<T>(given.get<std::int64_t>())) refuseValue(column, takes, given);
    return static_cast<T>(given.get<std::int64_t>());
}

Value currencyValue(const ColumnDefinition& column, const Json& given) {
    constexpr const char* takes = "an amount as a text with up to four decimals (\"12.34\")";
    if (!given.is_string()) refuseValue(column, takes, given);
    const auto& text = given.get_ref<const Text&>();
    const auto point = text.find('.');
    if (point != Text::npos && text.size() - point > 5) refuseValue(column, takes, given);
    try {
        return parseCurrency(text);
    } catch (const Error&) {
        refuseValue(column, takes, given);
    }
}

Value valueOf(const ColumnDefinition& column, Json& given) {
    if (given.is_null()) return Null{};
    switch (column.type) {
    case ColumnType::shortText:
    case ColumnType::text:
        if (!given.is_string()) refuseValue(column, "a text", given);
        if (given.get_ref<const Text&>().find('\0') != Text::npos)
            refuseValue(column, "a text without a NUL character", given);
        return std::move(given.get_ref<Text&>());
    case ColumnType::smallInteger:
        return wholeValue<std::int16_t>(column, "a whole number of 16 bits", given);
    case ColumnType::integer:
        return wholeValue<std::int32_t>(column, "a whole number of 32 bits", given);
    case ColumnType::byte:
        return wholeValue<std::uint8_t>(column, "a whole number from 0 to 255", given);
    case ColumnType::real:
        if (!given.is_number()) refuseValue(column, "a number", given);
        return given.get<double>();
    case ColumnType::currency:
        return currencyValue(column, given);
    case ColumnType::date: {
        if (given.is_number()) return Date{given.get<double>()};
        const auto date = given.is_string() ? tryParseDate(given.get_ref<const Text&>()) : std::nullopt;
        if (!date) refuseValue(column, "a date (\"2024-02-29 10:00:00\") or a day number", given);
        return *date;
    }
    case ColumnType::boolean:
        if (!given.is_boolean()) refuseValue(column, "true or false", given);
        return given.get<bool>();
    case ColumnType::blob: {
        auto bytes = given.is_string() ? parseBase64(given.get_ref<const Text&>()) : std::nullopt;
        if (!bytes) refuseValue(column, "bytes as base64", given);
        return std::move(*bytes);
    }
    }
    return Null{};
}

/// `hint` is where it most likely stands.
std::size_t positionOf(const TableDefinition& table, TextView name, std::size_t hint) {
    const auto& columns = table.columns;
    if (hint < columns.size() && columns[hint].name == name) return hint;
    const auto found =
        std::ranges::find_if(columns, [&](const auto& column) { return equalNoCase(column.name, name); });
    if (found == columns.end())
        throw Error(errors::noSuchItem, transferSource, fmt::format("{} has no column {}", table.name, inQuotes(name)));
    return static_cast<std::size_t>(found - columns.begin());
}

DumpLine readRow(Json& line, const data::Definition& definition) {
    requireOnly(line, {"table", "row"});
    const Json& name = required(line, "table");
    if (!name.is_string()) refuse("\"table\" must be a text");
    Json& row = line["row"];
    if (!row.is_object()) refuse("\"row\" must be an object");

    const TableDefinition* table = definition.findTable(name.get_ref<const Text&>());
    if (table == nullptr || !isDumped(*table)) {
        throw Error(errors::noSuchItem, transferSource,
                    fmt::format("there is no table {}", inQuotes(name.get_ref<const Text&>())));
    }
    DumpLine result{DumpLine::Kind::row, table, std::vector<Value>(table->columns.size(), Value(Null{})), 0};
    std::vector<bool> isGiven(table->columns.size());
    std::size_t position = 0;
    for (const auto& item : row.items()) {
        position = positionOf(*table, item.key(), position);
        if (isGiven[position]) refuse(fmt::format("the column {} is given twice", table->columns[position].name));
        isGiven[position] = true;
        result.values[position] = valueOf(table->columns[position], item.value());
        ++position;
    }
    return result;
}

} // namespace

Text dumpHeader() {
    return fmt::format(R"({{"corveth": "dump", "format": {}, "schema": {}}})", formatVersion, schemaVersion);
}

Text dumpEnd(std::int64_t rows) {
    return fmt::format(R"({{"rows": {}}})", rows);
}

void appendRowLine(Text& out, const TableDefinition& table, std::span<const Value> cells) {
    out += fmt::format(R"({{"table": "{}", "row": {{)", table.name);
    bool isFirst = true;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (cells[i].isNull()) continue;
        if (!std::exchange(isFirst, false)) out += ", ";
        const ColumnDefinition& column = table.columns[i];
        out += fmt::format("\"{}\": ", column.name);
        try {
            appendCell(out, column.type, cells[i]);
        } catch (Error& error) {
            error.description = fmt::format("{}: the row {} cannot be dumped: its column {} {}", table.name,
                                            nameOfRow(table, cells), column.name, error.description);
            throw;
        }
    }
    out += "}}\n";
}

bool isDumped(const TableDefinition& table) noexcept {
    return !equalNoCase(table.name, versionTable);
}

DumpLine readDumpLine(TextView text, const data::Definition& definition) {
    Json line = parseObject(text);
    if (line.contains("table") || line.contains("row")) return readRow(line, definition);
    if (line.contains("corveth")) {
        return {DumpLine::Kind::header, nullptr, {}, 0, readHeader(line)};
    }
    if (line.contains("rows")) {
        requireOnly(line, {"rows"});
        return {DumpLine::Kind::end, nullptr, {}, wholeNumber(line, "rows")};
    }
    if (line.contains("class"))
        refuse("\"class\" makes a record that gets a new key, and the lines of a dump are rows that keep theirs");
    refuse("\"table\" is missing");
}

} // namespace corveth
