#pragma once

#include "platform/data/connection.h"
#include "services/schema_text.h"

namespace corveth {

class TableWalk;

/// All rows of a database as the lines of a dump, as they stood at one moment, table by table in the order of the
/// definition. Memory does not grow with the database.
class CORVETH_API RowDump {
public:
    /// Opens the database to look only. A sentence when it has not the tables of this build; what keeps it from being
    /// opened is thrown unchanged.
    explicit RowDump(TextView connectionString, data::Definition definition = wholeDefinition());
    RowDump(const RowDump&) = delete;
    RowDump& operator=(const RowDump&) = delete;
    ~RowDump();

    /// How many rows there are.
    [[nodiscard]] std::int64_t count() const;
    [[nodiscard]] std::int64_t done() const noexcept { return done_; }
    /// The next lines, each with its line break; empty at the end.
    [[nodiscard]] Text next();

private:
    enum class At : std::uint8_t { header, rows, end };

    data::Definition definition_;
    Ref<Connection> connection_;
    At at_ = At::header;
    std::size_t table_ = 0;
    std::unique_ptr<TableWalk> walk_; ///< through the table; none before its first row
    std::int64_t done_ = 0;
};

} // namespace corveth
