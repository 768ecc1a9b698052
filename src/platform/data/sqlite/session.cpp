#include "platform/data/sqlite/session.h"

#include "platform/automation/convert.h"
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
#include <utility>

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
    // In memory is also what a savepoint keeps of the pages: a file for it would cost a fifth of a transaction.
    for (const char* setting : {"PRAGMA synchronous=FULL", "PRAGMA cache_size=-65536", "PRAGMA temp_store=MEMORY"}) {
        const int code = sqlite3_exec(database, setting, nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) throw Error(errors::engine, source, words(database, code));
    }
    registerFunctions(database);
}

std::unique_ptr<Session> open(const ConnectionSettings& settings) {
    const Text path = pathOf(settings);
    requireDatabaseFile(path);
    if (!settings.isReadOnly) shareRights(path);
    return std::make_unique<SqliteSession>(path, settings.timeout.value_or(defaultTimeout), settings.isReadOnly);
}

void remove(const Text& path) {
    for (const char* suffix : {"", "-wal", "-shm"})
        ::unlink((path + suffix).c_str());
}

/// Only its owner may read what is kept about people, so the file is made before the engine would make it.
std::function<void()> create(const ConnectionSettings& settings) {
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
        remove(path);
        throw;
    }
    return [path] { remove(path); };
}

bool isWritable(sqlite3* database) noexcept {
    return sqlite3_db_readonly(database, "main") == 0;
}

constexpr std::array<const char*, 1> keywords = {"Data Source"};

} // namespace

constinit const Provider provider{"SQLite", keywords, keywords, &open, &create, &definitionStatements};

void Closer::operator()(sqlite3* database) const noexcept {
    sqlite3_close_v2(database);
}

void Closer::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

