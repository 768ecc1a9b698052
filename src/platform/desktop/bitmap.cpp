#include "platform/desktop/bitmap.h"

#include <cstdlib>
#include <fmt/format.h>
#include <limits>

namespace corveth {

namespace {

constexpr std::size_t fileHeadSize = 14;
constexpr std::size_t coreSize = 12;
constexpr std::size_t infoSize = 40;
constexpr std::size_t version4Size = 108;
constexpr std::size_t version5Size = 124;
constexpr std::size_t masksSize = 12;

enum Compression : std::uint32_t { plain = 0, runLength8 = 1, runLength4 = 2, bitFields = 3 };

constexpr std::uint32_t embeddedProfile = 0x4D424544;
constexpr std::uint32_t linkedProfile = 0x4C494E4B;

/// Little-endian numbers at places that the caller has found to be inside.
class Reader {
public:
    explicit Reader(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}

    [[nodiscard]] std::uint16_t word(std::size_t at) const noexcept {
        return static_cast<std::uint16_t>(byte(at) | (byte(at + 1) << 8U));
    }
    [[nodiscard]] std::uint32_t number(std::size_t at) const noexcept {
        return word(at) | (std::uint32_t{word(at + 2)} << 16U);
    }
    [[nodiscard]] std::int32_t signedNumber(std::size_t at) const noexcept {
        return static_cast<std::int32_t>(number(at));
    }

private:
    [[nodiscard]] std::uint32_t byte(std::size_t at) const noexcept {
        return std::to_integer<std::uint32_t>(bytes_[at]);
    }
    std::span<const std::byte> bytes_;
};

struct Description {
    std::uint64_t headSize = 0;
    std::int64_t width = 0, height = 0; ///< height below 0: top down
    std::uint32_t planes = 0, bitsPerPixel = 0, compression = plain, imageSize = 0, colours = 0;

