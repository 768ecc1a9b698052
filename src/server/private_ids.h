#pragma once

#include "server/binary/binary_interface.h"
#include "server/module.h"

namespace corveth::server {

// Interfaces by which this loaded server knows its own objects among the pointers that come in. They carry an address
// of the module, so that the objects of a second copy in the same process count as a client's.

inline binary::Guid privateId(std::uint32_t number) noexcept {
    binary::Guid id{number, 0x4f1d, 0x4c52, {}};
    const auto address = reinterpret_cast<std::uintptr_t>(&outstanding);
    for (unsigned i = 0; i < sizeof address; ++i)
        id.data4[i] = static_cast<std::uint8_t>(address >> (8 * i));
    return id;
}
/// Gives the `Object`, referenced.
inline binary::Guid ownObjectId() noexcept {
    return privateId(0x9d3b61e8);
}
/// Gives the record's type, referenced.
inline binary::Guid ownRecordId() noexcept {
    return privateId(0x9d3b61e9);
}

} // namespace corveth::server
