#include "cli/commands.h"
#include "cli/session.h"
#include "cli/text_table.h"
#include "cli/value_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace corveth::cli {

Result checkRows(const Request& request) {
    const auto schema = Library().create("Corveth.Schema");
    const auto text = schema.call("CheckRows", {connectionString(request.database)});
    const Json findings = Json::parse(std::get<std::string>(text));
    const auto problems =
        std::ranges::count_if(findings, [](const Json& finding) { return finding.at("problem").get<bool>(); });

    Result result;
    if (request.asJson) {
        result.output = findings.dump(1) + "\n";
    } else {
        TextTable table({"Check", "Table", "Key", "Finding"});
        for (const Json& finding : findings) {
            std::vector<TextTable::Cell> cells;
            for (const char* name : {"check", "table", "key", "finding"})
                cells.push_back({finding.at(name).get<std::string>()});
            table.addRow(std::move(cells));
        }
        if (!findings.empty()) result.output = table.text();
        if (problems == 0) result.output += "No problems found.\n";
    }
    if (problems > 0) {
        result.complaint = fmt::format("{} {} found", problems, problems == 1 ? "problem" : "problems");
    }
    return result;
}

} // namespace corveth::cli
