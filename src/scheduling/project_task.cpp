#include "scheduling/project_task.h"

#include "attachments/attachments.h"
#include "platform/desktop/clock.h"
#include "scheduling/calendar_functions.h"
#include "scheduling/day_column.h"
#include "scheduling/parent_item.h"
#include "scheduling/participants.h"
#include "scheduling/project_type.h"
#include "scheduling/roll_up.h"
#include "session/link_item.h"
#include "session/linked_items.h"
#include "session/statements.h"
#include "tracking/actions.h"
#include "tracking/version.h"

#include <array>
#include <set>
#include <vector>

namespace corveth {

struct ProjectTask::Table {
    static constexpr MemberRow members[] = {
        field<&ProjectTask::Description>("Description"),
        field<&ProjectTask::AwardedAmount>("AwardedAmount"),
        field<&ProjectTask::BudgetedAmount>("BudgetedAmount"),
        field<&ProjectTask::Priority>("Priority"),
        field<&ProjectTask::Status>("Status"),
        field<&ProjectTask::SourceType>("SourceType"),
        field<&ProjectTask::BidID>("BidID"),
        letGet<&ProjectTask::let_CalculationMethod, &ProjectTask::get_CalculationMethod>("CalculationMethod"),
        letGet<&ProjectTask::let_EarliestStartDate, &ProjectTask::get_EarliestStartDate>("EarliestStartDate"),
        fieldLetFirst<&ProjectTask::PlannedStartDate>("PlannedStartDate"),
        fieldLetFirst<&ProjectTask::PlannedFinishDate>("PlannedFinishDate"),
        get<&ProjectTask::get_ResourceCount>("ResourceCount"),
        fieldLetFirst<&ProjectTask::ActualDuration>("ActualDuration"),
        fieldLetFirst<&ProjectTask::RemainingDuration>("RemainingDuration"),
        letGet<&ProjectTask::let_RemainingWork, &ProjectTask::get_RemainingWork>("RemainingWork"),
        letGet<&ProjectTask::let_ExpectedOverrun, &ProjectTask::get_ExpectedOverrun>("ExpectedOverrun"),
        letGet<&ProjectTask::let_ActualFinishDate, &ProjectTask::get_ActualFinishDate>("ActualFinishDate"),
        letGet<&ProjectTask::let_PlannedDuration, &ProjectTask::get_PlannedDuration>("PlannedDuration"),
        letGet<&ProjectTask::let_PlannedWork, &ProjectTask::get_PlannedWork>("PlannedWork"),
        letGet<&ProjectTask::let_ActualWorked, &ProjectTask::get_ActualWorked>("ActualWorked"),
        letGet<&ProjectTask::let_CompletedPercentage, &ProjectTask::get_CompletedPercentage>("CompletedPercentage"),
        letGet<&ProjectTask::let_ActualStartDate, &ProjectTask::get_ActualStartDate>("ActualStartDate"),
        letGet<&ProjectTask::let_Finished, &ProjectTask::get_Finished>("Finished"),
        getLet<&ProjectTask::get_ItemName, &ProjectTask::let_ItemName>("ItemName"),
        preset(field<&ProjectTask::ItemType>("ItemType")),
        get<&ProjectTask::get_Attachments>("Attachments"),
        get<&ProjectTask::get_Actions>("Actions"),
        get<&ProjectTask::get_Users>("Users"),
        get<&ProjectTask::get_Version>("Version"),
        get<&ProjectTask::get_Source>("Source"),
        get<&ProjectTask::get_ProjectCategory>("ProjectCategory"),
        get<&ProjectTask::get_ParentProject>("ParentProject"),
        preset(let<&ProjectTask::let_ParentId>("ParentId")),
        get<&ProjectTask::get_Parent>("Parent"),
        key(fieldLetFirst<&ProjectTask::ID>("ID"), "Projects.Id"),
        method<&ProjectTask::AvailabilityChanged>("AvailabilityChanged"),
        saves(method<&ProjectTask::Update>("Update")),
        loads(method<&ProjectTask::Populate>("Populate")),
        method<&ProjectTask::UpdateParents>("UpdateParents"),
        removes(method<&ProjectTask::Delete>("Delete", optional("bSelf"))),
    };
    static constexpr Column<ProjectTask> read[] = {
        column<&ProjectTask::calculationMethod_>("CalcMethod"),
        column<&ProjectTask::itemName_>("ItemName"),
        column<&ProjectTask::Description>("Description"),
        dayColumn<&ProjectTask::earliestStartDate_>("EarliestStartDate"),
        dayColumn<&ProjectTask::PlannedStartDate>("PlnStartDate"),
        dayColumn<&ProjectTask::PlannedFinishDate>("PlnFinishDate"),
        dayColumn<&ProjectTask::actualStartDate_>("ActStartDate"),
        dayColumn<&ProjectTask::actualFinishDate_>("ActFinishDate"),
        column<&ProjectTask::figures_, &TaskFigures::plannedDuration>("PlnDuration"),
        column<&ProjectTask::figures_, &TaskFigures::plannedWork>("PlnWork"),
        column<&ProjectTask::figures_, &TaskFigures::resourceCount>("Users"),
        column<&ProjectTask::figures_, &TaskFigures::actualWorked>("ActWorkDuration"),
        column<&ProjectTask::figures_, &TaskFigures::completedPercentage>("PercCompleted"),
        column<&ProjectTask::AwardedAmount>("AwAmount"),
        column<&ProjectTask::BudgetedAmount>("BudgAmount"),
        column<&ProjectTask::figures_, &TaskFigures::expectedOverrun>("ExptOverrun"),
        column<&ProjectTask::figures_, &TaskFigures::remainingWork>("RemainingWork"),
        column<&ProjectTask::ActualDuration>("ActDuration"),
        column<&ProjectTask::figures_, &TaskFigures::finished>("Finished"),
        column<&ProjectTask::ItemType>("ItemType"),
        column<&ProjectTask::Priority>("Priority"),
        column<&ProjectTask::SourceType>("SourceType", OnNull::empties),
        column<&ProjectTask::BidID>("BidId", OnNull::empties),
    };
    static constexpr Column<ProjectTask> written[] = {
        column<&ProjectTask::itemName_>("ItemName"),
        column<&ProjectTask::Description>("Description"),
        column<&ProjectTask::BidID>("BidId"),
        computed<&ProjectTask::parentId>("ParentID"),
        computed<&ProjectTask::projectId>("ProjectId"),
        dayColumn<&ProjectTask::earliestStartDate_>("EarliestStartDate"),
        dayColumn<&ProjectTask::PlannedStartDate>("PlnStartDate"),
        dayColumn<&ProjectTask::PlannedFinishDate>("PlnFinishDate"),
        column<&ProjectTask::figures_, &TaskFigures::plannedDuration>("PlnDuration"),
        column<&ProjectTask::figures_, &TaskFigures::plannedWork>("PlnWork"),
        column<&ProjectTask::ItemType>("ItemType"),
        column<&ProjectTask::figures_, &TaskFigures::resourceCount>("Users"),
        dayColumn<&ProjectTask::actualStartDate_>("ActStartDate"),
        dayColumn<&ProjectTask::actualFinishDate_>("ActFinishDate"),
        column<&ProjectTask::figures_, &TaskFigures::remainingWork>("RemainingWork"),
        column<&ProjectTask::ActualDuration>("ActDuration"),
        column<&ProjectTask::figures_, &TaskFigures::actualWorked>("ActWorkDuration"),
        column<&ProjectTask::figures_, &TaskFigures::completedPercentage>("PercCompleted"),
        column<&ProjectTask::figures_, &TaskFigures::finished>("Finished"),
        column<&ProjectTask::AwardedAmount>("AwAmount"),
        column<&ProjectTask::BudgetedAmount>("BudgAmount"),
        column<&ProjectTask::Priority>("Priority"),
        column<&ProjectTask::figures_, &TaskFigures::expectedOverrun>("ExptOverrun"),
        computed<&ProjectTask::categoryId>("prjCategoryId"),
        computed<&ProjectTask::versionId>("VersionId"),
        computed<&ProjectTask::sourceId>("SourceId"),
        column<&ProjectTask::SourceType>("SourceType"),
        column<&ProjectTask::calculationMethod_>("CalcMethod"),
    };
    static constexpr IdSource id{"PT", "ID", "Projects"};
};

constinit const ClassInfo ProjectTask::description = describe<ProjectTask, ProjectTask::Table>();

/// What was another in the row that a save overwrote.
struct ProjectTask::Changes {
    bool version = false, method = false, source = false, bid = false;
};

namespace {

/// The object in `slot`; made, prepared and put there on first read. One whose preparation fails is made anew at the
/// next read.
template <class T, class Prepare>
const Ref<T>& prepared(Ref<T>& slot, Prepare&& prepare) {
    if (!slot) {
        auto made = make<T>();
        prepare(*made);
        slot = std::move(made);
    }
    return slot;
}

/// A day whose text is the one it was read as keeps the number of its row, which the text may miss by its last bit.
void keepDays(Recordset& rows) {
    static constexpr std::array names = {"EarliestStartDate", "PlnStartDate", "PlnFinishDate", "ActStartDate",
                                         "ActFinishDate"};
    for (const int position : rows.positions(&names, names)) {
        if (position < 0) continue; // has been told of by now
        const auto column = static_cast<std::size_t>(position);
        const Value was = rows.originalValue(column), now = rows.value(column);
        const auto *before = was.getIf<double>(), *after = now.getIf<double>();
        if (before == nullptr || after == nullptr || *before == *after) continue;
        if (toText(checkedDate(*before)) == toText(checkedDate(*after))) rows.set(column, was);
    }
}

Text textOrEmpty(const Value& value) {
    return value.isNull() ? Text() : toText(value);
}

} // namespace

ProjectTask::ProjectTask() : parent_(make<ParentItem>()), parentProject_(make<ParentItem>()) {}
ProjectTask::~ProjectTask() = default;

void ProjectTask::let_CalculationMethod(ptCalcMethod value) {
    calculationMethod_ = toInteger(static_cast<std::int32_t>(value));
}

void ProjectTask::giveDefaultName() {
    if (!itemName_.empty()) return;
    switch (ItemType) {
    case ptType::PROJECT:
        itemName_ = "New Project";
        break;
    case ptType::GroupTask:
        itemName_ = "New Task";
        break;
    case ptType::Task:
        itemName_ = "New Sub Task";
        break;
    }
}

Text ProjectTask::get_ItemName() {
    giveDefaultName();
    return itemName_;
}

Ref<corveth::Attachments> ProjectTask::get_Attachments() const {
    return prepared(attachments_, [&](corveth::Attachments& files) {
        files.let_LinkId(ID);
        if (!ID.empty()) files.Populate();
    });
}

Ref<corveth::Actions> ProjectTask::get_Actions() const {
    return prepared(actions_, [&](corveth::Actions& actions) {
        actions.let_LinkId(ID);
        if (!ID.empty()) actions.Populate();
    });
}

Ref<Participants> ProjectTask::get_Users() const {
    return prepared(users_, [&](Participants& participants) {
        participants.let_LinkId(ID);
        if (!ID.empty()) participants.Populate();
    });
}

Ref<corveth::Version> ProjectTask::get_Version() const {
    return prepared(version_, [&](corveth::Version& version) {
        version.let_ID(versionId_);
        if (!versionId_.empty()) version.Populate();
    });
}

Ref<LinkItem> ProjectTask::get_Source() const {
    return prepared(source_, [&](LinkItem& source) {
        source.ID = sourceId_;
        if (!sourceId_.empty()) source.Populate();
    });
}

Ref<ProjectType> ProjectTask::get_ProjectCategory() const {
    return prepared(category_, [&](ProjectType& category) { category.ID = categoryId_; });
}

Ref<ParentItem> ProjectTask::get_Parent() const {
    return parent_;
}

Ref<ParentItem> ProjectTask::get_ParentProject() const {
    return parentProject_;
}

void ProjectTask::let_ParentId(Text value) {
    if (value.empty()) {
        parent_ = make<ParentItem>();
        parentProject_ = make<ParentItem>();
    } else if (value != lastParentId_) {
        parent_->loadAs(value);
        parentProject_->loadAs(parent_->ProjectId);
    }
    lastParentId_ = std::move(value);
}

Sql ProjectTask::rowStatement() const {
    return Sql{"Select * From Projects Where Id=\"", ID, "\""};
}

// Loading.

void ProjectTask::Populate() {
    trap("Projects", Report::cause, "", [&] {
        actions_ = nullptr;
        attachments_ = nullptr;
        version_ = nullptr;
        users_ = nullptr;
        source_ = nullptr;
        category_ = nullptr;
        const auto rows = openRecordset(rowStatement(), CursorType::staticCopy);
        rows->isEmpty() ? becomeNew() : load(*rows);
        calcDurations();
    });
}

void ProjectTask::load(Recordset& rows) {
    let_ParentId(toText(rows.value("ParentID")));
    loadRow<Table::read>(rows, *this);
    takeFromProject();
    BidID = parentProject_->BidID;
}

void ProjectTask::takeFromProject() {
    categoryId_ = parentProject_->ProjectCategoryID;
    versionId_ = parentProject_->VersionID;
    sourceId_ = parentProject_->SourceId;
    SourceType = parentProject_->SourceType;
}

/// A parent that is not there has no dates to plan from, and no tree.
void ProjectTask::requireParent() const {
    const Text parent = parentId();
    if (parent.empty() || parent_->isFound() || equalNoCase(parent, ID)) return;
    raise(errors::invalidCall, "the parent " + inQuotes(parent) + " is no row of Projects");
}

void ProjectTask::becomeNew() {
    requireParent();
    takeFromProject();
    for (Text* text : {&itemName_, &Description, &actualStartDate_, &actualFinishDate_})
        text->clear();
    AwardedAmount = 0;
    BudgetedAmount = 0;
    if (parent_->get_ID().empty() && ItemType == ptType::PROJECT) {
        Priority = "Medium";
        earliestStartDate_.clear();
        PlannedStartDate = toText(NextWorkingDay(today(), ID));
    } else {
        Priority = parentProject_->Priority;
        earliestStartDate_ = parent_->EarliestStartDate;
        PlannedStartDate = parent_->PlannedStartDate;
    }
    PlannedFinishDate = PlannedStartDate;
    const Date start = dateOf("PlannedStartDate", PlannedStartDate);
    const Date finish = dateOf("PlannedFinishDate", PlannedFinishDate);
    const std::int16_t hours = WorkingHoursBetween(start, finish, ID, true);
    BidID.clear();
    figures_ = {};
    figures_.plannedDuration = hours;
    figures_.plannedWork = hours;
    figures_.remainingWork = hours;
    ActualDuration = 0;
    RemainingDuration = hours;
}

// Saving.

Text ProjectTask::parentId() const {
    return parent_->get_ID();
}
Text ProjectTask::projectId() const {
    return parentProject_->get_ID();
}
Text ProjectTask::versionId() const {
    return get_Version()->get_ID();
}
Text ProjectTask::sourceId() const {
    return get_Source()->ID;
}
Text ProjectTask::categoryId() const {
    return get_ProjectCategory()->ID;
}

void ProjectTask::Update() {
    Changes changed;
    trap("Versions", Report::cause, "", [&] { changed = saveRow(); });
    handDown(changed);
}

ProjectTask::Changes ProjectTask::saveRow() {
    const auto rows = openRecordset(rowStatement(), CursorType::keyset);
    const bool isNew = rows->isEmpty();
    // One that has lost its parent can still be worked on.
    if (isNew || !equalNoCase(textOrEmpty(rows->value("ParentID")), parentId())) requireParent();
    if (isNew) {
        rows->AddNew();
        rows->setNewKey(Table::id.keyColumn, [this] { return ID = generateId(Table::id); });
    }
    giveDefaultName();

    Changes changed;
    const bool isProject = ItemType == ptType::PROJECT;
    changed.bid = textOrEmpty(rows->value("BidId")) != BidID;
    const Value& method = rows->value("CalcMethod");
    changed.method = isProject && !method.isNull() && toLong(method) != calculationMethod_;

    // A root is its own parent and its own project. Its key is written into other columns, so it has to stay.
    const bool hasNoParent = parentId().empty();
    const bool hasNoProject = projectId().empty();
    if (isNew && (hasNoParent || hasNoProject)) rows->set(Table::id.keyColumn, ID);
    try {
        if (hasNoParent) parent_->loadAs(ID);
        if (hasNoProject) parentProject_->loadAs(ID);

        changed.version = isProject && textOrEmpty(rows->value("VersionId")) != versionId();
        changed.source = isProject && textOrEmpty(rows->value("SourceId")) != sourceId();
        storeRow<Table::written>(*this, *rows);
        keepDays(*rows);
        rows->Update();
    } catch (...) {
        // No row has this ID; the next attempt gives the item its own again.
        if (hasNoParent) parent_ = make<ParentItem>();
        if (hasNoProject) parentProject_ = make<ParentItem>();
        throw;
    }
    if (equalNoCase(projectId(), ID)) keepProjectInStep();
    return changed;
}

/// The view of a project on itself has what was just written, so that loading the object again does not take back what
/// it handed down.
void ProjectTask::keepProjectInStep() {
    parentProject_->ProjectCategoryID = categoryId();
    parentProject_->VersionID = versionId();
    parentProject_->SourceId = sourceId();
    parentProject_->SourceType = SourceType;
    parentProject_->BidID = BidID;
}

void ProjectTask::handDown(const Changes& changed) {
    const auto attempt = [&](const char* what, auto&& statement) { passOver(className, what, ID, statement); };
    bool isOwn = false;
    attempt("beginning a transaction", [&] {
        beginTransaction();
        isOwn = true;
    });
    if (changed.version) {
        attempt("handing down the version", [&] {
            execute(Sql{"Update Projects Set VersionID='", versionId(), "' Where ProjectId='", ID, "'"});
        });
    }
    if (changed.method) {
        attempt("handing down the calculation method", [&] {
            execute(Sql{"Update Projects Set CalcMethod='", calculationMethod_, "' Where ProjectId='", ID, "'"});
        });
    }
    if (changed.source) {
        attempt("handing down the source", [&] {
            execute(Sql{"Update Projects Set SourceID='", sourceId(), "' Where ProjectId='", ID, "'"});
        });
    }
    if (changed.bid) {
        attempt("handing down the bid", [&] {
            execute(Sql{"Update Projects Set BIDID='", BidID, "' Where ProjectId='", ID, "'"});
        });
    }
    attempt("summing up the ancestors", [&] { UpdateParents(); });
    // Without one of its own, what is open is the client's.
    if (!isOwn) return;
    attempt("committing", [&] {
        try {
            commitTransaction();
        } catch (...) {
            rollBackTransaction();
            throw;
        }
    });
}

void ProjectTask::UpdateParents() {
    // What is its own parent has nobody to be summed into.
    if (ItemType < ptType::Task || (!ID.empty() && equalNoCase(lastParentId_, ID))) return;
    rollUp(lastParentId_, projectId());
}

// Deleting.

namespace {

/// Deletes what is below an item, and the item. What it has entered already is passed over, so a tree that leads back
/// into itself comes to an end.
class TreeDeletion {
public:
    void deleteSubtree(const Text& id) {
        if (!entered_.insert(foldCase(id)).second) return;
        for (const Child& child : childrenOf(id)) {
            deleteRow(child.id);
            if (child.isGroup) deleteSubtree(child.id);
        }
        deleteRow(id);
    }

private:
    struct Child {
        Text id;
        bool isGroup;
    };

