#include "raw_postgresql.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <fmt/format.h>
#include <stdexcept>

namespace corveth::bench {

namespace {

constexpr int binary = 1;

std::string_view cell(const PGresult* rows, int row, int column) {
    return {PQgetvalue(rows, row, column), static_cast<std::size_t>(PQgetlength(rows, row, column))};
}

template <class Number>
Number numberIn(const PGresult* rows, int row, int column) {
    std::uint64_t bits = 0;
    for (const char byte : cell(rows, row, column))
        bits = bits << 8U | static_cast<unsigned char>(byte);
    return static_cast<Number>(bits);
}

double realIn(const PGresult* rows, int row, int column) {
    return std::bit_cast<double>(numberIn<std::uint64_t>(rows, row, column));
}

void readRow(const PGresult* rows, int row, RawNote& note) {
    note.id = cell(rows, row, 0);
    note.linkId = cell(rows, row, 1);
    note.linkType = cell(rows, row, 2);
    note.title = cell(rows, row, 3);
    note.note = cell(rows, row, 4);
    note.creator = cell(rows, row, 5);
    note.creation = std::bit_cast<double>(numberIn<std::uint64_t>(rows, row, 6));
}

} // namespace

RawServer::RawServer(const char* connectionInfo) : connection_(PQconnectdb(connectionInfo)) {
    if (PQstatus(connection_.get()) != CONNECTION_OK) throw std::runtime_error(PQerrorMessage(connection_.get()));
    prepare("begin", "begin");
    prepare("commit", "commit");
}

RawResult RawServer::checked(PGresult* result) {
    RawResult kept(result);
    ++roundTrips_;
    const auto status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        throw std::runtime_error(std::string("the server: ") + PQerrorMessage(connection_.get()));
    }
    return kept;
}

RawResult RawServer::run(const std::string& sql) {
    return checked(PQexec(connection_.get(), sql.c_str()));
}

std::string RawServer::firstCell(const std::string& sql) {
    const RawResult result = run(sql);
    return PQntuples(result.get()) == 0 ? std::string() : std::string(cell(result.get(), 0, 0));
}

void RawServer::prepare(const char* name, const char* sql) {
    checked(PQprepare(connection_.get(), name, sql, 0, nullptr));
}

RawResult RawServer::run(const char* name, std::initializer_list<const char*> texts) {
    return checked(PQexecPrepared(connection_.get(), name, static_cast<int>(texts.size()), texts.begin(), nullptr,
                                  nullptr, binary));
}

RawResult RawServer::run(const char* name, std::span<const char* const> values, std::span<const int> lengths,
                         std::span<const int> formats) {
    return checked(PQexecPrepared(connection_.get(), name, static_cast<int>(values.size()), values.data(),
                                  lengths.data(), formats.data(), binary));
}

// --- notes

ServerNotes::ServerNotes(RawServer& server) : server_(server) {
    server_.prepare("load", "select * from notes where noteid = $1");
    server_.prepare("insert", "insert into notes (noteid, creator, creation, linkid, linktype, title, note) "
                              "values ($1, $2, $3, $4, $5, $6, $7)");
    server_.prepare("update", "update notes set title = $1, note = $2 where noteid = $3");
    // In the same order every time, whatever was changed in between.
    server_.prepare("list", "select * from notes where linkid = $1 order by noteid");
    // Above any key that was put in behind the counter's back.
    server_.prepare("next", "select nextval('corveth.counter_notes_nt'), (select noteid from notes where noteid "
                            "between 'NT00000000' and 'NT99999999' order by noteid desc limit 1)");
}

bool ServerNotes::load(const std::string& id, RawNote& note) {
    const RawResult rows = server_.run("load", {id.c_str()});
    if (PQntuples(rows.get()) == 0) return false;
    readRow(rows.get(), 0, note);
    return true;
}

std::string ServerNotes::newId() {
    const RawResult rows = server_.run("next", {});
    const auto number = numberIn<std::int64_t>(rows.get(), 0, 0);
    const std::string_view greatest = cell(rows.get(), 0, 1);
    std::int64_t taken = 0;
    if (!greatest.empty()) std::from_chars(greatest.data() + 2, greatest.data() + greatest.size(), taken);
    if (number <= taken) throw std::runtime_error("the counter of the notes is behind");
    return fmt::format("NT{:08}", number);
}

