#pragma once

#include <csignal>
#include <ctime>

namespace corveth {

/// Keeps a write that fails from ending the process: a pipe that nobody reads and a file at its size limit send a
/// signal to the thread that writes. Lives on the stack of that thread, around the write.
class WriteSignals {
public:
    WriteSignals() noexcept {
        sigset_t waiting;
        sigpending(&waiting);
        sigemptyset(&held_);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            // One that waits already is not of this write.
            if (sigismember(&waiting, signal) == 0) sigaddset(&held_, signal);
        }
        pthread_sigmask(SIG_BLOCK, &held_, &before_);
    }
    WriteSignals(const WriteSignals&) = delete;
    WriteSignals& operator=(const WriteSignals&) = delete;
    ~WriteSignals() {
        constexpr timespec atOnce{};
        while (sigtimedwait(&held_, nullptr, &atOnce) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    sigset_t held_{};
    sigset_t before_{};
};

} // namespace corveth
