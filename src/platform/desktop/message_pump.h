#pragma once

#include "platform/export.h"

#include <functional>

namespace corveth {

/// Lets the calling thread process its pending window messages once; without a handler those of `window.h`. Throws what
/// the handler throws.
CORVETH_API void pumpMessages();

using MessagePump = std::function<void()>;
/// Replaces the handler of the process and returns the earlier one; an empty one stands for the plain one.
CORVETH_API MessagePump setMessagePump(MessagePump pump);

} // namespace corveth
