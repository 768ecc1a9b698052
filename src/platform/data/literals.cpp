#include "platform/data/literals.h"

#include "platform/data/characters.h"
#include "platform/desktop/clock.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace corveth::data {

namespace {

/// By its first letter and, where that is not enough, the whole word.
StatementKind kindOfFirstWord(TextView word) noexcept {
    const auto is = [word](TextView known) { return isWord(word, known); };
    switch (word.empty() ? '\0' : word.front() | 0x20) {
    case 'a':
        if (is("abort")) return StatementKind::transaction;
        break;
    case 'p':
        if (is("prepare")) return StatementKind::transaction;
        break;
    case 's':
        if (is("select")) return StatementKind::rows;
        if (is("savepoint") || is("start")) return StatementKind::transaction;
        break;
    case 'i':
        if (is("insert")) return StatementKind::changes;
        break;
    case 'u':
        if (is("update")) return StatementKind::changes;
        break;
    case 'd':
        if (is("delete")) return StatementKind::changes;
        break;
    case 'r':
        if (is("replace")) return StatementKind::changes;
        if (is("rollback") || is("release")) return StatementKind::transaction;
        break;
    case 'w':
        if (is("with")) return StatementKind::rows;
        break;
    case 'v':
        if (is("values")) return StatementKind::rows;
        break;
    case 'b':
        if (is("begin")) return StatementKind::transaction;
        break;
    case 'c':
        if (is("commit")) return StatementKind::transaction;
        break;
    case 'e':
        if (is("end")) return StatementKind::transaction;
        break;
    default:
        break;
    }
    return StatementKind::definition;
}

/// Words that end a list of positions at its own depth.
bool endsPositions(TextView word) noexcept {
    switch (word.size()) {
    case 5:
        return isWord(word, "union") || isWord(word, "limit");
    case 6:
        return isWord(word, "having") || isWord(word, "except") || isWord(word, "window");
    case 9:
        return isWord(word, "intersect") || isWord(word, "returning");
    default:
        return false;
    }
}

constexpr std::size_t shownLength = 40;

} // namespace

StatementKind statementKind(TextView sql) noexcept {
    const auto* begin = std::ranges::find_if(sql, [](char c) { return charClass(c) != CharClass::blank && c != ';'; });
    if (begin == sql.end()) return StatementKind::empty;
    const auto* end = std::find_if_not(begin, sql.end(), isWordChar);
    return kindOfFirstWord(TextView(begin, static_cast<std::size_t>(end - begin)));
}

void LiteralLifter::lift(TextView sql) {
    sql_ = sql;
    text_.clear();
    parameters_.clear();
    decoded_.clear();
    at_ = copied_ = 0;
    depth_ = 0;
    keepDepth_ = -1;
    before_ = Before::nothing;
    afterLike_ = false;
    afterAs_ = 0;
    kind_ = statementKind(sql);
    if (kind_ == StatementKind::definition) requireWord();
    if (kind_ != StatementKind::rows && kind_ != StatementKind::changes) {
        text_ = sql;
        return;
    }
    scan();
    text_.append(sql_, copied_, sql_.size() - copied_);
}

// A comment or a byte order mark would hide from us, not from the engine, what statement follows.
void LiteralLifter::requireWord() const {
    const auto* begin = std::ranges::find_if(sql_, [](char c) { return charClass(c) != CharClass::blank && c != ';'; });
    const bool isLetter = (*begin >= 'a' && *begin <= 'z') || (*begin >= 'A' && *begin <= 'Z');
    if (!isLetter) refuse("no word begins it", static_cast<std::size_t>(begin - sql_.begin()));
}

void LiteralLifter::scan() {
    while (at_ < sql_.size()) {
        const char c = sql_[at_];
        switch (charClass(c)) {
        case CharClass::blank:
            ++at_;
            break;
        case CharClass::word:
            scanWord();
            break;
        case CharClass::digit:
            scanNumber(at_);
            break;
        case CharClass::nul:
            refuse("a NUL character", at_);
        case CharClass::symbol:
            scanSymbol(c);
            break;
        }
    }
}

