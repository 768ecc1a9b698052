#include "platform/data/dialect.h"

#include "platform/automation/convert.h"
#include "platform/automation/date.h"
#include "platform/automation/error.h"

#include <algorithm>
#include <array>
#include <optional>

namespace corveth::data {

namespace {

/// Words that stand between operands, so that an `&` never reaches across them. Sorted.
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
constexpr std::array boundarySymbols = std::to_array<TextView>({",", "=", "<", ">", "<=", ">=", "<>", "!=", "==", ";"});

/// Brackets within brackets; engines give up at about a hundred, and each level takes some of our stack.
constexpr std::size_t deepest = 500;

class Translator {
public:
    Translator(std::span<const Token> tokens, const Dialect& dialect)
        : tokens_(tokens), dialect_(dialect), partner_(tokens.size(), tokens.size()) {
        matchBrackets();
    }

    Text run() {
        renderLevel(0, tokens_.size());
        return std::move(out_);
    }

private:
    /// The closing token of every bracket and Case; the end of the statement where it is missing.
    void matchBrackets() {
        std::vector<std::size_t> open;
        for (std::size_t i = 0; i < tokens_.size(); ++i) {
            if (tokens_[i].is("(") || (tokens_[i].isWord("case") && !afterDot(i))) {
                open.push_back(i);
                if (open.size() > deepest) {
                    throw Error(errors::engine, "ADODB.Connection",
                                "Syntax error in the statement: brackets are nested more than " +
                                    std::to_string(deepest) + " deep.");
                }
            } else if ((tokens_[i].is(")") || (tokens_[i].isWord("end") && !afterDot(i))) && !open.empty()) {
                partner_[open.back()] = i;
                open.pop_back();
            }
        }
    }

    [[nodiscard]] bool afterDot(std::size_t i) const noexcept { return i > 0 && tokens_[i - 1].is("."); }
    [[nodiscard]] bool beforeSymbol(std::size_t i, TextView symbol) const noexcept {
        return i + 1 < tokens_.size() && tokens_[i + 1].is(symbol);
    }
    [[nodiscard]] bool opensGroup(std::size_t i) const noexcept {
        return tokens_[i].is("(") || (tokens_[i].isWord("case") && !afterDot(i));
    }

    [[nodiscard]] bool isBoundary(std::size_t i) const {
        if (i == 0) return true; // the statement's own word, also where it could name a function
        const Token& token = tokens_[i];
        if (token.kind == TokenKind::symbol)
            return std::ranges::find(boundarySymbols, token.raw) != boundarySymbols.end();
        if (token.kind != TokenKind::word || afterDot(i)) return false;
        const Text word = foldCase(token.raw);
        if (!std::ranges::binary_search(boundaryWords, TextView(word))) return false;
        const bool isFunction = beforeSymbol(i, "(") && std::ranges::binary_search(functionWords, TextView(word));
        return !isFunction;
    }

    /// One operand with its operators of this level, brackets and Case as a whole.
    [[nodiscard]] std::size_t endOfRun(std::size_t begin, std::size_t end) const {
        bool operandBefore = false;
        std::size_t i = begin;
        while (i < end && !isBoundary(i)) {
            if (opensGroup(i)) {
                i = std::min(partner_[i] + 1, end);
                operandBefore = true;
                continue;
            }
            const Token& token = tokens_[i];
            const bool joins = token.isWord("collate") || token.isWord("mod");
            const bool isOperand = token.kind != TokenKind::symbol && !joins;
            if (isOperand && operandBefore) break; // a name without As
            operandBefore = isOperand;
            ++i;
        }
        return i;
    }

    void renderLevel(std::size_t begin, std::size_t end) {
        std::size_t lastRun = out_.size();
        std::size_t i = begin;
        while (i < end) {
            const std::size_t runEnd = endOfRun(i, end);
            if (runEnd > i) {
                lastRun = out_.size();
                renderRun(i, runEnd);
                i = runEnd;
            }
            if (i == end || !isBoundary(i)) continue;
            const bool negated = tokens_[i].isWord("not") && i + 1 < end && tokens_[i + 1].isWord("like");
            if (negated || (tokens_[i].isWord("like") && !afterDot(i))) {
                i = renderLike(negated ? i + 2 : i + 1, end, negated, lastRun);
            } else {
                emit(i++);
                lastRun = out_.size();
            }
        }
    }

    void renderRun(std::size_t begin, std::size_t end) {
        std::vector<std::size_t> joints;
        for (std::size_t i = begin; i < end; i = opensGroup(i) ? std::min(partner_[i] + 1, end) : i + 1) {
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
            renderElements(piece, joint);
            put(",");
            piece = joint + 1;
        }
        renderElements(piece, end);
        put(")");
    }

    void renderElements(std::size_t begin, std::size_t end) {
        std::size_t i = begin;
        while (i < end) {
            emit(i);
            if (opensGroup(i)) {
                const std::size_t close = std::min(partner_[i], end);
                renderLevel(i + 1, close);
                i = close;
                if (i < end) emit(i);
            }
            ++i;
        }
    }

