#include "cli/commands.h"
#include "cli/files.h"
#include "cli/item.h"
#include "cli/progress.h"
#include "cli/record.h"
#include "cli/rows.h"
#include "cli/text_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace corveth::cli {

using client::Failure;
using client::LateObject;
namespace fs = std::filesystem;

namespace {

/// The library only tells that a file could not be added; this tells why.
void requireFile(const Library& library, const std::string& path) {
    constexpr std::uint32_t overflow = 6, invalidCall = 5;
    try {
        library.create("Corveth.FileInfoService").call("Properties", {path});
    } catch (const Failure& failure) {
        if (failure.number == invalidCall) { // a name that is no text
            throw Failure(failure.number, failure.source, onOneLine(path) + ": " + failure.description());
        }
        if (failure.number != overflow) throw;
        throw Failure(overflow, failure.source, failure.description() + "; an attachment holds 5 MB at most");
    }
    requireReadable(path);
}

/// The columns of a list of files: everything but the files.
constexpr const char* columns[] = {"AttachmentID",   "AttachmentTitle", "AttachmentType", "AttachmentSize",
                                   "AttachmentDate", "LinkId",          "LinkType"};
constexpr std::size_t shownColumns = 5;

/// Read by a statement: the list of the library would bring the content of each file along.
std::vector<Row> attachmentRows(const Session& session, const std::string& item) {
    const std::string statement = fmt::format("Select {} From Attachments Where LinkID={} Order By AttachmentID",
                                              fmt::join(columns, ", "), textLiteral(item));
    std::vector<Row> found;
    forEachRow(session, statement, [&](Row row) { found.push_back(std::move(row)); });
    return found;
}

std::string rowsJson(const std::vector<Row>& rows) {
    Json list = Json::array();
    for (const Row& row : rows) {
        Json& entry = list.emplace_back(Json::object());
        for (std::size_t column = 0; column < row.size(); ++column)
            entry[columns[column]] = jsonValue(row[column]);
    }
    return list.dump(1) + "\n";
}

std::string rowsTable(const std::vector<Row>& rows) {
    if (rows.empty()) return {};
    TextTable table({columns, columns + shownColumns});
    for (const Row& row : rows) {
        std::vector<TextTable::Cell> cells;
        for (std::size_t column = 0; column < shownColumns; ++column)
            cells.push_back({plainText(row[column]), isNumber(row[column])});
        table.addRow(std::move(cells));
    }
    return table.text();
}

/// True for a terminal's own file, as /dev/tty and what /dev/stdout leads to.
bool isTerminalFile(const std::string& path) {
    std::error_code error;
    if (!fs::is_character_file(path, error)) return false;
    const int file = ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    const bool isTerminal = file >= 0 && ::isatty(file) == 1;
    if (file >= 0) ::close(file);
    return isTerminal;
}

/// Where the attachment goes; empty for standard output.
std::string targetOf(const Request& request, const Library& library, const std::string& title) {
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    if ((request.output == "-" && isTerminal) || isTerminalFile(request.output)) {
        throw WrongUse("that is a terminal, which a file's bytes are not for; name a file with -o");
    }
    if (request.output == "-" || (request.output.empty() && !isTerminal)) return {};
    std::error_code error;
    const bool isFolder = request.output.ends_with('/') || fs::is_directory(request.output, error);
    if (!request.output.empty() && !isFolder) return request.output;
    const auto name = std::get<std::string>(library.create("Corveth.Desktop").call("FileName", {title}));
    return (fs::path(request.output) / name).string();
}

void writeAll(OutputFile& file, std::string_view content) {
    constexpr std::size_t piece = 1 << 18;
    Progress progress("extract", "bytes");
    for (std::size_t done = 0; done < content.size();) {
        const auto next = content.substr(done, piece);
        file.write(next);
        done += next.size();
        progress.show(done, content.size(), done);
    }
    file.complete();
}

} // namespace

std::string attachFile(const Request& request) {
    Library library;
    const FailureLog log(request.database);
    const Session session(library, log.database());
    const std::string item = existingItem(session, request.key);
    if (request.file.empty()) throw Failure(53, "corveth", "File not found: no file is named");
    const std::string path = fs::absolute(request.file).string();
    requireFile(library, path);

    Transaction transaction(session);
    const LateObject list = library.create("prjCorveth.Attachments");
    list.let("LinkId", item);
    library.create("Corveth.Desktop").call("ChooseFile", {path});
    list.call("AddAttachment");
    try {
        session.requireNoMessageBox(); // the file is too large
    } catch (const Failure& failure) {
        throw Failure(failure.number, failure.source, onOneLine(path) + ": " + failure.description());
    }
    const auto attachment = std::get<LateObject>(list.get("Item", {1}));
    attachment.call("UpdateAttachment", {item});
    requireStored(session, attachment, item, log);
    transaction.commit();
    return std::get<std::string>(attachment.get("AttachmentID")) + "\n";
}

std::string listAttachments(const Request& request) {
    Library library;
    const Session session(library, request.database);
    auto rows = attachmentRows(session, request.key);
    // What is kept with an item that is gone is listed all the same.
    if (rows.empty()) rows = attachmentRows(session, existingItem(session, request.key));
    return request.asJson ? rowsJson(rows) : rowsTable(rows);
}

std::string extractAttachment(const Request& request) {
    // A reader that goes away is a failure with words.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    Library library;
    const Session session(library, request.database);
    const LateObject attachment = existingRecord(session, library.model("Attachment"), request.key);
    const auto title = std::get<std::string>(attachment.get("AttachmentTitle"));
    const std::string target = targetOf(request, library, title);
    const client::ByteArray content = contentOf(attachment);

    OutputFile file(target,
                    {.existing = request.replaces ? OutputRule::Existing::isReplaced : OutputRule::Existing::isKept,
                     .refusal = "is kept; give another name with -o, or --replace"});
    writeAll(file, content.text());
    if (!target.empty()) return fmt::format("{} written to {}\n", bytesText(content.bytes().size()), onOneLine(target));
    if (::isatty(STDERR_FILENO) == 1) {
        fmt::print(stderr, "{}: {}\n", onOneLine(title), bytesText(content.bytes().size()));
    }
    return {};
}

} // namespace corveth::cli
