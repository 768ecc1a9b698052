#include "session/note.h"

#include "platform/desktop/clock.h"
#include "session/columns.h"
#include "session/failure.h"
#include "session/item_type.h"
#include "session/module_state.h"
#include "session/statements.h"

namespace corveth {

struct Note::Table {
    static constexpr MemberRow members[] = {
        field<&Note::Title>("Title"),
        getLet<&Note::get_Note, &Note::let_Note>("Note"),
        field<&Note::LinkId>("LinkId"),
        loads(method<&Note::Populate>("Populate")),
        key(getLet<&Note::get_ID, &Note::let_ID>("ID"), "Notes.NoteId"),
        letGet<&Note::let_LinkType, &Note::get_LinkType>("LinkType"),
        saves(method<&Note::Update>("Update")),
        removes(method<&Note::DeleteNote>("DeleteNote", optional("bSelf"))),
    };
    static constexpr Column<Note> read[] = {
        column<&Note::Title>("Title"),
        column<&Note::note_>("Note", OnNull::empties),
        column<&Note::LinkId>("LinkId", OnNull::empties),
        column<&Note::storedLinkType_>("LinkType"),
    };
    static constexpr Column<Note> written[] = {
        column<&Note::LinkId>("LinkId"),
        computed<&Note::get_LinkType>("LinkType"),
        column<&Note::Title>("Title"),
        column<&Note::note_>("Note"),
    };
    static constexpr IdSource id{"NT", "NoteId", "Notes"};
};

constinit const ClassInfo Note::description = describe<Note, Note::Table>();

Text Note::get_LinkType() const {
    return itemTypeName(LinkId);
}

void Note::Populate() {
    const auto rows = openRecordset(Sql{"Select * From Notes Where NoteId=\"", id_, "\""}, CursorType::staticCopy);
    if (rows->isEmpty()) {
        Title.clear();
        note_.clear();
        LinkId.clear();
        return;
    }
    loadRow<Table::read>(*rows, *this);
}

void Note::Update() {
    trap("Note", Report::messageAndCause, "Error updating Note.", [&] {
        const auto rows = openForUpdate(Sql{"Select * From Notes Where NoteId='", id_, "' Order By NoteId "}, Table::id,
                                        [](Recordset& row) {
                                            row.set("Creator", moduleState().CurrentUserId);
                                            row.set("Creation", today());
                                        });
        storeRow<Table::written>(*this, *rows);
        rows->Update();
    });
}

void Note::DeleteNote(bool bSelf) {
    trap("Note", Report::messageAndCause, "Error deleting Note.", [&] {
        inTransaction(bSelf, [&] { execute(Sql{"DELETE From Notes Where NoteID ='", id_, "'"}); });
    });
}

} // namespace corveth
