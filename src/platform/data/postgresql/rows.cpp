#include "platform/data/postgresql/rows.h"

#include "platform/data/literals.h"
#include "platform/data/tokenizer.h"

#include <algorithm>
#include <charconv>
#include <libpq-fe.h>

namespace corveth::data::postgresql {

namespace {

/// Functions and words before a bracket that change nothing.
constexpr std::array harmless = std::to_array<TextView>({
    "abs",  "all",    "and",  "any",    "as",     "avg",    "between", "by",    "case",  "cast", "coalesce", "count",
    "else", "exists", "from", "having", "in",     "length", "like",    "limit", "max",   "min",  "not",      "nullif",
    "on",   "or",     "over", "select", "substr", "sum",    "then",    "trim",  "union", "when", "where",
});
static_assert(std::ranges::is_sorted(harmless));

/// Whether there is something to lose of it when a later statement fails: rows, or a table that it makes. Of a
/// function that it does not know it believes that it changes something.
bool changesSomething(TextView sql) {
    const auto tokens = tokenize(sql);
    if (tokens.empty() || !(tokens.front().isWord("select") || tokens.front().isWord("values"))) return true;
    for (std::size_t i = 1; i + 1 < tokens.size(); ++i) {
        if (tokens[i].isWord("into")) return true;
        if (tokens[i].kind == TokenKind::symbol || !tokens[i + 1].is("(")) continue;
        const bool isOurs = i >= 2 && tokens[i - 1].is(".") && tokens[i - 2].isWord("corveth");
        if (!isOurs && !std::ranges::binary_search(harmless, TextView(foldCase(tokens[i].raw)))) return true;
    }
    return false;
}

/// The number of the parameter that a message is about, from 0.
std::size_t parameterNamed(TextView words, std::size_t count) noexcept {
    const std::size_t at = words.find('$');
    if (at == TextView::npos) return count;
    std::size_t number = 0;
    std::from_chars(words.data() + at + 1, words.data() + words.size(), number);
    return number >= 1 && number <= count ? number - 1 : count;
}

[[noreturn]] void failPreparing(const Failure& failure) {
    if (failure.is(states::syntaxError) && failure.words.find("multiple commands") != Text::npos) {
        raise(errors::charactersAfterStatement, {}, "ADODB.Connection");
    }
    fail(failure.words);
}

struct FirstSelect {
    Text text;
    std::size_t parameters = 0;
};

/// Of a statement that joins the rows of several.
std::optional<FirstSelect> firstSelectOf(const Text& sql) {
    constexpr std::array joints = std::to_array<TextView>({"union", "except", "intersect"});
    FirstSelect first;
    const auto tokens = tokenize(sql);
    int depth = 0;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        if (token.is("(")) ++depth;
        if (token.is(")")) --depth;
        if (token.is("$") && i + 1 < tokens.size()) {
            std::size_t number = 0;
            const TextView digits = tokens[i + 1].raw;
            std::from_chars(digits.data(), digits.data() + digits.size(), number);
            first.parameters = std::max(first.parameters, number);
        }
        if (depth == 0 && std::ranges::any_of(joints, [&](TextView joint) { return token.isWord(joint); })) {
            first.text = sql.substr(0, static_cast<std::size_t>(token.raw.data() - sql.data()));
            return first;
        }
    }
    return std::nullopt;
}

bool isStale(const Failure& failure) noexcept {
    return failure.is(states::stalePlan) || failure.is(states::unknownStatement);
}

} // namespace

Rows::Rows(SessionState& session, Text sql, const StatementUse& use, std::optional<bool> changes)
    : session_(session),
      sql_(std::move(sql)),
      targets_(use.targets.begin(), use.targets.end()),
      changes_(changes ? *changes : changesSomething(sql_)) {
    columns_ = variantFor(typesFor(use.parameters), use.parameters).columns;
}

Rows::~Rows() {
    dropVariants();
}

void Rows::dropVariants() noexcept {
    for (auto& variant : variants_)
        session_.discard(std::move(variant.name));
    variants_.clear();
    current_ = nullptr;
}

