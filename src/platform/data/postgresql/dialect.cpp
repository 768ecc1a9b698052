#include "platform/data/postgresql/dialect.h"

#include "platform/automation/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace corveth::data::postgresql {

namespace {

constexpr std::array functionNames = std::to_array<Dialect::Function>({
    {"right", "corveth.right"},
    {"left", "corveth.left"},
    {"mid", "corveth.mid"},
    {"len", "corveth.len"},
    {"ucase", "corveth.upper"},
    {"lcase", "corveth.lower"},
    {"upper", "corveth.upper"},
    {"lower", "corveth.lower"},
    {"trim", "corveth.trim"},
    {"nz", "corveth.nz"},
    {"iif", "corveth.iif"},
    {"round", "corveth.round"},
    {"avg", "corveth.avg"},
    {"ifnull", "coalesce"},
    {"instr", "strpos"},
    {"date", "corveth.date"},
    {"now", "corveth.now"},
});

constexpr std::array reservedNames = std::to_array<TextView>({
    "analyse",       "analyze",         "any",          "array",          "asymmetric",
    "authorization", "binary",          "both",         "collation",      "column",
    "concurrently",  "current_catalog", "current_role", "current_schema", "current_user",
    "day",           "fetch",           "for",          "freeze",         "grant",
    "hour",          "ilike",           "initially",    "lateral",        "leading",
    "localtime",     "localtimestamp",  "minute",       "month",          "only",
    "overlaps",      "placing",         "second",       "session_user",   "similar",
    "some",          "symmetric",       "tablesample",  "trailing",       "user",
    "variadic",      "verbose",         "year",
});
static_assert(std::ranges::is_sorted(reservedNames));

void appendParameter(Text& out, std::size_t number) {
    out += '$';
    out += std::to_string(number);
}

constexpr std::array castNames = std::to_array<Dialect::Function>({
    {"char", "corveth.text"},
    {"varchar", "corveth.text"},
    {"text", "corveth.text"},
    {"integer", "corveth.whole"},
    {"int", "corveth.whole"},
    {"smallint", "corveth.whole"},
    {"bigint", "corveth.whole"},
    {"real", "corveth.real"},
    {"double", "corveth.real"},
    {"float", "corveth.real"},
});

/// A function that is one expression, which the planner puts in the place of its call.
struct Expression {
    const char* signature;
    const char* result;
    const char* text;
};

// Operands are texts or numbers; every other kind of number goes by double, as the platform's own text of numbers does.
// Where lengths are counted, a character beyond the first plane counts two. `expanded` puts a mark behind each, so that
// a cut between the two can be told.
constexpr std::array expressions = std::to_array<Expression>({
    {"text(value text)", "text", "value"},
    {"text(value bigint)", "text", "value::text"},
    {"text(value double precision)", "text",
     "case when abs(value::numeric) < 1e15 and scale(trim_scale(value::numeric)) <= 15 "
     "then trim_scale(value::numeric)::text "
     R"(else regexp_replace(ltrim(to_char(value::numeric, '9.99999999999999EEEE')), '\.?0*e', 'E') end)"},
    {"text(value boolean)", "text", "case when value then '1' when not value then '0' end"},
    {"concat(variadic pieces text[])", "text",
     "case when num_nonnulls(variadic pieces) > 0 then array_to_string(pieces, '') end"},

    {"upper(value text)", "text", R"(upper(value collate "C"))"},
    {"upper(value double precision)", "text", "upper(corveth.text(value))"},
    {"lower(value text)", "text", R"(lower(value collate "C"))"},
    {"lower(value double precision)", "text", "lower(corveth.text(value))"},
    {"trim(value text)", "text", "btrim(value)"},
    {"trim(value double precision)", "text", "corveth.text(value)"},
    {"trim(value text, characters text)", "text", "btrim(value, characters)"},

    {"astral(value text)", "boolean", R"(octet_length(value) <> length(value) and value ~ '[\U00010000-\U0010FFFF]')"},
    {"expanded(value text)", "text", R"(regexp_replace(value, '([\U00010000-\U0010FFFF])', E'\\1\uFFFF', 'g'))"},
    {"folded(value text)", "text",
     R"(regexp_replace(regexp_replace(value, '[\U00010000-\U0010FFFF]$', ''), )"
     R"('([\U00010000-\U0010FFFF])\uFFFF', '\1', 'g'))"},
    {"len(value text)", "integer",
     "case when corveth.astral(value) then length(corveth.expanded(value)) else length(value) end"},
    {"len(value double precision)", "integer", "length(corveth.text(value))"},
    {"left(value text, count double precision)", "text",
     "case when corveth.astral(value) then corveth.folded(left(corveth.expanded(value), corveth.count(count, 0))) "
     "else left(value, corveth.count(count, 0)) end"},
    {"left(value double precision, count double precision)", "text", "corveth.left(corveth.text(value), count)"},
    // From the character on that holds the unit at which `count` units are left.
    {"right(value text, count double precision)", "text",
     "case when corveth.astral(value) then substr(value, 1 + length(corveth.left(value, "
     "greatest(0, corveth.len(value) - corveth.count(count, 0))))) "
     "when corveth.count(count, 0) = 0 then left(value, 0) else right(value, corveth.count(count, 0)) end"},
    {"right(value double precision, count double precision)", "text", "corveth.right(corveth.text(value), count)"},
    {"mid(value text, start double precision)", "text",
     "substr(value, 1 + length(corveth.left(value, corveth.count(start, 1) - 1)))"},
    {"mid(value double precision, start double precision)", "text", "corveth.mid(corveth.text(value), start)"},
    {"mid(value text, start double precision, count double precision)", "text",
     "corveth.left(corveth.mid(value, start), count)"},
    {"mid(value double precision, start double precision, count double precision)", "text",
     "corveth.left(corveth.mid(value, start), count)"},

    // As much of a text as is a number.
    {"whole(value text)", "bigint",
     R"(case when value is not null then coalesce(substring(value from '^\s*([+-]?[0-9]+)'), '0')::bigint end)"},
    {"whole(value double precision)", "bigint", "trunc(value)::bigint"},
    {"real(value text)", "double precision",
     R"(case when value is not null then coalesce(substring(value from )"
     R"('^\s*([+-]?(?:[0-9]+\.?[0-9]*|\.[0-9]+)(?:[eE][+-]?[0-9]+)?)'), '0')::double precision end)"},
    {"real(value double precision)", "double precision", "value"},

    {"nz(value text)", "text", "coalesce(value, '')"},
    {"nz(value double precision)", "double precision", "coalesce(value, 0)"},
    {"nz(value anycompatible, instead anycompatible)", "anycompatible", "coalesce(value, instead)"},
    {"nz(value text, instead text)", "text", "coalesce(value, instead)"},
    {"nz(value double precision, instead text)", "text", "coalesce(corveth.text(value), instead)"},
    {"nz(value text, instead double precision)", "text", "coalesce(value, corveth.text(instead))"},
    {"iif(condition boolean, yes anycompatible, no anycompatible)", "anycompatible",
     "case when condition then yes else no end"},
    {"iif(condition boolean, yes text, no text)", "text", "case when condition then yes else no end"},
    {"iif(condition boolean, yes double precision, no text)", "text",
     "case when condition then corveth.text(yes) else no end"},
    {"iif(condition boolean, yes text, no double precision)", "text",
     "case when condition then yes else corveth.text(no) end"},
    {"iif(condition double precision, yes anycompatible, no anycompatible)", "anycompatible",
     "case when condition <> 0 then yes else no end"},
    {"iif(condition double precision, yes text, no text)", "text", "case when condition <> 0 then yes else no end"},
    {"iif(condition double precision, yes double precision, no text)", "text",
     "case when condition <> 0 then corveth.text(yes) else no end"},
    {"iif(condition double precision, yes text, no double precision)", "text",
     "case when condition <> 0 then yes else corveth.text(no) end"},

    {"divisor(value double precision)", "double precision", "nullif(value, 0)"},
    {"number(condition boolean)", "integer", "case when condition then 1 when not condition then 0 end"},
    // Half away from zero; of a fraction the fifteen digits count that it is written with.
    {"round(value double precision)", "double precision",
     "case when abs(value) >= 4503599627370496 then value when value < 0 then trunc(value - 0.5) "
     "else trunc(value + 0.5) end"},
    {"round(value double precision, decimals double precision)", "double precision",
     "case when abs(value) >= 4503599627370496 then value when decimals < 1 then corveth.round(value) "
     "else round(value::numeric, least(decimals, 30)::integer)::double precision end"},
    {"\"like\"(value text, pattern text)", "boolean", R"(lower(value collate "C") ~ corveth.pattern(pattern))"},
});

constexpr std::array clocks = std::to_array<Expression>({
    {"date()", "double precision", "(current_date - date '1899-12-30')::double precision"},
    {"now()", "double precision",
     "extract(epoch from date_trunc('second', localtimestamp) - timestamp '1899-12-30')::double precision / 86400"},
});

/// Refuses a length or position below the lowest.
constexpr const char* count = R"(create function corveth.count(given double precision, lowest integer) returns integer
language plpgsql immutable parallel safe as $$
begin
    if coalesce(given, 0) < lowest then
        raise exception '{}: %', trunc(coalesce(given, 0))::bigint;
    end if;
    return least(trunc(coalesce(given, 0)), 2147483646);
end $$)";

