#include "platform/data/dialect.h"

#include "platform/automation/convert.h"
#include "platform/automation/date.h"
#include "platform/automation/error.h"
#include "platform/data/token_groups.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

namespace corveth::data {

namespace {

/// Words of conditions that leave the place before and after them what it is. Sorted.
constexpr std::array conditionWords =
    std::to_array<TextView>({"and", "between", "escape", "exists", "in", "is", "like", "not", "or"});
/// Of them, those whose other side is a value. Sorted.
constexpr std::array valueWords = std::to_array<TextView>({"between", "escape", "exists", "in", "is", "like"});
/// Functions of a number. Sorted.
constexpr std::array numberFunctions = std::to_array<TextView>({"abs", "avg", "max", "min", "sum"});
constexpr std::array arithmetic = std::to_array<TextView>({"+", "-", "*", "/"});
/// Words that may follow the terms of an Order By. Sorted.
constexpr std::array afterTerms =
    std::to_array<TextView>({"except", "intersect", "limit", "offset", "returning", "union"});
/// The same, where they begin what is said of a window's rows. Sorted.
constexpr std::array frameWords = std::to_array<TextView>({"groups", "range", "rows"});

class Translator {
public:
    Translator(std::span<const Token> tokens, const Dialect& dialect, std::span<const Text> neverNull)
        : tokens_(tokens), dialect_(dialect), neverNull_(neverNull), groups_(tokens) {}

    Text run() {
        const bool isEmptyList = tokens_.size() < 2 || tokens_[1].isWord("from") || tokens_[1].is(";");
        if (!tokens_.empty() && tokens_[0].isWord("select") && isEmptyList) { // which an engine may take for a query
            throw Error(errors::engine, "ADODB.Connection", "Syntax error in the statement: Select without columns.");
        }
        renderLevel(0, tokens_.size());
        return std::move(out_);
    }

private:
    /// Where one bracket, Case or statement has come to.
    struct Level {
        std::size_t end;
        bool isCondition;           ///< a condition stands here
        bool isSearchedCase;        ///< its When takes a condition
        bool termBegins = true;     ///< not the other side of a comparison or the like
        bool afterLogical = false;  ///< And, Or or Not came before
        bool betweenIsOpen = false; ///< the next And is Between's
        bool inTerms = false;       ///< of an Order By
        bool termHasBegun = false;  ///< what follows is of the term
        bool isDescending = false;
        bool saysNullOrder = false;
        bool termIsNeverNull = false;
        bool inAssignments = false; ///< of an Update
        bool assigns = false;       ///< the next sign of equality does
        bool inRows = false;        ///< of Values
    };

    void renderLevel(std::size_t begin, std::size_t end, bool isCondition = false) {
        Level level{
            .end = end, .isCondition = isCondition, .isSearchedCase = begin < end && tokens_[begin].isWord("when")};
        std::size_t lastRun = out_.size();
        std::size_t i = begin;
        bool directly = false; // no boundary since the last run
        while (i < end) {
            const std::size_t runEnd = groups_.endOfRun(i, end);
            if (runEnd > i) {
                const bool afterDirection =
                    i > begin && (tokens_[i - 1].isWord("asc") || tokens_[i - 1].isWord("desc"));
                if (directly || afterDirection) beginAfterRun(level, i);
                lastRun = out_.size();
                renderPlaced(level, i, runEnd, directly);
                if (!level.termHasBegun) level.termIsNeverNull = end == tokens_.size() && isNeverNull(i, runEnd);
                level.termHasBegun = directly = true;
                i = runEnd;
            }
            if (i == end || !groups_.isBoundary(i)) continue;
            const bool negated = tokens_[i].isWord("not") && i + 1 < end && tokens_[i + 1].isWord("like");
            if (negated || (tokens_[i].isWord("like") && !groups_.afterDot(i))) {
                i = renderLike(negated ? i + 2 : i + 1, end, negated, lastRun);
                level.afterLogical = level.termBegins = false;
            } else {
                i = renderBoundary(level, i);
                directly = false;
                lastRun = out_.size();
            }
        }
        finishTerm(level);
    }

