#include "raw_sqlite.h"

#include <algorithm>
#include <fmt/format.h>
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

RawStatement& RawStatement::bind(int number, std::span<const std::byte> bytes) {
    sqlite3_bind_blob64(statement_.get(), number, bytes.data(), bytes.size(), SQLITE_STATIC);
    return *this;
}

RawStatement& RawStatement::bindNull(int number) {
    sqlite3_bind_null(statement_.get(), number);
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

void RawStatement::read(int column, std::vector<std::byte>& into) const {
    const auto* bytes = static_cast<const std::byte*>(sqlite3_column_blob(statement_.get(), column));
    into.assign(bytes, bytes + sqlite3_column_bytes(statement_.get(), column));
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

SqliteNotes::SqliteNotes(const std::string& file)
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

void SqliteNotes::commit() {
    if (given_ != 0) keep_.bind(1, given_).run();
    given_ = 0;
    commit_.run();
}

void SqliteNotes::readRow(const RawStatement& row, RawNote& note) {
    row.read(0, note.id);
    row.read(1, note.linkId);
    row.read(2, note.linkType);
    row.read(3, note.title);
    row.read(4, note.note);
    row.read(5, note.creator);
    note.creation = row.real(6);
}

bool SqliteNotes::load(const std::string& id, RawNote& note) {
    load_.bind(1, id);
    if (!load_.step()) return false;
    readRow(load_, note);
    load_.run();
    return true;
}

std::int64_t SqliteNotes::firstInteger(RawStatement& statement) {
    std::int64_t number = 0;
    while (statement.step())
        number = statement.integer(0);
    return number;
}

/// In a transaction the database is this connection's alone: the counter is read once, and raised once at its end.
std::int64_t SqliteNotes::nextInTransaction() {
    std::int64_t last = given_ == 0 ? firstInteger(readCounter_) : given_;
    while (look_.step()) {
        look_.read(0, greatest_);
        if (!greatest_.empty()) last = std::max<std::int64_t>(last, std::stoll(greatest_.substr(2)));
    }
    return given_ = last + 1;
}

std::string SqliteNotes::newId() {
    constexpr std::size_t digits = 8;
    const bool isInTransaction = sqlite3_get_autocommit(database_.get()) == 0;
    const std::string number = std::to_string(isInTransaction ? nextInTransaction() : firstInteger(raise_));
    return "NT" + std::string(digits - number.size(), '0') + number;
}

void SqliteNotes::insert(const std::string& id, const RawNote& note) {
    const double creation = today();
    insert_.bind(1, id).bind(2, note.creator).bind(3, creation).bind(4, note.linkId);
    insert_.bind(5, note.linkType).bind(6, note.title).bind(7, note.note).run();
}

void SqliteNotes::update(const RawNote& found, const RawNote& note) {
    update_.bind(1, note.title).bind(2, note.note).bind(3, found.id).run();
}

std::vector<RawNote> SqliteNotes::list(const std::string& linkId) {
    std::vector<RawNote> notes;
    list_.bind(1, linkId);
    while (list_.step())
        readRow(list_, notes.emplace_back());
    return notes;
}

// --- contacts

SqliteContacts::SqliteContacts(const std::string& file)
    : database_(openRaw(file)),
      begin_(database_.get(), "Begin Immediate"),
      commit_(database_.get(), "Commit"),
      ids_(database_.get(), "Select ContactId From Contacts Where ContactType>0 Order By ContactId"),
      contact_(database_.get(), "Select * From Contacts Where ContactId=?"),
      company_(database_.get(), "Select * From Contacts Where ContactId=?"),
      members_(database_.get(), "Select ContactID From ContactMaster Where CompanyID=?"),
      update_(database_.get(), "Update Contacts Set LastName=?, ContactName=? Where ContactId=?"),
      picture_(database_.get(), "Select ContactId, Pic From ContactMaster Where ContactId=?"),
      setPicture_(database_.get(), "Update ContactMaster Set Pic=? Where ContactId=?") {
    if (contact_.columnCount() != RawContact::columnCount) {
        throw std::runtime_error("the contacts have other columns than were expected");
    }
}

void SqliteContacts::loadRow(RawStatement& row, const std::string& id, RawContact& contact) {
    row.bind(1, id);
    if (!row.step()) return;
    for (std::size_t column = 0; column < contact.texts.size(); ++column) {
        const int number = static_cast<int>(column);
        if (column == RawContact::contactType) {
            contact.type = row.integer(number);
        } else if (column == RawContact::showInTaskList) {
            contact.isInTaskList = row.integer(number);
        } else {
            row.read(number, contact.texts[column]);
        }
    }
    row.run();
}

void SqliteContacts::load(const std::string& id, RawContact& contact) {
    loadRow(contact_, id, contact);
    contact.company = std::make_unique<RawContact>();
    if (const auto& company = contact.texts[RawContact::companyId]; !company.empty()) {
        loadRow(company_, company, *contact.company);
    }
    members_.bind(1, id);
    contact.isUsed = !members_.step();
    members_.reset();
}

void SqliteContacts::save(const RawContact& contact) {
    const std::string& id = contact.texts[RawContact::contactId];
    loadRow(contact_, id, found_);
    const auto& name = contact.texts[RawContact::name];
    update_.bind(1, contact.texts[RawContact::lastName]).bind(2, name).bind(3, id).run();
}

std::size_t SqliteContacts::replacePicture(const std::string& id, std::span<const std::byte> bytes) {
    std::string key, picture;
    picture_.bind(1, id);
    while (picture_.step()) {
        picture_.read(0, key);
        picture_.read(1, picture);
    }
    setPicture_.bind(1, bytes).bind(2, key).run();
    return picture.size();
}

std::vector<std::string> SqliteContacts::personIds() {
    std::vector<std::string> ids;
    while (ids_.step())
        ids_.read(0, ids.emplace_back());
    return ids;
}

// --- attachments

SqliteAttachments::SqliteAttachments(const std::string& file)
    : database_(openRaw(file)),
      counterDatabase_(openRaw(file, "NORMAL")),
      load_(database_.get(), "Select * From Attachments Where AttachmentID=?"),
      insert_(database_.get(), "Insert Into Attachments (AttachmentID, AttachmentTitle, AttachmentType, "
                               "AttachmentSize, AttachmentDate, LinkID, LinkType, Data) Values (?, ?, ?, ?, ?, ?, ?, "
                               "?)"),
      update_(database_.get(), "Update Attachments Set Data=? Where AttachmentID=?"),
      raise_(counterDatabase_.get(),
             "Insert Into IdCounters (TableName, Code, LastNumber) Values ('Attachments', 'AT', 2) On Conflict "
             "(TableName, Code) Do Update Set LastNumber = LastNumber + 1 Returning LastNumber") {}

bool SqliteAttachments::load(const std::string& id, RawAttachment& attachment) {
    load_.bind(1, id);
    if (!load_.step()) return false;
    load_.read(0, attachment.id);
    load_.read(1, attachment.title);
    load_.read(2, attachment.type);
    attachment.size = load_.integer(3);
    attachment.date = load_.real(4);
    load_.read(5, attachment.linkId);
    load_.read(6, attachment.linkType);
    load_.read(7, attachment.data);
    load_.run();
    return true;
}

std::string SqliteAttachments::newId() {
    int number = 0;
    while (raise_.step())
        number = raise_.integer(0);
    return fmt::format("AT{:08}", number);
}

void SqliteAttachments::insert(const std::string& id, const RawAttachment& attachment) {
    insert_.bind(1, id).bind(2, attachment.title).bind(3, attachment.type).bind(4, std::int64_t{attachment.size});
    insert_.bind(5, attachment.date).bind(6, attachment.linkId).bind(7, attachment.linkType);
    insert_.bind(8, std::span<const std::byte>(attachment.data)).run();
}

void SqliteAttachments::update(const RawAttachment& attachment) {
    update_.bind(1, std::span<const std::byte>(attachment.data)).bind(2, attachment.id).run();
}

// --- the calendar

SqliteCalendar::SqliteCalendar(const std::string& file)
    : database_(openRaw(file)),
      week_(database_.get(), "Select * From WorkingHours Where ProjectId=?"),
      exceptions_(database_.get(), "Select * From Holidays Where Projectid=?") {}

namespace {

/// False without a row.
bool readWeekRow(RawStatement& row, RawHours& hours) {
    if (!row.step()) return false;
    row.read(0, hours.id);
    for (std::size_t day = 0; day < hours.week.size(); ++day)
        hours.week[day] = row.real(static_cast<int>(day) + 1);
    row.read(static_cast<int>(hours.week.size()) + 1, hours.project);
    row.run();
    return true;
}

void readExceptionRows(RawStatement& rows, RawHours& hours) {
    hours.exceptions.clear();
    while (rows.step()) {
        auto& row = hours.exceptions.emplace_back();
        row.day = rows.real(0);
        row.hours = rows.real(1);
        rows.read(2, row.project);
        rows.read(3, row.name);
    }
}

} // namespace

void SqliteCalendar::read(const std::string& project, RawHours& hours) {
    readWeekRow(week_.bind(1, project), hours);
    readExceptionRows(exceptions_.bind(1, project), hours);
}

// --- tasks

SqliteTasks::SqliteTasks(const std::string& file)
    : database_(openRaw(file)),
      begin_(database_.get(), "Begin Immediate"),
      commit_(database_.get(), "Commit"),
      savepoint_(database_.get(), "Savepoint inner_one"),
      release_(database_.get(), "Release inner_one"),
      load_(database_.get(), "Select * From Projects Where Id=?"),
      update_(database_.get(), "Update Projects Set RemainingWork=?, ActWorkDuration=?, PercCompleted=? Where Id=?"),
      clear_(database_.get(), clearStatement("?").c_str()),
      sum_(database_.get(), sumStatement("?").c_str()),
      write_(database_.get(), "Update Projects Set PlnDuration=?, PlnWork=?, EarliestStartdate=?, PlnStartdate=?, "
                              "PlnFinishdate=?, Users=?, ActDuration=?, RemainingWork=?, ActWorkDuration=?, "
                              "PercCompleted=?, ExptOverrun=?, ActStartDate=?, ActFinishdate=?, Finished=? Where Id=?"),
      above_(database_.get(), "Select ID, ParentId From Projects Where Id=?"),
      week_(database_.get(), "Select * From WorkingHours Where ProjectId=?"),
      commonWeek_(database_.get(), "Select * From WorkingHours Where ProjectId='' Or ProjectId is Null"),
      exceptions_(database_.get(), "Select * From Holidays Where Projectid=?"),
      commonExceptions_(database_.get(), "Select * From Holidays Where Projectid='' or ProjectId is Null") {
    if (load_.columnCount() != RawTask::columnCount || sum_.columnCount() != RawSums::columnCount) {
        throw std::runtime_error("the projects have other columns than were expected");
    }
}

bool SqliteTasks::load(const std::string& id, RawTask& task) {
    load_.bind(1, id);
    if (!load_.step()) return false;
    for (int column = 0; column < RawTask::columnCount; ++column) {
        const auto place = static_cast<std::size_t>(column);
        if (RawTask::isNumber(column)) {
            task.numbers[place] = load_.real(column);
        } else {
            load_.read(column, task.texts[place]);
        }
    }
    load_.run();
    return true;
}

void SqliteTasks::update(const RawTask& task) {
    update_.bind(1, task.numbers[RawTask::remainingWork]).bind(2, task.numbers[RawTask::actualWorked]);
    update_.bind(3, task.numbers[RawTask::percentage]).bind(4, task.texts[RawTask::id]).run();
}

bool SqliteTasks::sum(const std::string& id, RawSums& sums) {
    sum_.bind(1, id);
    if (!sum_.step()) return false;
    sum_.read(0, sums.id);
    for (int column = 1; column < RawSums::columnCount; ++column) {
        sums.numbers[static_cast<std::size_t>(column)] = {sum_.real(column), sum_.isNull(column)};
    }
    sum_.run();
    return true;
}

void SqliteTasks::write(const std::string& id, double hours, double percentage, const RawSums& sums) {
    int number = 0;
    for (const auto& value : written(hours, percentage, sums)) {
        ++number;
        value.isNull ? write_.bindNull(number) : write_.bind(number, value.value);
    }
    write_.bind(++number, id).run();
}

bool SqliteTasks::above(const std::string& id, std::string& key, std::string& parentId) {
    above_.bind(1, id);
    if (!above_.step()) return false;
    above_.read(0, key);
    above_.read(1, parentId);
    above_.run();
    return true;
}

bool SqliteTasks::readWeek(const std::string& projectId, RawHours& hours) {
    return readWeekRow(projectId.empty() ? commonWeek_ : week_.bind(1, projectId), hours);
}

bool SqliteTasks::readExceptions(const std::string& projectId, RawHours& hours) {
    readExceptionRows(projectId.empty() ? commonExceptions_ : exceptions_.bind(1, projectId), hours);
    return !hours.exceptions.empty();
}

} // namespace corveth::bench
