#include "support/proxy.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace corveth::test {

namespace {

constexpr const char* socketName = "/.s.PGSQL.5432";
constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

sockaddr_un addressIn(const Text& folder) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const Text path = folder + socketName;
    std::memcpy(address.sun_path, path.c_str(), std::min(path.size(), sizeof address.sun_path - 1));
    return address;
}

int newSocket() {
    const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (made < 0) throw std::runtime_error("no socket");
    return made;
}

const sockaddr* plain(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

} // namespace

Proxy::Proxy(const Text& serverFolder) : server_(serverFolder), listener_(newSocket()), limit_{never, never} {
    const sockaddr_un address = addressIn(folder());
    if (::bind(listener_, plain(address), sizeof address) != 0 || ::listen(listener_, 16) != 0 || ::pipe(waker_) != 0) {
        throw std::runtime_error("no proxy in " + folder());
    }
    thread_ = std::thread([this] { work(); });
}

Proxy::~Proxy() {
    ::close(waker_[1]);
    thread_.join();
    ::close(waker_[0]);
    ::close(listener_);
}

void Proxy::cutAfter(Way way, std::int64_t bytes) {
    limit_[way] = passed_[way] + bytes;
}

void Proxy::swallowAfter(Way way, std::int64_t bytes) {
    isQuiet_ = true;
    cutAfter(way, bytes);
}

void Proxy::work() {
    std::vector<Pair> pairs;
    for (;;) {
        std::vector<pollfd> waiting = {{waker_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const Pair& pair : pairs) {
            waiting.push_back({pair.client, POLLIN, 0});
            waiting.push_back({pair.server, POLLIN, 0});
        }
        if (::poll(waiting.data(), waiting.size(), -1) < 0) continue;
        std::vector<Pair> kept;
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            const bool isOpen = (waiting[2 + 2 * i].revents == 0 || handOn(pairs[i], toServer)) &&
                                (waiting[3 + 2 * i].revents == 0 || handOn(pairs[i], toClient));
            if (isOpen) {
                kept.push_back(pairs[i]);
            } else {
                ::close(pairs[i].client);
                ::close(pairs[i].server);
            }
        }
        pairs = std::move(kept);
        if (waiting[0].revents != 0) break;
        if (waiting[1].revents != 0 && !accept(pairs)) break;
    }
    for (const Pair& pair : pairs) {
        ::close(pair.client);
        ::close(pair.server);
    }
}

bool Proxy::accept(std::vector<Pair>& pairs) const {
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) return false;
    const int server = newSocket();
    const sockaddr_un address = addressIn(server_);
    if (::connect(server, plain(address), sizeof address) == 0) {
        pairs.push_back({client, server});
    } else {
        ::close(client);
        ::close(server);
    }
    return true;
}

bool Proxy::handOn(const Pair& pair, Way way) {
    char bytes[65536];
    const ssize_t count = ::recv(way == toServer ? pair.client : pair.server, bytes, sizeof bytes, 0);
    if (count <= 0) return false;
    const bool isOver =
        std::ranges::any_of(std::array{toServer, toClient}, [&](Way each) { return passed_[each] >= limit_[each]; });
    if (isOver) return isQuiet_;
    const auto passing = static_cast<std::size_t>(std::min<std::int64_t>(count, limit_[way] - passed_[way]));
    std::size_t sent = 0;
    while (sent < passing) {
        const ssize_t part =
            ::send(way == toServer ? pair.server : pair.client, bytes + sent, passing - sent, MSG_NOSIGNAL);
        if (part < 0) return false;
        sent += static_cast<std::size_t>(part);
    }
    passed_[way] += static_cast<std::int64_t>(passing);
    return isQuiet_ || passed_[way] < limit_[way];
}

} // namespace corveth::test
