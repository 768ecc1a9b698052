#include "cli/xml_text.h"

#include "cli/text_table.h"

#include <fmt/format.h>

namespace corveth::cli {

namespace {

constexpr std::string_view replacement = "\uFFFD";

/// Bytes that stand for the character; 0 for none that XML has.
std::size_t lengthInXml(char32_t character) {
    if (character < 0x20 && character != '\t' && character != '\n' && character != '\r') return 0;
    if (character >= 0xD800 && character <= 0xDFFF) return 0;
    if (character == 0xFFFE || character == 0xFFFF || character > 0x10FFFF) return 0;
    if (character < 0x80) return 1;
    if (character < 0x800) return 2;
    return character < 0x10000 ? 3 : 4;
}

} // namespace

std::string xmlText(std::string_view text) {
    std::string xml;
    xml.reserve(text.size());
    while (!text.empty()) {
        const std::string_view before = text;
        const char32_t character = takeCharacter(text);
        const std::string_view bytes = before.substr(0, before.size() - text.size());
        switch (character) {
        case '&':
            xml += "&amp;";
            break;
        case '<':
            xml += "&lt;";
            break;
        case '>':
            xml += "&gt;";
            break;
        case '"':
            xml += "&quot;";
            break;
        case '\r':
            xml += "&#13;";
            break;
        default:
            xml += bytes.size() == lengthInXml(character) ? bytes : replacement;
        }
    }
    return xml;
}

std::string shortened(std::string_view text, std::size_t cells) {
    if (displayWidth(text) <= cells) return std::string(text);
    std::string_view rest = text;
    std::size_t width = 1; // of the ellipsis
    while (!rest.empty()) {
        const std::string_view before = rest;
        takeCharacter(rest);
        width += displayWidth(before.substr(0, before.size() - rest.size()));
        if (width > cells) return fmt::format("{}…", text.substr(0, text.size() - before.size()));
    }
    return std::string(text);
}

} // namespace corveth::cli
