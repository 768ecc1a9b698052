#include "platform/data/postgresql/definition.h"

#include "platform/data/postgresql/dialect.h"
#include "platform/data/postgresql/key_counter.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace corveth::data::postgresql {
namespace {

Text joined(const std::vector<Text>& parts) {
    return fmt::format("{}", fmt::join(parts, ", "));
}

template <class Make>
Text each(const std::vector<ColumnDefinition>& columns, Make make, TextView between = ", ") {
    std::vector<Text> parts;
    for (const ColumnDefinition& column : columns)
        parts.push_back(make(column));
    return fmt::format("{}", fmt::join(parts, between));
}

TextView engineType(ColumnType type) noexcept {
    switch (type) {
    case ColumnType::shortText:
        return "citext collate \"C\"";
    case ColumnType::text:
        return "text collate \"C\"";
    case ColumnType::smallInteger:
        return "smallint";
    case ColumnType::integer:
        return "integer";
    case ColumnType::byte:
        return "corveth.byte";
    case ColumnType::real:
        return "double precision";
    case ColumnType::currency:
        return "corveth.currency";
    case ColumnType::date:
        return "corveth.day";
    case ColumnType::boolean:
        return "corveth.flag";
    case ColumnType::blob:
        return "bytea";
    }
    return "text";
}

Text tableStatement(const TableDefinition& table) {
    std::vector<Text> parts;
    for (const ColumnDefinition& column : table.columns) {
        parts.push_back(fmt::format("{} {}{}", foldedName(column.name), engineType(column.type),
                                    column.notNull ? " not null" : ""));
    }
    if (!table.key.empty()) {
        std::vector<Text> key;
        std::ranges::transform(table.key, std::back_inserter(key), foldedName);
        parts.push_back(fmt::format("primary key ({})", joined(key)));
    }
    return fmt::format("create table {} ({})", foldedName(table.name), joined(parts));
}

/// The engine keeps names in small letters; how they are spelt stands in comments. One statement a table, for a server
/// may be far away.
Text spellingStatement(const Text& table, const std::vector<Text>& columns, TextView more = {}) {
    Text comments;
    for (const Text& column : columns)
        comments +=
            fmt::format("comment on column {}.{} is {}; ", foldedName(table), foldedName(column), literal(column));
    return fmt::format("do $$begin {}{}end$$", comments, more);
}

std::vector<Text> namesOf(const TableDefinition& table) {
    std::vector<Text> names;
    for (const ColumnDefinition& column : table.columns)
        names.push_back(column.name);
    return names;
}

Text indexStatement(const IndexDefinition& index) {
    std::vector<Text> columns;
    for (const Text& column : index.columns) // in the order in which the dialect sorts
        columns.push_back(foldedName(column) + " nulls first");
    return fmt::format("create index {} on {} ({})", foldedName(index.name()), foldedName(index.table),
                       joined(columns));
}

Text triggerFunction(TextView name, TextView declarations, TextView body) {
    return fmt::format("create function corveth.{}() returns trigger language plpgsql as $${}begin {}end $$", name,
                       declarations, body);
}

/// Whatever is not 0 is True, and True is -1. Where its key finds a row again, an update is looked at after it is done:
/// a trigger before it locks the row, and within savepoints the server keeps lists of all who did, which every later
/// reader of the row goes through.
std::vector<Text> flagStatements(const TableDefinition& table) {
    Text body;
    std::vector<Text> assignments, conditions, keys;
    for (const ColumnDefinition& column : table.columns) {
        if (column.type != ColumnType::boolean) continue;
        const Text name = foldedName(column.name);
        const Text truth = fmt::format("case when new.{0} <> 0 then -1 else new.{0} end", name);
        body += fmt::format("new.{} := {}; ", name, truth);
        assignments.push_back(fmt::format("{} = {}", name, truth));
        conditions.push_back(fmt::format("new.{} not in (0, -1)", name));
    }
    if (body.empty()) return {};
    for (const Text& key : table.key)
        keys.push_back(fmt::format("{0} = new.{0}", foldedName(key)));
    const Text name = foldedName(table.name), before = foldedName(table.name + "_flags"),
               after = foldedName(table.name + "_flags_updated");
    std::vector<Text> statements = {
        triggerFunction(before, {}, body + "return new; "),
        fmt::format("create trigger {} before insert{} on {} for each row execute function corveth.{}()", before,
                    keys.empty() ? " or update" : "", name, before)};
    if (keys.empty()) return statements;
    statements.push_back(triggerFunction(
        after, {},
        fmt::format("update {} set {} where {}; return null; ", name, joined(assignments), fmt::join(keys, " and "))));
    statements.push_back(
        fmt::format("create trigger {} after update on {} for each row when ({}) execute function corveth.{}()", after,
                    name, fmt::join(conditions, " or "), after));
    return statements;
}

/// The pieces that the statements of one joined view are put together from.
class ViewWriter {
public:
    ViewWriter(const JoinedViewDefinition& view, const TableDefinition& first, const TableDefinition& second)
        : view_(view),
          name_(foldedName(view.name)),
          key_(foldedName(view.key)),
          secondKey_(foldedName(view.secondKeyName)),
          first_(first),
          second_(second) {}

