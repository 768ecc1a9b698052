#include "platform/data/channel.h"

#include "platform/data/column_value.h"
#include "platform/data/dialect.h"
#include "platform/data/group_condition.h"
#include "platform/scope_exit.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <filesystem>

namespace corveth::data {

namespace {

constexpr const char* source = "ADODB.Connection";

/// From here on a statement is worth a line in the log.
constexpr std::chrono::milliseconds slow{250};

constexpr auto noText = [] { return TextView(); };

std::shared_ptr<const RowShape> shapeOf(const Prepared& prepared, std::span<const ResultItem> items, Text target) {
    std::vector<ResultColumn> columns(prepared.columns().begin(), prepared.columns().end());
    nameColumns(items, columns);
    return std::make_shared<RowShape>(columns, std::move(target));
}

/// Null when it has no column of that name.
const TableInfo::Column* columnNamed(const TableInfo& table, TextView name) {
    const auto found = std::ranges::find_if(table.columns, [&](const auto& c) { return equalNoCase(c.name, name); });
    return found == table.columns.end() ? nullptr : &*found;
}

/// The file that `keyword` names. It must not be the database: lines that were appended to it would be its end.
TextView outputFile(const ConnectionSettings& settings, const char* keyword) {
    const TextView path = settings.value(keyword);
    std::error_code notThere;
    if (std::filesystem::equivalent(path, settings.value("Data Source"), notThere)) {
        raise(errors::badArguments, fmt::format("Connection string: \"{}\" names the database.", keyword), source);
    }
    return path;
}

} // namespace

Channel::Channel(const ConnectionSettings& settings)
    : trace_(outputFile(settings, "Trace File")),
      log_(std::make_shared<Log>(outputFile(settings, "Log"))),
      session_(settings.provider->open(settings)) {
    if (!log_->isOn()) return;
    session_->setFailureListener(
        [this](TextView operation, TextView words) { log_->write("Connection", operation, words); });
}

Channel::~Channel() = default;

template <class TextOf, class Action>
decltype(auto) Channel::watched(TextView kind, const TextOf& textOf, const Action& action) {
    using Clock = std::chrono::steady_clock;
    if (!log_->isOn()) return action();
    const auto begin = Clock::now();
    const auto note = finally([&] {
        const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
        if (taken < slow) return;
        try {
            const auto text = textOf();
            log_->write("Connection", fmt::format("slow {}", kind),
                        fmt::format("{} ms{}{}", taken.count(), text.empty() ? "" : " ", text));
        } catch (...) { // NOLINT(bugprone-empty-catch): a line less, and nothing else is disturbed
        }
    });
    return action();
}

Channel::Outcome Channel::run(TextView kind, TextView sql, std::vector<Value>* cells) {
    if (sql.find_first_not_of(" \t\r\n\f\v;") == TextView::npos) raise(errors::noCommandText, {}, source);
    trace_.write(kind, sql);
    return watched(
        kind, [&] { return sql; }, [&] { return runText(sql, cells); });
}

Channel::Outcome Channel::runText(TextView sql, std::vector<Value>* cells) {
    lifter_.lift(sql);
    switch (lifter_.kind()) {
    case StatementKind::transaction:
        raise(errors::notAllowedHere, "Transactions begin and end by BeginTrans, CommitTrans and RollbackTrans.",
              source);
    case StatementKind::definition:
        return runDefinition(sql, cells);
    default:
        return runLifted(sql, cells);
    }
}

Channel::Outcome Channel::runLifted(TextView sql, std::vector<Value>* cells) {
    const TextView text = lifter_.text();
    CachedStatement* statement = cache_.find(text);
    if (statement == nullptr) {
        try {
            statement = &prepared(text, lifter_.parameters());
        } catch (const Error& error) {
            if (error.number != errors::engine) throw;
            // Some places take no parameter (a quoted name without As); and if it fails again, the words are about the
            // text as it was sent.
            CachedStatement unlifted = prepare(sql, {});
            bool recompiled = false;
            return runStatement(unlifted, {}, cells, recompiled);
        }
    }
    bool recompiled = false;
    Outcome outcome = runStatement(*statement, lifter_.parameters(), cells, recompiled);
    if (recompiled) cache_.remove(text);
    return outcome;
}

Channel::Outcome Channel::runDefinition(TextView sql, std::vector<Value>* cells) {
    // What was known of tables and statements may be wrong from here on.
    cache_.clear();
    const auto statement = session_->prepare(sql, {});
    Outcome outcome;
    outcome.affected = statement->run({}, cells).affected;
    if (!statement->columns().empty()) outcome.shape = std::make_shared<RowShape>(statement->columns(), Text());
    return outcome;
}

Channel::Outcome Channel::runStatement(CachedStatement& statement, std::span<const Parameter> parameters,
                                       std::vector<Value>* cells, bool& recompiled) {
    const RunResult result = statement.prepared->run(converted(statement, parameters), cells);
    recompiled = result.recompiled;
    if (recompiled && statement.shape != nullptr) {
        statement.shape = shapeOf(*statement.prepared, statement.items, statement.shape->target());
    }
    return {statement.shape, result.affected};
}

std::span<const Parameter> Channel::converted(const CachedStatement& statement, std::span<const Parameter> parameters) {
    // The usual case: a text beside a column of text.
    const auto staysAsItIs = [](const CachedStatement::Target& target, const Parameter& parameter) {
        return target.kind == ColumnKind::undeclared ||
               (target.kind == ColumnKind::text && std::holds_alternative<TextView>(parameter));
    };
    if (statement.targets.empty() || std::ranges::equal(statement.targets, parameters, staysAsItIs)) return parameters;
    converted_.clear();
    texts_.clear();
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const auto& [kind, column, isStored] = statement.targets[i];
        converted_.push_back(isStored ? toColumnParameter(kind, parameters[i], column, texts_)
                                      : toComparedParameter(kind, parameters[i], column, texts_));
    }
    return converted_;
}

