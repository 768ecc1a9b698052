#pragma once

#include "platform/data/tokenizer.h"

#include <span>

namespace corveth::data {

/// What is read off a statement's text before any engine sees it.
struct StatementFacts {
    /// A parameter that is stored as it is, and the column that takes it.
    struct Assignment {
        std::size_t parameter; ///< from 0
        Text column;           ///< empty: the table's column number `position`
        std::size_t position;
    };
    /// A parameter that is compared with nothing but a column.
    struct Comparison {
        std::size_t parameter; ///< from 0
        Text column;
    };

    /// The one table or view whose rows a Select yields, or that an Insert, Replace, Update or Delete changes; empty
    /// for joins, groups and the like.
    Text target;
    std::vector<Assignment> assignments;
    /// For each row of values of an Insert that names no columns: how many there are.
    std::vector<std::size_t> rowWidths;
    /// The one table or view that the statement takes rows from, also when it groups them; the comparisons are with its
    /// columns.
    Text compared;
    std::vector<Comparison> comparisons;
};

[[nodiscard]] StatementFacts readFacts(std::span<const Token> tokens);

} // namespace corveth::data
