#include "platform/data/postgresql/session.h"

#include "platform/data/dialect.h"
#include "platform/data/literals.h"
#include "platform/data/postgresql/definition.h"
#include "platform/data/postgresql/dialect.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <libpq-fe.h>
#include <utility>

namespace corveth::data::postgresql {

namespace {

constexpr const char* source = "ADODB.Connection";

/// To be in while the database itself is made or dropped.
constexpr const char* maintenanceDatabase = "postgres";

constexpr std::array keywords = {"Host", "Port", "Database", "User ID", "Password", "SSL Mode"};
constexpr std::array requiredWords = {"Database"};

TextView cell(const Result& rows, int row, int column) {
    return {PQgetvalue(rows.get(), row, column), static_cast<std::size_t>(PQgetlength(rows.get(), row, column))};
}

Text quoted(TextView name) {
    Text text;
    appendQuotedName(text, name);
    return text;
}

std::unique_ptr<Session> open(const ConnectionSettings& settings) {
    return std::make_unique<PostgresSession>(settings);
}

/// Whether the server has a database of that name; nothing when it cannot be asked.
std::optional<bool> hasDatabase(const ConnectionSettings& settings, TextView name) {
    try {
        const Text statement = "select 1 from pg_catalog.pg_database where datname = " + literal(name);
        return PQntuples(ServerLink(settings, maintenanceDatabase).ask(statement.c_str()).get()) != 0;
    } catch (const Error&) {
        return std::nullopt;
    }
}

/// A database that an administrator has made is as good as one that is made here, as long as nothing is in it.
void requireEmpty(const ConnectionSettings& settings, TextView name) {
    ServerLink link(settings);
    const Result encoding = link.ask("show server_encoding");
    if (cell(encoding, 0, 0) != "UTF8") {
        fail(fmt::format("The database \"{}\" keeps its texts in {}; it must be UTF8.", name, cell(encoding, 0, 0)));
    }
    const Result tables = link.ask("select 1 from pg_catalog.pg_class c where c.relnamespace = "
                                   "(select oid from pg_catalog.pg_namespace where nspname = current_schema()) "
                                   "and c.relkind in ('r', 'p', 'v', 'm', 'f') and not exists (select 1 from "
                                   "pg_catalog.pg_depend d where d.objid = c.oid and d.deptype = 'e') limit 1");
    if (PQntuples(tables.get()) == 0) return;
    throw Error(errors::fileExists, source, fmt::format("The database \"{}\" has tables already.", name));
}

std::function<void()> create(const ConnectionSettings& settings) {
    const Text name(settings.value("Database"));
    if (hasDatabase(settings, name).value_or(true)) {
        requireEmpty(settings, name);
        return [] {}; // the tables were made in a transaction, or not at all
    }
    // Letters are those of the system's own keys, and so is their order; others compare by their bytes.
    const Text statement =
        fmt::format("create database {} template template0 encoding 'UTF8' lc_collate 'C' lc_ctype 'C'", quoted(name));
    try {
        ServerLink(settings, maintenanceDatabase).ask(statement.c_str());
    } catch (const Error& error) {
        fail(fmt::format("The database \"{}\" cannot be made: {}", name, error.description));
    }
    return [settings, name] {
        try {
            ServerLink(settings, maintenanceDatabase).ask(("drop database " + quoted(name)).c_str());
        } catch (const Error&) { // NOLINT(bugprone-empty-catch): what kept it from being finished says more
        }
    };
}

} // namespace

constinit const Provider provider{"PostgreSQL", keywords, requiredWords, &open, &create, &definitionStatements};

PostgresSession::PostgresSession(const ConnectionSettings& settings)
    : link_(settings),
      keepsSnapshot_(settings.isReadOnly),
      catalog_([this](const char* statement, const Text& parameter) { return askCatalog(statement, &parameter); }),
      keys_(*this, settings) {}

PostgresSession::~PostgresSession() = default; // closing the connection rolls back

const Dialect& PostgresSession::dialect() const noexcept {
    return postgresql::dialect();
}

std::unique_ptr<Prepared> PostgresSession::prepare(TextView sql, const StatementUse& use) {
    const bool isDefinition = statementKind(sql) == StatementKind::definition;
    if (isDefinition) {
        const TextView first = sql.substr(std::min(sql.find_first_not_of(" \t\r\n\f\v;"), sql.size()));
        constexpr TextView copy = "copy";
        if (equalNoCase(first.substr(0, copy.size()), copy)) {
            raise(errors::notSupported, "Copy needs a program that sends or takes the rows.", source);
        }
    }
    auto rows = std::make_unique<Rows>(*this, Text(sql), use);
    // Anything but a query may change what tables there are.
    if (isDefinition) {
        schemaChanged();
        hasDefined_ = !levels_.empty();
    }
    return rows;
}

std::shared_ptr<const TableInfo> PostgresSession::table(TextView name) {
    const auto* known = catalog_.table(name);
    return known == nullptr ? nullptr : known->info;
}

Result PostgresSession::askCatalog(const char* statement, const Text* parameter) {
    // Not worth a name: each is asked once.
    std::vector<Oid> types;
    Arguments arguments;
    if (parameter != nullptr) {
        types = {textType};
        arguments = {{parameter->c_str()}, {static_cast<int>(parameter->size())}, {1}};
    }
    const Command commands[] = {
        {.kind = Command::Kind::prepare, .name = "", .text = statement, .types = types},
        {.kind = Command::Kind::execute, .name = "", .arguments = &arguments},
    };
    Answers answers = run(commands, false);
    if (answers.failure) fail(std::move(answers.failure->words));
    return std::move(answers.results.back());
}

Text PostgresSession::newStatementName() {
    return "s" + std::to_string(++lastStatement_);
}

void PostgresSession::discard(Text name) noexcept {
    try {
        link_.discard(std::move(name));
    } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): the server keeps it until the connection ends
    }
}

