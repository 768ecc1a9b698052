#pragma once

#include "platform/automation/describe.h"
#include "platform/automation/keyed_list.h"

namespace corveth {

/// A keyed list as an object of its own, for classes that hand out their members whole. Live: it is the list, not a
/// copy.
class CORVETH_API Collection final : public Described<Collection> {
public:
    static constexpr const char* className = "Collection";
    static const ClassInfo description;

    /// Takes objects of `memberClass` only.
    Collection(std::shared_ptr<KeyedList> list, const ClassInfo& memberClass)
        : list_(std::move(list)), memberClass_(memberClass) {}

    /// `Key` is a text or left out; 457 when it is there already, 13 for a key or an object of another kind.
    void Add(Ref<Object> Item, const Value& Key);
    /// By position or key; 9 or 5 for one that is not there.
    [[nodiscard]] Ref<Object> get_Item(const Value& Index) const { return list_->item(Index); }
    [[nodiscard]] std::int32_t get_Count() const noexcept { return static_cast<std::int32_t>(list_->size()); }
    void Remove(const Value& Index) { list_->remove(Index); }
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const { return enumerate(list_); }

private:
    struct Table;

    std::shared_ptr<KeyedList> list_;
    const ClassInfo& memberClass_;
};

} // namespace corveth
