#pragma once

#include "platform/data/tokenizer.h"

#include <span>

namespace corveth::data {

/// How an engine says what the desktop dialect says.
struct Dialect {
    struct Function {
        TextView name; ///< in small letters
        TextView engineName;
    };
    std::span<const Function> functions;
    TextView concatenate;   ///< a function of any number of operands that reads Null as empty text
    TextView textFunction;  ///< what makes text of an operand of `&` and Like; empty where the engine does by itself
    TextView likeOperator;  ///< compares without regard to case, with % and _ and an Escape
    TextView likeCollation; ///< what the operator needs behind its left side to know of ASCII letters only, if anything
    TextView likeFunction;  ///< (text, pattern), with the desktop's wildcards
    void (*appendParameter)(Text& out, std::size_t number); ///< from 1
    TextView divisor;         ///< put before a divisor in brackets: division gives fractions, and Null for 0
    TextView nullArgument;    ///< Null as the argument of a function, where it must have a type; else empty
    TextView conditionNumber; ///< a function that makes a number of a condition, where that is none; else empty
    /// The engine knows names in small letters only: those in brackets are folded.
    bool foldsNames = false;
    /// Words that the engine keeps to itself and that are plain names in the dialect. Sorted.
    std::span<const TextView> reservedNames;
    /// Rows that were changed come last when nobody asks for an order.
    bool keepsNoOrder = false;
    /// Null does not come first unless a term of Order By says so.
    bool ordersNullLast = false;
    /// A number is no condition.
    bool hasConditions = false;
    /// What is divided by 0 is Null in the dialect.
    bool refusesToDivideByZero = false;
    /// Functions that do what Cast to a type does, where the engine's own rounds, pads or refuses.
    std::span<const Function> casts;
};

/// The engine's text of a statement whose literals may have become parameters. Refuses one whose brackets are nested
/// hundreds deep. The order by a column of `neverNull` says nothing of Null.
[[nodiscard]] Text translate(std::span<const Token> tokens, const Dialect& dialect,
                             std::span<const Text> neverNull = {});

/// `name` between quotes that no engine takes for anything else.
void appendQuotedName(Text& out, TextView name);
/// `text` as a literal of the dialect and of every engine.
void appendTextLiteral(Text& out, TextView text);

} // namespace corveth::data
