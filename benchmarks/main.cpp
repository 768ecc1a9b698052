// Measures the business objects beside the raw engine interface doing the same work in the same run.

#include "operations.h"
#include "report.h"

#include <CLI/CLI.hpp>
#include <cstdio>

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
    {"property get through Invoke", Measure::difference, 100, &propertyGet},
    {"property let through Invoke", Measure::difference, 100, &propertyLet},
    {"method call through Invoke", Measure::difference, 100, &methodCall},
    {"method call with a text through Invoke", Measure::difference, 100, &methodCallWithText},
};

struct Options {
    Size size;
    int rounds = 51;
    std::string filter;
    std::string folder;
    bool isJson = false;
    bool isCpuTime = false;
};

int run(const Options& options) {
    std::vector<const Operation*> chosen;
    for (const Operation& operation : operations) {
        if (std::string_view(operation.name).find(options.filter) != std::string_view::npos)
            chosen.push_back(&operation);
    }
    if (chosen.empty()) throw std::runtime_error("no operation's name holds \"" + options.filter + "\"");

    const TemporaryFolder folder(options.folder);
    World world(folder.path(), options.size);
    const auto results = measure(chosen, world, options.rounds, options.isCpuTime ? Clock::cpu : Clock::wall);
    world.checkNotes();
    std::optional<ContactMemory> memory;
    if (std::string_view("memory per contact").find(options.filter) != std::string_view::npos ||
        std::ranges::any_of(chosen, [](const Operation* operation) { return operation->make == &contactList; })) {
        memory = memoryOfContact(world);
    }
    std::fputs((options.isJson ? asJson(results, memory) : asTable(results, memory)).c_str(), stdout);
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
