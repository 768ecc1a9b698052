#include "platform/data/sqlite/session.h"

#include "platform/data/characters.h"
#include "platform/data/literals.h"
#include "platform/data/sqlite/definition.h"
#include "platform/data/sqlite/dialect.h"
#include "platform/data/sqlite/error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sqlite3.h>
#include <system_error>
#include <unistd.h>

namespace corveth::data::sqlite {

namespace {

constexpr const char* source = "ADODB.Connection";

/// Absolute, so that no name means something special to the engine.
Text pathOf(const ConnectionSettings& settings) {
    return std::filesystem::absolute(settings.value("Data Source")).string();
}

void configure(sqlite3* database, std::int32_t timeout) {
    sqlite3_busy_timeout(database, timeout * 1000);
    // "..." is text; where the engine took it for a column's name a statement would change rows that nobody named.
    sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    for (const char* setting : {"PRAGMA synchronous=FULL", "PRAGMA cache_size=-65536"}) {
        const int code = sqlite3_exec(database, setting, nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) fail(database, code);
    }
    registerFunctions(database);
}

std::unique_ptr<Session> open(const ConnectionSettings& settings) {
    return std::make_unique<SqliteSession>(pathOf(settings), settings.timeout.value_or(defaultTimeout),
                                           settings.isReadOnly);
}

/// Only its owner may read what is kept about people, so the file is made before the engine would make it.
void create(const ConnectionSettings& settings) {
    const Text path = pathOf(settings);
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) {
        const int cause = errno;
        throw Error(cause == EEXIST ? errors::fileExists : errors::engine, source,
                    "The database \"" + path + "\" cannot be made: " + std::generic_category().message(cause));
    }
    ::close(file);
    try {
        const Database database = openDatabase(path, settings.timeout.value_or(defaultTimeout));
        // Once and for all: a switch at every opening would need the file for itself.
        const int code = sqlite3_exec(database.get(), "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) fail(database.get(), code);
    } catch (...) {
        ::unlink(path.c_str());
        throw;
    }
}

void remove(const ConnectionSettings& settings) noexcept {
    const Text path = pathOf(settings);
    for (const char* suffix : {"", "-wal", "-shm"})
        ::unlink((path + suffix).c_str());
}

constexpr std::array<const char*, 1> keywords = {"Data Source"};

} // namespace

constinit const Provider provider{"SQLite", keywords, keywords, &open, &create, &remove, &definitionStatements};

void Closer::operator()(sqlite3* database) const noexcept {
    sqlite3_close_v2(database);
}

void Closer::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

Database openDatabase(const Text& path, std::int32_t timeout) {
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) failOpening(path, "there is no such file");
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    int code = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
    Database database(opened);
    if (code != SQLITE_OK) failOpening(path, words(opened, code));
    try {
        configure(opened, timeout);
    } catch (const Error& error) {
        failOpening(path, error.description);
    }
    // Reads the header, so that what is no database is found out now.
    code = sqlite3_exec(opened, "PRAGMA schema_version", nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) failOpening(path, words(opened, code));
    return database;
}

SqliteSession::SqliteSession(const Text& path, std::int32_t timeout, bool isReadOnly)
    : path_(path),
      isReadOnly_(isReadOnly),
      database_(openDatabase(path, timeout)),
      keys_(database_.get(), path),
      timeout_(timeout) {
    if (isReadOnly) allowNoWriting();
}

SqliteSession::~SqliteSession() {
    if (isReadOnly_) keepLogOfChanges();
    if (!inTransaction_) return;
    try {
        rollback(1);
    } catch (const Error& error) {
        inTransaction_ = false; // closing rolls back in any case
        reportFailure("rolling back", error.description);
    }
}

void SqliteSession::allowNoWriting() {
    const int code = sqlite3_exec(database_.get(), "PRAGMA query_only=ON", nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) failed(code);
}

