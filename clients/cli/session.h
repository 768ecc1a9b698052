#pragma once

#include "cli/class_model.h"
#include "cli/files.h"
#include "common/late_bound.h"

#include <map>
#include <optional>
#include <string>

namespace corveth::cli {

/// The loaded server, without a database.
class Library {
public:
    Library();

    [[nodiscard]] client::LateObject create(const std::string& progId) const { return server_.create(progId); }
    [[nodiscard]] const client::Server& server() const noexcept { return server_; }
    /// By programmatic identifier or by name alone; 429 that names the closest class.
    const ClassModel& model(const std::string& className);
    /// Text of the type library's member `name`.
    [[nodiscard]] std::string typeText(const char* name, const client::Arguments& arguments = {}) const;

private:
    client::Server server_;
    client::LateObject types_;
    std::map<std::string, ClassModel> models_;
};

/// The connection string that `database` is or, for a file, stands for.
std::string connectionString(const std::string& database);

/// What the server swallows while a database is open, for a command that wants to tell why something did not happen.
class FailureLog {
public:
    explicit FailureLog(const std::string& database);

    /// The connection string to open the database with.
    [[nodiscard]] const std::string& database() const noexcept { return database_; }
    /// What went wrong with objects of the class, in the server's words; empty when nothing did, and when the
    /// connection string has a log of the user's own.
    [[nodiscard]] std::string words(std::string_view className) const;

private:
    std::string database_;
    std::optional<PrivateFile> file_;
};

/// A database that the server's objects on this thread work with, from its opening to its end.
class Session {
public:
    /// Fails with a sentence when `database` is missing, no database, or of another schema version.
    Session(Library& library, const std::string& database);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] Library& library() const noexcept { return library_; }
    [[nodiscard]] const client::LateObject& connection() const noexcept { return connection_; }
    /// The ID that the data service made last on this thread.
    [[nodiscard]] std::string lastId() const;
    /// Fails when a message box has been shown since the session began: the server reports some failures only there.
    void requireNoMessageBox() const;

private:
    Library& library_;
    client::LateObject connection_;
    client::LateObject root_;
    client::LateObject desktop_;
    client::LateObject service_;
    std::int32_t boxesBefore_;
};

/// A transaction that is rolled back unless it is committed.
class Transaction {
public:
    explicit Transaction(const Session& session);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Fails, and leaves it to be rolled back, when a message box reported a failure meanwhile.
    void commit();

private:
    const Session& session_;
    bool isOpen_ = true;
};

} // namespace corveth::cli
