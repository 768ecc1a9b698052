#pragma once

#include "platform/automation/text.h"

#include <functional>

namespace corveth {

using OpenWithChooser = std::function<void(const Text& path)>;

/// Lets the desktop open the file at `path`, asking the user for a program where it has none. Without a handler that is
/// what `xdg-open` does, or else `gio open`, started and left alone. 53 when neither is installed, 5 when there is no
/// display or the opener cannot be started.
CORVETH_API void openWithChooser(const Text& path);
/// For the whole process; an empty one brings the plain one back. Returns the one before, empty for the plain one.
CORVETH_API OpenWithChooser setOpenWithChooser(OpenWithChooser chooser);

} // namespace corveth
