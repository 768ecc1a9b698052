#include "services/row_check.h"

#include "platform/data/channel.h"
#include "platform/data/definition.h"
#include "platform/data/dialect.h"
#include "platform/data/recordset.h"
#include "services/check_rules.h"
#include "services/schema.h"
#include "services/schema_text.h"

#include <fmt/format.h>

#include <charconv>

namespace corveth {

namespace {

constexpr std::size_t keyLength = 10;

Text literal(TextView text) {
    Text quoted;
    data::appendTextLiteral(quoted, text);
    return quoted;
}

class RowCheck {
public:
    explicit RowCheck(const Ref<Connection>& connection) : connection_(connection) {}

    std::vector<Finding> run() {
        const auto check = [this](const char* name, const char* table, auto&& action) {
            try {
                action();
            } catch (const Error& error) {
                // The others can still be looked at.
                add({name, table, {}, "cannot be read: " + error.description});
            }
        };
        for (const auto& rule : rules::itemLinks)
            check("link", rule.table, [&] { checkLink(rule); });
        for (const auto& rule : rules::references)
            check(rule.check, rule.table, [&] { checkReference(rule); });
        for (const auto& rule : rules::uniquenesses)
            check("duplicate", rule.table, [&] { checkUniqueness(rule); });
        check("counter", "", [&] { checkCounters(); });
        check("integrity", "", [&] {
            for (Text& words : connection_->channel().session().integrityProblems())
                add({"integrity", {}, {}, std::move(words)});
        });
        return std::move(findings_);
    }

private:
    void add(Finding finding) { findings_.push_back(std::move(finding)); }

    [[nodiscard]] Ref<Recordset> open(Text sql) const {
        auto rows = make<Recordset>();
        rows->open(std::move(sql), connection_, CursorType::staticCopy, LockType::readOnly);
        return rows;
    }

    void checkLink(const rules::ItemLink& rule) {
        Text conditions;
        for (const auto& item : rules::itemTables) {
            conditions += fmt::format("{}Left(Source.{}, 2) = '{}' And Not Exists (Select * From {} As Target Where "
                                      "Target.{} = Source.{})",
                                      conditions.empty() ? "" : " Or ", rule.column, item.code, item.table, item.key,
                                      rule.column);
        }
        const auto rows = open(fmt::format("Select {} As RowKey, {} As Link From {} As Source Where {} Order By 1",
                                           rule.key, rule.column, rule.table, conditions));
        for (; !rows->get_EOF(); rows->MoveNext()) {
            add({"link", rule.table, text(*rows, 0), namesNothing(rule.column, text(*rows, 1), "item")});
        }
    }

    void checkReference(const rules::Reference& rule) {
        const bool isLink = TextView(rule.check) == "link";
        const auto rows = open(fmt::format(
            "Select {} As RowKey, {} As Link From {} As Source Where {}Not Exists (Select * From {} As Target "
            "Where Target.{} = Source.{}) Order By 1",
            rule.key, rule.column, rule.table, isLink ? fmt::format("Source.{} <> '' And ", rule.column) : "",
            rule.target, rule.targetKey, rule.column));
        for (; !rows->get_EOF(); rows->MoveNext()) {
            add({rule.check, rule.table, text(*rows, 0),
                 namesNothing(rule.column, text(*rows, 1), fmt::format("row of {}", rule.target))});
        }
    }

    void checkUniqueness(const rules::Uniqueness& rule) {
        const auto rows = open(fmt::format("Select {} As RowKey, Count(*) As Times From {} Group By {} "
                                           "Having Count(*) > 1 Order By 1",
                                           rule.key, rule.table, rule.columns));
        for (; !rows->get_EOF(); rows->MoveNext()) {
            add({"duplicate", rule.table, text(*rows, 0),
                 fmt::format("{} rows have the same {}", text(*rows, 1), rule.columns)});
        }
    }

    /// The data service looks at the keys too, so a counter that is behind costs nothing and is put right by the next
    /// key; it tells that rows were put in by other means.
    void checkCounters() {
        const data::Definition definition = wholeDefinition();
        for (const auto& [table, code, lastNumber] : connection_->channel().session().keyCounts()) {
            const Text key = keyColumn(definition, table);
            if (key.empty() || code.size() >= keyLength) continue;
            const Text digits(keyLength - code.size(), '#');
            const auto greatest = open(fmt::format(
                "Select Max({0}) From {1} Where Left({0}, {2}) = {3} And Len({0}) = {4} And Right({0}, {5}) Like '{6}'",
                key, table, code.size(), literal(code), keyLength, digits.size(), digits));
            const Text last = text(*greatest, 0);
            if (last.empty() || numberOf(last, code.size()) <= static_cast<double>(lastNumber)) continue;
            add({"counter", table, code, fmt::format("stands at {}, behind the key {}", lastNumber, last), false});
        }
    }

    /// The column that keys of `table` are in; empty when this build does not know the table.
    static Text keyColumn(const data::Definition& definition, TextView table) {
        if (const auto* known = definition.findTable(table))
            return known->key.size() == 1 ? known->key.front() : Text();
        for (const auto& view : definition.views) {
            if (equalNoCase(view.name, table)) return view.key;
        }
        return {};
    }

    static double numberOf(TextView key, std::size_t begin) {
        double number = 0;
        std::from_chars(key.data() + begin, key.data() + key.size(), number);
        return number;
    }

    static Text text(const Recordset& rows, std::size_t column) {
        const Value& value = rows.value(column);
        if (const auto* bytes = value.getIf<Bytes>()) return fmt::format("({} bytes)", bytes->size());
        return value.isNull() ? Text() : toText(value);
    }

    static Text namesNothing(TextView column, TextView link, TextView what) {
        return fmt::format("{} \"{}\" names no {}", column, link, what);
    }

    Ref<Connection> connection_;
    std::vector<Finding> findings_;
};

} // namespace

std::vector<Finding> checkRows(TextView connectionString) {
    const auto connection = make<Connection>();
    connection->openReadOnly(connectionString);
    requireTables(connection->channel().session(), connectionString);
    return RowCheck(connection).run();
}

} // namespace corveth
