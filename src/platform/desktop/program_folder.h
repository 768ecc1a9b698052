#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// Where the program keeps its working files, without a separator at the end. Unless a host has set one it is a folder
/// that only this process and user can enter, made when it is first asked for and removed with its content when the
/// process ends. 75 when it cannot be made.
CORVETH_API Text programFolder();
/// For the whole process; empty brings the private folder back. Returns the one set before.
CORVETH_API Text setProgramFolder(TextView folder);

} // namespace corveth
