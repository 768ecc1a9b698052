#include "platform/data/log.h"

#include "platform/automation/error.h"
#include "platform/write_signals.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace corveth::data {

namespace {

class File {
public:
    /// Never waits: a pipe must have its reader, and what it does not take at once is lost.
    explicit File(const Text& path) noexcept
        : file_(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600)) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (isOpen()) ::close(file_);
    }

    [[nodiscard]] bool isOpen() const noexcept { return file_ >= 0; }
    void write(TextView bytes) const noexcept {
        while (!bytes.empty()) {
            const ssize_t written = ::write(file_, bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return;
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
    }

private:
    int file_;
};

Text localTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}", local.tm_year + 1900, local.tm_mon + 1,
                       local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, milliseconds % 1000);
}

/// With whatever would end the line, part it or move a terminal's cursor as an escape.
void appendPlain(Text& line, TextView text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0U;
        if (byte == '\n') {
            line += "\\n";
        } else if (byte == '\r') {
            line += "\\r";
        } else if (byte == '\t') {
            line += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            line += fmt::format("\\x{:02x}", byte);
        } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) { // U+0080 to U+009F
            line += fmt::format("\\x{:02x}", next);
            ++i;
        } else {
            line += text[i];
        }
    }
}

} // namespace

Log::Log(TextView path) {
    if (path.empty()) return;
    const Text absolute = std::filesystem::absolute(path).string();
    if (!File(absolute).isOpen()) {
        const int cause = errno;
        raise(errors::cannotOpenFile, fmt::format("\"{}\": {}", absolute, std::generic_category().message(cause)),
              "ADODB.Connection");
    }
    path_ = absolute;
}

void Log::write(TextView className, TextView operation, TextView words) const noexcept {
    if (!isOn()) return;
    try {
        Text line = localTime();
        for (const TextView part : {className, operation, words}) {
            line += '\t';
            appendPlain(line, part);
        }
        line += '\n';
        const WriteSignals signals;
        const File file(path_);
        // One call a line: lines of several processes do not mix.
        if (file.isOpen()) file.write(line);
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nowhere left to report to
    }
}

} // namespace corveth::data
