#include "platform/desktop/message_box.h"

#include "platform/desktop/replaceable.h"

#include <cstdio>

namespace corveth {

namespace {

thread_local std::int32_t shown = 0;
thread_local Text lastShown;

Text titled(const MessageBox& box) {
    return box.title + ": " + box.prompt;
}

/// One write, so that boxes of several threads do not mix.
int writeToStandardError(const MessageBox& box) {
    const Text line = "message box: " + titled(box) + "\n";
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr)); // nobody is left to tell when it fails
    return messageBoxes::ok;
}

Replaceable<int(const MessageBox&)>& handler() {
    static Replaceable<int(const MessageBox&)> handler(writeToStandardError);
    return handler;
}

} // namespace

int messageBox(TextView prompt, unsigned flags, TextView title) {
    const MessageBox box{Text(prompt), flags, Text(title)};
    lastShown = titled(box);
    ++shown;
    return handler()(box);
}

MessageBoxHandler setMessageBoxHandler(MessageBoxHandler replacement) {
    return handler().set(std::move(replacement));
}

std::int32_t messageBoxCount() noexcept {
    return shown;
}

Text lastMessageBox() {
    return lastShown;
}

} // namespace corveth
