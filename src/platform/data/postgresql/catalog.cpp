#include "platform/data/postgresql/catalog.h"

#include "platform/data/column_value.h"

#include <algorithm>
#include <charconv>
#include <libpq-fe.h>

namespace corveth::data::postgresql {

namespace {

constexpr const char* typeQuery = "select coalesce(nullif(typbasetype, 0), oid), typtype, typcategory from "
                                  "pg_catalog.pg_type where oid = $1::oid";

/// A view's key is what its comment says, as no table's key shines through.
Text columnsWhere(TextView condition) {
    return "select c.relname, c.relkind, a.attnum, a.attname, t.typname, "
           "coalesce(pg_catalog.col_description(c.oid, a.attnum), ''), coalesce(a.attnum = any(i.indkey), false), "
           "coalesce(pg_catalog.obj_description(c.oid, 'pg_class'), '') from pg_catalog.pg_class c "
           "join pg_catalog.pg_attribute a on a.attrelid = c.oid and a.attnum > 0 and not a.attisdropped "
           "join pg_catalog.pg_type t on t.oid = a.atttypid "
           "left join pg_catalog.pg_index i on i.indrelid = c.oid and i.indisprimary where " +
           Text(condition) + " order by a.attnum";
}

enum Column : int { relationName, relationKind, number, name, typeName, comment, isKey, relationComment };

TextView cell(const pg_result* rows, int row, int column) {
    return {PQgetvalue(rows, row, column), static_cast<std::size_t>(PQgetlength(rows, row, column))};
}

template <class Number>
Number numberIn(TextView text) noexcept {
    Number number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// What a column of the type holds; the types of this system's own have names that say it.
ColumnKind kindOfType(TextView type) noexcept {
    struct Rule {
        TextView name;
        ColumnKind kind;
    };
    static constexpr auto rules = std::to_array<Rule>({
        {"flag", ColumnKind::boolean},
        {"day", ColumnKind::date},
        {"int2", ColumnKind::integer},
        {"float4", ColumnKind::single},
        {"bytea", ColumnKind::bytes},
    });
    const auto* known = std::ranges::find(rules, type, &Rule::name);
    return known == rules.end() ? kindOfDeclaredType(type) : known->kind;
}

} // namespace

WireType Catalog::type(Oid type) {
    if (const auto known = builtInType(type)) return *known;
    if (const auto found = types_.find(type); found != types_.end()) return found->second;
    const Result rows = ask_(typeQuery, std::to_string(type));
    WireType found = WireType::other;
    if (PQntuples(rows.get()) == 1) {
        const auto base = numberIn<Oid>(cell(rows.get(), 0, 0));
        const TextView category = cell(rows.get(), 0, 2);
        if (base != type) {
            found = this->type(base);
        } else if (category == "S" || cell(rows.get(), 0, 1) == "e") {
            found = WireType::text;
        }
    }
    types_.emplace(type, found);
    return found;
}

std::shared_ptr<const Catalog::Table> Catalog::describe(TextView condition, const Text& parameter) {
    const Result rows = ask_(columnsWhere(condition).c_str(), parameter);
    const int count = PQntuples(rows.get());
    if (count == 0) return nullptr;
    const TextView kind = cell(rows.get(), 0, relationKind);
    if (TextView("rpfvm").find(kind) == TextView::npos) return nullptr;
    TableInfo info{kind == "v", {}};
    Table table{nullptr, Text(cell(rows.get(), 0, relationName)), {}};
    constexpr TextView keyMark = "key ";
    const TextView remark = cell(rows.get(), 0, relationComment);
    const TextView viewKey = info.isView && remark.starts_with(keyMark) ? remark.substr(keyMark.size()) : TextView();
    for (int row = 0; row < count; ++row) {
        const auto at = numberIn<std::size_t>(cell(rows.get(), row, number));
        const TextView folded = cell(rows.get(), row, name), spelt = cell(rows.get(), row, comment);
        table.positions.resize(at + 1, Table::none);
        table.positions[at] = info.columns.size();
        const bool isKeyColumn = cell(rows.get(), row, isKey) == "t" || equalNoCase(folded, viewKey);
        info.columns.push_back({Text(equalNoCase(folded, spelt) ? spelt : folded),
                                kindOfType(cell(rows.get(), row, typeName)), isKeyColumn});
    }
    table.info = std::make_shared<const TableInfo>(std::move(info));
    return std::make_shared<const Table>(std::move(table));
}

const Catalog::Table* Catalog::table(TextView name) {
    Text folded = foldCase(name);
    if (const auto found = byName_.find(folded); found != byName_.end()) return found->second.get();
    auto described = describe("c.oid = pg_catalog.to_regclass(pg_catalog.quote_ident($1))", folded);
    if (described == nullptr) return nullptr; // it may be made yet, by anybody
    return byName_.emplace(std::move(folded), std::move(described)).first->second.get();
}

const Catalog::Table* Catalog::table(Oid number) {
    if (const auto found = byNumber_.find(number); found != byNumber_.end()) return found->second.get();
    return byNumber_.emplace(number, describe("c.oid = $1::oid", std::to_string(number))).first->second.get();
}

bool Catalog::hasSequence(const Text& name) {
    // Looked up by name the server would remember that there is none, for as long as the transaction lasts.
    const Result rows = ask_("select 1 from pg_catalog.pg_class c join pg_catalog.pg_namespace n on n.oid = "
                             "c.relnamespace where n.nspname = 'corveth' and c.relkind = 'S' and c.relname = $1",
                             name);
    return PQntuples(rows.get()) != 0;
}

void Catalog::forgetTables() {
    byName_.clear();
    byNumber_.clear();
    types_.clear();
}

} // namespace corveth::data::postgresql