void LiteralLifter::scanWord() {
    const std::size_t start = at_;
    while (at_ < sql_.size() && isWordChar(sql_[at_]))
        ++at_;
    const TextView word = sql_.substr(start, at_ - start);
    const bool qualified = before_ == Before::dot;
    before_ = Before::word;
    afterLike_ = false;
    afterAs_ = afterAs_ == 1 ? 2 : 0;
    if (qualified) return;
    switch (word.size()) {
    case 2:
        if (isWord(word, "by") && !keepsLiterals()) {
            keepDepth_ = depth_;
            keepIsType_ = false;
        } else if (isWord(word, "as")) {
            afterAs_ = 1;
        }
        break;
    case 3:
        if (isWord(word, "now")) takeClock(start, [] { return now(); });
        break;
    case 4:
        afterLike_ = isWord(word, "like");
        if (isWord(word, "date")) takeClock(start, [] { return today(); });
        break;
    default:
        if (keepDepth_ == depth_ && !keepIsType_ && endsPositions(word)) keepDepth_ = -1;
        break;
    }
}

/// A function of the clock is a value by now: it is the program's own clock that tells.
void LiteralLifter::takeClock(std::size_t start, Date (*read)()) {
    std::size_t end = at_;
    for (const char bracket : {'(', ')'}) {
        while (end < sql_.size() && charClass(sql_[end]) == CharClass::blank)
            ++end;
        if (end == sql_.size() || sql_[end] != bracket) return;
        ++end;
    }
    if (keepsLiterals()) return;
    at_ = end;
    before_ = Before::operand;
    afterAs_ = 0;
    replace(start, read().day);
}

void LiteralLifter::scanSymbol(char c) {
    const std::size_t start = at_;
    switch (c) {
    case '\'':
    case '"':
        scanText(c);
        return;
    case '[':
        scanName(']');
        return;
    case '`':
        scanName('`');
        return;
    case '#':
        scanDate();
        return;
    case '?':
    case ':':
    case '@':
    case '$':
        refuse("a parameter mark", start);
    case ';':
        endStatement();
        return;
    case '(':
        ++depth_;
        if (afterAs_ == 2 && !keepsLiterals()) {
            keepDepth_ = depth_;
            keepIsType_ = true;
        }
        before_ = Before::open;
        break;
    case ')':
        if (depth_ == 0) refuse("a bracket that nothing opened", start);
        --depth_;
        if (keepDepth_ > depth_) keepDepth_ = -1;
        before_ = Before::operand;
        break;
    case '.':
        if (start + 1 < sql_.size() && charClass(sql_[start + 1]) == CharClass::digit && before_ != Before::word &&
            before_ != Before::operand) {
            scanNumber(start);
            return;
        }
        before_ = Before::dot;
        break;
    case '-':
        // The sign of a number goes with it, so that `=5` and `=-5` are one statement.
        if (before_ == Before::sign || before_ == Before::open) {
            if (start + 1 < sql_.size() && charClass(sql_[start + 1]) == CharClass::digit) {
                ++at_;
                scanNumber(start);
                return;
            }
        }
        before_ = Before::sign;
        break;
    case ',':
        before_ = Before::open;
        break;
    default:
        before_ = Before::sign;
        break;
    }
    afterLike_ = false;
    afterAs_ = 0;
    ++at_;
}

