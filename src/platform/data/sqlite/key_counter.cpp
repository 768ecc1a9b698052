#include "platform/data/sqlite/key_counter.h"

#include "platform/data/column_value.h"
#include "platform/data/dialect.h"
#include "platform/data/sqlite/error.h"

#include <algorithm>
#include <fcntl.h>
#include <mutex>
#include <sqlite3.h>
#include <sys/stat.h>

namespace corveth::data::sqlite {

namespace {

constexpr const char* source = "ADODB.Connection";

/// The last number that this process made for each code, whichever connection asked.
class LastNumbers {
public:
    [[nodiscard]] std::int64_t last(const Text& key) {
        const std::scoped_lock lock(mutex_);
        const auto found = numbers_.find(key);
        return found == numbers_.end() ? 0 : found->second;
    }
    void remember(const Text& key, std::int64_t number) {
        const std::scoped_lock lock(mutex_);
        auto& known = numbers_[key];
        known = std::max(known, number);
    }

private:
    std::mutex mutex_;
    std::unordered_map<Text, std::int64_t> numbers_;
};

LastNumbers& lastNumbers() {
    static LastNumbers numbers;
    return numbers;
}

/// Of the file, whatever names lead to it. With the time it was made: a file that is removed leaves its number to the
/// next one, and that has given no keys yet.
Text identityOf(const Text& path) {
    struct statx info {};
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_INO | STATX_BTIME, &info) != 0) return path;
    return std::to_string(info.stx_dev_major) + ":" + std::to_string(info.stx_dev_minor) + ":" +
           std::to_string(info.stx_ino) + ":" + std::to_string(info.stx_btime.tv_sec) + ":" +
           std::to_string(info.stx_btime.tv_nsec);
}

/// Raises the counter. Takes the last number that this process made, lowest and highest key, length, table and code.
Text raisingStatement(const KeySpace& keys) {
    Text column, table;
    appendQuotedName(column, keys.column);
    appendQuotedName(table, keys.table);
    const Text digits = "substr(" + column + ", " + std::to_string(keys.code.size() + 1) + ")";
    // Backwards along the key's index: the first that has the form is the greatest.
    return "Insert Into IdCounters (LastNumber, TableName, Code) Values (1 + max(?, coalesce((Select Cast(" + digits +
           " As integer) From " + table + " Where " + column + " Between ? And ? And length(" + column + ") = ? And " +
           digits + " Not Glob '*[^0-9]*' Order By " + column +
           " Desc Limit 1), 0)), ?, ?) On Conflict (TableName, Code) Do Update Set LastNumber = max(LastNumber + 1, "
           "Excluded.LastNumber) Returning LastNumber";
}

/// All keys between the lowest and the highest, the greatest first.
Text lookingStatement(const KeySpace& keys) {
    Text statement = "Select ";
    appendQuotedName(statement, keys.column);
    statement += " From ";
    appendQuotedName(statement, keys.table);
    statement += " Where ";
    appendQuotedName(statement, keys.column);
    statement += " Between ? And ? Order By ";
    appendQuotedName(statement, keys.column);
    return statement + " Desc";
}

constexpr const char* readingStatement = "Select LastNumber From IdCounters Where TableName = ? And Code = ?";

constexpr const char* keepingStatement =
    "Insert Into IdCounters (TableName, Code, LastNumber) Values (?, ?, ?) On Conflict (TableName, Code) "
    "Do Update Set LastNumber = max(LastNumber, Excluded.LastNumber)";

