#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// The folder for copies that the user works on, ending in a slash. Unless a host has set one it is the user's own in
/// every process, open to nobody else, and stays with its content: `corveth` in XDG_RUNTIME_DIR, or `corveth-UID` in
/// TMPDIR or /tmp when that is not set, not the user's alone, or nearly full. Made when it is missing. 75 that names it
/// and says why when it cannot be made or is somebody else's or a symbolic link.
CORVETH_API Text temporaryFolder();
/// For the whole process; empty brings the user's own back. Returns the one set before.
CORVETH_API Text setTemporaryFolder(TextView folder);

} // namespace corveth
