#pragma once

#include "platform/automation/value.h"

#include <span>

namespace corveth {

/// Size in bytes of the regular file at `path`, the greatest number of 32 bits for a larger one. Errors as `readFile`,
/// but it need not be readable.
CORVETH_API std::int32_t fileSize(const Text& path);

/// The whole regular file at `path`, as long as it was when reading began. 53 that names it when there is none, 75 when
/// it is something else (a folder, a device; it is not waited for) or cannot be read, 6 when it is 2 GiB or larger.
CORVETH_API Bytes readFile(const Text& path);

enum class FileUse {
    document, ///< its owner may read and write it
    program,  ///< and run it
};

/// Writes `bytes` to a new file at `path`, which nobody but the user can open. A file or symbolic link that is there is
/// taken away first, never written through. 75 that names it and says why when that fails; no part of it is left.
CORVETH_API void writeNewFile(const Text& path, std::span<const std::byte> bytes, FileUse use = FileUse::document);

} // namespace corveth
