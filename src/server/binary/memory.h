#pragma once

// Memory and text that cross the binary edge; the rules stand in binary_interface.h. Nothing here throws: a client of
// another language may be the caller.

#include "server/binary/binary_interface.h"

#include <concepts>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace corveth::binary {

/// Room for `units` UTF-16 units and the terminator, length set; null without memory or beyond what a length can tell.
[[nodiscard]] Bstr allocateText(std::size_t units) noexcept;
inline void freeText(Bstr text) noexcept {
    if (text != nullptr) std::free(reinterpret_cast<char*>(text) - sizeof(std::uint32_t));
}
/// In bytes; 0 for null.
[[nodiscard]] std::uint32_t textBytes(const OleChar* text) noexcept;

/// Null without memory or when `text` is no UTF-8.
[[nodiscard]] Bstr toBstr(std::string_view text) noexcept;

enum class TextFault { none, loneSurrogate, holdsNul, oddLength };
/// Appends `text` as UTF-8 to `out`, which may throw for want of memory.
TextFault appendUtf8(const OleChar* text, std::string& out);

/// A byte array of its own; null without memory.
[[nodiscard]] SafeArray* toSafeArray(std::span<const std::byte> bytes) noexcept;
/// Empty for null; false when it is not one dimension of bytes.
[[nodiscard]] bool bytesOf(const SafeArray* array, std::span<const std::byte>& bytes) noexcept;
void freeArray(SafeArray* array) noexcept;

/// Frees what the variant owns and makes it empty. A by-reference one owns nothing.
void clear(Variant& variant) noexcept;
/// Frees the texts.
void clear(ExcepInfo& exception) noexcept;

/// A counted interface pointer.
template <class T>
class Held {
public:
    Held() noexcept = default;
    /// Takes the reference over.
    explicit Held(T* object) noexcept : object_(object) {}
    Held(const Held& other) noexcept : object_(other.object_) {
        if (object_ != nullptr) object_->AddRef();
    }
    Held(Held&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Held& operator=(Held other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Held() {
        if (object_ != nullptr) object_->Release();
    }

    [[nodiscard]] T* get() const noexcept { return object_; }
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }
    T* operator->() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    /// For out parameters: gives up what is held.
    [[nodiscard]] T** out() noexcept {
        *this = Held();
        return &object_;
    }

private:
    T* object_ = nullptr;
};

/// The interface `iid` of `object`; empty when it has none.
template <class T>
[[nodiscard]] Held<T> query(IUnknown* object, const Guid& iid) noexcept {
    void* found = nullptr;
    if (object == nullptr || object->QueryInterface(iid, &found) != results::ok) return {};
    return Held<T>(static_cast<T*>(found));
}

} // namespace corveth::binary
