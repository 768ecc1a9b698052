#pragma once

#include "platform/data/provider.h"
#include "platform/data/tokenizer.h"

namespace corveth::data {

/// One item of a list of columns.
struct ResultItem {
    enum class Kind : std::uint8_t {
        column, ///< of a table, a view or a query within: its name is as the table spells it, else as it stands here
        expression,
        named,
        all, ///< `*`, which stands for any number of columns
    };
    Kind kind;
    Text name; ///< as it is written
};

/// What a statement yields, of several that are joined what the first one does; empty when its text does not say. A `*`
/// over nothing but a query within is what that one yields.
[[nodiscard]] std::vector<ResultItem> readResultItems(std::span<const Token> tokens);

/// Gives columns the names that the statement's text gives them; an expression without one is called Expr and 1000 more
/// than its position. Those between two `*` keep what they have.
void nameColumns(std::span<const ResultItem> items, std::span<ResultColumn> columns);

} // namespace corveth::data