    /// A word that follows an operand: of an Order By's term, or a name without As.
    void beginAfterRun(Level& level, std::size_t i) {
        if (!level.inTerms) return;
        if (tokens_[i].isWord("nulls")) level.saysNullOrder = true;
        if (isOneOf(frameWords, tokens_[i])) {
            finishTerm(level);
            level.inTerms = false;
        }
    }

    std::size_t renderBoundary(Level& level, std::size_t i) {
        const Token& token = tokens_[i];
        const bool isValueWord = isComparison(token) || isOneOf(valueWords, token);
        if (level.inTerms && (token.is(",") || token.is(";") || isOneOf(afterTerms, token))) {
            finishTerm(level);
            level.inTerms = token.is(",");
        }
        if (token.isWord("desc")) {
            level.isDescending = true;
        } else if (!token.isWord("asc") && !token.is(",")) {
            level.termIsNeverNull = false;
        }
        if (token.isWord("by") && i > 0 && tokens_[i - 1].isWord("order")) {
            level.inTerms = true;
            level.termHasBegun = level.isDescending = level.saysNullOrder = false;
        }

        level.inRows = token.isWord("values") || (level.inRows && token.is(","));
        if (token.isWord("is")) return renderIs(level, i);
        if (token.is("=") && level.assigns) return renderAssigned(level, i);
        if (token.isWord("set") || !(isValueWord || isOneOf(conditionWords, token)))
            level.inAssignments = token.isWord("set") || (level.inAssignments && token.is(","));
        level.assigns = level.inAssignments && (token.isWord("set") || token.is(","));
        const bool isBetweens = token.isWord("and") && level.betweenIsOpen;
        const bool isOperator = token.isWord("not") && i + 1 < level.end && isOneOf(valueWords, tokens_[i + 1]) &&
                                !tokens_[i + 1].isWord("exists");
        level.afterLogical =
            !isBetweens && !isOperator && (token.isWord("and") || token.isWord("or") || token.isWord("not"));
        level.termBegins = !isBetweens && !isOperator && !isValueWord;
        if (token.isWord("between")) level.betweenIsOpen = true;
        if (isBetweens) level.betweenIsOpen = false;
        if (!isValueWord && !isOneOf(conditionWords, token)) level.isCondition = beginsCondition(level, i);
        emit(i);
        return i + 1;
    }

    [[nodiscard]] bool beginsCondition(const Level& level, std::size_t i) const {
        const Token& token = tokens_[i];
        if (token.isWord("on")) return i + 1 < level.end && !tokens_[i + 1].isWord("conflict");
        return token.isWord("where") || token.isWord("having") || (token.isWord("when") && level.isSearchedCase);
    }

    /// Is compares with Null alone on some engines; the other form is known to all.
    std::size_t renderIs(Level& level, std::size_t i) {
        level.termBegins = level.afterLogical = false;
        const bool negated = i + 1 < level.end && tokens_[i + 1].isWord("not");
        const std::size_t other = negated ? i + 2 : i + 1;
        const bool isDistinct = other + 1 < level.end && tokens_[other].isWord("distinct");
        if (!isDistinct && (other >= level.end || tokens_[other].isWord("null"))) {
            put(negated ? "Is Not" : "Is");
            return other;
        }
        put(negated == isDistinct ? "Is Not Distinct From" : "Is Distinct From");
        return isDistinct ? other + 2 : other;
    }

    /// The sign of equality of an assignment, and its value where that is a condition.
    std::size_t renderAssigned(Level& level, std::size_t i) {
        emit(i++);
        level.assigns = level.termBegins = level.afterLogical = false;
        std::size_t end = i;
        while (end < level.end && !tokens_[end].is(",") && !tokens_[end].is(";") && !endsAssignments(end))
            end = groups_.next(end, level.end);
        if (!isCountedCondition(i, end)) return i;
        renderConditionNumber(i, end);
        return end;
    }

