#pragma once

#include "platform/data/connection_string.h"
#include "platform/data/postgresql/error.h"

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

namespace corveth::data::postgresql {

using Oid = unsigned int;

struct Closer {
    void operator()(pg_conn* connection) const noexcept;
    void operator()(pg_result* result) const noexcept;
};
using Result = std::unique_ptr<pg_result, Closer>;

/// The values of a statement's parameters in the form in which they travel.
struct Arguments {
    std::vector<const char*> values; ///< null for Null
    std::vector<int> lengths;
    std::vector<int> formats; ///< 1 for binary
};

/// One step of a round trip.
struct Command {
    enum class Kind : unsigned char {
        once,    ///< runs `text`, a statement without parameters
        control, ///< the same for one that comes again and again
        prepare, ///< makes `text` the statement `name`
        describe,
        execute,
    };
    Kind kind;
    const char* name = nullptr;
    const char* text = nullptr;
    std::span<const Oid> types{}; // NOLINT(readability-redundant-member-init): the compiler asks for it
    const Arguments* arguments = nullptr;
    bool wantsBinary = false;
};

/// What came of a round trip. The commands behind one that failed were not done.
struct Answers {
    std::vector<Result> results; ///< one a command; null where it was not done
    std::size_t done = 0;        ///< commands that were
    std::optional<Failure> failure;
};

/// The connection to one server. Whatever was asked together takes one round trip. A connection that was lost stays
/// lost, and everything says so.
class ServerLink {
public:
    /// Throws what keeps it from being made. `database` goes before what the settings say, when it is not empty.
    explicit ServerLink(const ConnectionSettings& settings, TextView database = {});

    /// Texts and arguments must stay until it returns. Throws when the connection is lost before anything is sent; what
    /// fails after that is told by the answer.
    [[nodiscard]] Answers exchange(std::span<const Command> commands);
    /// One statement without parameters; throws when it fails.
    Result ask(const char* statement);

    enum class State : unsigned char { idle, inTransaction, failedTransaction, lost };
    [[nodiscard]] State state() const noexcept;
    /// Looks, without asking the server, whether it has hung up.
    [[nodiscard]] bool isAlive();
    /// Throws what ended it when it is not.
    void requireAlive();

    /// Seconds that a statement may take, locks included; 0 for no limit, without waiting for locks.
    void setTimeout(std::int32_t seconds);
    /// What sets it once more, where a rollback took it back.
    [[nodiscard]] Text timeoutStatement() const;
    [[nodiscard]] std::uint64_t roundTrips() const noexcept { return roundTrips_; }
    /// A statement that nobody needs any more; the server hears of it with the next round trip.
    void discard(Text name) { discarded_.push_back(std::move(name)); }

private:
    using Clock = std::chrono::steady_clock;

    void configure(const ConnectionSettings& settings);
    [[nodiscard]] Text lossWords() const;
    void send(const Command& command);
    std::size_t sendDiscarded();
    void sendOnce(const char* statement);
    void sendControl(const char* statement);
    void require(int succeeded);
    /// All results of one command; the last is kept.
    Result receive(std::optional<Failure>& failure);
    void renewDeadline();
    /// Until there is something to read, or all is sent.
    void await(bool reading);
    void lose(Text words);

    std::unique_ptr<pg_conn, Closer> connection_;
    Text lastNotice_; ///< of those that end a connection
    Text lostBecause_;
    std::vector<Text> discarded_;
    std::unordered_map<Text, Text> controls_; ///< control statements that the server knows by a name
    std::vector<std::pair<Text, Text>> newControls_;
    std::uint64_t lastControl_ = 0; ///< no name comes twice, also when the server has forgotten some
    Clock::time_point deadline_;
    std::int32_t timeout_;
    std::uint64_t roundTrips_ = 0;
};

} // namespace corveth::data::postgresql
