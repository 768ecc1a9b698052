// Titles that become names of files, and command lines: what comes out is safe to use whatever went in.

#include "support.h"

#include "platform/automation/error.h"
#include "platform/desktop/file_name.h"
#include "platform/desktop/process.h"

#include <algorithm>

using namespace corveth;
using fuzz::require;

namespace {

void checkName(const Text& title) {
    constexpr std::size_t longest = 255;
    const Text name = fileNameFrom(title);
    require(!name.empty() && name.size() <= longest, "a name has 1 to 255 bytes", name);
    require(isUtf8(name), "a name is text", name);
    require(name != "." && name != "..", "a name is no folder", name);
    require(std::ranges::none_of(name, [](unsigned char c) { return c < ' ' || c == 0x7F || c == '/'; }),
            "a name stays in its folder", name);
    require(fileNameFrom(name) == name, "a safe name stays as it is", name);
}

void checkCommandLine(const Text& line) {
    require(splitCommandLine(quotedWord(line)) == std::vector{line}, "a quoted word comes back", line);
    try {
        Text again;
        const std::vector<Text> words = splitCommandLine(line);
        for (const Text& word : words)
            again += quotedWord(word) + ' ';
        require(splitCommandLine(again) == words, "quoted words come back", again);
    } catch (const Error& error) {
        require(error.number == errors::invalidCall, "only an open quote can be wrong", error.description);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text text = fuzz::textOf(data, size);
    checkName(text);
    checkCommandLine(text);
    return 0;
}
