#include "platform/data/result_items.h"

#include "platform/data/token_groups.h"

#include <algorithm>
#include <array>

namespace corveth::data {

namespace {

using Kind = ResultItem::Kind;

constexpr std::array listEnds = std::to_array<TextView>(
    {"except", "from", "group", "having", "intersect", "into", "limit", "order", "union", "where", "window"});
/// After these an operand follows, and no name.
constexpr std::array joiningWords =
    std::to_array<TextView>({"all", "and", "between", "case", "collate", "distinct", "else", "escape", "from", "in",
                             "is", "like", "mod", "not", "or", "over", "then", "when"});
/// What an expression may end with that is no name.
constexpr std::array lastWords = std::to_array<TextView>({"end", "false", "isnull", "notnull", "null", "true"});
static_assert(std::ranges::is_sorted(listEnds) && std::ranges::is_sorted(joiningWords) &&
              std::ranges::is_sorted(lastWords));

bool canName(const Token& token) {
    return token.kind == TokenKind::name || token.kind == TokenKind::text ||
           (token.kind == TokenKind::word && !isOneOf(lastWords, token));
}

bool endsOperand(const Token& token) {
    return token.kind == TokenKind::symbol ? token.is(")") : !isOneOf(joiningWords, token);
}

Text nameIn(const Token& token) {
    return token.kind == TokenKind::text ? token.content() : Text(token.name());
}

/// `Name`, `Table.Name` and the like.
bool isColumn(std::span<const Token> item) {
    if (item.size() == 1 && isOneOf(lastWords, item.front())) return false;
    for (std::size_t i = 0; i < item.size(); ++i) {
        if (i % 2 == 0 ? !item[i].isName() : !item[i].is(".")) return false;
    }
    return item.size() % 2 == 1;
}

ResultItem itemOf(std::span<const Token> item) {
    const Token& last = item.back();
    if (last.is("*") && (item.size() == 1 || item[item.size() - 2].is("."))) return {Kind::all, {}};
    if (isColumn(item)) return {Kind::column, nameIn(last)};
    if (item.size() > 2 && item[item.size() - 2].isWord("as") && !item[item.size() - 3].is("."))
        return {Kind::named, nameIn(last)};
    if (item.size() > 1 && canName(last) && endsOperand(item[item.size() - 2])) return {Kind::named, nameIn(last)};
    return {Kind::expression, {}};
}

/// Where the list of columns begins; the end where there is none.
std::size_t beginOfList(std::span<const Token> tokens) {
    const bool isQuery = tokens.empty() || tokens.front().isWord("select") || tokens.front().isWord("with");
    int depth = 0;
    bool isChange = !isQuery;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        if (token.is("(")) ++depth;
        if (token.is(")")) --depth;
        if (depth != 0 || token.kind != TokenKind::word) continue;
        if (token.isWord("insert") || token.isWord("update") || token.isWord("delete")) isChange = true;
        if (!token.isWord(isChange ? "returning" : "select")) continue;
        const bool saysWhich =
            i + 1 < tokens.size() && (tokens[i + 1].isWord("distinct") || tokens[i + 1].isWord("all"));
        return saysWhich ? i + 2 : i + 1;
    }
    return tokens.size();
}

/// The query in brackets that is all that `source` names; empty when it names anything else.
std::span<const Token> queryWithin(std::span<const Token> source) {
    if (source.size() < 3 || !source[0].is("(") || !source[1].isWord("select")) return {};
    int depth = 1;
    std::size_t close = 0;
    while (depth > 0 && ++close < source.size()) {
        if (source[close].is("(")) ++depth;
        if (source[close].is(")")) --depth;
    }
    std::size_t next = close + 1;
    if (next < source.size() && source[next].isWord("as")) ++next;
    if (next < source.size() && source[next].isName() && !isOneOf(listEnds, source[next])) ++next;
    const bool isAlone = next >= source.size() || source[next].is(";") || isOneOf(listEnds, source[next]);
    return isAlone && depth == 0 ? source.subspan(1, close - 1) : std::span<const Token>();
}

} // namespace

std::vector<ResultItem> readResultItems(std::span<const Token> tokens) {
    std::vector<ResultItem> items;
    std::size_t start = beginOfList(tokens);
    int depth = 0;
    for (std::size_t i = start; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        if (token.is("(")) ++depth;
        if (token.is(")")) --depth;
        if (depth != 0) continue;
        const bool isDistinctFrom = token.isWord("from") && tokens[i - 1].isWord("distinct");
        const bool ends = token.is(";") || (isOneOf(listEnds, token) && !isDistinctFrom && !tokens[i - 1].is("."));
        if (!ends && !token.is(",")) continue;
        if (i == start) return {};
        items.push_back(itemOf(tokens.subspan(start, i - start)));
        start = i + 1;
        if (ends) {
            const bool isAll = items.size() == 1 && items.front().kind == Kind::all && token.isWord("from");
            if (const auto within = queryWithin(tokens.subspan(start)); isAll && !within.empty()) {
                return readResultItems(within);
            }
            return items;
        }
    }
    if (start < tokens.size()) items.push_back(itemOf(tokens.subspan(start)));
    return items;
}

void nameColumns(std::span<const ResultItem> items, std::span<ResultColumn> columns) {
    const auto isAll = [](const ResultItem& item) { return item.kind == Kind::all; };
    const auto firstAll = static_cast<std::size_t>(std::ranges::find_if(items, isAll) - items.begin());
    const bool hasAll = firstAll < items.size();
    std::size_t last = 0; // how many come after the last `*`
    while (hasAll && !isAll(items[items.size() - 1 - last]))
        ++last;
    if (hasAll ? firstAll + last > columns.size() : items.size() != columns.size()) return;

    const auto name = [&](const ResultItem& item, std::size_t position) {
        ResultColumn& column = columns[position];
        if (item.kind == Kind::named) column.name = item.name;
        if (item.kind == Kind::column && !item.name.empty())
            column.name = equalNoCase(column.originColumn, item.name) ? column.originColumn : item.name;
        if (item.kind == Kind::expression) column.name = "Expr" + std::to_string(1000 + position);
    };
    for (std::size_t i = 0; i < firstAll; ++i)
        name(items[i], i);
    for (std::size_t i = 0; i < last; ++i)
        name(items[items.size() - 1 - i], columns.size() - 1 - i);
}

} // namespace corveth::data
