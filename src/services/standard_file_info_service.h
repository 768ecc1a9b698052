#pragma once

#include "session/file_info_service.h"

namespace corveth {

/// The file service that is made unless a host has set another factory. 53 for a file that is not there, 75 for what is
/// no readable file, 6 for the content of one of 2 GiB or more.
class CORVETH_API StandardFileInfoService final : public FileInfoService {
public:
    static const ClassInfo description;

    [[nodiscard]] const ClassInfo& classInfo() const noexcept override { return description; }

    FileProperties Properties(const Text& path) override;
    Value Content(const Text& path) override;
    Text Program(const Text& path) override;

private:
    struct Table;
};

} // namespace corveth
