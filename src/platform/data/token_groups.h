#pragma once

#include "platform/data/tokenizer.h"

#include <algorithm>
#include <array>
#include <span>

namespace corveth::data {

/// `words` are sorted and in small letters.
template <std::size_t size>
[[nodiscard]] bool isOneOf(const std::array<TextView, size>& words, const Token& token) {
    return token.kind == TokenKind::word && std::ranges::binary_search(words, TextView(foldCase(token.raw)));
}
/// `=` and its like.
[[nodiscard]] bool isComparison(const Token& token) noexcept;

/// How the tokens of a statement belong together: brackets, and the words and signs that part operands.
class TokenGroups {
public:
    /// Refuses a statement whose brackets are nested hundreds deep. The tokens must stay.
    explicit TokenGroups(std::span<const Token> tokens);

    [[nodiscard]] bool afterDot(std::size_t i) const noexcept { return i > 0 && tokens_[i - 1].is("."); }
    [[nodiscard]] bool beforeSymbol(std::size_t i, TextView symbol) const noexcept {
        return i + 1 < tokens_.size() && tokens_[i + 1].is(symbol);
    }
    /// A bracket or a Case.
    [[nodiscard]] bool opensGroup(std::size_t i) const noexcept {
        return tokens_[i].is("(") || (tokens_[i].isWord("case") && !afterDot(i));
    }
    /// The token that closes the group; one behind the last where it is missing.
    [[nodiscard]] std::size_t partner(std::size_t i) const noexcept { return partner_[i]; }
    /// The token after this one, or after the group that it opens; no further than `end`.
    [[nodiscard]] std::size_t next(std::size_t i, std::size_t end) const noexcept {
        return opensGroup(i) ? std::min(partner_[i] + 1, end) : i + 1;
    }
    /// One bracket and nothing else.
    [[nodiscard]] bool isBracket(std::size_t begin, std::size_t end) const noexcept {
        return begin < end && tokens_[begin].is("(") && partner_[begin] + 1 == end;
    }
    [[nodiscard]] bool beginsQuery(std::size_t i) const noexcept {
        return i < tokens_.size() && (tokens_[i].isWord("select") || tokens_[i].isWord("with"));
    }
    /// It stands between operands, so that an `&` never reaches across it.
    [[nodiscard]] bool isBoundary(std::size_t i) const;
    /// Where one operand with its operators ends that begins at `begin`, groups as a whole.
    [[nodiscard]] std::size_t endOfRun(std::size_t begin, std::size_t end) const;

private:
    std::span<const Token> tokens_;
    std::vector<std::size_t> partner_;
};

} // namespace corveth::data
