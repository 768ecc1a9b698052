#pragma once

#include "platform/automation/describe.h"

namespace corveth {

class Recordset;

namespace data {
class Channel;
class Log;
struct ConnectionSettings;
} // namespace data

enum class CursorType : std::int32_t { forwardOnly = 0, keyset = 1, dynamic = 2, staticCopy = 3 };
enum class LockType : std::int32_t {
    unspecified = -1,
    readOnly = 1,
    pessimistic = 2,
    optimistic = 3,
    batchOptimistic = 4
};

/// A session with one database. Errors carry the source "ADODB.Connection"; what the engine refuses comes with
/// the engine's own words. Losing the last reference rolls an open transaction back.
class CORVETH_API Connection final : public Described<Connection> {
public:
    static constexpr const char* className = "Connection";
    static constexpr TypeKind typeKind = TypeKind::connection;
    static const ClassInfo description;

    Connection();
    ~Connection() override;

    // As late-bound clients call it.
    /// An empty `ConnectionString` means the property's; `UserID` and `Password` go before what the string says.
    /// Never creates a database. 3705 when open; 3001 that names everything wrong in the string.
    void Open(const Text& ConnectionString, const Text& UserID, const Text& Password, std::int32_t Options);
    /// 3246 inside a transaction, 3704 when closed. Recordsets of this connection are closed with it.
    void Close();
    /// Runs one statement; the recordset is closed when the statement gives no rows.
    Ref<Recordset> Execute(const Text& CommandText, Value& RecordsAffected, std::int32_t Options);
    /// The new level, from 1; only the outermost transaction is one of the engine, the others are savepoints.
    std::int32_t BeginTrans();
    /// Both end the innermost transaction; 0x8004D00E when there is none.
    void CommitTrans();
    void RollbackTrans();
    /// 0 closed, 1 open.
    [[nodiscard]] std::int32_t get_State() const;
    /// Without the password.
    [[nodiscard]] Text get_ConnectionString() const;
    void let_ConnectionString(Text value);
    [[nodiscard]] Text get_Provider() const;
    [[nodiscard]] Text get_Version() const;
    /// Seconds that a statement waits for a lock.
    [[nodiscard]] std::int32_t get_CommandTimeout() const;
    void let_CommandTimeout(std::int32_t seconds);
    [[nodiscard]] std::int32_t get_CursorLocation() const;
    void let_CursorLocation(std::int32_t value);

    // For callers in C++.
    void open(TextView connectionString);
    /// To look only: what would write fails, and no byte of the database changes.
    void openReadOnly(TextView connectionString);
    [[nodiscard]] bool isOpen() const noexcept { return channel_ != nullptr; }
    [[nodiscard]] std::int32_t transactionLevel() const noexcept;
    /// Runs one statement whose rows, if any, nobody wants; how many rows it changed. Traced as `execute`.
    std::int64_t execute(TextView sql);
    /// Traces a statement that was refused before it could be sent; `kind` is "open" or "execute".
    void traceRefused(TextView kind, TextView sql);
    /// A line in the log file of the last connection string, also when closed; nothing without one. On any thread.
    void log(TextView className, TextView operation, TextView words) const noexcept;
    /// A new key: `code` and digits, `length` characters in all. One more than the greatest of the last that this
    /// process made, the counter in the database and the column itself; never given twice. Traced as `service`.
    Text nextId(TextView code, std::int32_t length, TextView keyColumn, TextView table);

    /// 3704 when closed.
    [[nodiscard]] data::Channel& channel() const;
    /// Another number after every Open and Close.
    [[nodiscard]] unsigned generation() const noexcept { return generation_; }

private:
    struct Table;

    void openWith(const data::ConnectionSettings& settings, const Text& connectionString);

    std::unique_ptr<data::Channel> channel_;
    std::shared_ptr<const data::Log> log_;
    unsigned generation_ = 0;
    Text connectionString_;
    Text provider_;
    std::optional<std::int32_t> timeout_;
    std::int32_t cursorLocation_ = 2;
};

} // namespace corveth
