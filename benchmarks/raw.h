#pragma once

// The other side: the engine's own interface, as somebody would write it who keeps the same records in plain
// structures. Statements are prepared once, settings are those of a connection of ours.

#include <array>
#include <cstdint>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <vector>

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
    /// False at the end, when it has been reset. Throws what the engine says.
    bool step();
    /// Runs to the end.
    void run() {
        while (step()) {
        }
    }
    void reset() noexcept { sqlite3_reset(statement_.get()); }

    void read(int column, std::string& into) const;
    [[nodiscard]] double real(int column) const { return sqlite3_column_double(statement_.get(), column); }
    [[nodiscard]] int integer(int column) const { return sqlite3_column_int(statement_.get(), column); }
    [[nodiscard]] int columnCount() const { return sqlite3_column_count(statement_.get()); }

private:
    std::unique_ptr<sqlite3_stmt, RawClose> statement_;
};

/// `synchronous` is FULL or NORMAL.
std::unique_ptr<sqlite3, RawClose> openRaw(const std::string& file, const std::string& synchronous = "FULL");
void executeRaw(sqlite3* database, const std::string& sql);

struct RawNote {
    std::string id, linkId, linkType, title, note, creator;
    double creation = 0;

    [[nodiscard]] std::size_t bytes() const { return title.size() + note.size() + linkId.size(); }
};

class RawNotes {
public:
    explicit RawNotes(const std::string& file);

    void begin() { begin_.run(); }
    void commit();
    bool load(const std::string& id, RawNote& note);
    /// Looks for the row of the ID; changes what differs, or inserts a row with a new ID.
    void save(const RawNote& note);
    [[nodiscard]] std::vector<RawNote> list(const std::string& linkId);
    void execute(const std::string& sql) { executeRaw(database_.get(), sql); }

private:
    std::string newId();
    std::int64_t nextInTransaction();
    static std::int64_t firstInteger(RawStatement& statement);
    void readRow(RawStatement& row, RawNote& note);

    std::unique_ptr<sqlite3, RawClose> database_;
    /// The counter's own commit waits for no disk: the insert that follows does.
    std::unique_ptr<sqlite3, RawClose> counterDatabase_;
    RawStatement begin_, commit_, load_, insert_, update_, list_, raise_, look_, readCounter_, keep_;
    std::int64_t given_ = 0; ///< the last number in the open transaction; 0 without one
    RawNote found_;
    std::string greatest_;
};

/// A row of the contacts and the company it belongs to.
struct RawContact {
    static constexpr int columnCount = 41;
    std::array<std::string, columnCount> texts; ///< by column; numbers stand apart
    int contactType = 0;
    int showInTaskList = 0;
    bool isUsed = false;
    std::unique_ptr<RawContact> company;
};

class RawContacts {
public:
    explicit RawContacts(const std::string& file);

    /// All persons, keyed by nothing but their place.
    [[nodiscard]] std::vector<std::unique_ptr<RawContact>> persons();

private:
    void load(RawStatement& row, const std::string& id, RawContact& contact);

    std::unique_ptr<sqlite3, RawClose> database_;
    RawStatement ids_, contact_, company_, members_;
};

} // namespace corveth::bench