void ServerNotes::insert(const std::string& id, const RawNote& note) {
    const auto bits = std::bit_cast<std::uint64_t>(today());
    std::array<char, sizeof bits> creation{};
    unsigned shift = 8 * sizeof bits;
    for (char& byte : creation)
        byte = static_cast<char>(bits >> (shift -= 8));
    const std::array values = {id.c_str(),          note.creator.c_str(),  static_cast<const char*>(creation.data()),
                               note.linkId.c_str(), note.linkType.c_str(), note.title.c_str(),
                               note.note.c_str()};
    constexpr std::array lengths = {0, 0, static_cast<int>(sizeof bits), 0, 0, 0, 0};
    constexpr std::array formats = {0, 0, binary, 0, 0, 0, 0};
    server_.run("insert", values, lengths, formats);
}

void ServerNotes::update(const RawNote& found, const RawNote& note) {
    server_.run("update", {note.title.c_str(), note.note.c_str(), found.id.c_str()});
}

std::vector<RawNote> ServerNotes::list(const std::string& linkId) {
    const RawResult rows = server_.run("list", {linkId.c_str()});
    std::vector<RawNote> notes;
    for (int row = 0; row < PQntuples(rows.get()); ++row)
        readRow(rows.get(), row, notes.emplace_back());
    return notes;
}

// --- contacts

ServerContacts::ServerContacts(RawServer& server) : server_(server) {
    server_.prepare("persons", "select contactid from contacts where contacttype > 0 order by contactid");
    server_.prepare("contact", "select * from contacts where contactid = $1");
    server_.prepare("members", "select contactid from contactmaster where companyid = $1 order by contactid");
    server_.prepare("rename", "update contacts set lastname = $1, contactname = $2 where contactid = $3");
    server_.prepare("picture", "select contactid, pic from contactmaster where contactid = $1");
    server_.prepare("set picture", "update contactmaster set pic = $1 where contactid = $2");
}

void ServerContacts::loadRow(const std::string& id, RawContact& contact) {
    const RawResult rows = server_.run("contact", {id.c_str()});
    if (PQntuples(rows.get()) == 0) return;
    if (PQnfields(rows.get()) != RawContact::columnCount) {
        throw std::runtime_error("the contacts have other columns than were expected");
    }
    for (std::size_t column = 0; column < contact.texts.size(); ++column) {
        const int number = static_cast<int>(column);
        if (column == RawContact::contactType) {
            contact.type = numberIn<int>(rows.get(), 0, number);
        } else if (column == RawContact::showInTaskList) {
            contact.isInTaskList = numberIn<int>(rows.get(), 0, number);
        } else {
            contact.texts[column] = cell(rows.get(), 0, number);
        }
    }
}

void ServerContacts::load(const std::string& id, RawContact& contact) {
    loadRow(id, contact);
    contact.company = std::make_unique<RawContact>();
    if (const auto& company = contact.texts[RawContact::companyId]; !company.empty()) {
        loadRow(company, *contact.company);
    }
    contact.isUsed = PQntuples(server_.run("members", {id.c_str()}).get()) == 0;
}

void ServerContacts::save(const RawContact& contact) {
    const auto& texts = contact.texts;
    const std::string& id = texts[RawContact::contactId];
    loadRow(id, found_);
    server_.run("rename", {texts[RawContact::lastName].c_str(), texts[RawContact::name].c_str(), id.c_str()});
}

std::size_t ServerContacts::replacePicture(const std::string& id, std::span<const std::byte> bytes) {
    const RawResult rows = server_.run("picture", {id.c_str()});
    const std::string key(cell(rows.get(), 0, 0)), picture(cell(rows.get(), 0, 1));
    const std::array values = {reinterpret_cast<const char*>(bytes.data()), key.c_str()};
    const std::array lengths = {static_cast<int>(bytes.size()), 0};
    constexpr std::array formats = {binary, 0};
    server_.run("set picture", values, lengths, formats);
    return picture.size();
}

std::vector<std::string> ServerContacts::personIds() {
    const RawResult rows = server_.run("persons", {});
    std::vector<std::string> ids;
    for (int row = 0; row < PQntuples(rows.get()); ++row)
        ids.emplace_back(cell(rows.get(), row, 0));
    return ids;
}

