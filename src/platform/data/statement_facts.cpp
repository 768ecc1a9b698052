#include "platform/data/statement_facts.h"

#include "platform/data/token_groups.h"

#include <algorithm>
#include <array>

namespace corveth::data {

namespace {

/// Between two comparisons, or at the end of the last.
bool isBetweenConditions(const Token& token) noexcept {
    constexpr std::array words = std::to_array<TextView>({"and", "or", "not", "where", "group", "having", "order",
                                                          "limit", "union", "except", "intersect", "returning"});
    return token.is("(") || token.is(")") || token.is(";") ||
           std::ranges::any_of(words, [&](TextView word) { return token.isWord(word); });
}

class FactReader {
public:
    explicit FactReader(std::span<const Token> tokens) : tokens_(tokens) {}

    StatementFacts read() {
        if (takeWord("select")) {
            readSelect();
        } else if (takeWord("update")) {
            readUpdate();
        } else if (takeWord("insert") || takeWord("replace")) {
            readInsert();
        } else if (takeWord("delete")) {
            readDelete();
        }
        return std::move(facts_);
    }

private:
    [[nodiscard]] bool atEnd() const noexcept { return at_ >= tokens_.size(); }
    [[nodiscard]] bool atWord(TextView word) const noexcept { return !atEnd() && tokens_[at_].isWord(word); }
    [[nodiscard]] bool atSymbol(TextView symbol) const noexcept { return !atEnd() && tokens_[at_].is(symbol); }
    bool takeWord(TextView word) noexcept {
        if (!atWord(word)) return false;
        skip();
        return true;
    }
    bool takeSymbol(TextView symbol) noexcept {
        if (!atSymbol(symbol)) return false;
        skip();
        return true;
    }
    void skip() noexcept {
        if (tokens_[at_].kind == TokenKind::parameter) ++parameter_;
        ++at_;
    }
    /// A bracket with all that it holds counts as one.
    void skipElement() noexcept {
        int depth = 0;
        do {
            if (atSymbol("(")) ++depth;
            if (atSymbol(")")) --depth;
            skip();
        } while (depth > 0 && !atEnd());
    }

    /// A name, or empty when something else follows.
    Text takeName() {
        if (atEnd() || !tokens_[at_].isName()) return {};
        const Text name(tokens_[at_].name());
        skip();
        return name;
    }

    void readSelect() {
        const bool isDistinct = atWord("distinct");
        while (!atEnd() && !atWord("from")) {
            if (atWord("union") || atWord("into")) return;
            skipElement();
        }
        if (!takeWord("from")) return;
        const Text name = takeName();
        if (atSymbol(".")) return; // of another database: left alone
        if (takeWord("as") || (!atEnd() && tokens_[at_].isName() && !endsTable() && !startsJoinOrGroup())) takeName();
        if (!atEnd() && !endsTable()) return;
        readConditions(name);
        bool isPlain = !isDistinct;
        while (!atEnd()) {
            if (atWord("union") || atWord("except") || atWord("intersect")) return;
            isPlain = isPlain && !startsJoinOrGroup();
            skipElement();
        }
        if (isPlain) facts_.target = name;
    }

    [[nodiscard]] bool endsTable() const noexcept {
        return atWord("where") || atWord("order") || atWord("limit") || atWord("group") || atWord("having") ||
               atSymbol(";");
    }

    void readDelete() {
        if (!takeWord("from")) return;
        facts_.target = takeName();
        if (atWord("where")) readConditions(facts_.target);
    }

    /// Looks ahead from here to the end, or to the next of several statements that are joined.
    void readConditions(const Text& table) {
        facts_.compared = table;
        std::size_t parameter = parameter_;
        for (std::size_t i = at_; i < tokens_.size(); ++i) {
            const Token& token = tokens_[i];
            if (token.kind == TokenKind::parameter) ++parameter;
            if (token.isWord("union") || token.isWord("except") || token.isWord("intersect")) return;
            if (token.is("(") && i + 1 < tokens_.size() && isQuery(i + 1)) {
                for (int depth = 1; depth > 0 && ++i < tokens_.size();) {
                    if (tokens_[i].kind == TokenKind::parameter) ++parameter;
                    if (tokens_[i].is("(")) ++depth;
                    if (tokens_[i].is(")")) --depth;
                }
            } else if (token.isWord("in")) {
                readList(i, parameter);
            } else if (token.isWord("between")) {
                readRange(i, parameter);
            } else if (isComparison(token)) {
                readComparison(i, parameter);
            }
        }
    }

    [[nodiscard]] bool isQuery(std::size_t i) const noexcept {
        return tokens_[i].isWord("select") || tokens_[i].isWord("with") || tokens_[i].isWord("values");
    }
    [[nodiscard]] bool isParameter(std::size_t i) const noexcept {
        return i < tokens_.size() && tokens_[i].kind == TokenKind::parameter;
    }
    /// Nothing goes on there that the tokens before would belong to.
    [[nodiscard]] bool endsAt(std::size_t i) const noexcept {
        return i >= tokens_.size() || isBetweenConditions(tokens_[i]);
    }

