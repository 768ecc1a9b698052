#include "sqlite_world.h"

#include "services/schema.h"

#include <fmt/format.h>
#include <system_error>

namespace corveth::bench {

namespace {

std::string connectionString(const std::string& file) {
    return "Provider=SQLite;Data Source=" + file;
}

void fillNotes(sqlite3* database, const World& world) {
    RawStatement insert(database, "Insert Into Notes Values (?, ?, 'Contact', ?, ?, '', 45000)");
    for (int i = 0; i < world.size().notes; ++i) {
        // The notes of one link lie scattered, as they do when they are written one day after another.
        const std::string id = World::noteId(i), link = World::linkId(i % world.linkCount());
        const std::string title = fmt::format("Call back about order {}", i);
        const std::string text = fmt::format(
            "Wants a quote by Friday, spoke with the purchasing department, number {} of the running list; next step "
            "is to send the price list.",
            i);
        insert.bind(1, id).bind(2, link).bind(3, title).bind(4, text).run();
    }
    executeRaw(database, fmt::format("Insert Into IdCounters Values ('Notes', 'NT', {})", world.size().notes));
}

void fillContacts(sqlite3* database, const World& world) {
    RawStatement master(database, "Insert Into ContactMaster Values (?1, ?2, 'Ms', ?3, 'Marie', ?4, ?5, ?6, 'Buyer', "
                                  "'Engineer', 'Purchasing', 'Customer', 1, 30000, 'Met at the fair', 'Nobody', Null)");
    RawStatement details(database,
                         "Insert Into ContactDetails Values (?1, '22 11 00 11', '99 88 77 66', '22 11 00 12', '12', "
                         "'22 11 00 13', 'www.example.com', 'astrid', 'Storgata 12', 'Third floor', 'Norway', 'Oslo', "
                         "'Oslo', '0155', 'Storgata 12, Oslo', 'home@example.com', 'Havnegata 3', 'Gate B', 'Norway', "
                         "'Vestland', 'Bergen', '5003', 'Havnegata 3, Bergen', 'office@example.com')");
    const auto add = [&](const std::string& id, const std::string& company, int number, double type) {
        const std::string first = fmt::format("Astrid {}", number), last = fmt::format("Nygård {}", number);
        const std::string name = "Ms " + first + " Marie " + last;
        master.bind(1, id).bind(2, company).bind(3, first).bind(4, last).bind(5, name).bind(6, type).run();
        details.bind(1, id).run();
    };
    add(World::pictureId, "", 0, 0);
    const int companies = world.companyCount();
    for (int i = 0; i < companies; ++i)
        add(World::companyId(i), "", i, 0);
    for (int i = 0; i < world.size().contacts; ++i)
        add(World::contactId(i), World::companyId(i % companies), i, 2);
}

void fillCalendar(sqlite3* database) {
    executeRaw(database, fmt::format("Insert Into WorkingHours Values ('WH00000002', 0, 8, 8, 8, 8, 8, 0, '{}')",
                                     RawCalendar::project));
    RawStatement insert(database, "Insert Into Holidays Values (?, 0, ?, 'Bank holiday')");
    for (int i = 0; i < RawCalendar::exceptions; ++i)
        insert.bind(1, RawCalendar::firstDay + i * RawCalendar::daysBetween).bind(2, RawCalendar::project).run();
}

} // namespace

TemporaryFolder::TemporaryFolder(const std::filesystem::path& parent) {
    std::string name = ((parent.empty() ? std::filesystem::temp_directory_path() : parent) / "corveth-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "no folder can be made as " + name);
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

SqliteWorld::SqliteWorld(const std::filesystem::path& parentFolder, const Size& size)
    : World(size), folder_(parentFolder), ourFile_(folder_.path() / "ours.db"), rawFile_(folder_.path() / "raw.db") {
    createDatabase(connectionString(ourFile_));
    {
        const auto database = openRaw(ourFile_);
        executeRaw(database.get(), "Begin");
        fillNotes(database.get(), *this);
        fillContacts(database.get(), *this);
        fillCalendar(database.get());
        executeRaw(database.get(), RawTasks::rows());
        executeRaw(database.get(), fmt::format("Insert Into Attachments Values ('{}', 'report.pdf', 'PDF document', "
                                               "{}, {}, 'BG00000001', 'Bug', randomblob({}))",
                                               RawAttachments::fileId, RawAttachments::fileSize, RawAttachments::date,
                                               RawAttachments::fileSize));
        executeRaw(database.get(), "Commit; PRAGMA wal_checkpoint(TRUNCATE)");
    }
    std::filesystem::copy_file(ourFile_, rawFile_);

    connect(connectionString(ourFile_));
    rawNotes_ = std::make_unique<SqliteNotes>(rawFile_);
    rawContacts_ = std::make_unique<SqliteContacts>(rawFile_);
    rawAttachments_ = std::make_unique<SqliteAttachments>(rawFile_);
    rawCalendar_ = std::make_unique<SqliteCalendar>(rawFile_);
    rawTasks_ = std::make_unique<SqliteTasks>(rawFile_);
    for (const auto& file : {ourFile_, rawFile_})
        others_.push_back(openRaw(file, "NORMAL"));
}

void SqliteWorld::emptyPageCaches() {
    for (const auto& other : others_)
        executeRaw(other.get(), "Update SchemaVersion Set Version = Version");
}

void SqliteWorld::dropNewNotes(Who who) {
    const std::string sql = fmt::format("Delete From Notes Where NoteId > '{}'", noteId(size().notes - 1));
    if (who == Who::ours) {
        connection().execute(sql);
    } else {
        rawNotes_->execute(sql);
    }
}

void SqliteWorld::dropNewAttachments(Who who) {
    const std::string sql = fmt::format("Delete From Attachments Where AttachmentID > '{}'", RawAttachments::fileId);
    if (who == Who::ours) {
        connection().execute(sql);
    } else {
        rawAttachments_->execute(sql);
    }
}

std::string SqliteWorld::summary(Who who) const {
    const auto database = openRaw(who == Who::ours ? ourFile_ : rawFile_);
    RawStatement sum(database.get(),
                     "Select count(*) || ' notes, ' || sum(length(NoteId || LinkId || LinkType || Title "
                     "|| Note || Creator)) || ' characters, greatest key ' || max(NoteId) || (Select printf('; tasks: "
                     "%.3f', sum(PlnDuration + ActWorkDuration + RemainingWork + PercCompleted)) From Projects) From "
                     "Notes");
    std::string summary;
    sum.step();
    sum.read(0, summary);
    return summary;
}

} // namespace corveth::bench
