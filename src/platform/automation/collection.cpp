#include "platform/automation/collection.h"

namespace corveth {

struct Collection::Table {
    static constexpr MemberRow members[] = {
        method<&Collection::Add>("Add", "Item", optional("Key")),
        defaultMember(get<&Collection::get_Item>("Item", "Index")),
        get<&Collection::get_Count>("Count"),
        method<&Collection::Remove>("Remove", "Index"),
        enumeratorMember(get<&Collection::get_NewEnum>("NewEnum")),
    };
};

constinit const ClassInfo Collection::description = describe<Collection, Collection::Table>("Corveth");

void Collection::Add(Ref<Object> Item, const Value& Key) {
    requireClass(*Item, memberClass_);
    if (Key.isMissing() || Key.is(ValueType::empty)) {
        list_->append(std::move(Item));
        return;
    }
    const auto* key = Key.getIf<Text>();
    if (key == nullptr) raise(Key.isNull() ? errors::invalidNull : errors::typeMismatch, "a key is a text");
    list_->append(std::move(Item), *key);
}

} // namespace corveth
