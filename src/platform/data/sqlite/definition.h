#pragma once

#include "platform/data/definition.h"

namespace corveth::data::sqlite {

/// The statements of the engine's own definition language that make `definition`, in an order that works.
CORVETH_API std::vector<Text> definitionStatements(const Definition& definition);

} // namespace corveth::data::sqlite
