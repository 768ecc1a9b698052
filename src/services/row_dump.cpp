#include "services/row_dump.h"

#include "platform/automation/convert.h"
#include "platform/data/channel.h"
#include "services/dump_line.h"
#include "services/schema.h"
#include "services/table_walk.h"

#include <fmt/format.h>

namespace corveth {

RowDump::RowDump(TextView connectionString, data::Definition definition)
    : definition_(std::move(definition)), connection_(make<Connection>()) {
    connection_->openReadOnly(connectionString);
    connection_->BeginTrans();
    requireTables(connection_->channel().session(), connectionString);
}

RowDump::~RowDump() = default;

std::int64_t RowDump::count() const {
    double rows = 0;
    for (const auto& table : definition_.tables) {
        if (!isDumped(table)) continue;
        std::vector<Value> cells;
        connection_->channel().run("open", fmt::format("Select Count(*) From [{}]", table.name), &cells);
        rows += toDouble(cells.front());
    }
    return static_cast<std::int64_t>(rows);
}

Text RowDump::next() {
    if (at_ == At::header) {
        at_ = At::rows;
        return dumpHeader() + "\n";
    }
    for (; at_ == At::rows && table_ < definition_.tables.size(); ++table_) {
        const auto& table = definition_.tables[table_];
        if (!isDumped(table)) continue;
        if (walk_ == nullptr) walk_ = std::make_unique<TableWalk>(connection_, definition_, table);
        const std::vector<Value> cells = walk_->next();
        Text lines;
        for (std::size_t at = 0; at < cells.size(); at += table.columns.size()) {
            appendRowLine(lines, table, std::span(cells).subspan(at, table.columns.size()));
            ++done_;
        }
        if (!lines.empty()) return lines;
        walk_.reset();
    }
    if (at_ == At::end) return {};
    at_ = At::end;
    return dumpEnd(done_) + "\n";
}

} // namespace corveth