    /// A condition where a number is meant, and the engine would not take it for one.
    [[nodiscard]] bool isCountedCondition(std::size_t begin, std::size_t end) const {
        return !dialect_.conditionNumber.empty() && holdsCondition(begin, end);
    }

    void renderConditionNumber(std::size_t begin, std::size_t end) {
        while (groups_.isBracket(begin, end)) {
            ++begin;
            --end;
        }
        put(dialect_.conditionNumber);
        put("(");
        renderLevel(begin, end, true);
        put(")");
    }

    /// What stands in brackets, parted by commas.
    void renderRow(std::size_t open) {
        const std::size_t close = groups_.partner(open);
        emit(open);
        for (std::size_t begin = open + 1; begin < close;) {
            std::size_t end = begin;
            while (end < close && !tokens_[end].is(","))
                end = groups_.next(end, close);
            if (isCountedCondition(begin, end)) {
                renderConditionNumber(begin, end);
            } else {
                renderLevel(begin, end);
            }
            if (end < close) emit(end);
            begin = end + 1;
        }
        emit(close);
    }

    [[nodiscard]] bool isArithmetic(std::size_t i) const {
        return tokens_[i].kind == TokenKind::symbol &&
               std::ranges::find(arithmetic, tokens_[i].raw) != arithmetic.end();
    }

    /// Whether the bracket at `open` holds a condition that is reckoned with.
    [[nodiscard]] bool isReckoned(std::size_t open, std::size_t begin, std::size_t end) const {
        const std::size_t after = groups_.partner(open) + 1;
        if (!tokens_[open].is("(") || after > end) return false;
        const bool isArgument = open > begin && isOneOf(numberFunctions, tokens_[open - 1]);
        const bool isOperand = (open > begin && isArithmetic(open - 1)) ||
                               (after < end && isArithmetic(after) && (open == begin || !tokens_[open - 1].isName()));
        return (isArgument || isOperand) && isCountedCondition(open, after);
    }

    [[nodiscard]] bool endsAssignments(std::size_t i) const {
        return groups_.isBoundary(i) && (tokens_[i].isWord("where") || tokens_[i].isWord("returning") ||
                                         (tokens_[i].isWord("from") && !tokens_[i - 1].isWord("distinct")));
    }

    [[nodiscard]] bool holdsCondition(std::size_t begin, std::size_t end) const {
        const bool isBracket = groups_.isBracket(begin, end);
        if (isBracket) return !groups_.beginsQuery(begin + 1) && holdsCondition(begin + 1, end - 1);
        for (std::size_t i = begin; i < end; i = groups_.next(i, end)) {
            if (groups_.isBoundary(i) && (isComparison(tokens_[i]) || isOneOf(conditionWords, tokens_[i]))) return true;
        }
        return false;
    }

    void finishTerm(Level& level) {
        const bool isSettled = level.saysNullOrder || level.termIsNeverNull;
        if (level.inTerms && level.termHasBegun && dialect_.ordersNullLast && !isSettled)
            put(level.isDescending ? "Nulls Last" : "Nulls First");
        level.termHasBegun = level.isDescending = level.saysNullOrder = false;
    }

    [[nodiscard]] bool isNeverNull(std::size_t begin, std::size_t end) const {
        const bool isColumn = end == begin + 1 || (end == begin + 3 && tokens_[begin + 1].is("."));
        if (!isColumn || !tokens_[end - 1].isName()) return false;
        return std::ranges::any_of(neverNull_,
                                   [&](const Text& name) { return equalNoCase(name, tokens_[end - 1].name()); });
    }

