#pragma once

#include "platform/automation/class_info.h"

namespace corveth {

/// Every class that a client can name: the library's public classes first, in the order of the type library.
/// Defined where the classes are listed (`typelib/classes.cpp`).
CORVETH_API std::span<const ClassInfo* const> allClasses() noexcept;
CORVETH_API std::span<const EnumInfo* const> allEnums() noexcept;
CORVETH_API std::span<const RecordInfo* const> allRecords() noexcept;

/// By programmatic identifier, without regard to case; null when unknown.
CORVETH_API const ClassInfo* findClass(TextView progId) noexcept;
/// A new object; 429 that names the identifier when it is unknown or cannot be created.
CORVETH_API Ref<Object> createObject(TextView progId);

} // namespace corveth
