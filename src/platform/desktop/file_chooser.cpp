#include "platform/desktop/file_chooser.h"

#include "platform/automation/error.h"
#include "platform/desktop/replaceable.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

namespace corveth {

namespace {

Text readLine() {
    char* buffer = nullptr;
    std::size_t size = 0;
    const auto length = getline(&buffer, &size, stdin);
    const std::unique_ptr<char, void (*)(void*)> owner(buffer, std::free);
    if (length < 0) return {};
    Text line(buffer, static_cast<std::size_t>(length));
    if (line.ends_with('\n')) line.pop_back();
    return line;
}

Text askOnTerminal(TextView prompt) {
    const Text shown = Text(prompt) + " ";
    static_cast<void>(std::fwrite(shown.data(), 1, shown.size(), stderr));
    Text path = readLine();
    if (!isUtf8(path) || path.find('\0') != Text::npos) {
        raise(errors::invalidCall, inQuotes(path) + " is no path in UTF-8");
    }
    return path;
}

thread_local std::optional<Text> inAdvance;

Replaceable<Text(TextView)>& chooser() {
    static Replaceable<Text(TextView)> chooser(askOnTerminal);
    return chooser;
}

} // namespace

Text chooseFile(TextView prompt) {
    if (auto chosen = std::exchange(inAdvance, std::nullopt)) return std::move(*chosen);
    return chooser()(prompt);
}

void chooseFileInAdvance(TextView path) {
    inAdvance = Text(path);
}

FileChooser setFileChooser(FileChooser replacement) {
    return chooser().set(std::move(replacement));
}

} // namespace corveth
