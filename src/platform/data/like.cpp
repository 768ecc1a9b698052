#include "platform/data/like.h"

#include <algorithm>

namespace corveth::data {

namespace {

char folded(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::size_t characterLength(TextView text) noexcept {
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U)
        ++length;
    return length;
}

bool sameCharacter(TextView a, TextView b) noexcept {
    return a.size() == b.size() && std::ranges::equal(a, b, {}, folded, folded);
}

/// Whether `character` is one of the bracket's list; `list` is what stands between the brackets.
bool inList(TextView character, TextView list) noexcept {
    const bool negated = !list.empty() && list.front() == '!';
    if (negated) list.remove_prefix(1);
    bool found = false;
    while (!list.empty()) {
        const TextView first = list.substr(0, characterLength(list));
        list.remove_prefix(first.size());
        if (list.size() > 1 && list.front() == '-') {
            list.remove_prefix(1);
            const TextView last = list.substr(0, characterLength(list));
            list.remove_prefix(last.size());
            // Code points in order are their bytes in order.
            found = found || (compareNoCase(first, character) <= 0 && compareNoCase(character, last) <= 0);
        } else {
            found = found || sameCharacter(first, character);
        }
    }
    return found != negated;
}

/// The length of the pattern's first item when it matches the text's first character; 0 when it does not.
std::size_t matchOne(TextView character, TextView pattern) noexcept {
    switch (pattern.front()) {
    case '?':
        return 1;
    case '#':
        return character.front() >= '0' && character.front() <= '9' ? 1 : 0;
    case '[': {
        const std::size_t close = pattern.find(']', 1);
        if (close == TextView::npos) break;
        return inList(character, pattern.substr(1, close - 1)) ? close + 1 : 0;
    }
    default:
        break;
    }
    const std::size_t length = characterLength(pattern);
    return sameCharacter(character, pattern.substr(0, length)) ? length : 0;
}

} // namespace

bool likeMatches(TextView text, TextView pattern) noexcept {
    // After a `*` it is enough to remember where it stood: a later one makes an earlier one's choice final.
    bool hasStar = false;
    TextView starText, starPattern;
    while (!text.empty()) {
        if (!pattern.empty() && pattern.front() == '*') {
            pattern.remove_prefix(1);
            hasStar = true;
            starText = text;
            starPattern = pattern;
            continue;
        }
        const TextView character = text.substr(0, characterLength(text));
        const std::size_t matched = pattern.empty() ? 0 : matchOne(character, pattern);
        if (matched != 0) {
            text.remove_prefix(character.size());
            pattern.remove_prefix(matched);
        } else if (hasStar) {
            starText.remove_prefix(characterLength(starText));
            text = starText;
            pattern = starPattern;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*') == TextView::npos;
}

} // namespace corveth::data
