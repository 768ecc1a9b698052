#include "platform/data/trace.h"

#include "platform/automation/error.h"
#include "platform/write_signals.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace corveth::data {

namespace {

constexpr const char* source = "ADODB.Connection";

Text withCause(const Text& path, int cause) {
    return "\"" + path + "\": " + std::generic_category().message(cause);
}

} // namespace

LineFile::LineFile(TextView path) : path_(path) {
    if (path_.empty()) return;
    file_ = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (file_ < 0) raise(errors::cannotOpenFile, withCause(path_, errno), source);
}

LineFile::~LineFile() {
    if (file_ >= 0) ::close(file_);
}

void LineFile::write(TextView line) const {
    if (file_ < 0) return;
    Text bytes;
    bytes.reserve(line.size() + 1);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool isPair = line[i] == '\r' && i + 1 < line.size() && line[i + 1] == '\n';
        if (isPair) ++i;
        if (line[i] == '\n' || line[i] == '\r') {
            bytes += "\\n";
        } else {
            bytes += line[i];
        }
    }
    bytes += '\n';
    const WriteSignals held;
    // One call a line: lines of several processes do not mix.
    const char* rest = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(file_, rest, left);
        if (written < 0) {
            if (errno == EINTR) continue;
            raise(errors::cannotWriteFile, withCause(path_, errno), source);
        }
        rest += written;
        left -= static_cast<std::size_t>(written);
    }
}

void Trace::writeLine(TextView kind, TextView text) const {
    Text line(kind);
    if (!text.empty()) {
        line += '\t';
        line += text;
    }
    file_.write(line);
}

} // namespace corveth::data
