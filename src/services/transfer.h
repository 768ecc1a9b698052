#pragma once

#include "platform/automation/describe.h"

namespace corveth {

class RowDump;
class RowLoad;

/// Moves the rows of a database as lines of text, for clients that write them to a file or read them from one. One dump
/// or load at a time; what fails ends it and undoes what was loaded, and so does the last release. Errors carry the
/// source "Corveth.Transfer" or the engine's: 3704 when nothing is open, 3705 when something is.
class CORVETH_API Transfer final : public Described<Transfer> {
public:
    static constexpr const char* className = "Transfer";
    static const ClassInfo description;

    Transfer();
    ~Transfer() override;

    /// All that `ReadLines` gives is how the database stands now, whatever is written meanwhile.
    void OpenDump(const Text& ConnectionString);
    /// The next lines, each with its line break, about a megabyte at most unless one row is more; empty at the end.
    [[nodiscard]] Text ReadLines();
    /// One transaction, until `Finish`.
    void OpenLoad(const Text& ConnectionString);
    /// The next lines of a dump, whole ones. An error names the line.
    void AddLines(const Text& Lines);
    /// Ends a dump, or commits a load; 5 when the load's closing line has not come.
    void Finish();
    /// Ends a dump, or undoes a load; nothing when there is none.
    void Cancel();
    /// How many rows the dump has in all; they are counted, which takes a while.
    [[nodiscard]] std::int32_t CountRows() const;
    /// How many of the open dump or load were read or taken, or of the last one that ended well.
    [[nodiscard]] std::int32_t get_RowsDone() const;

private:
    struct Table;

    void requireClosed() const;
    template <class Action>
    decltype(auto) orClose(const Action& action);

    std::unique_ptr<RowDump> dump_;
    std::unique_ptr<RowLoad> load_;
    std::int64_t rowsDone_ = 0;
};

} // namespace corveth