/// The desktop's wildcards as a regular expression for text in small letters. A character stands there by its number,
/// so that none has a meaning.
constexpr const char* pattern = R"(create function corveth.pattern(given text) returns text
language plpgsql immutable strict parallel safe as $$
declare
    rest text := lower(given collate "C");
    made text := '';
    list text;
    ranges text;
    last text;
    negated boolean;
begin
    while rest <> '' loop
        if left(rest, 1) = '*' then
            made := made || '.*';
        elsif left(rest, 1) = '?' then
            made := made || '.';
        elsif left(rest, 1) = '#' then
            made := made || '[0-9]';
        elsif left(rest, 1) = '[' and strpos(rest, ']') > 0 then
            list := substr(rest, 2, strpos(rest, ']') - 2);
            rest := substr(rest, strpos(rest, ']'));
            ranges := '';
            negated := left(list, 1) = '!';
            if negated then
                list := substr(list, 2);
            end if;
            while list <> '' loop
                last := left(list, 1);
                if length(list) > 2 and substr(list, 2, 1) = '-' then
                    last := substr(list, 3, 1);
                end if;
                if ascii(last) >= ascii(list) then
                    ranges := ranges || '\U' || lpad(to_hex(ascii(list)), 8, '0')
                        || '-\U' || lpad(to_hex(ascii(last)), 8, '0');
                end if;
                list := substr(list, case when length(list) > 2 and substr(list, 2, 1) = '-' then 4 else 2 end);
            end loop;
            made := made || case when ranges <> '' then '[' || case when negated then '^' else '' end || ranges || ']'
                when negated then '.' else '$.' end;
        else
            made := made || '\U' || lpad(to_hex(ascii(rest)), 8, '0');
        end if;
        rest := substr(rest, 2);
    end loop;
    return '^' || made || '$';
