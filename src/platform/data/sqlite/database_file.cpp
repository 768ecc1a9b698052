#include "platform/data/sqlite/database_file.h"

#include "platform/data/sqlite/error.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
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

DatabaseFile::DatabaseFile(Text path) : path_(std::move(path)), logPath_(beside(path_, "-wal")), looked_(Clock::now()) {
    struct stat info {};
    if (::stat(path_.c_str(), &info) == 0) file_ = {info.st_dev, info.st_ino};
    // A database that is not in the log's mode has none.
    if (::stat(logPath_.c_str(), &info) == 0) log_ = {info.st_dev, info.st_ino};
}

void DatabaseFile::requireForWriting() {
    requireDatabase();
    requireLog();
}

void DatabaseFile::requireForReading() {
    if (Clock::now() - looked_ >= readingInterval) requireDatabase();
}

bool DatabaseFile::hasLoggedChanges() const noexcept {
    struct stat info {};
    return ::stat(logPath_.c_str(), &info) == 0 && info.st_size > 0;
}

void DatabaseFile::requireDatabase() {
    struct stat info {};
    if (::stat(path_.c_str(), &info) != 0 || Identity{info.st_dev, info.st_ino} != file_) {
        failFor(path_, "has been moved, replaced or deleted");
    }
    if (info.st_size == 0) failFor(path_, "has been emptied");
    looked_ = Clock::now();
}

void DatabaseFile::requireLog() const {
    struct stat info {};
    if (log_ == Identity{}) return;
    if (::stat(logPath_.c_str(), &info) != 0 || Identity{info.st_dev, info.st_ino} != log_) {
        failFor(logPath_, "has been moved, replaced or deleted");
    }
}

} // namespace corveth::data::sqlite