    [[nodiscard]] std::vector<Text> statements() const {
        std::vector<Text> columns = namesOf(first_);
        for (const ColumnDefinition& column : second_.columns)
            columns.push_back(isKey(column) ? view_.secondKeyName : column.name);
        return {viewStatement(),
                spellingStatement(view_.name, columns,
                                  fmt::format("comment on view {} is {}; ", name_, literal("key " + view_.key))),
                function("insert", {}, insertFirst() + insertSecond({}) + takeKey() + "return new; "),
                trigger("insert"),
                function("update", "declare writes_second boolean; ", updateBody()),
                trigger("update"),
                function("delete", {}, deleteFrom(second_) + deleteFrom(first_) + leaveWhenGone() + "return old; "),
                trigger("delete")};
    }

private:
    [[nodiscard]] bool isKey(const ColumnDefinition& column) const { return equalNoCase(column.name, view_.key); }
    [[nodiscard]] Text secondInView(const ColumnDefinition& column) const {
        return isKey(column) ? secondKey_ : foldedName(column.name);
    }
    static Text nameOf(const ColumnDefinition& column) { return foldedName(column.name); }
    static Text newValue(const ColumnDefinition& column) { return "new." + foldedName(column.name); }

    [[nodiscard]] Text viewStatement() const {
        const Text first = foldedName(first_.name), second = foldedName(second_.name);
        return fmt::format("create view {} ({}, {}) as select {}, {} from {} left join {} on {}.{} = {}.{}", name_,
                           each(first_.columns, nameOf),
                           each(second_.columns, [this](const auto& column) { return secondInView(column); }),
                           each(first_.columns, [&](const auto& column) { return first + "." + nameOf(column); }),
                           each(second_.columns, [&](const auto& column) { return second + "." + nameOf(column); }),
                           first, second, second, key_, first, key_);
    }

    [[nodiscard]] Text functionName(TextView event) const {
        return foldedName(fmt::format("{}_{}", view_.name, event));
    }
    [[nodiscard]] Text function(TextView event, TextView declarations, const Text& body) const {
        return triggerFunction(functionName(event), declarations, body);
    }
    [[nodiscard]] Text trigger(TextView event) const {
        return fmt::format("create trigger {0} instead of {1} on {2} for each row execute function corveth.{0}()",
                           functionName(event), event, name_);
    }

    [[nodiscard]] Text insertFirst() const {
        return fmt::format("insert into {} ({}) values ({}); ", foldedName(first_.name), each(first_.columns, nameOf),
                           each(first_.columns, newValue));
    }
    /// The second row's key is the first's, whatever the statement said.
    [[nodiscard]] Text insertSecond(TextView otherwise) const {
        return fmt::format("insert into {} ({}) values ({}){}; ", foldedName(second_.name),
                           each(second_.columns, nameOf), each(second_.columns, newValue), otherwise);
    }
    [[nodiscard]] Text takeKey() const { return fmt::format("new.{} := new.{}; ", secondKey_, key_); }
    /// The statement then counts no row.
    static Text leaveWhenGone() { return "if not found then return null; end if; "; }

    /// Exactly: for keys and links the engine takes texts for equal that differ in case.
    static Text differs(const Text& column, ColumnType type) {
        const TextView exact = type == ColumnType::shortText ? "::text" : "";
        return fmt::format("new.{0}{1} is distinct from old.{0}{1}", column, exact);
    }
    /// A column that did not change keeps what the row has by now: between reading and writing it another session may
    /// have written there.
    static Text assignment(const ColumnDefinition& column, const Text& table) {
        const Text name = foldedName(column.name);
        return fmt::format("{0} = case when {1} then new.{0} else {2}.{0} end", name, differs(name, column.type),
                           table);
    }

