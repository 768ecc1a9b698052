#pragma once

#include "platform/automation/value.h"

#include <optional>
#include <span>

namespace corveth {

/// Bytes as text of the alphabet with `+` and `/`, padded with `=`, on one line.
CORVETH_API void appendBase64(Text& out, std::span<const std::byte> bytes);

/// The bytes of such a text; empty when it is none: another character, padding that is missing or too much, bits that
/// stand for nothing.
CORVETH_API std::optional<Bytes> parseBase64(TextView text);

} // namespace corveth
