#pragma once

// SQLite's own interface. Statements are prepared once, settings are those of a connection of ours.

#include "raw.h"

#include <cstdint>
#include <sqlite3.h>
#include <string_view>

namespace corveth::bench {

struct RawClose {
    void operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};

/// A prepared statement. What is bound must live until the statement is done or reset.
class RawStatement {
public:
    RawStatement(sqlite3* database, const char* sql);

    RawStatement& bind(int number, std::string_view text);
    RawStatement& bind(int number, std::int64_t integer);
    RawStatement& bind(int number, double real);
    RawStatement& bind(int number, std::span<const std::byte> bytes);
    RawStatement& bindNull(int number);
    /// False at the end, when it has been reset. Throws what the engine says.
    bool step();
    /// Runs to the end.
    void run() {
        while (step()) {
        }
    }
    void reset() noexcept { sqlite3_reset(statement_.get()); }

    void read(int column, std::string& into) const;
    void read(int column, std::vector<std::byte>& into) const;
    [[nodiscard]] bool isNull(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }
    [[nodiscard]] double real(int column) const { return sqlite3_column_double(statement_.get(), column); }
    [[nodiscard]] int integer(int column) const { return sqlite3_column_int(statement_.get(), column); }
    [[nodiscard]] int columnCount() const { return sqlite3_column_count(statement_.get()); }

private:
    std::unique_ptr<sqlite3_stmt, RawClose> statement_;
};

/// `synchronous` is FULL or NORMAL.
std::unique_ptr<sqlite3, RawClose> openRaw(const std::string& file, const std::string& synchronous = "FULL");
void executeRaw(sqlite3* database, const std::string& sql);

class SqliteNotes final : public RawNotes {
public:
    explicit SqliteNotes(const std::string& file);

    void begin() override { begin_.run(); }
    void commit() override;
    bool load(const std::string& id, RawNote& note) override;
    [[nodiscard]] std::vector<RawNote> list(const std::string& linkId) override;
    void execute(const std::string& sql) { executeRaw(database_.get(), sql); }

private:
    std::string newId() override;
    void insert(const std::string& id, const RawNote& note) override;
    void update(const RawNote& found, const RawNote& note) override;
    std::int64_t nextInTransaction();
    static std::int64_t firstInteger(RawStatement& statement);
    static void readRow(const RawStatement& row, RawNote& note);

    std::unique_ptr<sqlite3, RawClose> database_;
    /// The counter's own commit waits for no disk: the insert that follows does.
    std::unique_ptr<sqlite3, RawClose> counterDatabase_;
    RawStatement begin_, commit_, load_, insert_, update_, list_, raise_, look_, readCounter_, keep_;
    std::int64_t given_ = 0; ///< the last number in the open transaction; 0 without one
    std::string greatest_;
};

class SqliteContacts final : public RawContacts {
public:
    explicit SqliteContacts(const std::string& file);

    void begin() override { begin_.run(); }
    void commit() override { commit_.run(); }
    void load(const std::string& id, RawContact& contact) override;
    void save(const RawContact& contact) override;
    std::size_t replacePicture(const std::string& id, std::span<const std::byte> bytes) override;

private:
    std::vector<std::string> personIds() override;
    static void loadRow(RawStatement& row, const std::string& id, RawContact& contact);

    std::unique_ptr<sqlite3, RawClose> database_;
    RawStatement begin_, commit_, ids_, contact_, company_, members_, update_, picture_, setPicture_;
    RawContact found_;
};

class SqliteAttachments final : public RawAttachments {
public:
    explicit SqliteAttachments(const std::string& file);

    bool load(const std::string& id, RawAttachment& attachment) override;
    void execute(const std::string& sql) { executeRaw(database_.get(), sql); }

private:
    std::string newId() override;
    void insert(const std::string& id, const RawAttachment& attachment) override;
    void update(const RawAttachment& attachment) override;

    std::unique_ptr<sqlite3, RawClose> database_, counterDatabase_;
    RawStatement load_, insert_, update_, raise_;
};

class SqliteCalendar final : public RawCalendar {
public:
    explicit SqliteCalendar(const std::string& file);

    void read(const std::string& project, RawHours& hours) override;

private:
    std::unique_ptr<sqlite3, RawClose> database_;
    RawStatement week_, exceptions_;
};

class SqliteTasks final : public RawTasks {
public:
    explicit SqliteTasks(const std::string& file);

    void begin() override { begin_.run(); }
    void commit() override { commit_.run(); }

private:
    void beginInner() override { savepoint_.run(); }
    void commitInner() override { release_.run(); }
    bool load(const std::string& id, RawTask& task) override;
    void update(const RawTask& task) override;
    void clear(const std::string& id) override { clear_.bind(1, id).run(); }
    bool sum(const std::string& id, RawSums& sums) override;
    void write(const std::string& id, double hours, double percentage, const RawSums& sums) override;
    bool above(const std::string& id, std::string& key, std::string& parentId) override;
    bool readWeek(const std::string& projectId, RawHours& hours) override;
    bool readExceptions(const std::string& projectId, RawHours& hours) override;

    std::unique_ptr<sqlite3, RawClose> database_;
    RawStatement begin_, commit_, savepoint_, release_, load_, update_, clear_, sum_, write_, above_, week_,
        commonWeek_, exceptions_, commonExceptions_;
};

} // namespace corveth::bench
