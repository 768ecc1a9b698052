#include "raw.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>

namespace corveth::bench {

namespace {

[[noreturn]] void fail(sqlite3* database) {
    throw std::runtime_error(std::string("the engine: ") + sqlite3_errmsg(database));
}

} // namespace

RawStatement::RawStatement(sqlite3* database, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
        fail(database);
    }
    statement_.reset(statement);
}

RawStatement& RawStatement::bind(int number, std::string_view text) {
    sqlite3_bind_text64(statement_.get(), number, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    return *this;
}

RawStatement& RawStatement::bind(int number, std::int64_t integer) {
    sqlite3_bind_int64(statement_.get(), number, integer);
    return *this;
}

RawStatement& RawStatement::bind(int number, double real) {
    sqlite3_bind_double(statement_.get(), number, real);
    return *this;
}

bool RawStatement::step() {
    const int code = sqlite3_step(statement_.get());
    if (code == SQLITE_ROW) return true;
    sqlite3_reset(statement_.get());
    if (code != SQLITE_DONE) fail(sqlite3_db_handle(statement_.get()));
    return false;
}

void RawStatement::read(int column, std::string& into) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
    if (text == nullptr) {
        into.clear();
    } else {
        into.assign(text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column)));
    }
}

std::unique_ptr<sqlite3, RawClose> openRaw(const std::string& file, const std::string& synchronous) {
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    const int code = sqlite3_open_v2(file.c_str(), &opened, flags, nullptr);
    std::unique_ptr<sqlite3, RawClose> database(opened);
    if (code != SQLITE_OK) fail(opened);
    executeRaw(opened, "PRAGMA cache_size=-65536; PRAGMA synchronous=" + synchronous);
    return database;
}

void executeRaw(sqlite3* database, const std::string& sql) {
    if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail(database);
}

// --- notes

namespace {

// One more than the counter and than any key that was put in behind its back.
constexpr const char* raiseCounter =
    "Insert Into IdCounters (TableName, Code, LastNumber) Values ('Notes', 'NT', 1 + coalesce((Select "
    "Cast(substr(max(NoteId), 3) As integer) From Notes Where NoteId Between 'NT00000000' And 'NT99999999'), 0)) "
    "On Conflict (TableName, Code) Do Update Set LastNumber = max(LastNumber + 1, Excluded.LastNumber) "
    "Returning LastNumber";

} // namespace

RawNotes::RawNotes(const std::string& file)
    : database_(openRaw(file)),
      counterDatabase_(openRaw(file, "NORMAL")),
      begin_(database_.get(), "Begin Immediate"),
      commit_(database_.get(), "Commit"),
      load_(database_.get(), "Select * From Notes Where NoteId=?"),
      insert_(database_.get(), "Insert Into Notes (NoteId, Creator, Creation, LinkId, LinkType, Title, Note) "
                               "Values (?, ?, ?, ?, ?, ?, ?)"),
      update_(database_.get(), "Update Notes Set Title=?, Note=? Where NoteId=?"),
      list_(database_.get(), "Select * From Notes Where LinkId=?"),
      raise_(counterDatabase_.get(), raiseCounter),
      look_(database_.get(), "Select max(NoteId) From Notes Where NoteId Between 'NT00000000' And 'NT99999999'"),
      readCounter_(database_.get(), "Select LastNumber From IdCounters Where TableName='Notes' And Code='NT'"),
      keep_(database_.get(),
            "Insert Into IdCounters (TableName, Code, LastNumber) Values ('Notes', 'NT', ?) On Conflict "
            "(TableName, Code) Do Update Set LastNumber = max(LastNumber, Excluded.LastNumber)") {}

void RawNotes::commit() {
    if (given_ != 0) keep_.bind(1, given_).run();
    given_ = 0;
    commit_.run();
}

void RawNotes::readRow(RawStatement& row, RawNote& note) {
    row.read(0, note.id);
    row.read(1, note.linkId);
    row.read(2, note.linkType);
    row.read(3, note.title);
    row.read(4, note.note);
    row.read(5, note.creator);
    note.creation = row.real(6);
}

