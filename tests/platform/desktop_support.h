#pragma once

#include "platform/desktop/process.h"
#include "support/temporary_folder.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace corveth::test {

/// An environment variable, set (or taken away, without a value) until the end of the scope.
class ScopedVariable {
public:
    ScopedVariable(Text name, const std::optional<Text>& value) : name_(std::move(name)) {
        if (const char* const before = std::getenv(name_.c_str())) before_ = before;
        set(value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { set(before_); }

private:
    void set(const std::optional<Text>& value) {
        value ? ::setenv(name_.c_str(), value->c_str(), 1) : ::unsetenv(name_.c_str());
    }
    Text name_;
    std::optional<Text> before_;
};

/// Without the rights that root has over files, until the end of the scope.
class AsNobody {
public:
    AsNobody() : isRoot_(geteuid() == 0 && seteuid(65534) == 0) {}
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;
    ~AsNobody() {
        if (isRoot_ && seteuid(0) != 0) std::abort();
    }

private:
    bool isRoot_;
};

inline Text writeFile(const Text& path, TextView content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}
inline Text writeScript(const Text& path, TextView body) {
    writeFile(path, "#!/bin/sh\n" + Text(body) + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}
inline Text fileContent(const Text& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Whether `condition` came true before anybody would have lost patience.
inline bool waitUntil(const std::function<bool()>& condition) {
    using namespace std::chrono_literals;
    for (auto left = 60s / 10ms; left > 0; --left) {
        if (condition()) return true;
        std::this_thread::sleep_for(10ms);
    }
    return condition();
}

/// What `work` returns in a child process of its own; empty when that ended before its time.
inline Text inChildProcess(const std::function<Text()>& work) {
    int ends[2];
    if (pipe(ends) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        const Text report = work();
        _exit(write(ends[1], report.data(), report.size()) < 0 ? 1 : 0);
    }
    close(ends[1]);
    char report[512];
    const auto length = read(ends[0], report, sizeof report);
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0 && length > 0 ? Text(report, static_cast<std::size_t>(length)) : Text();
}

} // namespace corveth::test
