#include "platform/desktop/mime_database.h"

#include "platform/desktop/desktop_data.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <fnmatch.h>
#include <map>
#include <set>

namespace corveth {

namespace {

constexpr const char* unknownType = "application/octet-stream";
constexpr const char* plainText = "text/plain";
constexpr const char* emptyType = "application/x-zerosize";
constexpr int certain = 80; ///< a beginning of this priority outweighs the name

template <class Number>
Number numberOf(TextView digits, Number otherwise) noexcept {
    std::from_chars(digits.data(), digits.data() + digits.size(), otherwise);
    return otherwise;
}

// Names.

struct Glob {
    int weight = 0;
    Text type;
    Text pattern; ///< in small letters unless their case matters
    bool isCaseSensitive = false;
};

enum class GlobKind { literal, suffix, other };

GlobKind kindOf(TextView pattern) noexcept {
    constexpr TextView special = "*?[\\";
    if (pattern.find_first_of(special) == TextView::npos) return GlobKind::literal;
    return pattern.starts_with('*') && pattern.find_first_of(special, 1) == TextView::npos ? GlobKind::suffix
                                                                                           : GlobKind::other;
}

/// Of every folder: weight:type:pattern[:flags]. A pattern whose case matters stands there again without its flags, for
/// readers that know none.
std::vector<Glob> readGlobs() {
    std::vector<Glob> globs;
    std::set<Text> exact;
    for (const Text& folder : dataFolders()) {
        const Text content = contentOf(folder + "/mime/globs2");
        for (const TextView line : linesOf(content)) {
            if (line.starts_with('#')) continue;
            const std::vector<Text> parts = splitAt(':', line);
            if (parts.size() < 3) continue;
            const bool isCaseSensitive = parts.size() > 3 && parts[3].find("cs") != Text::npos;
            if (isCaseSensitive) exact.insert(parts[1] + ":" + parts[2]);
            if (!isCaseSensitive && exact.contains(parts[1] + ":" + parts[2])) continue;
            globs.push_back(
                {numberOf(parts[0], 0), parts[1], isCaseSensitive ? parts[2] : foldCase(parts[2]), isCaseSensitive});
        }
    }
    return globs;
}

/// Those of one kind that fit; of suffixes the longest.
std::vector<const Glob*> fitting(const std::vector<Glob>& globs, GlobKind kind, const Text& name, bool isFolded) {
    std::vector<const Glob*> found;
    for (const Glob& glob : globs) {
        if (kindOf(glob.pattern) != kind || (isFolded && glob.isCaseSensitive)) continue;
        const bool fits = kind == GlobKind::literal  ? name == glob.pattern
                          : kind == GlobKind::suffix ? name.ends_with(TextView(glob.pattern).substr(1))
                                                     : fnmatch(glob.pattern.c_str(), name.c_str(), 0) == 0;
        if (!fits) continue;
        if (kind == GlobKind::suffix && !found.empty()) {
            if (glob.pattern.size() < found.front()->pattern.size()) continue;
            if (glob.pattern.size() > found.front()->pattern.size()) found.clear();
        }
        found.push_back(&glob);
    }
    return found;
}

/// The types that the name may mean, the likeliest first.
std::vector<Text> typesOfName(const Text& name) {
    if (name.empty()) return {};
    const std::vector<Glob> globs = readGlobs();
    std::vector<const Glob*> found;
    for (const GlobKind kind : {GlobKind::literal, GlobKind::suffix, GlobKind::other}) {
        found = fitting(globs, kind, name, false);
        if (found.empty()) found = fitting(globs, kind, foldCase(name), true);
        if (!found.empty()) break;
    }
    std::ranges::sort(found, [](const Glob* left, const Glob* right) {
        return left->weight != right->weight ? left->weight > right->weight : left < right; // as they were read
    });
    std::vector<Text> types;
    for (const Glob* glob : found) {
        if (std::ranges::find(types, glob->type) == types.end()) types.push_back(glob->type);
    }
    return types;
}

// Beginnings.

/// What must stand at one of some places; those that follow with a larger depth belong to it, and one of them must fit.
struct Test {
    unsigned depth = 0;
    std::size_t place = 0, places = 1;
    Text value, mask;
};
struct Magic {
    int priority = 0;
    Text type;
    std::vector<Test> tests;
};

/// Reads the file of tests, which is text around bytes; stops at what it does not understand.
class MagicReader {
public:
    explicit MagicReader(TextView content) noexcept : rest_(content) {}

