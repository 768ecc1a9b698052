#pragma once

// The other side: what somebody keeps in plain structures who uses an engine's own interface.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace corveth::bench {

struct RawNote {
    std::string id, linkId, linkType, title, note, creator;
    double creation = 0;

    [[nodiscard]] std::size_t bytes() const { return title.size() + note.size() + linkId.size(); }
};

class RawNotes {
public:
    virtual ~RawNotes() = default;

    virtual void begin() = 0;
    virtual void commit() = 0;
    virtual bool load(const std::string& id, RawNote& note) = 0;
    /// Looks for the row of the ID; changes what differs, or inserts a row with a new ID.
    void save(const RawNote& note);
    [[nodiscard]] virtual std::vector<RawNote> list(const std::string& linkId) = 0;

private:
    virtual std::string newId() = 0;
    virtual void insert(const std::string& id, const RawNote& note) = 0;
    virtual void update(const RawNote& found, const RawNote& note) = 0;

    RawNote found_;
};

/// A row of the contacts and the company it belongs to.
struct RawContact {
    static constexpr int columnCount = 41;
    static constexpr std::size_t contactId = 0, companyId = 1, title = 2, firstName = 3, middleName = 4, lastName = 5,
                                 name = 6, contactType = 7, showInTaskList = 12, phone = 18;

    std::array<std::string, columnCount> texts; ///< by column; numbers stand apart
    int type = 0;
    int isInTaskList = 0;
    bool isUsed = false;
    std::unique_ptr<RawContact> company;

    [[nodiscard]] std::string wholeName() const;
};

class RawContacts {
public:
    virtual ~RawContacts() = default;

    virtual void begin() = 0;
    virtual void commit() = 0;
    /// The contact, its company, and whether anybody belongs to it.
    virtual void load(const std::string& id, RawContact& contact) = 0;
    /// Looks for the row and changes the name.
    virtual void save(const RawContact& contact) = 0;
    /// Reads the picture and puts another in its place; how large it was.
    virtual std::size_t replacePicture(const std::string& id, std::span<const std::byte> bytes) = 0;
    /// All persons, keyed by nothing but their place.
    [[nodiscard]] std::vector<std::unique_ptr<RawContact>> persons();

private:
    virtual std::vector<std::string> personIds() = 0;
};

struct RawAttachment {
    std::string id, title, type, linkId, linkType;
    std::int32_t size = 0;
    double date = 0;
    std::vector<std::byte> data;
};

class RawAttachments {
public:
    /// A file of this size is there from the beginning.
    static constexpr std::size_t fileSize = 5 * 1024 * 1024;
    static constexpr const char* fileId = "AT00000001";
    static constexpr double date = 46024.127835648148; ///< 2026-01-02 03:04:05

    virtual ~RawAttachments() = default;

    virtual bool load(const std::string& id, RawAttachment& attachment) = 0;
    /// With an ID looks for its row and changes the data; else inserts a row with a new ID.
    void save(const RawAttachment& attachment);

private:
    virtual std::string newId() = 0;
    virtual void insert(const std::string& id, const RawAttachment& attachment) = 0;
    virtual void update(const RawAttachment& attachment) = 0;
};

/// What a calendar is counted with.
struct RawHours {
    struct Exception {
        double day, hours;
    };
    std::array<double, 7> week{};
    std::vector<Exception> exceptions;
};

class RawCalendar {
public:
    // What is there from the beginning: a project's own week, and days off over ten years.
    static constexpr const char* project = "PT00000001";
    static constexpr double firstDay = 45292; ///< 2024-01-01
    static constexpr int exceptions = 100, daysBetween = 36;

    virtual ~RawCalendar() = default;

    /// The row of the week, then those of the exceptions; of each only what is counted with.
    virtual void read(const std::string& project, RawHours& hours) = 0;
};

/// The number of today's day.
double today();

} // namespace corveth::bench
