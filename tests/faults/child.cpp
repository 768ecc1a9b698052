#include "faults/child.h"

#include "platform/automation/error.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace corveth::test {

namespace {

/// In one call, which the receiver sees whole or not at all.
void writeLine(int file, TextView line) {
    const Text bytes = Text(line) + '\n';
    if (::write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) _exit(2);
}

[[noreturn]] void runChild(int file, const std::function<void(const Child::Report&)>& action) {
    int status = 0;
    try {
        action([file](TextView line) { writeLine(file, line); });
    } catch (...) {
        writeLine(file, "failed: " + currentError().description);
        status = 1;
    }
    _exit(status);
}

} // namespace

Child::Child(const std::function<void(const Report&)>& action) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ == 0) {
        ::close(ends[0]);
        runChild(ends[1], action);
    }
    ::close(ends[1]);
    pipe_ = ends[0];
}

Child::~Child() {
    if (process_ > 0) {
        kill();
        wait();
    }
    ::close(pipe_);
}

bool Child::readLine(Text& line) {
    for (;;) {
        if (const auto end = read_.find('\n'); end != Text::npos) {
            line = read_.substr(0, end);
            read_.erase(0, end + 1);
            return true;
        }
        char bytes[4096];
        const ssize_t count = ::read(pipe_, bytes, sizeof bytes);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        read_.append(bytes, static_cast<std::size_t>(count));
    }
}

void Child::kill() const {
    ::kill(process_, SIGKILL);
}

int Child::wait() {
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Text inChild(const std::function<void(const Child::Report&)>& action) {
    Child child(action);
    Text all;
    for (Text line; child.readLine(line);)
        all += line + '\n';
    const int status = child.wait();
    if (status != 0) all += "ended with status " + std::to_string(status) + '\n';
    return all;
}

} // namespace corveth::test
