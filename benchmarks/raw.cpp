#include "raw.h"

#include <ctime>
#include <stdexcept>

namespace corveth::bench {

void RawNotes::save(const RawNote& note) {
    if (!load(note.id, found_)) {
        insert(newId(), note);
        return;
    }
    if (found_.linkId != note.linkId || found_.linkType != note.linkType) {
        throw std::runtime_error("no statement is prepared for a note that changes its link");
    }
    if (found_.title != note.title || found_.note != note.note) update(found_, note);
}

std::string RawContact::wholeName() const {
    return texts[title] + " " + texts[firstName] + " " + texts[middleName] + " " + texts[lastName];
}

std::vector<std::unique_ptr<RawContact>> RawContacts::persons() {
    std::vector<std::unique_ptr<RawContact>> persons;
    for (const std::string& id : personIds())
        load(id, *persons.emplace_back(std::make_unique<RawContact>()));
    return persons;
}

void RawAttachments::save(const RawAttachment& attachment) {
    if (attachment.id.empty()) {
        insert(newId(), attachment);
        return;
    }
    RawAttachment found;
    if (!load(attachment.id, found)) throw std::runtime_error("no attachment " + attachment.id);
    if (found.data != attachment.data) update(attachment);
}

double today() {
    constexpr std::time_t dayOfEpoch = 25569, secondsOfDay = 86400;
    const std::time_t day = dayOfEpoch + std::time(nullptr) / secondsOfDay;
    return static_cast<double>(day);
}

} // namespace corveth::bench
