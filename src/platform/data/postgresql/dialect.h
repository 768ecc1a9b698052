#pragma once

#include "platform/data/dialect.h"

namespace corveth::data::postgresql {

[[nodiscard]] const Dialect& dialect() noexcept;

/// The statements that make the functions of the desktop dialect, in the schema `corveth`.
[[nodiscard]] std::vector<Text> functionStatements();

} // namespace corveth::data::postgresql
