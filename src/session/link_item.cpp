#include "session/link_item.h"

#include "session/columns.h"
#include "session/item_type.h"
#include "session/statements.h"

namespace corveth {

struct LinkItem::Table {
    static constexpr MemberRow members[] = {
        key(field<&LinkItem::ID>("ID"), "ContactMaster.ContactId,Projects.Id,Products.Id,Notes.NoteId"),
        field<&LinkItem::ItemDescription>("ItemDescription"),
        field<&LinkItem::ProjectId>("ProjectId"),
        field<&LinkItem::ParentId>("ParentId"),
        field<&LinkItem::SourceType>("SourceType"),
        get<&LinkItem::get_ItemTypeAsLink>("ItemTypeAsLink"),
        get<&LinkItem::get_ItemTypeID>("ItemTypeID"),
        letGet<&LinkItem::let_LinkId, &LinkItem::get_LinkId>("LinkId"),
        method<&LinkItem::PopulateWithLinkId>("PopulateWithLinkId"),
        loads(method<&LinkItem::Populate>("Populate")),
    };
    static constexpr Column<LinkItem> contact[] = {
        column<&LinkItem::ItemDescription>("Description"),
        column<&LinkItem::ParentId>("CompanyID", OnNull::empties),
    };
    static constexpr Column<LinkItem> task[] = {
        column<&LinkItem::ItemDescription>("ItemName"),
        column<&LinkItem::ProjectId>("ProjectID"),
        column<&LinkItem::ParentId>("ParentId"),
    };
    static constexpr Column<LinkItem> product[] = {
        column<&LinkItem::ItemDescription>("ItemName"),
        column<&LinkItem::ProjectId>("ID"),
        column<&LinkItem::ParentId>("ParentId"),
    };
};

constinit const ClassInfo LinkItem::description = describe<LinkItem, LinkItem::Table>();

Text LinkItem::get_ItemTypeAsLink() const {
    return itemTypeName(linkId_);
}

Text LinkItem::get_ItemTypeID() const {
    return itemTypeName(ID);
}

bool LinkItem::lookUp(Sql sql) {
    sql_ = std::move(sql);
    rows_ = openRecordset(sql_, CursorType::dynamic);
    return !rows_->isEmpty();
}

void LinkItem::Populate() {
    const Text type = get_ItemTypeID();
    if (type == "Contact" || type == "Company") {
        if (lookUp(
                Sql{" SELECT ContactID, CompanyID, Title & ' ' & FirstName  & ' ' & MiddleName  & ' ' &  LastName as "
                    "Description "
                    " FROM ContactMaster Where ContactID=\"",
                    ID, "\""})) {
            loadRow<Table::contact>(*rows_, *this);
            ItemDescription = replaceAll(ItemDescription, "  ", " ");
            ProjectId.clear();
        }
    } else if (type == "Project" || type == "Task") {
        if (lookUp(Sql{"Select ItemName,ProjectID, ParentId  From Projects Where ID=\"", ID, "\""})) {
            loadRow<Table::task>(*rows_, *this);
        }
    } else if (type == "Product" || type == "Deliverable") {
        if (lookUp(Sql{"Select ItemName,ID, ParentId  From Products Where ID='", ID, "'"})) {
            loadRow<Table::product>(*rows_, *this);
        }
    }
    SourceType = type;
}

} // namespace corveth
