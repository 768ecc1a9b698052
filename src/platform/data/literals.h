#pragma once

#include "platform/data/provider.h"

namespace corveth::data {

enum class StatementKind : std::uint8_t {
    empty,
    rows,        ///< begins with Select, With or Values
    changes,     ///< begins with Insert, Update, Delete or Replace
    transaction, ///< Begin, Commit and their like, which would go past the levels that the connection counts
    definition,  ///< anything else: the engine's own language
};

/// Takes the values out of a statement's text, so that statements that differ in nothing else are one: each text,
/// number or date becomes a `?`, and so do Date() and Now(). Stay where they are: numbers after Group By and Order By
/// (they are positions), those in a type, patterns of Like and names in quotes after As. Meant to be kept and used
/// again; what it hands out is good until the next `lift` and as long as the statement's text.
class LiteralLifter {
public:
    /// Refuses (with the offending piece) an unfinished text, date or name, a number that ends in letters, a parameter
    /// mark and NUL, and what does not begin with a word; 3142 when something follows the statement's end.
    void lift(TextView sql);

    [[nodiscard]] StatementKind kind() const noexcept { return kind_; }
    [[nodiscard]] TextView text() const noexcept { return text_; }
    [[nodiscard]] std::span<const Parameter> parameters() const noexcept { return parameters_; }

private:
    /// What stands before the current place.
    enum class Before : std::uint8_t { nothing, operand, word, dot, sign, open };

    void requireWord() const;
    void scan();
    void scanWord();
    void takeClock(std::size_t start, Date (*read)());
    void scanText(char quote);
    void scanNumber(std::size_t start);
    void scanDate();
    void scanName(char closing);
    void scanSymbol(char c);
    void endStatement();
    [[nodiscard]] bool keepsLiterals() const noexcept { return keepDepth_ >= 0; }
    /// The literal from `start` to here becomes a parameter.
    void replace(std::size_t start, Parameter value);
    [[noreturn]] void refuse(TextView what, std::size_t start) const;

    TextView sql_;
    std::size_t at_ = 0;
    std::size_t copied_ = 0; ///< how far `text_` has what stands in `sql_`
    int depth_ = 0;
    int keepDepth_ = -1; ///< depth of the list or type whose literals stay; -1 outside
    bool keepIsType_ = false;
    Before before_ = Before::nothing;
    bool afterLike_ = false;
    std::uint8_t afterAs_ = 0; ///< 1 after As, 2 after As and a word
    StatementKind kind_ = StatementKind::empty;
    Text text_;
    Text decoded_; ///< texts with doubled quotes, undoubled; never grows beyond its reserve
    std::vector<Parameter> parameters_;
};

/// What kind of statement `sql` begins.
[[nodiscard]] StatementKind statementKind(TextView sql) noexcept;

} // namespace corveth::data
