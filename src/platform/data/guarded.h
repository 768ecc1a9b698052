#pragma once

#include "platform/automation/error.h"

namespace corveth::data {

/// Runs `action`; whatever fails in it is reported by `source`.
template <class Action>
decltype(auto) guarded(const char* source, Action&& action) {
    try {
        return std::forward<Action>(action)();
    } catch (Error& error) {
        error.source = source;
        throw;
    }
}

} // namespace corveth::data
