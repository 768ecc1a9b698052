#include "scheduling/parent_item.h"

#include "scheduling/day_column.h"
#include "session/failure.h"
#include "session/statements.h"

namespace corveth {

struct ParentItem::Table {
    static constexpr MemberRow members[] = {
        field<&ParentItem::ParentId>("ParentId"),
        field<&ParentItem::Description>("Description"),
        field<&ParentItem::AwardedAmount>("AwardedAmount"),
        field<&ParentItem::BudgetedAmount>("BudgetedAmount"),
        field<&ParentItem::Priority>("Priority"),
        field<&ParentItem::Status>("Status"),
        field<&ParentItem::ExpectedOverrun>("ExpectedOverrun"),
        field<&ParentItem::CompletedPercentage>("CompletedPercentage"),
        field<&ParentItem::EarliestStartDate>("EarliestStartDate"),
        field<&ParentItem::PlannedStartDate>("PlannedStartDate"),
        field<&ParentItem::PlannedFinishDate>("PlannedFinishDate"),
        field<&ParentItem::PlannedDuration>("PlannedDuration"),
        field<&ParentItem::PlannedWork>("PlannedWork"),
        field<&ParentItem::ActualStartDate>("ActualStartDate"),
        field<&ParentItem::ActualFinishDate>("ActualFinishDate"),
        field<&ParentItem::ActualDuration>("ActualDuration"),
        field<&ParentItem::RemainingWork>("RemainingWork"),
        field<&ParentItem::ActualWorked>("ActualWorked"),
        field<&ParentItem::ItemName>("ItemName"),
        field<&ParentItem::ItemType>("ItemType"),
        field<&ParentItem::VersionID>("VersionID"),
        field<&ParentItem::BidID>("BidID"),
        field<&ParentItem::ProjectId>("ProjectId"),
        field<&ParentItem::SourceId>("SourceId"),
        field<&ParentItem::SourceType>("SourceType"),
        field<&ParentItem::ProjectCategoryID>("ProjectCategoryID"),
        field<&ParentItem::CalculationMethod>("CalculationMethod"),
        get<&ParentItem::get_ID>("ID"),
        method<&ParentItem::Populate>("Populate"),
        method<&ParentItem::Update>("Update"),
        method<&ParentItem::ClearAllUser>("ClearAllUser"),
    };
    static constexpr auto read = std::to_array<Column<ParentItem>>({
        column<&ParentItem::ParentId>("ParentID", OnNull::empties),
        column<&ParentItem::Description>("Description", OnNull::empties),
        column<&ParentItem::AwardedAmount>("AwAmount"),
        column<&ParentItem::BudgetedAmount>("BudgAmount"),
        column<&ParentItem::Priority>("Priority", OnNull::empties),
        column<&ParentItem::Status>("Finished", OnNull::empties),
        column<&ParentItem::ExpectedOverrun>("ExptOverrun"),
        column<&ParentItem::CompletedPercentage>("PercCompleted"),
        dayColumn<&ParentItem::EarliestStartDate>("EarliestStartDate"),
        dayColumn<&ParentItem::PlannedStartDate>("PlnStartDate"),
        dayColumn<&ParentItem::PlannedFinishDate>("PlnFinishDate"),
        column<&ParentItem::PlannedDuration>("PlnDuration"),
        column<&ParentItem::PlannedWork>("PlnWork"),
        dayColumn<&ParentItem::ActualStartDate>("ActStartDate"),
        dayColumn<&ParentItem::ActualFinishDate>("ActFinishDate"),
        column<&ParentItem::ActualDuration>("ActDuration"),
        column<&ParentItem::RemainingWork>("RemainingWork"),
        column<&ParentItem::ActualWorked>("ActWorkDuration"),
        column<&ParentItem::ItemName>("ItemName", OnNull::empties),
        column<&ParentItem::ItemType>("ItemType"),
        column<&ParentItem::VersionID>("VersionId", OnNull::empties),
        column<&ParentItem::BidID>("BidId", OnNull::empties),
        column<&ParentItem::ProjectId>("ProjectId", OnNull::empties),
        column<&ParentItem::SourceId>("SourceId", OnNull::empties),
        column<&ParentItem::SourceType>("SourceType", OnNull::empties),
        column<&ParentItem::ProjectCategoryID>("PrjCategoryId", OnNull::empties),
        column<&ParentItem::CalculationMethod>("CalcMethod"),
        column<&ParentItem::id_>("Id"),
    });
    static constexpr auto readForTask = [] {
        auto columns = read;
        for (auto& column : columns) {
            const TextView name = column.name;
            if (name == "PercCompleted" || name == "CalcMethod") column.onNull = OnNull::ignored;
        }
        return columns;
    }();
    static constexpr Column<ParentItem> written[] = {
        column<&ParentItem::ParentId>("ParentID"),
        column<&ParentItem::ItemType>("ItemType"),
    };
};

constinit const ClassInfo ParentItem::description = describe<ParentItem, ParentItem::Table>();

template <const auto& columns>
void ParentItem::load() {
    trap("Projects", Report::cause, "", [&] {
        isFound_ = false;
        const auto rows = openRecordset(Sql{"Select * From Projects Where Id=\"", id_, "\""}, CursorType::staticCopy);
        if (rows->isEmpty()) return;
        loadRow<columns>(*rows, *this);
        isFound_ = true;
    });
}

void ParentItem::loadAs(Text id) {
    id_ = std::move(id);
    load<Table::readForTask>();
}

void ParentItem::Populate() {
    load<Table::read>();
}

void ParentItem::Update() {
    trap("Projects", Report::cause, "", [&] {
        const auto rows = openRecordset(Sql{"Select * From Projects Where Id=\"", id_, "\""}, CursorType::keyset);
        if (rows->isEmpty()) return;
        storeRow<Table::written>(*this, *rows);
        rows->Update();
    });
}

void ParentItem::ClearAllUser() {
    execute(Sql{"Delete From Participants Where LinkId=\"", id_, "\""});
}

} // namespace corveth
