#include "attachments/attachments.h"

#include "platform/desktop/clock.h"
#include "platform/desktop/message_box.h"
#include "session/failure.h"
#include "session/file_info_service.h"
#include "session/item_type.h"
#include "session/module_state.h"
#include "session/statements.h"

namespace corveth {

struct Attachments::Table {
    static constexpr MemberRow members[] = {
        letGet<&Attachments::let_LinkId, &Attachments::get_LinkId>("LinkId"),
        method<&Attachments::InitAsAll>("InitAsAll"),
        loads(method<&Attachments::Populate>("Populate")),
        method<&Attachments::UpdateAttachments>("UpdateAttachments"),
        method<&Attachments::AddAttachment>("AddAttachment"),
        defaultMember(get<&Attachments::get_Item>("Item", "vntIndexKey")),
        get<&Attachments::get_Count>("Count"),
        method<&Attachments::Remove>("Remove", "vntIndexKey"),
        enumeratorMember(get<&Attachments::get_NewEnum>("NewEnum")),
    };
};

constinit const ClassInfo Attachments::description = describe<Attachments, Attachments::Table>();

namespace {

constexpr double kilobyte = 1024;
constexpr double mostMegabytes = 5;

bool isTooLarge(std::int32_t bytes) noexcept {
    return bytes / kilobyte / kilobyte > mostMegabytes;
}

} // namespace

Attachments::Attachments() = default;
Attachments::~Attachments() = default;

void Attachments::let_LinkId(Text value) {
    query_ = Sql{"Select * From Attachments Where LinkId='", value, "';"};
    linkId_ = std::move(value);
}

void Attachments::InitAsAll() {
    linkId_.clear();
    query_ = Sql{"SELECT * From Attachments"};
}

void Attachments::addMember(Ref<Attachment> member) {
    member->setIndex(members_.count());
    const Text key = member->AttachmentID;
    members_.appendKeyed(std::move(member), key);
}

void Attachments::Populate() {
    trap(className, Report::message, "Unable to Populate.", [&] {
        members_.clear();
        if (!rows_) rows_ = make<Recordset>();
        openDirect(*rows_, query_, CursorType::keyset, LockType::optimistic);
        for (; !rows_->get_EOF(); rows_->MoveNext()) {
            auto member = make<Attachment>();
            member->load(*rows_);
            addMember(std::move(member));
        }
    });
}

void Attachments::AddAttachment() {
    trap(className, Report::message, "Unable to add into Collection.", [&] {
        Text title;
        const Text path = dbService()->SelectFile(0, title);
        if (path.empty()) return;
        const auto files = makeFileInfoService();
        FileProperties file = files->Properties(path);
        if (isTooLarge(file.Size)) {
            messageBox("File size cannot exceed 5 MB.", messageBoxes::critical, "Attachment Limitation");
            return;
        }
        auto member = make<Attachment>();
        member->Data = files->Content(path);
        member->AttachmentType = std::move(file.TypeText);
        member->AttachmentTitle = std::move(file.FileName);
        member->AttachmentSize = file.Size;
        member->AttachmentDate = toText(now());
        member->LinkId = linkId_;
        member->LinkType = "Unknown";
        addMember(std::move(member));
    });
}

void Attachments::UpdateAttachments() {
    bool isTrapped = true; // until the first member has its row
    const auto openRow = [](const Attachment& member, Recordset& row) {
        if (member.AttachmentID.empty()) return Attachment::openNew(row);
        member.openExisting(row);
        if (!row.get_EOF()) return;
        row.AddNew();
        row.set("AttachmentID", member.AttachmentID);
    };
    const auto write = [&](Attachment& member) {
        const auto row = make<Recordset>();
        const auto attempt = [&](const char* what, auto&& statement) {
            passOver(className, what, member.nameInLog(), statement);
        };
        if (isTrapped) {
            openRow(member, *row);
        } else {
            attempt("opening the row", [&] { openRow(member, *row); });
        }
        isTrapped = false;
        attempt("writing LinkID", [&] { row->set("LinkID", linkId_); });
        attempt("writing LinkType", [&] { row->set("LinkType", itemTypeName(linkId_)); });
        member.storeContent(*row);
        attempt("saving", [&] { row->Update(); });
        attempt("reading AttachmentID", [&] { member.AttachmentID = toText(row->value("AttachmentID")); });
    };
    trap(className, Report::message, "Unable to update.", [&] {
        if (!linkId_.empty()) execute(Sql{"Delete From Attachments Where LinkId='", linkId_, "'"});
        for (std::int32_t position = 1; position <= members_.count(); ++position)
            write(*members_.at(position));
    });
}

Ref<Attachment> Attachments::get_Item(const Value& vntIndexKey) const {
    try {
        return members_.item(vntIndexKey);
    } catch (const Error&) {
        return {};
    }
}

void Attachments::Remove(Value vntIndexKey) {
    trap(className, Report::message, "Cannot delete Record(s).", [&] {
        const auto* key = vntIndexKey.getIf<Text>();
        if (vntIndexKey.is(ValueType::empty) || (key != nullptr && key->empty())) return;
        members_.remove(vntIndexKey);
    });
}

} // namespace corveth