void LiteralLifter::scanText(char quote) {
    const std::size_t start = at_++;
    std::size_t piece = at_;
    bool doubled = false;
    const std::size_t decodedStart = decoded_.size();
    for (;;) {
        const std::size_t end = sql_.find(quote, at_);
        if (end == TextView::npos) refuse("a text without end", start);
        at_ = end + 1;
        if (at_ == sql_.size() || sql_[at_] != quote) break;
        // Views into the buffer must stay good: it never outgrows what it reserves here.
        if (decoded_.capacity() < sql_.size()) decoded_.reserve(sql_.size());
        doubled = true;
        decoded_.append(sql_, piece, at_ - piece);
        piece = ++at_;
    }
    const bool stays = afterLike_ || afterAs_ == 1;
    afterLike_ = false;
    afterAs_ = 0;
    before_ = Before::operand;
    TextView content = sql_.substr(piece, at_ - 1 - piece);
    if (doubled) {
        decoded_.append(content);
        content = TextView(decoded_).substr(decodedStart);
    }
    if (content.find('\0') != TextView::npos) refuse("a NUL character", start);
    if (stays || keepsLiterals()) return;
    replace(start, content);
}

void LiteralLifter::scanNumber(std::size_t start) {
    const auto digits = [this] {
        while (at_ < sql_.size() && charClass(sql_[at_]) == CharClass::digit)
            ++at_;
    };
    bool whole = true;
    digits();
    if (at_ < sql_.size() && sql_[at_] == '.') {
        whole = false;
        ++at_;
        digits();
    }
    if (at_ < sql_.size() && (sql_[at_] == 'e' || sql_[at_] == 'E')) {
        std::size_t exponent = at_ + 1;
        if (exponent < sql_.size() && (sql_[exponent] == '+' || sql_[exponent] == '-')) ++exponent;
        if (exponent < sql_.size() && charClass(sql_[exponent]) == CharClass::digit) {
            whole = false;
            at_ = exponent;
            digits();
        }
    }
    afterLike_ = false;
    afterAs_ = 0;
    before_ = Before::operand;
    // An engine may take the rest for a name.
    if (at_ < sql_.size() && isWordChar(sql_[at_])) refuse("a number that goes on as a word", start);
    if (keepsLiterals()) return;
    const char* first = sql_.data() + start;
    const char* last = sql_.data() + at_;
    if (whole) {
        std::int64_t number = 0;
        if (std::from_chars(first, last, number).ec == std::errc{}) {
            replace(start, number);
            return;
        }
    }
    double number = 0;
    if (std::from_chars(first, last, number).ec != std::errc{}) refuse("a number out of range", start);
    replace(start, number);
}

void LiteralLifter::scanDate() {
    const std::size_t start = at_;
    const std::size_t end = sql_.find('#', start + 1);
    if (end == TextView::npos) refuse("a date without end", start);
    const auto date = tryParseDate(sql_.substr(start + 1, end - start - 1));
    if (!date) refuse("a date that is none", start);
    at_ = end + 1;
    afterLike_ = false;
    afterAs_ = 0;
    before_ = Before::operand;
    if (!keepsLiterals()) replace(start, date->day);
}

void LiteralLifter::scanName(char closing) {
    const std::size_t start = at_;
    const std::size_t end = sql_.find(closing, start + 1);
    if (end == TextView::npos) refuse("a name without end", start);
    at_ = end + 1;
    before_ = Before::operand;
    afterLike_ = false;
    afterAs_ = afterAs_ == 1 ? 2 : 0;
}

void LiteralLifter::endStatement() {
    const TextView rest = sql_.substr(at_ + 1);
    if (!std::ranges::all_of(rest, [](char c) { return charClass(c) == CharClass::blank; })) {
        raise(errors::charactersAfterStatement, leftUnits(rest, shownLength), "ADODB.Connection");
    }
    sql_ = sql_.substr(0, at_);
}

void LiteralLifter::replace(std::size_t start, Parameter value) {
    text_.append(sql_, copied_, start - copied_);
    text_ += '?';
    copied_ = at_;
    parameters_.push_back(value);
}

void LiteralLifter::refuse(TextView what, std::size_t start) const {
    Text shown(leftUnits(sql_.substr(start), shownLength));
    std::erase(shown, '\0');
    throw Error(errors::engine, "ADODB.Connection",
                "Syntax error in the statement: " + Text(what) + " at \"" + shown + "\".");
}

} // namespace corveth::data