void PostgresSession::schemaChanged() {
    catalog_.forgetTables();
}

void PostgresSession::addControl(const char* statement) {
    commands_.push_back({.kind = Command::Kind::control, .text = statement});
}

/// One of an inner level hides those of the outer ones, which are seen again when it ends.
void PostgresSession::addGuard() {
    const Level& level = levels_.back();
    if (level.isFresh) return;
    if (level.hasGuard) addControl("release guard");
    addControl("savepoint guard");
}

Answers PostgresSession::run(std::span<const Command> commands, bool changes) {
    requireTransaction();
    commands_.clear();
    for (const Text& statement : pending_)
        addControl(statement.c_str());
    if (!levels_.empty()) addGuard();
    const std::size_t first = commands_.size();
    commands_.insert(commands_.end(), commands.begin(), commands.end());
    Answers answers = link_.exchange(commands_);
    answers.results.erase(answers.results.begin(), answers.results.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                                                 first, answers.results.size())));

    Text words = answers.failure ? answers.failure->words : Text();
    if (link_.state() == ServerLink::State::lost) {
        if (!levels_.empty()) endTransaction(words);
        const bool isUnsure = levels_.empty() && changes;
        fail(words + (isUnsure ? ". Whether the change was made is not known." : ""));
    }
    if (levels_.empty()) return answers;
    if (answers.done < first) {
        link_.ask("rollback");
        endTransaction(words);
        fail(std::move(words));
    }
    pending_.clear();
    Level& level = levels_.back();
    if (!level.isFresh) level.hasGuard = level.isFresh = true;
    if (answers.failure) {
        recover();
    } else {
        // Beginning anew would also be to look at another moment.
        if (changes || keepsSnapshot_) keepWhatIsDone();
        if (link_.state() != ServerLink::State::inTransaction) endTransaction("it was ended by a statement");
    }
    return answers;
}

void PostgresSession::recover() {
    if (link_.state() == ServerLink::State::inTransaction) return;
    const std::size_t number = levels_.size();
    const Level& level = levels_.back();
    Text statement;
    if (level.hasGuard) {
        statement = "rollback to guard";
    } else if (number > 1) {
        statement = fmt::format("rollback to level{}", number);
    } else {
        // Nothing was done in it yet.
        statement = "rollback";
        pending_.insert(pending_.begin(), "begin");
    }
    const Command command{.kind = Command::Kind::once, .text = statement.c_str()};
    const Answers answers = link_.exchange({&command, 1});
    if (answers.failure) endTransaction(answers.failure->words);
}

void PostgresSession::endTransaction(const Text& why) {
    if (endedBecause_.empty()) endedBecause_ = why;
    pending_.clear();
}

void PostgresSession::requireTransaction() const {
    // Without a connection that is all there is to say.
    if (endedBecause_.empty() || link_.state() == ServerLink::State::lost) return;
    fail("The engine has ended the transaction: " + endedBecause_);
}

bool PostgresSession::isUnsent(TextView statement) const noexcept {
    return !pending_.empty() && pending_.back() == statement;
}

void PostgresSession::begin(int level) {
    requireTransaction();
    link_.requireAlive();
    pending_.push_back(level == 1 ? Text("begin") : fmt::format("savepoint level{}", level));
    levels_.push_back({});
}

