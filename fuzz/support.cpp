#include "support.h"

#include "platform/automation/object.h"
#include "platform/data/connection.h"
#include "services/schema.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace corveth::fuzz {

namespace {

class Folder {
public:
    Folder() {
        Text pattern = (std::filesystem::temp_directory_path() / "corveth-fuzz-XXXXXX").string();
        require(::mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
        path_ = pattern;
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace

void require(bool holds, const char* what, TextView detail) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n%.*s\n", what, static_cast<int>(detail.size()), detail.data());
    std::abort();
}

Text textOf(const std::uint8_t* data, std::size_t size) {
    Text text(reinterpret_cast<const char*>(data), size);
    text.shrink_to_fit();
    return text;
}

const std::filesystem::path& temporaryFolder() {
    static const Folder folder;
    return folder.path();
}

const Text& exampleDatabase() {
    static const Text path = [] {
        Text made = (temporaryFolder() / "example.db").string();
        const Text source = "Provider=SQLite;Data Source=" + made;
        createDatabase(source);
        const auto connection = make<Connection>();
        connection->open(source);
        for (const char* statement : {
                 "Insert Into Contacts (ContactId, ContactType, FirstName, ContactName) "
                 "Values ('CM00000001', 0, 'Acme', 'Acme')",
                 "Insert Into Contacts (ContactId, CompanyId, ContactType, FirstName, ContactName) "
                 "Values ('CN00000001', 'CM00000001', 2, 'Kari', 'Kari')",
                 "Insert Into Notes (NoteId, LinkId, Title) Values ('NT00000001', 'CN00000001', 'Call back')",
                 "Insert Into Notes (NoteId, LinkId, Title) Values ('NT00000002', 'CN00000001', 'It''s late')",
             })
            connection->execute(statement);
        connection->Close(); // the file alone holds everything then, and can be copied
        return made;
    }();
    return path;
}

std::uint8_t Input::byte() noexcept {
    if (rest_.empty()) return 0;
    const std::uint8_t first = rest_.front();
    rest_ = rest_.subspan(1);
    return first;
}

std::span<const std::uint8_t> Input::take(std::size_t size) noexcept {
    const auto taken = rest_.first(std::min(size, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
}

} // namespace corveth::fuzz
