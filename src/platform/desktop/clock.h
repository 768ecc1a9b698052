#pragma once

#include "platform/automation/date.h"

#include <functional>

namespace corveth {

using Clock = std::function<Date()>;

/// Local time, in whole seconds.
CORVETH_API Date now();
/// Local time's day.
CORVETH_API Date today();
/// For the whole process; an empty one brings the system's clock back. Returns the one before, empty for the system's.
CORVETH_API Clock setClock(Clock clock);

} // namespace corveth
