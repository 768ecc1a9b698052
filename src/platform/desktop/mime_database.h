#pragma once

#include "platform/automation/text.h"

#include <vector>

namespace corveth {

/// The type of a file as the desktop's shared database of types tells it from its name without the folder and from its
/// beginning, as `text/plain`; the same that GIO says. Empty names and beginnings tell nothing, but a file of no bytes
/// (`isWhole` and no beginning) is of the empty type. `application/octet-stream` for none.
CORVETH_API Text typeInDatabase(const Text& name, TextView beginning, bool isWhole);

/// What the database calls the type, in the user's language or in English; empty when it does not know it.
CORVETH_API Text typeComment(const Text& type);

/// The type (by its present name) and those that the database says it is a kind of, the nearest first.
std::vector<Text> typeAndParents(const Text& type);
/// The type and its names of old.
std::vector<Text> typeAndAliases(const Text& type);

} // namespace corveth