std::vector<Oid> Rows::typesFor(std::span<const Parameter> parameters) const {
    std::vector<Oid> types;
    types.reserve(parameters.size());
    for (const auto& parameter : parameters) {
        const bool isStored = types.size() < targets_.size() && targets_[types.size()] != ColumnKind::undeclared;
        Oid type = inferred;
        if (std::holds_alternative<std::int64_t>(parameter) && !isStored) {
            type = int8Type; // what is reckoned with it has room then
        } else if (std::holds_alternative<double>(parameter) && !isStored) {
            type = float8Type;
        } else if (std::holds_alternative<std::span<const std::byte>>(parameter)) {
            type = bytesType;
        }
        types.push_back(type);
    }
    return types;
}

const Rows::Variant& Rows::variantFor(std::vector<Oid> wanted, std::span<const Parameter> parameters) {
    const auto suits = [&](const Variant& variant) {
        if (variant.wanted.size() != wanted.size()) return false;
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const bool isAny = std::holds_alternative<std::monostate>(parameters[i]);
            if (!isAny && variant.wanted[i] != wanted[i]) return false;
        }
        return true;
    };
    if (current_ == nullptr || !suits(*current_)) {
        const auto found = std::ranges::find_if(variants_, suits);
        if (found != variants_.end()) {
            current_ = &*found;
        } else {
            Variant variant = prepare(wanted);
            variant.wanted = std::move(wanted);
            current_ = &variants_.emplace_back(std::move(variant));
        }
    }
    return *current_;
}

Rows::Variant Rows::prepare(const std::vector<Oid>& wanted) {
    Failure first;
    if (auto variant = tryPrepare(wanted, first)) return std::move(*variant);
    // A number beside a text, say: the server is left to decide what it is.
    constexpr std::array mendable = {states::undefinedFunction,  states::typeMismatch, states::ambiguousFunction,
                                     states::ambiguousParameter, states::cannotCoerce, states::indeterminateType};
    Failure last = first;
    std::vector<Oid> declared = wanted;
    if (!last.is(states::indeterminateType)) std::ranges::fill(declared, inferred);
    for (std::size_t i = 0; i <= wanted.size(); ++i) {
        if (std::ranges::find(mendable, TextView(last.state)) == mendable.end()) break;
        if (last.is(states::indeterminateType)) {
            const std::size_t number = parameterNamed(last.words, declared.size());
            if (number == declared.size() || declared[number] != inferred) break;
            declared[number] = wanted[number] == inferred ? textType : wanted[number];
        }
        if (declared == wanted) break;
        if (auto variant = tryPrepare(declared, last)) return std::move(*variant);
    }
    failPreparing(first);
}

std::optional<Rows::Variant> Rows::tryPrepare(const std::vector<Oid>& declared, Failure& failure) {
    Variant variant;
    variant.name = session_.newStatementName();
    const Command commands[] = {
        {.kind = Command::Kind::prepare, .name = variant.name.c_str(), .text = sql_.c_str(), .types = declared},
        {.kind = Command::Kind::describe, .name = variant.name.c_str()}};
    Answers answers = session_.run(commands, false);
    if (answers.failure) {
        failure = std::move(*answers.failure);
        return std::nullopt;
    }
    describe(variant, answers.results.back().get());
    if (!variant.columns.empty()) describeByFirstSelect(variant, declared);
    return variant;
}

void Rows::describe(Variant& variant, const pg_result* described) {
    Catalog& catalog = session_.catalog();
    for (int i = 0; i < PQnparams(described); ++i)
        variant.types.push_back(catalog.type(PQparamtype(described, i)));
    for (int i = 0; i < PQnfields(described); ++i) {
        const WireType type = catalog.type(PQftype(described, i));
        variant.cellTypes.push_back(type);
        variant.isBinary = variant.isBinary && type != WireType::other;
        ResultColumn column;
        column.name = PQfname(described, i);
        const Oid number = PQftable(described, i);
        if (const auto* table = number == 0 ? nullptr : catalog.table(number)) {
            const auto at = static_cast<std::size_t>(PQftablecol(described, i));
            const std::size_t position = at < table->positions.size() ? table->positions[at] : Catalog::Table::none;
            if (position != Catalog::Table::none) {
                const auto& declared = table->info->columns[position];
                column.kind = declared.kind;
                column.originTable = table->name;
                column.originColumn = declared.name;
                if (equalNoCase(column.name, declared.name)) column.name = declared.name;
            }
        }
        variant.columns.push_back(std::move(column));
    }
}

