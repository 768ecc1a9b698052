#pragma once

#include "platform/automation/text.h"

#include <cstdint>
#include <vector>

namespace corveth::data {

enum class TokenKind : std::uint8_t {
    word, ///< a keyword or a plain name
    name, ///< [in brackets]
    text, ///< in either quote
    number,
    date,      ///< #in hashes#
    parameter, ///< what a literal became
    symbol,    ///< one operator, bracket or separator
};

struct Token {
    TokenKind kind;
    TextView raw; ///< as it stands in the statement, quotes and brackets included

    [[nodiscard]] bool is(TextView symbol) const noexcept { return kind == TokenKind::symbol && raw == symbol; }
    /// Without regard to case; `lower` in small letters.
    [[nodiscard]] bool isWord(TextView lower) const noexcept;
    /// A word or a bracketed name, as the name it stands for.
    [[nodiscard]] bool isName() const noexcept { return kind == TokenKind::word || kind == TokenKind::name; }
    [[nodiscard]] TextView name() const noexcept;
    /// False for a text, name or date that the end of the statement cut short.
    [[nodiscard]] bool isFinished() const noexcept;
    /// What a text literal means, doubled quotes undoubled.
    [[nodiscard]] Text content() const;
};

/// The tokens of a statement; views into `sql`. In one that a `LiteralLifter` has passed all are finished.
[[nodiscard]] CORVETH_API std::vector<Token> tokenize(TextView sql);

} // namespace corveth::data
