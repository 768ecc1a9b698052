#pragma once

#include "common/late_bound.h"
#include "server/binary/memory.h"

namespace corveth::client {

/// What the object's type description tells, read once a class and kept for the life of the process. Legal on any
/// thread that may use the object.
const ClassDescription& describe(binary::IDispatch& object);
const ClassDescription& describe(binary::ITypeInfo& info);

/// The record type of that name among those that the object's members take or yield; empty when there is none. Looked
/// up each time: a kept one would keep the server from being unloaded.
binary::Held<binary::IRecordInfo> findRecordType(binary::IDispatch& object, std::string_view name);

} // namespace corveth::client