    std::vector<Magic> read() {
        static constexpr TextView head("MIME-Magic\0\n", 12);
        std::vector<Magic> all;
        if (!rest_.starts_with(head)) return all;
        rest_.remove_prefix(head.size());
        while (!rest_.empty()) {
            if (rest_.front() == '[') {
                Magic magic;
                if (!readHead(magic)) break;
                all.push_back(std::move(magic));
            } else {
                Test test;
                if (all.empty() || !readTest(test)) break;
                all.back().tests.push_back(std::move(test));
            }
        }
        return all;
    }

private:
    /// [priority:type]
    bool readHead(Magic& magic) {
        const auto end = rest_.find("]\n");
        const auto colon = rest_.find(':');
        if (end == TextView::npos || colon > end) return false;
        magic.priority = numberOf(rest_.substr(1, colon - 1), 0);
        magic.type = rest_.substr(colon + 1, end - colon - 1);
        rest_.remove_prefix(end + 2);
        return true;
    }
    /// [depth]>place=size value[&mask][~word][+places]
    bool readTest(Test& test) {
        constexpr unsigned deepest = 64; // each level takes some of the stack when it is looked at
        test.depth = readNumber<unsigned>(0);
        if (test.depth > deepest || !take('>')) return false;
        test.place = readNumber<std::size_t>(0);
        if (!take('=') || rest_.size() < 2) return false;
        const std::size_t size =
            (static_cast<unsigned char>(rest_[0]) * std::size_t{256}) + static_cast<unsigned char>(rest_[1]);
        rest_.remove_prefix(2);
        if (!readBytes(size, test.value)) return false;
        if (take('&') && !readBytes(size, test.mask)) return false;
        const auto word = take('~') ? readNumber<std::size_t>(1) : 1;
        if (take('+')) test.places = readNumber<std::size_t>(1);
        toHostOrder(test.value, word);
        toHostOrder(test.mask, word);
        const auto end = rest_.find('\n'); // later versions may add parts
        if (end == TextView::npos) return false;
        rest_.remove_prefix(end + 1);
        return true;
    }
    bool take(char mark) noexcept {
        if (!rest_.starts_with(mark)) return false;
        rest_.remove_prefix(1);
        return true;
    }
    template <class Number>
    Number readNumber(Number otherwise) noexcept {
        const auto end = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        const Number number = numberOf(rest_.substr(0, end), otherwise);
        rest_.remove_prefix(end);
        return number;
    }
    bool readBytes(std::size_t size, Text& bytes) {
        if (rest_.size() < size) return false;
        bytes = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return true;
    }
    static void toHostOrder(Text& bytes, std::size_t word) {
        if (std::endian::native == std::endian::big || word < 2) return;
        for (std::size_t at = 0; at + word <= bytes.size(); at += word) {
            const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
            std::reverse(begin, begin + static_cast<std::ptrdiff_t>(word));
        }
    }

