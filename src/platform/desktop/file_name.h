#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// A name for a file within one folder that says `title`, and is it where that will do. Slashes, control characters and
/// broken bytes become `_`, so do the dots of `.` and `..`; an empty title is `_`. What takes more than 255 bytes is
/// cut before its extension, between characters. A leading `-` stays: give programs full paths.
CORVETH_API Text fileNameFrom(TextView title);

} // namespace corveth
