#include "platform/base64.h"

#include <array>

namespace corveth {

namespace {

constexpr TextView alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t noDigit = 64;

constexpr auto digitOf = [] {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(noDigit);
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        digits[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    return digits;
}();

} // namespace

void appendBase64(Text& out, std::span<const std::byte> bytes) {
    out.reserve(out.size() + (bytes.size() + 2) / 3 * 4);
    for (; !bytes.empty(); bytes = bytes.subspan(std::min<std::size_t>(3, bytes.size()))) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i)
            group = group << 8U | (i < bytes.size() ? std::to_integer<std::uint32_t>(bytes[i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            out += i <= bytes.size() ? alphabet[group >> (18 - 6 * i) & 0x3FU] : '=';
    }
}

std::optional<Bytes> parseBase64(TextView text) {
    if (text.size() % 4 != 0) return std::nullopt;
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t at = 0; at < text.size(); at += 4) {
        const std::size_t digits = at + 4 < text.size() ? 4 : 4 - padding;
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            const std::uint8_t digit = i < digits ? digitOf[static_cast<unsigned char>(text[at + i])] : 0;
            if (digit == noDigit) return std::nullopt;
            group = group << 6U | digit;
        }
        for (std::size_t i = 0; i + 1 < digits; ++i)
            bytes.push_back(static_cast<std::byte>(group >> (16 - 8 * i) & 0xFFU));
        // One text for the same bytes.
        if (digits < 4 && (group & (digits == 3 ? 0xFFU : 0xFFFFU)) != 0) return std::nullopt;
    }
    return bytes;
}

} // namespace corveth
