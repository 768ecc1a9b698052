#include "platform/data/sqlite/definition.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace corveth::data::sqlite {
namespace {

/// Declared types stay as they are written: a column's type is told from them. A name that the engine does not know
/// has numeric affinity, which is right for dates, flags and amounts.
Text columnText(const ColumnDefinition& column) {
    Text text = column.name + " " + column.declaredType;
    if (column.notNull) text += " not null";
    if (column.type == ColumnType::shortText) text += " collate nocase";
    return text;
}

Text tableStatement(const TableDefinition& table) {
    std::vector<Text> parts;
    for (const ColumnDefinition& column : table.columns)
        parts.push_back(columnText(column));
    if (!table.key.empty()) parts.push_back(fmt::format("primary key ({})", fmt::join(table.key, ", ")));
    return fmt::format("create table {} ({})", table.name, fmt::join(parts, ", "));
}

/// Whatever is not 0 is True, and True is -1.
std::vector<Text> flagStatements(const TableDefinition& table) {
    std::vector<Text> names, conditions, assignments;
    for (const ColumnDefinition& column : table.columns) {
        if (column.type != ColumnType::boolean) continue;
        names.push_back(column.name);
        conditions.push_back(fmt::format("new.{} not in (0, -1)", column.name));
        assignments.push_back(fmt::format("{0} = case when {0} <> 0 then -1 else {0} end", column.name));
    }
    std::vector<Text> statements;
    if (names.empty()) return statements;
    const Text update = fmt::format("of {}", fmt::join(names, ", "));
    for (const auto& [event, columns] : {std::pair<TextView, TextView>{"insert", {}}, {"update", update}}) {
        statements.push_back(fmt::format("create trigger {0}_flags_{1} after {1} {2} on {0} when {3} begin "
                                         "update {0} set {4} where rowid = new.rowid; end",
                                         table.name, event, columns, fmt::join(conditions, " or "),
                                         fmt::join(assignments, ", ")));
    }
    return statements;
}

/// The pieces that the statements of one joined view are put together from.
class ViewWriter {
public:
    ViewWriter(const JoinedViewDefinition& view, const TableDefinition& first, const TableDefinition& second)
        : view_(view), first_(namesOf(first)), second_(namesOf(second)) {}

    [[nodiscard]] std::vector<Text> statements() const {
        const Text sameKey = fmt::format("new.{0} is old.{0}", view_.key);
        const Text otherKey = fmt::format("new.{0} is not old.{0}", view_.key);
        return {
            viewStatement(),
            trigger("insert", "insert", {}, {insertFirst(), insertSecond()}),
            // One each, so that a change of the one table's columns leaves the other's row alone.
            trigger("update_first", "update of " + joined(first_), sameKey, {updateFirst()}),
            trigger("update_second", "update of " + joined(secondInView()), sameKey, {writeSecond()}),
            trigger("update_key", "update of " + view_.key, otherKey, {updateFirst(), moveSecond(), writeSecond()}),
            trigger("delete", "delete", {}, {deleteFrom(view_.second), deleteFrom(view_.first)}),
        };
    }

private:
    static std::vector<Text> namesOf(const TableDefinition& table) {
        std::vector<Text> names;
        for (const ColumnDefinition& column : table.columns)
            names.push_back(column.name);
        return names;
    }
    static Text joined(const std::vector<Text>& parts) { return fmt::format("{}", fmt::join(parts, ", ")); }
    template <class Make>
    static Text each(const std::vector<Text>& names, Make make) {
        std::vector<Text> parts;
        for (const Text& name : names)
            parts.push_back(make(name));
        return joined(parts);
    }

    [[nodiscard]] bool isKey(const Text& name) const { return equalNoCase(name, view_.key); }
    [[nodiscard]] std::vector<Text> secondInView() const {
        std::vector<Text> names = second_;
        for (Text& name : names) {
            if (isKey(name)) name = view_.secondKeyName;
        }
        return names;
    }

    [[nodiscard]] Text viewStatement() const {
        const auto of = [](const Text& table) { return [&](const Text& name) { return table + "." + name; }; };
        return fmt::format("create view {} ({}, {}) as select {}, {} from {} left join {} on {}.{} = {}.{}", view_.name,
                           joined(first_), joined(secondInView()), each(first_, of(view_.first)),
                           each(second_, of(view_.second)), view_.first, view_.second, view_.second, view_.key,
                           view_.first, view_.key);
    }

