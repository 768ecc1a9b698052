#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// What the desktop calls the type of the file at `path`, in the user's language, as "PNG image". It is told by the
/// file's name, and by its beginning where the name does not tell. Never empty.
CORVETH_API Text fileTypeText(const Text& path);

/// The command that opens files of the type of `path`: the full path of the program the desktop has for them, then the
/// arguments that come before the file, as `splitCommandLine` reads them. Empty when there is no program, or when it
/// cannot be started by putting the file behind such a command.
CORVETH_API Text associatedProgram(const Text& path);

} // namespace corveth
