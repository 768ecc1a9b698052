#pragma once

#include "platform/automation/object.h"
#include "server/binary/binary_interface.h"

namespace corveth::server {

/// The interface that stands for `object` with clients, counted once for the receiver: an `IDispatch`, for an
/// enumerator an `IEnumVariant`, for an object of a client that client's own pointer. One object has one identity as
/// long as it lives. Throws 0x8001010E away from the object's thread.
binary::IUnknown* toClient(Object& object);

/// False for what has no `IDispatch`: enumerators, and objects of clients that came without it.
bool isCallable(const Object& object) noexcept;

/// The object behind a client's pointer: our own, or one that holds the client's. Empty for null. Throws 0x8001010E for
/// an object of another thread.
Ref<Object> objectOfClient(binary::IUnknown* pointer);

} // namespace corveth::server