end $$)";

/// Over doubles, added up in the order of the rows.
constexpr const char* average = "create aggregate corveth.avg(double precision) (sfunc = float8_accum, "
                                "stype = double precision[], finalfunc = float8_avg, initcond = '{0,0,0}')";

Text functionStatement(const Expression& expression, TextView volatility) {
    return fmt::format("create function corveth.{} returns {} language sql {} parallel safe as $$select {}$$",
                       expression.signature, expression.result, volatility, expression.text);
}

struct Operator {
    TextView sign;
    TextView name;
};

/// `text` says what is done with `one` and `other`.
void addOperator(std::vector<Text>& statements, const Operator& sign, TextView left, TextView right, TextView result,
                 const Text& text) {
    statements.push_back(fmt::format("create function corveth.{}(one {}, other {}) returns {} language sql immutable "
                                     "parallel safe as $$select {}$$",
                                     sign.name, left, right, result, text));
    statements.push_back(fmt::format("create operator {} (leftarg = {}, rightarg = {}, function = corveth.{})",
                                     sign.sign, left, right, sign.name));
}

/// Beside a key or link any text compares without regard to case, a computed one too; beside a number a text is the
/// number that it begins with.
std::vector<Text> operatorStatements() {
    constexpr auto comparisons = std::to_array<Operator>(
        {{"=", "equal"}, {"<>", "unequal"}, {"<", "less"}, {"<=", "atmost"}, {">", "greater"}, {">=", "atleast"}});
    constexpr auto calculations =
        std::to_array<Operator>({{"+", "plus"}, {"-", "minus"}, {"*", "times"}, {"/", "parts"}});
    constexpr TextView number = "double precision";
    std::vector<Text> statements;
    for (const auto& sign : comparisons) {
        const Text text = fmt::format("one::citext {} other::citext", sign.sign);
        addOperator(statements, sign, "citext", "text", "boolean", text);
        addOperator(statements, sign, "text", "citext", "boolean", text);
    }
    for (const auto& sign : calculations) {
        addOperator(statements, sign, "text", number, number, fmt::format("corveth.real(one) {} other", sign.sign));
        addOperator(statements, sign, number, "text", number, fmt::format("one {} corveth.real(other)", sign.sign));
        addOperator(statements, sign, "text", "text", number,
                    fmt::format("corveth.real(one) {} corveth.real(other)", sign.sign));
    }
    addOperator(statements, {"%", "remainder"}, number, number, "bigint", "trunc(one)::bigint % trunc(other)::bigint");
    return statements;
}

} // namespace

const Dialect& dialect() noexcept {
    static constexpr Dialect postgresqlDialect{.functions = functionNames,
                                               .concatenate = "corveth.concat",
                                               .textFunction = "corveth.text",
                                               .likeOperator = "ILike",
                                               .likeCollation = "Collate \"C\"",
                                               .likeFunction = "corveth.like",
                                               .appendParameter = &appendParameter,
                                               .divisor = "corveth.divisor",
                                               .nullArgument = "Null::double precision",
                                               .conditionNumber = "corveth.number",
                                               .foldsNames = true,
                                               .reservedNames = reservedNames,
                                               .keepsNoOrder = true,
                                               .ordersNullLast = true,
                                               .hasConditions = true,
                                               .refusesToDivideByZero = true,
                                               .casts = castNames};
    return postgresqlDialect;
}

Text foldedName(TextView name) {
    Text quoted;
    appendQuotedName(quoted, foldCase(name));
    return quoted;
}

Text literal(TextView text) {
    Text quoted;
    appendTextLiteral(quoted, text);
    return quoted;
}

std::vector<Text> functionStatements() {
    std::vector<Text> statements = {fmt::format(fmt::runtime(count), errorText(errors::invalidCall)), pattern, average};
    for (const Expression& expression : expressions)
        statements.push_back(functionStatement(expression, "immutable"));
    for (const Expression& clock : clocks)
        statements.push_back(functionStatement(clock, "stable"));
    std::ranges::move(operatorStatements(), std::back_inserter(statements));
    return statements;
}

} // namespace corveth::data::postgresql
