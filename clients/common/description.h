#pragma once

#include "common/late_bound.h"
#include "server/binary/memory.h"

namespace corveth::client {

/// What the object's type description tells, read once a class and kept for the life of the process. Legal on any
/// thread that may use the object.
const ClassDescription& describe(binary::IDispatch& object);
const ClassDescription& describe(binary::ITypeInfo& info);

/// The record type of that name among those that descriptions read so far refer to; empty when there is none.
binary::Held<binary::IRecordInfo> findRecordType(std::string_view name);

} // namespace corveth::client
