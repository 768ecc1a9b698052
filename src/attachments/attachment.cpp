#include "attachments/attachment.h"

#include "platform/desktop/clock.h"
#include "session/columns.h"
#include "session/failure.h"
#include "session/item_type.h"
#include "session/statements.h"

namespace corveth {

namespace {

/// As a number, from which the same moment can be read again.
Text dayNumberText(Date date) {
    const Text usual = toText(Value(date.day));
    const auto back = tryParseDate(usual);
    // Before the first day the last digit of a moment close to midnight is that of another day.
    return back && toText(*back) == toText(date) ? usual : plainDecimal(date.day);
}

Text textOrEmpty(const Value& value) {
    return value.isNull() ? Text() : toText(value);
}

/// A variant property can also be assigned an object.
constexpr MemberRow withSet(MemberRow row) {
    detail::addSlot(row, MemberKind::set, row.slots[1].invoke);
    return row;
}

} // namespace

struct Attachment::Table {
    static constexpr MemberRow members[] = {
        field<&Attachment::LinkId>("LinkId"),
        field<&Attachment::LinkType>("LinkType"),
        withSet(field<&Attachment::Data>("Data")),
        field<&Attachment::AttachmentDate>("AttachmentDate"),
        field<&Attachment::AttachmentSize>("AttachmentSize"),
        field<&Attachment::AttachmentTitle>("AttachmentTitle"),
        field<&Attachment::AttachmentType>("AttachmentType"),
        key(field<&Attachment::AttachmentID>("AttachmentID"), "Attachments.AttachmentID"),
        get<&Attachment::get_TempFilePath>("TempFilePath"),
        get<&Attachment::get_Index>("Index"),
        get<&Attachment::get_ThreadId>("ThreadId"),
        letGet<&Attachment::let_DocumentWindowHwnd, &Attachment::get_DocumentWindowHwnd>("DocumentWindowHwnd"),
        letGet<&Attachment::let_Alive, &Attachment::get_Alive>("Alive"),
        method<&Attachment::OpenAttachment>("OpenAttachment"),
        loads(method<&Attachment::Populate>("Populate")),
        saves(method<&Attachment::UpdateAttachment>("UpdateAttachment", "mLinkId"), "=LinkId"),
        method<&Attachment::CloseAttachmentWindow>("CloseAttachmentWindow"),
        removes(method<&Attachment::DeleteAttachment>("DeleteAttachment", optional("bSelf"))),
    };
    static constexpr Column<Attachment> read[] = {
        column<&Attachment::LinkId>("LinkID", OnNull::empties),
        column<&Attachment::LinkType>("LinkType", OnNull::empties),
        column<&Attachment::Data>("Data", OnNull::passes),
        readBy<&Attachment::readDayNumber>("AttachmentDate"),
        column<&Attachment::AttachmentSize>("AttachmentSize"),
        column<&Attachment::AttachmentTitle>("AttachmentTitle", OnNull::empties),
        column<&Attachment::AttachmentType>("AttachmentType", OnNull::empties),
    };
    static constexpr Column<Attachment> listed[] = {
        column<&Attachment::AttachmentType>("AttachmentType", OnNull::empties),
        column<&Attachment::AttachmentTitle>("AttachmentTitle", OnNull::empties),
        column<&Attachment::AttachmentSize>("AttachmentSize"),
        column<&Attachment::AttachmentDate>("AttachmentDate", OnNull::empties),
        column<&Attachment::Data>("Data", OnNull::passes),
        column<&Attachment::LinkId>("LinkID", OnNull::empties),
        column<&Attachment::LinkType>("LinkType", OnNull::empties),
        column<&Attachment::AttachmentID>("AttachmentID", OnNull::empties),
    };
    static constexpr Column<Attachment> content[] = {
        column<&Attachment::Data>("Data"),
        computed<&Attachment::parsedDate>("AttachmentDate"),
        column<&Attachment::AttachmentSize>("AttachmentSize"),
        column<&Attachment::AttachmentTitle>("AttachmentTitle"),
        column<&Attachment::AttachmentType>("AttachmentType"),
    };
    static constexpr IdSource id{"AT", "AttachmentID", "Attachments"};
};

constinit const ClassInfo Attachment::description = describe<Attachment, Attachment::Table>();

void Attachment::readDayNumber(Value& cell) {
    AttachmentDate = dayNumberText(toDate(cell));
}

Value Attachment::parsedDate() const {
    return parseDate(AttachmentDate);
}

void Attachment::Populate() {
    trap("Attachments", Report::message, "Could not Populate", [&] {
        const auto rows = openRecordset(Sql{"Select * From Attachments Where AttachmentID ='", AttachmentID, "'"},
                                        CursorType::staticCopy);
        if (!rows->isEmpty()) {
            loadRow<Table::read>(*rows, *this);
            return;
        }
        LinkId.clear();
        LinkType = "None";
        Data = {};
        AttachmentDate = toText(now());
        AttachmentSize = 0;
    });
}

void Attachment::load(Recordset& rows) {
    loadRow<Table::listed>(rows, *this);
}

void Attachment::openNew(Recordset& row) {
    openDirect(row, Sql{"SELECT * From Attachments Where 1=2"}, CursorType::keyset, LockType::optimistic);
    row.AddNew();
    row.setNewKey(Table::id.keyColumn, [] { return generateId(Table::id); });
}

void Attachment::openExisting(Recordset& row) const {
    openDirect(row, Sql{"SELECT * From Attachments Where AttachmentID ='", AttachmentID, "'"}, CursorType::keyset,
               LockType::optimistic);
}

void Attachment::UpdateAttachment(Text mLinkId) {
    const auto row = make<Recordset>();
    const auto takeId = [&] { AttachmentID = toText(row->value("AttachmentID")); };
    trap(className, Report::message, "Unable to update.", [&] {
        if (AttachmentID.empty()) {
            openNew(*row);
        } else {
            openExisting(*row);
        }
        takeId();
    });
    attempt("writing LinkType", [&] { row->set("LinkType", itemTypeName(mLinkId)); });
    attempt("writing LinkID", [&] { row->set("LinkID", std::move(mLinkId)); });
    storeContent(*row);
    attempt("saving", [&] {
        row->Update();
        takeId(); // another one when somebody else has taken it in the meantime
    });
    attempt("reading LinkType", [&] { LinkType = textOrEmpty(row->value("LinkType")); });
}

void Attachment::attempt(const char* what, const std::function<void()>& body) const noexcept {
    passOver(className, what, nameInLog(), body);
}

void Attachment::storeContent(Recordset& row) const {
    storeRowLeniently<Table::content>(*this, row, nameInLog());
}

void Attachment::DeleteAttachment(bool bSelf) {
    trap(className, Report::message, "Cannot delete Attachment(s).", [&] {
        inTransaction(bSelf, [&] { execute(Sql{"DELETE From Attachments Where AttachmentID ='", AttachmentID, "'"}); });
    });
}

} // namespace corveth
