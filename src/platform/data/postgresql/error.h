#pragma once

#include "platform/automation/error.h"

struct pg_conn;
struct pg_result;

namespace corveth::data::postgresql {

/// What a server said to a command that failed.
struct Failure {
    Text state; ///< the five characters that say which error it is; empty when no server said it
    Text words; ///< on one line, with the state

    [[nodiscard]] bool is(TextView known) const noexcept { return state == known; }
};

/// States that are told from the others.
namespace states {
inline constexpr TextView syntaxError = "42601";
inline constexpr TextView undefinedTable = "42P01";
inline constexpr TextView undefinedSchema = "3F000";
inline constexpr TextView undefinedFunction = "42883"; ///< or operator
inline constexpr TextView indeterminateType = "42P18";
inline constexpr TextView typeMismatch = "42804";
inline constexpr TextView ambiguousFunction = "42725";
inline constexpr TextView ambiguousParameter = "42P08";
inline constexpr TextView cannotCoerce = "42846";
inline constexpr TextView stalePlan = "0A000"; ///< among others: the columns of a prepared statement have changed
inline constexpr TextView unknownStatement = "26000";
inline constexpr TextView lockNotAvailable = "55P03";
inline constexpr TextView queryCanceled = "57014";
inline constexpr TextView noRight = "42501";
} // namespace states

/// Of a command's result.
[[nodiscard]] Failure failureOf(const pg_result* result);
/// Of the connection itself.
[[nodiscard]] Failure failureOf(const pg_conn* connection);

/// Throws `words` as an engine error.
[[noreturn]] void fail(Text words);

} // namespace corveth::data::postgresql
