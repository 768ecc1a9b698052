#pragma once

#include <atomic>
#include <cstddef>

namespace corveth::server {

/// What clients hold of the server: objects, enumerators, factories, type descriptions, locks. The module can be
/// unloaded while it is 0.
inline std::atomic<std::ptrdiff_t> outstanding = 0;

/// Counts one thing that clients hold for as long as it lives.
class Outstanding {
public:
    Outstanding() noexcept { outstanding.fetch_add(1, std::memory_order_relaxed); }
    Outstanding(const Outstanding&) = delete;
    Outstanding& operator=(const Outstanding&) = delete;
    ~Outstanding() { outstanding.fetch_sub(1, std::memory_order_release); }
};

} // namespace corveth::server
