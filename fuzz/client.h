#pragma once

#include "support.h"

#include "server/binary/memory.h"

#include <deque>
#include <vector>

namespace corveth::fuzz {

/// What a client holds: the interfaces it was given, and one object of its own to pass.
class Client {
public:
    Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    /// Everything it lent must have come back.
    ~Client();

    void add(binary::Held<binary::IUnknown> object);
    [[nodiscard]] bool isEmpty() const noexcept { return objects_.empty(); }
    [[nodiscard]] binary::IUnknown* object(std::size_t number) const noexcept {
        return objects_[number % objects_.size()].get();
    }
    [[nodiscard]] binary::IUnknown* ownObject() const noexcept { return own_; }

private:
    static constexpr std::size_t mostObjects = 24;
    std::vector<binary::Held<binary::IUnknown>> objects_;
    binary::IDispatch* own_;
};

/// The arguments of one call, built from input, and all they point to: whatever a client may pass that keeps to the
/// layout. Freed with the object, as the client's they are.
class Arguments {
public:
    Arguments(Input& input, const Client& client);
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
    ~Arguments();

    [[nodiscard]] binary::DispParams* params() noexcept { return isLeftOut_ ? nullptr : &params_; }

private:
    [[nodiscard]] binary::Variant variant(int depth);
    [[nodiscard]] binary::Variant byReference(int depth);
    [[nodiscard]] binary::Variant record();
    [[nodiscard]] binary::Variant bytes();

    Input& input_;
    const Client& client_;
    std::deque<binary::Variant> pointed_;
    std::vector<binary::Variant> variants_;
    std::vector<binary::DispId> named_;
    binary::DispParams params_{};
    bool isLeftOut_ = false;
};

/// A text of the kind that clients pass: letters, anything, or one that the system knows. It names no file outside the
/// current folder.
[[nodiscard]] binary::Bstr textFrom(Input& input);

} // namespace corveth::fuzz
