// Bitmap files: what is accepted holds all that its head announces.

#include "support.h"

#include "platform/desktop/bitmap.h"

#include <vector>

using namespace corveth;
using fuzz::require;

namespace {

constexpr std::uint32_t runLength8 = 1, runLength4 = 2;

/// Bytes that the pixels take, as far as they follow from the head, or the file's own size where that is exceeded.
std::uint64_t pixelBytes(const BitmapHeader& header, std::uint64_t fileSize) {
    if (header.compression == runLength8 || header.compression == runLength4) return 0;
    const std::uint64_t row = (static_cast<std::uint64_t>(header.width) * header.bitsPerPixel + 31) / 32 * 4;
    const auto rows = static_cast<std::uint64_t>(header.height);
    return rows > fileSize / row ? fileSize + 1 : rows * row;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of its own size, so that a step past its end is seen.
    const auto* begin = reinterpret_cast<const std::byte*>(data);
    const std::vector<std::byte> file(begin, begin + size);
    const BitmapReading reading = readBitmapHeader(file);
    const BitmapHeader& header = reading.header;
    if (!reading.problem.empty()) {
        require(isUtf8(reading.problem), "words are text", reading.problem);
        require(header.width == 0 && header.height == 0, "what is refused has no size", reading.problem);
        return 0;
    }
    require(header.width > 0 && header.height > 0 && header.bitsPerPixel > 0, "a picture has a size");
    constexpr std::uint64_t smallestHead = 26;
    require(smallestHead + pixelBytes(header, size) <= size, "all pixels are in the file");

    // The file cut to less than it announces; what follows the announced size does not count.
    std::uint32_t announced = 0;
    for (std::size_t i = 0; i < sizeof announced; ++i)
        announced |= std::uint32_t{data[2 + i]} << (8 * i);
    for (const std::size_t cut : {std::size_t{announced} - 1, std::size_t{announced} / 2, smallestHead}) {
        const std::vector<std::byte> shorter(begin, begin + cut);
        require(!readBitmapHeader(shorter).problem.empty(), "a file cut short is refused");
    }
    const std::vector<std::byte> exact(begin, begin + announced);
    require(readBitmapHeader(exact).problem.empty(), "what follows the picture does not count");
    return 0;
}
