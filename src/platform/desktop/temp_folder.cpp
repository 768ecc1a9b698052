#include "platform/desktop/temp_folder.h"

#include "platform/automation/error.h"
#include "platform/scope_exit.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>

namespace corveth {

namespace {

/// So much must be free where the memory of the machine is what is filled.
constexpr std::uint64_t enough = std::uint64_t{64} * 1024 * 1024;

/// The folder that an environment variable names, without a slash at the end; empty unless it is an absolute path.
Text folderIn(const char* variable) {
    const char* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): only read
    TextView folder = value != nullptr ? value : "";
    if (!folder.starts_with('/') || !isUtf8(folder)) return {};
    while (folder.size() > 1 && folder.ends_with('/'))
        folder.remove_suffix(1);
    return Text(folder);
}

bool isOursAlone(const Text& folder) noexcept {
    struct stat status {};
    return lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & 077U) == 0 && access(folder.c_str(), W_OK | X_OK) == 0;
}

bool hasRoom(const Text& folder) noexcept {
    struct statvfs status {};
    return statvfs(folder.c_str(), &status) == 0 && std::uint64_t{status.f_bavail} * status.f_frsize >= enough;
}

[[noreturn]] void refuse(const Text& folder, TextView reason) {
    raise(75, "the folder for temporary copies " + inQuotes(folder) + " cannot be used (" + Text(reason) + ")");
}
[[noreturn]] void refuse(const Text& folder, int error) {
    refuse(folder, std::strerror(error)); // NOLINT(concurrency-mt-unsafe)
}

/// Makes `folder` the user's own. What somebody else has put in its place is not used: it could be swapped later.
Text made(Text folder) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) refuse(folder, errno);
    const int handle = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const int error = errno;
    struct stat status {};
    if (handle < 0) {
        const bool isLink = lstat(folder.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
        if (isLink) refuse(folder, "it is a symbolic link");
        refuse(folder, error);
    }
    const auto closed = finally([&] { close(handle); });
    if (fstat(handle, &status) != 0) refuse(folder, errno);
    if (status.st_uid != geteuid()) refuse(folder, "it is somebody else's");
    if ((status.st_mode & 07777U) != 0700 && fchmod(handle, 0700) != 0) refuse(folder, errno);
    folder += '/';
    return folder;
}

struct Chosen {
    std::mutex mutex;
    Text folder;
};
Chosen& chosen() {
    static Chosen chosen;
    return chosen;
}

} // namespace

Text temporaryFolder() {
    {
        Chosen& host = chosen();
        const std::lock_guard lock(host.mutex);
        if (!host.folder.empty()) return host.folder;
    }
    const Text session = folderIn("XDG_RUNTIME_DIR");
    if (!session.empty() && isOursAlone(session) && hasRoom(session)) return made(session + "/corveth");
    Text shared = folderIn("TMPDIR");
    if (shared.empty()) shared = "/tmp";
    return made((shared == "/" ? "" : shared) + "/corveth-" + std::to_string(geteuid()));
}

Text setTemporaryFolder(TextView folder) {
    Text next(folder);
    if (!next.empty() && !next.ends_with('/')) next += '/';
    Chosen& host = chosen();
    const std::lock_guard lock(host.mutex);
    return std::exchange(host.folder, std::move(next));
}

} // namespace corveth
