#pragma once

#include "platform/data/tokenizer.h"

namespace corveth::data {

/// A condition on the groups of a query that asks for the group of one value alone becomes one on its rows:
/// `Group By x Having x = 'a'` is `Where x = 'a' Group By x`. The result is the same, and an engine that would make all
/// groups first can search for the rows. Any other statement stays as it is; so do the places of parameters.
CORVETH_API void moveGroupCondition(std::vector<Token>& tokens);

} // namespace corveth::data
