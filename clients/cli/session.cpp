#include "cli/session.h"

#include "cli/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>

namespace corveth::cli {

using client::Failure;
using client::Variant;

namespace {

constexpr std::uint32_t applicationError = 0x80040001U;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// True when one of the parts between semicolons assigns to one of the keywords.
bool assignsAny(std::string_view text, std::initializer_list<std::string_view> keywords) {
    while (!text.empty()) {
        const std::string_view part = text.substr(0, text.find(';'));
        if (const auto equals = part.find('='); equals != std::string_view::npos) {
            const std::string_view keyword = trimmed(part.substr(0, equals));
            for (const std::string_view known : keywords) {
                if (equalNoCase(keyword, known)) return true;
            }
        }
        text.remove_prefix(std::min(text.size(), part.size() + 1));
    }
    return false;
}

/// What says where a database is. The provider may be missing, which the server then says: nobody means a file of such
/// a name.
bool isConnectionString(std::string_view text) {
    return assignsAny(text, {"Provider", "Data Source", "Host", "Database"});
}

std::string quoted(const std::string& value) {
    std::string text = "\"";
    for (const char c : value) {
        text += c;
        if (c == '"') text += c;
    }
    return text + "\"";
}

} // namespace

Library::Library() : server_(client::Server::load()), types_(server_.create("Corveth.TypeLibrary")) {}

const ClassModel& Library::model(const std::string& className) {
    const std::string key = foldCase(className);
    if (const auto found = models_.find(key); found != models_.end()) return found->second;
    return models_.emplace(key, ClassModel::parse(typeText("Roles", {className}))).first->second;
}

std::string Library::typeText(const char* name, const client::Arguments& arguments) const {
    return std::get<std::string>(types_.call(name, arguments));
}

std::string connectionString(const std::string& database) {
    if (isConnectionString(database)) return database;
    return "Provider=SQLite;Data Source=" + quoted(database);
}

FailureLog::FailureLog(const std::string& database) : database_(connectionString(database)) {
    if (assignsAny(database_, {"Log"})) return;
    try {
        file_.emplace();
    } catch (const Failure&) {
        return; // without it less is told, and everything else works
    }
    database_ += (database_.ends_with(';') ? "Log=" : ";Log=") + quoted(file_->path());
}

std::string FailureLog::words(std::string_view className) const {
    std::string found;
    if (!file_) return found;
    const std::string content = fileContent(file_->path());
    // Lines of time, class, operation and words, parted by tabs.
    for (std::string_view rest = content; !rest.empty();) {
        std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        std::vector<std::string_view> parts;
        for (int i = 0; i < 3 && line.find('\t') != std::string_view::npos; ++i) {
            parts.push_back(line.substr(0, line.find('\t')));
            line.remove_prefix(parts.back().size() + 1);
        }
        if (parts.size() != 3 || parts[1] != className) continue;
        found += fmt::format("{}{}: {}", found.empty() ? "" : "; ", parts[2], line);
    }
    return found;
}

Session::Session(Library& library, const std::string& database) : library_(library) {
    const std::string text = connectionString(database);
    library.create("Corveth.Schema").call("Check", {text});
    desktop_ = library.create("Corveth.Desktop");
    service_ = library.create("Corveth.DbService");
    boxesBefore_ = std::get<std::int32_t>(desktop_.get("MessageBoxCount"));
    connection_ = library.create("ADODB.Connection");
    connection_.call("Open", {text});
    root_ = library.create("prjCorveth.CRM");
    root_.call("UseConnection", {connection_});
}

Session::~Session() = default;

std::string Session::lastId() const {
    const Variant id = service_.get("LastId");
    const auto* text = std::get_if<std::string>(&id);
    return text == nullptr ? std::string() : *text;
}

void Session::requireNoMessageBox() const {
    if (std::get<std::int32_t>(desktop_.get("MessageBoxCount")) == boxesBefore_) return;
    throw Failure(applicationError, "message box", std::get<std::string>(desktop_.get("LastMessageBox")));
}

Transaction::Transaction(const Session& session) : session_(session) {
    session_.connection().call("BeginTrans");
}

Transaction::~Transaction() {
    if (!isOpen_) return;
    try {
        session_.connection().call("RollbackTrans");
    } catch (const Failure& failure) {
        // What made it necessary is on its way to be reported; the engine drops what was never committed.
        fmt::print(stderr, "corveth: the changes could not be rolled back: {}\n", failure.description());
    }
}

void Transaction::commit() {
    session_.requireNoMessageBox();
    session_.connection().call("CommitTrans");
    isOpen_ = false;
}

} // namespace corveth::cli
