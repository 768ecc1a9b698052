#pragma once

#include "platform/automation/text.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace corveth {

/// What the head of a bitmap file says of its picture.
struct BitmapHeader {
    std::int32_t width = 0, height = 0; ///< pixels, both above 0
    std::uint16_t bitsPerPixel = 0;
    std::uint32_t compression = 0;
    bool topDown = false;
};

struct BitmapReading {
    BitmapHeader header;
    Text problem; ///< what is wrong with the file; empty when nothing is
};

/// Checks that palette, masks and pixels that the head announces lie inside `file`; it does not look at the pixels.
/// Core, info, version 4 and version 5 heads are known.
CORVETH_API BitmapReading readBitmapHeader(std::span<const std::byte> file);

} // namespace corveth
