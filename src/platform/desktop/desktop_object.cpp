#include "platform/desktop/desktop_object.h"

#include "platform/desktop/clock.h"
#include "platform/desktop/message_box.h"

namespace corveth {

struct Desktop::Table {
    static constexpr MemberRow members[] = {
        get<&Desktop::get_MessageBoxCount>("MessageBoxCount"),
        get<&Desktop::get_LastMessageBox>("LastMessageBox"),
        get<&Desktop::get_Now>("Now"),
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

} // namespace corveth
