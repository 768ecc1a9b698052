#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// A light view of one row of `Projects`: what a task shows of its parent and of its project.
class CORVETH_API ParentItem final : public Described<ParentItem> {
public:
    static constexpr const char* className = "ParentItem";
    static const ClassInfo description;

    Text ParentId;
    Text Description;
    float AwardedAmount = 0;
    float BudgetedAmount = 0;
    Text Priority;
    Text Status; ///< whether it is finished: `True` or `False`
    float ExpectedOverrun = 0;
    std::uint8_t CompletedPercentage = 0;
    // Dates as text, empty for none.
    Text EarliestStartDate, PlannedStartDate, PlannedFinishDate;
    float PlannedDuration = 0; ///< working hours, like the other durations and work
    float PlannedWork = 0;
    Text ActualStartDate, ActualFinishDate;
    float ActualDuration = 0;
    float RemainingWork = 0;
    float ActualWorked = 0;
    Text ItemName;
    std::int16_t ItemType = 0; ///< a `ptType`
    Text VersionID;
    Text BidID;
    Text ProjectId; ///< the root of the tree that the row is in
    Text SourceId;
    Text SourceType;
    Text ProjectCategoryID;
    std::uint8_t CalculationMethod = 0; ///< a `ptCalcMethod`

    [[nodiscard]] Text get_ID() const { return id_; }
    /// Takes the ID and loads its row, as a task does that has it for a parent. A percentage or a calculation method
    /// that is no byte is left as it was, and logged: it must not keep whole trees from being loaded.
    void loadAs(Text id);
    /// Whether the last load found a row.
    [[nodiscard]] bool isFound() const noexcept { return isFound_; }

    /// Loads the row of `ID`; without one the fields stay as they are.
    void Populate();
    /// Writes parent and item type into the row of `ID`, if there is one.
    void Update();
    /// Deletes all participants of the row, from the database.
    void ClearAllUser();

private:
    struct Table;
    template <const auto& columns>
    void load();

    Text id_;
    bool isFound_ = false;
};

} // namespace corveth
