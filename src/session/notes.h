#pragma once

#include "platform/automation/keyed_list.h"
#include "session/item_type.h"
#include "session/note.h"
#include "session/sql.h"

namespace corveth {

/// A filtered list of notes.
class CORVETH_API Notes final : public Described<Notes> {
public:
    static constexpr const char* className = "Notes";
    static const ClassInfo description;

    Text LinkId; ///< the item whose notes `UpdateNotes` writes

    /// Filters: the next `Populate` loads what the last one named.
    void SetLinkFilter(Text linkId);
    void SetIDFilter(Text noteId);
    void SetTypeFilter(ptParentType linkType);
    void SetNoFilter();
    /// Replaces the members by the rows of the filter; fails without one. What was read before a failure stays.
    void Populate();

    /// A new member, keyed by `sKey` when that is not empty (457 when it is there already). Nothing is written.
    Ref<Note> Add(const Text& ID, const Text& ParentId, const Text& ParentType, const Text& Title, const Text& Note,
                  const Text& sKey = {});
    /// Appends `Item`, keyed by its `ID`; Nothing is passed over.
    void AddItem(Ref<Note> Item);
    /// By position from 1; 9 outside.
    [[nodiscard]] Ref<Note> get_Item(const std::int16_t& Index) const { return members_.at(Index); }
    [[nodiscard]] std::int32_t get_Count() const { return members_.count(); }
    /// By position or key; the row stays in the database.
    void Remove(const Value& vntIndexKey) { members_.remove(vntIndexKey); }
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const { return members_.enumerate(); }

    /// Deletes the notes of `LinkId` and saves every member as a new one of it, without a transaction of its own. The
    /// first failure ends it; what was done stays.
    void UpdateNotes();

private:
    struct Table;
    Ref<Note> addMember(Text id, Text link, Text linkType, Text title, Text text, TextView key);

    Members<Note> members_;
    Sql filter_;
};

} // namespace corveth
