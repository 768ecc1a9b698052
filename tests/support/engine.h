#pragma once

#include "platform/automation/text.h"

#include <memory>
#include <ostream>
#include <span>
#include <vector>

namespace corveth::test {

/// A database with all of the system's tables, or a place for one; it goes with the object.
class TestDatabase {
public:
    TestDatabase() = default;
    TestDatabase(const TestDatabase&) = delete;
    TestDatabase& operator=(const TestDatabase&) = delete;
    virtual ~TestDatabase() = default;

    [[nodiscard]] virtual Text connectionString() const = 0;
    /// What messages call it.
    [[nodiscard]] virtual Text name() const = 0;
    /// Waits for what connections of processes that were killed still do.
    virtual void settle() const {}
    /// Both while nobody has it open.
    virtual void rename(TextView name) = 0;
    virtual void remove() = 0;
};

/// A value as a connection string takes any: in quotes, those within it doubled.
[[nodiscard]] Text inQuotes(TextView value);

/// What makes a statement fail: `event` ("before delete") on the rows of `table` for which `condition` holds, which
/// may name old. and new.; all of them without one.
struct Refusal {
    const char* name;
    const char* event;
    const char* table;
    const char* condition;
    const char* words;
};

/// An engine that the tests run on, and what they need to know of it.
struct Engine {
    const char* name;
    /// Makes a database; without `tables` nothing is there yet.
    std::unique_ptr<TestDatabase> (*make)(bool tables);
    /// Makes Items (a column of every type), Pieces (a key of two columns) and Numbers (a key that the engine makes).
    std::vector<const char*> tables;
    /// Makes the engine search by an index though the table is small, where it takes that; `plan` before a query tells
    /// how it would run, `wholeTable` is its word for a search without one.
    const char* searchByIndex;
    const char* plan;
    const char* wholeTable;
    /// Gives Pieces a column Remark that reads 'none'.
    const char* addColumn;
    std::vector<Text> (*refuse)(const Refusal&);
    Text (*allow)(const Refusal&);
    /// A query for the last number that a counter gave, and a statement that sets it.
    Text (*counter)(TextView table, TextView code);
    Text (*setCounter)(TextView table, TextView code, int number);
    /// How the engine's words begin.
    Text (*noTable)(TextView table);
    Text (*noColumn)(TextView column);
    Text (*duplicateKey)(TextView table, TextView column);
    /// What a connection that may only read says to a change.
    const char* readOnly;

    friend void PrintTo(const Engine& engine, std::ostream* out) { *out << engine.name; }
};
/// One of them for what is special to it; all for "".
[[nodiscard]] std::vector<Engine> engines(TextView name = {});

#define CORVETH_ON_ENGINE(engine, suite)                                                                               \
    INSTANTIATE_TEST_SUITE_P(Engines, suite, ::testing::ValuesIn(::corveth::test::engines(engine)),                    \
                             [](const auto& test) { return std::string(test.param.name); })
#define CORVETH_ON_EVERY_ENGINE(suite) CORVETH_ON_ENGINE("", suite)

} // namespace corveth::test
