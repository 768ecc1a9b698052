#pragma once

#include "platform/automation/text.h"

namespace corveth::data {

/// The file that takes what callers are not told, a line each. It is opened anew for every line, so that it may be
/// moved away or cleared meanwhile. Good for any thread, and for several processes at once.
class Log {
public:
    /// 3002 that names the file when it cannot be opened. Without a path the log takes nothing.
    explicit Log(TextView path);

    [[nodiscard]] bool isOn() const noexcept { return !path_.empty(); }
    /// Local time, class, operation and words, parted by tabs, control characters written as escapes. The line is in
    /// the file when the call returns; one that cannot be written is dropped.
    void write(TextView className, TextView operation, TextView words) const noexcept;

private:
    Text path_; ///< absolute
};

} // namespace corveth::data