void PostgresSession::commit(int level) {
    requireTransaction();
    const Level ended = levels_.back();
    if (level > 1) {
        link_.requireAlive();
        const Text begun = fmt::format("savepoint level{}", level);
        if (isUnsent(begun)) {
            pending_.pop_back();
        } else {
            pending_.push_back(fmt::format("release level{}", level));
        }
        levels_.pop_back();
        Level& outer = levels_.back();
        outer.isFresh = outer.isFresh && !ended.hasChanges;
        outer.hasChanges = outer.hasChanges || ended.hasChanges;
        return;
    }
    if (isUnsent("begin")) {
        link_.requireAlive();
        pending_.clear();
        levels_.clear();
        return;
    }
    commands_.clear();
    for (const Text& statement : pending_)
        addControl(statement.c_str());
    addControl("commit");
    const Answers answers = link_.exchange(commands_);
    if (answers.failure) {
        const bool isUnsure = link_.state() == ServerLink::State::lost;
        endTransaction(answers.failure->words);
        fail(answers.failure->words + (isUnsure ? ". Whether the transaction was committed is not known." : ""));
    }
    if (TextView(PQcmdStatus(answers.results.back().get())) != "COMMIT") {
        endTransaction("it could not be committed");
        requireTransaction();
    }
    pending_.clear();
    levels_.clear();
    hasDefined_ = false;
    hasNewTimeout_ = false;
}

void PostgresSession::rollback(int level) {
    const bool ended = !endedBecause_.empty();
    if (hasDefined_) schemaChanged();
    if (level > 1) {
        levels_.pop_back();
        if (ended) return;
        if (isUnsent(fmt::format("savepoint level{}", level))) {
            pending_.pop_back();
            return;
        }
        pending_.push_back(fmt::format("rollback to level{}", level));
        pending_.push_back(fmt::format("release level{}", level));
        if (hasNewTimeout_) {
            pending_.push_back(link_.timeoutStatement());
            keepWhatIsDone();
        }
        return;
    }
    // A server that is gone has rolled back.
    const bool isOpen =
        link_.state() == ServerLink::State::inTransaction || link_.state() == ServerLink::State::failedTransaction;
    levels_.clear();
    pending_.clear();
    endedBecause_.clear();
    hasDefined_ = false;
    if (!isOpen || !link_.isAlive()) return;
    const Command command{.kind = Command::Kind::control, .text = "rollback"};
    const Answers answers = link_.exchange({&command, 1});
    if (link_.state() == ServerLink::State::lost) return;
    if (answers.failure) fail(answers.failure->words);
    // A setting that was made in the transaction went with it.
    if (std::exchange(hasNewTimeout_, false)) link_.ask(link_.timeoutStatement().c_str());
}

void PostgresSession::setTimeout(std::int32_t seconds) {
    link_.setTimeout(seconds);
    if (levels_.empty()) return;
    hasNewTimeout_ = true;
    keepWhatIsDone();
}

void PostgresSession::keepWhatIsDone() noexcept {
    levels_.back().isFresh = false;
    levels_.back().hasChanges = true;
}

Text PostgresSession::nextId(const KeySpace& keys, const StatementListener& listener) {
    return keys_.next(keys, listener);
}

std::vector<KeyCount> PostgresSession::keyCounts() {
    const Result rows = askCatalog("select pg_catalog.obj_description(c.oid, 'pg_class'), "
                                   "coalesce(pg_catalog.pg_sequence_last_value(c.oid), 0) from pg_catalog.pg_class c "
                                   "where c.relkind = 'S' and c.relnamespace = (select oid from "
                                   "pg_catalog.pg_namespace where nspname = 'corveth') order by 1",
                                   nullptr);
    std::vector<KeyCount> counts;
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
        // Table and code, as the counter's maker remarked.
        const TextView remark = cell(rows, row, 0), last = cell(rows, row, 1);
        const std::size_t blank = remark.find(' ');
        if (blank == TextView::npos) continue;
        KeyCount count{Text(remark.substr(0, blank)), Text(remark.substr(blank + 1)), 0};
        std::from_chars(last.data(), last.data() + last.size(), count.lastNumber);
        counts.push_back(std::move(count));
    }
    return counts;
}

std::vector<Text> PostgresSession::integrityProblems() {
    const Result rows = askCatalog("select c.relname, t.relname from pg_catalog.pg_index i join pg_catalog.pg_class c "
                                   "on c.oid = i.indexrelid join pg_catalog.pg_class t on t.oid = i.indrelid "
                                   "where not i.indisvalid order by 1",
                                   nullptr);
    std::vector<Text> problems;
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
        problems.push_back(fmt::format("The index {} of {} is not valid: part of the rows is missing in it.",
                                       cell(rows, row, 0), cell(rows, row, 1)));
    }
    return problems;
}

} // namespace corveth::data::postgresql