    /// The column whose name ends before `end`, when nothing stands before it that it would belong to.
    [[nodiscard]] Text columnBefore(std::size_t end) const {
        if (end == 0 || !tokens_[end - 1].isName()) return {};
        std::size_t start = end - 1;
        while (start >= 2 && tokens_[start - 1].is(".") && tokens_[start - 2].isName())
            start -= 2;
        if (start == 0 || tokens_[start - 1].is(")") || !isBetweenConditions(tokens_[start - 1])) return {};
        return Text(tokens_[end - 1].name());
    }
    /// The column whose name begins at `start`, when nothing follows it that it would belong to.
    [[nodiscard]] Text columnFrom(std::size_t start) const {
        std::size_t last = start;
        while (last + 2 < tokens_.size() && tokens_[last].isName() && tokens_[last + 1].is("."))
            last += 2;
        if (last >= tokens_.size() || !tokens_[last].isName()) return {};
        if (last + 1 < tokens_.size() && (tokens_[last + 1].is("(") || !isBetweenConditions(tokens_[last + 1])))
            return {};
        return Text(tokens_[last].name());
    }
    void compare(std::size_t parameter, Text column) {
        if (!column.empty()) facts_.comparisons.push_back({parameter, std::move(column)});
    }

    /// `parameter` counts those before `i`.
    void readComparison(std::size_t i, std::size_t parameter) {
        if (isParameter(i + 1) && endsAt(i + 2)) compare(parameter, columnBefore(i));
        if (i >= 2 && isParameter(i - 1) && isBetweenConditions(tokens_[i - 2]))
            compare(parameter - 1, columnFrom(i + 1));
    }
    void readList(std::size_t i, std::size_t parameter) {
        const Text column = columnBefore(tokens_[i - 1].isWord("not") ? i - 1 : i);
        if (i + 1 >= tokens_.size() || !tokens_[i + 1].is("(")) return;
        for (i += 2; isParameter(i) && i + 1 < tokens_.size() && (tokens_[i + 1].is(",") || tokens_[i + 1].is(")"));
             i += 2)
            compare(parameter++, column);
    }
    void readRange(std::size_t i, std::size_t parameter) {
        const Text column = columnBefore(tokens_[i - 1].isWord("not") ? i - 1 : i);
        const bool isSigned = i + 1 < tokens_.size() && tokens_[i + 1].is("-");
        const std::size_t middle = isSigned ? i + 3 : i + 2;
        if (!isParameter(middle - 1) || middle >= tokens_.size() || !tokens_[middle].isWord("and")) return;
        if (!isSigned) compare(parameter, column);
        if (isParameter(middle + 1) && endsAt(middle + 2)) compare(parameter + 1, column);
    }

    [[nodiscard]] bool startsJoinOrGroup() const noexcept {
        for (const TextView word : {"join", "inner", "left", "right", "full", "cross", "natural", "group", "having"}) {
            if (atWord(word)) return at_ + 1 >= tokens_.size() || !tokens_[at_ + 1].is("(");
        }
        return false;
    }

    void readUpdate() {
        facts_.target = takeName();
        if (!takeWord("set")) {
            facts_.target.clear();
            return;
        }
        while (!atEnd() && !atWord("where")) {
            Text column = takeName();
            if (takeSymbol(".")) column = takeName();
            if (!column.empty() && takeSymbol("=") && endsAfterParameter()) {
                facts_.assignments.push_back({parameter_, std::move(column), 0});
            }
            while (!atEnd() && !atSymbol(",") && !atWord("where"))
                skipElement();
            takeSymbol(",");
        }
        if (atWord("where")) readConditions(facts_.target);
    }

    [[nodiscard]] bool endsAfterParameter() const noexcept {
        if (atEnd() || tokens_[at_].kind != TokenKind::parameter) return false;
        if (at_ + 1 == tokens_.size()) return true;
        const Token& after = tokens_[at_ + 1];
        return after.is(",") || after.is(")") || after.isWord("where") || after.isWord("returning");
    }

    void readInsert() {
        if (takeWord("or")) takeName();
        if (!takeWord("into")) return;
        facts_.target = takeName();
        std::vector<Text> columns;
        if (takeSymbol("(")) {
            while (!atEnd() && !atSymbol(")")) {
                columns.push_back(takeName());
                if (columns.back().empty()) skip();
                takeSymbol(",");
            }
            takeSymbol(")");
        }
        if (!takeWord("values")) return;
        while (takeSymbol("(")) {
            std::size_t position = 0;
            for (; !atEnd() && !atSymbol(")"); ++position) {
                if (endsAfterParameter() && (columns.empty() || position < columns.size())) {
                    facts_.assignments.push_back({parameter_, columns.empty() ? Text() : columns[position], position});
                }
                while (!atEnd() && !atSymbol(",") && !atSymbol(")"))
                    skipElement();
                takeSymbol(",");
            }
            if (columns.empty()) facts_.rowWidths.push_back(position);
            takeSymbol(")");
            takeSymbol(",");
        }
    }

    std::span<const Token> tokens_;
    std::size_t at_ = 0;
    std::size_t parameter_ = 0;
    StatementFacts facts_;
};

} // namespace

StatementFacts readFacts(std::span<const Token> tokens) {
    return FactReader(tokens).read();
}

} // namespace corveth::data
