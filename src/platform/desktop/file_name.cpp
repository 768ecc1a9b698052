#include "platform/desktop/file_name.h"

namespace corveth {

namespace {

constexpr std::size_t longestName = 255;
constexpr std::size_t longestExtension = 32; ///< with its dot; what is longer is no extension

/// Bytes of the well-formed character that `text` begins with; 0 when its first byte is broken.
std::size_t characterSize(TextView text) noexcept {
    for (std::size_t size = 1; size <= 4 && size <= text.size(); ++size) {
        if (isUtf8(text.substr(0, size))) return size;
    }
    return 0;
}

bool isControl(TextView character) noexcept {
    const auto first = static_cast<unsigned char>(character.front());
    if (character.size() == 1) return first < 0x20 || first == 0x7F;
    return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

/// As much of the beginning as fits, in whole characters.
TextView cut(TextView text, std::size_t bytes) noexcept {
    if (text.size() <= bytes) return text;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U)
        --bytes;
    return text.substr(0, bytes);
}

} // namespace

Text fileNameFrom(TextView title) {
    if (title.empty()) return "_";
    if (title == "." || title == "..") return Text(title.size(), '_');
    Text name;
    for (TextView rest = title; !rest.empty();) {
        const std::size_t size = characterSize(rest);
        const TextView character = rest.substr(0, size == 0 ? 1 : size);
        if (size == 0 || character == "/" || isControl(character)) {
            name += '_';
        } else {
            name += character;
        }
        rest.remove_prefix(character.size());
    }
    if (name.size() <= longestName) return name;
    const auto dot = name.rfind('.');
    const bool hasExtension = dot != Text::npos && dot > 0 && name.size() - dot <= longestExtension;
    const Text extension = hasExtension ? name.substr(dot) : Text();
    return Text(cut(TextView(name).substr(0, name.size() - extension.size()), longestName - extension.size())) +
           extension;
}

} // namespace corveth
