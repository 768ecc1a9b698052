#include "support/test_server.h"

#include "services/schema.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <libpq-fe.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace corveth::test {

namespace {

Text connectionStringOf(const Text& database) {
    return fmt::format("Provider=PostgreSQL;Host={};User ID=corveth;Database={}", serverFolder(), inQuotes(database));
}

/// Different for every build, which may make other tables.
Text buildMark() {
    Dl_info library{};
    if (dladdr(reinterpret_cast<const void*>(&createDatabase), &library) == 0) throw std::runtime_error("no library");
    const auto built = std::filesystem::last_write_time(library.dli_fname).time_since_epoch();
    return fmt::format("{:x}", static_cast<std::uint64_t>(built.count()));
}

/// The name of the database that others are copied from, made by whoever comes first.
Text templateDatabase(const ServerConnection& server) {
    Text name = "template_" + buildMark();
    const Text isThere = fmt::format("select 1 from pg_database where datname = '{}'", name);
    if (!server.run(isThere).empty()) return name;
    server.run("select pg_advisory_lock(1)");
    if (server.run(isThere).empty()) {
        const Text unfinished = name + "_unfinished";
        server.run(fmt::format("drop database if exists {} with (force)", unfinished));
        createDatabase(connectionStringOf(unfinished));
        server.run(fmt::format("alter database {} rename to {}", unfinished, name));
    }
    server.run("select pg_advisory_unlock(1)");
    return name;
}

/// As it stands in the double quotes of a name.
Text doubled(TextView name) {
    const Text whole = inQuotes(name);
    return whole.substr(1, whole.size() - 2);
}

Text newName() {
    static std::atomic<int> count = 0;
    return fmt::format("test_{}_{}_{:x}", getpid(), ++count,
                       std::chrono::steady_clock::now().time_since_epoch().count());
}

class ServerDatabase final : public TestDatabase {
public:
    explicit ServerDatabase(bool tables) : name_(newName()) {
        const ServerConnection server("postgres");
        // Copying files costs a quarter of what copying by the server's log does.
        if (tables)
            server.run(
                fmt::format("create database {} template {} strategy file_copy", name_, templateDatabase(server)));
    }
    ~ServerDatabase() override {
        try {
            ServerConnection("postgres")
                .run(fmt::format("drop database if exists \"{}\" with (force)", doubled(name_)));
        } catch (const std::exception& error) {
            fmt::print(stderr, "{}\n", error.what());
        }
    }
    [[nodiscard]] Text connectionString() const override { return connectionStringOf(name_); }
    [[nodiscard]] Text name() const override { return name_; }
    void settle() const override {
        const ServerConnection server("postgres");
        const Text connections = fmt::format("select 1 from pg_stat_activity where datname = '{}'", name_);
        while (!server.run(connections).empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    void rename(TextView name) override {
        const Text mark = newName();
        ServerConnection("postgres")
            .run(fmt::format("alter database \"{}\" rename to \"{}{}\"", name_, doubled(name), mark));
        name_ = Text(name) + mark;
    }
    void remove() override {
        ServerConnection("postgres").run(fmt::format("drop database if exists \"{}\" with (force)", doubled(name_)));
    }

private:
    Text name_;
};

} // namespace

Text serverFolder() {
    const char* folder = std::getenv("CORVETH_TEST_SERVER"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (folder != nullptr && *folder != '\0') return folder;
    throw std::runtime_error("CORVETH_TEST_SERVER names no server. ctest starts one by itself; for a test by hand: "
                             "tests/support/server run build/corveth_tests --gtest_filter=...");
}

ServerConnection::ServerConnection(const Text& database)
    : connection_(PQconnectdb(fmt::format("host='{}' user=corveth dbname={} options='-c client_min_messages=warning'",
                                          serverFolder(), database)
                                  .c_str())) {
    if (PQstatus(connection_) == CONNECTION_OK) return;
    const Text words = PQerrorMessage(connection_);
    PQfinish(connection_);
    throw std::runtime_error(words);
}

ServerConnection::~ServerConnection() {
    PQfinish(connection_);
}

Text ServerConnection::run(const Text& sql) const {
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection_, sql.c_str()), PQclear);
    const auto status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        throw std::runtime_error(sql + ": " + PQerrorMessage(connection_));
    return PQntuples(result.get()) == 0 ? Text() : PQgetvalue(result.get(), 0, 0);
}

std::unique_ptr<TestDatabase> newServerDatabase(bool tables) {
    return std::make_unique<ServerDatabase>(tables);
}

} // namespace corveth::test
