// The desktop's data that every program of the user may write: entries, lists of programs, the database of types.

#include "support.h"

#include "platform/desktop/desktop_entry.h"
#include "platform/desktop/mime_database.h"
#include "platform/desktop/process.h"

#include <cstdlib>
#include <fstream>

using namespace corveth;
using fuzz::require;
namespace fs = std::filesystem;

namespace {

constexpr const char* files[] = {"applications/x.desktop",
                                 "applications/mimeapps.list",
                                 "applications/mimeinfo.cache",
                                 "mime/globs2",
                                 "mime/magic",
                                 "mime/aliases",
                                 "mime/subclasses",
                                 "mime/text/x-a.xml"};

/// All folders of the desktop's data lead to one of ours.
const fs::path& dataFolder() {
    static const fs::path folder = [] {
        fs::path made = fuzz::temporaryFolder() / "data";
        for (const char* const part : {"applications", "mime/text"})
            fs::create_directories(made / part);
        for (const char* const name : {"XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS"})
            ::setenv(name, made.c_str(), 1);
        ::setenv("LANG", "de_AT.UTF-8@euro", 1);
        ::setenv("PATH", "/bin:/usr/bin", 1);
        return made;
    }();
    return folder;
}

void checkCommand(const Text& path) {
    const Text command = commandOfEntry(path);
    if (command.empty()) return;
    const std::vector<Text> words = splitCommandLine(command);
    require(!words.empty() && words.front().starts_with('/'), "a command begins with a full path", command);
}

} // namespace

/// A byte that says which file, another for how many bytes the file whose type is asked for begins with, these, and the
/// rest is the file of data.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const fs::path path = dataFolder() / files[input.below(std::size(files))];
    const auto asked = input.take(input.byte());
    const Text beginning = fuzz::textOf(asked.data(), asked.size());
    const auto rest = input.take(size);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(rest.data()), static_cast<std::streamsize>(rest.size()));

    checkCommand((dataFolder() / files[0]).string());
    const Text type = typeInDatabase("x.a", beginning, false);
    require(!type.empty(), "every file is of some type");
    static_cast<void>(typeInDatabase({}, beginning, true));
    static_cast<void>(typeComment("text/x-a"));
    const Text entry = entryInFiles("text/x-a");
    require(entry.empty() || entry.starts_with('/'), "an entry has a full path", entry);
    fs::remove(path);
    return 0;
}
