#include "platform/automation/number_text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace corveth {

namespace {

/// Beyond every exponent that matters, and far enough from overflow to be added to.
constexpr std::int64_t hugeExponent = 1'000'000'000'000;

constexpr bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

/// Groups of three digits after the first comma, one to three before it.
bool groupsAreThousands(TextView whole) noexcept {
    std::size_t comma = whole.find(',');
    if (comma == TextView::npos) return true;
    if (comma == 0 || comma > 3) return false;
    while (comma != TextView::npos) {
        whole.remove_prefix(comma + 1);
        comma = whole.find(',');
        if (std::min(comma, whole.size()) != 3) return false;
    }
    return true;
}

std::optional<std::int64_t> readExponent(TextView text) noexcept {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit)) return std::nullopt;
    std::int64_t value = 0;
    for (const char c : text)
        value = std::min(value * 10 + (c - '0'), hugeExponent);
    return negative ? -value : value;
}

} // namespace

void Decimal::addDigit(char digit, bool afterPoint) noexcept {
    if (afterPoint) --exponent_;
    if (length_ == 0 && digit == '0') return;
    if (length_ < maxDigits) {
        digits_[length_++] = digit;
        return;
    }
    more_ = more_ || digit != '0';
    ++exponent_;
}

bool Decimal::addDigits(TextView text, bool thousands) noexcept {
    const std::size_t point = text.find('.');
    if (thousands && !groupsAreThousands(text.substr(0, point))) return false;
    bool any = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == point || (thousands && i < point && text[i] == ',')) continue;
        if (!isDigit(text[i])) return false;
        any = true;
        addDigit(text[i], i > point);
    }
    return any;
}

std::optional<Decimal> Decimal::readUnsigned(TextView text, bool exponent, bool thousands) noexcept {
    Decimal result;
    if (const std::size_t mark = text.find_first_of("eEdD"); exponent && mark != TextView::npos) {
        const auto power = readExponent(text.substr(mark + 1));
        if (!power) return std::nullopt;
        result.exponent_ = *power;
        text = text.substr(0, mark);
    }
    if (!result.addDigits(text, thousands)) return std::nullopt;
    return result;
}

std::optional<Decimal> Decimal::readPlain(TextView text) noexcept {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    auto result = readUnsigned(text, false, false);
    if (result) result->negative_ = negative;
    return result;
}

std::optional<Decimal> Decimal::readScientific(TextView text) noexcept {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    auto result = readUnsigned(text, true, false);
    if (result) result->negative_ = negative;
    return result;
}

// The digits of &H and &O stand for a number without a sign, whatever the type that it is read into.
std::optional<Decimal> Decimal::readRadix(TextView digits, unsigned bitsPerDigit) noexcept {
    std::uint64_t value = 0;
    const char* const begin = digits.data();
    const char* const end = begin + digits.size();
    const auto [stop, error] = std::from_chars(begin, end, value, 1 << bitsPerDigit);
    if (digits.empty() || stop != end) return std::nullopt;
    Decimal result;
    if (error != std::errc{}) {
        result.addDigit('1', false);
        result.exponent_ = hugeExponent;
        return result;
    }
    std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> decimal{};
    const auto written = std::to_chars(decimal.data(), decimal.data() + decimal.size(), value);
    std::for_each(decimal.data(), written.ptr, [&result](char digit) { result.addDigit(digit, false); });
    return result;
}

std::optional<Decimal> Decimal::read(TextView text) noexcept {
    text = trimBlanks(text);
    if (text.size() > 1 && text[0] == '&') {
        const char radix = text[1];
        if (radix == 'H' || radix == 'h') return readRadix(text.substr(2), 4);
        if (radix == 'O' || radix == 'o') return readRadix(text.substr(2), 3);
        return std::nullopt;
    }

    bool negative = false;
    if (text.starts_with('(')) {
        if (!text.ends_with(')') || text.size() < 2) return std::nullopt;
        text = trimBlanks(text.substr(1, text.size() - 2));
        negative = true;
    }
    bool sign = negative; // parentheses are a sign, a second one is refused
    bool currency = false;
    while (!text.empty()) {
        const char c = text.front();
        if ((c == '-' || c == '+') && !sign) {
            sign = true;
            negative = c == '-';
        } else if (c == '$' && !currency) {
            currency = true;
        } else {
            break;
        }
        text.remove_prefix(1);
        text = trimBlanks(text);
    }
    auto result = readUnsigned(text, true, true);
    if (result) result->negative_ = negative;
    return result;
}

template <class Float>
Float Decimal::nearest() const noexcept {
    const Float sign = negative_ ? Float{-1} : Float{1};
    if (length_ == 0) return 0;
    // Digits, one more that stands for all that were left out, an exponent.
    std::array<char, maxDigits + 32> written{};
    char* end = std::copy_n(digits_.begin(), length_, written.begin());
    std::int64_t exponent = exponent_;
    if (more_) {
        *end++ = '1';
        --exponent;
    }
    *end++ = 'e';
    exponent = std::clamp<std::int64_t>(exponent, -999'999, 999'999);
    end = std::to_chars(end, written.data() + written.size(), exponent).ptr;

    Float value = 0;
    const auto read = std::from_chars(written.data(), end, value);
    if (read.ec == std::errc{}) return sign * value;
    const bool large = exponent + static_cast<std::int64_t>(length_) > 0;
    return large ? sign * std::numeric_limits<Float>::infinity() : Float{0};
}

double Decimal::toDouble() const noexcept {
    return nearest<double>();
}

float Decimal::toSingle() const noexcept {
    return nearest<float>();
}

std::optional<std::int64_t> Decimal::toScaled(int decimals) const noexcept {
    if (length_ == 0) return 0;
    // `kept` digits stand before the point of the scaled number.
    const std::int64_t kept = static_cast<std::int64_t>(length_) + exponent_ + decimals;
    if (kept < 0) return 0;
    if (kept > std::numeric_limits<std::int64_t>::digits10 + 1) return std::nullopt;

    constexpr auto limit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const auto whole = static_cast<std::size_t>(kept);
    std::uint64_t value = 0; // nineteen digits fit
    for (std::size_t i = 0; i < whole; ++i) {
        value = value * 10 + static_cast<std::uint64_t>(i < length_ ? digits_[i] - '0' : 0);
    }
    if (whole < length_) {
        const bool beyondHalf = more_ || std::any_of(digits_.begin() + static_cast<std::ptrdiff_t>(whole) + 1,
                                                     digits_.begin() + static_cast<std::ptrdiff_t>(length_),
                                                     [](char c) { return c != '0'; });
        const char next = digits_[whole];
        if (next > '5' || (next == '5' && (beyondHalf || value % 2 == 1))) ++value;
    }
    if (value > limit) return std::nullopt;
    const auto result = static_cast<std::int64_t>(value);
    return negative_ ? -result : result;
}

} // namespace corveth
