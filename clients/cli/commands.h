#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace corveth::cli {

/// The command line was wrong: exit status 2.
struct WrongUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What the commands take; each reads the members that it names in its help.
struct Request {
    std::string database;
    std::string className;
    std::string key;
    std::string method;
    std::string file;
    std::string statement;
    std::string output;
    std::string today;
    std::vector<std::string> arguments;
    bool asJson = false;
    bool keepsKeys = false;
    bool replaces = false;
    bool stores = false;
};

/// What goes to standard output, and, when the answer is a bad one, to standard error: exit status 1.
struct Result {
    std::string output;
    std::string complaint;

    Result() = default;
    Result(std::string text)
        : output(std::move(text)) {} // NOLINT(google-explicit-constructor): most have no more to say
};

// Each returns what goes to standard output; failures are thrown as client::Failure.

std::string initDatabase(const Request& request);
std::string registerServer(const Request& request);
std::string unregisterServer(const Request& request);
std::string listClasses(const Request& request);
std::string introspect(const Request& request);
std::string showTypeLibrary(const Request& request);
std::string showRecord(const Request& request);
std::string setRecord(const Request& request);
std::string listMembers(const Request& request);
std::string callMethod(const Request& request);
std::string loadFile(const Request& request);
std::string dumpRows(const Request& request);
std::string loadRows(const Request& request);
std::string loadHolidays(const Request& request);
std::string runStatement(const Request& request);
std::string attachFile(const Request& request);
std::string listAttachments(const Request& request);
std::string extractAttachment(const Request& request);
std::string openAttachment(const Request& request);
std::string showTree(const Request& request);
std::string drawGantt(const Request& request);
Result checkRows(const Request& request);

} // namespace corveth::cli