// --- attachments

ServerAttachments::ServerAttachments(RawServer& server) : server_(server) {
    server_.prepare("attachment", "select * from attachments where attachmentid = $1");
    server_.prepare("attach", "insert into attachments (attachmentid, attachmenttitle, attachmenttype, "
                              "attachmentsize, attachmentdate, linkid, linktype, data) "
                              "values ($1, $2, $3, $4, $5, $6, $7, $8)");
    server_.prepare("set data", "update attachments set data = $1 where attachmentid = $2");
    server_.prepare("next attachment", "select nextval('corveth.counter_attachments_at')");
}

bool ServerAttachments::load(const std::string& id, RawAttachment& attachment) {
    const RawResult rows = server_.run("attachment", {id.c_str()});
    if (PQntuples(rows.get()) == 0) return false;
    attachment.id = cell(rows.get(), 0, 0);
    attachment.title = cell(rows.get(), 0, 1);
    attachment.type = cell(rows.get(), 0, 2);
    attachment.size = numberIn<std::int32_t>(rows.get(), 0, 3);
    attachment.date = std::bit_cast<double>(numberIn<std::uint64_t>(rows.get(), 0, 4));
    attachment.linkId = cell(rows.get(), 0, 5);
    attachment.linkType = cell(rows.get(), 0, 6);
    const auto data = std::as_bytes(std::span(cell(rows.get(), 0, 7)));
    attachment.data.assign(data.begin(), data.end());
    return true;
}

std::string ServerAttachments::newId() {
    return fmt::format("AT{:08}", numberIn<std::int64_t>(server_.run("next attachment", {}).get(), 0, 0));
}

void ServerAttachments::insert(const std::string& id, const RawAttachment& attachment) {
    const std::string size = std::to_string(attachment.size), date = fmt::format("{}", attachment.date);
    const std::array values = {id.c_str(),
                               attachment.title.c_str(),
                               attachment.type.c_str(),
                               size.c_str(),
                               date.c_str(),
                               attachment.linkId.c_str(),
                               attachment.linkType.c_str(),
                               reinterpret_cast<const char*>(attachment.data.data())};
    const std::array lengths = {0, 0, 0, 0, 0, 0, 0, static_cast<int>(attachment.data.size())};
    constexpr std::array formats = {0, 0, 0, 0, 0, 0, 0, binary};
    server_.run("attach", values, lengths, formats);
}

void ServerAttachments::update(const RawAttachment& attachment) {
    const std::array values = {reinterpret_cast<const char*>(attachment.data.data()), attachment.id.c_str()};
    const std::array lengths = {static_cast<int>(attachment.data.size()), 0};
    constexpr std::array formats = {binary, 0};
    server_.run("set data", values, lengths, formats);
}

// --- the calendar

ServerCalendar::ServerCalendar(RawServer& server) : server_(server) {
    server_.prepare("week", "select * from workinghours where projectid = $1");
    server_.prepare("exceptions", "select * from holidays where projectid = $1");
}

namespace {

/// False without a row.
bool readWeekRow(const RawResult& rows, RawHours& hours) {
    if (PQntuples(rows.get()) == 0) return false;
    hours.id = cell(rows.get(), 0, 0);
    for (std::size_t day = 0; day < hours.week.size(); ++day)
        hours.week[day] = realIn(rows.get(), 0, static_cast<int>(day) + 1);
    hours.project = cell(rows.get(), 0, static_cast<int>(hours.week.size()) + 1);
    return true;
}

void readExceptionRows(const RawResult& rows, RawHours& hours) {
    hours.exceptions.clear();
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
        hours.exceptions.push_back({realIn(rows.get(), row, 0), realIn(rows.get(), row, 1),
                                    std::string(cell(rows.get(), row, 2)), std::string(cell(rows.get(), row, 3))});
    }
}

} // namespace

void ServerCalendar::read(const std::string& project, RawHours& hours) {
    readWeekRow(server_.run("week", {project.c_str()}), hours);
    readExceptionRows(server_.run("exceptions", {project.c_str()}), hours);
}

// --- tasks

