#pragma once

#include "platform/automation/convert.h"

#include <fmt/format.h>
#include <type_traits>

namespace corveth::test {

/// What a call came to, as text for tables: its result, or `error NUMBER: DESCRIPTION`.
template <class Call>
Text outcome(Call call) {
    try {
        using Result = std::remove_cvref_t<decltype(call())>;
        if constexpr (std::is_convertible_v<Result, Text>) {
            return call();
        } else {
            return toText(Value(call()));
        }
    } catch (const Error& error) {
        return fmt::format("error {}: {}", error.number, error.description);
    }
}

/// The number of the error that `call` raises; 0 when it raises none.
template <class Call>
std::int32_t errorOf(Call call) {
    try {
        static_cast<void>(call());
        return 0;
    } catch (const Error& error) {
        return error.number;
    }
}

} // namespace corveth::test
