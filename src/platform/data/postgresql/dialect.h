#pragma once

#include "platform/data/dialect.h"

namespace corveth::data::postgresql {

[[nodiscard]] const Dialect& dialect() noexcept;

/// As the engine folds a plain name, and between quotes, so that none is a word of its language.
[[nodiscard]] Text foldedName(TextView name);
[[nodiscard]] Text literal(TextView text);

/// The statements that make the functions of the desktop dialect, in the schema `corveth`.
[[nodiscard]] std::vector<Text> functionStatements();

} // namespace corveth::data::postgresql
