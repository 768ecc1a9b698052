#include "server/binary/memory.h"

#include <bit>
#include <cstring>
#include <limits>

namespace corveth::binary {

namespace {

constexpr std::size_t lengthSize = sizeof(std::uint32_t);

/// One code point of `text` from `at` on, which moves behind it; false for what is no UTF-8.
bool nextCodePoint(std::string_view text, std::size_t& at, char32_t& point) noexcept {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byteAt(at);
    if (lead < 0x80) {
        point = lead;
        ++at;
        return true;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() - at < length) return false;
    point = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned next = byteAt(at + i);
        if ((next & 0xC0U) != 0x80) return false;
        point = (point << 6U) | (next & 0x3FU);
    }
    static constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < least[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) return false;
    at += length;
    return true;
}

void appendCodePoint(char32_t point, std::string& out) {
    const auto tail = [&](unsigned shift) { out.push_back(static_cast<char>(0x80U | ((point >> shift) & 0x3FU))); };
    if (point < 0x80) {
        out.push_back(static_cast<char>(point));
    } else if (point < 0x800) {
        out.push_back(static_cast<char>(0xC0U | (point >> 6U)));
        tail(0);
    } else if (point < 0x10000) {
        out.push_back(static_cast<char>(0xE0U | (point >> 12U)));
        tail(6);
        tail(0);
    } else {
        out.push_back(static_cast<char>(0xF0U | (point >> 18U)));
        tail(12);
        tail(6);
        tail(0);
    }
}

// Most texts are ASCII and short: four characters at a time in one word, what is none of them gathered on the way.
static_assert(std::endian::native == std::endian::little);
constexpr std::size_t atOnce = 4;

/// False when there is a NUL or anything beyond ASCII; `out` has room for `units` bytes.
bool narrowAscii(const OleChar* text, std::size_t units, char* out) noexcept {
    constexpr std::uint64_t ones = 0x0001000100010001, beyondAscii = 0xFF80FF80FF80FF80;
    std::uint64_t bits = 0;
    std::size_t i = 0;
    for (; i + atOnce <= units; i += atOnce) {
        std::uint64_t word = 0;
        std::memcpy(&word, text + i, sizeof word);
        bits |= word | (word - ones); // less one, a NUL has all bits
        word = (word | word >> 8U) & 0x0000FFFF0000FFFF;
        const auto bytes = static_cast<std::uint32_t>(word | word >> 16U);
        std::memcpy(out + i, &bytes, sizeof bytes);
    }
    for (; i < units; ++i) {
        bits |= text[i] | (std::uint64_t{text[i]} - 1);
        out[i] = static_cast<char>(text[i]);
    }
    return (bits & beyondAscii) == 0;
}

/// False when there is anything beyond ASCII; `out` has room for as many units as `text` has bytes.
bool widenAscii(std::string_view text, OleChar* out) noexcept {
    constexpr std::uint64_t beyondAscii = 0x80808080;
    std::uint64_t bits = 0;
    std::size_t i = 0;
    for (; i + atOnce <= text.size(); i += atOnce) {
        std::uint32_t bytes = 0;
        std::memcpy(&bytes, text.data() + i, sizeof bytes);
        bits |= bytes;
        std::uint64_t word = bytes;
        word = (word | word << 16U) & 0x0000FFFF0000FFFF;
        word = (word | word << 8U) & 0x00FF00FF00FF00FF;
        std::memcpy(out + i, &word, sizeof word);
    }
    for (; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        bits |= byte;
        out[i] = byte;
    }
    return (bits & beyondAscii) == 0;
}

Bstr toBstrBeyondAscii(std::string_view text) noexcept {
    std::size_t units = 0;
    char32_t point = 0;
    for (std::size_t at = 0; at<text.size(); units += point> 0xFFFF ? 2 : 1) {
        if (!nextCodePoint(text, at, point)) return nullptr;
    }
    auto* const result = allocateText(units);
    if (result == nullptr) return nullptr;
    OleChar* out = result;
    for (std::size_t at = 0; at < text.size();) {
        nextCodePoint(text, at, point);
        if (point > 0xFFFF) {
            *out++ = static_cast<OleChar>(0xD800U + ((point - 0x10000) >> 10U));
            *out++ = static_cast<OleChar>(0xDC00U + (point & 0x3FFU));
        } else {
            *out++ = static_cast<OleChar>(point);
        }
    }
    return result;
}

} // namespace

