#include "platform/data/postgresql/server_link.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fmt/format.h>
#include <libpq-fe.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

namespace corveth::data::postgresql {

namespace {

/// A server that was told how long a statement may take gets so much longer to say that it took too long.
constexpr std::chrono::seconds grace{5};
/// To connect, when no other time is given.
constexpr std::int32_t connectTimeout = 10;

struct Keyword {
    const char* word;
    const char* engineWord;
};
constexpr std::array keywordNames = std::to_array<Keyword>({
    {"Host", "host"},
    {"Port", "port"},
    {"Database", "dbname"},
    {"User ID", "user"},
    {"Password", "password"},
    {"SSL Mode", "sslmode"},
});

/// Found out within about a minute: a server that is gone without a word.
constexpr std::array keepalive = std::to_array<Keyword>({
    {"keepalives", "1"},
    {"keepalives_idle", "30"},
    {"keepalives_interval", "10"},
    {"keepalives_count", "3"},
    {"tcp_user_timeout", "60000"},
});

/// A wait for a lock ends a little before the statement would, so that the server can say what it was.
Text timeLimits(std::int32_t seconds) {
    constexpr std::int64_t earlier = 200, asLittleAsPossible = 1;
    const std::int64_t milliseconds = std::int64_t{seconds} * 1000;
    return fmt::format("set_config('statement_timeout', '{}ms', false), set_config('lock_timeout', '{}ms', false)",
                       milliseconds, milliseconds > 0 ? milliseconds - earlier : asLittleAsPossible);
}

/// With which a server that goes down takes its leave, some of it as a mere warning.
constexpr TextView leaving = "57P";

/// Everything else that a server remarks is of no interest to a program.
void keepEnd(void* last, const PGresult* notice) {
    const char* severity = PQresultErrorField(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
    const char* state = PQresultErrorField(notice, PG_DIAG_SQLSTATE);
    const bool isEnd = (severity != nullptr && (TextView(severity) == "FATAL" || TextView(severity) == "PANIC")) ||
                       (state != nullptr && TextView(state).starts_with(leaving));
    if (isEnd) *static_cast<Text*>(last) = failureOf(notice).words;
}

/// A large value goes out piece by piece, and each time the library moves all that is left of it. On this machine
/// pieces can be as large as the system lets them; across a network it finds their size by itself.
void widenSocket(int socket) noexcept {
    constexpr int wanted = 4 * 1024 * 1024;
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    const bool isKnown = ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    if (isKnown && address.ss_family == AF_UNIX) ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);
}

} // namespace

void Closer::operator()(pg_conn* connection) const noexcept {
    PQfinish(connection);
}

void Closer::operator()(pg_result* result) const noexcept {
    PQclear(result);
}

ServerLink::ServerLink(const ConnectionSettings& settings, TextView database)
    : timeout_(settings.timeout.value_or(defaultTimeout)) {
    std::vector<const char*> words = {"client_encoding", "application_name", "connect_timeout"};
    const Text seconds = std::to_string(timeout_ > 0 ? timeout_ : connectTimeout);
    std::vector<const char*> values = {"UTF8", "corveth", seconds.c_str()};
    for (const auto& [word, value] : keepalive) {
        words.push_back(word);
        values.push_back(value);
    }
    std::vector<Text> given;
    given.reserve(keywordNames.size());
    for (const auto& [word, engineWord] : keywordNames) {
        const bool isOther = TextView(word) == "Database" && !database.empty();
        const TextView value = isOther ? database : settings.value(word);
        if (value.empty()) continue; // the engine has its own for it: a password file, say
        words.push_back(engineWord);
        values.push_back(given.emplace_back(value).c_str());
    }
    words.push_back(nullptr);
    values.push_back(nullptr);
    connection_.reset(PQconnectdbParams(words.data(), values.data(), 0));
    const TextView name = database.empty() ? settings.value("Database") : database;
    if (PQstatus(connection_.get()) != CONNECTION_OK) {
        // Of which the library only says that it was not supplied.
        const bool isAskedFor = PQconnectionNeedsPassword(connection_.get()) != 0;
        fail(fmt::format("The database \"{}\" cannot be opened: {}{}", name, failureOf(connection_.get()).words,
                         isAskedFor ? ": no Password is given, and the password file (~/.pgpass) has none" : ""));
    }
    PQsetNoticeReceiver(connection_.get(), &keepEnd, &lastNotice_);
    // So that a server that stops reading cannot keep us waiting for ever either.
    if (PQsetnonblocking(connection_.get(), 1) != 0 || PQenterPipelineMode(connection_.get()) != 1) {
        fail(failureOf(connection_.get()).words);
    }
    widenSocket(PQsocket(connection_.get()));
    configure(settings);
}

void ServerLink::configure(const ConnectionSettings& settings) {
    Text statement = "select set_config('standard_conforming_strings', 'on', false), " + timeLimits(timeout_);
    // A user's own schema comes first when there is one. The schema of the dialect's functions is not meant, whatever
    // the user is called: tables in it would be found by nobody else.
    statement += ", set_config('search_path', case when current_user = 'corveth' then "
                 "regexp_replace(current_setting('search_path'), '\"[$]user\"[ ]*,[ ]*', '') "
                 "else current_setting('search_path') end, false)";
    if (settings.isReadOnly) {
        // What is looked at in one transaction is all of one moment.
        statement += ", set_config('default_transaction_read_only', 'on', false), "
                     "set_config('default_transaction_isolation', 'repeatable read', false)";
    }
    ask(statement.c_str());
}

void ServerLink::setTimeout(std::int32_t seconds) {
    timeout_ = seconds;
    ask(timeoutStatement().c_str());
}

Text ServerLink::timeoutStatement() const {
    return "select " + timeLimits(timeout_);
}

Result ServerLink::ask(const char* statement) {
    const Command command{.kind = Command::Kind::once, .text = statement};
    Answers answers = exchange({&command, 1});
    if (answers.failure) fail(answers.failure->words);
    return std::move(answers.results.front());
}

ServerLink::State ServerLink::state() const noexcept {
    if (!lostBecause_.empty()) return State::lost;
    switch (PQtransactionStatus(connection_.get())) {
    case PQTRANS_INTRANS:
    case PQTRANS_ACTIVE:
        return State::inTransaction;
    case PQTRANS_INERROR:
        return State::failedTransaction;
    default:
        return State::idle;
    }
}

Text ServerLink::lossWords() const {
    return "The connection to the server is lost and has to be opened again: " + lostBecause_;
}

bool ServerLink::isAlive() {
    if (!lostBecause_.empty()) return false;
    pollfd waiting{PQsocket(connection_.get()), POLLIN, 0};
    if (::poll(&waiting, 1, 0) <= 0) return true;
    if (PQconsumeInput(connection_.get()) == 0 || PQstatus(connection_.get()) == CONNECTION_BAD) lose({});
    // Makes the library read what has come.
    static_cast<void>(PQisBusy(connection_.get()));
    if (!lastNotice_.empty()) lose({});
    return lostBecause_.empty();
}

void ServerLink::requireAlive() {
    if (!isAlive()) fail(lossWords());
}

void ServerLink::lose(Text words) {
    if (!lostBecause_.empty()) return;
    if (!lastNotice_.empty()) words = lastNotice_; // the library only knows that nobody is there any more
    if (words.empty()) words = failureOf(connection_.get()).words;
    lostBecause_ = std::move(words);
}

void ServerLink::require(int succeeded) {
    if (succeeded != 1) lose({});
}

Answers ServerLink::exchange(std::span<const Command> commands) {
    requireAlive(); // nothing is sent of which nobody would know what became of it
    renewDeadline();
    ++roundTrips_;
    const std::size_t discarded = sendDiscarded();
    for (const Command& command : commands)
        send(command);
    if (lostBecause_.empty()) require(PQpipelineSync(connection_.get()));
    await(false);

    Answers answers;
    answers.results.reserve(commands.size());
    for (std::size_t i = 0; i < discarded; ++i)
        receive(answers.failure);
    const bool wasBegun = !answers.failure;
    for (const Command& command : commands) {
        if (command.kind == Command::Kind::control && !newControls_.empty() &&
            newControls_.front().first == command.text) {
            receive(answers.failure);
            if (!answers.failure) controls_.insert(std::move(newControls_.front()));
            newControls_.erase(newControls_.begin());
        }
        answers.results.push_back(receive(answers.failure));
        if (!answers.failure && lostBecause_.empty()) ++answers.done;
    }
    newControls_.clear();
    receive(answers.failure); // the end of them all
    if (!lostBecause_.empty()) {
        answers.failure = Failure{{}, lossWords()};
    } else if (answers.failure && answers.failure->is(states::unknownStatement)) {
        // A client has made the server forget its statements. Where that was found out first, nothing is done yet.
        const bool wasControl = !controls_.empty() && commands.front().kind == Command::Kind::control;
        controls_.clear();
        if (answers.done == 0 && (!wasBegun || wasControl) && state() == State::idle) return exchange(commands);
    }
    return answers;
}

/// How many were sent. A transaction that has failed would refuse them, and all that comes behind.
std::size_t ServerLink::sendDiscarded() {
    if (state() == State::failedTransaction) return 0;
    for (const Text& name : discarded_) {
        if (lostBecause_.empty()) sendOnce(("deallocate " + name).c_str());
    }
    return std::exchange(discarded_, {}).size();
}

void ServerLink::send(const Command& command) {
    if (!lostBecause_.empty()) return;
    pg_conn* const connection = connection_.get();
    switch (command.kind) {
    case Command::Kind::once:
        sendOnce(command.text);
        break;
    case Command::Kind::control:
        sendControl(command.text);
        break;
    case Command::Kind::prepare:
        require(PQsendPrepare(connection, command.name, command.text, static_cast<int>(command.types.size()),
                              command.types.data()));
        break;
    case Command::Kind::describe:
        require(PQsendDescribePrepared(connection, command.name));
        break;
    case Command::Kind::execute: {
        const Arguments& arguments = *command.arguments;
        require(PQsendQueryPrepared(connection, command.name, static_cast<int>(arguments.values.size()),
                                    arguments.values.data(), arguments.lengths.data(), arguments.formats.data(),
                                    command.wantsBinary ? 1 : 0));
        break;
    }
    }
}

void ServerLink::sendOnce(const char* statement) {
    require(PQsendQueryParams(connection_.get(), statement, 0, nullptr, nullptr, nullptr, nullptr, 0));
}

/// Prepared like any other statement, on the way.
void ServerLink::sendControl(const char* statement) {
    constexpr std::size_t most = 64;
    const auto known = controls_.find(statement);
    const bool isNew = std::ranges::any_of(newControls_, [&](const auto& pair) { return pair.first == statement; });
    if (known == controls_.end() && (isNew || controls_.size() + newControls_.size() >= most)) {
        sendOnce(statement);
        return;
    }
    if (known == controls_.end()) {
        newControls_.emplace_back(statement, fmt::format("control{}", ++lastControl_));
        require(PQsendPrepare(connection_.get(), newControls_.back().second.c_str(), statement, 0, nullptr));
    }
    const Text& name = known == controls_.end() ? newControls_.back().second : known->second;
    if (lostBecause_.empty()) {
        require(PQsendQueryPrepared(connection_.get(), name.c_str(), 0, nullptr, nullptr, nullptr, 0));
    }
}

Result ServerLink::receive(std::optional<Failure>& failure) {
    Result kept;
    for (;;) {
        await(true);
        if (!lostBecause_.empty()) return nullptr;
        Result result(PQgetResult(connection_.get()));
        if (result == nullptr) return kept;
        switch (PQresultStatus(result.get())) {
        case PGRES_FATAL_ERROR:
        case PGRES_BAD_RESPONSE:
            if (!failure) failure = failureOf(result.get());
            kept = nullptr;
            keepEnd(&lastNotice_, result.get());
            if (PQstatus(connection_.get()) == CONNECTION_BAD) lose(failureOf(result.get()).words);
            break;
        case PGRES_PIPELINE_ABORTED:
            kept = nullptr;
            break;
        case PGRES_PIPELINE_SYNC:
            return result;
        default:
            kept = std::move(result);
            break;
        }
    }
}

void ServerLink::renewDeadline() {
    deadline_ = timeout_ > 0 ? Clock::now() + std::chrono::seconds(timeout_) + grace : Clock::time_point::max();
}

void ServerLink::await(bool reading) {
    pg_conn* const connection = connection_.get();
    while (lostBecause_.empty()) {
        const int unsent = PQflush(connection);
        if (unsent < 0) return lose({});
        if (reading ? PQisBusy(connection) == 0 : unsent == 0) return;
        if (PQstatus(connection) == CONNECTION_BAD) return lose({});
        pollfd waiting{PQsocket(connection), static_cast<short>(unsent == 0 ? POLLIN : POLLIN | POLLOUT), 0};
        int milliseconds = -1;
        if (deadline_ != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
            if (left.count() <= 0) {
                return lose(
                    fmt::format("the server has not answered for {} seconds (PostgreSQL)", timeout_ + grace.count()));
            }
            milliseconds = static_cast<int>(left.count());
        }
        const int ready = ::poll(&waiting, 1, milliseconds);
        if (ready < 0 && errno != EINTR) return lose(std::generic_category().message(errno));
        if (ready > 0 && PQconsumeInput(connection) == 0) return lose({});
        // A slow line is no silent server, which limits the time of what it does by itself.
        if (ready > 0) renewDeadline();
    }
}

} // namespace corveth::data::postgresql
