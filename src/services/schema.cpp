#include "services/schema.h"

#include "platform/data/definition.h"
#include "platform/data/provider.h"
#include "services/row_check.h"
#include "services/schema_text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace corveth {
namespace {

constexpr const char* source = "Corveth.Schema";

/// What a message calls the database.
TextView nameOf(const data::ConnectionSettings& settings) {
    const TextView file = settings.value("Data Source");
    return file.empty() ? settings.value("Database") : file;
}

std::vector<Value> run(data::Session& session, TextView sql) {
    std::vector<Value> cells;
    session.prepare(sql, {})->run({}, &cells);
    return cells;
}

std::int32_t versionIn(data::Session& session) {
    if (session.table(versionTable) == nullptr) return 0;
    const std::vector<Value> cells = run(session, fmt::format("Select Version From {}", versionTable));
    return cells.empty() ? 0 : toLong(cells.front());
}

void makeTables(data::Session& session, const data::ConnectionSettings& settings) {
    try {
        session.begin(1);
        for (const Text& statement : settings.provider->define(wholeDefinition()))
            run(session, statement);
        run(session, fmt::format("Insert Into {} Values ({})", versionTable, schemaVersion));
        session.commit(1);
    } catch (const Error& error) {
        throw Error(error.number, error.source,
                    fmt::format("The tables of {} cannot be made: {}", nameOf(settings), error.description));
    }
}

/// Why nothing can be made where there is something already.
Text occupiedBy(const data::ConnectionSettings& settings) {
    const TextView name = nameOf(settings);
    std::int32_t version = 0;
    try {
        version = versionIn(*settings.provider->open(settings));
    } catch (const Error& unreadable) {
        return fmt::format("{} exists already. {}", name, unreadable.description);
    }
    if (version == 0) return fmt::format("{} exists already and has none of the tables of this system.", name);
    if (version > schemaVersion) {
        return fmt::format("{} has its tables already, of version {}, which is newer than this build's {}.", name,
                           version, schemaVersion);
    }
    return fmt::format("{} has its tables already, of version {}.", name, version);
}

void requireVersion(std::int32_t version, TextView name) {
    if (version == schemaVersion) return;
    if (version == 0)
        throw Error(errors::application, source, fmt::format("{} has none of the tables of this system.", name));
    const bool isOlder = version < schemaVersion;
    throw Error(errors::application, source,
                fmt::format("The tables of {} are of version {}, {} than this build's {}.{}", name, version,
                            isOlder ? "older" : "newer", schemaVersion,
                            isOlder ? " A dump of them, made by the build that they are of, can be loaded into a "
                                      "database that this one makes."
                                    : ""));
}

} // namespace

data::Definition wholeDefinition() {
    data::Definition definition;
    for (const SchemaText& file : schemaTexts())
        definition.read(file.file, file.text);
    return definition;
}

void createDatabase(TextView connectionString) {
    const data::ConnectionSettings settings = data::parseConnectionString(connectionString);
    std::function<void()> takeAway;
    try {
        takeAway = settings.provider->create(settings);
    } catch (const Error& error) {
        if (error.number != errors::fileExists) throw;
        throw Error(errors::fileExists, source, occupiedBy(settings));
    }
    try {
        makeTables(*settings.provider->open(settings), settings);
    } catch (...) {
        takeAway();
        throw;
    }
}

std::int32_t databaseVersion(TextView connectionString) {
    const data::ConnectionSettings settings = data::parseConnectionString(connectionString);
    return versionIn(*settings.provider->open(settings));
}

void checkDatabase(TextView connectionString) {
    const data::ConnectionSettings settings = data::parseConnectionString(connectionString);
    requireVersion(versionIn(*settings.provider->open(settings)), nameOf(settings));
}

void requireTables(data::Session& session, TextView connectionString) {
    requireVersion(versionIn(session), nameOf(data::parseConnectionString(connectionString)));
}

void Schema::Create(const Text& ConnectionString) {
    createDatabase(ConnectionString);
}

std::int32_t Schema::Version(const Text& ConnectionString) const {
    return databaseVersion(ConnectionString);
}

void Schema::Check(const Text& ConnectionString) const {
    checkDatabase(ConnectionString);
}

Text Schema::CheckRows(const Text& ConnectionString) const {
    auto list = nlohmann::ordered_json::array();
    for (const Finding& finding : checkRows(ConnectionString)) {
        list.push_back({{"check", finding.check},
                        {"table", finding.table},
                        {"key", finding.key},
                        {"finding", finding.what},
                        {"problem", finding.isProblem}});
    }
    // Other programs may have written texts that are not well-formed.
    return list.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

struct Schema::Table {
    static constexpr MemberRow members[] = {
        method<&Schema::Create>("Create", "ConnectionString"),
        method<&Schema::Version>("Version", "ConnectionString"),
        method<&Schema::Check>("Check", "ConnectionString"),
        method<&Schema::CheckRows>("CheckRows", "ConnectionString"),
    };
};
constinit const ClassInfo Schema::description = describe<Schema, Schema::Table>("Corveth");

} // namespace corveth
