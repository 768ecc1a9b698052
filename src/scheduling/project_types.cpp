#include "scheduling/project_types.h"

#include "platform/automation/collection.h"
#include "session/columns.h"
#include "session/failure.h"
#include "session/statements.h"

namespace corveth {

struct ProjectTypes::Table {
    static constexpr MemberRow members[] = {
        get<&ProjectTypes::get_Count>("Count"),
        get<&ProjectTypes::get_Parent>("Parent", "ID"),
        method<&ProjectTypes::ProjectItems>("ProjectItems"),
        defaultMember(get<&ProjectTypes::get_Item>("Item", "ID")),
        method<&ProjectTypes::Remove>("Remove", "ID"),
        method<&ProjectTypes::Update>("Update", optional("ID")),
        method<&ProjectTypes::AddItem>("AddItem", "strItemID", "strParentID", "strDesc", "strItemType"),
    };
    static constexpr Column<ProjectType> written[] = {
        column<&ProjectType::ItemType>("ItemType"),
        column<&ProjectType::Description>("Description"),
        column<&ProjectType::ItemIndex>("ItemIndex"),
    };
    static constexpr IdSource id{"PC", "ItemID", "ProjectTypeMaster"};
};

constinit const ClassInfo ProjectTypes::description = describe<ProjectTypes, ProjectTypes::Table>();

namespace {

bool isEmptyText(const Value& value) noexcept {
    const auto* text = value.getIf<Text>();
    return value.is(ValueType::empty) || (text != nullptr && text->empty());
}

} // namespace

ProjectTypes::ProjectTypes() {
    load();
}
ProjectTypes::~ProjectTypes() = default;

void ProjectTypes::load() {
    members_.clear();
    rows_ = openRecordset(Sql{"Select * From ProjectTypeMaster Order By  ParentID, ItemId"}, CursorType::keyset);
    const auto text = [this](const char* column) { // Null is empty: a category at the top is saved without a parent
        const Value& value = rows_->value(column);
        return value.isNull() ? Text() : toText(value);
    };
    for (; !rows_->get_EOF(); rows_->MoveNext())
        AddItem(text("ItemId"), text("ParentId"), text("Description"), text("ItemType"));
}

Ref<ProjectType> ProjectTypes::AddItem(Text strItemID, Text strParentID, Text strDesc, Text strItemType) {
    auto type = make<ProjectType>();
    type->ID = std::move(strItemID);
    type->ParentId = std::move(strParentID);
    type->Description = std::move(strDesc);
    type->ItemType = std::move(strItemType);
    type->ItemIndex = toInteger(Value(members_.count()));
    members_.appendKeyed(type, type->ID);
    return type;
}

Ref<ProjectType> ProjectTypes::get_Parent(Value /*ID*/) const {
    raise(errors::objectNotSet);
}

Ref<Object> ProjectTypes::ProjectItems() const {
    return make<Collection>(members_.list(), ProjectType::description);
}

Ref<ProjectType> ProjectTypes::get_Item(Value ID) const {
    if (isEmptyText(ID)) return {};
    try {
        return members_.item(ID);
    } catch (const Error&) {
        return {};
    }
}

void ProjectTypes::Remove(Value ID) {
    if (!isEmptyText(ID)) {
        passOver(className, "removing", {}, [&] {
            const Text id = members_.item(ID)->ID;
            execute(Sql{"Delete From ProjectTypeMaster Where ItemId='", id, "' Or ParentId='", id, "'"});
        });
    }
    passOver(className, "loading", {}, [&] { load(); });
}

void ProjectTypes::Update(Value ID) {
    if (ID.isMissing()) {
        for (std::int32_t position = 1; position <= members_.count(); ++position)
            save(*members_.at(position));
        return;
    }
    const auto type = members_.item(ID);
    members_.remove(ID);
    save(*type);
    members_.appendKeyed(type, type->ID);
}

void ProjectTypes::save(ProjectType& type) {
    trap("ProjectType", Report::message, "Cannot save Project Type.", [&] {
        const bool isNew = type.ID.empty() || rows_->isEmpty();
        if (isNew) rows_ = openRecordset(Sql{"Select * From ProjectTypeMaster"}, CursorType::keyset);
        Text newId;
        try {
            if (isNew) {
                rows_->AddNew();
                rows_->setNewKey("ItemID", [&newId] { return newId = generateId(Table::id); });
            } else {
                find(type.ID);
            }
            storeRow<Table::written>(type, *rows_);
            if (!type.ParentId.empty()) rows_->set("ParentID", type.ParentId);
            rows_->Update();
        } catch (...) {
            rows_->CancelUpdate(); // or the next save would begin by saving this row
            throw;
        }
        if (isNew) type.ID = newId;
    });
}

/// Its row as it is now: others, and a transaction that was undone, may have changed it since the rows were read. Fails
/// when there is none.
void ProjectTypes::find(const Text& id) {
    const Sql criteria{"ItemID ='", id, "'"};
    if (!criteria.refusal().empty()) raise(errors::invalidCall, criteria.refusal());
    rows_->MoveFirst();
    rows_->Find(criteria.text(), 0, 1);
    rows_->resync();
}

} // namespace corveth
