#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace corveth {

template <class Signature>
class Replaceable;

/// A function of the desktop that a host or a test may replace, for the whole process and from any thread. The call
/// itself runs unlocked, so a function may replace itself.
template <class Result, class... Arguments>
class Replaceable<Result(Arguments...)> {
public:
    using Function = std::function<Result(Arguments...)>;

    explicit Replaceable(Function plain) : plain_(std::make_shared<const Function>(std::move(plain))) {}

    /// An empty function brings the plain one back. Returns what was set before; empty when that was the plain one.
    Function set(Function function) {
        auto next = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
        const std::lock_guard lock(mutex_);
        std::swap(set_, next);
        return next ? *next : Function{};
    }
    Result operator()(Arguments... arguments) const { return (*current())(std::forward<Arguments>(arguments)...); }

private:
    [[nodiscard]] std::shared_ptr<const Function> current() const {
        const std::lock_guard lock(mutex_);
        return set_ ? set_ : plain_;
    }

    mutable std::mutex mutex_;
    std::shared_ptr<const Function> plain_, set_;
};

} // namespace corveth
