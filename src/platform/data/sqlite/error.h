#pragma once

#include "platform/automation/error.h"

struct sqlite3;

namespace corveth::data::sqlite {

/// The engine's words for what went wrong last, with its extended result code.
[[nodiscard]] Text words(sqlite3* database, int code);
/// The same; the file is named when it is the file, its disk or its locks that the words are about.
[[nodiscard]] Text wordsWithFile(sqlite3* database, int code);

/// Throws them, with the file, as an engine error.
[[noreturn]] void fail(sqlite3* database, int code);
/// The same about a file.
[[noreturn]] void failOpening(const Text& path, const Text& why);

} // namespace corveth::data::sqlite
