// Connection strings: a string is refused as a whole or means what its parts say, and a password does not show.

#include "support.h"

#include "platform/automation/error.h"
#include "platform/data/connection_string.h"

#include <algorithm>

using namespace corveth;
using fuzz::require;

namespace {

Text inMarks(TextView value, char quote) {
    const Text mark(1, quote);
    return mark + replaceAll(value, mark, mark + mark) + mark;
}

/// The same settings, every value in quotes.
Text rebuilt(const data::ConnectionSettings& settings, char quote) {
    Text text;
    for (const auto& [keyword, value] : settings.values)
        text += keyword + "=" + inMarks(value, quote) + ";";
    return text;
}

void checkSettings(const Text& text) {
    try {
        const auto settings = data::parseConnectionString(text);
        require(settings.provider != nullptr, "what is accepted has a provider", text);
        for (const char quote : {'"', '\''}) {
            const Text again = rebuilt(settings, quote);
            const auto read = data::parseConnectionString(again);
            require(read.values == settings.values && read.timeout == settings.timeout, "quotes keep values", again);
        }
        require(data::withoutPassword(text) == text, "only a password is taken out", text);
    } catch (const Error& error) {
        require(error.number == errors::badArguments, "a bad string is error 3001", error.description);
    }
}

void checkPassword(const Text& text, TextView rest) {
    const Text shown = data::withoutPassword(text);
    require(data::withoutPassword(shown) == shown, "nothing is left to take out", text);
    // A string whose beginning is in order cannot hide the password that follows it.
    try {
        (void)data::parseConnectionString(text);
    } catch (const Error&) {
        return;
    }
    for (const char quote : {'"', '\''}) {
        const Text secret = "s3\"c'ret" + Text(1, '\x01');
        const Text whole = text + ";pAssword = " + inMarks(secret, quote) + ";" + Text(rest);
        require(data::withoutPassword(whole).find('\x01') == Text::npos || rest.find('\x01') != TextView::npos ||
                    text.find('\x01') != Text::npos,
                "the password is taken out", whole);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text text = fuzz::textOf(data, size);
    checkSettings(text);
    const std::size_t middle = text.find('\n');
    checkPassword(text.substr(0, middle), middle == Text::npos ? TextView() : TextView(text).substr(middle + 1));
    return 0;
}
