#pragma once

#include "platform/automation/describe.h"
#include "server/binary/memory.h"

namespace corveth::server {

/// An object that a client made: the library can hold it and hand it back. It has no members here.
class ForeignObject final : public Described<ForeignObject> {
public:
    static constexpr const char* className = "Object";
    static const ClassInfo description;

    ForeignObject(binary::Held<binary::IUnknown> held, bool isCallable) noexcept
        : held_(std::move(held)), isCallable_(isCallable) {}

    /// As the client passed it.
    [[nodiscard]] binary::IUnknown* pointer() const noexcept { return held_.get(); }
    [[nodiscard]] bool isCallable() const noexcept { return isCallable_; }

private:
    binary::Held<binary::IUnknown> held_;
    bool isCallable_;
};

} // namespace corveth::server
