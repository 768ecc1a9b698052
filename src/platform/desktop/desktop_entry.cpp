#include "platform/desktop/desktop_entry.h"

#include "platform/desktop/desktop_data.h"
#include "platform/desktop/mime_database.h"
#include "platform/desktop/process.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <unistd.h>
#include <utility>

namespace corveth {

namespace {

constexpr const char* entryGroup = "Desktop Entry";

/// A value with its escapes resolved.
Text unescaped(TextView value) {
    Text text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            text += value[i];
            continue;
        }
        const char letter = value[++i];
        constexpr TextView letters = "sntr\\";
        const auto known = letters.find(letter);
        if (known == TextView::npos) text += '\\';
        text += known == TextView::npos ? letter : " \n\t\r\\"[known];
    }
    return text;
}

/// The words of a command, which may be in quotes of either kind; none when a quote is not closed.
std::optional<std::vector<Text>> wordsOf(TextView command) {
    std::vector<Text> words;
    bool isInWord = false;
    char quote = '\0';
    for (std::size_t i = 0; i < command.size(); ++i) {
        char letter = command[i];
        if (quote == '\0' && (letter == ' ' || letter == '\t' || letter == '\n')) {
            isInWord = false;
            continue;
        }
        if (!std::exchange(isInWord, true)) words.emplace_back();
        if (letter == quote) {
            quote = '\0';
            continue;
        }
        if (quote == '\0' && (letter == '"' || letter == '\'')) {
            quote = letter;
            continue;
        }
        const char next = i + 1 < command.size() ? command[i + 1] : '\0';
        const bool isEscape = letter == '\\' && next != '\0' &&
                              (quote == '\0' || (quote == '"' && TextView("\"`$\\").find(next) != TextView::npos));
        if (isEscape) letter = command[++i];
        words.back() += letter;
    }
    if (quote != '\0') return std::nullopt;
    return words;
}

/// A value in the user's language.
TextView localized(const KeyFile& entry, const Text& key) {
    for (const Text& language : userLanguages()) {
        const TextView value = entry.get(entryGroup, key + "[" + language + "]");
        if (!value.empty()) return value;
    }
    return entry.get(entryGroup, key);
}

/// A word with its codes replaced; none when it holds one that cannot be. Codes of old are replaced by nothing.
std::optional<Text> expanded(const Text& word, const KeyFile& entry, const Text& path) {
    Text text;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '%') {
            text += word[i];
            continue;
        }
        switch (++i < word.size() ? word[i] : '\0') {
        case '%':
            text += '%';
            break;
        case 'c':
            text += unescaped(localized(entry, "Name"));
            break;
        case 'k':
            text += path;
            break;
        case 'd':
        case 'D':
        case 'n':
        case 'N':
        case 'v':
        case 'm':
            break;
        default:
            return std::nullopt;
        }
    }
    return text;
}

bool isInstalled(const Text& program) {
    if (!program.starts_with('/')) return !findProgram(program).empty();
    std::error_code none;
    return std::filesystem::is_regular_file(program, none) && access(program.c_str(), X_OK) == 0;
}

/// The words before the file; none when that is not all.
std::optional<std::vector<Text>> wordsBeforeFile(const KeyFile& entry, const Text& path) {
    const auto written = wordsOf(unescaped(entry.get(entryGroup, "Exec")));
    if (!written) return std::nullopt;
    std::vector<Text> words;
    bool isFileSeen = false;
    for (const Text& word : *written) {
        if (isFileSeen) return std::nullopt;
        if (word == "%f" || word == "%F" || word == "%u" || word == "%U") {
            isFileSeen = true;
        } else if (word == "%i") {
            const Text icon = unescaped(entry.get(entryGroup, "Icon"));
            if (!icon.empty()) words.insert(words.end(), {"--icon", icon});
        } else {
            auto text = expanded(word, entry, path);
            if (!text) return std::nullopt;
            if (!text->empty() || word.empty()) words.push_back(std::move(*text));
        }
    }
    return words;
}

