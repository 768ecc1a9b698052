#pragma once

#include "platform/automation/text.h"

#include <filesystem>

namespace corveth::test {

/// A folder that goes with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] Text file(TextView name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

} // namespace corveth::test