    /// The pattern begins at `begin`; what is compared was rendered from `lastRun` on.
    std::size_t renderLike(std::size_t begin, std::size_t end, bool negated, std::size_t lastRun) {
        const std::size_t runEnd = endOfRun(begin, end);
        if (runEnd == begin + 1 && tokens_[begin].kind == TokenKind::text) {
            if (const auto pattern = enginePattern(tokens_[begin].content())) {
                if (negated) put("Not");
                put(dialect_.likeOperator);
                put(*pattern);
                return runEnd;
            }
        }
        Text compared = out_.substr(lastRun);
        out_.resize(lastRun);
        if (negated) put("Not");
        put(dialect_.likeFunction);
        put("(");
        out_ += compared;
        put(",");
        renderRun(begin, runEnd);
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
            put(engineWord(i));
            break;
        case TokenKind::name: {
            Text name;
            appendQuotedName(name, token.name());
            put(name);
            break;
        }
        case TokenKind::text: {
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
        case TokenKind::symbol:
            put(token.raw);
            break;
        }
    }

    /// What the engine calls a word; a part of a qualified name is never anything but a name.
    [[nodiscard]] TextView engineWord(std::size_t i) const {
        const Token& token = tokens_[i];
        if (afterDot(i) || beforeSymbol(i, ".")) return token.raw;
        if (beforeSymbol(i, "(")) {
            const Text word = foldCase(token.raw);
            const auto found = std::ranges::find(dialect_.functions, TextView(word), &Dialect::Function::name);
            return found == dialect_.functions.end() ? token.raw : found->engineName;
        }
        if (token.isWord("true")) return "-1";
        if (token.isWord("false")) return "0";
        if (token.isWord("mod")) return "%";
        return token.raw;
    }

    /// A blank between any two tokens keeps `- -` from becoming a comment.
    void put(TextView piece) {
        if (!out_.empty() && piece != "." && out_.back() != '.') out_ += ' ';
        out_ += piece;
    }

    std::span<const Token> tokens_;
    const Dialect& dialect_;
    std::vector<std::size_t> partner_;
    std::size_t parameters_ = 0;
    Text out_;
};

char folded(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::size_t characterLength(TextView text) noexcept {
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U)
        ++length;
    return length;
}

bool sameCharacter(TextView a, TextView b) noexcept {
    return a.size() == b.size() && std::ranges::equal(a, b, {}, folded, folded);
}

/// Whether `character` is one of the bracket's list; `list` is what stands between the brackets.
bool inList(TextView character, TextView list) noexcept {
    const bool negated = !list.empty() && list.front() == '!';
    if (negated) list.remove_prefix(1);
    bool found = false;
    while (!list.empty()) {
        const TextView first = list.substr(0, characterLength(list));
        list.remove_prefix(first.size());
        if (list.size() > 1 && list.front() == '-') {
            list.remove_prefix(1);
            const TextView last = list.substr(0, characterLength(list));
            list.remove_prefix(last.size());
            // Code points in order are their bytes in order.
            found = found || (compareNoCase(first, character) <= 0 && compareNoCase(character, last) <= 0);
        } else {
            found = found || sameCharacter(first, character);
        }
    }
    return found != negated;
}

/// The length of the pattern's first item when it matches the text's first character; 0 when it does not.
std::size_t matchOne(TextView character, TextView pattern) noexcept {
    switch (pattern.front()) {
    case '?':
        return 1;
    case '#':
        return character.front() >= '0' && character.front() <= '9' ? 1 : 0;
    case '[': {
        const std::size_t close = pattern.find(']', 1);
        if (close == TextView::npos) break;
        return inList(character, pattern.substr(1, close - 1)) ? close + 1 : 0;
    }
    default:
        break;
    }
    const std::size_t length = characterLength(pattern);
    return sameCharacter(character, pattern.substr(0, length)) ? length : 0;
}

} // namespace

Text translate(std::span<const Token> tokens, const Dialect& dialect) {
    return Translator(tokens, dialect).run();
}

bool likeMatches(TextView text, TextView pattern) noexcept {
    // After a `*` it is enough to remember where it stood: a later one makes an earlier one's choice final.
    bool hasStar = false;
    TextView starText, starPattern;
    while (!text.empty()) {
        if (!pattern.empty() && pattern.front() == '*') {
            pattern.remove_prefix(1);
            hasStar = true;
            starText = text;
            starPattern = pattern;
            continue;
        }
        const TextView character = text.substr(0, characterLength(text));
        const std::size_t matched = pattern.empty() ? 0 : matchOne(character, pattern);
        if (matched != 0) {
            text.remove_prefix(character.size());
            pattern.remove_prefix(matched);
        } else if (hasStar) {
            starText.remove_prefix(characterLength(starText));
            text = starText;
            pattern = starPattern;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*') == TextView::npos;
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
