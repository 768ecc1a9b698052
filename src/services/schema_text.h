#pragma once

#include "platform/data/definition.h"

#include <span>
#include <string_view>

namespace corveth {

/// One of the files that the database's tables are defined in; they are built into the library.
struct SchemaText {
    std::string_view file;
    std::string_view text;
};

std::span<const SchemaText> schemaTexts() noexcept;

/// All of them read.
CORVETH_API data::Definition wholeDefinition();

} // namespace corveth
