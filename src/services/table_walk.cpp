#include "services/table_walk.h"

#include "platform/automation/convert.h"
#include "platform/data/channel.h"
#include "platform/data/column_value.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace corveth {

namespace {

using data::ColumnType;
using data::TableDefinition;

constexpr std::size_t stepsAhead = 500;
constexpr std::int64_t mostRows = 500;
constexpr double mostBytes = 1 << 20;

Text inBrackets(const Text& name) {
    return "[" + name + "]";
}

Text joined(const std::vector<Text>& parts) {
    return fmt::format("{}", fmt::join(parts, ", "));
}

/// The first column of an index of the table, when it is never Null; empty without one.
Text leadingColumn(const data::Definition& definition, const TableDefinition& table) {
    for (const auto& index : definition.indexes) {
        if (!equalNoCase(index.table, table.name)) continue;
        const auto column = std::ranges::find_if(
            table.columns, [&](const auto& candidate) { return equalNoCase(candidate.name, index.columns.front()); });
        if (column != table.columns.end() && column->notNull) return column->name;
    }
    return {};
}

} // namespace

TableWalk::TableWalk(Ref<Connection> connection, const data::Definition& definition, const TableDefinition& table)
    : connection_(std::move(connection)), name_(inBrackets(table.name)), isUnique_(!table.key.empty()) {
    std::vector<Text> sizes;
    for (const auto& column : table.columns) {
        columns_.push_back(inBrackets(column.name));
        if (column.type == ColumnType::text || column.type == ColumnType::blob)
            sizes.push_back(fmt::format("Coalesce(Length({}), 0)", columns_.back()));
    }
    size_ = fmt::format("{}", fmt::join(sizes, " + "));
    if (isUnique_) {
        std::ranges::transform(table.key, std::back_inserter(by_), inBrackets);
        // None is Null. Where a key's index has them last, the rows are read in its order only when this is asked for.
        std::ranges::transform(by_, std::back_inserter(order_), [](const Text& name) { return name + " Nulls Last"; });
        lookOrder_ = joined(order_);
        return;
    }
    if (const Text leading = leadingColumn(definition, table); !leading.empty()) by_ = {inBrackets(leading)};
    lookOrder_ = joined(by_);
    order_ = columns_;
    // Rows that differ in the case of a key alone have a place, too.
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].type == ColumnType::shortText) order_.push_back(columns_[i] + " & ''");
    }
}

std::vector<Value> TableWalk::next() {
    if (ahead_.empty() && !isAllSeen_) lookAhead();
    if (ahead_.empty()) return {};

    Step step = std::move(ahead_.front());
    ahead_.pop_front();
    if (step.rows > mostRows) {
        auto cells = rowsBetween(taken_, step.place, fmt::format(" Limit {} Offset {}", mostRows, part_));
        part_ += mostRows;
        if (part_ < step.rows) {
            ahead_.push_front(std::move(step));
        } else {
            part_ = 0;
            taken_ = std::move(step.place);
        }
        return cells;
    }
    std::int64_t rows = step.rows;
    double size = step.size;
    std::vector<Value> place = std::move(step.place);
    while (!ahead_.empty() && rows + ahead_.front().rows <= mostRows && size + ahead_.front().size <= mostBytes) {
        rows += ahead_.front().rows;
        size += ahead_.front().size;
        place = std::move(ahead_.front().place);
        ahead_.pop_front();
    }
    auto cells = rowsBetween(taken_, place);
    taken_ = std::move(place);
    return cells;
}

void TableWalk::lookAhead() {
    std::vector<Text> wanted = by_;
    if (!size_.empty()) wanted.push_back(isUnique_ ? size_ : fmt::format("Sum({})", size_));
    if (!isUnique_) wanted.emplace_back("Count(*)");
    Text statement = fmt::format("Select {} From {}", joined(wanted), name_);
    if (!seen_.empty()) statement += " Where " + condition(">");
    if (!by_.empty()) {
        if (!isUnique_) statement += " Group By " + joined(by_);
        statement += fmt::format(" Order By {} Limit {}", lookOrder_, stepsAhead);
    }
    auto cells = run(statement, seen_);

    const std::size_t width = wanted.size();
    isAllSeen_ = cells.size() < stepsAhead * width;
    for (std::size_t at = 0; at + width <= cells.size(); at += width) {
        const std::span<Value> row = std::span(cells).subspan(at, width);
        Step step;
        if (!isUnique_) step.rows = static_cast<std::int64_t>(toDouble(row.back()));
        if (step.rows == 0) continue; // a table without a row, as a whole
        if (!size_.empty()) step.size = toDouble(row[by_.size()]);
        step.place.assign(std::move_iterator(row.begin()),
                          std::move_iterator(row.begin() + static_cast<std::ptrdiff_t>(by_.size())));
        ahead_.push_back(std::move(step));
    }
    if (!ahead_.empty()) seen_ = ahead_.back().place;
}

Text TableWalk::condition(const char* comparison) const {
    const std::vector<Text> marks(by_.size(), "?");
    return by_.size() == 1 ? fmt::format("{} {} ?", by_.front(), comparison)
                           : fmt::format("({}) {} ({})", joined(by_), comparison, joined(marks));
}

std::vector<Value> TableWalk::rowsBetween(std::span<const Value> behind, std::span<const Value> upTo,
                                          const Text& limit) const {
    std::vector<Text> conditions;
    std::vector<Value> values;
    if (!behind.empty()) conditions.push_back(condition(">"));
    if (!upTo.empty()) conditions.push_back(condition("<="));
    for (const auto& place : {behind, upTo})
        values.insert(values.end(), place.begin(), place.end());
    const Text where = conditions.empty() ? Text() : fmt::format(" Where {}", fmt::join(conditions, " And "));
    return run(fmt::format("Select {} From {}{} Order By {}{}", joined(columns_), name_, where, joined(order_), limit),
               values);
}

std::vector<Value> TableWalk::run(const Text& statement, std::span<const Value> values) const {
    std::vector<data::Parameter> parameters;
    std::ranges::transform(values, std::back_inserter(parameters), data::toParameter);
    std::vector<Value> cells;
    connection_->channel().run("open", data::withValues(statement, parameters), &cells);
    return cells;
}

} // namespace corveth
