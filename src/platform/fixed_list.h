#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <span>
#include <utility>

namespace corveth {

/// Up to `capacity` elements without memory of their own; unlike in an array, only those that were added are made and
/// destroyed. Adding one more than there is room for is out of bounds.
template <class T, std::size_t capacity>
class FixedList {
public:
    FixedList() noexcept = default;
    FixedList(const FixedList&) = delete;
    FixedList& operator=(const FixedList&) = delete;
    ~FixedList() { std::destroy_n(data(), size_); }

    template <class... Parts>
    T& emplace_back(Parts&&... parts) {
        T* made = ::new (static_cast<void*>(&room_[size_ * sizeof(T)])) T{std::forward<Parts>(parts)...};
        ++size_;
        return *made;
    }

    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] T* data() noexcept { return std::launder(reinterpret_cast<T*>(room_.data())); }
    [[nodiscard]] T& operator[](std::size_t i) noexcept { return data()[i]; }
    [[nodiscard]] std::span<T> all() noexcept { return {data(), size_}; }

private:
    alignas(T) std::array<std::byte, capacity * sizeof(T)> room_;
    std::size_t size_ = 0;
};

} // namespace corveth
