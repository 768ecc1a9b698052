#include "tracking/actions.h"

#include "session/failure.h"
#include "session/statements.h"

namespace corveth {

struct Actions::Table {
    static constexpr MemberRow members[] = {
        method<&Actions::AddItem>("AddItem", "Item"),
        defaultMember(get<&Actions::get_Item>("Item", "vntIndexKey")),
        getLet<&Actions::get_LinkId, &Actions::let_LinkId>("LinkId"),
        get<&Actions::get_Count>("Count"),
        method<&Actions::Remove>("Remove", "vntIndexKey"),
        enumeratorMember(get<&Actions::get_NewEnum>("NewEnum")),
        loads(method<&Actions::Populate>("Populate")),
        method<&Actions::UpdateActions>("UpdateActions"),
    };
};

constinit const ClassInfo Actions::description = describe<Actions, Actions::Table>();

Value Actions::AddItem(Ref<Action> Item) {
    const Text key = Item->get_ID();
    members_.appendKeyed(std::move(Item), key);
    return {};
}

void Actions::Populate() {
    trap(className, Report::cause, "", [&] {
        const auto rows =
            openRecordset(Sql{"Select * From Actions Where LinkId=\"", linkId_, "\""}, CursorType::dynamic);
        for (; !rows->get_EOF(); rows->MoveNext()) {
            auto action = make<Action>();
            const Text id = toText(rows->value("Id"));
            action->let_ID(id);
            action->Populate();
            members_.append(std::move(action), id);
        }
    });
}

void Actions::UpdateActions() {
    execute(Sql{"Delete From Actions Where LinkId='", linkId_, "'"});
    const std::int32_t count = members_.count();
    for (std::int32_t position = 1; position <= count; ++position) {
        const auto action = members_.at(position);
        action->LinkId = linkId_;
        action->Update();
    }
}

} // namespace corveth