CachedStatement& Channel::prepared(TextView text, std::span<const Parameter> parameters) {
    if (auto* known = cache_.find(text)) return *known;
    return cache_.add(text, prepare(text, parameters));
}

CachedStatement Channel::prepare(TextView text, std::span<const Parameter> parameters) {
    auto tokens = tokenize(text);
    const StatementFacts facts = readFacts(tokens);
    CachedStatement statement;
    statement.items = readResultItems(tokens);
    for (auto& item : statement.items) // a table or view of its own has declared them
        if (item.kind == ResultItem::Kind::column && !facts.compared.empty()) item.name.clear();
    statement.targets = targetsOf(facts, tokens);
    std::vector<ColumnKind> stored;
    for (const auto& target : statement.targets)
        stored.push_back(target.isStored ? target.kind : ColumnKind::undeclared);
    moveGroupCondition(tokens);
    const auto named = session_->dialect().keepsNoOrder ? addKeyOrder(tokens, facts) : nullptr;
    const Text translated = translate(tokens, session_->dialect(), neverNull(facts, tokens, statement.items));
    statement.prepared = session_->prepare(translated, {stored, converted(statement, parameters)});
    if (!statement.prepared->columns().empty()) {
        statement.shape = shapeOf(*statement.prepared, statement.items, facts.target);
    }
    return statement;
}

std::vector<CachedStatement::Target> Channel::targetsOf(const StatementFacts& facts, std::span<const Token> tokens) {
    std::vector<CachedStatement::Target> targets;
    const bool stores = !facts.assignments.empty() || !facts.rowWidths.empty();
    const auto table = stores ? session_->table(facts.target) : nullptr;
    const auto compared = facts.comparisons.empty() ? nullptr : session_->table(facts.compared);
    if (table == nullptr && compared == nullptr) return targets;
    targets.resize(static_cast<std::size_t>(std::ranges::count(tokens, TokenKind::parameter, &Token::kind)));
    if (table != nullptr) {
        const auto& columns = table->columns;
        if (std::ranges::any_of(facts.rowWidths, [&](std::size_t width) { return width != columns.size(); })) {
            raise(errors::valueCount, {}, source);
        }
        for (const auto& assignment : facts.assignments) {
            const TableInfo::Column* column = nullptr;
            if (!assignment.column.empty()) {
                column = columnNamed(*table, assignment.column);
            } else if (assignment.position < columns.size()) {
                column = &columns[assignment.position];
            }
            if (column != nullptr) targets[assignment.parameter] = {column->kind, column->name, true};
        }
    }
    if (compared != nullptr) {
        for (const auto& comparison : facts.comparisons) {
            const auto* column = columnNamed(*compared, comparison.column);
            if (column != nullptr) targets[comparison.parameter] = {column->kind, column->name, false};
        }
    }
    return targets;
}

