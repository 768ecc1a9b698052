#pragma once

#include "platform/automation/keyed_list.h"
#include "scheduling/participant.h"

namespace corveth {

/// The participants of one item.
class CORVETH_API Participants final : public Described<Participants> {
public:
    static constexpr const char* className = "Participants";
    static const ClassInfo description;

    /// The sum of the members' availability; 100 is one full-time resource.
    [[nodiscard]] float getTotalAvilability() const;
    /// Hours.
    [[nodiscard]] float GetTotalAllotedHours() const;
    /// Drops the members; nothing is deleted.
    void Clear() { members_.clear(); }
    /// The item whose participants `Populate` reads and `UpdateParticipants` writes.
    void let_LinkId(Text value) { linkId_ = std::move(value); }
    [[nodiscard]] Text get_LinkId() const { return linkId_; }
    /// Replaces the members by the participants of `LinkId`; by none, without asking, when that is empty.
    void Populate();

    /// Appends `Item`, keyed by its contact (error 10 when that is there already); Nothing is passed over. Nothing is
    /// written.
    void AddItem(Ref<Participant> Item);
    /// A new member of `LinkId` that loads itself, keyed by `sKey` when that is not empty (457 when it is there
    /// already).
    Ref<Participant> Add(const Text& ID, const Text& sKey = {});
    /// By position or key; 9 or 5 for one that is not there.
    [[nodiscard]] Ref<Participant> get_Item(const Value& vntIndexKey) const { return members_.item(vntIndexKey); }
    [[nodiscard]] Ref<Participant> at(std::int32_t position) const { return members_.at(position); }
    [[nodiscard]] std::int32_t get_Count() const { return members_.count(); }
    /// By position or key; the row stays in the database.
    void Remove(const Value& vntIndexKey) { members_.remove(vntIndexKey); }
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const { return members_.enumerate(); }

    /// Replaces the participants of `LinkId` by the members, without a transaction of its own.
    void UpdateParticipants();

private:
    struct Table;
    [[nodiscard]] float sum(float Participant::*figure) const;

    Members<Participant> members_;
    Text linkId_;
};

} // namespace corveth
