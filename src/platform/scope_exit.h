#pragma once

#include <utility>

namespace corveth {

/// Runs `action` at the end of the scope, however it is left. The action must not throw.
template <class Action>
class [[nodiscard]] ScopeExit {
public:
    explicit ScopeExit(Action action) : action_(std::move(action)) {}
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;
    ~ScopeExit() { action_(); }

private:
    Action action_;
};

template <class Action>
ScopeExit<Action> finally(Action action) {
    return ScopeExit<Action>(std::move(action));
}

} // namespace corveth
