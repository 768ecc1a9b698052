#pragma once

#include "raw_sqlite.h"
#include "world.h"

#include <filesystem>

namespace corveth::bench {

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

/// Two files.
class SqliteWorld final : public World {
public:
    SqliteWorld(const std::filesystem::path& parentFolder, const Size& size);

    [[nodiscard]] RawNotes& rawNotes() noexcept override { return *rawNotes_; }
    [[nodiscard]] RawContacts& rawContacts() noexcept override { return *rawContacts_; }
    [[nodiscard]] RawAttachments& rawAttachments() noexcept override { return *rawAttachments_; }
    [[nodiscard]] RawCalendar& rawCalendar() noexcept override { return *rawCalendar_; }
    [[nodiscard]] RawTasks& rawTasks() noexcept override { return *rawTasks_; }
    /// Writes to both databases past the connections that are measured.
    void emptyPageCaches() override;
    void dropNewNotes(Who who) override;
    void dropNewAttachments(Who who) override;

private:
    [[nodiscard]] std::string summary(Who who) const override;

    TemporaryFolder folder_;
    std::string ourFile_, rawFile_;
    std::unique_ptr<SqliteNotes> rawNotes_;
    std::unique_ptr<SqliteContacts> rawContacts_;
    std::unique_ptr<SqliteAttachments> rawAttachments_;
    std::unique_ptr<SqliteCalendar> rawCalendar_;
    std::unique_ptr<SqliteTasks> rawTasks_;
    std::vector<std::unique_ptr<sqlite3, RawClose>> others_;
};

} // namespace corveth::bench
