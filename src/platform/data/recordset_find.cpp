// Searching the rows that a recordset holds.

#include "platform/automation/convert.h"
#include "platform/data/column_value.h"
#include "platform/data/guarded.h"
#include "platform/data/like.h"
#include "platform/data/recordset.h"
#include "platform/data/row_shape.h"
#include "platform/data/tokenizer.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace corveth {

namespace {

constexpr const char* source = "ADODB.Recordset";

[[noreturn]] void failCriteria(TextView criteria) {
    raise(errors::badArguments, "Criteria \"" + Text(criteria) + "\"", source);
}

struct Criterion {
    TextView column, comparison;
    bool isLike = false;
    Value value;
};

/// A number, with its sign, or a text, a date, True, False or Null.
Value readLiteral(std::span<const data::Token> tokens, TextView criteria) {
    using data::TokenKind;
    const bool negative = tokens.size() == 2 && tokens.front().is("-");
    if (tokens.size() != (negative ? 2U : 1U)) failCriteria(criteria);
    const data::Token& token = tokens.back();
    double number = 0;
    switch (token.kind) {
    case TokenKind::number:
        if (!parseNumber(token.raw, number)) failCriteria(criteria);
        return negative ? -number : number;
    case TokenKind::text:
        if (negative || token.raw.size() < 2) failCriteria(criteria);
        return token.content();
    case TokenKind::date:
        if (const auto date = tryParseDate(token.raw.substr(1, token.raw.size() - 2)); date && !negative) return *date;
        failCriteria(criteria);
    case TokenKind::word:
        if (negative) failCriteria(criteria);
        if (token.isWord("true")) return true;
        if (token.isWord("false")) return false;
        if (token.isWord("null")) return Null{};
        failCriteria(criteria);
    default:
        failCriteria(criteria);
    }
}

Criterion readCriterion(std::span<const data::Token> tokens, TextView criteria) {
    static constexpr std::array<TextView, 6> comparisons = {"=", "<", ">", "<=", ">=", "<>"};
    if (tokens.size() < 3 || !tokens[0].isName()) failCriteria(criteria);
    if (!std::ranges::all_of(tokens, &data::Token::isFinished)) failCriteria(criteria);
    Criterion criterion;
    criterion.column = tokens[0].name();
    criterion.isLike = tokens[1].isWord("like");
    criterion.comparison = tokens[1].raw;
    if (!criterion.isLike && std::ranges::find(comparisons, criterion.comparison) == comparisons.end()) {
        failCriteria(criteria);
    }
    criterion.value = readLiteral(tokens.subspan(2), criteria);
    if (criterion.isLike && !criterion.value.is(ValueType::text)) failCriteria(criteria);
    return criterion;
}

/// Below, at or above zero. Texts compare without regard to case, everything else as numbers.
int compare(const Value& a, const Value& b) {
    if (a.is(ValueType::text) && b.is(ValueType::text)) return compareNoCase(*a.getIf<Text>(), *b.getIf<Text>());
    const double left = toDouble(a), right = toDouble(b);
    if (left < right) return -1;
    return left > right ? 1 : 0;
}

bool meets(const Value& value, const Criterion& criterion) {
    if (value.isNull() || criterion.value.isNull()) {
        const bool bothNull = value.isNull() && criterion.value.isNull();
        return criterion.comparison == "<>" ? !bothNull : criterion.comparison == "=" && bothNull;
    }
    if (criterion.isLike) return data::likeMatches(toText(value), *criterion.value.getIf<Text>());
    const int order = compare(value, criterion.value);
    for (const char c : criterion.comparison) {
        if ((c == '<' && order < 0) || (c == '>' && order > 0)) return true;
        if (c == '=' && order == 0) return true;
    }
    return false;
}

} // namespace

void Recordset::Find(const Text& Criteria, std::int32_t SkipRecords, std::int32_t SearchDirection) {
    leaveRow();
    const auto tokens = data::tokenize(Criteria);
    Criterion criterion = readCriterion(tokens, Criteria);
    const std::size_t column = requireColumn(criterion.column);
    if (criterion.value.is(ValueType::text) && !criterion.isLike) {
        criterion.value = data::guarded(source, [&] {
            return data::toColumnValue((*shape_)[column].kind, std::move(criterion.value), criterion.column);
        });
    }
    if (isBof_ || row_ >= rowCount_) raise(errors::noCurrentRecord, {}, source);
    const std::ptrdiff_t direction = SearchDirection < 0 ? -1 : 1;
    std::ptrdiff_t row = row_;
    const std::int64_t skips = std::abs(std::int64_t{SkipRecords});
    for (std::int64_t skipped = 0; skipped < skips && row >= 0 && row < rowCount_; ++skipped)
        row = step(row, SkipRecords < 0 ? -1 : 1);
    if (row == row_ && isDeleted(row)) row = step(row, direction);
    while (row >= 0 && row < rowCount_) {
        if (meets(cells_[static_cast<std::size_t>(row) * shape_->size() + column], criterion)) break;
        row = step(row, direction);
    }
    moveTo(row);
}

} // namespace corveth