    /// A run in its place: a value where a condition is expected becomes one.
    void renderPlaced(const Level& level, std::size_t begin, std::size_t end, bool directly) {
        if (directly && end == begin + 1 && tokens_[begin].kind == TokenKind::text) {
            putName(tokens_[begin].content());
            return;
        }
        const bool isGroup = groups_.isBracket(begin, end) && !directly;
        if (isGroup && level.inRows) {
            renderRow(begin);
            return;
        }
        const bool isCompared =
            (end < level.end && isComparison(tokens_[end])) || (begin > 0 && isComparison(tokens_[begin - 1]));
        if (isGroup && isCompared && isCountedCondition(begin, end)) {
            renderConditionNumber(begin, end);
            return;
        }
        if (directly || !isBareCondition(level, end)) {
            renderRun(begin, end);
            if (isGroup && isNameless(begin, end)) put(fmt::format("As query{}", ++queries_));
            return;
        }
        const bool isBracket = groups_.isBracket(begin, end);
        if (isBracket && !groups_.beginsQuery(begin + 1)) {
            emit(begin);
            renderLevel(begin + 1, end - 1, true);
            emit(end - 1);
            return;
        }
        put("(");
        renderRun(begin, end);
        put("<> 0 )");
    }

    /// A query whose rows are taken must be called something.
    [[nodiscard]] bool isNameless(std::size_t begin, std::size_t end) const {
        const bool isTable = begin > 0 && (tokens_[begin - 1].isWord("from") || tokens_[begin - 1].isWord("join"));
        if (!isTable || !groups_.beginsQuery(begin + 1)) return false;
        if (end == tokens_.size()) return true;
        const Token& after = tokens_[end];
        const bool isName = after.isWord("as") || after.kind == TokenKind::text || after.isName();
        return !isName || (groups_.isBoundary(end) && !after.isWord("as"));
    }

    [[nodiscard]] bool isBareCondition(const Level& level, std::size_t after) const {
        if (!dialect_.hasConditions || !level.termBegins) return false;
        if (after >= level.end) return level.isCondition || level.afterLogical;
        const Token& token = tokens_[after];
        if (token.isWord("isnull") || token.isWord("notnull") || token.isWord("not") || isComparison(token) ||
            isOneOf(valueWords, token)) {
            return false;
        }
        return level.isCondition || level.afterLogical || token.isWord("and") || token.isWord("or");
    }

    void renderRun(std::size_t begin, std::size_t end) {
        std::vector<std::size_t> joints;
        for (std::size_t i = begin; i < end; i = groups_.next(i, end)) {
            if (tokens_[i].is("&")) joints.push_back(i);
        }
        if (joints.empty()) {
            renderElements(begin, end);
            return;
        }
        put(dialect_.concatenate);
        put("(");
        std::size_t piece = begin;
        for (const std::size_t joint : joints) {
            renderText(piece, joint);
            put(",");
            piece = joint + 1;
        }
        renderText(piece, end);
        put(")");
    }

    void renderText(std::size_t begin, std::size_t end) {
        if (!dialect_.textFunction.empty()) {
            put(dialect_.textFunction);
            put("(");
        }
        renderRun(begin, end);
        if (!dialect_.textFunction.empty()) put(")");
    }

    void renderElements(std::size_t begin, std::size_t end) {
        std::size_t i = begin;
        while (i < end) {
            if (const std::size_t after = renderCast(i, end); after != i) {
                i = after;
                continue;
            }
            if (isDivision(i)) {
                i = renderDivision(i, end);
                continue;
            }
            if (isReckoned(i, begin, end)) {
                const bool isArgument = i > begin && isOneOf(numberFunctions, tokens_[i - 1]);
                if (isArgument) emit(i);
                renderConditionNumber(i, groups_.partner(i) + 1);
                i = groups_.partner(i);
                if (isArgument) emit(i);
                ++i;
                continue;
            }
            emit(i);
            if (groups_.opensGroup(i)) {
                const std::size_t close = std::min(groups_.partner(i), end);
                renderLevel(i + 1, close);
                i = close;
                if (i < end) emit(i);
            }
            ++i;
        }
    }

    [[nodiscard]] bool isDivision(std::size_t i) const {
        return tokens_[i].is("/") || tokens_[i].is("%") || (tokens_[i].isWord("mod") && !groups_.beforeSymbol(i, "("));
    }

