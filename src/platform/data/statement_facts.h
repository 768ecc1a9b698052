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

    /// The one table or view whose rows a Select yields, or that an Insert, Replace or Update changes; empty for joins,
    /// groups and the like.
    Text target;
    std::vector<Assignment> assignments;
};

[[nodiscard]] StatementFacts readFacts(std::span<const Token> tokens);

} // namespace corveth::data