    [[nodiscard]] Text updateFirst() const {
        const Text table = foldedName(first_.name);
        const Text changed = each(
            first_.columns, [](const auto& column) { return differs(nameOf(column), column.type); }, " or ");
        return fmt::format(
            "if {} then update {} set {} where {} = old.{}; {}else perform from {} where {} = old.{} for "
            "update; {}end if; ",
            changed, table, each(first_.columns, [&](const auto& c) { return assignment(c, table); }), key_, key_,
            leaveWhenGone(), table, key_, key_, leaveWhenGone());
    }
    /// Makes the second row when it is missing.
    [[nodiscard]] Text writeSecond() const {
        const Text table = foldedName(second_.name);
        std::vector<Text> others;
        for (const ColumnDefinition& column : second_.columns) {
            if (!isKey(column)) others.push_back(assignment(column, table));
        }
        return insertSecond(fmt::format(" on conflict ({}) do update set {}", key_, joined(others)));
    }
    /// A change of the one table's columns leaves the other's row alone.
    [[nodiscard]] Text updateBody() const {
        const Text moves = fmt::format("new.{0} is distinct from old.{0}", key_);
        const Text changed = each(
            second_.columns, [this](const auto& column) { return differs(secondInView(column), column.type); }, " or ");
        return fmt::format("writes_second := {0} or {1}; {2}"
                           "if {0} then update {3} set {4} = new.{4} where {4} = old.{4}; end if; "
                           "if writes_second then {5}end if; "
                           "new.{6} := case when writes_second or old.{6} is not null then new.{4} end; return new; ",
                           moves, changed, updateFirst(), foldedName(second_.name), key_, writeSecond(), secondKey_);
    }
    [[nodiscard]] Text deleteFrom(const TableDefinition& table) const {
        return fmt::format("delete from {0} where {1} = old.{1}; ", foldedName(table.name), key_);
    }

    const JoinedViewDefinition& view_;
    Text name_;
    Text key_;
    Text secondKey_;
    const TableDefinition& first_;
    const TableDefinition& second_;
};

bool isText(ColumnType type) noexcept {
    return type == ColumnType::text || type == ColumnType::shortText;
}

/// The engine writes through no view of two tables, unless a trigger does.
std::vector<Text> lookupStatements(const LookupViewDefinition& view, const TableDefinition& first,
                                   const TableDefinition& second) {
    std::vector<Text> spelt = namesOf(first), names, values;
    const Text firstName = foldedName(first.name), secondName = foldedName(second.name);
    for (const Text& name : spelt) {
        names.push_back(foldedName(name));
        values.push_back(firstName + "." + foldedName(name));
    }
    for (const Text& name : view.columns) {
        spelt.push_back(name);
        names.push_back(foldedName(name));
        const Text value = secondName + "." + foldedName(name);
        values.push_back(isText(second.findColumn(name)->type) ? fmt::format("coalesce({}, '')", value) : value);
    }
    return {fmt::format("create view {0} ({1}) as select {2} from {3} left join {4} on {4}.{5} = {3}.{5}",
                        foldedName(view.name), joined(names), joined(values), firstName, secondName,
                        foldedName(view.key)),
            spellingStatement(view.name, spelt)};
}

} // namespace

std::vector<Text> definitionStatements(const Definition& definition) {
    std::vector<Text> statements = {
        "create extension if not exists citext",
        "create schema corveth",
        "grant usage on schema corveth to public",
        "create domain corveth.currency as numeric(19, 4)",
        "create domain corveth.day as double precision",
        "create domain corveth.flag as double precision",
        "create domain corveth.byte as smallint check (value between 0 and 255)",
    };
    const auto add = [&](std::vector<Text> more) { std::ranges::move(more, std::back_inserter(statements)); };
    add(functionStatements());
    add(keyStatements());
    for (const TableDefinition& table : definition.tables) {
        statements.push_back(tableStatement(table));
        statements.push_back(spellingStatement(table.name, namesOf(table)));
        add(flagStatements(table));
    }
    for (const IndexDefinition& index : definition.indexes)
        statements.push_back(indexStatement(index));
    for (const JoinedViewDefinition& view : definition.views) {
        // The reader has made sure that both tables exist.
        add(ViewWriter(view, *definition.findTable(view.first), *definition.findTable(view.second)).statements());
    }
    for (const LookupViewDefinition& view : definition.lookups)
        add(lookupStatements(view, *definition.findTable(view.first), *definition.findTable(view.second)));
    for (const RowDefinition& row : definition.rows)
        statements.push_back(fmt::format("insert into {} values ({})", foldedName(row.table), joined(row.values)));
    return statements;
}

} // namespace corveth::data::postgresql
