#pragma once

#include "platform/data/connection.h"
#include "services/schema_text.h"

namespace corveth {

struct DumpLine;

/// Takes the lines of a dump into a database that may have rows of its own, with the keys that they have, in one
/// transaction: it is rolled back unless `finish` ends it. Memory does not grow with the dump.
class CORVETH_API RowLoad {
public:
    /// A sentence when the database has not the tables of this build; what keeps it from being opened is thrown
    /// unchanged.
    explicit RowLoad(TextView connectionString, data::Definition definition = wholeDefinition());

    /// Whole lines, as many as suit. Blank ones count but say nothing. An error names the line; after one nothing but
    /// giving up makes sense.
    void add(TextView lines);
    /// Commits; 5 when the closing line has not come, or counts other than these rows.
    void finish();
    [[nodiscard]] std::int64_t done() const noexcept { return done_; }

private:
    /// What comes next.
    enum class At : std::uint8_t { header, rows, nothing };

    /// Rows of one table that wait to be written together.
    struct Pending {
        const data::TableDefinition* table = nullptr;
        std::vector<Value> values;
        std::vector<std::int64_t> lines; ///< that the rows stood in
        std::size_t bytes = 0;
    };

    [[nodiscard]] DumpLine read(TextView line) const;
    void flush();
    void removeFirstRows();
    void replaceFirstRows();
    /// `rows` of those that wait, from `first` on, by one statement.
    void write(std::size_t first, std::size_t rows);
    [[nodiscard]] bool isKeyTaken(std::size_t row) const;
    [[nodiscard]] Text keyOf(std::size_t row) const;

    data::Definition definition_;
    Ref<Connection> connection_;
    Pending pending_;
    std::int64_t line_ = 0;
    std::int64_t done_ = 0;
    At at_ = At::header;
};

} // namespace corveth
