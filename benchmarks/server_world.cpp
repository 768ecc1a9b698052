#include "server_world.h"

#include "platform/data/channel.h"
#include "services/schema.h"

#include <cstdio>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace corveth::bench {

namespace {

/// The pieces of one of libpq's connection strings, as one of ours says them.
struct Word {
    std::string_view engineWord;
    const char* word;
};
constexpr std::array words = std::to_array<Word>(
    {{"host", "Host"}, {"port", "Port"}, {"user", "User ID"}, {"password", "Password"}, {"sslmode", "SSL Mode"}});

std::string inQuotes(std::string_view value) {
    std::string quoted = "\"";
    for (const char c : value)
        quoted += c == '"' ? std::string(2, c) : std::string(1, c);
    return quoted + '"';
}

/// Calls `take` with each keyword that `server` gives a value.
template <class Take>
void forEachPiece(const std::string& server, Take&& take) {
    char* complaint = nullptr;
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> pieces(
        PQconninfoParse(server.c_str(), &complaint), &PQconninfoFree);
    const std::unique_ptr<char, decltype(&PQfreemem)> words(complaint, &PQfreemem);
    if (pieces == nullptr) throw std::runtime_error(fmt::format("\"{}\": {}", server, words ? words.get() : ""));
    for (const auto* piece = pieces.get(); piece->keyword != nullptr; ++piece) {
        if (piece->val != nullptr) take(std::string_view(piece->keyword), std::string_view(piece->val));
    }
}

} // namespace

ServerWorld::Database::Database(const std::string& server, const char* who, const std::string* model)
    : server_(server), name_(fmt::format("corveth_bench_{}_{}", who, ::getpid())) {
    if (model == nullptr) {
        createDatabase(ourConnectionString());
    } else {
        RawServer(server.c_str()).run(fmt::format("create database {} template {}", name_, *model));
    }
}

ServerWorld::Database::~Database() {
    try {
        keeper_.reset();
        RawServer(server_.c_str()).run(fmt::format("drop database {} with (force)", name_));
    } catch (const std::exception& failure) {
        fmt::print(stderr, "{}\n", failure.what());
    }
}

std::string ServerWorld::Database::ourConnectionString() const {
    std::string text = "Provider=PostgreSQL;Database=" + name_;
    forEachPiece(server_, [&](std::string_view keyword, std::string_view value) {
        for (const auto& [engineWord, word] : words) {
            if (keyword == engineWord) text += fmt::format(";{}={}", word, inQuotes(value));
        }
    });
    return text;
}

std::string ServerWorld::Database::rawConnectionString() const {
    std::string text = "dbname=" + name_;
    forEachPiece(server_, [&](std::string_view keyword, std::string_view value) {
        if (keyword == "dbname") return;
        std::string escaped;
        for (const char c : value) {
            if (c == '\'' || c == '\\') escaped += '\\';
            escaped += c;
        }
        text += fmt::format(" {}='{}'", keyword, escaped);
    });
    return text;
}

RawServer& ServerWorld::Database::keeper() {
    if (keeper_ == nullptr) keeper_ = std::make_unique<RawServer>(rawConnectionString().c_str());
    return *keeper_;
}

