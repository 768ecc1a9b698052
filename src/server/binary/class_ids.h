#pragma once

#include "server/binary/binary_interface.h"

#include <string>
#include <string_view>

namespace corveth::binary {

/// The version-5 UUID of `name` in this library's namespace, ebf07e2f-5069-4264-a825-b6036b77eec1.
/// - A class's id is that of its programmatic identifier as it is spelt, `prjCorveth.Note`; the one in lower case,
///   `prjcorveth.note`, is known too, for clients that do not know the spelling.
/// - The interface of a class has the id of `prjCorveth._Note`, an enumeration or record that of `prjCorveth.NAME`.
[[nodiscard]] Guid nameBasedId(std::string_view name) noexcept;

/// `{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}`
[[nodiscard]] std::string toText(const Guid& id);

} // namespace corveth::binary
