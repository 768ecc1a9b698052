#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// The command of the program that the desktop entry at `path` describes, to be followed by a file: see
/// `associatedProgram`. Empty for one that needs a terminal or a folder of its own, takes arguments behind the file or
/// the file as a part of one, is started by a message instead of a command, or is not installed.
CORVETH_API Text commandOfEntry(const Text& path);

/// The full path of the desktop entry of the program for a type, from the files that say so, as GIO finds it; empty
/// when there is none.
CORVETH_API Text entryInFiles(const Text& type);

} // namespace corveth
