#pragma once

#include "platform/automation/value.h"

namespace corveth {

// Conversions between automation types, with the platform's rounding (half to even) and errors: 94 for Null,
// 13 for what does not convert (the message names the text), 6 for what does not fit. Empty converts to 0, False
// or empty text; a missing argument like Empty; an object never converts.

CORVETH_API bool toBoolean(const Value& value);
CORVETH_API std::uint8_t toByte(const Value& value);
CORVETH_API std::int16_t toInteger(const Value& value);
CORVETH_API std::int32_t toLong(const Value& value);
CORVETH_API float toSingle(const Value& value);
CORVETH_API double toDouble(const Value& value);
CORVETH_API Currency toCurrency(const Value& value);
/// Text by the list of date forms; a number is a day number.
CORVETH_API Date toDate(const Value& value);
/// Numbers as the platform writes them (15 or 7 significant digits, `1E+15`), `True`/`False`, dates by `toText(Date)`.
/// Never localised.
CORVETH_API Text toText(const Value& value);

/// Number text: blanks around it, sign, thousands separators, exponent E or D, `&H`/`&O`, a currency sign,
/// parentheses for negative. False when it is not such a text as a whole; infinity when out of range.
CORVETH_API bool parseNumber(TextView text, double& number) noexcept;
/// True for numbers, Boolean, Empty and text that `parseNumber` takes and that is in range.
CORVETH_API bool isNumeric(const Value& value) noexcept;

/// Plain decimal, a point, the shortest digits that read back as the same value, never an exponent; for statement text.
CORVETH_API Text plainDecimal(double value);
CORVETH_API Text plainDecimal(float value);

/// Half to even, then the range check: 6.
CORVETH_API std::int64_t roundHalfEven(double value, std::int64_t lowest, std::int64_t highest);

} // namespace corveth
