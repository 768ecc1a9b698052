#include "platform/desktop/program_folder.h"

#include "platform/automation/error.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace corveth {

namespace {

/// The folder of this process, until it ends.
class PrivateFolder {
public:
    PrivateFolder() = default;
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder() {
        if (path_.empty() || owner_ != getpid()) return; // a forked child leaves its parent's alone
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const Text& path() {
        if (path_.empty() || owner_ != getpid() || !isOurs()) make();
        return path_;
    }

private:
    /// A cleaner of temporary files may have taken it away, and someone else may have put his own there.
    [[nodiscard]] bool isOurs() const noexcept {
        struct stat status {};
        return lstat(path_.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid();
    }
    void make() {
        const char* temporary = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe): only read
        Text path = temporary != nullptr && *temporary == '/' ? temporary : "/tmp";
        path += "/corveth-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            const int error = errno;
            raise(75, path + " (" + std::strerror(error) + ")"); // NOLINT(concurrency-mt-unsafe)
        }
        path_ = std::move(path);
        owner_ = getpid();
    }

    Text path_;
    pid_t owner_ = 0;
};

struct Folders {
    std::mutex mutex;
    Text replacement;
    PrivateFolder ours;
};

Folders& folders() {
    static Folders folders;
    return folders;
}

} // namespace

Text programFolder() {
    Folders& all = folders();
    const std::lock_guard lock(all.mutex);
    return all.replacement.empty() ? all.ours.path() : all.replacement;
}

Text setProgramFolder(TextView folder) {
    while (folder.size() > 1 && folder.back() == '/')
        folder.remove_suffix(1);
    Folders& all = folders();
    const std::lock_guard lock(all.mutex);
    return std::exchange(all.replacement, Text(folder));
}

} // namespace corveth
