#pragma once

#include "platform/automation/error.h"
#include "platform/data/connection.h"
#include "platform/data/recordset.h"
#include "support/engine.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace corveth::test {

/// What a failure is to be; an empty source or text matches any, the text is a beginning.
struct Failure {
    std::int32_t number = 0;
    Text source{};
    Text text{};
};

/// Runs `action` and fails the test unless it throws exactly that.
void expectFailure(const Failure& expected, const std::function<void()>& action);

/// A test on each engine, with a database of its own, a connection to it that is the thread's shared one, and a record
/// of what is sent. Fails when a test leaves an object alive.
class DatabaseTest : public ::testing::TestWithParam<Engine> {
protected:
    DatabaseTest();
    void SetUp() override;
    void TearDown() override;

    /// The system's own statements since the last call, as `kind|text` (a transaction's kinds alone).
    std::vector<Text> statements();
    /// What went to the log since the last call: class, operation and words, parted by `|`.
    std::vector<Text> logged();
    /// A statement of the test, past the trace.
    void sql(TextView statement);
    /// The first column of the first row as text; "(none)" without a row, "(null)" for Null.
    Text scalar(TextView query);
    /// Puts a value into a column of the first row, as no literal of a statement could.
    void store(TextView query, const char* column, const Value& value);
    void refuse(const Refusal& refusal);
    void allow(const Refusal& refusal);

    Ref<Connection> connection;

private:
    std::size_t objectsBefore_;
    TemporaryFolder folder_;
    std::unique_ptr<TestDatabase> database_;
    Ref<Connection> own_;
    std::size_t traceRead_ = 0;
    std::size_t logRead_ = 0;
};

} // namespace corveth::test
