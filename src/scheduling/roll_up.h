#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// Sums the rows below `parentId` into it, then those below its parent into that, and so on up to the project `rootId`,
/// which is its own parent and is done twice. Figures are cleared and written anew by statements on the shared
/// connection, inside the caller's transaction; a row without any below it keeps them cleared. `rootId` is also the key
/// of the calendar that durations are measured with.
/// The first failure ends the walk, with the figures of the row it has come to cleared: 94 when none of the rows below
/// has a planned start or finish, 3464 when none has a number to sum up, 6 when the span is longer than 16 bits of
/// hours, 5 when a row is met a third time.
CORVETH_API void rollUp(Text parentId, const Text& rootId);

} // namespace corveth
