#pragma once

#include "platform/automation/text.h"

#include <functional>

namespace corveth {

/// Asks for a file and returns its path; empty for none.
using FileChooser = std::function<Text(TextView prompt)>;

/// Lets the user choose a file; empty for none. Without a chooser the prompt goes to standard error and the path is one
/// line of standard input, where an empty line and the end of input are none; no dialog is shown, on a desktop either.
/// 5 for a line that is no UTF-8 text or holds a NUL.
CORVETH_API Text chooseFile(TextView prompt);
/// Answers the next choice of this thread with `path` (empty: none), so that neither chooser nor user is asked.
CORVETH_API void chooseFileInAdvance(TextView path);
/// For the whole process; an empty one brings the plain one back. Returns the one before, empty for the plain one.
CORVETH_API FileChooser setFileChooser(FileChooser chooser);

} // namespace corveth
