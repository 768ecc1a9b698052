#include "cli/commands.h"
#include "cli/files.h"
#include "cli/item.h"
#include "cli/progress.h"
#include "cli/record.h"
#include "cli/text_table.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace corveth::cli {

using client::Failure;
using client::LateObject;

namespace {

constexpr std::uint32_t accessError = 75;

struct Opened {
    std::string id;
    std::string path;
    client::ByteArray before; ///< what the copy held
    std::int32_t process = 0;
    std::string program; ///< what was started, as far as it is known
};

/// While it lives, what the program that is started writes does not go to standard output, which whoever reads it would
/// have to read until that program's end: to standard error, or nowhere.
class OutputAside {
public:
    explicit OutputAside(bool isKept) {
        std::fflush(stdout);
        const int aside = isKept ? ::dup(STDERR_FILENO) : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (aside < 0) return;
        put(aside, STDOUT_FILENO, output_);
        if (!isKept) put(aside, STDERR_FILENO, errors_);
        ::close(aside);
    }
    OutputAside(const OutputAside&) = delete;
    OutputAside& operator=(const OutputAside&) = delete;
    ~OutputAside() {
        bring(output_, STDOUT_FILENO);
        bring(errors_, STDERR_FILENO);
    }

private:
    static void put(int file, int place, int& before) {
        before = ::fcntl(place, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        if (before >= 0) ::dup2(file, place);
    }
    static void bring(int before, int place) {
        if (before < 0) return;
        ::dup2(before, place);
        ::close(before);
    }

    int output_ = -1, errors_ = -1;
};

bool holds(const std::string& path, const client::ByteArray& content) {
    try {
        return fileContent(path) == content.text();
    } catch (const Failure&) {
        return false;
    }
}

/// The library reports nothing of it; what it says of failures is in the log.
Opened openCopy(Library& library, const Request& request) {
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN)); // a limit on the size of files is a failure with words
    const FailureLog log(request.database);
    const Session session(library, log.database());
    const LateObject attachment = existingRecord(session, library.model("Attachment"), request.key);
    Opened opened{.id = std::get<std::string>(attachment.get("AttachmentID")),
                  .path = {},
                  .before = contentOf(attachment),
                  .program = {}};
    {
        const OutputAside aside(request.stores);
        attachment.call("OpenAttachment");
    }
    opened.path = std::get<std::string>(attachment.get("TempFilePath"));
    opened.process = std::get<std::int32_t>(attachment.get("ThreadId"));
    const std::string words = log.words("Attachment");
    if (!words.empty() && (opened.process == 0 || !holds(opened.path, opened.before))) {
        attachment.call("CloseAttachmentWindow"); // a program without its file
        throw Failure(accessError, "Attachment", "nothing was opened: " + words);
    }
    if (opened.path.empty()) throw Failure(accessError, "Attachment", "nothing was opened; the log may tell why");
    opened.program = std::get<std::string>(library.create("Corveth.FileInfoService").call("Program", {opened.path}));
    return opened;
}

std::string startedText(const Opened& opened) {
    const std::string path = onOneLine(opened.path);
    if (opened.process == 0) return path + ": left to the desktop to open";
    if (opened.program.empty()) return fmt::format("{}: opened in process {}", path, opened.process);
    return fmt::format("{}: opened with {}, process {}", path, onOneLine(opened.program), opened.process);
}

std::string laterText(const Request& request, const Opened& opened) {
    return fmt::format("what is changed there is stored by: corveth set {} Attachment {} {} "
                       "AttachmentSize=$(stat -c %s {})",
                       shellWord(request.database), opened.id, shellWord("Data=@file:" + opened.path),
                       shellWord(opened.path));
}

/// Returns when the process has ended.
void waitFor(std::int32_t process) {
    // Not by the library's own name, which some of its versions do not declare for C++.
    const auto handle = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    if (handle < 0) return; // it has ended already
    pollfd ended{.fd = handle, .events = POLLIN, .revents = 0};
    while (::poll(&ended, 1, -1) < 0 && errno == EINTR) {
    }
    ::close(handle);
}

bool canAsk() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

/// Returns when the user has done with the copy.
void waitForUser(const Opened& opened) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds handedOver{3};
    const auto begin = Clock::now();
    if (opened.process != 0) waitFor(opened.process);
    const bool isOver = opened.process != 0 && Clock::now() - begin >= handedOver;
    if (isOver || !canAsk() || fileContent(opened.path) != opened.before.text()) return;
    fmt::print(stderr, "Nothing has been changed yet. Press Enter when you have saved your changes and closed it. ");
    std::string line;
    std::getline(std::cin, line);
}

std::string storeCopy(Library& library, const Request& request, const Opened& opened) {
    const client::ByteArray content(fileContent(opened.path));
    if (content == opened.before) return fmt::format("{}: not changed\n", opened.id);
    const FailureLog log(request.database);
    const Session session(library, log.database());
    const LateObject attachment = existingRecord(session, library.model("Attachment"), opened.id);
    if (contentOf(attachment) != opened.before) {
        throw Failure(58, "corveth",
                      fmt::format("the attachment {} was changed by somebody else meanwhile", opened.id));
    }
    const auto item = std::get<std::string>(attachment.get("LinkId"));
    Transaction transaction(session);
    attachment.let("Data", content);
    attachment.let("AttachmentSize", std::to_string(content.bytes().size()));
    attachment.call("UpdateAttachment", {item});
    requireStored(session, attachment, item, log);
    transaction.commit();
    return fmt::format("{}: {} stored\n", opened.id, bytesText(content.bytes().size()));
}

} // namespace

std::string openAttachment(const Request& request) {
    Library library;
    const Opened opened = openCopy(library, request);
    if (!request.stores) {
        fmt::print(stderr, "corveth: {}\n", laterText(request, opened));
        return startedText(opened) + "\n";
    }
    if (opened.process == 0 && !canAsk()) {
        throw Failure(5, "corveth",
                      fmt::format("{}, and nobody can tell when it is done; {}", startedText(opened),
                                  laterText(request, opened)));
    }
    fmt::print(stderr, "corveth: {}; waiting for its end\n", startedText(opened));
    waitForUser(opened);
    try {
        return storeCopy(library, request, opened);
    } catch (const Failure& failure) {
        throw Failure(failure.number, failure.source,
                      fmt::format("{}; your copy is {}", failure.description(), onOneLine(opened.path)));
    }
}

} // namespace corveth::cli
