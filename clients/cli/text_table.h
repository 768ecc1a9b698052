#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corveth::cli {

/// The character at the front of `text`, which loses it; a broken byte counts as U+FFFD.
char32_t takeCharacter(std::string_view& text);

/// How many cells of a terminal `text` takes: combining marks none, wide characters two.
std::size_t displayWidth(std::string_view text);

/// `text` on one line: line breaks, tabs and other control characters written as escapes.
std::string onOneLine(std::string_view text);

/// `text` as one word of a shell's line.
std::string shellWord(std::string_view text);

/// Rows under headings, aligned by display width; columns that hold numbers stand to the right.
class TextTable {
public:
    struct Cell {
        std::string text;
        bool isNumber = false;
    };

    explicit TextTable(std::vector<std::string> headings);

    void addRow(std::vector<Cell> cells);
    /// Removes the columns whose cells are empty in every row, except the first `kept`.
    void dropEmptyColumns(std::size_t kept);
    [[nodiscard]] std::string text() const;

private:
    std::vector<std::string> headings_;
    std::vector<std::vector<Cell>> rows_;
};

} // namespace corveth::cli
