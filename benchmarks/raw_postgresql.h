#pragma once

// PostgreSQL by libpq: prepared statements, one round trip each, results in binary form, every column read into a
// variable. Left out is what a program need not have whose statements do not fail: savepoints within a transaction, a
// limit to the waiting for an answer, and a look at what the columns are. A transaction's begin and its end are round
// trips of their own.

#include "raw.h"

#include <cstdint>
#include <libpq-fe.h>
#include <string_view>

namespace corveth::bench {

struct ServerClose {
    void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
    void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using RawResult = std::unique_ptr<PGresult, ServerClose>;

/// A connection that counts how often it asked.
class RawServer {
public:
    explicit RawServer(const char* connectionInfo);

    /// Asks for one thing; throws the server's words.
    RawResult run(const std::string& sql);
    [[nodiscard]] std::string firstCell(const std::string& sql);
    void prepare(const char* name, const char* sql);
    /// A prepared statement with texts.
    RawResult run(const char* name, std::initializer_list<const char*> texts);
    /// The same with parameters in any form.
    RawResult run(const char* name, std::span<const char* const> values, std::span<const int> lengths,
                  std::span<const int> formats);

    [[nodiscard]] std::uint64_t roundTrips() const noexcept { return roundTrips_; }

private:
    RawResult checked(PGresult* result);

    std::unique_ptr<PGconn, ServerClose> connection_;
    std::uint64_t roundTrips_ = 0;
};

class ServerNotes final : public RawNotes {
public:
    explicit ServerNotes(RawServer& server);

    void begin() override { server_.run("begin", {}); }
    void commit() override { server_.run("commit", {}); }
    bool load(const std::string& id, RawNote& note) override;
    [[nodiscard]] std::vector<RawNote> list(const std::string& linkId) override;

private:
    std::string newId() override;
    void insert(const std::string& id, const RawNote& note) override;
    void update(const RawNote& found, const RawNote& note) override;

    RawServer& server_;
};

class ServerContacts final : public RawContacts {
public:
    explicit ServerContacts(RawServer& server);

    void begin() override { server_.run("begin", {}); }
    void commit() override { server_.run("commit", {}); }
    void load(const std::string& id, RawContact& contact) override;
    void save(const RawContact& contact) override;
    std::size_t replacePicture(const std::string& id, std::span<const std::byte> bytes) override;

private:
    std::vector<std::string> personIds() override;
    void loadRow(const std::string& id, RawContact& contact);

    RawServer& server_;
    RawContact found_;
};

class ServerAttachments final : public RawAttachments {
public:
    explicit ServerAttachments(RawServer& server);

    bool load(const std::string& id, RawAttachment& attachment) override;

private:
    std::string newId() override;
    void insert(const std::string& id, const RawAttachment& attachment) override;
    void update(const RawAttachment& attachment) override;

    RawServer& server_;
};

class ServerCalendar final : public RawCalendar {
public:
    explicit ServerCalendar(RawServer& server);

    void read(const std::string& project, RawHours& hours) override;

private:
    RawServer& server_;
};

class ServerTasks final : public RawTasks {
public:
    explicit ServerTasks(RawServer& server);

    void begin() override { server_.run("begin", {}); }
    void commit() override { server_.run("commit", {}); }

private:
    void beginInner() override { server_.run("savepoint", {}); }
    void commitInner() override { server_.run("release", {}); }
    bool load(const std::string& id, RawTask& task) override;
    void update(const RawTask& task) override;
    void clear(const std::string& id) override { server_.run("clear", {id.c_str()}); }
    bool sum(const std::string& id, RawSums& sums) override;
    void write(const std::string& id, double hours, double percentage, const RawSums& sums) override;
    bool above(const std::string& id, std::string& key, std::string& parentId) override;
    bool readWeek(const std::string& projectId, RawHours& hours) override;
    bool readExceptions(const std::string& projectId, RawHours& hours) override;

    RawServer& server_;
};

} // namespace corveth::bench