/// The last connection to be closed would carry what the last writer left in the log of changes over into the database
/// file. An empty log can go.
void SqliteSession::keepLogOfChanges() noexcept {
    std::error_code none;
    const auto size = std::filesystem::file_size(path_ + "-wal", none);
    if (!none && size > 0) sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

const Dialect& SqliteSession::dialect() const noexcept {
    return sqlite::dialect();
}

std::unique_ptr<Prepared> SqliteSession::prepare(TextView sql) {
    requireUsable();
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    const int code = sqlite3_prepare_v3(database_.get(), sql.data(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement, &tail);
    if (code != SQLITE_OK) failed(code);
    auto rows = statement == nullptr ? nullptr : std::make_unique<Rows>(*this, database_.get(), statement);
    if (rows == nullptr) raise(errors::noCommandText, {}, source);
    const TextView rest = sql.substr(static_cast<std::size_t>(tail - sql.data()));
    if (!std::ranges::all_of(rest, [](char c) { return charClass(c) == CharClass::blank; })) {
        raise(errors::charactersAfterStatement, rest.substr(0, 40), source);
    }
    // Anything but a query may change what tables there are.
    if (statementKind(sql) == StatementKind::definition) tables_.clear();
    return rows;
}

std::shared_ptr<const TableInfo> SqliteSession::table(TextView name) {
    const Text key = foldCase(name);
    if (const auto found = tables_.find(key); found != tables_.end()) return found->second;

    const auto looking = prepare("Select type From sqlite_master Where name = ?1 Collate Nocase");
    std::vector<Value> type;
    const Parameter parameter = name;
    looking->run({&parameter, 1}, &type);
    if (type.empty()) return nullptr;
    const auto* kind = type.front().getIf<Text>();
    if (kind == nullptr || (*kind != "table" && *kind != "view")) return nullptr;
    auto info = std::make_shared<const TableInfo>(describeTable(name, *kind == "view"));
    tables_.emplace(key, info);
    return info;
}

TableInfo SqliteSession::describeTable(TextView name, bool isView) {
    Text sql = "Select * From ";
    appendQuotedName(sql, name);
    const auto rows = prepare(sql);
    TableInfo info{isView, {}};
    bool hasKey = false;
    for (const auto& column : rows->columns()) {
        int isPrimary = 0;
        if (!column.originTable.empty()) {
            sqlite3_table_column_metadata(database_.get(), nullptr, column.originTable.c_str(),
                                          column.originColumn.c_str(), nullptr, nullptr, nullptr, &isPrimary, nullptr);
        }
        // A view has one key column: the first that is a key where it comes from.
        const bool isKey = isPrimary != 0 && !(isView && hasKey);
        hasKey = hasKey || isKey;
        info.columns.push_back({column.name, column.kind, isKey});
    }
    return info;
}

void SqliteSession::run(const Text& sql) {
    Statement& known = control_[sql];
    if (known == nullptr) {
        sqlite3_stmt* statement = nullptr;
        const int code =
            sqlite3_prepare_v3(database_.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        if (code != SQLITE_OK) failed(code);
        known.reset(statement);
    }
    const int code = sqlite3_step(known.get());
    if (code != SQLITE_DONE) {
        const Text why = words(database_.get(), code);
        sqlite3_reset(known.get());
        noteEnd(why);
        throw Error(errors::engine, source, why);
    }
    sqlite3_reset(known.get());
}

void SqliteSession::begin(int level) {
    requireUsable();
    // The write lock at once: a reader that becomes a writer later may find that it cannot.
    run(level == 1 ? "Begin Immediate" : "Savepoint level" + std::to_string(level));
    inTransaction_ = true;
}

void SqliteSession::commit(int level) {
    requireUsable();
    run(level == 1 ? "Commit" : "Release level" + std::to_string(level));
    if (level == 1) {
        inTransaction_ = false;
        keys_.ended();
    }
}

void SqliteSession::rollback(int level) {
    const bool ended = !endedBecause_.empty();
    if (level == 1) {
        if (!ended) run("Rollback");
        endedBecause_.clear();
        inTransaction_ = false;
    } else if (!ended) {
        const Text name = "level" + std::to_string(level);
        run("Rollback To " + name);
        run("Release " + name);
    }
    if (level > 1 && ended) return;
    if (const Text why = keys_.rolledBack(inTransaction_, timeout_); !why.empty()) {
        reportFailure("keeping the key counters through a rollback", why);
    }
}

void SqliteSession::setTimeout(std::int32_t seconds) {
    timeout_ = seconds;
    sqlite3_busy_timeout(database_.get(), seconds * 1000);
}

Text SqliteSession::nextId(const KeySpace& keys, const StatementListener& listener) {
    requireUsable();
    try {
        // What reads only must not write through the counter's own connection either.
        return keys_.next(keys, inTransaction_ || isReadOnly_, timeout_, listener);
    } catch (const Error& error) {
        noteEnd(error.description);
        throw;
    }
}

std::vector<Text> SqliteSession::integrityProblems() {
    std::vector<Value> cells;
    prepare("PRAGMA integrity_check")->run({}, &cells);
    std::vector<Text> problems;
    for (const Value& cell : cells) {
        if (const auto* words = cell.getIf<Text>(); words != nullptr && *words != "ok") problems.push_back(*words);
    }
    return problems;
}

void SqliteSession::requireUsable() {
    if (endedBecause_.empty()) return;
    throw Error(errors::engine, source, "The engine has ended the transaction: " + endedBecause_);
}

void SqliteSession::failed(int code) {
    const Text why = words(database_.get(), code);
    noteEnd(why);
    throw Error(errors::engine, source, why);
}

void SqliteSession::noteEnd(const Text& why) {
    if (inTransaction_ && sqlite3_get_autocommit(database_.get()) != 0) endedBecause_ = why;
}

void SqliteSession::schemaChanged() {
    tables_.clear();
}

} // namespace corveth::data::sqlite