    static std::vector<Child> childrenOf(const Text& id) {
        const auto rows = openRecordset(
            Sql{"SELECT ID, ParentId ,ItemType FROM Projects WHERE ParentID='", id, "' ORDER BY ItemType Desc"},
            CursorType::staticCopy);
        std::vector<Child> children;
        for (; !rows->get_EOF(); rows->MoveNext()) {
            const Value& type = rows->value("ItemType");
            const bool isGroup = !type.isNull() && toLong(type) == static_cast<std::int32_t>(ptType::GroupTask);
            children.push_back({toText(rows->value("ID")), isGroup});
        }
        return children;
    }

    static void deleteRow(const Text& id) {
        const auto attempt = [&](const char* what, auto&& statement) {
            passOver(ProjectTask::className, what, id, statement);
        };
        attempt("deleting the actions", [&] { execute(Sql{"DELETE FROM Actions WHERE LinkId='", id, "'"}); });
        attempt("deleting what is linked", [&] { DeleteLinkedItems(id); });
        attempt("deleting the links", [&] {
            execute(Sql{"DELETE From ItemMap Where LinkId ='", id, "' Or ItemID ='", id, "'"});
        });
        attempt("deleting the participants", [&] {
            execute(Sql{"DELETE From Participants Where LinkID ='", id, "'"});
        });
        attempt("deleting the row", [&] { execute(Sql{"DELETE From Projects Where ID ='", id, "'"}); });
    }

    std::set<Text> entered_; ///< folded
};

} // namespace

void ProjectTask::Delete(const bool& bSelf) {
    trapToBox(className, "deletion", ID, [&] {
        inTransaction(bSelf, [&] {
            // What an item without an ID seems to own is what belongs to no item at all.
            if (!ID.empty()) TreeDeletion().deleteSubtree(ID);
            UpdateParents();
        });
    });
}

} // namespace corveth
