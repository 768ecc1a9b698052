#pragma once

#include "platform/data/postgresql/catalog.h"

namespace corveth::data::postgresql {

/// What a statement needs of its session.
class SessionState {
public:
    virtual ~SessionState() = default;
    [[nodiscard]] virtual Catalog& catalog() = 0;
    /// One round trip. What fails in it leaves an open transaction as it was before. Throws when there is no connection
    /// or no transaction to go on with.
    [[nodiscard]] virtual Answers run(std::span<const Command> commands, bool changes) = 0;
    [[nodiscard]] virtual Text newStatementName() = 0;
    virtual void discard(Text name) noexcept = 0;
    /// The server found another schema than was known.
    virtual void schemaChanged() = 0;
};

/// A statement. The server decides the types of what it is compared with or stored into, so a statement whose values
/// come in different types is prepared once for each of them.
class Rows final : public Prepared {
public:
    /// A session's own statement may say whether it changes anything that a rollback takes back; of others the text is
    /// looked at.
    Rows(SessionState& session, Text sql, const StatementUse& use, std::optional<bool> changes = {});
    ~Rows() override;

    [[nodiscard]] std::span<const ResultColumn> columns() const override { return columns_; }
    [[nodiscard]] const Text& text() const noexcept { return sql_; }
    RunResult run(std::span<const Parameter> parameters, std::vector<Value>* cells) override;

private:
    struct Variant {
        std::vector<Oid> wanted; ///< the types that the values asked for
        Text name;
        std::vector<WireType> types; ///< as the server decided
        std::vector<WireType> cellTypes;
        std::vector<ResultColumn> columns;
        bool isBinary = true;
    };

    [[nodiscard]] std::vector<Oid> typesFor(std::span<const Parameter> parameters) const;
    /// Prepared when it is new.
    const Variant& variantFor(std::vector<Oid> wanted, std::span<const Parameter> parameters);
    Variant prepare(const std::vector<Oid>& wanted);
    [[nodiscard]] std::optional<Variant> tryPrepare(const std::vector<Oid>& declared, Failure& failure);
    void describe(Variant& variant, const pg_result* described);
    /// The columns of a Union and the like are what those of its first Select are.
    void describeByFirstSelect(Variant& variant, const std::vector<Oid>& declared);
    void encode(std::span<const Parameter> parameters);
    void readRows(const Variant& variant, const pg_result* result, std::vector<Value>& cells) const;
    void dropVariants() noexcept;

    SessionState& session_;
    Text sql_;
    std::vector<ColumnKind> targets_;
    bool changes_;
    std::deque<Variant> variants_;
    const Variant* current_ = nullptr;
    std::vector<ResultColumn> columns_;
    Encoder encoder_;
};

} // namespace corveth::data::postgresql
