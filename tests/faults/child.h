#pragma once

#include "platform/automation/text.h"

#include <chrono>
#include <functional>
#include <sys/types.h>

namespace corveth::test {

/// A process that runs beside the test's own and reports to it line by line. It is a copy made by forking: the test
/// must hold no connection when it is made.
class Child {
public:
    using Report = std::function<void(TextView line)>;

    /// Ends with status 0 when `action` returns; with 1, and the words in the last line, when it throws.
    explicit Child(const std::function<void(const Report&)>& action);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    /// Kills it unless it has been waited for.
    ~Child();

    /// The next line, without its end; false when there is none any more.
    bool readLine(Text& line);
    /// No chance to tidy up; what it had reported can still be read.
    void kill() const;
    /// Its exit status; -1 when a signal ended it.
    int wait();

private:
    pid_t process_;
    int pipe_ = -1;
    Text read_; ///< not handed out yet
};

/// Runs `action` in a process of its own; all that it reported, in lines, and how it ended if not well.
Text inChild(const std::function<void(const Child::Report&)>& action);

} // namespace corveth::test
