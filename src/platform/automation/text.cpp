#include "platform/automation/text.h"

#include <algorithm>
#include <fmt/format.h>

namespace corveth {

namespace {

constexpr char32_t illFormed = 0xFFFFFFFF;
constexpr std::size_t longestQuote = 80;

struct Decoded {
    char32_t point;     ///< `illFormed` when no character starts here
    std::size_t length; ///< bytes, at least 1
};

constexpr char lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr unsigned char byteAt(TextView text, std::size_t index) noexcept {
    return static_cast<unsigned char>(text[index]);
}

/// The character at `start`, which lies inside `text`.
Decoded decode(TextView text, std::size_t start) noexcept {
    const unsigned char first = byteAt(text, start);
    if (first < 0x80) return {first, 1};

    std::size_t length = 0;
    char32_t smallest = 0;
    char32_t point = 0;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2, smallest = 0x80, point = first & 0x1FU;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3, smallest = 0x800, point = first & 0x0FU;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4, smallest = 0x10000, point = first & 0x07U;
    } else {
        return {illFormed, 1};
    }
    if (text.size() - start < length) return {illFormed, 1};
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char next = byteAt(text, start + i);
        if ((next & 0xC0U) != 0x80) return {illFormed, 1};
        point = (point << 6U) | (next & 0x3FU);
    }
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    if (point < smallest || point > 0x10FFFF || surrogate) return {illFormed, 1};
    return {point, length};
}

constexpr std::size_t unitsOf(char32_t point) noexcept {
    return point != illFormed && point > 0xFFFF ? 2 : 1;
}

} // namespace

TextView trimBlanks(TextView text) noexcept {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

TextView leftUnits(TextView text, std::size_t units) noexcept {
    std::size_t end = 0;
    while (end < text.size()) {
        const Decoded next = decode(text, end);
        const std::size_t cost = unitsOf(next.point);
        if (cost > units) break;
        units -= cost;
        end += next.length;
    }
    return text.substr(0, end);
}

std::size_t unitCount(TextView text) noexcept {
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size();) {
        const Decoded next = decode(text, i);
        units += unitsOf(next.point);
        i += next.length;
    }
    return units;
}

Text replaceAll(TextView text, TextView what, TextView with) {
    if (what.empty()) return Text(text);
    Text result;
    std::size_t done = 0;
    for (std::size_t hit = text.find(what); hit != TextView::npos; hit = text.find(what, done)) {
        result.append(text.substr(done, hit - done)).append(with);
        done = hit + what.size();
    }
    return result.append(text.substr(done));
}

bool equalNoCase(TextView a, TextView b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

int compareNoCase(TextView a, TextView b) noexcept {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const auto x = static_cast<unsigned char>(lower(a[i]));
        const auto y = static_cast<unsigned char>(lower(b[i]));
        if (x != y) return x < y ? -1 : 1;
    }
    if (a.size() == b.size()) return 0;
    return a.size() < b.size() ? -1 : 1;
}

Text foldCase(TextView text) {
    Text folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), lower);
    return folded;
}

Text inQuotes(TextView text) {
    Text result = "\"";
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size();) {
        const Decoded next = decode(text, i);
        units += unitsOf(next.point);
        if (units > longestQuote) return result + "\"...";
        if (next.point == illFormed || next.point < 0x20 || next.point == 0x7F) {
            result += fmt::format("\\x{:02X}", byteAt(text, i));
        } else {
            result.append(text.substr(i, next.length));
        }
        i += next.length;
    }
    return result + '"';
}

bool isUtf8(TextView text) noexcept {
    for (std::size_t i = 0; i < text.size();) {
        const Decoded next = decode(text, i);
        if (next.point == illFormed) return false;
        i += next.length;
    }
    return true;
}

} // namespace corveth
