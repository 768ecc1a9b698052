#include "platform/desktop/picture.h"

#include "platform/write_signals.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace corveth {

namespace {

constexpr std::int32_t fileNotFound = 53;
constexpr std::int32_t fileAccess = 75;

/// A file descriptor, closed at the end.
class File {
public:
    explicit File(int descriptor) noexcept : descriptor_(descriptor) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (isOpen()) ::close(descriptor_);
    }
    [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] int get() const noexcept { return descriptor_; }
    /// False when what was written did not arrive.
    bool close() noexcept { return ::close(std::exchange(descriptor_, -1)) == 0; }

private:
    int descriptor_;
};

[[noreturn]] void refuseAccess(TextView path, int error) {
    raise(fileAccess, fmt::format("{} ({})", path, std::generic_category().message(error)));
}

[[noreturn]] void refuseReading(TextView path, int error) {
    const bool missing = error == ENOENT || error == ENOTDIR;
    if (missing) raise(fileNotFound, path.empty() ? "\"\"" : path);
    refuseAccess(path, error);
}

/// A path for the system's calls, which would end it at a NUL.
Text checkedPath(TextView path) {
    if (path.find('\0') != TextView::npos) raise(fileNotFound, inQuotes(path));
    return Text(path);
}

Bytes readFile(TextView path) {
    // Not blocking: a pipe without a writer is refused instead of waited for.
    const File file(::open(checkedPath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) refuseReading(path, errno);
    if (!S_ISREG(status.st_mode)) refuseReading(path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    // A bitmap file tells its own size in 32 bits.
    if (status.st_size > std::numeric_limits<std::uint32_t>::max()) refuseReading(path, EFBIG);

    Bytes bytes(static_cast<std::size_t>(status.st_size));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto count = ::read(file.get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) refuseReading(path, errno);
        if (count == 0) break; // it has become shorter
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

void writeFile(TextView path, const Bytes& bytes) {
    File file(::open(checkedPath(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666));
    if (!file.isOpen()) refuseAccess(path, errno);
    const WriteSignals held;
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto count = ::write(file.get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) refuseAccess(path, errno);
        done += static_cast<std::size_t>(count);
    }
    if (!file.close()) refuseAccess(path, errno);
}

std::int32_t nextHandle() noexcept {
    static std::atomic<std::uint32_t> last = 0;
    // Stays a positive number when it has gone round.
    return static_cast<std::int32_t>(last++ % std::numeric_limits<std::int32_t>::max()) + 1;
}

} // namespace

struct Picture::Table {
    static constexpr MemberRow members[] = {
        get<&Picture::get_Handle>("Handle"),    get<&Picture::get_Width>("Width"),
        get<&Picture::get_Height>("Height"),    get<&Picture::get_Type>("Type"),
        method<&Picture::Load>("Load", "Path"), method<&Picture::Save>("Save", "Path"),
    };
};

const ClassInfo Picture::description = describe<Picture, Picture::Table>("Corveth");

Ref<Picture> Picture::fromFile(TextView path) {
    auto picture = make<Picture>();
    picture->read(path);
    return picture;
}

void Picture::Load(Text path) { // NOLINT(performance-unnecessary-value-param): the parameter is by value for clients
    read(path);
}

void Picture::Save(Text path) const { // NOLINT(performance-unnecessary-value-param): the same
    if (handle_ == 0) raise(errors::invalidPicture, "there is none to save to " + inQuotes(path));
    writeFile(path, bytes_);
}

void Picture::read(TextView path) {
    Bytes bytes = readFile(path);
    BitmapReading reading = readBitmapHeader(bytes);
    if (!reading.problem.empty()) raise(errors::invalidPicture, fmt::format("{}: {}", path, reading.problem));
    bytes_ = std::move(bytes);
    header_ = reading.header;
    handle_ = nextHandle();
}

} // namespace corveth
