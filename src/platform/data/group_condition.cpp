#include "platform/data/group_condition.h"

#include <algorithm>
#include <span>

namespace corveth::data {

namespace {

using Tokens = std::span<const Token>;

/// A name, or a table's and a column's.
bool isColumn(Tokens tokens) noexcept {
    if (tokens.size() == 1) return tokens[0].isName();
    return tokens.size() == 3 && tokens[0].isName() && tokens[1].is(".") && tokens[2].isName();
}

bool isSameColumn(Tokens a, Tokens b) noexcept {
    return isColumn(a) && std::ranges::equal(a, b, [](const Token& one, const Token& other) {
               return one.isName() ? other.isName() && equalNoCase(one.name(), other.name()) : other.is(".");
           });
}

bool isValue(const Token& token) noexcept {
    return token.kind == TokenKind::parameter || token.kind == TokenKind::text || token.kind == TokenKind::number ||
           token.kind == TokenKind::date;
}

/// `column = value` of the group's own column, in brackets or not.
Tokens conditionOn(Tokens column, Tokens having) noexcept {
    if (having.size() > 2 && having.front().is("(") && having.back().is(")")) {
        having = having.subspan(1, having.size() - 2);
    }
    if (having.size() != column.size() + 2) return {};
    const bool isCondition =
        isSameColumn(column, having.first(column.size())) && having[column.size()].is("=") && isValue(having.back());
    return isCondition ? having : Tokens();
}

} // namespace

void moveGroupCondition(std::vector<Token>& tokens) {
    if (tokens.empty() || !tokens.front().isWord("select")) return;
    const auto find = [&](TextView word) {
        return std::ranges::find_if(tokens, [&](auto& it) { return it.isWord(word); });
    };
    const auto group = find("group"), having = find("having");
    // With one query, and no condition on its rows: the words stand in it once.
    if (group == tokens.end() || having - group < 3 || having == tokens.end() || !(group + 1)->isWord("by")) return;
    for (const TextView word : {"where", "union", "except", "intersect"}) {
        if (find(word) != tokens.end()) return;
    }
    if (std::ranges::count_if(tokens, [](const Token& it) { return it.isWord("select"); }) != 1) return;

    const Tokens condition = conditionOn(Tokens(group + 2, having), Tokens(having + 1, tokens.end()));
    if (condition.empty()) return;
    std::vector<Token> moved(tokens.begin(), group);
    moved.push_back({TokenKind::word, "Where"});
    moved.insert(moved.end(), condition.begin(), condition.end());
    moved.insert(moved.end(), group, having);
    tokens = std::move(moved);
}

} // namespace corveth::data
