#pragma once

#include "server/binary/binary_interface.h"
#include "server/module.h"

#include <atomic>

namespace corveth::server {

/// Base of an interface that stands for itself: made with one reference, for the receiver, and gone with the last, on
/// any thread.
template <class Interface>
class Counted : public Interface {
public:
    Counted() = default;
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    std::uint32_t AddRef() noexcept final { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }
    std::uint32_t Release() noexcept final {
        const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~Counted() = default;

    /// Answers for `IUnknown` and the interface itself.
    binary::HResult queryFor(const binary::Guid& iid, const binary::Guid& own, void** object) noexcept {
        if (object == nullptr) return binary::results::badPointer;
        *object = nullptr;
        if (iid != binary::ids::unknown && iid != own) return binary::results::noInterface;
        AddRef();
        *object = static_cast<Interface*>(this);
        return binary::results::ok;
    }

private:
    std::atomic<std::uint32_t> references_ = 1;
    Outstanding counted_;
};

} // namespace corveth::server
