#pragma once

#include "cli/session.h"

#include <functional>
#include <string>
#include <vector>

namespace corveth::cli {

using Row = std::vector<client::Variant>;

/// Calls `take` with the values of each row that the statement yields.
void forEachRow(const Session& session, const std::string& statement, const std::function<void(Row)>& take);

} // namespace corveth::cli
