#pragma once

#include "platform/automation/value.h"
#include "platform/data/connection_string.h"

#include <functional>
#include <memory>
#include <span>
#include <variant>

namespace corveth::data {

/// What a column was declared to hold, whatever the engine stores.
enum class ColumnKind : std::uint8_t {
    undeclared, ///< an expression: the value tells
    text,
    integer, ///< 16 bits
    longInteger,
    byte,
    single,
    doubleFloat,
    currency,
    date, ///< a day number
    boolean,
    bytes,
};

/// One column that a statement yields.
struct ResultColumn {
    Text name;
    ColumnKind kind = ColumnKind::undeclared;
    Text originTable; ///< empty for an expression
    Text originColumn;
};

/// A table, or a view; one that can only be read has no key.
struct TableInfo {
    struct Column {
        Text name;
        ColumnKind kind = ColumnKind::undeclared;
        bool isKey = false;
    };
    bool isView = false;
    std::vector<Column> columns;
};

/// What a statement is run with; nothing is owned.
using Parameter = std::variant<std::monostate, std::int64_t, double, TextView, std::span<const std::byte>>;

/// What can be told of a statement before it is prepared: an entry for each parameter, or none at all.
struct StatementUse {
    std::span<const ColumnKind> targets;   ///< of the column that stores it; undeclared where it is only compared
    std::span<const Parameter> parameters; ///< what the first run will be given
};

struct RunResult {
    std::int64_t affected = 0;
    /// The engine had to look at its schema again: what was known of the statement is out of date.
    bool recompiled = false;
};

/// A statement that an engine has prepared. Its errors carry the engine's own words.
class Prepared {
public:
    Prepared(const Prepared&) = delete;
    Prepared& operator=(const Prepared&) = delete;
    virtual ~Prepared() = default;

    /// As of the last run; empty for a statement without rows.
    [[nodiscard]] virtual std::span<const ResultColumn> columns() const = 0;
    /// Runs to the end, appends all rows to `cells` (drops them without it) and leaves nothing open. A statement that
    /// fails has changed nothing.
    virtual RunResult run(std::span<const Parameter> parameters, std::vector<Value>* cells) = 0;

protected:
    Prepared() = default;
};

struct Definition;
struct Dialect;

/// What an ID is made from.
struct KeySpace {
    TextView code;
    std::int32_t length;
    TextView column;
    TextView table;
};

/// Where the counter of a kind of key stands.
struct KeyCount {
    Text table;
    Text code;
    std::int64_t lastNumber = 0;
};

/// Hears the statements that a session sends on its own account.
using StatementListener = std::function<void(TextView)>;
/// Hears of failures that no call returns: what was being done, and the engine's words.
using FailureListener = std::function<void(TextView, TextView)>;

/// One open database. The caller counts transaction levels from 1; only level 1 is a transaction of the engine.
/// A transaction that the engine ended by itself stays in place: everything fails with the words it ended with until
/// level 1 is rolled back.
class Session {
public:
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    /// Rolls back what is open.
    virtual ~Session() = default;

    [[nodiscard]] virtual const Dialect& dialect() const noexcept = 0;
    /// `sql` is in the engine's own language; 3142 when it holds more than one statement.
    [[nodiscard]] virtual std::unique_ptr<Prepared> prepare(TextView sql, const StatementUse& use) = 0;
    /// Null when there is no such table or view.
    [[nodiscard]] virtual std::shared_ptr<const TableInfo> table(TextView name) = 0;
    virtual void begin(int level) = 0;
    virtual void commit(int level) = 0;
    virtual void rollback(int level) = 0;
    virtual void setTimeout(std::int32_t seconds) = 0;
    virtual Text nextId(const KeySpace& keys, const StatementListener& listener) = 0;
    /// By table and code. A database that has given no key yet has none.
    [[nodiscard]] virtual std::vector<KeyCount> keyCounts() = 0;
    /// What the engine itself finds wrong with the database, in its own words; empty when it is sound.
    [[nodiscard]] virtual std::vector<Text> integrityProblems() = 0;

    /// How often a server was asked and waited for; 0 for an engine of this process.
    [[nodiscard]] virtual std::uint64_t roundTrips() const noexcept { return 0; }

    /// `listener` must not throw.
    void setFailureListener(FailureListener listener) { failureListener_ = std::move(listener); }

protected:
    Session() = default;
    void reportFailure(TextView operation, TextView words) const {
        if (failureListener_) failureListener_(operation, words);
    }

private:
    FailureListener failureListener_;
};

/// An engine.
struct Provider {
    const char* name;                           ///< as connection strings say it
    std::span<const char* const> keywords;      ///< beside the common ones
    std::span<const char* const> requiredWords; ///< of them, without which there is no opening
    std::unique_ptr<Session> (*open)(const ConnectionSettings& settings);
    /// Makes an empty database where there is none; 58 when there is something in it. What it gives back takes away
    /// what was made, for a database that was not finished, and does not throw.
    std::function<void()> (*create)(const ConnectionSettings& settings);
    /// The statements of the engine's own language that make the tables, views and key counters, in an order that
    /// works.
    std::vector<Text> (*define)(const Definition& definition);
};

[[nodiscard]] std::span<const Provider* const> providers() noexcept;

} // namespace corveth::data
