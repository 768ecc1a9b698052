#include "scheduling/tasks.h"

#include "session/failure.h"
#include "session/item_type.h"
#include "session/statements.h"

namespace corveth {

struct Tasks::Table {
    static constexpr MemberRow members[] = {
        getLet<&Tasks::get_LinkId, &Tasks::let_LinkId>("LinkId"),
        method<&Tasks::Add>("Add", "ID", optional("sKey")),
        defaultMember(get<&Tasks::get_Item>("Item", "vntIndexKey")),
        get<&Tasks::get_Count>("Count"),
        method<&Tasks::Remove>("Remove", "vntIndexKey"),
        enumeratorMember(get<&Tasks::get_NewEnum>("NewEnum")),
        loads(method<&Tasks::Populate>("Populate")),
        method<&Tasks::UpdateTasks>("UpdateTasks"),
        method<&Tasks::SetCategoryFilter>("SetCategoryFilter", "strCategoryId"),
    };
};

constinit const ClassInfo Tasks::description = describe<Tasks, Tasks::Table>();

Tasks::Tasks() = default;
Tasks::~Tasks() = default;

void Tasks::let_LinkId(Text value) {
    query_ = Sql{"SELECT Projects.ID From Projects INNER JOIN ItemMap ON Projects.ID  = ItemMap.ItemId"
                 " Where ItemMap.LinkId=\"",
                 value, "\""};
    linkId_ = std::move(value);
}

void Tasks::SetCategoryFilter(Text strCategoryId) {
    query_ = Sql{"SELECT ID From Projects Where PrjCategoryID ='", strCategoryId, "' And ItemType =0"};
}

Value Tasks::Add(const Text& ID, const Text& sKey) {
    Ref<ProjectTask> task;
    trap("Tasks add", Report::cause, "", [&] {
        task = make<ProjectTask>();
        task->ID = ID;
        task->Populate();
        members_.appendKeyed(task, sKey);
    });
    return task;
}

void Tasks::Populate() {
    trap("Tasks", Report::cause, "", [&] {
        members_.clear();
        const auto rows = openRecordset(query_, CursorType::staticCopy);
        for (; !rows->get_EOF(); rows->MoveNext()) {
            const Text id = toText(rows->value("Id"));
            Add(id, id);
        }
    });
}

void Tasks::UpdateTasks() {
    trap("Tasks", Report::cause, "", [&] {
        constexpr auto type = static_cast<std::int32_t>(ptParentType::ptTask);
        execute(Sql{"Delete From ItemMap Where LinkId='", linkId_, "' And ItemType=", type});
        for (std::int32_t position = 1; position <= members_.count(); ++position) {
            const Text id = members_.at(position)->ID;
            execute(Sql{"Insert Into ItemMap Values('", linkId_, "', '", id, "',", type, ",'')"});
        }
    });
}

} // namespace corveth
