#include "platform/desktop/desktop_object.h"

#include "platform/desktop/clock.h"
#include "platform/desktop/file_chooser.h"
#include "platform/desktop/file_name.h"
#include "platform/desktop/message_box.h"

namespace corveth {

struct Desktop::Table {
    static constexpr MemberRow members[] = {
        get<&Desktop::get_MessageBoxCount>("MessageBoxCount"),
        get<&Desktop::get_LastMessageBox>("LastMessageBox"),
        get<&Desktop::get_Now>("Now"),
        method<&Desktop::ChooseFile>("ChooseFile", "Path"),
        method<&Desktop::FileName>("FileName", "Title"),
    };
};

const ClassInfo Desktop::description = describe<Desktop, Desktop::Table>("Corveth");

std::int32_t Desktop::get_MessageBoxCount() const noexcept {
    return messageBoxCount();
}

Text Desktop::get_LastMessageBox() const {
    return lastMessageBox();
}

Date Desktop::get_Now() const {
    return now();
}

void Desktop::ChooseFile(const Text& path) {
    chooseFileInAdvance(path);
}

Text Desktop::FileName(const Text& title) const {
    return fileNameFrom(title);
}

} // namespace corveth
