#pragma once

#include "platform/automation/text.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace corveth::fuzz {

/// Ends the process with `what` and `detail` unless `holds`: the fuzzer keeps the input.
void require(bool holds, const char* what, TextView detail = {});

/// Input as text, in a block of its own size, so that a step past its end is seen.
[[nodiscard]] Text textOf(const std::uint8_t* data, std::size_t size);

/// A folder of the process, gone with it.
const std::filesystem::path& temporaryFolder();

/// A database with all of the system's tables and a few rows, made once; its path.
const Text& exampleDatabase();

/// Takes an input apart, from its beginning. Past the end it yields zeros.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) noexcept : rest_(data, size) {}

    [[nodiscard]] bool atEnd() const noexcept { return rest_.empty(); }
    [[nodiscard]] std::uint8_t byte() noexcept;
    /// Below `count`, which is above 0.
    [[nodiscard]] std::size_t below(std::size_t count) noexcept { return byte() % count; }
    /// The next `size` bytes, as far as there are some.
    [[nodiscard]] std::span<const std::uint8_t> take(std::size_t size) noexcept;
    /// The bits of the next bytes as a plain number.
    template <class Number>
    [[nodiscard]] Number number() noexcept {
        Number value{};
        auto* out = reinterpret_cast<std::uint8_t*>(&value);
        for (std::size_t i = 0; i < sizeof value; ++i)
            out[i] = byte();
        return value;
    }

private:
    std::span<const std::uint8_t> rest_;
};

} // namespace corveth::fuzz