    /// The sign with what comes after it: a sign, a name with its dots, a call or a bracket.
    std::size_t renderDivision(std::size_t i, std::size_t end) {
        emit(i);
        const bool isRemainder = !tokens_[i].is("/");
        const std::size_t begin = i + 1;
        i = begin;
        while (i < end && (tokens_[i].is("-") || tokens_[i].is("+")))
            ++i;
        while (i + 2 < end && tokens_[i].isName() && tokens_[i + 1].is("."))
            i += 2;
        if (i + 1 < end && tokens_[i].isName() && tokens_[i + 1].is("(")) ++i;
        if (i >= end || (isRemainder && !dialect_.refusesToDivideByZero)) return begin;
        i = groups_.next(i, end);
        put(isRemainder ? "NullIf (" : "(");
        if (!isRemainder) put(dialect_.divisor);
        if (!isRemainder) put("(");
        renderElements(begin, i);
        put(isRemainder ? ", 0 )" : ") )");
        return i;
    }

    /// Where a Cast at `i` ends that was rendered as a function; `i` when there is none.
    std::size_t renderCast(std::size_t i, std::size_t end) {
        if (dialect_.casts.empty() || !tokens_[i].isWord("cast") || groups_.afterDot(i) ||
            !groups_.beforeSymbol(i, "("))
            return i;
        const std::size_t close = std::min(groups_.partner(i + 1), end);
        std::size_t as = i + 2;
        while (as < close && !tokens_[as].isWord("as"))
            as = groups_.next(as, close);
        std::size_t after = as + 2; // a type's second word and its length
        if (after < close && tokens_[after].isWord("precision")) ++after;
        if (after < close && tokens_[after].is("(")) after = groups_.next(after, close);
        if (after != close || close == tokens_.size()) return i;
        const Text type = foldCase(tokens_[as + 1].raw);
        const auto function = std::ranges::find(dialect_.casts, TextView(type), &Dialect::Function::name);
        if (function == dialect_.casts.end()) return i;
        put(function->engineName);
        put("(");
        renderLevel(i + 2, as);
        put(")");
        return close + 1;
    }

    /// The pattern begins at `begin`; what is compared was rendered from `lastRun` on.
    std::size_t renderLike(std::size_t begin, std::size_t end, bool negated, std::size_t lastRun) {
        const std::size_t runEnd = groups_.endOfRun(begin, end);
        Text compared = out_.substr(lastRun);
        if (!dialect_.textFunction.empty()) compared = fmt::format(" {} ({} )", dialect_.textFunction, compared);
        out_.resize(lastRun);
        if (runEnd == begin + 1 && tokens_[begin].kind == TokenKind::text) {
            if (const auto pattern = enginePattern(tokens_[begin].content())) {
                out_ += compared;
                if (!dialect_.likeCollation.empty()) put(dialect_.likeCollation);
                if (negated) put("Not");
                put(dialect_.likeOperator);
                put(*pattern);
                return runEnd;
            }
        }
        if (negated) put("Not");
        put(dialect_.likeFunction);
        put("(");
        out_ += compared;
        put(",");
        renderText(begin, runEnd);
        put(")");
        return runEnd;
    }

    /// The literal with the engine's wildcards; nothing when it has only wildcards of the desktop for what is in it.
    static std::optional<Text> enginePattern(TextView pattern) {
        if (pattern.find_first_of("[#") != TextView::npos) return std::nullopt;
        Text translated;
        bool escapes = false;
        for (const char c : pattern) {
            if (c == '*') {
                translated += '%';
            } else if (c == '?') {
                translated += '_';
            } else {
                if (c == '%' || c == '_' || c == '\\') {
                    translated += '\\';
                    escapes = true;
                }
                translated += c;
            }
        }
        Text literal;
        appendTextLiteral(literal, translated);
        if (escapes) literal += " Escape '\\'";
        return literal;
    }

