#include "services/row_load.h"

#include "platform/automation/convert.h"
#include "platform/automation/error.h"
#include "platform/data/channel.h"
#include "platform/data/column_value.h"
#include "services/dump_line.h"
#include "services/schema.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <bit>

namespace corveth {

namespace {

using data::Parameter;
using data::TableDefinition;

/// In one statement. A power of two, so that what is left over takes few other statements.
constexpr std::size_t mostRows = 64;
constexpr std::size_t mostBytes = 1 << 20;

/// Of the tables: since then a new database comes with rows, and a dump has all of them that are still wanted.
constexpr std::int64_t firstVersionWithRows = 2;

Text insertStatement(const TableDefinition& table, std::size_t rows) {
    std::vector<Text> names;
    for (const auto& column : table.columns)
        names.push_back("[" + column.name + "]");
    const Text row = fmt::format("({})", fmt::join(std::vector<TextView>(names.size(), "?"), ", "));
    return fmt::format("Insert Into [{}] ({}) Values {}", table.name, fmt::join(names, ", "),
                       fmt::join(std::vector<TextView>(rows, row), ", "));
}

/// That a row is as a new database comes with it.
std::vector<Text> conditionsOf(const data::RowDefinition& first, const TableDefinition& table) {
    std::vector<Text> conditions;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        conditions.push_back(fmt::format("[{}] {}{}", table.columns[i].name,
                                         equalNoCase(first.values[i], "null") ? "Is " : "= ", first.values[i]));
    }
    return conditions;
}

[[noreturn]] void refuse(Text why) {
    throw Error(errors::invalidCall, transferSource, std::move(why));
}

template <class Action>
void forEachKeyColumn(const TableDefinition& table, const Action& action) {
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const auto isThis = [&](const Text& key) { return equalNoCase(key, table.columns[i].name); };
        if (std::ranges::any_of(table.key, isThis)) action(i);
    }
}

/// Throws the error being handled anew, with the line in front.
[[noreturn]] void rethrowWithLine(std::int64_t line) {
    const Error error = currentError();
    throw Error(error.number, error.source, fmt::format("line {}: {}", line, error.description));
}

} // namespace

RowLoad::RowLoad(TextView connectionString, data::Definition definition)
    : definition_(std::move(definition)), connection_(make<Connection>()) {
    connection_->open(connectionString);
    connection_->BeginTrans();
    requireTables(connection_->channel().session(), connectionString);
}

void RowLoad::add(TextView lines) {
    while (!lines.empty()) {
        const TextView line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
        ++line_;
        if (line.find_first_not_of(" \t\r") == TextView::npos) continue;
        DumpLine given;
        try {
            given = read(line);
        } catch (const Error&) {
            rethrowWithLine(line_);
        }
        at_ = given.kind == DumpLine::Kind::end ? At::nothing : At::rows;
        if (given.kind == DumpLine::Kind::header && given.schema >= firstVersionWithRows) removeFirstRows();
        if (given.kind != DumpLine::Kind::row) continue;
        const bool isFull = pending_.lines.size() == mostRows || pending_.bytes >= mostBytes;
        if (isFull || pending_.table != given.table) flush();
        pending_.table = given.table;
        std::ranges::move(given.values, std::back_inserter(pending_.values));
        pending_.lines.push_back(line_);
        pending_.bytes += line.size();
        ++done_;
    }
}

DumpLine RowLoad::read(TextView line) const {
    DumpLine given = readDumpLine(line, definition_);
    const bool isHeader = given.kind == DumpLine::Kind::header;
    if (at_ == At::header && !isHeader) refuse("a dump begins with a line that says so: " + dumpHeader());
    if (at_ != At::header && isHeader) refuse("another dump begins here");
    if (at_ == At::nothing) refuse("it stands behind the closing line");
    if (given.kind == DumpLine::Kind::end && given.rows != done_)
        refuse(fmt::format("the dump had {} rows, and {} came: some are missing or too many", given.rows, done_));
    return given;
}

void RowLoad::finish() {
    if (at_ != At::nothing)
        refuse(fmt::format("the dump is cut off: its closing line is missing behind line {}", line_));
    flush();
    connection_->CommitTrans();
    connection_->Close();
}

