#pragma once

#include "platform/automation/text.h"

#include <array>
#include <cstdint>

namespace corveth::data {

/// What a character can begin in statement text.
enum class CharClass : std::uint8_t { symbol, blank, word, digit, nul };

inline constexpr std::array<CharClass, 256> charClasses = [] {
    std::array<CharClass, 256> classes{};
    for (std::size_t c = 0; c < classes.size(); ++c) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c >= 0x80) classes[c] = CharClass::word;
        if (c >= '0' && c <= '9') classes[c] = CharClass::digit;
    }
    for (const char c : {' ', '\t', '\r', '\n', '\f', '\v'})
        classes[static_cast<unsigned char>(c)] = CharClass::blank;
    classes[0] = CharClass::nul;
    return classes;
}();

constexpr CharClass charClass(char c) noexcept {
    return charClasses[static_cast<unsigned char>(c)];
}
constexpr bool isWordChar(char c) noexcept {
    const auto c2 = charClass(c);
    return c2 == CharClass::word || c2 == CharClass::digit;
}

/// `lower` is in small letters, `text` in any.
constexpr bool isWord(TextView text, TextView lower) noexcept {
    if (text.size() != lower.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if ((c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c) != lower[i]) return false;
    }
    return true;
}

} // namespace corveth::data