void Rows::describeByFirstSelect(Variant& variant, const std::vector<Oid>& declared) {
    const std::optional<FirstSelect> first = firstSelectOf(sql_);
    if (!first || first->parameters > declared.size()) return;
    const Command commands[] = {{.kind = Command::Kind::prepare,
                                 .name = "",
                                 .text = first->text.c_str(),
                                 .types = std::span(declared).first(first->parameters)},
                                {.kind = Command::Kind::describe, .name = ""}};
    const Answers answers = session_.run(commands, false);
    if (answers.failure) return; // it may not stand by itself
    Variant alone;
    describe(alone, answers.results.back().get());
    if (alone.columns.size() == variant.columns.size()) variant.columns = std::move(alone.columns);
}

void Rows::encode(std::span<const Parameter> parameters) {
    std::vector<Oid> wanted = typesFor(parameters);
    for (;;) {
        const Variant& variant = variantFor(wanted, parameters);
        std::size_t position = 0;
        if (encoder_.encode(parameters, variant.types, position)) return;
        // A fraction, say, that is compared with whole numbers.
        if (wanted[position] == float8Type) {
            raise(errors::overflow, "a number does not fit where it is stored", "ADODB.Connection");
        }
        wanted[position] = float8Type;
    }
}

RunResult Rows::run(std::span<const Parameter> parameters, std::vector<Value>* cells) {
    RunResult result;
    for (;;) {
        const Variant* const before = current_;
        encode(parameters);
        const Variant& variant = *current_;
        if (&variant != before) columns_ = variant.columns;
        const Command command{.kind = Command::Kind::execute,
                              .name = variant.name.c_str(),
                              .arguments = &encoder_.arguments(),
                              .wantsBinary = variant.isBinary};
        Answers answers = session_.run({&command, 1}, changes_);
        if (answers.failure) {
            if (result.recompiled || !isStale(*answers.failure)) fail(std::move(answers.failure->words));
            dropVariants();
            session_.schemaChanged();
            result.recompiled = true;
            continue;
        }
        const pg_result* rows = answers.results.back().get();
        if (cells != nullptr) readRows(variant, rows, *cells);
        if (changes_) {
            const TextView affected = PQcmdTuples(answers.results.back().get());
            const bool isQuery = TextView(PQcmdStatus(answers.results.back().get())).starts_with("SELECT");
            if (!isQuery) std::from_chars(affected.data(), affected.data() + affected.size(), result.affected);
        }
        return result;
    }
}

void Rows::readRows(const Variant& variant, const pg_result* result, std::vector<Value>& cells) const {
    const int count = PQntuples(result);
    const auto columns = static_cast<int>(variant.columns.size());
    if (count == 0 || columns != PQnfields(result)) return;
    cells.reserve(cells.size() + static_cast<std::size_t>(count) * variant.columns.size());
    for (int row = 0; row < count; ++row) {
        for (int column = 0; column < columns; ++column) {
            const int length = PQgetlength(result, row, column);
            if (length == 0 && PQgetisnull(result, row, column) != 0) {
                cells.emplace_back(Null{});
                continue;
            }
            const TextView cell(PQgetvalue(result, row, column), static_cast<std::size_t>(length));
            const auto at = static_cast<std::size_t>(column);
            const WireType type = variant.cellTypes[at];
            if (type == WireType::text) { // as most are
                cells.emplace_back(cell);
                continue;
            }
            const ColumnKind kind = variant.columns[at].kind;
            cells.push_back(variant.isBinary ? decodeBinary(cell, type, kind) : decodeText(cell, type, kind));
        }
    }
}

} // namespace corveth::data::postgresql