bool RawNotes::load(const std::string& id, RawNote& note) {
    load_.bind(1, id);
    if (!load_.step()) return false;
    readRow(load_, note);
    load_.run();
    return true;
}

std::int64_t RawNotes::firstInteger(RawStatement& statement) {
    std::int64_t number = 0;
    while (statement.step())
        number = statement.integer(0);
    return number;
}

/// In a transaction the database is this connection's alone: the counter is read once, and raised once at its end.
std::int64_t RawNotes::nextInTransaction() {
    std::int64_t last = given_ == 0 ? firstInteger(readCounter_) : given_;
    while (look_.step()) {
        look_.read(0, greatest_);
        if (!greatest_.empty()) last = std::max<std::int64_t>(last, std::stoll(greatest_.substr(2)));
    }
    return given_ = last + 1;
}

std::string RawNotes::newId() {
    constexpr std::size_t digits = 8;
    const bool isInTransaction = sqlite3_get_autocommit(database_.get()) == 0;
    const std::string number = std::to_string(isInTransaction ? nextInTransaction() : firstInteger(raise_));
    return "NT" + std::string(digits - number.size(), '0') + number;
}

void RawNotes::save(const RawNote& note) {
    if (load(note.id, found_)) {
        if (found_.linkId != note.linkId || found_.linkType != note.linkType) {
            throw std::runtime_error("no statement is prepared for a note that changes its link");
        }
        if (found_.title == note.title && found_.note == note.note) return;
        update_.bind(1, note.title).bind(2, note.note).bind(3, found_.id).run();
        return;
    }
    constexpr std::time_t dayOfEpoch = 25569, secondsOfDay = 86400;
    const std::time_t day = dayOfEpoch + std::time(nullptr) / secondsOfDay;
    const auto today = static_cast<double>(day);
    const std::string id = newId();
    insert_.bind(1, id).bind(2, note.creator).bind(3, today).bind(4, note.linkId);
    insert_.bind(5, note.linkType).bind(6, note.title).bind(7, note.note).run();
}

std::vector<RawNote> RawNotes::list(const std::string& linkId) {
    std::vector<RawNote> notes;
    list_.bind(1, linkId);
    while (list_.step())
        readRow(list_, notes.emplace_back());
    return notes;
}

// --- contacts

RawContacts::RawContacts(const std::string& file)
    : database_(openRaw(file)),
      ids_(database_.get(), "Select ContactId From Contacts Where ContactType>0 Order By ContactId"),
      contact_(database_.get(), "Select * From Contacts Where ContactId=?"),
      company_(database_.get(), "Select * From Contacts Where ContactId=?"),
      members_(database_.get(), "Select ContactID From ContactMaster Where CompanyID=?") {
    if (contact_.columnCount() != RawContact::columnCount) {
        throw std::runtime_error("the contacts have other columns than were expected");
    }
}

void RawContacts::load(RawStatement& row, const std::string& id, RawContact& contact) {
    constexpr int contactType = 7, showInTaskList = 12;
    row.bind(1, id);
    if (!row.step()) return;
    for (int column = 0; column < RawContact::columnCount; ++column) {
        if (column == contactType) {
            contact.contactType = row.integer(column);
        } else if (column == showInTaskList) {
            contact.showInTaskList = row.integer(column);
        } else {
            row.read(column, contact.texts[static_cast<std::size_t>(column)]);
        }
    }
    row.run();
}

std::vector<std::unique_ptr<RawContact>> RawContacts::persons() {
    constexpr std::size_t companyId = 1;
    std::vector<std::string> ids;
    while (ids_.step())
        ids_.read(0, ids.emplace_back());
    std::vector<std::unique_ptr<RawContact>> persons;
    for (const std::string& id : ids) {
        auto person = std::make_unique<RawContact>();
        load(contact_, id, *person);
        person->company = std::make_unique<RawContact>();
        if (const auto& company = person->texts[companyId]; !company.empty()) load(company_, company, *person->company);
        members_.bind(1, id);
        person->isUsed = !members_.step();
        members_.reset();
        persons.push_back(std::move(person));
    }
    return persons;
}

} // namespace corveth::bench
