#include "platform/data/postgresql/session.h"
#include "platform/data/provider.h"
#include "platform/data/sqlite/session.h"

#include <array>

namespace corveth::data {

std::span<const Provider* const> providers() noexcept {
    static constexpr std::array<const Provider*, 2> known = {&sqlite::provider, &postgresql::provider};
    return known;
}

} // namespace corveth::data
