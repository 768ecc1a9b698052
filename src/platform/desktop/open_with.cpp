#include "platform/desktop/open_with.h"

#include "platform/automation/error.h"
#include "platform/desktop/process.h"
#include "platform/desktop/replaceable.h"

#include <cstdlib>
#include <filesystem>

namespace corveth {

namespace {

bool isSet(const char* variable) noexcept {
    const char* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): only read
    return value != nullptr && *value != '\0';
}

void openOnDesktop(const Text& path) {
    std::vector<Text> words;
    if (Text opener = findProgram("xdg-open"); !opener.empty()) {
        words = {std::move(opener)};
    } else if (opener = findProgram("gio"); !opener.empty()) {
        words = {std::move(opener), "open"};
    } else {
        raise(53, "neither xdg-open nor gio is there to open " + inQuotes(path));
    }
    // Without one the opener would look for a browser for the terminal.
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) {
        raise(errors::invalidCall, "there is no display to open " + inQuotes(path) + " on");
    }
    words.push_back(std::filesystem::absolute(path).string()); // never an option
    startProcess(words);
}

Replaceable<void(const Text&)>& chooser() {
    static Replaceable<void(const Text&)> chooser(openOnDesktop);
    return chooser;
}

} // namespace

void openWithChooser(const Text& path) {
    chooser()(path);
}

OpenWithChooser setOpenWithChooser(OpenWithChooser replacement) {
    return chooser().set(std::move(replacement));
}

} // namespace corveth