Bstr allocateText(std::size_t units) noexcept {
    if (units > (std::numeric_limits<std::int32_t>::max() - lengthSize) / sizeof(OleChar) - 1) return nullptr;
    const std::size_t bytes = units * sizeof(OleChar);
    auto* block = static_cast<char*>(std::malloc(lengthSize + bytes + sizeof(OleChar)));
    if (block == nullptr) return nullptr;
    const auto length = static_cast<std::uint32_t>(bytes);
    std::memcpy(block, &length, lengthSize);
    auto* text = reinterpret_cast<Bstr>(block + lengthSize);
    text[units] = 0;
    return text;
}

std::uint32_t textBytes(const OleChar* text) noexcept {
    if (text == nullptr) return 0;
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - lengthSize, lengthSize);
    return bytes;
}

Bstr toBstr(std::string_view text) noexcept {
    auto* const result = allocateText(text.size());
    if (result == nullptr || widenAscii(text, result)) return result;
    freeText(result);
    return toBstrBeyondAscii(text);
}

TextFault appendUtf8(const OleChar* text, std::string& out) {
    const std::uint32_t bytes = textBytes(text);
    if (bytes % sizeof(OleChar) != 0) return TextFault::oddLength;
    const std::size_t units = bytes / sizeof(OleChar);
    const std::size_t before = out.size();
    out.resize(before + units);
    if (narrowAscii(text, units, out.data() + before)) return TextFault::none;

    out.resize(before);
    for (std::size_t i = 0; i < units; ++i) {
        char32_t point = text[i];
        if (point == 0) return TextFault::holdsNul;
        if (point >= 0xD800 && point <= 0xDFFF) {
            const bool paired = point < 0xDC00 && i + 1 < units && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
            if (!paired) return TextFault::loneSurrogate;
            ++i;
            point = 0x10000 + ((point - 0xD800) << 10U) + (text[i] - 0xDC00U);
        }
        appendCodePoint(point, out);
    }
    return TextFault::none;
}

SafeArray* toSafeArray(std::span<const std::byte> bytes) noexcept {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return nullptr;
    auto* array = static_cast<SafeArray*>(std::calloc(1, sizeof(SafeArray)));
    if (array == nullptr) return nullptr;
    array->pvData = std::malloc(bytes.empty() ? 1 : bytes.size());
    if (array->pvData == nullptr) {
        std::free(array);
        return nullptr;
    }
    array->cDims = 1;
    array->cbElements = 1;
    array->rgsabound[0].cElements = static_cast<std::uint32_t>(bytes.size());
    if (!bytes.empty()) std::memcpy(array->pvData, bytes.data(), bytes.size());
    return array;
}

bool bytesOf(const SafeArray* array, std::span<const std::byte>& bytes) noexcept {
    bytes = {};
    if (array == nullptr) return true;
    if (array->cDims != 1 || array->cbElements != 1) return false;
    const std::size_t size = array->rgsabound[0].cElements;
    if (size != 0 && array->pvData == nullptr) return false;
    bytes = {static_cast<const std::byte*>(array->pvData), size};
    return true;
}

void freeArray(SafeArray* array) noexcept {
    if (array == nullptr) return;
    std::free(array->pvData);
    std::free(array);
}

void clear(Variant& variant) noexcept {
    switch (variant.vt) {
    case vt::bstr:
        freeText(variant.bstr);
        break;
    case vt::dispatch:
    case vt::unknown:
        if (variant.unknown != nullptr) variant.unknown->Release();
        break;
    case vt::record:
        if (variant.record.info != nullptr) {
            if (variant.record.data != nullptr) variant.record.info->RecordDestroy(variant.record.data);
            variant.record.info->Release();
        }
        break;
    case vt::array | vt::ui1:
        freeArray(variant.array);
        break;
    default:
        break;
    }
    variant = Variant{};
}

void clear(ExcepInfo& exception) noexcept {
    freeText(exception.bstrSource);
    freeText(exception.bstrDescription);
    freeText(exception.bstrHelpFile);
    exception = ExcepInfo{};
}

} // namespace corveth::binary
