#pragma once

#include "platform/data/connection.h"
#include "platform/data/definition.h"

#include <deque>

namespace corveth {

/// Reads the rows of a table in the order of its key, some at a time: no more of them, nor of bytes in them, than fit
/// well in memory, whatever the table holds. It looks ahead at keys and sizes, then reads the rows between two keys. A
/// table without a key goes by the column that an index of it begins with, or as a whole; rows that are alike there are
/// read by their number. To be used within one transaction.
class TableWalk {
public:
    TableWalk(Ref<Connection> connection, const data::Definition& definition, const data::TableDefinition& table);

    /// The cells of the next rows, in the order of the columns; empty at the end.
    [[nodiscard]] std::vector<Value> next();

private:
    /// Rows that are alike in the columns that the walk goes by; one row where these are the key.
    struct Step {
        std::vector<Value> place;
        std::int64_t rows = 1;
        double size = 0; ///< of its texts and bytes, roughly
    };

    void lookAhead();
    [[nodiscard]] Text condition(const char* comparison) const;
    [[nodiscard]] std::vector<Value> run(const Text& statement, std::span<const Value> values) const;
    /// The rows behind `behind` (all when it is empty) up to `upTo`.
    [[nodiscard]] std::vector<Value> rowsBetween(std::span<const Value> behind, std::span<const Value> upTo,
                                                 const Text& limit = {}) const;

    Ref<Connection> connection_;
    std::vector<Text> columns_; ///< in brackets, as all names here
    std::vector<Text> by_;
    std::vector<Text> order_; ///< of the rows
    Text lookOrder_;          ///< of what is looked ahead at
    Text name_, size_;
    bool isUnique_ = false;
    std::deque<Step> ahead_;
    bool isAllSeen_ = false;
    std::vector<Value> seen_;  ///< the last place looked at
    std::vector<Value> taken_; ///< the last place read
    std::int64_t part_ = 0;    ///< how many rows of the next step were read, when they are too many for one piece
};

} // namespace corveth
