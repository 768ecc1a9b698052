#pragma once

#include "platform/automation/text.h"

namespace corveth::data {

/// A file that lines are appended to, by several processes at once if they like; a line is in the file when the call
/// returns. Without a path it does nothing.
class LineFile {
public:
    LineFile() = default;
    /// 3002 that names the file when it cannot be opened.
    explicit LineFile(TextView path);
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;
    ~LineFile();

    [[nodiscard]] bool isOn() const noexcept { return file_ >= 0; }
    /// Line breaks in `line` become `\n`. 3004 when it cannot be written.
    void write(TextView line) const;

private:
    int file_ = -1;
    Text path_;
};

/// The statements that a connection sends, each before it is run: its kind, a tab, the text.
class Trace {
public:
    Trace() = default;
    explicit Trace(TextView path) : file_(path) {}

    [[nodiscard]] bool isOn() const noexcept { return file_.isOn(); }
    void write(TextView kind, TextView text = {}) const {
        if (isOn()) writeLine(kind, text);
    }

private:
    void writeLine(TextView kind, TextView text) const;

    LineFile file_;
};

} // namespace corveth::data
