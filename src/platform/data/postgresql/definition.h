#pragma once

#include "platform/data/definition.h"

namespace corveth::data::postgresql {

/// The statements of the engine's own definition language that make `definition`, in an order that works, with what the
/// desktop dialect needs of the engine: types and functions in the schema `corveth`.
CORVETH_API std::vector<Text> definitionStatements(const Definition& definition);

} // namespace corveth::data::postgresql