/// The columns whose place in an order needs no word on Null, with which no index would serve: the keys of the one
/// table that the statement reads.
std::vector<Text> Channel::neverNull(const StatementFacts& facts, std::span<const Token> tokens,
                                     std::span<const ResultItem> items) {
    const auto has = [&](TextView word) {
        return std::ranges::any_of(tokens, [&](const Token& token) { return token.isWord(word); });
    };
    std::vector<Text> names;
    if (!session_->dialect().ordersNullLast || facts.compared.empty() || !has("order") || has("union")) return names;
    const auto table = session_->table(facts.compared);
    if (table == nullptr) return names;
    for (const auto& column : table->columns) {
        // Another column may have been given the name.
        const bool isHidden = std::ranges::any_of(items, [&](const auto& item) {
            return item.kind == ResultItem::Kind::named && equalNoCase(item.name, column.name);
        });
        if (column.isKey && !isHidden) names.push_back(column.name);
    }
    return names;
}

/// Rows of one table or view that nobody wants in another order, each as it stands there, come in that of their keys.
std::shared_ptr<const TableInfo> Channel::addKeyOrder(std::vector<Token>& tokens, const StatementFacts& facts) {
    constexpr std::array ordered = std::to_array<TextView>({"order", "offset", "fetch", "for", "window"});
    if (facts.target.empty() || !tokens.front().isWord("select")) return nullptr;
    auto end = tokens.end();
    int depth = 0;
    bool isItem = true;
    for (auto token = tokens.begin(); token != end; ++token) {
        if (isItem && token->is("(")) return nullptr; // a function may make one row of all
        if (token->is("(")) ++depth;
        if (token->is(")")) --depth;
        if (depth > 0) continue;
        if (token->isWord("from")) isItem = false;
        if (std::ranges::any_of(ordered, [&](TextView word) { return token->isWord(word); })) return nullptr;
        if (token->isWord("limit") || token->is(";")) {
            end = token;
            break;
        }
    }
    auto table = session_->table(facts.target);
    if (table == nullptr) return nullptr;
    std::vector<Token> order;
    for (const auto& column : table->columns) {
        if (!column.isKey) continue;
        if (order.empty()) order = {{TokenKind::word, "Order"}, {TokenKind::word, "By"}};
        if (order.size() > 2) order.push_back({TokenKind::symbol, ","});
        order.push_back({TokenKind::word, column.name});
    }
    tokens.insert(end, order.begin(), order.end());
    return table;
}

std::int64_t Channel::write(TextView statement, std::span<const Parameter> parameters, std::vector<Value>* cells) {
    if (trace_.isOn()) trace_.write("row", withValues(statement, parameters));
    return watched(
        "row", [&] { return withValues(statement, parameters); },
        [&] { return prepared(statement, parameters).prepared->run(parameters, cells).affected; });
}

void Channel::read(TextView statement, std::span<const Parameter> parameters, std::vector<Value>& cells) {
    watched(
        "row", [&] { return withValues(statement, parameters); },
        [&] { prepared(statement, parameters).prepared->run(parameters, &cells); });
}

void Channel::begin() {
    trace_.write("begin");
    watched("begin", noText, [&] { session_->begin(level_ + 1); });
    ++level_;
}

void Channel::commit() {
    if (level_ == 0) raise(errors::noTransaction, {}, source);
    trace_.write("commit");
    watched("commit", noText, [&] { session_->commit(level_); });
    --level_;
}

void Channel::rollback() {
    if (level_ == 0) raise(errors::noTransaction, {}, source);
    // Done even where the trace cannot be written: a transaction that stays open takes in what nobody wants in it.
    std::exception_ptr untraced;
    try {
        trace_.write("rollback");
    } catch (const Error&) {
        untraced = std::current_exception();
    }
    watched("rollback", noText, [&] { session_->rollback(level_); });
    --level_;
    if (untraced != nullptr) std::rethrow_exception(untraced);
}

Text Channel::nextId(const KeySpace& keys) {
    StatementListener listener;
    if (trace_.isOn()) listener = [this](TextView statement) { trace_.write("service", statement); };
    return watched(
        "service", [&] { return fmt::format("a new key of {}", keys.table); },
        [&] { return session_->nextId(keys, listener); });
}

} // namespace corveth::data
