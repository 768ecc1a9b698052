#pragma once

#include "measure.h"
#include "operations.h"

namespace corveth::bench {

/// What was measured, by engine.
struct Report {
    std::vector<Result> sqlite;
    std::optional<ContactMemory> memory;
    std::optional<FileMemory> sqliteFiles, serverFiles;
    std::vector<Result> server;
    std::string serverDescription;
};

/// Aligned tables for people.
std::string asTable(const Report& report);
/// The same for tools.
std::string asJson(const Report& report);

} // namespace corveth::bench
