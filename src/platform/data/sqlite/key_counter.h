#pragma once

#include "platform/data/provider.h"

#include <deque>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace corveth::data::sqlite {

/// Closes what it holds.
struct Closer {
    void operator()(sqlite3* database) const noexcept;
    void operator()(sqlite3_stmt* statement) const noexcept;
};
using Database = std::unique_ptr<sqlite3, Closer>;
using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

/// Opens an existing database file with the settings of every connection.
[[nodiscard]] Database openDatabase(const Text& path, std::int32_t timeout);

/// Makes keys. The counter of a table's code is raised in one statement, which takes the write lock before it looks,
/// so that no two processes see the same number.
class KeyCounter {
public:
    KeyCounter(sqlite3* database, Text path);

    /// Outside a transaction the counter is raised on a connection of its own, which does not wait for the disk: the
    /// row that takes the key does.
    [[nodiscard]] Text next(const KeySpace& keys, bool inTransaction, std::int32_t timeout,
                            const StatementListener& listener);
    /// A rollback took counters back with it: raises them again, so that other processes do not give the same keys.
    /// Returns why that could not be done; empty when it was.
    [[nodiscard]] Text rolledBack(bool inTransaction, std::int32_t timeout);
    void ended() noexcept { given_.clear(); }

private:
    struct Given {
        Text table, code;
        std::int64_t number;
    };
    /// What the keys of one kind have in common.
    struct Space {
        Text code, column, table;
        std::int32_t length;
        Text identity; ///< of the counter, among all of this process
        Text lowest, highest;
        Text raising; ///< the statement, prepared on either connection
        Statement ofMain, ofOwn;
    };
    using Statements = std::unordered_map<Text, Statement>;

    Space& spaceOf(const KeySpace& keys);
    [[nodiscard]] sqlite3* database(bool inTransaction, std::int32_t timeout);
    /// After a failure: it is opened anew when it is needed again.
    void closeOwn() noexcept;
    sqlite3_stmt* statement(bool inTransaction, sqlite3* database, const Text& sql);
    void noteGiven(const KeySpace& keys, std::int64_t number);
    void raiseCounter(const Given& given, bool inTransaction, std::int32_t timeout);

    sqlite3* main_;
    Text path_;
    Text identity_; ///< of the file, whatever path leads to it
    Database own_;
    Statements ofMain_, ofOwn_; ///< after the database they belong to
    std::deque<Space> spaces_;  ///< the same; a statement that was bound keeps pointing to its texts
    std::vector<Given> given_;  ///< in the open transaction
};

} // namespace corveth::data::sqlite