    [[nodiscard]] Text trigger(TextView suffix, TextView event, TextView condition,
                               const std::vector<Text>& statements) const {
        Text body;
        for (const Text& statement : statements)
            body += statement + "; ";
        const Text when = condition.empty() ? Text() : fmt::format("when {} ", condition);
        return fmt::format("create trigger {}_{} instead of {} on {} {}begin {}end", view_.name, suffix, event,
                           view_.name, when, body);
    }

    static Text newValue(const Text& name) { return "new." + name; }

    [[nodiscard]] Text insertFirst() const {
        return fmt::format("insert into {} ({}) values ({})", view_.first, joined(first_), each(first_, newValue));
    }
    /// The second row's key is the first's, whatever the statement said.
    [[nodiscard]] Text insertSecond() const {
        return fmt::format("insert into {} ({}) values ({})", view_.second, joined(second_), each(second_, newValue));
    }
    [[nodiscard]] Text updateFirst() const {
        return fmt::format("update {} set {} where {} = old.{}", view_.first,
                           each(first_, [](const Text& name) { return name + " = new." + name; }), view_.key,
                           view_.key);
    }
    /// Makes the second row when it is missing.
    [[nodiscard]] Text writeSecond() const {
        std::vector<Text> others;
        for (const Text& name : second_) {
            if (!isKey(name)) others.push_back(name + " = new." + name);
        }
        return fmt::format("{} on conflict ({}) do update set {}", insertSecond(), view_.key, joined(others));
    }
    [[nodiscard]] Text moveSecond() const {
        return fmt::format("update {0} set {1} = new.{1} where {1} = old.{1}", view_.second, view_.key);
    }
    [[nodiscard]] Text deleteFrom(const Text& table) const {
        return fmt::format("delete from {0} where {1} = old.{1}", table, view_.key);
    }

    const JoinedViewDefinition& view_;
    std::vector<Text> first_;
    std::vector<Text> second_;
};

bool isText(ColumnType type) noexcept {
    return type == ColumnType::text || type == ColumnType::shortText;
}

/// Without triggers nothing can be written to it.
Text lookupStatement(const LookupViewDefinition& view, const TableDefinition& first, const TableDefinition& second) {
    std::vector<Text> names, values;
    for (const ColumnDefinition& column : first.columns) {
        names.push_back(column.name);
        values.push_back(first.name + "." + column.name);
    }
    for (const Text& name : view.columns) {
        names.push_back(name);
        const Text value = second.name + "." + name;
        const ColumnDefinition* column = second.findColumn(name);
        values.push_back(isText(column->type) ? fmt::format("coalesce({}, '')", value) : value);
    }
    return fmt::format("create view {0} ({1}) as select {2} from {3} left join {4} on {4}.{5} = {3}.{5}", view.name,
                       fmt::join(names, ", "), fmt::join(values, ", "), first.name, second.name, view.key);
}

} // namespace

std::vector<Text> definitionStatements(const Definition& definition) {
    // The last number given for each code of a table's keys.
    std::vector<Text> statements = {
        "create table IdCounters (TableName char(64) not null collate nocase, Code char(2) not null collate nocase, "
        "LastNumber integer not null, primary key (TableName, Code))"};
    for (const TableDefinition& table : definition.tables) {
        statements.push_back(tableStatement(table));
        for (Text& statement : flagStatements(table))
            statements.push_back(std::move(statement));
    }
    for (const IndexDefinition& index : definition.indexes) {
        statements.push_back(
            fmt::format("create index {} on {} ({})", index.name(), index.table, fmt::join(index.columns, ", ")));
    }
    for (const JoinedViewDefinition& view : definition.views) {
        // The reader has made sure that both tables exist.
        const ViewWriter writer(view, *definition.findTable(view.first), *definition.findTable(view.second));
        for (Text& statement : writer.statements())
            statements.push_back(std::move(statement));
    }
    for (const LookupViewDefinition& view : definition.lookups) {
        statements.push_back(
            lookupStatement(view, *definition.findTable(view.first), *definition.findTable(view.second)));
    }
    for (const RowDefinition& row : definition.rows)
        statements.push_back(fmt::format("insert into {} values ({})", row.table, fmt::join(row.values, ", ")));
    return statements;
}

} // namespace corveth::data::sqlite
