#pragma once

#include "platform/data/sqlite/database_file.h"
#include "platform/data/sqlite/key_counter.h"
#include "platform/data/sqlite/rows.h"

#include <unordered_map>

namespace corveth::data::sqlite {

class SqliteSession final : public Session, public SessionState {
public:
    SqliteSession(const Text& path, std::int32_t timeout, bool isReadOnly);
    SqliteSession(const SqliteSession&) = delete;
    SqliteSession& operator=(const SqliteSession&) = delete;
    ~SqliteSession() override;

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

private:
    [[nodiscard]] sqlite3* usable(bool forWriting) override;
    [[noreturn]] void failed(int code) override;
    void schemaChanged() override;

    void requireTransaction();
    /// A file that could only be read when it was opened may have become one that can be written.
    void openAnewIfWritable();
    /// After a failure with the words `why`: the transaction may be gone with it.
    void noteEnd(TextView why);
    /// Not every failure comes by there, and what follows must not be saved piece by piece.
    void noteUnseenEnd();
    void run(const Text& sql);
    void rollBackWhole();
    /// Rolls the changes back but raises the counters before anybody else gets the lock and is given the same keys.
    /// False where that cannot be done: the transaction is then to be rolled back whole.
    bool rollBackToKeys();
    [[nodiscard]] TableInfo describeTable(TextView name, bool isView);
    [[nodiscard]] bool hasTriggers(TextView name);
    void allowNoWriting();
    void keepLogOfChanges() noexcept;

    Text path_;
    bool isReadOnly_;
    Database database_;
    DatabaseFile file_;
    KeyCounter keys_; ///< its statements go before the database
    std::int32_t timeout_;
    std::unordered_map<Text, std::shared_ptr<const TableInfo>> tables_; ///< by folded name
    std::unordered_map<Text, Statement> control_;                       ///< Begin, Commit, Rollback and the like
    bool inTransaction_ = false;
    bool canWrite_;
    bool isDamaged_ = false; ///< as a statement found it since pages were given up last
    Text endedBecause_;      ///< the words with which the engine ended the transaction
};

extern const Provider provider;

} // namespace corveth::data::sqlite
