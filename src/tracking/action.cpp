#include "tracking/action.h"

#include "session/columns.h"
#include "session/failure.h"
#include "session/item_type.h"
#include "session/statements.h"

namespace corveth {

struct Action::Table {
    static constexpr MemberRow members[] = {
        field<&Action::Description>("Description"),
        field<&Action::Priority>("Priority"),
        field<&Action::FinishBy>("FinishBy"),
        field<&Action::PercentageCompleted>("PercentageCompleted"),
        field<&Action::FinishDate>("FinishDate"),
        field<&Action::LinkId>("LinkId"),
        get<&Action::get_Task>("Task"),
        get<&Action::get_LinkType>("LinkType"),
        get<&Action::get_AssignedTo>("AssignedTo"),
        key(letGet<&Action::let_ID, &Action::get_ID>("ID"), "Actions.Id"),
        loads(method<&Action::Populate>("Populate")),
        saves(method<&Action::Update>("Update")),
        removes(method<&Action::DeleteAction>("DeleteAction", optional("bSelf"))),
    };
    static constexpr Column<Action> columns[] = {
        column<&Action::Description>("Description", OnNull::empties),
        column<&Action::Priority>("Priority", OnNull::empties),
        column<&Action::PercentageCompleted>("PercCompleted"),
        column<&Action::LinkId>("LinkId", OnNull::empties),
        column<&Action::assignedToId_>("AssignedTo", OnNull::empties),
        column<&Action::taskId_>("TaskId", OnNull::empties),
        dateColumn<&Action::FinishBy>("FinishBy", OnNull::keeps),
        dateColumn<&Action::FinishDate>("FinishDate", OnNull::keeps),
    };
    static constexpr IdSource id{"AC", "ID", "Actions"};

    static Ref<Recordset> open(const Text& key) {
        return openRecordset(Sql{"Select * From Actions Where Id=\"", key, "\""}, CursorType::dynamic);
    }
};

constinit const ClassInfo Action::description = describe<Action, Action::Table>();

namespace {

Ref<LinkItem> itemOf(Ref<LinkItem>& held, const Text& id) {
    if (!held) {
        held = make<LinkItem>();
        held->ID = id;
        held->Populate();
    }
    return held;
}

} // namespace

Ref<LinkItem> Action::get_Task() {
    return itemOf(task_, taskId_);
}

Ref<LinkItem> Action::get_AssignedTo() {
    return itemOf(assignedTo_, assignedToId_);
}

Text Action::get_LinkType() const {
    return itemTypeName(LinkId);
}

void Action::Populate() {
    const auto rows = Table::open(id_);
    assignedTo_ = nullptr;
    task_ = nullptr;
    if (!rows->isEmpty()) {
        loadRow<Table::columns>(*rows, *this);
        return;
    }
    Description = "<New Action>";
    Priority = "Low";
    PercentageCompleted = 0;
    for (Text* text : {&LinkId, &FinishBy, &FinishDate, &assignedToId_, &taskId_})
        text->clear();
}

void Action::Update() {
    trap(className, Report::cause, "", [&] {
        const auto rows = Table::open(id_);
        if (rows->isEmpty()) {
            rows->AddNew();
            if (id_.empty()) {
                rows->setNewKey("Id", [this] { return id_ = generateId(Table::id); });
            } else {
                rows->set("Id", id_);
            }
        }
        assignedToId_ = get_AssignedTo()->ID;
        taskId_ = get_Task()->ID;
        storeRow<Table::columns>(*this, *rows);
        rows->Update();
    });
}

void Action::DeleteAction(const bool& bSelf) {
    trap(className, Report::message, "Cannot delete Action(s).", [&] {
        inTransaction(bSelf, [&] {
            execute(Sql{"DELETE From ItemMap Where LinkId ='", id_, "' Or ItemID ='", id_, "'"});
            execute(Sql{"DELETE From Participants Where LinkID ='", id_, "'"});
            execute(Sql{"DELETE From Actions Where ID ='", id_, "'"});
        });
    });
}

} // namespace corveth
