#pragma once

#include "platform/automation/text.h"

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace corveth::data {

struct Provider;

/// Seconds that a statement waits for a lock when nothing else was said, and the most that can be.
inline constexpr std::int32_t defaultTimeout = 10;
inline constexpr std::int32_t longestTimeout = 86400;

/// A connection string, checked: known keywords that suit the provider, none twice.
struct ConnectionSettings {
    const Provider* provider = nullptr;
    std::vector<std::pair<Text, Text>> values; ///< keyword as documented, and its value
    std::optional<std::int32_t> timeout;       ///< seconds; none when it was not given
    bool isReadOnly = false;                   ///< no keyword's: whoever opens says so

    /// Empty when it was not given.
    [[nodiscard]] TextView value(TextView keyword) const noexcept;
};

/// `Keyword=Value;...`, a value in quotes where it holds `;`. User and password, when not empty, go before the
/// string's. 3001 that names all that is wrong at once.
[[nodiscard]] ConnectionSettings parseConnectionString(TextView text, TextView userId = {}, TextView password = {});

/// The same string without the password's value.
[[nodiscard]] Text withoutPassword(TextView text);

} // namespace corveth::data