ServerTasks::ServerTasks(RawServer& server) : server_(server) {
    server_.prepare("savepoint", "savepoint inner_one");
    server_.prepare("release", "release inner_one");
    server_.prepare("task", "select * from projects where id = $1");
    server_.prepare("work", "update projects set remainingwork = $1, actworkduration = $2, perccompleted = $3 "
                            "where id = $4");
    server_.prepare("clear", clearStatement("$1").c_str());
    server_.prepare("sum", sumStatement("$1").c_str());
    server_.prepare("write", "update projects set plnduration = $1, plnwork = $2, earlieststartdate = $3, "
                             "plnstartdate = $4, plnfinishdate = $5, users = $6, actduration = $7, remainingwork = $8, "
                             "actworkduration = $9, perccompleted = $10, exptoverrun = $11, actstartdate = $12, "
                             "actfinishdate = $13, finished = $14 where id = $15");
    server_.prepare("above", "select id, parentid from projects where id = $1");
    server_.prepare("common week", "select * from workinghours where projectid = '' or projectid is null");
    server_.prepare("common exceptions", "select * from holidays where projectid = '' or projectid is null");
}

bool ServerTasks::load(const std::string& id, RawTask& task) {
    const RawResult rows = server_.run("task", {id.c_str()});
    if (PQntuples(rows.get()) == 0) return false;
    for (int column = 0; column < RawTask::columnCount; ++column) {
        const auto place = static_cast<std::size_t>(column);
        if (!RawTask::isNumber(column)) {
            task.texts[place] = cell(rows.get(), 0, column);
        } else if (PQgetlength(rows.get(), 0, column) == sizeof(double)) {
            task.numbers[place] = realIn(rows.get(), 0, column);
        } else { // a whole number, or Null
            task.numbers[place] = numberIn<int>(rows.get(), 0, column);
        }
    }
    return true;
}

void ServerTasks::update(const RawTask& task) {
    const auto text = [&](std::size_t column) { return fmt::format("{}", task.numbers[column]); };
    const std::string remaining = text(RawTask::remainingWork), done = text(RawTask::actualWorked),
                      percentage = text(RawTask::percentage);
    server_.run("work", {remaining.c_str(), done.c_str(), percentage.c_str(), task.texts[RawTask::id].c_str()});
}

bool ServerTasks::sum(const std::string& id, RawSums& sums) {
    const RawResult rows = server_.run("sum", {id.c_str()});
    if (PQntuples(rows.get()) == 0) return false;
    sums.id = cell(rows.get(), 0, 0);
    for (int column = 1; column < RawSums::columnCount; ++column) {
        const bool isNull = PQgetisnull(rows.get(), 0, column) != 0;
        sums.numbers[static_cast<std::size_t>(column)] = {isNull ? 0 : realIn(rows.get(), 0, column), isNull};
    }
    return true;
}

void ServerTasks::write(const std::string& id, double hours, double percentage, const RawSums& sums) {
    const auto numbers = written(hours, percentage, sums);
    std::array<std::string, std::tuple_size_v<decltype(numbers)>> texts;
    std::array<const char*, std::tuple_size_v<decltype(texts)> + 1> values{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (numbers[i].isNull) continue;
        texts[i] = fmt::format("{}", numbers[i].value);
        values[i] = texts[i].c_str();
    }
    values.back() = id.c_str();
    constexpr std::array<int, std::tuple_size_v<decltype(values)>> asText{};
    server_.run("write", values, asText, asText);
}

bool ServerTasks::above(const std::string& id, std::string& key, std::string& parentId) {
    const RawResult rows = server_.run("above", {id.c_str()});
    if (PQntuples(rows.get()) == 0) return false;
    key = cell(rows.get(), 0, 0);
    parentId = cell(rows.get(), 0, 1);
    return true;
}

bool ServerTasks::readWeek(const std::string& projectId, RawHours& hours) {
    return readWeekRow(projectId.empty() ? server_.run("common week", {}) : server_.run("week", {projectId.c_str()}),
                       hours);
}

bool ServerTasks::readExceptions(const std::string& projectId, RawHours& hours) {
    readExceptionRows(projectId.empty() ? server_.run("common exceptions", {})
                                        : server_.run("exceptions", {projectId.c_str()}),
                      hours);
    return !hours.exceptions.empty();
}

} // namespace corveth::bench
