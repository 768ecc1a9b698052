#pragma once

#include "common/late_bound.h"

#include <nlohmann/json.hpp>

#include <string>

namespace corveth::cli {

using Json = nlohmann::ordered_json;

/// `yyyy-mm-dd`, `hh:mm:ss` or both; milliseconds only where there are some.
std::string dateText(client::DateNumber date);
/// Exact, up to four decimals.
std::string moneyText(client::Money money);

/// What a person reads: text as it is, numbers plainly, `True` and `False`, bytes by their length, objects by their
/// class, nothing for Empty and Null.
std::string plainText(const client::Variant& value);
bool isNumber(const client::Variant& value) noexcept;

/// Numbers, Booleans and texts as such; Empty and Null are null; money is an exact text, a date an ISO text; bytes are
/// `{"bytes": COUNT}`, objects `{"object": CLASS}`, records objects with their fields.
Json jsonValue(const client::Variant& value);

/// `error NUMBER (SOURCE): DESCRIPTION`; whole codes in hexadecimal.
std::string failureText(const client::Failure& failure);
Json failureJson(const client::Failure& failure);

} // namespace corveth::cli
