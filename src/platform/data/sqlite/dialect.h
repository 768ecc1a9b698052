#pragma once

#include "platform/data/dialect.h"

struct sqlite3;

namespace corveth::data::sqlite {

[[nodiscard]] const Dialect& dialect() noexcept;

/// The functions of the desktop dialect that the engine lacks. Statements only: a schema that used them could not be
/// opened by other programs.
void registerFunctions(sqlite3* database);

} // namespace corveth::data::sqlite
