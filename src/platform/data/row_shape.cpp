#include "platform/data/row_shape.h"

#include <algorithm>

namespace corveth::data {

bool WritePlan::hasKeys() const noexcept {
    return !keys.empty() && std::ranges::all_of(keys, [](const Key& key) { return key.column != none; });
}

RowShape::RowShape(std::span<const ResultColumn> columns, Text target)
    : columns_(columns.begin(), columns.end()), target_(std::move(target)) {}

std::optional<std::size_t> RowShape::position(TextView name) const noexcept {
    const auto found = std::ranges::find_if(columns_, [name](const auto& c) { return equalNoCase(c.name, name); });
    if (found == columns_.end()) return std::nullopt;
    return static_cast<std::size_t>(found - columns_.begin());
}

std::span<const int> RowShape::positions(const void* table, std::span<const char* const> names) const {
    for (const auto& known : found_) {
        if (known.table == table) return known.positions;
    }
    std::vector<int> positions;
    positions.reserve(names.size());
    for (const char* name : names) {
        const auto at = position(name);
        positions.push_back(at ? static_cast<int>(*at) : -1);
    }
    return found_.emplace_back(Found{table, std::move(positions)}).positions;
}

const WritePlan* RowShape::plan(Session& session) const {
    if (planned_) return plan_ ? &*plan_ : nullptr;
    auto table = target_.empty() ? nullptr : session.table(target_);
    const auto isReadOnly = [&] {
        return table->isView && std::ranges::none_of(table->columns, &TableInfo::Column::isKey);
    };
    if (table == nullptr || isReadOnly()) {
        planned_ = true;
        return nullptr;
    }
    WritePlan plan;
    plan.table = std::move(table);
    const auto& known = plan.table->columns;
    plan.tableColumns.resize(columns_.size(), WritePlan::none);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const ResultColumn& column = columns_[i];
        // A view's columns come from its tables, under names that only the view gives.
        const bool isOwn = !plan.table->isView && equalNoCase(column.originTable, target_);
        if (!isOwn && !plan.table->isView) continue;
        const TextView name = isOwn ? column.originColumn : column.name;
        const auto at = std::ranges::find_if(known, [name](const auto& c) { return equalNoCase(c.name, name); });
        if (at != known.end()) plan.tableColumns[i] = static_cast<std::size_t>(at - known.begin());
    }
    for (std::size_t i = 0; i < known.size(); ++i) {
        if (!known[i].isKey) continue;
        const auto at = std::ranges::find(plan.tableColumns, i);
        WritePlan::Key key{i, WritePlan::none};
        if (at != plan.tableColumns.end()) key.column = static_cast<std::size_t>(at - plan.tableColumns.begin());
        plan.keys.push_back(key);
    }
    plan_ = std::move(plan);
    planned_ = true;
    return &*plan_;
}

} // namespace corveth::data
