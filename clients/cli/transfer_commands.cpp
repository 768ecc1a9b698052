#include "cli/commands.h"
#include "cli/files.h"
#include "cli/progress.h"
#include "cli/session.h"
#include "cli/value_text.h"

#include <fmt/format.h>

#include <csignal>
#include <unistd.h>

namespace corveth::cli {

using client::Failure;
using client::LateObject;

namespace {

constexpr OutputRule dumpRule{.existing = OutputRule::Existing::isReplacedWhenAlike,
                              .beginning = R"({"corveth": "dump")",
                              .refusal = "is no dump that could be replaced",
                              .isPrivate = true};

std::uint64_t rowsDone(const LateObject& transfer) {
    return static_cast<std::uint64_t>(std::get<std::int32_t>(transfer.get("RowsDone")));
}

std::uint64_t rowsToDump(const LateObject& transfer) {
    return static_cast<std::uint64_t>(std::get<std::int32_t>(transfer.call("CountRows")));
}

std::string rowsText(std::uint64_t rows, const char* done) {
    return fmt::format("{} {} {}\n", rows, rows == 1 ? "row" : "rows", done);
}

/// Where the first line makes a record, the file is one for the other kind of load, which is more than the line's
/// fault.
void refuseRecords(const std::string& line, std::uint64_t number) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object() || !json.contains("class")) return;
    throw Failure(5, "corveth",
                  fmt::format("line {}: this makes a record that gets a new key: load it without --keep-keys", number));
}

/// Collects lines, so that each call of the server brings it many.
class LineSender {
public:
    explicit LineSender(const LateObject& transfer) : transfer_(transfer) {}

    void add(const std::string& line) {
        lines_ += line;
        lines_ += '\n';
        ++count_;
        if (lines_.size() >= enough) send();
    }

    void send() {
        try {
            transfer_.call("AddLines", {lines_});
        } catch (const Failure& failure) {
            // What is no text never gets there, and nobody has told the line yet.
            if (failure.source == "corveth") sendOneByOne();
            throw;
        }
        sent_ += count_;
        count_ = 0;
        lines_.clear();
    }

private:
    static constexpr std::size_t enough = 1 << 20;

    void sendOneByOne() {
        for (std::string_view rest = lines_; !rest.empty(); rest.remove_prefix(rest.find('\n') + 1)) {
            ++sent_;
            try {
                transfer_.call("AddLines", {std::string(rest.substr(0, rest.find('\n')))});
            } catch (const Failure& failure) {
                if (failure.source != "corveth") throw;
                throw Failure(failure.number, failure.source, fmt::format("line {}: {}", sent_, failure.description()));
            }
        }
    }

    const LateObject& transfer_;
    std::string lines_;
    std::uint64_t count_ = 0, sent_ = 0;
};

} // namespace

std::string dumpRows(const Request& request) {
    // A reader that goes away is a failure with words.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    const bool isToFile = !request.output.empty() && request.output != "-";
    const auto transfer = Library().create("Corveth.Transfer");
    transfer.call("OpenDump", {connectionString(request.database)});
    OutputFile file(request.output, dumpRule);
    {
        // The lines themselves are on the terminal otherwise.
        Progress progress("dump", "rows", isToFile || ::isatty(STDOUT_FILENO) == 0);
        const std::uint64_t total = progress.isShown() ? rowsToDump(transfer) : 0;
        for (;;) {
            const auto lines = std::get<std::string>(transfer.call("ReadLines"));
            if (lines.empty()) break;
            file.write(lines);
            if (progress.isShown()) progress.show(rowsDone(transfer), total, rowsDone(transfer));
        }
        file.complete();
    }
    transfer.call("Finish");
    return isToFile ? rowsText(rowsDone(transfer), "dumped") : std::string();
}

std::string loadRows(const Request& request) {
    InputFile file(request.file);
    const auto transfer = Library().create("Corveth.Transfer");
    transfer.call("OpenLoad", {connectionString(request.database)});
    {
        Progress progress("load", "rows");
        LineSender sender(transfer);
        bool isFirst = true;
        for (std::string line; file.nextLine(line);) {
            const bool isBlank = line.find_first_not_of(" \t\r") == std::string::npos;
            if (!isBlank && std::exchange(isFirst, false)) refuseRecords(line, file.lines());
            sender.add(line);
            if (progress.isShown()) progress.show(file.bytesRead(), file.size(), rowsDone(transfer));
        }
        sender.send();
        transfer.call("Finish");
    }
    const std::uint64_t rows = rowsDone(transfer);
    return request.asJson ? Json{{"rows", rows}}.dump(1) + "\n" : rowsText(rows, "loaded");
}

} // namespace corveth::cli
