#include "platform/data/statement_facts.h"

namespace corveth::data {

namespace {

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
        if (atWord("distinct")) return;
        while (!atEnd() && !atWord("from")) {
            if (atWord("union") || atWord("into")) return;
            skipElement();
        }
        if (!takeWord("from")) return;
        const Text name = takeName();
        if (atSymbol(".")) return; // of another database: left alone
        if (takeWord("as") || (!atEnd() && tokens_[at_].isName() && !atWord("where") && !atWord("order") &&
                               !atWord("limit") && !startsJoinOrGroup())) {
            takeName();
        }
        if (!atEnd() && !atWord("where") && !atWord("order") && !atWord("limit") && !atSymbol(";")) return;
        while (!atEnd()) {
            if (startsJoinOrGroup() || atWord("union") || atWord("except") || atWord("intersect")) return;
            skipElement();
        }
        facts_.target = name;
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
            for (std::size_t position = 0; !atEnd() && !atSymbol(")"); ++position) {
                if (endsAfterParameter() && (columns.empty() || position < columns.size())) {
                    facts_.assignments.push_back({parameter_, columns.empty() ? Text() : columns[position], position});
                }
                while (!atEnd() && !atSymbol(",") && !atSymbol(")"))
                    skipElement();
                takeSymbol(",");
            }
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
