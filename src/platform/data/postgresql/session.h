#pragma once

#include "platform/data/postgresql/key_counter.h"

namespace corveth::data::postgresql {

/// One connection to a server. A transaction begins with its first statement, so that it costs no round trip of its
/// own; what only undoes or ends a level waits for the next statement too.
class PostgresSession final : public Session, public SessionState {
public:
    explicit PostgresSession(const ConnectionSettings& settings);
    PostgresSession(const PostgresSession&) = delete;
    PostgresSession& operator=(const PostgresSession&) = delete;
    ~PostgresSession() override;

    [[nodiscard]] const Dialect& dialect() const noexcept override;
    [[nodiscard]] std::unique_ptr<Prepared> prepare(TextView sql, const StatementUse& use) override;
    [[nodiscard]] std::shared_ptr<const TableInfo> table(TextView name) override;
    void begin(int level) override;
    void commit(int level) override;
    void rollback(int level) override;
    void setTimeout(std::int32_t seconds) override;
    Text nextId(const KeySpace& keys, const StatementListener& listener) override;
    [[nodiscard]] std::vector<KeyCount> keyCounts() override;
    [[nodiscard]] std::vector<Text> integrityProblems() override;
    [[nodiscard]] std::uint64_t roundTrips() const noexcept override { return link_.roundTrips(); }

private:
    /// The server ends a transaction with its first failure. A savepoint before a statement keeps what was done before
    /// it; one is enough until something was changed after it.
    struct Level {
        bool hasGuard = false;   ///< a savepoint of ours within the level
        bool isFresh = true;     ///< nothing was changed since it, or since the level began
        bool hasChanges = false; ///< since the level began
    };

    [[nodiscard]] Catalog& catalog() override { return catalog_; }
    [[nodiscard]] Answers run(std::span<const Command> commands, bool changes) override;
    [[nodiscard]] Text newStatementName() override;
    void discard(Text name) noexcept override;
    void schemaChanged() override;

    void requireTransaction() const;
    void addGuard();
    void addControl(const char* statement);
    /// A guard goes before the level's next statement.
    void keepWhatIsDone() noexcept;
    /// Takes back what the failed statement left, and nothing else.
    void recover();
    void endTransaction(const Text& why);
    [[nodiscard]] bool isUnsent(TextView statement) const noexcept;
    /// `parameter` may be null.
    Result askCatalog(const char* statement, const Text* parameter);

    ServerLink link_;
    bool keepsSnapshot_; ///< a transaction looks at one moment
    Catalog catalog_;
    KeyCounter keys_;
    bool hasDefined_ = false; ///< a definition was changed within the open transaction
    std::vector<Level> levels_;
    std::vector<Text> pending_; ///< statements that go with the next round trip
    std::vector<Command> commands_;
    std::uint64_t lastStatement_ = 0;
    bool hasNewTimeout_ = false; ///< set within the open transaction
    Text endedBecause_;          ///< the words with which the server ended the transaction
};

extern const Provider provider;

} // namespace corveth::data::postgresql
