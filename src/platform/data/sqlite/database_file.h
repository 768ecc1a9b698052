#pragma once

#include "platform/automation/error.h"

#include <chrono>
#include <sys/types.h>

namespace corveth::data::sqlite {

/// Throws an engine error with a sentence unless `path` leads to a file that can hold a database.
void requireDatabaseFile(const Text& path);

/// Gives the files that the engine keeps beside a writable database the rights of the database. It makes them with the
/// rights of the moment, and those of a database that could only be read would keep it from being written for good.
void shareRights(const Text& path) noexcept;

/// The same for every name of a file; none for no file.
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// Keeps an eye on the file of an open database. The engine goes on with a file that was removed or renamed, and what
/// it then saves is lost with the file, or beside another one that has taken the name.
class DatabaseFile {
public:
    /// The database is open.
    explicit DatabaseFile(Text path);

    /// Throws unless the path still leads to the file that was opened, and it has not been emptied.
    void requireForWriting();
    /// The same, but looks at most ten times a second: reading must not wait for the file system each time.
    void requireForReading();
    /// The log of changes may hold some that the file does not have yet.
    [[nodiscard]] bool hasLoggedChanges() const noexcept;

private:
    using Clock = std::chrono::steady_clock;

    void requireDatabase();
    void requireLog() const;

    Text path_, logPath_;
    FileIdentity file_, log_;
    Clock::time_point looked_;
};

} // namespace corveth::data::sqlite
