#pragma once

#include "common/late_bound.h"
#include "server/binary/binary_interface.h"

namespace corveth::client {

/// The small number of a run-time or data-access error, else the whole code.
std::uint32_t numberOf(binary::HResult result) noexcept;

/// Throws `Failure` that says what failed, for a result that came without an error record.
void requireSuccess(binary::HResult result, std::string_view what);

/// The text, which is freed.
std::string takeText(binary::Bstr text);

/// Overwrites `variant`, which then owns what it holds. `target` is what it is passed to: it knows the records that its
/// members take.
void toBinary(const Variant& value, binary::Variant& variant, binary::IDispatch& target);

/// The value; `variant` is empty afterwards.
Variant takeVariant(binary::Variant& variant);

} // namespace corveth::client
