#include "session/sql.h"

#include <algorithm>

namespace corveth {

namespace {

bool isPlainWord(TextView value) noexcept {
    return !value.empty() && std::ranges::all_of(value, [](unsigned char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '.';
    });
}

} // namespace

Sql Sql::verbatim(Text text) {
    Sql sql;
    sql.text_ = std::move(text);
    return sql;
}

void Sql::add(const Sql& part) {
    if (refusal_.empty()) refusal_ = part.refusal_;
    addLiteral(part.text_);
}

void Sql::addLiteral(TextView literal) {
    // From quote to quote: character by character it cost more than all else of a short method.
    for (std::size_t at = 0;; ++at) {
        at = quote_ == 0 ? std::min(literal.find('\'', at), literal.find('"', at)) : literal.find(quote_, at);
        if (at == TextView::npos) break;
        quote_ = quote_ == 0 ? literal[at] : '\0';
    }
    text_ += literal;
}

void Sql::addValue(TextView value) {
    text_ += value;
    if (!refusal_.empty()) return;
    const auto refuse = [&](const char* why) { refusal_ = "the value [" + Text(value) + "] " + why; };
    if (value.find('\0') != TextView::npos) {
        refuse("holds a NUL and cannot stand in a statement");
    } else if (quote_ != 0 && value.find(quote_) != TextView::npos) {
        refuse(quote_ == '"' ? "holds the quote \" that encloses it in the statement"
                             : "holds the quote ' that encloses it in the statement");
    } else if (quote_ == 0 && !isPlainWord(value)) {
        refuse("cannot stand outside quotes in a statement");
    }
}

} // namespace corveth
