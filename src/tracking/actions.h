#pragma once

#include "platform/automation/keyed_list.h"
#include "tracking/action.h"

namespace corveth {

/// The actions of one item.
class CORVETH_API Actions final : public Described<Actions> {
public:
    static constexpr const char* className = "Actions";
    static const ClassInfo description;

    /// Appends `Item`, keyed by its `ID` when that is not empty (457 when it is there already). Nothing is written.
    Value AddItem(Ref<Action> Item);
    /// By position or key; 9 or 5 for one that is not there.
    [[nodiscard]] Ref<Action> get_Item(Value vntIndexKey) const { return members_.item(vntIndexKey); }
    /// The item whose actions `Populate` reads and `UpdateActions` writes.
    [[nodiscard]] Text get_LinkId() const { return linkId_; }
    void let_LinkId(Text value) { linkId_ = std::move(value); }
    [[nodiscard]] std::int32_t get_Count() const { return members_.count(); }
    /// By position or key; the row stays in the database.
    void Remove(Value vntIndexKey) { members_.remove(vntIndexKey); }
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const { return members_.enumerate(); }

    /// Appends the actions of `LinkId` to the members; fails at one that is a member already.
    void Populate();
    /// Replaces the actions of `LinkId` by the members, without a transaction of its own. The first failure ends it;
    /// what was done stays.
    void UpdateActions();

private:
    struct Table;

    Members<Action> members_;
    Text linkId_;
};

} // namespace corveth
