#pragma once

#include "scheduling/task_calculation.h"

namespace corveth {

class Actions;
class Attachments;
class LinkItem;
class ParentItem;
class Participants;
class ProjectType;
class Recordset;
class Sql;
class Version;

/// A project, a group task or a task: one row of `Projects`. The rows of a project form a tree; the root is its own
/// parent. Dates are texts, empty for none; durations and work are hours.
class CORVETH_API ProjectTask final : public Described<ProjectTask> {
public:
    static constexpr const char* className = "ProjectTask";
    static const ClassInfo description;

    ProjectTask();
    ~ProjectTask() override;

    Text Description;
    float AwardedAmount = 0;
    float BudgetedAmount = 0;
    Text Priority;
    Text Status; ///< held in memory only
    Text SourceType;
    Text BidID;
    Text PlannedStartDate;
    Text PlannedFinishDate;
    float ActualDuration = 0;
    float RemainingDuration = 0;
    ptType ItemType = ptType::PROJECT;
    Text ID;

    // Figures that follow from one another. What an assignment recomputes stands in project_task_calculation.cpp and
    // task_calculation.h; where nothing else is said, a failure reaches the caller as it is, and what was assigned up
    // to it stays.
    [[nodiscard]] ptCalcMethod get_CalculationMethod() const { return static_cast<ptCalcMethod>(calculationMethod_); }
    /// 6 beyond 16 bits. Recomputes nothing.
    void let_CalculationMethod(ptCalcMethod value);
    [[nodiscard]] Text get_EarliestStartDate() const { return earliestStartDate_; }
    /// Plans the item from the first working day on.
    void let_EarliestStartDate(Text value);
    /// How many full-time resources the participants are, as last counted.
    [[nodiscard]] float get_ResourceCount() const { return figures_.resourceCount; }
    [[nodiscard]] float get_RemainingWork() const { return figures_.remainingWork; }
    void let_RemainingWork(float value) { figures_.remainingWork = value; }
    [[nodiscard]] float get_ExpectedOverrun() const { return figures_.expectedOverrun; }
    void let_ExpectedOverrun(float value) { figures_.expectedOverrun = value; }
    [[nodiscard]] Text get_ActualFinishDate() const { return actualFinishDate_; }
    /// An item with an actual finish is finished, one without is not.
    void let_ActualFinishDate(Text value);
    [[nodiscard]] float get_PlannedDuration() const { return figures_.plannedDuration; }
    /// A failure comes with the source "Planned duration".
    void let_PlannedDuration(float value);
    [[nodiscard]] float get_PlannedWork() const { return figures_.plannedWork; }
    /// A failure brings the earlier work back and comes with the source "Planned Work".
    void let_PlannedWork(float value);
    [[nodiscard]] float get_ActualWorked() const { return figures_.actualWorked; }
    void let_ActualWorked(float value);
    [[nodiscard]] float get_CompletedPercentage() const { return figures_.completedPercentage; }
    void let_CompletedPercentage(float value) { figures_.completedPercentage = value; }
    [[nodiscard]] Text get_ActualStartDate() const { return actualStartDate_; }
    void let_ActualStartDate(Text value);
    [[nodiscard]] bool get_Finished() const { return figures_.finished; }
    /// True finishes the item today, false takes its actual finish away.
    void let_Finished(bool value);
    /// For a client that has changed the participants' availabilities.
    void AvailabilityChanged();

    /// An empty name becomes the default one of the item's type, and stays.
    [[nodiscard]] Text get_ItemName();
    void let_ItemName(Text value) { itemName_ = std::move(value); }

    // Made and loaded on first read; kept until `Populate`.
    [[nodiscard]] Ref<corveth::Attachments> get_Attachments() const;
    [[nodiscard]] Ref<corveth::Actions> get_Actions() const;
    [[nodiscard]] Ref<Participants> get_Users() const;
    [[nodiscard]] Ref<corveth::Version> get_Version() const;
    [[nodiscard]] Ref<LinkItem> get_Source() const;
    /// Has its `ID` only.
    [[nodiscard]] Ref<ProjectType> get_ProjectCategory() const;

    /// The rows of the parent and of the tree's root, as they were loaded; both empty without a parent.
    [[nodiscard]] Ref<ParentItem> get_Parent() const;
    [[nodiscard]] Ref<ParentItem> get_ParentProject() const;
    /// Loads `Parent` and `ParentProject`, unless it is what was assigned last.
    void let_ParentId(Text value);

    /// Writes the row of `ID`, or a new one whose ID the object takes. What a project hands down is then written to its
    /// whole tree and a task is summed into its ancestors, in one transaction; what fails there goes to the log.
    void Update();
    /// Loads the row of `ID`. Without one the object becomes a new item, planned from its parent's start on, a project
    /// from the next working day on; `ItemType` and `ParentId` are to be set before.
    void Populate();
    /// Sums a task into its ancestors, on the shared connection; see `rollUp`. Nothing for other items.
    void UpdateParents();
    /// Deletes the item and what is below it, with all that depends on them, and sums up its ancestors anew. A failure
    /// is shown in a message box; with `bSelf` all is then undone.
    void Delete(const bool& bSelf = false);

private:
    struct Table;
    class Steps;
    struct Changes;

    [[nodiscard]] Sql rowStatement() const;
    void giveDefaultName();
    void load(Recordset& rows);
    void becomeNew();
    void takeFromProject();
    void requireParent() const;
    void keepProjectInStep();
    Changes saveRow();
    void handDown(const Changes& changed);

    [[nodiscard]] Date dateOf(const char* name, const Text& text) const;
    void calcPlannedFinish();
    void calcActualDuration();
    void calcRemainingDuration();
    void calcDurations();
    void assignPlannedWork(float value);

    [[nodiscard]] Text parentId() const;
    [[nodiscard]] Text projectId() const;
    [[nodiscard]] Text versionId() const;
    [[nodiscard]] Text sourceId() const;
    [[nodiscard]] Text categoryId() const;

    TaskFigures figures_;
    Text itemName_;
    std::int16_t calculationMethod_ = 0;
    Text earliestStartDate_, actualStartDate_, actualFinishDate_;

    Text lastParentId_;                      ///< as assigned, whatever `Parent` shows
    Text versionId_, sourceId_, categoryId_; ///< what `Version`, `Source` and `ProjectCategory` are made from
    Ref<ParentItem> parent_, parentProject_; ///< never Nothing
    // Made by their getters.
    mutable Ref<corveth::Attachments> attachments_;
    mutable Ref<corveth::Actions> actions_;
    mutable Ref<Participants> users_;
    mutable Ref<corveth::Version> version_;
    mutable Ref<LinkItem> source_;
    mutable Ref<ProjectType> category_;
};

} // namespace corveth
