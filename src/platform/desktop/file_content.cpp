#include "platform/desktop/file_content.h"

#include "platform/automation/error.h"
#include "platform/write_signals.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace corveth {

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    [[nodiscard]] int number() const noexcept { return number_; }
    /// False when what was written has not arrived.
    bool close() noexcept {
        const int number = std::exchange(number_, -1);
        return number < 0 || ::close(number) == 0;
    }

private:
    int number_;
};

[[noreturn]] void refuse(const Text& path, TextView reason) {
    raise(75, inQuotes(path) + " (" + Text(reason) + ")");
}
[[noreturn]] void refuse(const Text& path, int error) {
    refuse(path, std::strerror(error)); // NOLINT(concurrency-mt-unsafe)
}
[[noreturn]] void refuseReading(const Text& path, int error) {
    if (error == ENOENT || error == ENOTDIR) raise(53, inQuotes(path));
    refuse(path, error);
}

std::int64_t sizeOf(const Text& path, const struct stat& status) {
    if (S_ISDIR(status.st_mode)) refuse(path, EISDIR);
    if (!S_ISREG(status.st_mode)) refuse(path, "it is a device, a pipe or a socket");
    return status.st_size;
}

constexpr std::int64_t greatestSize = std::numeric_limits<std::int32_t>::max();

} // namespace

std::int32_t fileSize(const Text& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) refuseReading(path, errno);
    return static_cast<std::int32_t>(std::min(sizeOf(path, status), greatestSize));
}

Bytes readFile(const Text& path) {
    fileSize(path); // opening is not without effect on every device
    // Not waiting: a pipe put in its place would keep the caller until somebody writes.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.number() < 0) refuseReading(path, errno);
    struct stat status {};
    if (fstat(file.number(), &status) != 0) refuseReading(path, errno);
    const std::int64_t size = sizeOf(path, status);
    if (size > greatestSize) raise(errors::overflow, inQuotes(path) + " holds " + std::to_string(size) + " bytes");
    Bytes bytes(static_cast<std::size_t>(size));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto length = read(file.number(), bytes.data() + done, bytes.size() - done);
        if (length < 0 && errno == EINTR) continue;
        if (length < 0) refuseReading(path, errno);
        if (length == 0) break; // it was cut short meanwhile
        done += static_cast<std::size_t>(length);
    }
    bytes.resize(done);
    return bytes;
}

void writeNewFile(const Text& path, std::span<const std::byte> bytes, FileUse use) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) refuse(path, errno);
    const mode_t mode = use == FileUse::program ? 0700 : 0600;
    Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (file.number() < 0) refuse(path, errno);
    const WriteSignals held;
    int error = 0;
    while (!bytes.empty() && error == 0) {
        const auto length = write(file.number(), bytes.data(), bytes.size());
        if (length >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(length));
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    if (!file.close() && error == 0) error = errno;
    if (error == 0) return;
    unlink(path.c_str());
    refuse(path, error);
}

} // namespace corveth
