#include "cli/commands.h"
#include "cli/session.h"
#include "cli/text_table.h"
#include "cli/value_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace corveth::cli {

using client::LateObject;
using client::Variant;

namespace {

std::vector<std::string> columnNames(const LateObject& fields, std::int32_t count) {
    std::vector<std::string> names;
    for (std::int32_t column = 0; column < count; ++column) {
        const auto field = std::get<LateObject>(fields.get("Item", {column}));
        names.push_back(std::get<std::string>(field.get("Name")));
    }
    return names;
}

/// Calls `take` with the values of each row.
template <class Take>
void forEachRow(const LateObject& rows, const LateObject& fields, std::int32_t count, const Take& take) {
    std::vector<LateObject> columns;
    for (std::int32_t column = 0; column < count; ++column)
        columns.push_back(std::get<LateObject>(fields.get("Item", {column})));
    for (; !std::get<bool>(rows.get("EOF")); rows.call("MoveNext")) {
        std::vector<Variant> values;
        for (const LateObject& column : columns)
            values.push_back(column.get("Value"));
        take(values);
    }
}

/// A join may yield one name twice, an object may not hold it twice.
std::vector<std::string> distinct(const std::vector<std::string>& names) {
    std::vector<std::string> result;
    for (const std::string& name : names) {
        std::string candidate = name;
        for (int i = 2; std::ranges::find(result, candidate) != result.end(); ++i)
            candidate = fmt::format("{} ({})", name, i);
        result.push_back(std::move(candidate));
    }
    return result;
}

} // namespace

std::string runStatement(const Request& request) {
    Library library;
    const Session session(library, request.database);
    client::Arguments arguments{request.statement, std::int32_t{0}, std::int32_t{-1}};
    const Variant result = session.connection().callByRef("Execute", arguments);
    const auto* rows = std::get_if<LateObject>(&result);
    if (rows == nullptr || !*rows || std::get<std::int32_t>(rows->get("State")) == 0) {
        const std::string affected = plainText(arguments[1]);
        if (request.asJson) return Json{{"affected", jsonValue(arguments[1])}}.dump(1) + "\n";
        return fmt::format("{} {} affected\n", affected, affected == "1" ? "row" : "rows");
    }

    const auto fields = std::get<LateObject>(rows->get("Fields"));
    const std::int32_t count = std::get<std::int32_t>(fields.get("Count"));
    const auto names = columnNames(fields, count);
    if (!request.asJson) {
        TextTable table(names);
        forEachRow(*rows, fields, count, [&](const std::vector<Variant>& values) {
            std::vector<TextTable::Cell> cells;
            for (const Variant& value : values)
                cells.push_back({plainText(value), isNumber(value)});
            table.addRow(std::move(cells));
        });
        return table.text();
    }
    const auto keys = distinct(names);
    Json list = Json::array();
    forEachRow(*rows, fields, count, [&](const std::vector<Variant>& values) {
        Json row = Json::object();
        for (std::size_t column = 0; column < values.size(); ++column)
            row[keys[column]] = jsonValue(values[column]);
        list.push_back(std::move(row));
    });
    return list.dump(1) + "\n";
}

} // namespace corveth::cli
