#pragma once

#include "platform/automation/error.h"

#include <functional>

namespace corveth {

namespace messageBoxes {
inline constexpr unsigned okOnly = 0;
inline constexpr unsigned critical = 16; ///< the icon
inline constexpr int ok = 1;             ///< the answer
} // namespace messageBoxes

struct MessageBox {
    Text prompt;
    unsigned flags;
    Text title;
};
/// Shows a box and returns the answer.
using MessageBoxHandler = std::function<int(const MessageBox&)>;

/// Shows a box and returns the answer. Without a handler it is the line `message box: TITLE: TEXT` on standard error,
/// and the answer is OK.
CORVETH_API int messageBox(TextView prompt, unsigned flags = messageBoxes::okOnly, TextView title = defaultSource);
/// For the whole process; an empty handler brings the plain one back. Returns the one before, empty for the plain one.
CORVETH_API MessageBoxHandler setMessageBoxHandler(MessageBoxHandler handler);

/// Boxes that the calling thread has shown so far.
CORVETH_API std::int32_t messageBoxCount() noexcept;
/// `TITLE: TEXT` of the last of them; empty when there was none.
CORVETH_API Text lastMessageBox();

} // namespace corveth
