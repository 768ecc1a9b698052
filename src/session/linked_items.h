#pragma once

#include "platform/automation/text.h"

namespace corveth {

/// Deletes the attachments, reminders, notes, favourites and status history of the item `id`, inside the caller's
/// transaction. The first failure ends it.
CORVETH_API void DeleteLinkedItems(const Text& id);

} // namespace corveth
