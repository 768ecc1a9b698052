#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// A titled text attached to any item; one row of `Notes`.
class CORVETH_API Note final : public Described<Note> {
public:
    static constexpr const char* className = "Note";
    static const ClassInfo description;

    Text Title;
    Text LinkId; ///< ID of the item that the note belongs to

    [[nodiscard]] Text get_Note() const { return note_; }
    void let_Note(Text value) { note_ = std::move(value); }
    [[nodiscard]] Text get_ID() const { return id_; }
    void let_ID(Text value) { id_ = std::move(value); }
    /// The display name of the type of `LinkId`, whatever was assigned.
    [[nodiscard]] Text get_LinkType() const;
    void let_LinkType(Text value) { storedLinkType_ = std::move(value); }

    /// Loads the row of `ID`; without one the texts become empty. 94 for a Null title or link type.
    void Populate();
    /// Writes the row of `ID`, or a new one with an ID of its own; the object keeps the `ID` it has.
    void Update();
    /// With `bSelf` in a transaction of its own.
    void DeleteNote(bool bSelf = false);

private:
    struct Table;

    Text id_, note_, storedLinkType_;
};

} // namespace corveth
