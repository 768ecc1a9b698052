#pragma once

#include "platform/automation/enumerator.h"

#include <optional>
#include <unordered_map>

namespace corveth {

/// Objects in order of insertion, positions from 1, each with or without a text key that compares without regard to
/// case.
class CORVETH_API KeyedList {
public:
    [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }

    void append(Ref<Object> object);
    /// 457 when the key is there already.
    void append(Ref<Object> object, TextView key);
    /// 9 outside 1 .. size.
    [[nodiscard]] const Ref<Object>& at(std::int64_t position) const;
    /// A number is a position (half to even), a text a key (5 when unknown) even when it looks like a number; else 13
    /// or 94.
    [[nodiscard]] const Ref<Object>& item(const Value& index) const;
    void remove(const Value& index);

private:
    struct Entry {
        Ref<Object> object;
        std::optional<Text> foldedKey;
    };
    [[nodiscard]] std::size_t positionOf(const Value& index) const; ///< from 0

    std::vector<Entry> entries_;
    std::unordered_map<Text, std::size_t> positions_; ///< folded key to position from 0
};

[[nodiscard]] CORVETH_API Ref<Enumerator> enumerate(std::shared_ptr<const KeyedList> list);

/// The member list of a collection class: a keyed list of `T`. A clear makes a new list, so that an enumerator over the
/// earlier one goes on with the earlier members.
template <class T>
class Members {
public:
    void clear() { list_ = std::make_shared<KeyedList>(); }
    void append(Ref<T> member) { list_->append(std::move(member)); }
    void append(Ref<T> member, TextView key) { list_->append(std::move(member), key); }
    /// With `key` when it is not empty, else without key.
    void appendKeyed(Ref<T> member, TextView key) {
        key.empty() ? list_->append(std::move(member)) : list_->append(std::move(member), key);
    }
    [[nodiscard]] std::int32_t count() const noexcept { return static_cast<std::int32_t>(list_->size()); }
    [[nodiscard]] Ref<T> at(std::int64_t position) const { return cast(list_->at(position)); }
    [[nodiscard]] Ref<T> item(const Value& index) const { return cast(list_->item(index)); }
    void remove(const Value& index) { list_->remove(index); }
    [[nodiscard]] Ref<Enumerator> enumerate() const { return corveth::enumerate(list_); }
    /// The list itself, to be handed out; what it takes in must be of `T`.
    [[nodiscard]] const std::shared_ptr<KeyedList>& list() const noexcept { return list_; }

private:
    static Ref<T> cast(const Ref<Object>& object) { return Ref<T>(static_cast<T*>(object.get())); }

    std::shared_ptr<KeyedList> list_ = std::make_shared<KeyedList>();
};

} // namespace corveth
