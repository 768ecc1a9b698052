#include "platform/desktop/file_type.h"

namespace corveth {

Text fileTypeText(const Text& path) {
    const Text name = path.substr(path.rfind('/') + 1);
    const auto dot = name.rfind('.');
    return dot == Text::npos || dot == 0 || dot + 1 == name.size() ? "File" : name.substr(dot + 1) + " File";
}

Text associatedProgram(const Text& /*path*/) {
    return {};
}

} // namespace corveth
