// A file that is shown or changed: its copy in the temporary folder, and the program that works on it.

#include "attachments/attachment.h"
#include "platform/desktop/file_content.h"
#include "platform/desktop/file_name.h"
#include "platform/desktop/message_pump.h"
#include "platform/desktop/open_with.h"
#include "platform/desktop/window.h"
#include "platform/scope_exit.h"
#include "session/file_info_service.h"
#include "session/module_state.h"

#include <cstdio>
#include <filesystem>

namespace corveth {

namespace {

/// The last four characters of a path, which is never shorter.
TextView ending(TextView path) noexcept {
    constexpr std::size_t length = 4;
    return path.substr(path.size() - std::min(length, path.size()));
}

bool isProgram(TextView path) noexcept {
    return equalNoCase(ending(path), ".EXE");
}

/// Found within one text, as are the endings that lie across both, such as that of "null.o".
bool isLibrary(TextView path) {
    return foldCase(".DLL.OCX").find(foldCase(ending(path))) != Text::npos;
}

/// The program for pages of the web. It is asked for by a page of our own in the current folder; one that is there
/// already is the user's, and serves as it is.
Text pageProgram(FileInfoService& service) {
    const Text page = std::filesystem::absolute("index.html").string();
    std::FILE* const made = std::fopen(page.c_str(), "wxe"); // fails when it is there
    const auto remove = finally([&] {
        if (made != nullptr) std::remove(page.c_str());
    });
    if (made != nullptr) {
        std::fputs("<Body> </Body>", made);
        std::fclose(made);
    }
    return service.Program(page);
}

Text programFor(const Text& path) {
    const auto service = makeFileInfoService();
    Text program(trimBlanks(service->Program(path)));
    if (program.empty() && isLibrary(path)) program = pageProgram(*service);
    return program;
}

} // namespace

void Attachment::OpenAttachment() {
    if (isAlive_) return;
    Text path;
    attempt("finding the temporary folder", [&] {
        path = std::filesystem::absolute(dbService()->GetTempFolder() + fileNameFrom(AttachmentTitle)).string();
    });
    if (path.empty()) return;
    attempt("writing the copy", [&] { writeCopy(path); });
    tempFilePath_ = path;

    Text program;
    if (!isProgram(path)) attempt("looking for the program", [&] { program = programFor(path); });
    attempt("starting the program", [&] { start(path, program); });
}

void Attachment::writeCopy(const Text& path) const {
    const auto* bytes = Data.getIf<Bytes>();
    const auto content = bytes == nullptr ? std::span<const std::byte>() : *bytes;
    writeNewFile(path, content, isProgram(path) ? FileUse::program : FileUse::document);
    if (bytes == nullptr) raise(errors::typeMismatch, "Data holds no array of bytes");
}

void Attachment::start(const Text& path, const Text& program) {
    RunningProcess started;
    if (isProgram(path)) {
        started = startProcess({path});
    } else if (std::error_code none; std::filesystem::is_regular_file(program, none)) {
        started = startProcess({program, path}); // a service may give the plain path, which can hold blanks
    } else if (!program.empty()) {
        started = startProcess(splitCommandLine(program + " " + quotedWord(path)));
    } else {
        openWithChooser(path);
    }
    process_ = std::move(started);
}

void Attachment::CloseAttachmentWindow() {
    process_.terminate();
    for (int i = 0; i < 2; ++i)
        attempt("processing window messages", [] { pumpMessages(); });
    if (documentWindow_ == 0) return;
    attempt("minimizing the window", [&] { closeWindow(documentWindow_); });
    attempt("destroying the window", [&] { destroyWindow(documentWindow_); });
}

} // namespace corveth
