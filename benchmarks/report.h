#pragma once

#include "measure.h"
#include "operations.h"

namespace corveth::bench {

/// An aligned table for people.
std::string asTable(const std::vector<Result>& results, const std::optional<ContactMemory>& memory);
/// The same for tools.
std::string asJson(const std::vector<Result>& results, const std::optional<ContactMemory>& memory);

} // namespace corveth::bench
