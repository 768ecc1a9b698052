#pragma once

#include "platform/automation/error.h"

#include <atomic>
#include <concepts>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace corveth {

struct ClassInfo;
class Object;

/// A thread that creates objects. An object belongs to the apartment it was made in and is destroyed there;
/// only when that thread has ended may another one do it.
class CORVETH_API Apartment {
public:
    /// The calling thread's apartment.
    static const std::shared_ptr<Apartment>& current();
    ~Apartment();

    [[nodiscard]] bool isCurrent() const noexcept;
    [[nodiscard]] bool ended() const noexcept;
    /// Takes an object without references: destroyed at this apartment's next `collect` or at its end, at once
    /// when it has ended.
    void retire(const Object* object) noexcept;
    /// Destroys what other threads retired. Called on the apartment's own thread before every late-bound call.
    void collect() noexcept;

private:
    struct ThreadEnd;
    void end() noexcept;

    mutable std::mutex mutex_;
    std::vector<const Object*> retired_;
    std::atomic<bool> hasRetired_ = false;
    std::atomic<bool> ended_ = false;
};

/// Base of everything that a client can hold. Reference-counted; made by `make<T>()` only.
class CORVETH_API Object {
public:
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    [[nodiscard]] virtual const ClassInfo& classInfo() const noexcept = 0;

    /// Both are legal on any thread; the last release elsewhere is done by the home thread.
    void addRef() const noexcept;
    void release() const noexcept;

    [[nodiscard]] const Apartment& home() const noexcept { return *home_; }
    /// Throws 0x8001010E when the calling thread is not the object's own.
    void checkThread() const;

    /// How many objects live in the process; for leak checks.
    [[nodiscard]] static std::size_t liveCount() noexcept;

    /// What stands for this object at the binary edge. Set there, destroyed with the object.
    struct Edge {
        Edge() = default;
        Edge(const Edge&) = delete;
        Edge& operator=(const Edge&) = delete;
        virtual ~Edge() = default;
    };
    std::atomic<Edge*> edge = nullptr;

protected:
    Object();
    virtual ~Object();

private:
    friend class Apartment;
    mutable std::atomic<unsigned> references_ = 0;
    std::shared_ptr<Apartment> home_;
};

/// A counted reference. Reading through an empty one raises 91.
template <class T>
class Ref {
public:
    constexpr Ref() noexcept = default;
    constexpr Ref(std::nullptr_t) noexcept {}
    explicit Ref(T* object) noexcept : object_(object) { acquire(); }
    Ref(const Ref& other) noexcept : object_(other.object_) { acquire(); }
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <std::derived_from<T> U>
    Ref(const Ref<U>& other) noexcept : object_(other.get()) {
        acquire();
    }
    template <std::derived_from<T> U>
    Ref(Ref<U>&& other) noexcept : object_(other.detach()) {}
    ~Ref() { drop(); }

    Ref& operator=(const Ref& other) noexcept {
        Ref(other).swap(*this);
        return *this;
    }
    Ref& operator=(Ref&& other) noexcept {
        Ref(std::move(other)).swap(*this);
        return *this;
    }
    Ref& operator=(std::nullptr_t) noexcept {
        Ref().swap(*this);
        return *this;
    }

    [[nodiscard]] T* get() const noexcept { return object_; }
    /// Gives the reference away without releasing it.
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }
    T* operator->() const { return checked(); }
    T& operator*() const { return *checked(); }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    void swap(Ref& other) noexcept { std::swap(object_, other.object_); }

    template <class U>
    friend bool operator==(const Ref& a, const Ref<U>& b) noexcept {
        return a.get() == b.get();
    }
    friend bool operator==(const Ref& a, std::nullptr_t) noexcept { return a.object_ == nullptr; }

private:
    void acquire() const noexcept {
        if (object_ != nullptr) object_->addRef();
    }
    void drop() noexcept {
        if (object_ != nullptr) object_->release();
    }
    T* checked() const {
        if (object_ == nullptr) raise(errors::objectNotSet);
        return object_;
    }

    T* object_ = nullptr;
};

template <std::derived_from<Object> T, class... Arguments>
[[nodiscard]] Ref<T> make(Arguments&&... arguments) {
    return Ref<T>(new T(std::forward<Arguments>(arguments)...));
}

/// The object in `slot`, made on first use.
template <class T>
const Ref<T>& lazy(Ref<T>& slot) {
    if (!slot) slot = make<T>();
    return slot;
}

} // namespace corveth