ServerWorld::ServerWorld(const std::string& server, bool isOurs, const Size& size) : World(size) {
    ours_ = std::make_unique<Database>(server, "ours", nullptr);
    fill();
    ours_->disconnect();
    raw_ = std::make_unique<Database>(server, "raw", &ours_->name());
    for (const Who who : {Who::ours, Who::raw})
        database(who).keeper().run("vacuum analyze");
    RawServer& keeper = ours_->keeper();
    if (isOurs) {
        for (const char* statement : {"alter system set fsync = on", "alter system set full_page_writes = on",
                                      "checkpoint", "select pg_reload_conf()"})
            keeper.run(statement);
        // Nothing of what was written before is left to be waited for.
        ::sync();
        while (keeper.firstCell("show fsync") != "on")
            ::usleep(10'000);
    }
    description_ =
        fmt::format("PostgreSQL {}, fsync {}, synchronous_commit {}", keeper.firstCell("show server_version"),
                    keeper.firstCell("show fsync"), keeper.firstCell("show synchronous_commit"));

    connect(ours_->ourConnectionString());
    rawServer_ = std::make_unique<RawServer>(raw_->rawConnectionString().c_str());
    rawNotes_ = std::make_unique<ServerNotes>(*rawServer_);
    rawContacts_ = std::make_unique<ServerContacts>(*rawServer_);
    rawAttachments_ = std::make_unique<ServerAttachments>(*rawServer_);
    rawCalendar_ = std::make_unique<ServerCalendar>(*rawServer_);
    rawTasks_ = std::make_unique<ServerTasks>(*rawServer_);
}

ServerWorld::~ServerWorld() {
    connection().Close();
}

void ServerWorld::fill() {
    RawServer& server = ours_->keeper();
    // The notes of one link lie scattered, as they do when they are written one day after another.
    server.run(fmt::format(
        "insert into notes select 'NT' || lpad((i + 1)::text, 8, '0'), 'CN' || lpad((i % {} + 1)::text, 8, '0'), "
        "'Contact', 'Call back about order ' || i, 'Wants a quote by Friday, spoke with the purchasing department, "
        "number ' || i || ' of the running list; next step is to send the price list.', '', 45000 "
        "from generate_series(0, {}) i",
        linkCount(), size().notes - 1));
    server.run("select corveth.make_counter('Notes', 'NT')");
    server.run(fmt::format("select setval('corveth.counter_notes_nt', {})", size().notes));
    const auto addContacts = [&](const char* code, int count, const std::string& company, int type) {
        server.run(fmt::format(
            "insert into contactmaster select '{0}' || lpad((i + 1)::text, 8, '0'), {1}, 'Ms', 'Astrid ' || i, "
            "'Marie', "
            "'Nygård ' || i, 'Ms Astrid ' || i || ' Marie Nygård ' || i, {2}, 'Buyer', 'Engineer', 'Purchasing', "
            "'Customer', 1, 30000, 'Met at the fair', 'Nobody', null from generate_series(0, {3}) i",
            code, company, type, count - 1));
    };
    addContacts("CM", companyCount(), "''", 0);
    addContacts("CN", size().contacts, fmt::format("'CM' || lpad((i % {} + 1)::text, 8, '0')", companyCount()), 2);
    server.run(fmt::format("insert into contactmaster (contactid, contacttype) values ('{}', 0)", pictureId));
    server.run("insert into contactdetails select contactid, '22 11 00 11', '99 88 77 66', '22 11 00 12', '12', "
               "'22 11 00 13', 'www.example.com', 'astrid', 'Storgata 12', 'Third floor', 'Norway', 'Oslo', 'Oslo', "
               "'0155', 'Storgata 12, Oslo', 'home@example.com', 'Havnegata 3', 'Gate B', 'Norway', 'Vestland', "
               "'Bergen', '5003', 'Havnegata 3, Bergen', 'office@example.com' from contactmaster");
    constexpr std::size_t piece = 32;
    server.run(fmt::format("insert into attachments select '{}', 'report.pdf', 'PDF document', {}, {}, 'BG00000001', "
                           "'Bug', string_agg(sha256(i::text::bytea), '') from generate_series(1, {}) i",
                           RawAttachments::fileId, RawAttachments::fileSize, RawAttachments::date,
                           RawAttachments::fileSize / piece));
    server.run("select corveth.make_counter('Attachments', 'AT')");
    server.run("select setval('corveth.counter_attachments_at', 1)");
    server.run(RawTasks::rows());
    server.run(
        fmt::format("insert into workinghours values ('WH00000002', 0, 8, 8, 8, 8, 8, 0, '{}')", RawCalendar::project));
    server.run(fmt::format("insert into holidays select {} + i * {}, 0, '{}', 'Bank holiday' "
                           "from generate_series(0, {}) i",
                           RawCalendar::firstDay, RawCalendar::daysBetween, RawCalendar::project,
                           RawCalendar::exceptions - 1));
}

/// Swept at once: what a turn left would be in the way of the next one's look at the greatest key.
void ServerWorld::dropNewNotes(Who who) {
    RawServer& keeper = database(who).keeper();
    keeper.run(fmt::format("delete from notes where noteid > '{}'", noteId(size().notes - 1)));
    keeper.run("vacuum notes");
}

void ServerWorld::dropNewAttachments(Who who) {
    RawServer& keeper = database(who).keeper();
    keeper.run(fmt::format("delete from attachments where attachmentid > '{}'", RawAttachments::fileId));
    keeper.run("vacuum attachments");
}

std::uint64_t ServerWorld::roundTrips(Who who) const {
    return who == Who::ours ? connection().channel().session().roundTrips() : rawServer_->roundTrips();
}

std::string ServerWorld::summary(Who who) const {
    return database(who).keeper().firstCell(
        "select format('%s notes of %s characters, greatest key %s; contacts: %s; tasks: %s', count(*), "
        "sum(length(noteid || linkid || linktype || title || note || creator)), max(noteid::text), "
        "(select sum(length(contactname || lastname)) || md5(string_agg(coalesce(pic, ''), '' order by contactid)) "
        "from contactmaster), (select round(sum(plnduration + actworkduration + remainingwork + "
        "perccompleted)::numeric, 3) from projects)) from notes");
}

} // namespace corveth::bench
