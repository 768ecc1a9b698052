#include "platform/data/sqlite/database_file.h"

#include "platform/data/sqlite/error.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <system_error>
#include <unistd.h>

namespace corveth::data::sqlite {

namespace {

constexpr const char* source = "ADODB.Connection";
constexpr off_t smallestPage = 512;
constexpr auto readingInterval = std::chrono::milliseconds(100);

[[noreturn]] void failFor(const Text& path, const char* what) {
    throw Error(errors::engine, source,
                "The database cannot be used: its file \"" + path + "\" " + what +
                    " since it was opened. Put it back, or close the connection and open it again.");
}

/// The engine keeps its files beside the database itself, not beside a link to it.
Text beside(const Text& path, const char* suffix) {
    std::error_code notThere;
    const auto database = std::filesystem::canonical(path, notThere);
    return (notThere ? path : database.string()) + suffix;
}

/// Which file stands at `path`, and how long it is. The times are not asked for: once they have been looked at, the
/// system writes them again with every write that follows, which made a save half as dear again.
struct Look {
    explicit Look(const Text& path) noexcept {
        isThere = ::statx(AT_FDCWD, path.c_str(), 0, STATX_INO | STATX_SIZE, &found) == 0;
    }
    [[nodiscard]] FileIdentity identity() const noexcept {
        return isThere ? FileIdentity{makedev(found.stx_dev_major, found.stx_dev_minor), found.stx_ino}
                       : FileIdentity{};
    }

    bool isThere = false;
    struct statx found {};
};

} // namespace

void requireDatabaseFile(const Text& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        const int cause = errno;
        failOpening(path, cause == ENOENT ? "there is no such file" : std::generic_category().message(cause));
    }
    if (S_ISDIR(info.st_mode)) failOpening(path, "it is a folder");
    if (!S_ISREG(info.st_mode)) failOpening(path, "it is not a plain file");
    if (info.st_size == 0) failOpening(path, "the file is empty");
    // The engine would take it for an empty database and write over it.
    if (info.st_size < smallestPage) failOpening(path, "file is not a database");
}

void shareRights(const Text& path) noexcept {
    struct stat info {};
    if (::access(path.c_str(), W_OK) != 0 || ::stat(path.c_str(), &info) != 0) return;
    for (const char* suffix : {"-wal", "-shm"}) {
        const Text file = beside(path, suffix);
        const bool isRefused = ::access(file.c_str(), W_OK) != 0 && errno == EACCES;
        // Where that is not allowed either, the engine says so when it comes to write.
        if (isRefused) static_cast<void>(::chmod(file.c_str(), info.st_mode & 0777U));
    }
}

DatabaseFile::DatabaseFile(Text path)
    : path_(std::move(path)),
      logPath_(beside(path_, "-wal")),
      file_(Look(path_).identity()),
      log_(Look(logPath_).identity()),
      looked_(Clock::now()) {}

void DatabaseFile::requireForWriting() {
    requireDatabase();
    requireLog();
}

void DatabaseFile::requireForReading() {
    if (Clock::now() - looked_ >= readingInterval) requireDatabase();
}

bool DatabaseFile::hasLoggedChanges() const noexcept {
    const Look log(logPath_);
    return log.isThere && log.found.stx_size > 0;
}

void DatabaseFile::requireDatabase() {
    const Look file(path_);
    if (!file.isThere || file.identity() != file_) failFor(path_, "has been moved, replaced or deleted");
    if (file.found.stx_size == 0) failFor(path_, "has been emptied");
    looked_ = Clock::now();
}

void DatabaseFile::requireLog() const {
    // A database that is not in the log's mode has none.
    if (log_ != FileIdentity{} && Look(logPath_).identity() != log_) {
        failFor(logPath_, "has been moved, replaced or deleted");
    }
}

} // namespace corveth::data::sqlite