void RowLoad::flush() {
    if (pending_.table != nullptr) replaceFirstRows();
    const std::size_t rows = pending_.lines.size();
    for (std::size_t first = 0; first < rows;) {
        const std::size_t together = std::bit_floor(rows - first);
        write(first, together);
        first += together;
    }
    pending_ = {};
}

/// In a database with nothing but the rows that it came with, these are not the dump's.
void RowLoad::removeFirstRows() {
    data::Channel& channel = connection_->channel();
    for (const auto& table : definition_.tables) {
        if (!isDumped(table)) continue;
        const auto expected = std::ranges::count(definition_.rows, table.name, &data::RowDefinition::table);
        std::vector<Value> cells;
        channel.read(fmt::format("Select Count(*) From [{}]", table.name), {}, cells);
        if (toDouble(cells.front()) > static_cast<double>(expected)) return;
    }
    for (const auto& first : definition_.rows) {
        const auto conditions = conditionsOf(first, *definition_.findTable(first.table));
        channel.write(fmt::format("Delete From [{}] Where {}", first.table, fmt::join(conditions, " And ")), {});
    }
}

/// A row that every new database comes with gives way to the one of its key that the dump has, unless it was changed.
void RowLoad::replaceFirstRows() {
    const TableDefinition& table = *pending_.table;
    const std::size_t width = table.columns.size();
    for (const auto& first : definition_.rows) {
        if (first.table != table.name) continue;
        std::vector<Text> conditions = conditionsOf(first, table);
        forEachKeyColumn(table,
                         [&](std::size_t column) { conditions.push_back("[" + table.columns[column].name + "] = ?"); });
        const Text statement = fmt::format("Delete From [{}] Where {}", table.name, fmt::join(conditions, " And "));
        for (std::size_t row = 0; row < pending_.lines.size(); ++row) {
            std::vector<Parameter> key;
            forEachKeyColumn(table, [&](std::size_t column) {
                key.push_back(data::toParameter(pending_.values[row * width + column]));
            });
            connection_->channel().write(statement, key);
        }
    }
}

void RowLoad::write(std::size_t first, std::size_t rows) {
    const std::size_t width = pending_.table->columns.size();
    std::vector<Parameter> parameters;
    std::size_t at = first;
    try {
        for (; at < first + rows; ++at) {
            for (std::size_t i = 0; i < width; ++i)
                parameters.push_back(data::toParameter(pending_.values[at * width + i]));
        }
        at = first;
        connection_->channel().write(insertStatement(*pending_.table, rows), parameters);
    } catch (const Error&) {
        if (rows == 1 && isKeyTaken(first)) {
            throw Error(errors::duplicateKey, transferSource,
                        fmt::format("line {}: {} has a row with the key {} already", pending_.lines[first],
                                    pending_.table->name, keyOf(first)));
        }
        if (rows == 1 || at != first) rethrowWithLine(pending_.lines[at]);
        // The statement has changed nothing. Which of the rows it was is told by the one that fails again.
        for (std::size_t row = first; row < first + rows; ++row)
            write(row, 1);
    }
}

bool RowLoad::isKeyTaken(std::size_t row) const {
    const TableDefinition& table = *pending_.table;
    if (table.key.empty()) return false;
    std::vector<Text> conditions;
    std::vector<Parameter> parameters;
    forEachKeyColumn(table, [&](std::size_t column) {
        conditions.push_back("[" + table.columns[column].name + "] = ?");
        parameters.push_back(data::toParameter(pending_.values[row * table.columns.size() + column]));
    });
    std::vector<Value> cells;
    try {
        connection_->channel().read(
            fmt::format("Select Count(*) From [{}] Where {}", table.name, fmt::join(conditions, " And ")), parameters,
            cells);
    } catch (const Error&) {
        return false; // then the words of what failed before are the better ones
    }
    return toDouble(cells.front()) > 0;
}

Text RowLoad::keyOf(std::size_t row) const {
    Text key;
    forEachKeyColumn(*pending_.table, [&](std::size_t column) {
        const Value& value = pending_.values[row * pending_.table->columns.size() + column];
        key += (key.empty() ? "" : " ") + inQuotes(toText(value));
    });
    return key;
}

} // namespace corveth