    void emit(std::size_t i) {
        const Token& token = tokens_[i];
        switch (token.kind) {
        case TokenKind::word:
            if (isReservedName(i)) {
                putName(token.raw);
            } else {
                put(engineWord(i));
            }
            break;
        case TokenKind::name:
            putName(token.name());
            break;
        case TokenKind::text: {
            if (i > 0 && tokens_[i - 1].isWord("as") && !groups_.afterDot(i - 1)) {
                putName(token.content());
                break;
            }
            Text literal;
            appendTextLiteral(literal, token.content());
            put(literal);
            break;
        }
        case TokenKind::date: {
            const auto date = tryParseDate(token.raw.substr(1, token.raw.size() - 2));
            put(date ? plainDecimal(date->day) : Text(token.raw));
            break;
        }
        case TokenKind::parameter: {
            Text mark;
            dialect_.appendParameter(mark, ++parameters_);
            put(mark);
            break;
        }
        case TokenKind::number:
            put(token.raw);
            break;
        case TokenKind::symbol:
            put(token.is("==") ? "=" : token.raw);
            break;
        }
    }

    /// Of one of the dialect's functions, and alone.
    [[nodiscard]] bool isArgument(std::size_t i) const {
        const bool isAlone = i > 0 && (tokens_[i - 1].is("(") || tokens_[i - 1].is(",")) &&
                             (groups_.beforeSymbol(i, ",") || groups_.beforeSymbol(i, ")"));
        int depth = 1;
        while (isAlone && i-- > 1) {
            if (tokens_[i].is(")")) ++depth;
            if (tokens_[i].is("(") && --depth == 0) return findFunction(i - 1) != nullptr;
        }
        return false;
    }
    [[nodiscard]] const Dialect::Function* findFunction(std::size_t i) const {
        const Text word = foldCase(tokens_[i].raw);
        const auto found = std::ranges::find(dialect_.functions, TextView(word), &Dialect::Function::name);
        return found == dialect_.functions.end() ? nullptr : &*found;
    }

    [[nodiscard]] bool isReservedName(std::size_t i) const {
        if (dialect_.reservedNames.empty() || groups_.beforeSymbol(i, "(")) return false;
        return std::ranges::binary_search(dialect_.reservedNames, TextView(foldCase(tokens_[i].raw)));
    }

    /// What the engine calls a word; a part of a qualified name is never anything but a name.
    [[nodiscard]] TextView engineWord(std::size_t i) const {
        const Token& token = tokens_[i];
        if (groups_.afterDot(i) || groups_.beforeSymbol(i, ".")) return token.raw;
        if (groups_.beforeSymbol(i, "(")) {
            const auto* function = findFunction(i);
            return function == nullptr ? token.raw : function->engineName;
        }
        if (token.isWord("null") && !dialect_.nullArgument.empty() && isArgument(i)) return dialect_.nullArgument;
        if (token.isWord("true")) return "-1";
        if (token.isWord("false")) return "0";
        if (token.isWord("mod")) return "%";
        return token.raw;
    }

    void putName(TextView name) {
        Text quoted;
        appendQuotedName(quoted, dialect_.foldsNames ? foldCase(name) : Text(name));
        put(quoted);
    }

    /// A blank between any two tokens keeps `- -` from becoming a comment.
    void put(TextView piece) {
        if (!out_.empty() && piece != "." && out_.back() != '.') out_ += ' ';
        out_ += piece;
    }

    std::span<const Token> tokens_;
    const Dialect& dialect_;
    std::span<const Text> neverNull_;
    TokenGroups groups_;
    std::size_t parameters_ = 0;
    std::size_t queries_ = 0; ///< that were given a name
    Text out_;
};

} // namespace

Text translate(std::span<const Token> tokens, const Dialect& dialect, std::span<const Text> neverNull) {
    return Translator(tokens, dialect, neverNull).run();
}

void appendQuotedName(Text& out, TextView name) {
    out += '"';
    for (const char c : name) {
        if (c == '"') out += '"';
        out += c;
    }
    out += '"';
}

void appendTextLiteral(Text& out, TextView text) {
    out += '\'';
    for (const char c : text) {
        if (c == '\'') out += '\'';
        out += c;
    }
    out += '\'';
}

} // namespace corveth::data
