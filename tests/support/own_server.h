#pragma once

#include "platform/automation/text.h"

#include <chrono>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace corveth::test {

/// A PostgreSQL server that belongs to one test, which may do to it what it likes; it goes with the object.
class OwnServer {
public:
    OwnServer();
    OwnServer(const OwnServer&) = delete;
    OwnServer& operator=(const OwnServer&) = delete;
    ~OwnServer();

    [[nodiscard]] const Text& folder() const noexcept { return folder_; }
    [[nodiscard]] Text connectionString(TextView database) const;
    /// The server's own process; its children serve the connections.
    [[nodiscard]] pid_t process() const;

    /// Sends the server `signal`, and waits until it is gone.
    void end(int signal) const;
    /// The server's process alone; waits until its children have noticed.
    void kill() const;
    /// The server and all of its children at once, as when a machine goes off.
    void crash() const;
    /// Returns when it takes connections.
    void start() const;
    /// Begins to recover its data and never comes to an end of it.
    void startRecovering() const;
    void stopRecovering() const;
    /// A line of its settings, for the next start.
    void configure(const Text& setting) const;
    /// Who may come in how, before the rules that there are; from the next start on.
    void putRule(const Text& rule) const;
    /// Writes a file among its data as the server's user must have it.
    void writeData(const Text& name, const Text& content) const;

private:
    Text folder_;
};

/// Runs a program to its end; throws when it fails.
void runProgram(const std::vector<Text>& words);

/// Waits until `isTrue`; false when that takes too long.
template <class Condition>
bool eventually(const Condition& isTrue) {
    for (int i = 0; i < 6000; ++i) {
        if (isTrue()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

} // namespace corveth::test
