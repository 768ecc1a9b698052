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

std::int64_t highestNumber(std::size_t digits) noexcept {
    std::int64_t highest = 0;
    for (std::size_t i = 0; i < digits; ++i)
        highest = highest * 10 + 9;
    return highest;
}

Text padded(std::int64_t number, std::size_t digits) {
    const Text text = std::to_string(number);
    return Text(digits - std::min(digits, text.size()), '0') + text;
}

/// Takes table, code, the last that this process made, lowest and highest key, and length.
Text raisingStatement(const KeySpace& keys) {
    Text column, table;
    appendQuotedName(column, keys.column);
    appendQuotedName(table, keys.table);
    const Text digits = "substr(" + column + ", " + std::to_string(keys.code.size() + 1) + ")";
    // Backwards along the key's index: the first that has the form is the greatest.
    return "Insert Into IdCounters (TableName, Code, LastNumber) Values (?, ?, 1 + max(?, coalesce((Select Cast(" +
           digits + " As integer) From " + table + " Where " + column + " Between ? And ? And length(" + column +
           ") = ? And " + digits + " Not Glob '*[^0-9]*' Order By " + column +
           " Desc Limit 1), 0))) On Conflict (TableName, Code)"
           " Do Update Set LastNumber = max(LastNumber + 1, Excluded.LastNumber)";
}

/// In a transaction nobody else raises the counter meanwhile, and this costs half of what `returning` does.
constexpr const char* readingStatement = "Select LastNumber From IdCounters Where TableName = ? And Code = ?";
constexpr const char* returning = " Returning LastNumber";

constexpr const char* restoringStatement =
    "Insert Into IdCounters (TableName, Code, LastNumber) Values (?, ?, ?) On Conflict (TableName, Code) "
    "Do Update Set LastNumber = max(LastNumber, Excluded.LastNumber)";

