#include "cli/text_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <clocale>
#include <cwchar>

namespace corveth::cli {

namespace {

/// Widths come from the C library's table, whatever locale the user has.
std::size_t characterWidth(char32_t character) {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (utf8 == nullptr) return 1;
    const locale_t before = uselocale(utf8);
    const int width = wcwidth(static_cast<wchar_t>(character));
    uselocale(before);
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

std::string trimmedRight(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

char32_t takeCharacter(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80) return lead;
    std::size_t more = 0;
    char32_t character = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        more = 1;
        character = lead & 0x1FU;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        more = 2;
        character = lead & 0x0FU;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        more = 3;
        character = lead & 0x07U;
    }
    if (more == 0 || text.size() < more) return 0xFFFD;
    for (std::size_t i = 0; i < more; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80) return 0xFFFD;
        character = (character << 6U) | (byte & 0x3FU);
    }
    text.remove_prefix(more);
    return character;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const char32_t character = takeCharacter(text);
        width += character < 0x7F ? 1 : characterWidth(character);
    }
    return width;
}

namespace {

/// Ends a line, or turns the direction of what follows round, outside the text that it stands in too.
bool turnsText(char32_t character) noexcept {
    return (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

} // namespace

std::string onOneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view before = rest;
        const char32_t character = takeCharacter(rest);
        if (character == '\n') {
            line += "\\n";
        } else if (character == '\r') {
            line += "\\r";
        } else if (character == '\t') {
            line += "\\t";
        } else if (turnsText(character)) {
            line += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        } else if (character < 0x20 || (character >= 0x7F && character < 0xA0)) {
            line += fmt::format("\\x{:02x}", static_cast<unsigned>(character));
        } else {
            line += before.substr(0, before.size() - rest.size());
        }
    }
    return line;
}

std::string shellWord(std::string_view text) {
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=:,./@%";
    if (!text.empty() && text.find_first_not_of(plain) == std::string_view::npos) return std::string(text);
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

TextTable::TextTable(std::vector<std::string> headings) : headings_(std::move(headings)) {}

void TextTable::addRow(std::vector<Cell> cells) {
    cells.resize(headings_.size());
    for (Cell& cell : cells)
        cell.text = onOneLine(cell.text);
    rows_.push_back(std::move(cells));
}

void TextTable::dropEmptyColumns(std::size_t kept) {
    if (rows_.empty()) return;
    for (std::size_t column = headings_.size(); column-- > kept;) {
        if (std::ranges::any_of(rows_, [&](const auto& row) { return !row[column].text.empty(); })) continue;
        const auto position = static_cast<std::ptrdiff_t>(column);
        headings_.erase(headings_.begin() + position);
        for (auto& row : rows_)
            row.erase(row.begin() + position);
    }
}

std::string TextTable::text() const {
    std::vector<std::size_t> widths;
    std::vector<bool> isRight;
    for (std::size_t column = 0; column < headings_.size(); ++column) {
        std::size_t width = displayWidth(headings_[column]);
        bool anyNumber = false, anyText = false;
        for (const auto& row : rows_) {
            const Cell& cell = row[column];
            width = std::max(width, displayWidth(cell.text));
            if (!cell.text.empty()) (cell.isNumber ? anyNumber : anyText) = true;
        }
        widths.push_back(width);
        isRight.push_back(anyNumber && !anyText);
    }

    std::string text;
    const auto addLine = [&](const auto& cellText) {
        std::string line;
        for (std::size_t column = 0; column < headings_.size(); ++column) {
            const std::string& cell = cellText(column);
            const std::string padding(widths[column] - displayWidth(cell), ' ');
            if (column > 0) line += "  ";
            line += isRight[column] ? padding + cell : cell + padding;
        }
        text += trimmedRight(std::move(line)) + "\n";
    };
    addLine([&](std::size_t column) -> const std::string& { return headings_[column]; });
    std::vector<std::string> rules;
    for (const std::size_t width : widths)
        rules.emplace_back(width, '-');
    addLine([&](std::size_t column) -> const std::string& { return rules[column]; });
    for (const auto& row : rows_)
        addLine([&](std::size_t column) -> const std::string& { return row[column].text; });
    return text;
}

} // namespace corveth::cli
