#pragma once

#include "platform/data/recordset.h"
#include "support/engine.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace corveth::test {

/// One test of the data layer, on each engine: a database with all of the system's tables and the engine's own, and a
/// connection to it. Fails when an object is left alive.
class DataTest : public ::testing::TestWithParam<Engine> {
protected:
    DataTest();
    void SetUp() override;
    void TearDown() override;

    /// `more` is appended to the connection string.
    [[nodiscard]] Ref<Connection> connect(TextView more = {}) const;
    [[nodiscard]] Text connectionString() const { return database_->connectionString(); }
    [[nodiscard]] Ref<Recordset> open(TextView sql, LockType lock = LockType::optimistic) const;
    /// All rows: values parted by `,` and rows by `;`, Null as `-`; `error NUMBER: WORDS` when it fails.
    [[nodiscard]] Text rows(TextView sql) const;
    [[nodiscard]] static Text rowsOf(Recordset& recordset);

    [[nodiscard]] TestDatabase& database() const { return *database_; }

    TemporaryFolder folder; ///< for what is written beside the database
    Ref<Connection> connection;

private:
    std::size_t objectsBefore_;
    std::unique_ptr<TestDatabase> database_;
};

/// What `action` raises, as `NUMBER SOURCE: WORDS`; empty when it raises nothing.
template <class Action>
Text raised(Action action) {
    try {
        action();
        return {};
    } catch (const Error& error) {
        return std::to_string(error.number) + " " + error.source + ": " + error.description;
    }
}

} // namespace corveth::test
