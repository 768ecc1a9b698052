#pragma once

#include "platform/automation/class_info.h"

namespace corveth {

/// The whole type library in the platform's interface-definition language, one member a line; the same text in
/// every build of the same classes.
CORVETH_API Text interfaceText();

} // namespace corveth