    [[nodiscard]] bool isCore() const noexcept { return headSize == coreSize; }
    [[nodiscard]] bool isRunLength() const noexcept { return compression == runLength8 || compression == runLength4; }
    [[nodiscard]] std::uint64_t rows() const noexcept {
        return static_cast<std::uint64_t>(height < 0 ? -height : height);
    }
    /// Rows are filled up to whole 32-bit numbers.
    [[nodiscard]] std::uint64_t rowSize() const noexcept {
        return (static_cast<std::uint64_t>(width) * bitsPerPixel + 31) / 32 * 4;
    }
    [[nodiscard]] std::uint64_t paletteSize() const noexcept {
        const std::uint64_t entries =
            bitsPerPixel <= 8 && colours == 0 ? std::uint64_t{1} << bitsPerPixel : std::uint64_t{colours};
        return entries * (isCore() ? 3 : 4);
    }
    [[nodiscard]] std::uint64_t separateMasksSize() const noexcept {
        return headSize == infoSize && compression == bitFields ? masksSize : 0;
    }
};

Description readDescription(const Reader& in, std::uint32_t headSize) noexcept {
    constexpr std::size_t at = fileHeadSize;
    Description picture;
    picture.headSize = headSize;
    if (headSize == coreSize) {
        picture.width = in.word(at + 4);
        picture.height = in.word(at + 6);
        picture.planes = in.word(at + 8);
        picture.bitsPerPixel = in.word(at + 10);
        return picture;
    }
    picture.width = in.signedNumber(at + 4);
    picture.height = in.signedNumber(at + 8);
    picture.planes = in.word(at + 12);
    picture.bitsPerPixel = in.word(at + 14);
    picture.compression = in.number(at + 16);
    picture.imageSize = in.number(at + 20);
    picture.colours = in.number(at + 32);
    return picture;
}

bool isDepth(const Description& picture) noexcept {
    switch (picture.bitsPerPixel) {
    case 1:
    case 4:
    case 8:
    case 24:
        return true;
    case 16:
    case 32:
        return !picture.isCore();
    default:
        return false;
    }
}

bool suitsDepth(const Description& picture) noexcept {
    switch (picture.compression) {
    case plain:
        return true;
    case runLength8:
        return picture.bitsPerPixel == 8;
    case runLength4:
        return picture.bitsPerPixel == 4;
    case bitFields:
        return picture.bitsPerPixel == 16 || picture.bitsPerPixel == 32;
    default:
        return false;
    }
}

/// What is wrong with the description itself; empty when nothing is.
Text problemOf(const Description& picture) {
    constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
    if (picture.width <= 0 || picture.height == 0 || picture.rows() > static_cast<std::uint64_t>(largest)) {
        return fmt::format("a size of {} x {} pixels", picture.width, picture.height);
    }
    if (picture.planes != 1) return fmt::format("{} planes instead of 1", picture.planes);
    if (!isDepth(picture)) return fmt::format("{} bits a pixel", picture.bitsPerPixel);
    if (!suitsDepth(picture)) {
        return fmt::format("compression {} with {} bits a pixel", picture.compression, picture.bitsPerPixel);
    }
    if (picture.isRunLength() && picture.height < 0) return "compressed and top down";
    if (picture.bitsPerPixel <= 8 && picture.colours > (1U << picture.bitsPerPixel)) {
        return fmt::format("{} colours with {} bits a pixel", picture.colours, picture.bitsPerPixel);
    }
    return {};
}

/// What does not fit into the first `size` bytes of the file; empty when all does.
Text extentProblem(const Description& picture, std::uint64_t pixels, std::uint64_t size) {
    const std::uint64_t head = fileHeadSize + picture.headSize + picture.separateMasksSize() + picture.paletteSize();
    if (pixels < head) return fmt::format("pixels at byte {}, inside the head and palette of {}", pixels, head);
    if (pixels > size) return fmt::format("pixels at byte {} of {}", pixels, size);
    const std::uint64_t space = size - pixels;
    if (picture.isRunLength()) {
        if (picture.imageSize == 0) return "no size of its compressed pixels";
        if (picture.imageSize > space) return fmt::format("{} bytes of pixels in {}", picture.imageSize, space);
    } else if (picture.rows() > space / picture.rowSize()) { // a product could overflow
        return fmt::format("{} rows of {} bytes in {}", picture.rows(), picture.rowSize(), space);
    }
    return {};
}

Text profileProblem(const Reader& in, std::uint64_t size) {
    const std::uint32_t space = in.number(fileHeadSize + 56);
    if (space != embeddedProfile && space != linkedProfile) return {};
    const std::uint64_t end =
        std::uint64_t{fileHeadSize} + in.number(fileHeadSize + 112) + in.number(fileHeadSize + 116);
    return end > size ? fmt::format("a colour profile up to byte {} of {}", end, size) : Text{};
}

} // namespace

BitmapReading readBitmapHeader(std::span<const std::byte> file) {
    const auto refused = [](Text problem) { return BitmapReading{{}, std::move(problem)}; };
    const Reader in(file);
    if (file.size() < 2 || in.word(0) != 0x4D42) return refused("not a bitmap file");
    if (file.size() < fileHeadSize + 4) return refused(fmt::format("cut short after {} bytes", file.size()));
    const std::uint32_t size = in.number(2);
    const std::uint32_t pixels = in.number(10);
    const std::uint32_t headSize = in.number(fileHeadSize);
    if (headSize != coreSize && headSize != infoSize && headSize != version4Size && headSize != version5Size) {
        return refused(fmt::format("an unknown head of {} bytes", headSize));
    }
    if (size > file.size()) return refused(fmt::format("{} bytes instead of the {} announced", file.size(), size));
    if (size < fileHeadSize + headSize) return refused(fmt::format("an announced size of {} bytes", size));

    const Description picture = readDescription(in, headSize);
    Text problem = problemOf(picture);
    if (problem.empty()) problem = extentProblem(picture, pixels, size);
    if (problem.empty() && headSize == version5Size) problem = profileProblem(in, size);
    if (!problem.empty()) return refused(std::move(problem));
    return {{.width = static_cast<std::int32_t>(picture.width),
             .height = static_cast<std::int32_t>(picture.rows()),
             .bitsPerPixel = static_cast<std::uint16_t>(picture.bitsPerPixel),
             .compression = picture.compression,
             .topDown = picture.height < 0},
            {}};
}

} // namespace corveth
