// Measures the business objects beside the raw engine interface doing the same work in the same run.

#include "operations.h"
#include "report.h"
#include "server_world.h"
#include "sqlite_world.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <span>

namespace {

using namespace corveth::bench;

constexpr Operation operations[] = {
    {"load a note by key, cold", Measure::ratio, 1.25, &loadCold},
    {"load a note by key, 500 hot in a transaction", Measure::ratio, 1.5, &loadHot},
    {"save a new note, autocommit", Measure::ratio, 1.25, &saveNew},
    {"save a new note, 1,000 in a transaction", Measure::ratio, 1.4, &saveNewInTransaction},
    {"save an existing note, autocommit", Measure::ratio, 1.25, &saveExisting},
    {"save an existing note, 1,000 in a transaction", Measure::ratio, 1.3, &saveExistingInTransaction},
    {"list the 1,000 notes of a link", Measure::ratio, 1.3, &listOfLink},
    {"list 1,000 contacts", Measure::ratio, 1.4, &contactList},
    {"load a contact with its company", Measure::ratio, 1.4, &loadContact},
    {"save a contact, autocommit", Measure::ratio, 1.25, &saveContact},
    {"save a contact, 200 in a transaction", Measure::ratio, 1.4, &saveContactInTransaction},
    {"read and store 5 MB of bytes", Measure::ratio, 1.3, &replacePicture},
    {"store a new file of 5 MB", Measure::ratio, 1.3, &storeNewFile},
    {"store a file of 5 MB again", Measure::ratio, 1.3, &storeFileAgain},
    {"read a file of 5 MB", Measure::ratio, 1.3, &readFile},
    {"working hours of ten years, 100 exceptions", Measure::ratio, 1.45, &hoursOfTenYears},
    {"add 20,000 working hours, 100 exceptions", Measure::ratio, 1.45, &addManyHours},
    {"save a task of 1,111 rows and sum up", Measure::ratio, 1.4, &saveTask},
    {"save a task and sum up, 50 in a transaction", Measure::ratio, 1.6, &saveTasksInTransaction},
    {"property get through Invoke", Measure::difference, 100, &propertyGet},
    {"property let through Invoke", Measure::difference, 100, &propertyLet},
    {"method call through Invoke", Measure::difference, 100, &methodCall},
    {"method call with a text through Invoke", Measure::difference, 100, &methodCallWithText},
};

constexpr Operation serverOperations[] = {
    {"load a note by key", Measure::ratio, 1.3, &loadCold},
    {"load a note by key, 500 hot in a transaction", Measure::ratio, 1.3, &loadHot},
    {"save a new note, autocommit", Measure::ratio, 1.5, &saveNew},
    {"save a new note, 1,000 in a transaction", Measure::ratio, 1.5, &saveNewInTransaction},
    {"save an existing note, autocommit", Measure::ratio, 1.5, &saveExisting},
    {"save an existing note, 1,000 in a transaction", Measure::ratio, 1.5, &saveExistingInTransaction},
    {"load a contact with its company", Measure::ratio, 1.3, &loadContact},
    {"save a contact, autocommit", Measure::ratio, 1.5, &saveContact},
    {"save a contact, 200 in a transaction", Measure::ratio, 1.5, &saveContactInTransaction},
    {"list the 1,000 notes of a link", Measure::ratio, 1.3, &listOfLink},
    {"list 1,000 contacts", Measure::ratio, 1.3, &contactList},
    {"read and store 5 MB of bytes", Measure::ratio, 1.5, &replacePicture},
    {"store a new file of 5 MB", Measure::ratio, 1.3, &storeNewFile},
    {"store a file of 5 MB again", Measure::ratio, 1.3, &storeFileAgain},
    {"read a file of 5 MB", Measure::ratio, 1.3, &readFile},
    {"working hours of ten years, 100 exceptions", Measure::ratio, 1.45, &hoursOfTenYears},
    {"add 20,000 working hours, 100 exceptions", Measure::ratio, 1.45, &addManyHours},
    {"save a task of 1,111 rows and sum up", Measure::ratio, 1.4, &saveTask},
    {"save a task and sum up, 50 in a transaction", Measure::ratio, 1.6, &saveTasksInTransaction},
};

struct Options {
    Size size;
    int rounds = 51;
    std::string filter;
    std::string engine;
    std::string folder;
    std::string server;
    bool isJson = false;
    bool isCpuTime = false;

