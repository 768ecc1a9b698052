#pragma once

#include "platform/automation/text.h"

namespace corveth::data {

/// The desktop's Like: `*` any text, `?` one character, `#` one digit, `[a-z]` one of, `[!a-z]` none of; without
/// regard to ASCII case.
[[nodiscard]] bool likeMatches(TextView text, TextView pattern) noexcept;

} // namespace corveth::data
