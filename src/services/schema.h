#pragma once

#include "platform/automation/describe.h"

namespace corveth {

namespace data {
class Session;
}

/// The version of the tables that this build works with.
inline constexpr std::int32_t schemaVersion = 2;
/// The table that holds it.
inline constexpr TextView versionTable = "SchemaVersion";

/// Makes the database that `connectionString` names, with all tables, in one transaction; when that fails, nothing is
/// left of it. An empty database of a server gets the tables alone. Throws 58 with a sentence when there is something
/// already, of this version or another.
CORVETH_API void createDatabase(TextView connectionString);

/// The version that the database's tables were made with; 0 when it has none of them. What keeps the database from
/// being opened is thrown unchanged.
CORVETH_API std::int32_t databaseVersion(TextView connectionString);

/// Throws the application's number with a sentence when the database has none of the tables of this build, older or
/// newer ones. What keeps it from being opened is thrown unchanged.
CORVETH_API void checkDatabase(TextView connectionString);

/// The same for a database that is open; `connectionString` says what the message calls it.
void requireTables(data::Session& session, TextView connectionString);

/// The same for late-bound clients.
class CORVETH_API Schema final : public Described<Schema> {
public:
    static constexpr const char* className = "Schema";
    static const ClassInfo description;

    void Create(const Text& ConnectionString);
    [[nodiscard]] std::int32_t Version(const Text& ConnectionString) const;
    void Check(const Text& ConnectionString) const;
    /// What `checkRows` finds, as a list in JSON: `[{"check": "link", "table": "Notes", "key": "NT00000001", "finding":
    /// .., "problem": true}]`.
    [[nodiscard]] Text CheckRows(const Text& ConnectionString) const;

private:
    struct Table;
};

} // namespace corveth
