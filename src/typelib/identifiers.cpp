#include "typelib/identifiers.h"

#include "platform/automation/error.h"

#include <fmt/format.h>

#include <uuid/uuid.h>

namespace corveth {

namespace {

/// The namespace that every identifier of the server is made in.
constexpr Uuid identifierSpace = {0xEB, 0xF0, 0x7E, 0x2F, 0x50, 0x69, 0x42, 0x64,
                                  0xA8, 0x25, 0xB6, 0x03, 0x6B, 0x77, 0xEE, 0xC1};

} // namespace

Uuid identifierOf(TextView name) {
    Uuid uuid{};
    uuid_generate_sha1(uuid.data(), identifierSpace.data(), name.data(), name.size());
    return uuid;
}

Uuid classId(const ClassInfo& info) {
    return identifierOf(info.progId());
}

Uuid interfaceId(const ClassInfo& info) {
    return identifierOf(Text(info.library) + "._" + info.name);
}

Uuid libraryId() {
    return identifierOf(defaultSource);
}

Text toText(const Uuid& uuid) {
    Text text;
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        fmt::format_to(std::back_inserter(text), "{:02x}", uuid[i]);
    }
    return text;
}

} // namespace corveth