Database openDatabase(const Text& path, std::int32_t timeout) {
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
      file_(path),
      keys_(database_.get(), path),
      timeout_(timeout),
      canWrite_(isReadOnly || isWritable(database_.get())) {
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
    if (file_.hasLoggedChanges()) sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

const Dialect& SqliteSession::dialect() const noexcept {
    return sqlite::dialect();
}

std::unique_ptr<Prepared> SqliteSession::prepare(TextView sql, const StatementUse& /*use*/) {
    requireTransaction();
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    const int code = sqlite3_prepare_v3(database_.get(), sql.data(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement, &tail);
    if (code != SQLITE_OK) failed(code);
    auto rows = statement == nullptr ? nullptr : std::make_unique<Rows>(*this, database_.get(), statement);
    if (rows == nullptr) raise(errors::noCommandText, {}, source);
    const TextView rest = sql.substr(static_cast<std::size_t>(tail - sql.data()));
    if (!std::ranges::all_of(rest, [](char c) { return charClass(c) == CharClass::blank; })) {
        raise(errors::charactersAfterStatement, leftUnits(rest, 40), source);
    }
    // Anything but a query may change what tables there are.
    if (statementKind(sql) == StatementKind::definition) tables_.clear();
    return rows;
}

std::shared_ptr<const TableInfo> SqliteSession::table(TextView name) {
    const Text key = foldCase(name);
    if (const auto found = tables_.find(key); found != tables_.end()) return found->second;

    const auto looking = prepare("Select type From sqlite_master Where name = ?1 Collate Nocase", {});
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

bool SqliteSession::hasTriggers(TextView name) {
    const auto looking =
        prepare("Select 1 From sqlite_master Where type = 'trigger' And tbl_name = ?1 Collate Nocase Limit 1", {});
    std::vector<Value> found;
    const Parameter parameter = name;
    looking->run({&parameter, 1}, &found);
    return !found.empty();
}

TableInfo SqliteSession::describeTable(TextView name, bool isView) {
    Text sql = "Select * From ";
    appendQuotedName(sql, name);
    const auto rows = prepare(sql, {});
    TableInfo info{isView, {}};
    // A view has one key column: the first that is a key where it comes from. One without triggers has none, it can
    // only be read.
    bool hasKey = isView && !hasTriggers(name);
    for (const auto& column : rows->columns()) {
        int isPrimary = 0;
        if (!column.originTable.empty()) {
            sqlite3_table_column_metadata(database_.get(), nullptr, column.originTable.c_str(),
                                          column.originColumn.c_str(), nullptr, nullptr, nullptr, &isPrimary, nullptr);
        }
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
        const Text why = wordsWithFile(database_.get(), code);
        sqlite3_reset(known.get());
        noteEnd(why);
        throw Error(errors::engine, source, why);
    }
    sqlite3_reset(known.get());
}

void SqliteSession::begin(int level) {
    static_cast<void>(usable(!isReadOnly_));
    // The write lock at once: a reader that becomes a writer later may find that it cannot.
    if (level == 1) run(isReadOnly_ ? "Begin" : "Begin Immediate");
    try {
        // At level 1, too: what is rolled back while the lock is kept.
        run("Savepoint level" + std::to_string(level));
    } catch (const Error&) {
        if (level == 1) run("Rollback");
        throw;
    }
    inTransaction_ = true;
}

void SqliteSession::commit(int level) {
    requireTransaction();
    if (level == 1) {
        file_.requireForWriting();
        try {
            keys_.committing();
        } catch (const Error& error) {
            noteEnd(error.description);
            throw;
        }
    }
    run(level == 1 ? "Commit" : "Release level" + std::to_string(level));
    if (level == 1) {
        inTransaction_ = false;
        keys_.ended();
    }
}

void SqliteSession::rollBackWhole() {
    try {
        run("Rollback");
    } catch (const Error&) {
        // Whatever it says, there is nothing left to roll back when the engine is out of the transaction.
        if (sqlite3_get_autocommit(database_.get()) == 0) throw;
    }
}

bool SqliteSession::rollBackToKeys() {
    if (!keys_.hasGiven()) return false;
    try {
        file_.requireForWriting();
        run("Rollback To level1");
        keys_.committing();
        run("Commit");
    } catch (const Error&) {
        return false;
    }
    keys_.ended();
    return true;
}

void SqliteSession::rollback(int level) {
    noteUnseenEnd();
    const bool ended = !endedBecause_.empty();
    if (level > 1) {
        if (ended) return;
        const Text name = "level" + std::to_string(level);
        run("Rollback To " + name);
        run("Release " + name);
        return;
    }
    if (!ended && !rollBackToKeys()) rollBackWhole();
    endedBecause_.clear();
    inTransaction_ = false;
    if (!keys_.hasGiven()) return;
    try {
        // The counters of another file that has taken the name are not these.
        file_.requireForWriting();
    } catch (const Error& error) {
        keys_.ended();
        reportFailure("keeping the key counters through a rollback", error.description);
        return;
    }
    if (const Text why = keys_.rolledBack(timeout_); !why.empty()) {
        reportFailure("keeping the key counters through a rollback", why);
    }
}

void SqliteSession::setTimeout(std::int32_t seconds) {
    timeout_ = seconds;
    sqlite3_busy_timeout(database_.get(), seconds * 1000);
}

Text SqliteSession::nextId(const KeySpace& keys, const StatementListener& listener) {
    static_cast<void>(usable(true));
    // Nor through the counter's own connection.
    if (isReadOnly_) failed(SQLITE_READONLY);
    try {
        return keys_.next(keys, inTransaction_, timeout_, listener);
    } catch (const Error& error) {
        noteEnd(error.description);
        throw;
    }
}

std::vector<KeyCount> SqliteSession::keyCounts() {
    std::vector<Value> cells;
    prepare("Select TableName, Code, LastNumber From IdCounters Order By 1, 2", {})->run({}, &cells);
    std::vector<KeyCount> counts;
    for (std::size_t i = 0; i + 2 < cells.size(); i += 3)
        counts.push_back({toText(cells[i]), toText(cells[i + 1]), static_cast<std::int64_t>(toDouble(cells[i + 2]))});
    return counts;
}

std::vector<Text> SqliteSession::integrityProblems() {
    std::vector<Value> cells;
    prepare("PRAGMA integrity_check", {})->run({}, &cells);
    std::vector<Text> problems;
    for (const Value& cell : cells) {
        if (const auto* words = cell.getIf<Text>(); words != nullptr && *words != "ok") problems.push_back(*words);
    }
    return problems;
}

sqlite3* SqliteSession::usable(bool forWriting) {
    if (inTransaction_) {
        requireTransaction();
    } else {
        forWriting ? file_.requireForWriting() : file_.requireForReading();
        if (!canWrite_) openAnewIfWritable();
        if (std::exchange(isDamaged_, false)) sqlite3_db_release_memory(database_.get());
    }
    return database_.get();
}

void SqliteSession::requireTransaction() {
    noteUnseenEnd();
    if (endedBecause_.empty()) return;
    throw Error(errors::engine, source, "The engine has ended the transaction: " + endedBecause_);
}

void SqliteSession::openAnewIfWritable() {
    if (::access(path_.c_str(), W_OK) != 0) return;
    shareRights(path_);
    Database again = openDatabase(path_, timeout_);
    if (!isWritable(again.get())) return;
    control_.clear();
    tables_.clear();
    keys_ = KeyCounter(again.get(), path_);
    database_ = std::move(again);
    file_ = DatabaseFile(path_);
    canWrite_ = true;
}

void SqliteSession::failed(int code) {
    const Text why = wordsWithFile(database_.get(), code);
    noteEnd(why);
    // The pages that were read of a damaged file must not outlive its repair.
    const bool isDamage = (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB;
    isDamaged_ = isDamaged_ || isDamage;
    // Which may be because it is another file by now, and that is the better word.
    if (isDamage && !inTransaction_) file_.requireForWriting();
    throw Error(errors::engine, source, why);
}

void SqliteSession::noteEnd(TextView why) {
    const bool isOut = inTransaction_ && sqlite3_get_autocommit(database_.get()) != 0;
    if (isOut && endedBecause_.empty()) endedBecause_ = why;
}

void SqliteSession::noteUnseenEnd() {
    noteEnd("a failure that nobody reported");
}

void SqliteSession::schemaChanged() {
    tables_.clear();
}

} // namespace corveth::data::sqlite
