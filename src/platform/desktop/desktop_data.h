#pragma once

#include "platform/automation/text.h"

#include <map>
#include <vector>

namespace corveth {

/// The folders that hold the desktop's data, the user's own first: XDG_DATA_HOME, then XDG_DATA_DIRS.
std::vector<Text> dataFolders();
/// The folders that hold its settings, the user's own first: XDG_CONFIG_HOME, then XDG_CONFIG_DIRS.
std::vector<Text> configFolders();

/// The languages that the user reads, the best first: `de_AT`, `de`. None where that is the language of the programs.
std::vector<Text> userLanguages();

/// The whole file; empty when it cannot be read.
Text contentOf(const Text& path);
/// The lines of `content`, without their line breaks.
std::vector<TextView> linesOf(TextView content);

/// The groups and keys of a desktop entry and of its like.
class KeyFile {
public:
    /// Without a key when the file cannot be read.
    explicit KeyFile(const Text& path);

    /// The value as it is written; empty when there is none.
    [[nodiscard]] TextView get(const Text& group, const Text& key) const;

private:
    std::map<std::pair<Text, Text>, Text> values_;
};

/// The parts of `text` between the separators; empty ones are left out.
std::vector<Text> splitAt(char separator, TextView text);

} // namespace corveth
