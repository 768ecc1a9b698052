#include "server/binary/class_ids.h"

#include <uuid/uuid.h>

namespace corveth::binary {

namespace {

constexpr unsigned char nameSpace[16] = {0xeb, 0xf0, 0x7e, 0x2f, 0x50, 0x69, 0x42, 0x64,
                                         0xa8, 0x25, 0xb6, 0x03, 0x6b, 0x77, 0xee, 0xc1};

} // namespace

Guid nameBasedId(std::string_view name) noexcept {
    uuid_t bytes;
    uuid_generate_sha1(bytes, nameSpace, name.data(), name.size());
    const auto wide = [&](int at, int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i)
            value = (value << 8U) | bytes[at + i];
        return value;
    };
    Guid id{wide(0, 4), static_cast<std::uint16_t>(wide(4, 2)), static_cast<std::uint16_t>(wide(6, 2)), {}};
    for (int i = 0; i < 8; ++i)
        id.data4[i] = bytes[8 + i];
    return id;
}

std::string toText(const Guid& id) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text = "{";
    const auto append = [&](std::uint32_t value, int count) {
        for (int shift = 4 * (count - 1); shift >= 0; shift -= 4)
            text += digits[(value >> static_cast<unsigned>(shift)) & 0xFU];
    };
    append(id.data1, 8);
    text += '-';
    append(id.data2, 4);
    text += '-';
    append(id.data3, 4);
    for (int i = 0; i < 8; ++i) {
        if (i == 0 || i == 2) text += '-';
        append(id.data4[i], 2);
    }
    return text + '}';
}

} // namespace corveth::binary
