#pragma once

#include "platform/export.h"

#include <functional>

namespace corveth {

/// Lets the calling thread process its pending window messages once. Without a handler there are none.
CORVETH_API void pumpMessages() noexcept;

using MessagePump = std::function<void()>;
/// Replaces the handler of the process and returns the earlier one; an exception it throws goes no further.
CORVETH_API MessagePump setMessagePump(MessagePump pump);

} // namespace corveth
