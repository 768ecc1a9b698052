#pragma once

#include "support/engine.h"

struct pg_conn;

namespace corveth::test {

/// The folder of the server's socket. Throws with a sentence that says how to start a server when none is told.
[[nodiscard]] Text serverFolder();

/// The tests' own way to the server, past everything that is tested.
class ServerConnection {
public:
    explicit ServerConnection(const Text& database);
    ServerConnection(const ServerConnection&) = delete;
    ServerConnection& operator=(const ServerConnection&) = delete;
    ~ServerConnection();

    /// The first column of the first row; empty without one. Throws with the server's words.
    Text run(const Text& sql) const;

private:
    pg_conn* connection_;
};

/// A database of the server, with a name of its own. Its tables are a copy of those that this build makes.
[[nodiscard]] std::unique_ptr<TestDatabase> newServerDatabase(bool tables);

} // namespace corveth::test
