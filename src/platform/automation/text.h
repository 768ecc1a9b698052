#pragma once

#include "platform/export.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace corveth {

/// Text inside the library is UTF-8 and holds no NUL; it becomes UTF-16 at the binary edge only.
using Text = std::string;
using TextView = std::string_view;

/// Without blanks (U+0020 only) at both ends.
CORVETH_API TextView trimBlanks(TextView text) noexcept;

/// The first `units` UTF-16 units; all of a shorter text. Never splits a character.
CORVETH_API TextView leftUnits(TextView text, std::size_t units) noexcept;

/// How many UTF-16 units the text takes; a broken byte counts one.
CORVETH_API std::size_t unitCount(TextView text) noexcept;

/// Every occurrence of `what` replaced, in one pass from left to right; what was put in is not looked at again.
CORVETH_API Text replaceAll(TextView text, TextView what, TextView with);

/// Comparisons without regard to ASCII case, as names, keys and links compare.
CORVETH_API bool equalNoCase(TextView a, TextView b) noexcept;
CORVETH_API int compareNoCase(TextView a, TextView b) noexcept;
CORVETH_API Text foldCase(TextView text);

/// In quotes, for a message: a long text is shortened, control characters and broken bytes are written `\x0A`.
CORVETH_API Text inQuotes(TextView text);

/// True when `text` is well-formed UTF-8 (no surrogates, nothing beyond U+10FFFF, no overlong forms).
CORVETH_API bool isUtf8(TextView text) noexcept;

} // namespace corveth
