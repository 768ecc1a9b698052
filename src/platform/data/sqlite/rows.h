#pragma once

#include "platform/data/provider.h"

struct sqlite3;
struct sqlite3_stmt;

namespace corveth::data::sqlite {

/// What a statement needs of its session.
class SessionState {
public:
    virtual ~SessionState() = default;
    /// The database to work with, which is another one after it was opened anew. Throws when the engine ended the
    /// transaction by itself, and when the file is no longer the one that was opened.
    [[nodiscard]] virtual sqlite3* usable(bool forWriting) = 0;
    /// A statement failed: notes whether the transaction is gone with it, and throws.
    [[noreturn]] virtual void failed(int code) = 0;
    /// The engine found another schema than it knew.
    virtual void schemaChanged() = 0;
};

class Rows final : public Prepared {
public:
    /// `statement` becomes this object's.
    Rows(SessionState& session, sqlite3* database, sqlite3_stmt* statement);
    ~Rows() override;

    [[nodiscard]] std::span<const ResultColumn> columns() const override { return columns_; }
    RunResult run(std::span<const Parameter> parameters, std::vector<Value>* cells) override;

private:
    void describe();
    void prepareAnew(sqlite3* database);
    void bind(std::span<const Parameter> parameters);
    void readRow(std::vector<Value>& cells);
    void readCell(std::vector<Value>& cells, int column, ColumnKind kind) const;

    SessionState& session_;
    sqlite3* database_;
    sqlite3_stmt* statement_;
    bool isReadOnly_;
    int recompilations_ = 0;
    std::vector<ResultColumn> columns_;
};

} // namespace corveth::data::sqlite
