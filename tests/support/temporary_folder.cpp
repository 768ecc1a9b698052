#include "support/temporary_folder.h"

#include <stdexcept>

namespace corveth::test {

TemporaryFolder::TemporaryFolder() {
    Text pattern = (std::filesystem::temp_directory_path() / "corveth-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace corveth::test