    [[nodiscard]] Clock clock() const { return isCpuTime ? Clock::cpu : Clock::wall; }
};

bool isAskedFor(const Options& options, const Operation& operation) {
    return std::string_view(operation.name).find(options.filter) != std::string_view::npos;
}

std::vector<const Operation*> chosen(const Options& options, const char* engine, std::span<const Operation> all) {
    std::vector<const Operation*> operations;
    if (!options.engine.empty() && options.engine != engine) return operations;
    for (const Operation& operation : all) {
        if (isAskedFor(options, operation)) operations.push_back(&operation);
    }
    return operations;
}

bool isAmong(const std::vector<const Operation*>& chosen, Pair (*make)(World&)) {
    return std::ranges::any_of(chosen, [&](const Operation* operation) { return operation->make == make; });
}

void measureSqlite(const Options& options, const std::vector<const Operation*>& chosen, Report& report) {
    SqliteWorld world(options.folder, options.size);
    if (isAmong(chosen, &readFile)) report.sqliteFiles = memoryOfFile(world);
    report.sqlite = measure(chosen, world, options.rounds, options.clock());
    world.check();
    if (isAmong(chosen, &contactList)) report.memory = memoryOfContact(world);
}

void measureServer(const Options& options, const std::vector<const Operation*>& chosen, Report& report) {
    std::string server = options.server;
    if (server.empty()) {
        const char* folder = std::getenv("CORVETH_TEST_SERVER"); // NOLINT(concurrency-mt-unsafe): nobody sets it
        if (folder == nullptr || *folder == '\0') {
            std::fputs(
                "PostgreSQL is left out: \"tests/support/server run --on-disk build/corveth_bench\" starts a server "
                "for it, --server names one.\n",
                stderr);
            return;
        }
        server = fmt::format("host='{}' user=corveth dbname=postgres", folder);
    }
    ServerWorld world(server, options.server.empty(), options.size);
    if (isAmong(chosen, &readFile)) report.serverFiles = memoryOfFile(world);
    report.server = measure(chosen, world, options.rounds, options.clock());
    report.serverDescription = world.description();
    world.check();
}

int run(const Options& options) {
    const auto sqlite = chosen(options, "sqlite", operations);
    const auto server = chosen(options, "postgresql", serverOperations);
    if (sqlite.empty() && server.empty()) {
        throw std::runtime_error("no operation's name holds \"" + options.filter + "\"");
    }
    Report report;
    if (!sqlite.empty()) measureSqlite(options, sqlite, report);
    if (!server.empty()) measureServer(options, server, report);
    std::fputs((options.isJson ? asJson(report) : asTable(report)).c_str(), stdout);
    return 0;
}

int parseAndRun(int argc, char** argv) {
    Options options;
    CLI::App app("Measures the business objects beside the raw engine interface: the same work on two databases that "
                 "begin alike, in rounds of shuffled order. A figure is taken inside each round, its median is shown: "
                 "our time divided by the raw time, or nanoseconds more.",
                 "corveth_bench");
    app.add_option("--rounds", options.rounds, "How often each operation is measured")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--filter", options.filter, "Only operations whose name holds this text");
    app.add_option("--engine", options.engine, "Only this engine")->check(CLI::IsMember({"sqlite", "postgresql"}));
    app.add_option(
        "--server", options.server,
        "The PostgreSQL server, as psql takes it (\"host=.. user=..\"): two databases are made there for the "
        "time (default: the one that tests/support/server has started)");
    app.add_option("--notes", options.size.notes, "Notes in the database")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--contacts", options.size.contacts, "Contacts in the database")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--folder", options.folder,
                   "Where the databases are made for the time (default: the system's "
                   "temporary folder)")
        ->check(CLI::ExistingDirectory);
    app.add_flag("--cpu", options.isCpuTime,
                 "CPU time instead of the clock: for a busy machine; leaves out the waiting for the disk");
    app.add_flag("--json", options.isJson, "For tools instead of people");
    CLI11_PARSE(app, argc, argv);
    return run(options);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return parseAndRun(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "corveth_bench: %s\n", failure.what());
    } catch (...) {
        std::fputs("corveth_bench: failed\n", stderr);
    }
    return 1;
}
