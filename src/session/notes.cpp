#include "session/notes.h"

#include "session/columns.h"
#include "session/failure.h"
#include "session/statements.h"

namespace corveth {

struct Notes::Table {
    static constexpr MemberRow members[] = {
        fieldLetFirst<&Notes::LinkId>("LinkId"),
        method<&Notes::UpdateNotes>("UpdateNotes"),
        method<&Notes::SetLinkFilter>("SetLinkFilter", "LinkId"),
        method<&Notes::SetIDFilter>("SetIDFilter", "NoteId"),
        method<&Notes::SetTypeFilter>("SetTypeFilter", "LinkType"),
        method<&Notes::SetNoFilter>("SetNoFilter"),
        loads(method<&Notes::Populate>("Populate")),
        method<&Notes::AddItem>("AddItem", "Item"),
        method<&Notes::Add>("Add", "ID", "ParentId", "ParentType", "Title", "Note", optional("sKey")),
        defaultMember(get<&Notes::get_Item>("Item", "Index")),
        get<&Notes::get_Count>("Count"),
        method<&Notes::Remove>("Remove", "vntIndexKey"),
        enumeratorMember(get<&Notes::get_NewEnum>("NewEnum")),
    };
};

constinit const ClassInfo Notes::description = describe<Notes, Notes::Table>();

void Notes::SetLinkFilter(Text linkId) {
    filter_ = Sql{"Select * From Notes Where  LinkID='", linkId, "'"};
}

void Notes::SetIDFilter(Text noteId) {
    filter_ = Sql{"Select * From Notes Where  NoteID='", noteId, "'"};
}

void Notes::SetTypeFilter(ptParentType linkType) {
    filter_ = Sql{"Select * From Notes Where  LinkType='", static_cast<std::int32_t>(linkType), "'"};
}

void Notes::SetNoFilter() {
    filter_ = Sql{"Select * From Notes"};
}

void Notes::Populate() {
    trap("Note", Report::messageAndCause, "Error updating Note.", [&] {
        const auto rows = openRecordset(filter_, CursorType::keyset);
        members_.clear();
        const TextColumns<5> columns(*rows, {"NoteId", "LinkId", "LinkType", "Title", "Note"});
        for (; !rows->get_EOF(); rows->MoveNext()) {
            auto [id, link, type, title, text] = columns.take(*rows);
            const Text key = id;
            addMember(std::move(id), std::move(link), std::move(type), std::move(title), std::move(text), key);
        }
    });
}

Ref<Note> Notes::Add(const Text& ID, const Text& ParentId, const Text& ParentType, const Text& Title, const Text& Note,
                     const Text& sKey) {
    return addMember(ID, ParentId, ParentType, Title, Note, sKey);
}

Ref<Note> Notes::addMember(Text id, Text link, Text linkType, Text title, Text text, TextView key) {
    auto note = make<Note>();
    note->let_ID(std::move(id));
    note->LinkId = std::move(link);
    note->let_LinkType(std::move(linkType));
    note->let_Note(std::move(text));
    note->Title = std::move(title);
    members_.appendKeyed(note, key);
    return note;
}

void Notes::AddItem(Ref<Note> Item) {
    if (!Item) return;
    const Text key = Item->get_ID();
    members_.append(std::move(Item), key);
}

void Notes::UpdateNotes() {
    execute(Sql{"Delete From Notes Where LinkId=\"", LinkId, "\""});
    const std::int32_t count = members_.count();
    for (std::int32_t position = 1; position <= count; ++position) {
        const auto note = members_.at(position);
        note->LinkId = LinkId;
        note->Update();
    }
}

} // namespace corveth
