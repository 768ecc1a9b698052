#include "platform/data/definition.h"

#include "platform/automation/error.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <fmt/format.h>

namespace corveth::data {
namespace {

struct TypeName {
    TextView name;
    ColumnType type;
};
constexpr TypeName typeNames[] = {
    {"char", ColumnType::shortText},    {"text", ColumnType::text}, {"smallint", ColumnType::smallInteger},
    {"integer", ColumnType::integer},   {"byte", ColumnType::byte}, {"real", ColumnType::real},
    {"currency", ColumnType::currency}, {"date", ColumnType::date}, {"boolean", ColumnType::boolean},
    {"blob", ColumnType::blob},
};

bool isWordCharacter(char c) noexcept {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

template <class Range>
auto findNamed(Range& range, TextView name) {
    return std::ranges::find_if(range, [&](const auto& item) { return equalNoCase(item.name, name); });
}

/// Reads words and punctuation, and knows the line it is on.
class Reader {
public:
    Reader(Definition& into, TextView sourceName, TextView text) : into_(into), sourceName_(sourceName), rest_(text) {
        advance();
    }

    void readAll() {
        while (!token_.empty()) {
            if (accept("insert")) {
                readRow();
            } else if (accept("create")) {
                readObject();
            } else {
                fail("\"create\" or \"insert\" expected");
            }
            expect(";");
        }
    }

private:
    void readObject() {
        if (accept("table")) {
            readTable();
        } else if (accept("index")) {
            readIndex();
        } else if (accept("joined")) {
            readJoinedView();
        } else if (accept("lookup")) {
            readLookupView();
        } else {
            fail("table, index, joined view or lookup view expected");
        }
    }

    void readTable() {
        TableDefinition table{.name = word("the table's name"), .columns = {}, .key = {}};
        if (into_.findTable(table.name) != nullptr) fail(fmt::format("there is a table {} already", table.name));
        expect("(");
        do {
            if (accept("primary")) {
                expect("key");
                setKey(table, columnList(table));
            } else {
                readColumn(table);
            }
        } while (accept(","));
        expect(")");
        into_.tables.push_back(std::move(table));
    }

    void readColumn(TableDefinition& table) {
        ColumnDefinition column{.name = word("a column's name"), .type = {}, .declaredType = {}, .notNull = false};
        if (findNamed(table.columns, column.name) != table.columns.end()) {
            fail(fmt::format("{} has a column {} already", table.name, column.name));
        }
        readType(column);
        bool isKey = false;
        while (is("not") || is("primary")) {
            if (accept("not")) {
                expect("null");
                column.notNull = true;
            } else {
                expect("primary");
                expect("key");
                isKey = true;
            }
        }
        table.columns.push_back(std::move(column));
        if (isKey) setKey(table, {table.columns.back().name});
    }

    void readType(ColumnDefinition& column) {
        column.declaredType = foldCase(word("a type"));
        const auto* known = findNamed(typeNames, column.declaredType);
        if (known == std::end(typeNames)) fail(fmt::format("there is no type {}", column.declaredType));
        column.type = known->type;
        if (column.type != ColumnType::shortText) return;
        expect("(");
        column.declaredType += fmt::format("({})", word("a length"));
        expect(")");
    }

    /// A part of a key that may be Null does not name a row.
    void setKey(TableDefinition& table, std::vector<Text> key) {
        if (!table.key.empty()) fail(fmt::format("{} has a key already", table.name));
        for (const Text& name : key) {
            if (!findNamed(table.columns, name)->notNull)
                fail(fmt::format("{} is in a key and not \"not null\"", name));
        }
        table.key = std::move(key);
    }

    void readIndex() {
        expect("on");
        const TableDefinition& table = knownTable();
        into_.indexes.push_back({.table = table.name, .columns = columnList(table)});
    }

    void readJoinedView() {
        expect("view");
        JoinedViewDefinition view{
            .name = word("the view's name"), .first = {}, .second = {}, .key = {}, .secondKeyName = {}};
        expect("of");
        const TableDefinition& first = knownTable();
        expect(",");
        const TableDefinition& second = knownTable();
        expect("by");
        view.first = first.name;
        view.second = second.name;
        view.key = word("the key's name");
        for (const TableDefinition* table : {&first, &second}) {
            if (table->key.size() != 1 || !equalNoCase(table->key.front(), view.key)) {
                fail(fmt::format("{} is not the key of {}", view.key, table->name));
            }
        }
        expect("as");
        view.secondKeyName = word("the second key's name");
        into_.views.push_back(std::move(view));
    }

    void readLookupView() {
        expect("view");
        LookupViewDefinition view{.name = word("the view's name"), .first = {}, .second = {}, .columns = {}, .key = {}};
        expect("of");
        const TableDefinition& first = knownTable();
        expect("with");
        const TableDefinition& second = knownTable();
        view.columns = columnList(second);
        expect("by");
        view.key = word("the key's name");
        if (second.key.size() != 1 || !equalNoCase(second.key.front(), view.key))
            fail(fmt::format("{} is not the key of {}", view.key, second.name));
        if (findNamed(first.columns, view.key) == first.columns.end())
            fail(fmt::format("{} has no column {}", first.name, view.key));
        view.first = first.name;
        view.second = second.name;
        into_.lookups.push_back(std::move(view));
    }

    void readRow() {
        expect("into");
        const TableDefinition& table = knownTable();
        RowDefinition row{.table = table.name, .values = {}};
        expect("values");
        expect("(");
        do {
            const bool isText = token_.size() > 1 && token_.front() == '\'';
            const bool isNumber = !token_.empty() && token_.find_first_not_of("0123456789") == TextView::npos;
            const bool isValue = isText || isNumber || is("null");
            if (!isValue) fail("a text, a whole number or null expected");
            row.values.emplace_back(token_);
            advance();
        } while (accept(","));
        expect(")");
        if (row.values.size() != table.columns.size())
            fail(fmt::format("{} has {} columns, and {} values are given", table.name, table.columns.size(),
                             row.values.size()));
        into_.rows.push_back(std::move(row));
    }

    const TableDefinition& knownTable() {
        const Text name = word("a table's name");
        const TableDefinition* table = into_.findTable(name);
        if (table == nullptr) fail(fmt::format("there is no table {}", name));
        return *table;
    }

    std::vector<Text> columnList(const TableDefinition& table) {
        std::vector<Text> columns;
        expect("(");
        do {
            const Text name = word("a column's name");
            const auto column = findNamed(table.columns, name);
            if (column == table.columns.end()) fail(fmt::format("{} has no column {}", table.name, name));
            columns.push_back(column->name);
        } while (accept(","));
        expect(")");
        return columns;
    }

    [[nodiscard]] bool is(TextView expected) const noexcept { return equalNoCase(token_, expected); }
    bool accept(TextView expected) {
        if (!is(expected)) return false;
        advance();
        return true;
    }
    void expect(TextView expected) {
        if (!accept(expected)) fail(fmt::format("\"{}\" expected", expected));
    }
    Text word(TextView what) {
        if (token_.empty() || !isWordCharacter(token_.front())) fail(fmt::format("{} expected", what));
        Text result(token_);
        advance();
        return result;
    }

    /// The next token, empty at the end; comments run from `--` to the end of the line.
    void advance() {
        for (;;) {
            const std::size_t start = std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size());
            skip(start);
            if (!rest_.starts_with("--")) break;
            skip(std::min(rest_.find('\n'), rest_.size()));
        }
        std::size_t length = 0;
        while (length < rest_.size() && isWordCharacter(rest_[length]))
            ++length;
        if (length == 0 && !rest_.empty()) length = rest_.front() == '\'' ? quotedLength() : 1;
        token_ = rest_.substr(0, length);
        rest_.remove_prefix(length);
    }
    /// Of a text, with its quotes; 1 when it does not end, which no caller takes.
    [[nodiscard]] std::size_t quotedLength() const noexcept {
        const std::size_t end = rest_.find('\'', 1);
        return end == TextView::npos ? 1 : end + 1;
    }
    void skip(std::size_t count) {
        line_ += std::ranges::count(rest_.substr(0, count), '\n');
        rest_.remove_prefix(count);
    }

    [[noreturn]] void fail(TextView problem) const {
        const Text found = token_.empty() ? Text("the end") : fmt::format("\"{}\"", token_);
        raise(errors::invalidCall, fmt::format("{}:{}: {}, at {}", sourceName_, line_, problem, found));
    }

    Definition& into_;
    TextView sourceName_;
    TextView rest_;
    TextView token_;
    std::ptrdiff_t line_ = 1;
};

} // namespace

const ColumnDefinition* TableDefinition::findColumn(TextView columnName) const noexcept {
    const auto found = findNamed(columns, columnName);
    return found == columns.end() ? nullptr : &*found;
}

Text IndexDefinition::name() const {
    Text result = table;
    for (const Text& column : columns)
        result += "_" + column;
    return result;
}

void Definition::read(TextView sourceName, TextView text) {
    Reader(*this, sourceName, text).readAll();
}

const TableDefinition* Definition::findTable(TextView name) const noexcept {
    const auto found = findNamed(tables, name);
    return found == tables.end() ? nullptr : &*found;
}

} // namespace corveth::data
