#include "platform/data/stream.h"

#include "platform/write_signals.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace corveth {

namespace {

constexpr const char* source = "ADODB.Stream";
constexpr std::int32_t readAll = -1;

[[noreturn]] void failFile(std::int32_t number, const Text& path, int cause) {
    raise(number, "\"" + path + "\": " + std::generic_category().message(cause), source);
}

class File {
public:
    File(const Text& path, int flags, std::int32_t failure)
        : path_(path), failure_(failure), file_(::open(path.c_str(), flags | O_CLOEXEC, 0600)) {
        if (file_ < 0) failFile(failure_, path_, errno);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (file_ >= 0) ::close(file_);
    }

    [[nodiscard]] Bytes readWhole() const {
        struct stat info {};
        if (::fstat(file_, &info) != 0) failFile(failure_, path_, errno);
        if (S_ISDIR(info.st_mode)) failFile(failure_, path_, EISDIR);
        Bytes bytes(static_cast<std::size_t>(info.st_size));
        std::size_t filled = 0;
        for (;;) {
            if (filled == bytes.size()) bytes.resize(bytes.size() + 4096); // it may be longer than it said
            const ssize_t got = ::read(file_, bytes.data() + filled, bytes.size() - filled);
            if (got == 0) break;
            if (got < 0) {
                if (errno == EINTR) continue;
                failFile(failure_, path_, errno);
            }
            filled += static_cast<std::size_t>(got);
        }
        bytes.resize(filled);
        return bytes;
    }

    void writeAll(std::span<const std::byte> bytes) {
        const WriteSignals held;
        while (!bytes.empty()) {
            const ssize_t written = ::write(file_, bytes.data(), bytes.size());
            if (written < 0) {
                if (errno == EINTR) continue;
                failFile(failure_, path_, errno);
            }
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        }
        // A full disk may show only here.
        if (::close(std::exchange(file_, -1)) != 0) failFile(failure_, path_, errno);
    }

private:
    const Text& path_;
    std::int32_t failure_;
    int file_;
};

} // namespace

struct Stream::Table {
    static constexpr MemberRow members[] = {
        get<&Stream::get_Size>("Size"),
        get<&Stream::get_EOS>("EOS"),
        getLet<&Stream::get_Position, &Stream::let_Position>("Position"),
        getLet<&Stream::get_Type, &Stream::let_Type>("Type"),
        get<&Stream::get_State>("State"),
        method<&Stream::Read>("Read", optional("NumBytes")),
        method<&Stream::Open>("Open"),
        method<&Stream::Close>("Close"),
        method<&Stream::Write>("Write", "Buffer"),
        method<&Stream::SetEOS>("SetEOS"),
        method<&Stream::LoadFromFile>("LoadFromFile", "FileName"),
        method<&Stream::SaveToFile>("SaveToFile", "FileName", optional("Options")),
        method<&Stream::ReadText>("ReadText", optional("NumChars")),
        method<&Stream::WriteText>("WriteText", "Data"),
    };
};

constinit const ClassInfo Stream::description = describe<Stream, Stream::Table>("ADODB");

void Stream::requireOpen() const {
    checkThread();
    if (!open_) raise(errors::objectClosed, {}, source);
}

void Stream::requireType(std::int32_t type) const {
    requireOpen();
    if (type_ != type)
        raise(errors::notAllowedHere, type == binary ? "The stream is one of text." : "The stream is binary.", source);
}

void Stream::Open() {
    checkThread();
    if (open_) raise(errors::objectOpen, {}, source);
    open_ = true;
}

void Stream::Close() {
    requireOpen();
    open_ = false;
    content_ = {};
    position_ = 0;
}

Value Stream::Read(std::int32_t NumBytes) {
    requireType(binary);
    const std::size_t left = content_.size() - position_;
    if (NumBytes < readAll) raise(errors::badArguments, "NumBytes " + std::to_string(NumBytes), source);
    if (left == 0) return Null{};
    const std::size_t count = NumBytes <= 0 ? left : std::min(left, static_cast<std::size_t>(NumBytes));
    const auto first = content_.begin() + static_cast<std::ptrdiff_t>(position_);
    position_ += count;
    return Bytes(first, first + static_cast<std::ptrdiff_t>(count));
}

void Stream::Write(const Value& Buffer) {
    requireType(binary);
    const auto* bytes = Buffer.getIf<Bytes>();
    if (bytes == nullptr) {
        raise(errors::badArguments, "An array of bytes is needed, not " + Text(typeName(Buffer)) + ".", source);
    }
    write(*bytes);
}

void Stream::write(std::span<const std::byte> bytes) {
    requireOpen();
    if (content_.size() < position_ + bytes.size()) content_.resize(position_ + bytes.size());
    std::ranges::copy(bytes, content_.begin() + static_cast<std::ptrdiff_t>(position_));
    position_ += bytes.size();
}

Text Stream::ReadText(std::int32_t NumChars) {
    requireType(text);
    if (NumChars < readAll) raise(errors::badArguments, "NumChars " + std::to_string(NumChars), source);
    const TextView rest(reinterpret_cast<const char*>(content_.data()) + position_, content_.size() - position_);
    if (!isUtf8(rest)) raise(errors::badArguments, "The stream's content is not UTF-8 text.", source);
    const TextView read = NumChars <= 0 ? rest : leftUnits(rest, static_cast<std::size_t>(NumChars));
    position_ += read.size();
    return Text(read);
}

void Stream::WriteText(const Text& Data) {
    requireType(text);
    write(std::as_bytes(std::span(Data)));
}

void Stream::LoadFromFile(const Text& FileName) {
    requireOpen();
    content_ = File(FileName, O_RDONLY, errors::cannotOpenFile).readWhole();
    position_ = 0;
}

void Stream::SaveToFile(const Text& FileName, std::int32_t SaveOptions) {
    requireOpen();
    const int mode = (SaveOptions & overwrite) != 0 ? O_TRUNC : O_EXCL;
    File(FileName, O_WRONLY | O_CREAT | mode, errors::cannotWriteFile).writeAll(content_);
    position_ = 0;
}

void Stream::SetEOS() {
    requireOpen();
    content_.resize(position_);
}

std::int32_t Stream::get_Type() const {
    checkThread();
    return type_;
}

void Stream::let_Type(std::int32_t value) {
    checkThread();
    if (value != binary && value != text) raise(errors::badArguments, "Type " + std::to_string(value), source);
    if (open_ && position_ != 0) raise(errors::notAllowedHere, "The type changes at position 0 only.", source);
    type_ = value;
}

std::int32_t Stream::get_Position() const {
    requireOpen();
    return static_cast<std::int32_t>(position_);
}

void Stream::let_Position(std::int32_t value) {
    requireOpen();
    if (value < 0) raise(errors::badArguments, "Position " + std::to_string(value), source);
    position_ = static_cast<std::size_t>(value);
    if (position_ > content_.size()) content_.resize(position_);
}

std::int32_t Stream::get_Size() const {
    requireOpen();
    return static_cast<std::int32_t>(content_.size());
}

bool Stream::get_EOS() const {
    requireOpen();
    return position_ >= content_.size();
}

std::int32_t Stream::get_State() const {
    checkThread();
    return open_ ? 1 : 0;
}

const Bytes& Stream::bytes() const {
    requireOpen();
    return content_;
}

Bytes Stream::take() {
    requireOpen();
    position_ = 0;
    return std::exchange(content_, {});
}

} // namespace corveth