    TextView rest_;
};

bool standsAt(const Test& test, TextView bytes) noexcept {
    if (test.mask.empty()) return bytes.starts_with(test.value);
    for (std::size_t i = 0; i < test.value.size(); ++i) {
        if ((bytes[i] & test.mask[i]) != (test.value[i] & test.mask[i])) return false;
    }
    return true;
}

bool fits(const Test& test, TextView beginning) noexcept {
    if (test.value.size() > beginning.size()) return false;
    const std::size_t last = beginning.size() - test.value.size();
    // Both numbers are the file's own, and may be any.
    for (std::size_t at = test.place, left = test.places; at <= last && left > 0; ++at, --left) {
        if (standsAt(test, beginning.substr(at))) return true;
    }
    return false;
}

bool anyFits(const std::vector<Test>& tests, std::size_t first, std::size_t end, TextView beginning) noexcept {
    while (first < end) {
        std::size_t next = first + 1;
        while (next < end && tests[next].depth > tests[first].depth)
            ++next;
        if (fits(tests[first], beginning) &&
            (next == first + 1 || anyFits(tests, first + 1, next, beginning))) // NOLINT(misc-no-recursion)
            return true;
        first = next;
    }
    return false;
}

struct Sniffed {
    Text type;
    int priority = 0;
};

Sniffed typeOfBeginning(TextView beginning) {
    Sniffed best;
    for (const Text& folder : dataFolders()) {
        const Text content = contentOf(folder + "/mime/magic");
        for (const Magic& magic : MagicReader(content).read()) {
            if (magic.priority > best.priority && anyFits(magic.tests, 0, magic.tests.size(), beginning)) {
                best = {magic.type, magic.priority};
            }
        }
    }
    return best;
}

bool looksLikeText(TextView beginning) noexcept {
    return std::ranges::none_of(beginning, [](char letter) {
        const bool isControl = (letter >= 0 && letter < ' ') || letter == '\x7F';
        return isControl && TextView("\t\n\v\f\r\b").find(letter) == TextView::npos;
    });
}

/// The pairs of words in the lines of a file of the database.
std::vector<std::pair<Text, Text>> pairsIn(const char* file) {
    std::vector<std::pair<Text, Text>> pairs;
    for (const Text& folder : dataFolders()) {
        const Text content = contentOf(folder + "/mime/" + file);
        for (const TextView line : linesOf(content)) {
            const auto blank = line.find(' ');
            if (blank != TextView::npos) pairs.emplace_back(line.substr(0, blank), line.substr(blank + 1));
        }
    }
    return pairs;
}

/// Every text is a kind of plain text, whether the database says so or not.
bool isKindOf(const Text& type, const Text& other) {
    const std::vector<Text> kinds = typeAndParents(type);
    return std::ranges::any_of(
        kinds, [&](const Text& kind) { return kind == other || (other == plainText && kind.starts_with("text/")); });
}

/// With the few entities that a comment can hold resolved.
Text fromMarkup(TextView markup) {
    static const std::map<TextView, TextView> entities = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}};
    Text text(markup);
    for (const auto& [entity, meaning] : entities)
        text = replaceAll(text, entity, meaning);
    return replaceAll(text, "&amp;", "&");
}

} // namespace

Text typeInDatabase(const Text& name, TextView beginning, bool isWhole) {
    const std::vector<Text> named = typesOfName(name);
    if (named.size() == 1) return named.front();

    Sniffed sniffed;
    if (!beginning.empty()) {
        sniffed = typeOfBeginning(beginning);
        if (sniffed.type.empty() && looksLikeText(beginning)) sniffed.type = plainText;
        // What starts programs must say so by its name.
        if (sniffed.type == "application/x-desktop") sniffed.type = plainText;
    } else if (isWhole) {
        sniffed = {emptyType, 100};
    }
    if (named.empty()) return sniffed.type.empty() ? unknownType : sniffed.type;
    if (sniffed.type.empty()) return named.front();
    if (sniffed.priority >= certain) return sniffed.type;
    for (const Text& candidate : named) {
        if (isKindOf(candidate, sniffed.type)) return candidate;
    }
    return named.front();
}

Text typeComment(const Text& type) {
    if (type.find("..") != Text::npos) return {}; // a type becomes a path here
    const std::vector<Text> languages = userLanguages();
    for (const Text& folder : dataFolders()) {
        const Text content = contentOf(folder + "/mime/" + type + ".xml");
        std::map<Text, TextView> comments;
        for (TextView rest = content;;) {
            const auto tag = rest.find("<comment");
            const auto begin = rest.find('>', tag);
            const auto end = rest.find("</comment>", begin);
            if (tag == TextView::npos || begin == TextView::npos || end == TextView::npos) break;
            const std::vector<Text> attribute = splitAt('"', rest.substr(tag, begin - tag));
            comments.emplace(attribute.size() > 1 ? attribute[1] : Text(), rest.substr(begin + 1, end - begin - 1));
            rest.remove_prefix(end);
        }
        for (const Text& language : languages) {
            if (const auto found = comments.find(language); found != comments.end()) return fromMarkup(found->second);
        }
        if (const auto found = comments.find(""); found != comments.end()) return fromMarkup(found->second);
    }
    return {};
}

std::vector<Text> typeAndParents(const Text& type) {
    std::vector<Text> kinds{type};
    for (const auto& [alias, meant] : pairsIn("aliases")) {
        if (alias == type) kinds.front() = meant;
    }
    const auto parents = pairsIn("subclasses");
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        for (const auto& [child, parent] : parents) {
            if (child == kinds[i] && std::ranges::find(kinds, parent) == kinds.end()) kinds.push_back(parent);
        }
    }
    return kinds;
}

std::vector<Text> typeAndAliases(const Text& type) {
    std::vector<Text> names{type};
    for (auto& [alias, meant] : pairsIn("aliases")) {
        if (meant == type) names.push_back(std::move(alias));
    }
    return names;
}

} // namespace corveth
