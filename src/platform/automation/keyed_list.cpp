#include "platform/automation/keyed_list.h"

#include "platform/automation/convert.h"

#include <limits>

namespace corveth {

namespace {

class ListEnumerator final : public Enumerator {
public:
    explicit ListEnumerator(std::shared_ptr<const KeyedList> list, std::size_t position = 0)
        : list_(std::move(list)), position_(position) {}

    bool next(Value& member) override {
        if (position_ >= list_->size()) return false;
        member = list_->at(static_cast<std::int64_t>(++position_));
        return true;
    }
    void reset() override { position_ = 0; }
    [[nodiscard]] Ref<Enumerator> clone() const override { return make<ListEnumerator>(list_, position_); }

private:
    std::shared_ptr<const KeyedList> list_;
    std::size_t position_;
};

} // namespace

void KeyedList::append(Ref<Object> object) {
    entries_.push_back({std::move(object), std::nullopt});
}

void KeyedList::append(Ref<Object> object, TextView key) {
    Text folded = foldCase(key);
    if (positions_.contains(folded)) raise(errors::duplicateKey, inQuotes(key));
    entries_.push_back({std::move(object), folded});
    positions_.emplace(std::move(folded), entries_.size() - 1);
}

const Ref<Object>& KeyedList::at(std::int64_t position) const {
    if (position < 1 || position > static_cast<std::int64_t>(entries_.size())) {
        raise(errors::subscriptOutOfRange,
              "position " + std::to_string(position) + " of " + std::to_string(entries_.size()));
    }
    return entries_[static_cast<std::size_t>(position - 1)].object;
}

std::size_t KeyedList::positionOf(const Value& index) const {
    if (const auto* key = index.getIf<Text>()) {
        const auto found = positions_.find(foldCase(*key));
        if (found == positions_.end()) raise(errors::invalidCall, "key " + inQuotes(*key));
        return found->second;
    }
    if (index.isNull()) raise(errors::invalidNull, "as a position or key");
    const std::int64_t position = toLong(index);
    static_cast<void>(at(position));
    return static_cast<std::size_t>(position - 1);
}

const Ref<Object>& KeyedList::item(const Value& index) const {
    return entries_[positionOf(index)].object;
}

void KeyedList::remove(const Value& index) {
    const std::size_t position = positionOf(index);
    const Entry removed = std::move(entries_[position]); // outlives the change: its end may come back to this list
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
    if (removed.foldedKey) positions_.erase(*removed.foldedKey);
    for (auto& [key, later] : positions_) {
        if (later > position) --later;
    }
}

Ref<Enumerator> enumerate(std::shared_ptr<const KeyedList> list) {
    return make<ListEnumerator>(std::move(list));
}

bool Enumerator::skip(std::size_t count) {
    Value ignored;
    for (; count > 0; --count) {
        if (!next(ignored)) return false;
    }
    return true;
}

} // namespace corveth
