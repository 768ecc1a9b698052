#include "cli/commands.h"
#include "cli/holiday_file.h"
#include "cli/record.h"
#include "cli/session.h"
#include "cli/value_text.h"

#include <fmt/format.h>

namespace corveth::cli {

using client::Failure;
using client::LateObject;
using client::Variant;

namespace {

/// The key as its row has it; 3021 where there is none.
std::string storedProject(const Session& session, const std::string& key) {
    constexpr std::uint32_t noRecord = 3021;
    const std::string statement = "Select Id From Projects Where Id=" + textLiteral(key);
    const auto rows = std::get<LateObject>(session.connection().call("Execute", {statement}));
    if (std::get<bool>(rows.get("EOF"))) {
        throw Failure(noRecord, "corveth", fmt::format("there is no project with the key \"{}\"", key));
    }
    const auto fields = std::get<LateObject>(rows.get("Fields"));
    return std::get<std::string>(std::get<LateObject>(fields.get("Item", {std::int32_t{0}})).get("Value"));
}

/// Puts the days into a calendar, in place of those that it has.
class Calendar {
public:
    /// The default one without a project.
    Calendar(const Session& session, const std::string& project)
        : session_(session),
          key_(project.empty() ? "Null" : textLiteral(storedProject(session, project))),
          condition_(project.empty() ? "(ProjectId='' Or ProjectId Is Null)" : "ProjectId=" + key_) {}

    void put(const Holiday& holiday) {
        try {
            if (execute(fmt::format("Delete From Holidays Where excDate={} And {}", holiday.day, condition_)) > 0) {
                ++replaced_;
            }
            execute(fmt::format("Insert Into Holidays (excDate, WorkingHour, ProjectId, Description) "
                                "Values ({}, {}, {}, {})",
                                holiday.day, holiday.hours, key_, textLiteral(holiday.name)));
        } catch (const Failure& failure) {
            throw Failure(failure.number, failure.source,
                          fmt::format("line {}: {}", holiday.line, failure.description()));
        }
    }
    [[nodiscard]] std::size_t replaced() const noexcept { return replaced_; }

private:
    std::int32_t execute(const std::string& statement) const {
        client::Arguments arguments{statement, std::int32_t{0}, std::int32_t{-1}};
        session_.connection().callByRef("Execute", arguments);
        return std::get<std::int32_t>(arguments[1]);
    }

    const Session& session_;
    std::string key_, condition_;
    std::size_t replaced_ = 0;
};

} // namespace

std::string loadHolidays(const Request& request) {
    InputFile file(request.file);
    const HolidayList list = readHolidays(file);
    Library library;
    const Session session(library, request.database);
    Transaction transaction(session);
    Calendar calendar(session, request.key);
    for (const auto& [day, holiday] : list.days)
        calendar.put(holiday);
    transaction.commit();

    if (request.asJson) {
        const Json counts{
            {"loaded", list.days.size()}, {"replaced", calendar.replaced()}, {"passedOver", list.passedOver}};
        return counts.dump(1) + "\n";
    }
    return fmt::format("{} {} loaded, {} replaced, {} passed over\n", list.days.size(),
                       list.days.size() == 1 ? "day" : "days", calendar.replaced(), list.passedOver);
}

} // namespace corveth::cli
