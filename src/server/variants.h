#pragma once

#include "platform/automation/value.h"
#include "server/binary/binary_interface.h"

namespace corveth::server {

/// What a client passed, by value or by reference; the client keeps its own. Errors: 5 for text that is no well-formed
/// UTF-16 or holds a NUL, 6 for a number that no automation type of the library takes, 13 for what cannot be passed.
Value fromVariant(const binary::Variant& variant);

/// `variant` is overwritten, what it owned is not freed; then it belongs to the client.
void toVariant(const Value& value, binary::Variant& variant);

/// Replaces what the by-reference `argument` points to, in the type that stands there; conversion errors like those of
/// an assignment. Does nothing for an argument by value.
void writeBack(const Value& value, binary::Variant& argument);

/// What a variable of the by-value `type` at `data` holds.
Value fromMemory(binary::VarType type, const void* data);
/// Converts and stores into such a variable, freeing what it held.
void storeAs(binary::VarType type, void* target, const Value& value);

/// Never null; throws 7 without memory, 5 for broken UTF-8.
binary::Bstr toBstr(TextView text);
Text fromBstr(const binary::OleChar* text);

} // namespace corveth::server
