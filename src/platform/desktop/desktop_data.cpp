#include "platform/desktop/desktop_data.h"

#include "platform/automation/error.h"
#include "platform/desktop/file_content.h"

#include <algorithm>
#include <cstdlib>

namespace corveth {

namespace {

TextView variable(const char* name) noexcept {
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): only read
    return value != nullptr ? value : "";
}

/// The user's folder and the shared ones. A path that is not absolute means nothing.
std::vector<Text> foldersIn(const char* own, const char* ownDefault, const char* shared, TextView sharedDefault) {
    std::vector<Text> folders;
    if (const TextView set = variable(own); !set.empty()) {
        folders.emplace_back(set);
    } else if (const TextView home = variable("HOME"); !home.empty()) {
        folders.push_back(Text(home) + ownDefault);
    }
    const TextView set = variable(shared);
    for (Text& folder : splitAt(':', set.empty() ? sharedDefault : set))
        folders.push_back(std::move(folder));
    std::erase_if(folders, [](const Text& folder) { return !folder.starts_with('/'); });
    return folders;
}

} // namespace

std::vector<Text> dataFolders() {
    return foldersIn("XDG_DATA_HOME", "/.local/share", "XDG_DATA_DIRS", "/usr/local/share:/usr/share");
}

std::vector<Text> configFolders() {
    return foldersIn("XDG_CONFIG_HOME", "/.config", "XDG_CONFIG_DIRS", "/etc/xdg");
}

std::vector<Text> userLanguages() {
    TextView set;
    for (const char* const name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (set = variable(name); !set.empty()) break;
    }
    std::vector<Text> languages;
    for (const Text& locale : splitAt(':', set)) {
        // language_TERRITORY.codeset@modifier
        const auto at = locale.find('@');
        const Text modifier = at == Text::npos ? Text() : locale.substr(at);
        const Text plain = locale.substr(0, std::min(locale.find('.'), at));
        if (plain == "C" || plain == "POSIX") break;
        const auto territory = plain.find('_');
        for (const Text& name : {plain, plain.substr(0, territory)}) {
            if (!modifier.empty()) languages.push_back(name + modifier);
            languages.push_back(name);
        }
    }
    return languages;
}

Text contentOf(const Text& path) {
    try {
        const Bytes bytes = readFile(path);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    } catch (const Error&) {
        return {};
    }
}

std::vector<TextView> linesOf(TextView content) {
    std::vector<TextView> lines;
    while (!content.empty()) {
        const auto end = std::min(content.find('\n'), content.size());
        lines.push_back(content.substr(0, end));
        content.remove_prefix(std::min(end + 1, content.size()));
    }
    return lines;
}

KeyFile::KeyFile(const Text& path) {
    const Text content = contentOf(path);
    Text group;
    for (TextView line : linesOf(content)) {
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.starts_with('#')) continue;
        if (line.starts_with('[')) {
            group = line.substr(1, line.find(']') - 1);
            continue;
        }
        const auto equals = line.find('=');
        if (equals == TextView::npos) continue;
        values_.insert_or_assign({group, Text(trimBlanks(line.substr(0, equals)))},
                                 Text(trimBlanks(line.substr(equals + 1))));
    }
}

TextView KeyFile::get(const Text& group, const Text& key) const {
    const auto found = values_.find({group, key});
    return found == values_.end() ? TextView() : TextView(found->second);
}

std::vector<Text> splitAt(char separator, TextView text) {
    std::vector<Text> parts;
    while (!text.empty()) {
        const auto end = std::min(text.find(separator), text.size());
        if (end > 0) parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

} // namespace corveth
