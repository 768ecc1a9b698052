#include "cli/files.h"

#include "common/late_bound.h"

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace corveth::cli {

using client::Failure;
namespace fs = std::filesystem;

namespace {

[[noreturn]] void failAccess(const std::string& what, int cause = 0) {
    const std::string why = cause == 0 ? std::string() : ": " + std::generic_category().message(cause);
    throw Failure(75, "corveth", fmt::format("Path/File access error: {}{}", what, why));
}

/// Fails for a file that is not there or cannot be read.
std::ifstream openedFile(const std::string& path) {
    std::error_code error;
    if (!fs::exists(path, error)) throw Failure(53, "corveth", "File not found: " + path);
    std::ifstream file(path, std::ios::binary);
    if (!file) failAccess(path, errno);
    if (fs::is_directory(path, error)) failAccess(path, EISDIR);
    return file;
}

bool mayBeReplaced(const std::string& path, const OutputRule& rule) {
    if (rule.existing != OutputRule::Existing::isReplacedWhenAlike) {
        return rule.existing == OutputRule::Existing::isReplaced;
    }
    const std::string_view beginning = rule.beginning;
    std::ifstream file(path, std::ios::binary);
    std::string first(beginning.size(), '\0');
    file.read(first.data(), static_cast<std::streamsize>(first.size()));
    if (file.bad() || !file.is_open()) failAccess(path, errno);
    return file.gcount() == 0 || first == beginning;
}

/// Beside the file, so that it can take its name; shorter than the longest name there may be.
std::string unfinishedName(const fs::path& path) {
    constexpr std::size_t longest = 200;
    return (path.parent_path() / path.filename().string().substr(0, longest)).string() + ".part-XXXXXX";
}

/// What an interruption takes away: all that a handler of signals may look at.
std::atomic<const char*> interruptible = nullptr;

extern "C" void takeAwayAndEnd(int signal) {
    if (const char* path = interruptible) ::unlink(path);
    ::raise(signal); // whose handling is the system's own again
}

/// Whoever asked that a signal be ignored is heeded.
void takeAwayWhenInterrupted(const char* path) noexcept {
    interruptible = path;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
        action.sa_handler = takeAwayAndEnd;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

std::string fileContent(const std::string& path) {
    std::ifstream file = openedFile(path);
    std::string content(std::istreambuf_iterator<char>(file), {});
    if (file.bad()) failAccess(path);
    return content;
}

void requireReadable(const std::string& path) {
    openedFile(path);
}

PrivateFile::PrivateFile() {
    std::error_code error;
    path_ = (fs::temp_directory_path(error) / "corveth-XXXXXX").string();
    takeAwayWhenInterrupted(path_.data());
    const int file = error ? -1 : ::mkostemp(path_.data(), O_CLOEXEC);
    if (file < 0) {
        const int cause = error ? error.value() : errno;
        interruptible = nullptr;
        failAccess(path_, cause);
    }
    ::close(file);
}

PrivateFile::~PrivateFile() {
    interruptible = nullptr;
    ::unlink(path_.c_str());
}

InputFile::InputFile(const std::string& path) : source_(&std::cin) {
    if (path == "-") return;
    file_ = openedFile(path);
    source_ = &file_;
    std::error_code error;
    if (fs::is_regular_file(path, error)) size_ = fs::file_size(path, error);
    if (error) size_ = 0;
}

bool InputFile::nextLine(std::string& line) {
    if (!std::getline(*source_, line)) {
        if (source_->bad()) throw Failure(75, "corveth", fmt::format("reading failed after line {}", lines_));
        return false;
    }
    ++lines_;
    bytesRead_ += line.size() + 1;
    return true;
}

OutputFile::OutputFile(const std::string& path, const OutputRule& rule)
    : path_(path == "-" ? "" : path), rule_(rule), file_(STDOUT_FILENO) {
    if (path_.empty()) return;
    std::error_code error;
    const auto status = fs::status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        file_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (file_ < 0) failAccess(path, errno);
        return;
    }
    if (fs::exists(status)) {
        if (!mayBeReplaced(path, rule)) failExisting();
        path_ = fs::canonical(path).string(); // the file that a link leads to, not the link
    }
    std::signal(SIGXFSZ, SIG_IGN); // a limit on the size of files is a failure with words
    unfinished_ = unfinishedName(path_);
    takeAwayWhenInterrupted(unfinished_.data());
    file_ = ::mkostemp(unfinished_.data(), O_CLOEXEC); // for its owner only
    if (file_ >= 0) return;
    interruptible = nullptr;
    failAccess(path, errno);
}

OutputFile::~OutputFile() {
    if (file_ > STDERR_FILENO) ::close(file_);
    if (unfinished_.empty()) return;
    interruptible = nullptr;
    ::unlink(unfinished_.c_str());
}

void OutputFile::fail(int cause) const {
    failAccess(path_.empty() ? "standard output" : path_, cause);
}

void OutputFile::failExisting() const {
    throw Failure(58, "corveth", fmt::format("File already exists: {} {}", path_, rule_.refusal));
}

void OutputFile::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(file_, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            fail(errno);
        }
    }
}

/// A file that has come to be there meanwhile is not replaced by one that may not replace it.
void OutputFile::takeName() const {
    if (rule_.existing == OutputRule::Existing::isKept) {
        if (::renameat2(AT_FDCWD, unfinished_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0) return;
        if (errno == EEXIST) failExisting();
        if (errno != EINVAL && errno != ENOSYS) fail(errno);
        // A file system that cannot do both in one.
        std::error_code error;
        if (fs::exists(fs::symlink_status(path_, error))) failExisting();
    }
    if (::rename(unfinished_.c_str(), path_.c_str()) != 0) fail(errno);
}

void OutputFile::complete() {
    if (unfinished_.empty()) return;
    if (!rule_.isPrivate) {
        const mode_t withheld = ::umask(0);
        ::umask(withheld);
        if (::fchmod(file_, 0666 & ~withheld) != 0 && errno != EPERM) fail(errno); // a file system may know no rights
    }
    // On the disk before it takes the place of an older one.
    if (::fsync(file_) != 0) fail(errno);
    if (::close(std::exchange(file_, STDOUT_FILENO)) != 0) fail(errno);
    takeName();
    interruptible = nullptr;
    unfinished_.clear();
}

} // namespace corveth::cli