/// `text` must live until the statement has run.
void bindText(sqlite3_stmt* statement, int number, TextView text) {
    sqlite3_bind_text64(statement, number, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

/// Steps through the rows until `isEnough` says so.
template <class IsEnough>
void run(sqlite3* database, sqlite3_stmt* statement, const IsEnough& isEnough) {
    int code = sqlite3_step(statement);
    while (code == SQLITE_ROW && !isEnough())
        code = sqlite3_step(statement);
    const Text why = code == SQLITE_DONE || code == SQLITE_ROW ? Text() : wordsWithFile(database, code);
    sqlite3_reset(statement);
    if (!why.empty()) throw Error(errors::engine, source, why);
}

/// Runs to the end; the number in the one row, 0 without.
std::int64_t run(sqlite3* database, sqlite3_stmt* statement) {
    std::int64_t number = 0;
    run(database, statement, [&] {
        number = sqlite3_column_int64(statement, 0);
        return false;
    });
    return number;
}

Statement prepared(sqlite3* database, const Text& sql) {
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v3(database, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK) fail(database, code);
    return Statement(statement);
}

} // namespace

KeyCounter::KeyCounter(sqlite3* database, Text path)
    : main_(database), path_(std::move(path)), identity_(identityOf(path_)) {}

sqlite3* KeyCounter::own(std::int32_t timeout) {
    if (own_ == nullptr) {
        own_ = openDatabase(path_, timeout);
        const int code = sqlite3_exec(own_.get(), "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) fail(own_.get(), code);
    }
    sqlite3_busy_timeout(own_.get(), timeout * 1000);
    return own_.get();
}

void KeyCounter::closeOwn() noexcept {
    keepingOnOwn_.reset();
    for (auto& space : spaces_)
        space.raising.reset();
    own_.reset();
}

KeyCounter::Space& KeyCounter::spaceOf(const KeySpace& keys) {
    for (auto& space : spaces_) {
        if (space.code == keys.code && space.length == keys.length && space.column == keys.column &&
            space.table == keys.table) {
            return space;
        }
    }
    const Text code(keys.code);
    return spaces_.emplace_back(Space{code,
                                      Text(keys.column),
                                      Text(keys.table),
                                      keys.length,
                                      identity_ + "|" + foldCase(keys.table) + "|" + code,
                                      KeyForm(keys),
                                      {},
                                      {},
                                      0});
}

Text KeyCounter::next(const KeySpace& keys, bool inTransaction, std::int32_t timeout,
                      const StatementListener& listener) {
    Space& space = spaceOf(keys);
    const std::int64_t last = lastNumbers().last(space.identity);
    std::int64_t number = 0;
    if (inTransaction) {
        // Once the transaction was given a key, the counter cannot be ahead of what this process made.
        number = 1 + std::max({last, greatest(space, keys, listener), space.given == 0 ? counted(space, listener) : 0});
    } else {
        number = raised(space, keys, last, timeout, listener);
    }
    Text key = space.form.key(number);
    lastNumbers().remember(space.identity, number);
    if (inTransaction) space.given = number;
    return key;
}

std::int64_t KeyCounter::greatest(Space& space, const KeySpace& keys, const StatementListener& listener) {
    if (space.looking == nullptr) space.looking = prepared(main_, lookingStatement(keys));
    sqlite3_stmt* looking = space.looking.get();
    if (listener) {
        const Parameter shown[] = {TextView(space.form.lowest()), TextView(space.form.highest())};
        listener(withValues(sqlite3_sql(looking), shown));
    }
    bindText(looking, 1, space.form.lowest());
    bindText(looking, 2, space.form.highest());
    std::int64_t number = 0;
    run(main_, looking, [&] {
        const auto* key = reinterpret_cast<const char*>(sqlite3_column_text(looking, 0));
        if (key == nullptr) return false;
        number = space.form.numberIn(TextView(key, static_cast<std::size_t>(sqlite3_column_bytes(looking, 0))));
        return number != 0;
    });
    return number;
}

std::int64_t KeyCounter::counted(const Space& space, const StatementListener& listener) {
    if (reading_ == nullptr) reading_ = prepared(main_, readingStatement);
    if (listener) {
        const Parameter shown[] = {TextView(space.table), TextView(space.code)};
        listener(withValues(readingStatement, shown));
    }
    bindText(reading_.get(), 1, space.table);
    bindText(reading_.get(), 2, space.code);
    return run(main_, reading_.get());
}

std::int64_t KeyCounter::raised(Space& space, const KeySpace& keys, std::int64_t last, std::int32_t timeout,
                                const StatementListener& listener) {
    sqlite3* on = own(timeout);
    if (space.raising == nullptr) space.raising = prepared(on, raisingStatement(keys));
    sqlite3_stmt* raising = space.raising.get();
    if (listener) {
        const Parameter shown[] = {last,
                                   TextView(space.form.lowest()),
                                   TextView(space.form.highest()),
                                   std::int64_t{space.length},
                                   TextView(space.table),
                                   TextView(space.code)};
        listener(withValues(sqlite3_sql(raising), shown));
    }
    sqlite3_bind_int64(raising, 1, last);
    bindText(raising, 2, space.form.lowest());
    bindText(raising, 3, space.form.highest());
    sqlite3_bind_int64(raising, 4, space.length);
    bindText(raising, 5, space.table);
    bindText(raising, 6, space.code);
    try {
        return run(on, raising);
    } catch (const Error&) {
        closeOwn();
        throw;
    }
}

void KeyCounter::keep(sqlite3* on, Statement& keeping) {
    for (const auto& space : spaces_) {
        if (space.given == 0) continue;
        if (keeping == nullptr) keeping = prepared(on, keepingStatement);
        bindText(keeping.get(), 1, space.table);
        bindText(keeping.get(), 2, space.code);
        sqlite3_bind_int64(keeping.get(), 3, space.given);
        run(on, keeping.get());
    }
}

void KeyCounter::committing() {
    keep(main_, keepingOnMain_);
}

Text KeyCounter::rolledBack(std::int32_t timeout) {
    Text why;
    try {
        keep(own(timeout), keepingOnOwn_);
    } catch (const std::exception& error) {
        // The rollback itself is done, and this process does not give the same keys again whatever the counter says.
        why = error.what();
        closeOwn();
    }
    ended();
    return why;
}

bool KeyCounter::hasGiven() const noexcept {
    return std::ranges::any_of(spaces_, [](const Space& space) { return space.given != 0; });
}

void KeyCounter::ended() noexcept {
    for (auto& space : spaces_)
        space.given = 0;
}

} // namespace corveth::data::sqlite
