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

/// What two queries for a calendar give.
struct RawHours {
    struct Exception {
        double day = 0, hours = 0;
        std::string project, name;
    };
    std::string id, project;
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

    /// The row of the week, then those of the exceptions, with all of their columns.
    virtual void read(const std::string& project, RawHours& hours) = 0;
};

/// A row of the projects, by column; numbers stand apart.
struct RawTask {
    static constexpr int columnCount = 29, firstNumber = 6, lastNumber = 23;
    static constexpr std::size_t id = 0, parentId = 1, projectId = 2, plannedWork = 13, remainingWork = 15,
                                 actualWorked = 17, percentage = 18;

    static constexpr bool isNumber(int column) { return column >= firstNumber && column <= lastNumber; }

    std::array<std::string, columnCount> texts;
    std::array<double, columnCount> numbers{}; ///< 0 for Null
};

/// Of a column that may be Null.
struct RawNumber {
    double value = 0;
    bool isNull = false;
};

/// What the rows below one come to, as the query has it.
struct RawSums {
    static constexpr int columnCount = 15; ///< the first is the row's key
    static constexpr std::size_t earliestStart = 2, plannedStart = 3, plannedFinish = 4, plannedWork = 5, users = 6,
                                 actualDuration = 7, remainingWork = 9, actualWorked = 10, overrun = 11,
                                 actualStart = 12, actualFinish = 13, finished = 14;

    std::string id;
    std::array<RawNumber, columnCount> numbers;
};

class RawTasks {
public:
    // What is there from the beginning: a project with groups of groups of tasks, and no calendar of its own.
    static constexpr int groups = 10, subgroups = 100, tasks = 1000;
    /// The statement that makes all rows.
    static std::string rows();
    static std::string taskId(int number); ///< from 0

    virtual ~RawTasks() = default;

    virtual void begin() = 0;
    virtual void commit() = 0;
    /// Writes how much of a task is done, then sums up the rows above it in a transaction, one within what is open.
    void save(const std::string& id, double done, bool isInTransaction);

protected:
    // `id` is how the engine writes a parameter.
    static std::string clearStatement(const char* id);
    static std::string sumStatement(const char* id);
    /// In the order in which a row is written: duration, work, days, and so on to whether it is finished.
    static std::array<RawNumber, 14> written(double hours, double percentage, const RawSums& sums);

private:
    void rollUp(std::string id, const std::string& projectId);
    [[nodiscard]] double hoursOf(const RawSums& sums, const std::string& projectId);

    virtual void beginInner() = 0;
    virtual void commitInner() = 0;
    virtual bool load(const std::string& id, RawTask& task) = 0;
    virtual void update(const RawTask& task) = 0;
    virtual void clear(const std::string& id) = 0;
    virtual bool sum(const std::string& id, RawSums& sums) = 0;
    /// `hours` and `percentage` besides the sums.
    virtual void write(const std::string& id, double hours, double percentage, const RawSums& sums) = 0;
    /// The row's key and its parent's; false without the row.
    virtual bool above(const std::string& id, std::string& key, std::string& parentId) = 0;
    // With an empty key those of no project. False without a row.
    virtual bool readWeek(const std::string& projectId, RawHours& hours) = 0;
    virtual bool readExceptions(const std::string& projectId, RawHours& hours) = 0;

    RawTask found_;
    RawSums sums_;
    RawHours hours_;
    std::string key_, parentId_;
};

/// The number of today's day.
double today();

} // namespace corveth::bench