/// The entry called `id`, in a folder or a folder below that the first parts of the name stand for.
Text findEntry(const Text& id) {
    constexpr std::size_t longest = 4096; // of a path
    if (id.find('/') != Text::npos || id.size() > longest) return {};
    for (const Text& folder : dataFolders()) {
        Text name = id;
        for (;;) {
            Text path = folder + "/applications/" + name;
            if (access(path.c_str(), R_OK) == 0) return path;
            const auto dash = name.find('-', name.rfind('/') + 1);
            if (dash == Text::npos) break;
            name[dash] = '/';
        }
    }
    return {};
}

bool isUsable(const Text& path) {
    const KeyFile entry(path);
    const Text tried = unescaped(entry.get(entryGroup, "TryExec"));
    return entry.get(entryGroup, "Type") == "Application" && (tried.empty() || isInstalled(tried));
}

Text usableEntry(const Text& id) {
    Text path = findEntry(id);
    return !path.empty() && isUsable(path) ? path : Text();
}

/// The lists of programs, those that count more first: each folder's for this desktop, then for all.
std::vector<Text> associationFiles() {
    std::vector<Text> prefixes;
    const char* const desktops = std::getenv("XDG_CURRENT_DESKTOP"); // NOLINT(concurrency-mt-unsafe): only read
    for (const Text& desktop : splitAt(':', desktops != nullptr ? desktops : ""))
        prefixes.push_back(foldCase(desktop) + "-");
    prefixes.emplace_back();
    std::vector<Text> folders = configFolders();
    for (const Text& folder : dataFolders())
        folders.push_back(folder + "/applications");
    std::vector<Text> files;
    for (const Text& folder : folders) {
        for (const Text& prefix : prefixes)
            files.push_back(folder + "/" + prefix + "mimeapps.list");
    }
    return files;
}

struct Associations {
    std::vector<KeyFile> lists;
    std::vector<KeyFile> caches; ///< what the entries themselves say

    Associations() {
        for (const Text& file : associationFiles())
            lists.emplace_back(file);
        for (const Text& folder : dataFolders())
            caches.emplace_back(folder + "/applications/mimeinfo.cache");
    }

    /// The one that the user or the system has chosen.
    [[nodiscard]] Text chosen(const Text& type) const {
        for (const KeyFile& list : lists) {
            for (const Text& id : splitAt(';', list.get("Default Applications", type))) {
                if (Text path = usableEntry(id); !path.empty()) return path;
            }
        }
        return {};
    }
    /// The first that can open it.
    [[nodiscard]] Text first(const Text& type) const {
        std::set<Text> removed;
        for (const KeyFile& list : lists) {
            for (const Text& id : splitAt(';', list.get("Added Associations", type))) {
                if (removed.contains(id)) continue;
                if (Text path = usableEntry(id); !path.empty()) return path;
            }
            for (Text& id : splitAt(';', list.get("Removed Associations", type)))
                removed.insert(std::move(id));
        }
        for (const KeyFile& cache : caches) {
            for (const Text& id : splitAt(';', cache.get("MIME Cache", type))) {
                if (removed.contains(id)) continue;
                if (Text path = usableEntry(id); !path.empty()) return path;
            }
        }
        return {};
    }
};

} // namespace

Text commandOfEntry(const Text& path) {
    const KeyFile entry(path);
    const auto says = [&](const char* key) { return entry.get(entryGroup, key) == "true"; };
    if (!isUsable(path) || says("Hidden") || says("Terminal") || !entry.get(entryGroup, "Path").empty()) return {};
    auto words = wordsBeforeFile(entry, path);
    if (!words || words->empty()) return {};
    Text& program = words->front();
    if (!isInstalled(program)) return {};
    if (!program.starts_with('/')) program = findProgram(program);
    Text command;
    for (const Text& word : *words) {
        if (!command.empty()) command += ' ';
        const bool isPlain = !word.empty() && word.find_first_of(" \t\"") == Text::npos;
        command += isPlain ? word : quotedWord(word);
    }
    return command;
}

Text entryInFiles(const Text& type) {
    const Associations associations;
    for (const Text& kind : typeAndParents(type)) {
        const std::vector<Text> names = typeAndAliases(kind);
        for (const Text& name : names) {
            if (Text path = associations.chosen(name); !path.empty()) return path;
        }
        for (const Text& name : names) {
            if (Text path = associations.first(name); !path.empty()) return path;
        }
    }
    return {};
}

} // namespace corveth
