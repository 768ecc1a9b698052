#include "cli/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace corveth::cli {

namespace {

constexpr std::chrono::milliseconds pace{100};
constexpr std::size_t widest = 80;

std::size_t terminalWidth() noexcept {
    winsize size{};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? std::min<std::size_t>(size.ws_col, widest) : widest;
}

void put(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

} // namespace

Progress::Progress(std::string what, std::string unit, bool isWanted)
    : what_(std::move(what)), unit_(std::move(unit)), isShown_(isWanted && ::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (isShown_) put("\r\x1b[K");
}

void Progress::show(std::uint64_t done, std::uint64_t total, std::uint64_t count) {
    if (!isShown_ || Clock::now() < next_) return;
    next_ = Clock::now() + pace;
    // The last cell stays free: some terminals begin a new line behind it.
    const std::string line =
        progressLine(what_, done, total, fmt::format("{} {}", groupedNumber(count), unit_), terminalWidth() - 1);
    put("\r" + line + "\x1b[K");
}

std::string progressLine(const std::string& what, std::uint64_t done, std::uint64_t total, const std::string& count,
                         std::size_t width) {
    if (total == 0) return fmt::format("{}  {}", what, count).substr(0, width);
    const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const std::string numbers = fmt::format("{:3} %  {}", static_cast<int>(share * 100), count);
    constexpr std::size_t around = 6; // brackets, and two blanks on either side
    const std::size_t taken = what.size() + numbers.size() + around;
    constexpr std::size_t shortest = 5;
    if (width < taken + shortest) return fmt::format("{}  {}", what, numbers).substr(0, width);
    const std::size_t length = width - taken;
    const auto full = static_cast<std::size_t>(share * static_cast<double>(length));
    return fmt::format("{}  [{:#<{}}{:{}}]  {}", what, "", full, "", length - full, numbers);
}

std::string groupedNumber(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3;) {
        at -= 3;
        text.insert(at, 1, ',');
    }
    return text;
}

std::string bytesText(std::uint64_t count) {
    return fmt::format("{} {}", groupedNumber(count), count == 1 ? "byte" : "bytes");
}

} // namespace corveth::cli
