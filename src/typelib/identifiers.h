#pragma once

#include "platform/automation/class_info.h"

#include <array>
#include <cstdint>

namespace corveth {

/// Sixteen bytes in the order in which an identifier is written.
using Uuid = std::array<std::uint8_t, 16>;

/// The identifier that stands for `name`, the same in every build. Case counts.
CORVETH_API Uuid identifierOf(TextView name);
/// Of the class, from its programmatic identifier.
CORVETH_API Uuid classId(const ClassInfo& info);
/// Of the interface `_X` that the class implements.
CORVETH_API Uuid interfaceId(const ClassInfo& info);
/// Of the type library.
CORVETH_API Uuid libraryId();

/// Lower-case digits in five groups.
CORVETH_API Text toText(const Uuid& uuid);

} // namespace corveth
