#include "platform/data/tokenizer.h"

#include "platform/data/characters.h"

#include <algorithm>
#include <array>

namespace corveth::data {

namespace {

std::size_t endOfText(TextView sql, std::size_t at, char quote) noexcept {
    while (at < sql.size()) {
        if (sql[at] == quote) {
            if (at + 1 == sql.size() || sql[at + 1] != quote) return at + 1;
            ++at;
        }
        ++at;
    }
    return at;
}

std::size_t endOfNumber(TextView sql, std::size_t at) noexcept {
    while (at < sql.size() && (isWordChar(sql[at]) || sql[at] == '.')) {
        const bool exponent = sql[at] == 'e' || sql[at] == 'E';
        ++at;
        if (exponent && at + 1 < sql.size() && (sql[at] == '+' || sql[at] == '-') &&
            charClass(sql[at + 1]) == CharClass::digit) {
            ++at;
        }
    }
    return at;
}

std::size_t endOfSymbol(TextView sql, std::size_t at) noexcept {
    constexpr std::array<TextView, 8> pairs = {"<=", ">=", "<>", "!=", "==", "||", "<<", ">>"};
    return at + (std::ranges::find(pairs, sql.substr(at, 2)) == pairs.end() ? 1 : 2);
}

Token next(TextView sql, std::size_t at) {
    const auto token = [&](TokenKind kind, std::size_t end) { return Token{kind, sql.substr(at, end - at)}; };
    const auto upTo = [&](char closing) { return std::min(sql.find(closing, at + 1), sql.size() - 1) + 1; };
    const char c = sql[at];
    switch (charClass(c)) {
    case CharClass::word:
        return token(TokenKind::word,
                     static_cast<std::size_t>(std::find_if_not(sql.begin() + at, sql.end(), isWordChar) - sql.begin()));
    case CharClass::digit:
        return token(TokenKind::number, endOfNumber(sql, at));
    default:
        break;
    }
    switch (c) {
    case '\'':
    case '"':
        return token(TokenKind::text, endOfText(sql, at + 1, c));
    case '[':
        return token(TokenKind::name, upTo(']'));
    case '`':
        return token(TokenKind::name, upTo('`'));
    case '#':
        return token(TokenKind::date, upTo('#'));
    case '?':
        return token(TokenKind::parameter, at + 1);
    default:
        return token(TokenKind::symbol, endOfSymbol(sql, at));
    }
}

} // namespace

bool Token::isWord(TextView lower) const noexcept {
    return kind == TokenKind::word && data::isWord(raw, lower);
}

TextView Token::name() const noexcept {
    return kind == TokenKind::name ? raw.substr(1, raw.size() - 2) : raw;
}

bool Token::isFinished() const noexcept {
    switch (kind) {
    case TokenKind::text: // a doubled quote is none that ends
        return std::ranges::count(raw, raw.front()) % 2 == 0;
    case TokenKind::date:
        return raw.size() > 1 && raw.back() == '#';
    case TokenKind::name:
        return raw.size() > 1 && raw.back() == (raw.front() == '[' ? ']' : '`');
    default:
        return true;
    }
}

Text Token::content() const {
    const Text quote(1, raw.front());
    return replaceAll(raw.substr(1, raw.size() - 2), quote + quote, quote);
}

std::vector<Token> tokenize(TextView sql) {
    std::vector<Token> tokens;
    std::size_t at = 0;
    while (at < sql.size()) {
        if (charClass(sql[at]) == CharClass::blank) {
            ++at;
            continue;
        }
        tokens.push_back(next(sql, at));
        at += tokens.back().raw.size();
    }
    return tokens;
}

} // namespace corveth::data
