#pragma once

#include "platform/data/literals.h"
#include "platform/data/log.h"
#include "platform/data/statement_cache.h"
#include "platform/data/statement_facts.h"
#include "platform/data/tokenizer.h"
#include "platform/data/trace.h"

namespace corveth::data {

/// An open connection: trace, statement text, cached statements and the engine's session, in the order in which a
/// statement passes them.
class Channel {
public:
    explicit Channel(const ConnectionSettings& settings);
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel();

    struct Outcome {
        std::shared_ptr<const RowShape> shape; ///< null for a statement without rows
        std::int64_t affected = 0;
    };
    /// Traces `sql` as `kind` and runs it; rows go to `cells`, or nowhere. 0x80040E0C when it is empty.
    Outcome run(TextView kind, TextView sql, std::vector<Value>* cells);
    /// A statement of the layer's own in the same dialect, with a `?` for each of `parameters`; traced as `row`.
    std::int64_t write(TextView statement, std::span<const Parameter> parameters, std::vector<Value>* cells = nullptr);
    /// The same, not traced.
    void read(TextView statement, std::span<const Parameter> parameters, std::vector<Value>& cells);

    [[nodiscard]] int level() const noexcept { return level_; }
    void begin();
    void commit();
    void rollback();

    [[nodiscard]] Text nextId(const KeySpace& keys);
    [[nodiscard]] Session& session() noexcept { return *session_; }
    [[nodiscard]] const Trace& trace() const noexcept { return trace_; }
    [[nodiscard]] const std::shared_ptr<const Log>& log() const noexcept { return log_; }

private:
    /// Runs `action`; when it takes long, a line in the log has the time and the text that `textOf` gives.
    template <class TextOf, class Action>
    decltype(auto) watched(TextView kind, const TextOf& textOf, const Action& action);

    Outcome runText(TextView sql, std::vector<Value>* cells);
    /// `parameters` are what it will run with first.
    CachedStatement& prepared(TextView text, std::span<const Parameter> parameters);
    CachedStatement prepare(TextView text, std::span<const Parameter> parameters);
    [[nodiscard]] std::vector<CachedStatement::Target> targetsOf(const StatementFacts& facts,
                                                                 std::span<const Token> tokens);
    /// So that a list is in the same order whatever was changed in it meanwhile. What comes back holds the names of
    /// the new tokens.
    [[nodiscard]] std::shared_ptr<const TableInfo> addKeyOrder(std::vector<Token>& tokens, const StatementFacts& facts);
    [[nodiscard]] std::vector<Text> neverNull(const StatementFacts& facts, std::span<const Token> tokens,
                                              std::span<const ResultItem> items);
    Outcome runLifted(TextView sql, std::vector<Value>* cells);
    Outcome runDefinition(TextView sql, std::vector<Value>* cells);
    std::span<const Parameter> converted(const CachedStatement& statement, std::span<const Parameter> parameters);
    Outcome runStatement(CachedStatement& statement, std::span<const Parameter> parameters, std::vector<Value>* cells,
                         bool& recompiled);

    static constexpr std::size_t cacheCapacity = 256;

    Trace trace_;
    std::shared_ptr<const Log> log_; ///< before the session, which may write to it while it ends
    std::unique_ptr<Session> session_;
    StatementCache cache_{cacheCapacity}; ///< after the session: its statements go first
    LiteralLifter lifter_;
    std::vector<Parameter> converted_;
    std::deque<Text> texts_; ///< that numbers among them became
    int level_ = 0;
};

} // namespace corveth::data
