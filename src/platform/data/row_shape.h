#pragma once

#include "platform/data/provider.h"

#include <deque>
#include <optional>

namespace corveth::data {

/// How rows of a statement are written back.
struct WritePlan {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    struct Key {
        std::size_t tableColumn;
        std::size_t column; ///< of the rows, or none
    };
    std::shared_ptr<const TableInfo> table;
    std::vector<std::size_t> tableColumns; ///< for each column of the rows; none for what is computed
    std::vector<Key> keys;
    /// What was written last, by the columns that were: one save after another writes the same ones.
    struct Written {
        std::vector<bool> columns;
        Text statement;
    };
    mutable Written inserted, updated;
    /// Every key column is in the rows.
    [[nodiscard]] bool hasKeys() const noexcept;
    [[nodiscard]] bool isWritable(std::size_t column) const noexcept { return tableColumns[column] != none; }
    /// What the table calls a column of the rows, which must be one of it.
    [[nodiscard]] const Text& nameInTable(std::size_t column) const {
        return table->columns[tableColumns[column]].name;
    }
};

/// The columns that a statement yields. Shared by the cached statement and every recordset over it.
class RowShape {
public:
    RowShape(std::span<const ResultColumn> columns, Text target);

    [[nodiscard]] std::size_t size() const noexcept { return columns_.size(); }
    [[nodiscard]] const ResultColumn& operator[](std::size_t i) const noexcept { return columns_[i]; }
    /// Without regard to case.
    [[nodiscard]] std::optional<std::size_t> position(TextView name) const noexcept;
    [[nodiscard]] std::span<const int> positions(const void* table, std::span<const char* const> names) const;
    /// The table or view that the rows are of; empty for a join and the like.
    [[nodiscard]] const Text& target() const noexcept { return target_; }
    /// Found once. Null when the rows are of no one table.
    [[nodiscard]] const WritePlan* plan(Session& session) const;

private:
    struct Found {
        const void* table;
        std::vector<int> positions;
    };
    std::vector<ResultColumn> columns_;
    Text target_;
    mutable std::deque<Found> found_;
    mutable std::optional<WritePlan> plan_;
    mutable bool planned_ = false;
};

} // namespace corveth::data
