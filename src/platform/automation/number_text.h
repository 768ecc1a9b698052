#pragma once

#include "platform/automation/text.h"

#include <array>
#include <cstdint>
#include <optional>

namespace corveth {

/// The number that a text stands for, exactly: its significant digits and where the point is. One reader for all
/// numeric types, so that a Single and a Currency are not rounded twice.
class Decimal {
public:
    /// Sign, digits and a point only.
    [[nodiscard]] static std::optional<Decimal> readPlain(TextView text) noexcept;
    /// The same with an optional exponent.
    [[nodiscard]] static std::optional<Decimal> readScientific(TextView text) noexcept;
    /// Everything that number text may be (see `parseNumber`).
    [[nodiscard]] static std::optional<Decimal> read(TextView text) noexcept;

    /// The nearest value; infinity when out of range, 0 when too small.
    [[nodiscard]] double toDouble() const noexcept;
    [[nodiscard]] float toSingle() const noexcept;
    /// In units of 10^-`decimals`, half to even; empty outside +-(2^63 - 1).
    [[nodiscard]] std::optional<std::int64_t> toScaled(int decimals) const noexcept;

private:
    /// No double and no float needs more digits to be told from its neighbours.
    static constexpr std::size_t maxDigits = 800;

    void addDigit(char digit, bool afterPoint) noexcept;
    bool addDigits(TextView text, bool thousands) noexcept;
    static std::optional<Decimal> readRadix(TextView digits, unsigned bitsPerDigit) noexcept;
    static std::optional<Decimal> readUnsigned(TextView text, bool exponent, bool thousands) noexcept;
    template <class Float>
    [[nodiscard]] Float nearest() const noexcept;

    bool negative_ = false;
    bool more_ = false;         ///< a digit other than 0 was left out at the end
    std::size_t length_ = 0;    ///< of `digits_`; none stands for 0
    std::int64_t exponent_ = 0; ///< of the last digit
    std::array<char, maxDigits> digits_{};
};

} // namespace corveth