/// `text` must live until the statement has run.
void bindText(sqlite3_stmt* statement, int number, TextView text) {
    sqlite3_bind_text64(statement, number, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

/// Runs to the end; the number in the one row, 0 without.
std::int64_t run(sqlite3* database, sqlite3_stmt* statement) {
    int code = sqlite3_step(statement);
    const std::int64_t number = code == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : 0;
    if (code == SQLITE_ROW) code = sqlite3_step(statement);
    const Text why = code == SQLITE_DONE ? Text() : wordsWithFile(database, code);
    sqlite3_reset(statement);
    if (code != SQLITE_DONE) throw Error(errors::engine, source, why);
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

sqlite3* KeyCounter::database(bool inTransaction, std::int32_t timeout) {
    if (inTransaction) return main_;
    if (own_ == nullptr) {
        own_ = openDatabase(path_, timeout);
        const int code = sqlite3_exec(own_.get(), "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) fail(own_.get(), code);
    }
    sqlite3_busy_timeout(own_.get(), timeout * 1000);
    return own_.get();
}

void KeyCounter::closeOwn() noexcept {
    ofOwn_.clear();
    for (auto& space : spaces_)
        space.ofOwn.reset();
    own_.reset();
}

sqlite3_stmt* KeyCounter::statement(bool inTransaction, sqlite3* database, const Text& sql) {
    Statement& known = (inTransaction ? ofMain_ : ofOwn_)[sql];
    if (known == nullptr) known = prepared(database, sql);
    return known.get();
}

KeyCounter::Space& KeyCounter::spaceOf(const KeySpace& keys) {
    for (auto& space : spaces_) {
        if (space.code == keys.code && space.length == keys.length && space.column == keys.column &&
            space.table == keys.table) {
            return space;
        }
    }
    if (keys.code.empty() || std::cmp_less_equal(keys.length, keys.code.size()) || keys.length > 18) {
        raise(errors::invalidCall,
              "no key of " + std::to_string(keys.length) + " characters begins with \"" + Text(keys.code) + "\"",
              source);
    }
    const Text code(keys.code);
    const std::size_t digits = static_cast<std::size_t>(keys.length) - code.size();
    return spaces_.emplace_back(Space{code,
                                      Text(keys.column),
                                      Text(keys.table),
                                      keys.length,
                                      identity_ + "|" + foldCase(keys.table) + "|" + code,
                                      code + Text(digits, '0'),
                                      code + Text(digits, '9'),
                                      raisingStatement(keys),
                                      {},
                                      {}});
}

Text KeyCounter::next(const KeySpace& keys, bool inTransaction, std::int32_t timeout,
                      const StatementListener& listener) {
    Space& space = spaceOf(keys);
    const std::int64_t last = lastNumbers().last(space.identity);
    if (listener) {
        const Parameter shown[] = {
            keys.table, keys.code, last, TextView(space.lowest), TextView(space.highest), std::int64_t{keys.length}};
        listener(withValues(space.raising + (inTransaction ? "" : returning), shown));
        const Parameter read[] = {keys.table, keys.code};
        if (inTransaction) listener(withValues(readingStatement, read));
    }

    sqlite3* on = database(inTransaction, timeout);
    Statement& raising = inTransaction ? space.ofMain : space.ofOwn;
    if (raising == nullptr) raising = prepared(on, inTransaction ? space.raising : space.raising + returning);
    bindText(raising.get(), 1, space.table);
    bindText(raising.get(), 2, space.code);
    sqlite3_bind_int64(raising.get(), 3, last);
    bindText(raising.get(), 4, space.lowest);
    bindText(raising.get(), 5, space.highest);
    sqlite3_bind_int64(raising.get(), 6, space.length);
    std::int64_t number = 0;
    try {
        number = run(on, raising.get());
    } catch (const Error&) {
        if (!inTransaction) closeOwn();
        throw;
    }
    if (inTransaction) {
        sqlite3_stmt* reading = statement(inTransaction, on, readingStatement);
        bindText(reading, 1, space.table);
        bindText(reading, 2, space.code);
        number = run(on, reading);
    }
    const std::size_t digits = space.lowest.size() - space.code.size();
    if (number > highestNumber(digits)) {
        raise(errors::overflow, "all keys that begin with \"" + Text(keys.code) + "\" are taken", source);
    }
    lastNumbers().remember(space.identity, number);
    if (inTransaction) noteGiven(keys, number);
    return space.code + padded(number, digits);
}

void KeyCounter::noteGiven(const KeySpace& keys, std::int64_t number) {
    const auto known = std::ranges::find_if(
        given_, [&](const Given& given) { return given.table == keys.table && given.code == keys.code; });
    if (known != given_.end()) {
        known->number = number;
    } else {
        given_.push_back({Text(keys.table), Text(keys.code), number});
    }
}

void KeyCounter::raiseCounter(const Given& given, bool inTransaction, std::int32_t timeout) {
    sqlite3* on = database(inTransaction, timeout);
    sqlite3_stmt* restoring = statement(inTransaction, on, restoringStatement);
    bindText(restoring, 1, given.table);
    bindText(restoring, 2, given.code);
    sqlite3_bind_int64(restoring, 3, given.number);
    const int code = sqlite3_step(restoring);
    const Text why = code == SQLITE_DONE ? Text() : wordsWithFile(on, code);
    sqlite3_reset(restoring);
    if (!why.empty()) throw Error(errors::engine, source, why);
}

Text KeyCounter::rolledBack(bool inTransaction, std::int32_t timeout) {
    Text why;
    try {
        for (const auto& given : given_)
            raiseCounter(given, inTransaction, timeout);
    } catch (const std::exception& error) {
        // The rollback itself is done, and this process does not give the same keys again whatever the counter says.
        why = error.what();
        closeOwn();
    }
    if (!inTransaction) given_.clear();
    return why;
}

} // namespace corveth::data::sqlite
