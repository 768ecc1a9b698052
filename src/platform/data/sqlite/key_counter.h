#pragma once

#include "platform/data/key_space.h"

#include <deque>

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

/// Makes keys. The counter of a table's code is raised by whoever has the write lock before he looks, so that no two
/// processes see the same number.
class KeyCounter {
public:
    KeyCounter(sqlite3* database, Text path);

    /// Outside a transaction the counter is raised on a connection of its own, which does not wait for the disk: the
    /// row that takes the key does. A transaction has the write lock, and its counters are raised when it ends.
    [[nodiscard]] Text next(const KeySpace& keys, bool inTransaction, std::int32_t timeout,
                            const StatementListener& listener);
    /// Raises the counters of the keys that the transaction was given; to be called in it.
    void committing();
    /// The same after a rollback that could not do it itself: a key is never given twice. Returns why it failed; empty
    /// when it did not.
    [[nodiscard]] Text rolledBack(std::int32_t timeout);
    void ended() noexcept;
    /// The open transaction was given some.
    [[nodiscard]] bool hasGiven() const noexcept;

private:
    /// What the keys of one kind have in common.
    struct Space {
        Text code, column, table;
        std::int32_t length;
        Text identity; ///< of the counter, among all of this process
        KeyForm form;
        Statement looking;  ///< on the main connection
        Statement raising;  ///< on the counter's own
        std::int64_t given; ///< the last number in the open transaction; 0 without one
    };

    Space& spaceOf(const KeySpace& keys);
    /// Of the numbers in the column, in a transaction; 0 without any.
    [[nodiscard]] std::int64_t greatest(Space& space, const KeySpace& keys, const StatementListener& listener);
    /// Where the counter stands, in a transaction.
    [[nodiscard]] std::int64_t counted(const Space& space, const StatementListener& listener);
    /// The counter, raised outside a transaction.
    [[nodiscard]] std::int64_t raised(Space& space, const KeySpace& keys, std::int64_t last, std::int32_t timeout,
                                      const StatementListener& listener);
    [[nodiscard]] sqlite3* own(std::int32_t timeout);
    /// After a failure: it is opened anew when it is needed again.
    void closeOwn() noexcept;
    void keep(sqlite3* on, Statement& keeping);

    sqlite3* main_;
    Text path_;
    Text identity_; ///< of the file, whatever path leads to it
    Database own_;
    Statement reading_, keepingOnMain_, keepingOnOwn_; ///< after the database they belong to
    std::deque<Space> spaces_; ///< the same; a statement that was bound keeps pointing to its texts
};

} // namespace corveth::data::sqlite
