#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace corveth::cli {

/// A line on standard error that tells how far a long command is, for as long as the object lives. Nothing where
/// standard error is no terminal.
class Progress {
public:
    /// `what` is done to `unit`: "dump", "rows".
    Progress(std::string what, std::string unit, bool isWanted = true);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    [[nodiscard]] bool isShown() const noexcept { return isShown_; }
    /// `done` of `total` parts (0 when nobody knows) are through, which made `count` units.
    void show(std::uint64_t done, std::uint64_t total, std::uint64_t count);

private:
    using Clock = std::chrono::steady_clock;

    std::string what_, unit_;
    bool isShown_;
    Clock::time_point next_ = Clock::now();
};

/// `[#####     ]  50 %  1,234 rows` after `what`, at most `width` cells wide; without the bar when there is no total.
std::string progressLine(const std::string& what, std::uint64_t done, std::uint64_t total, const std::string& count,
                         std::size_t width);

/// With commas between thousands.
std::string groupedNumber(std::uint64_t number);
/// `1,234 bytes`.
std::string bytesText(std::uint64_t count);

} // namespace corveth::cli
