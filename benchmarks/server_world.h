#pragma once

#include "raw_postgresql.h"
#include "world.h"

namespace corveth::bench {

/// Two databases of a PostgreSQL server, which go with the object.
class ServerWorld final : public World {
public:
    /// `server` is a connection string of libpq's; its database is only the one to make others from. One that is
    /// `ours` to set comes to wait for the disk, as those of users do, when the databases are made.
    ServerWorld(const std::string& server, bool isOurs, const Size& size);
    ServerWorld(const ServerWorld&) = delete;
    ServerWorld& operator=(const ServerWorld&) = delete;
    ~ServerWorld() override;

    [[nodiscard]] RawNotes& rawNotes() noexcept override { return *rawNotes_; }
    [[nodiscard]] RawContacts& rawContacts() noexcept override { return *rawContacts_; }
    [[nodiscard]] RawAttachments& rawAttachments() noexcept override { return *rawAttachments_; }
    [[nodiscard]] RawCalendar& rawCalendar() noexcept override { return *rawCalendar_; }
    [[nodiscard]] RawTasks& rawTasks() noexcept override { return *rawTasks_; }
    void dropNewNotes(Who who) override;
    void dropNewAttachments(Who who) override;
    [[nodiscard]] std::uint64_t roundTrips(Who who) const override;
    /// The server's version and what a commit waits for.
    [[nodiscard]] const std::string& description() const noexcept { return description_; }

private:
    /// A database, and the connection by which it is kept in order.
    class Database {
    public:
        Database(const std::string& server, const char* who, const std::string* model);
        Database(const Database&) = delete;
        Database& operator=(const Database&) = delete;
        ~Database();

        [[nodiscard]] const std::string& name() const noexcept { return name_; }
        [[nodiscard]] std::string ourConnectionString() const;
        [[nodiscard]] std::string rawConnectionString() const;
        [[nodiscard]] RawServer& keeper();
        void disconnect() { keeper_.reset(); }

    private:
        std::string server_, name_;
        std::unique_ptr<RawServer> keeper_;
    };

    void fill();
    [[nodiscard]] std::string summary(Who who) const override;
    [[nodiscard]] Database& database(Who who) const { return who == Who::ours ? *ours_ : *raw_; }

    std::unique_ptr<Database> ours_, raw_;
    std::string description_;
    std::unique_ptr<RawServer> rawServer_;
    std::unique_ptr<ServerNotes> rawNotes_;
    std::unique_ptr<ServerContacts> rawContacts_;
    std::unique_ptr<ServerAttachments> rawAttachments_;
    std::unique_ptr<ServerCalendar> rawCalendar_;
    std::unique_ptr<ServerTasks> rawTasks_;
};

} // namespace corveth::bench
