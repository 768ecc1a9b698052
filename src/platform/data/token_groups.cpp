#include "platform/data/token_groups.h"

#include "platform/automation/error.h"

namespace corveth::data {

namespace {

/// Words that stand between operands. Sorted.
constexpr std::array boundaryWords = std::to_array<TextView>({
    "all",   "and",      "as",        "asc",       "between", "by",        "cross",  "default", "delete",
    "desc",  "distinct", "else",      "escape",    "except",  "exists",    "filter", "from",    "full",
    "group", "having",   "in",        "inner",     "insert",  "intersect", "into",   "is",      "join",
    "left",  "like",     "limit",     "natural",   "not",     "offset",    "on",     "or",      "order",
    "outer", "over",     "partition", "recursive", "replace", "returning", "right",  "select",  "set",
    "then",  "union",    "update",    "using",     "values",  "when",      "where",  "window",  "with",
});
static_assert(std::ranges::is_sorted(boundaryWords));
/// Of them, those that are functions before a bracket.
constexpr std::array functionWords = std::to_array<TextView>({"left", "replace", "right"});
constexpr std::array comparisons = std::to_array<TextView>({"=", "<", ">", "<=", ">=", "<>", "!=", "=="});

/// Brackets within brackets; engines give up at about a hundred, and each level takes some of our stack.
constexpr std::size_t deepest = 500;

} // namespace

bool isComparison(const Token& token) noexcept {
    return token.kind == TokenKind::symbol && std::ranges::find(comparisons, token.raw) != comparisons.end();
}

TokenGroups::TokenGroups(std::span<const Token> tokens) : tokens_(tokens), partner_(tokens.size(), tokens.size()) {
    std::vector<std::size_t> open;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
        if (opensGroup(i)) {
            open.push_back(i);
            if (open.size() > deepest) {
                throw Error(errors::engine, "ADODB.Connection",
                            "Syntax error in the statement: brackets are nested more than " + std::to_string(deepest) +
                                " deep.");
            }
        } else if ((tokens_[i].is(")") || (tokens_[i].isWord("end") && !afterDot(i))) && !open.empty()) {
            partner_[open.back()] = i;
            open.pop_back();
        }
    }
}

bool TokenGroups::isBoundary(std::size_t i) const {
    if (i == 0) return true; // the statement's own word, also where it could name a function
    const Token& token = tokens_[i];
    if (token.kind == TokenKind::symbol) return token.is(",") || token.is(";") || isComparison(token);
    if (afterDot(i) || !isOneOf(boundaryWords, token)) return false;
    return !beforeSymbol(i, "(") || !isOneOf(functionWords, token);
}

std::size_t TokenGroups::endOfRun(std::size_t begin, std::size_t end) const {
    bool operandBefore = false;
    std::size_t i = begin;
    while (i < end && !isBoundary(i)) {
        const Token& token = tokens_[i];
        const bool isGroup = opensGroup(i);
        const bool joins = token.isWord("collate") || token.isWord("mod");
        const bool isOperand = isGroup || (token.kind != TokenKind::symbol && !joins);
        if (isOperand && operandBefore && !isGroup) break; // a name without As
        operandBefore = isOperand;
        i = next(i, end);
    }
    return i;
}

} // namespace corveth::data
