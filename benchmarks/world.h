#pragma once

#include "platform/data/connection.h"
#include "raw.h"
#include "session/crm.h"

#include <cstdint>
#include <memory>
#include <string>

namespace corveth::bench {

struct Size {
    int notes = 100'000;
    int contacts = 1'000;
};

constexpr int personsOfCompany = 10;

/// The two sides: by the classes, and by the engine's own interface.
enum class Who { ours, raw };

/// Two databases that begin alike, one for each side, and what both sides reach them through. The classes of this
/// thread use the one that was made last.
class World {
public:
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    virtual ~World() = default;

    [[nodiscard]] const Size& size() const noexcept { return size_; }
    [[nodiscard]] Connection& connection() const noexcept { return *connection_; }
    [[nodiscard]] virtual RawNotes& rawNotes() noexcept = 0;
    [[nodiscard]] virtual RawContacts& rawContacts() noexcept = 0;
    [[nodiscard]] virtual RawAttachments& rawAttachments() noexcept = 0;
    [[nodiscard]] virtual RawCalendar& rawCalendar() noexcept = 0;
    [[nodiscard]] virtual RawTasks& rawTasks() noexcept = 0;

    [[nodiscard]] static std::string noteId(int number); ///< from 0
    [[nodiscard]] static std::string contactId(int number);
    [[nodiscard]] static std::string companyId(int number);
    [[nodiscard]] static std::string linkId(int number) { return contactId(number); }
    /// A company without members, which only this names.
    static constexpr const char* pictureId = "CM00000000";
    [[nodiscard]] int linkCount() const noexcept;
    [[nodiscard]] int companyCount() const noexcept;

    /// Makes the connections that are measured give up the pages they keep, where they keep any.
    virtual void emptyPageCaches() {}
    /// Deletes the notes that were added since the beginning.
    virtual void dropNewNotes(Who who) = 0;
    /// The same of files.
    virtual void dropNewAttachments(Who who) = 0;
    /// How often the server was asked and waited for; 0 without a server.
    [[nodiscard]] virtual std::uint64_t roundTrips(Who /*who*/) const { return 0; }

    /// Throws when the two databases do not hold the same any more.
    void check() const;

protected:
    explicit World(const Size& size) : size_(size) {}
    void connect(const std::string& connectionString);
    [[nodiscard]] virtual std::string summary(Who who) const = 0;

private:
    Size size_;
    Ref<Connection> connection_;
    Ref<CRM> crm_;
};

} // namespace corveth::bench
