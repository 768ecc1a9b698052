#pragma once

#include "platform/automation/object.h"
#include "server/binary/binary_interface.h"

namespace corveth::server {

/// A client's call of the member `id`: arguments in, by-reference ones back, the result to `result` unless null.
/// Throws what the call throws; conversion errors name the argument.
void invokeForClient(Object& self, binary::DispId id, std::uint16_t flags, const binary::DispParams* params,
                     binary::Variant* result);

} // namespace corveth::server
