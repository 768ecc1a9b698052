#pragma once

#include "platform/data/recordset.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <span>
#include <vector>

namespace corveth::test {

/// A folder that goes with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] Text file(TextView name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

/// An engine that the tests of the data layer run on.
struct Engine {
    const char* name;
    /// Makes Items (a column of every type), Pieces (a key of two columns) and Numbers (a key that the engine makes).
    std::vector<const char*> tables;
    /// After it, an insert of `Id` 'GONE' into Items ends the transaction from within the engine, with the word "gone".
    const char* endingTrigger;
    /// Gives Pieces a column Remark that reads 'none'.
    const char* addColumn;

    friend void PrintTo(const Engine& engine, std::ostream* out) { *out << engine.name; }
};
[[nodiscard]] const std::vector<Engine>& engines();

/// One test of the data layer, on each engine: a database with all of the system's tables and the engine's own, and a
/// connection to it. Fails when an object is left alive.
class DataTest : public ::testing::TestWithParam<Engine> {
protected:
    DataTest();
    void SetUp() override;
    void TearDown() override;

    /// `more` is appended to the connection string.
    [[nodiscard]] Ref<Connection> connect(TextView more = {}) const;
    [[nodiscard]] Text connectionString() const;
    [[nodiscard]] Ref<Recordset> open(TextView sql, LockType lock = LockType::optimistic) const;
    /// All rows: values parted by `,` and rows by `;`, Null as `-`; `error NUMBER: WORDS` when it fails.
    [[nodiscard]] Text rows(TextView sql) const;
    [[nodiscard]] static Text rowsOf(Recordset& recordset);

    TemporaryFolder folder;
    Ref<Connection> connection;

private:
    std::size_t objectsBefore_;
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

#define CORVETH_ON_EVERY_ENGINE(suite)                                                                                 \
    INSTANTIATE_TEST_SUITE_P(Engines, suite, ::testing::ValuesIn(::corveth::test::engines()),                          \
                             [](const auto& test) { return std::string(test.param.name); })

} // namespace corveth::test
