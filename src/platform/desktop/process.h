#pragma once

#include "platform/automation/text.h"

#include <cstdint>
#include <vector>

namespace corveth {

/// A program that was started and goes on by itself, whatever becomes of this object. It is no child of this process:
/// its end raises no signal here, leaves no zombie, and `wait` in a host never sees it. (A host that is the first
/// process of its container, or takes orphans, becomes its parent; there its end is taken by the next call that asks
/// for it, at the latest by the next `startProcess`.) Usable from any thread, one at a time.
class CORVETH_API RunningProcess {
public:
    /// None.
    RunningProcess() noexcept = default;
    /// Takes over `handle`, which refers to the process with the number `id`, and nothing else, as long as it is open.
    RunningProcess(std::int32_t id, int handle) noexcept : id_(id), handle_(handle) {}
    RunningProcess(RunningProcess&& other) noexcept;
    RunningProcess& operator=(RunningProcess&& other) noexcept;
    ~RunningProcess();

    /// Its number, also of its first thread and of its process group; 0 for none. Stays after its end.
    [[nodiscard]] std::int32_t id() const noexcept { return id_; }
    [[nodiscard]] bool isRunning() const noexcept;
    /// Ends it at once, without asking it, and none of those that it started. Nothing happens when it has ended, even
    /// when its number is another process's by now.
    void terminate() noexcept;

private:
    std::int32_t id_ = 0;
    int handle_ = -1;
};

/// Starts the program `words[0]` (found in PATH unless it holds a slash) with the other words as its arguments, without
/// a shell: in a process group of its own, with the current folder and environment, standard input empty, output and
/// error where they go now, no other file open, signals as a new program has them. 53 when there is no such program, 5
/// when it cannot be run or there are no words; the text names it and says why.
CORVETH_API RunningProcess startProcess(const std::vector<Text>& words);

/// The words of a command line: parted by blanks (U+0020 and tabs), save between double quotes, where `\"` is a quote
/// and `\\` a backslash. 5 when a quote is not closed.
CORVETH_API std::vector<Text> splitCommandLine(TextView line);
/// `word` between double quotes, so that `splitCommandLine` gives it back whatever it holds.
CORVETH_API Text quotedWord(TextView word);

/// The full path of the program that `name` means in PATH; empty when there is none.
CORVETH_API Text findProgram(TextView name);

} // namespace corveth
