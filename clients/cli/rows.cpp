#include "cli/rows.h"

namespace corveth::cli {

using client::LateObject;

void forEachRow(const Session& session, const std::string& statement, const std::function<void(Row)>& take) {
    const auto rows = std::get<LateObject>(session.connection().call("Execute", {statement}));
    const auto fields = std::get<LateObject>(rows.get("Fields"));
    std::vector<LateObject> columns;
    for (std::int32_t column = 0; column < std::get<std::int32_t>(fields.get("Count")); ++column)
        columns.push_back(std::get<LateObject>(fields.get("Item", {column})));
    for (; !std::get<bool>(rows.get("EOF")); rows.call("MoveNext")) {
        Row row;
        for (const LateObject& column : columns)
            row.push_back(column.get("Value"));
        take(std::move(row));
    }
}

} // namespace corveth::cli
