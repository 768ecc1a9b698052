#pragma once

#include "platform/data/connection.h"
#include "raw.h"
#include "session/crm.h"

#include <filesystem>
#include <random>

namespace corveth::bench {

struct Size {
    int notes = 100'000;
    int contacts = 1'000;
};

/// A folder that goes with its object.
class TemporaryFolder {
public:
    /// Within `parent`, or where the system keeps such things.
    explicit TemporaryFolder(const std::filesystem::path& parent);
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();
    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

/// Two databases that begin alike, one for each side, and what both sides reach them through.
class World {
public:
    World(const std::filesystem::path& folder, const Size& size);

    [[nodiscard]] const Size& size() const noexcept { return size_; }
    [[nodiscard]] Connection& connection() noexcept { return *connection_; }
    [[nodiscard]] RawNotes& rawNotes() noexcept { return *rawNotes_; }
    [[nodiscard]] RawContacts& rawContacts() noexcept { return *rawContacts_; }

    /// Writes to both databases past the connections that are measured, which give up their page caches for it.
    void emptyPageCaches();

    [[nodiscard]] std::string noteId(int number) const; ///< from 0
    [[nodiscard]] std::string linkId(int number) const;
    [[nodiscard]] int linkCount() const noexcept;

    /// Throws when the two databases do not hold the same notes any more.
    void checkNotes() const;

private:
    Size size_;
    std::string ourFile_, rawFile_;
    Ref<Connection> connection_;
    Ref<CRM> crm_;
    std::unique_ptr<RawNotes> rawNotes_;
    std::unique_ptr<RawContacts> rawContacts_;
    std::vector<std::unique_ptr<sqlite3, RawClose>> others_;
};

} // namespace corveth::bench
