#include "platform/data/provider.h"
#include "platform/data/sqlite/session.h"

#include <array>

namespace corveth::data {

std::span<const Provider* const> providers() noexcept {
    static constexpr std::array<const Provider*, 1> known = {&sqlite::provider};
    return known;
}

} // namespace corveth::data
