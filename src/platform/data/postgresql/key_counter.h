#pragma once

#include "platform/data/key_space.h"
#include "platform/data/postgresql/rows.h"

namespace corveth::data::postgresql {

/// The functions that key counters need in the database, in the engine's own language.
[[nodiscard]] std::vector<Text> keyStatements();

/// Makes keys. Every kind has a sequence of its own, so that nobody waits for another's transaction and no number is
/// given twice, whatever is rolled back. Sequences are made when they are first needed, outside any transaction.
class KeyCounter {
public:
    KeyCounter(SessionState& session, ConnectionSettings settings)
        : session_(session), settings_(std::move(settings)) {}

    [[nodiscard]] Text next(const KeySpace& keys, const StatementListener& listener);

private:
    struct Space {
        Text code, column, table;
        KeyForm form;
        Text counter; ///< the sequence
        std::unique_ptr<Rows> looking;
    };

    Space& spaceOf(const KeySpace& keys);
    void prepareLooking(Space& space);
    /// The counter is behind the keys that are there.
    [[nodiscard]] std::int64_t raised(const Space& space, std::int64_t taken, const StatementListener& listener);

    SessionState& session_;
    ConnectionSettings settings_;
    std::deque<Space> spaces_;
    std::unique_ptr<Rows> raising_;
};

} // namespace corveth::data::postgresql
