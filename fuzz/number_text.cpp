// Number text, and numbers as text: every reader of the same digits agrees with the C library and with the others.

#include "support.h"

#include "platform/automation/convert.h"
#include "platform/automation/error.h"
#include "platform/automation/number_text.h"

#include <cmath>
#include <cstdlib>
#include <limits>

using namespace corveth;
using fuzz::require;

namespace {

/// Plain or scientific and nothing else, which the C library reads too.
bool isCommonForm(TextView text) {
    return text.find_first_not_of("0123456789.eE+-") == TextView::npos;
}

void checkConversions(const Text& text, double number) {
    const Value value(text);
    require(isNumeric(value) == std::isfinite(number), "numeric is what is in range", text);
    try {
        require(toDouble(value) == number, "a text's double is the number", text);
        const float single = toSingle(value);
        // The neighbours of the nearest one are farther away.
        const double distance = std::fabs(number - static_cast<double>(single));
        for (const float direction :
             {-std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity()}) {
            const auto neighbour = static_cast<double>(std::nextafter(single, direction));
            require(distance <= std::fabs(number - neighbour), "a single is the nearest", text);
        }
        const auto whole = toLong(value);
        require(std::fabs(number - whole) <= 0.5, "a whole number is the nearest", text);
    } catch (const Error& error) {
        require(error.number == errors::overflow, "only range can be wrong with a number", error.description);
    }
    try {
        const Currency amount = toCurrency(value);
        const double distance = std::fabs(toDouble(amount) - number);
        require(distance <= 0.00005 + std::fabs(number) * 1e-15, "an amount is the nearest", text);
    } catch (const Error& error) {
        require(error.number == errors::overflow, "only range can be wrong with an amount", error.description);
    }
}

template <class Float>
void checkPlain(Float value) {
    const Text written = plainDecimal(value);
    require(written.find_first_not_of("0123456789.-") == Text::npos, "statement text has no exponent", written);
    const auto read = Decimal::readPlain(written);
    require(read.has_value(), "statement text is read", written);
    if constexpr (sizeof(Float) == sizeof(double)) {
        require(read->toDouble() == value, "statement text gives the double back", written);
    } else {
        require(read->toSingle() == value, "statement text gives the single back", written);
    }
}

template <class Float>
void checkShown(Float value, double precision) {
    const Text shown = toText(Value(value));
    double read = 0;
    require(parseNumber(shown, read), "a number's own text is read", shown);
    const auto exact = static_cast<double>(value);
    // Rounded up in its last shown digit the greatest double is out of range.
    if (std::isfinite(read)) {
        require(std::fabs(read - exact) <= std::fabs(exact) * precision + std::numeric_limits<double>::denorm_min(),
                "shown with all its digits", shown);
    }
}

void checkAmount(Currency amount) {
    const Text written = toText(amount);
    if (amount.scaled == std::numeric_limits<std::int64_t>::min()) return; // has no positive counterpart to read
    require(parseCurrency(written) == amount, "an amount's own text gives it back", written);
    require(toCurrency(Value(written)) == amount, "both readers of amounts agree", written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text text = fuzz::textOf(data, size);
    double number = 0;
    if (parseNumber(text, number)) {
        require(!std::isnan(number), "no text is no number", text);
        if (isCommonForm(text)) {
            char* end = nullptr;
            require(std::strtod(text.c_str(), &end) == number && *end == '\0', "the C library reads the same", text);
            const float single = Decimal::read(text)->toSingle();
            require(std::strtof(text.c_str(), nullptr) == single, "the C library reads the same single", text);
        }
        checkConversions(text, number);
    } else {
        require(!isNumeric(Value(text)), "what is not read is not numeric", text);
    }
    try {
        const Currency amount = parseCurrency(text);
        checkAmount(amount);
        require(toCurrency(Value(text)) == amount, "both readers of amounts agree", text);
    } catch (const Error& error) {
        require(error.number == errors::typeMismatch || error.number == errors::overflow, "13 or 6", error.description);
    }

    fuzz::Input input(data, size);
    const auto bits = input.number<std::int64_t>();
    checkAmount(Currency{bits});
    input = fuzz::Input(data, size);
    if (const auto wide = input.number<double>(); std::isfinite(wide)) {
        checkPlain(wide);
        checkShown(wide, 1e-14);
        try {
            checkAmount(toCurrency(wide));
        } catch (const Error& error) {
            require(error.number == errors::overflow, "only range can be wrong with an amount", error.description);
        }
    }
    if (const auto narrow = input.number<float>(); std::isfinite(narrow)) {
        checkPlain(narrow);
        checkShown(narrow, 1e-6);
    }
    return 0;
}
