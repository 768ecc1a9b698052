#pragma once

#include "support/temporary_folder.h"

#include <atomic>
#include <thread>
#include <vector>

namespace corveth::test {

/// Stands between a client and a server, both on sockets, and hands on what either sends until it is told otherwise.
class Proxy {
public:
    /// Which way bytes go.
    enum Way : unsigned char { toServer, toClient };

    explicit Proxy(const Text& serverFolder);
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;
    ~Proxy();

    /// What a client takes for the server's folder.
    [[nodiscard]] Text folder() const { return folder_.path().string(); }

    /// Every connection is cut when `bytes` more have gone that way.
    void cutAfter(Way way, std::int64_t bytes);
    /// Nothing more comes through from then on, either way, and nobody is told.
    void swallowAfter(Way way, std::int64_t bytes);
    /// How many bytes have gone.
    [[nodiscard]] std::int64_t passed(Way way) const { return passed_[way]; }

private:
    struct Pair {
        int client, server;
    };
    void work();
    [[nodiscard]] bool accept(std::vector<Pair>& pairs) const;
    /// False when the connection is over.
    bool handOn(const Pair& pair, Way way);

    TemporaryFolder folder_;
    Text server_;
    int listener_;
    int waker_[2];
    std::atomic<bool> isQuiet_ = false; ///< at the limit: it swallows, it does not cut
    std::atomic<std::int64_t> passed_[2] = {0, 0};
    std::atomic<std::int64_t> limit_[2];
    std::thread thread_;
};

} // namespace corveth::test
