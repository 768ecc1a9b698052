#pragma once

#include "platform/data/provider.h"

#include <deque>

namespace corveth::data {

/// `value` as a column of `kind` holds it: 3464 that names column and value when it is not of that kind, 6 when it does
/// not fit, 13 for an object or record. Null stays Null.
[[nodiscard]] Value toColumnValue(ColumnKind kind, Value value, TextView column);
/// The same for a value that stands in a statement's text. What it becomes may be a text that is added to `texts`.
[[nodiscard]] Parameter toColumnParameter(ColumnKind kind, const Parameter& parameter, TextView column,
                                          std::deque<Text>& texts);
/// A value of a statement's text as it is compared with a column of `kind`: a text beside numbers becomes the number, a
/// number beside texts the text. 3464 when it is none.
[[nodiscard]] Parameter toComparedParameter(ColumnKind kind, const Parameter& parameter, TextView column,
                                            std::deque<Text>& texts);

/// What the engine is given for `value`, which must stay. 5 for a text that holds NUL, 6 for what is no finite number
/// or a currency amount that the engine could not give back exactly.
[[nodiscard]] Parameter toParameter(const Value& value);

/// The automation type's number, as Field.Type and Recordset clients know it.
[[nodiscard]] std::int32_t dataTypeNumber(ColumnKind kind) noexcept;

/// By a declared type's name, without regard to case.
[[nodiscard]] ColumnKind kindOfDeclaredType(TextView declared) noexcept;

/// A statement with a `?` for each of `parameters`, as one would write it with the values in place; for the trace.
[[nodiscard]] Text withValues(TextView statement, std::span<const Parameter> parameters);

} // namespace corveth::data
