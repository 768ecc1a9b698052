#pragma once

#include "platform/data/provider.h"

namespace corveth::data {

/// A stored number of a column that says what it means; as the engine has it where it means nothing there.
[[nodiscard]] Value storedValue(std::int64_t number, ColumnKind kind);
[[nodiscard]] Value storedValue(double number, ColumnKind kind);

} // namespace corveth::data
