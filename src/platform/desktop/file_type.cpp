#include "platform/desktop/file_type.h"

#include "platform/desktop/desktop_entry.h"
#include "platform/desktop/gio.h"
#include "platform/desktop/mime_database.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corveth {

namespace {

Text nameOf(const Text& path) {
    return path.substr(path.rfind('/') + 1);
}

struct Beginning {
    Text bytes;
    bool isRead = false;
};

/// As much of a regular file as tells its type; of anything else nothing.
Beginning beginningOf(const Text& path) {
    constexpr std::size_t enough = std::size_t{16} * 1024;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) return {};
    Text bytes(enough, '\0');
    const auto length = read(file, bytes.data(), bytes.size());
    close(file);
    if (length < 0) return {};
    bytes.resize(static_cast<std::size_t>(length));
    return {std::move(bytes), true};
}

Text typeOf(const Text& path) {
    const Text name = nameOf(path);
    const Beginning beginning = beginningOf(path);
    const Gio* const gio = Gio::find();
    return gio != nullptr ? gio->typeOf(name, beginning.bytes, beginning.isRead)
                          : typeInDatabase(name, beginning.bytes, beginning.isRead);
}

/// Where no database of types is installed.
Text plainTypeText(const Text& name) {
    const auto dot = name.rfind('.');
    if (dot == Text::npos || dot == 0 || dot + 1 == name.size()) return "File";
    Text text = name.substr(dot + 1) + " File";
    std::transform(
        text.begin(), text.begin() + static_cast<std::ptrdiff_t>(name.size() - dot - 1), text.begin(),
        [](unsigned char letter) { return static_cast<char>(letter < 0x80 ? std::toupper(letter) : letter); });
    return text;
}

} // namespace

Text fileTypeText(const Text& path) {
    Text text = typeComment(typeOf(path));
    return text.empty() ? plainTypeText(nameOf(path)) : text;
}

Text associatedProgram(const Text& path) {
    const Text type = typeOf(path);
    const Gio* const gio = Gio::find();
    const Text entry = gio != nullptr ? gio->entryFor(type) : entryInFiles(type);
    return entry.empty() ? Text() : commandOfEntry(entry);
}

} // namespace corveth
