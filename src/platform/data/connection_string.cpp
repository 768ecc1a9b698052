#include "platform/data/connection_string.h"

#include "platform/data/provider.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ranges>

namespace corveth::data {

namespace {

constexpr std::array commonKeywords = {"Provider", "Default Timeout", "Trace File", "Log"};
/// Of any engine, so that a keyword of another engine is told from a misspelt one.
constexpr std::array allKeywords = {"Provider",        "Data Source", "Host",     "Port",
                                    "Database",        "User ID",     "Password", "SSL Mode",
                                    "Default Timeout", "Trace File",  "Log"};

struct Pair {
    Text keyword, value;
    std::size_t begin, end; ///< in the string, without the separator
};

bool isBlank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

TextView trim(TextView text) noexcept {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

const char* findKeyword(std::span<const char* const> keywords, TextView keyword) noexcept {
    const auto found = std::ranges::find_if(keywords, [&](const char* known) { return equalNoCase(known, keyword); });
    return found == keywords.end() ? nullptr : *found;
}

/// As a message names what stands for a keyword. Behind a password it may be the rest of the password.
Text named(const char* what, TextView keyword, std::span<const Pair> before) {
    const auto known = std::ranges::find_if(std::views::reverse(before), [](const Pair& pair) {
        return findKeyword(allKeywords, pair.keyword) != nullptr;
    });
    const bool isSecret = known != before.rend() && equalNoCase(known->keyword, "Password");
    return isSecret ? "what follows the Password (one with a semicolon stands in quotes)"
                    : what + ("\"" + Text(keyword)) + "\"";
}

class Reader {
public:
    Reader(TextView text, std::vector<Text>& problems) : text_(text), problems_(problems) {}

    std::vector<Pair> read() {
        std::vector<Pair> pairs;
        while (at_ < text_.size()) {
            const std::size_t begin = at_;
            const std::size_t stop = text_.find_first_of("=;", at_);
            const TextView keyword = trim(text_.substr(at_, stop - at_));
            at_ = std::min(stop, text_.size());
            if (at_ < text_.size() && text_[at_] == '=') {
                ++at_;
                Text value = readValue();
                if (keyword.empty()) {
                    problems_.push_back("a value without a keyword");
                } else {
                    pairs.push_back({Text(keyword), std::move(value), begin, at_});
                }
            } else if (!keyword.empty()) {
                problems_.push_back(named("", keyword, pairs) + " has no value");
            }
            if (at_ < text_.size()) ++at_;
        }
        return pairs;
    }

private:
    Text readValue() {
        while (at_ < text_.size() && isBlank(text_[at_]))
            ++at_;
        if (at_ == text_.size() || (text_[at_] != '"' && text_[at_] != '\'')) {
            const std::size_t end = std::min(text_.find(';', at_), text_.size());
            const Text value(trim(text_.substr(at_, end - at_)));
            at_ = end;
            return value;
        }
        const char quote = text_[at_++];
        Text value;
        while (at_ < text_.size()) {
            if (text_[at_] == quote) {
                ++at_;
                if (at_ == text_.size() || text_[at_] != quote) return endQuoted(std::move(value));
            }
            value += text_[at_++];
        }
        problems_.push_back("a quoted value has no end");
        return value;
    }

    Text endQuoted(Text value) {
        const std::size_t end = std::min(text_.find(';', at_), text_.size());
        if (!trim(text_.substr(at_, end - at_)).empty()) problems_.push_back("text follows a quoted value");
        at_ = end;
        return value;
    }

    TextView text_;
    std::vector<Text>& problems_;
    std::size_t at_ = 0;
};

const Provider* findProvider(TextView name) noexcept {
    for (const auto* provider : providers()) {
        if (equalNoCase(provider->name, name)) return provider;
    }
    return nullptr;
}

Text knownProviders() {
    Text names;
    for (const auto* provider : providers()) {
        if (!names.empty()) names += ", ";
        names += provider->name;
    }
    return names;
}

void chooseProvider(ConnectionSettings& settings, std::vector<Text>& problems) {
    const TextView name = settings.value("Provider");
    if (name.empty()) {
        problems.push_back("\"Provider\" is missing (known: " + knownProviders() + ")");
        return;
    }
    settings.provider = findProvider(name);
    if (settings.provider == nullptr) {
        problems.push_back("the provider \"" + Text(name) + "\" is not known (known: " + knownProviders() + ")");
    }
}

void checkForProvider(const ConnectionSettings& settings, std::vector<Text>& problems) {
    const Provider& provider = *settings.provider;
    for (const auto& [keyword, value] : settings.values) {
        if (findKeyword(commonKeywords, keyword) == nullptr && findKeyword(provider.keywords, keyword) == nullptr) {
            problems.push_back("\"" + keyword + "\" does not suit the provider " + provider.name);
        }
    }
    for (const char* keyword : provider.requiredWords) {
        if (settings.value(keyword).empty()) problems.push_back("\"" + Text(keyword) + "\" is missing");
    }
}

void readTimeout(ConnectionSettings& settings, std::vector<Text>& problems) {
    const TextView text = settings.value("Default Timeout");
    if (text.empty()) return;
    std::int32_t seconds = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || seconds < 0 ||
        seconds > longestTimeout) {
        problems.push_back("\"Default Timeout\" is not a number of seconds: \"" + Text(text) + "\"");
    } else {
        settings.timeout = seconds;
    }
}

void replaceValue(ConnectionSettings& settings, const char* keyword, TextView value) {
    if (value.empty()) return;
    std::erase_if(settings.values, [&](const auto& pair) { return pair.first == keyword; });
    settings.values.emplace_back(keyword, value);
}

} // namespace

TextView ConnectionSettings::value(TextView keyword) const noexcept {
    const auto found = std::ranges::find_if(values, [&](const auto& pair) { return pair.first == keyword; });
    return found == values.end() ? TextView{} : TextView(found->second);
}

ConnectionSettings parseConnectionString(TextView text, TextView userId, TextView password) {
    std::vector<Text> problems;
    ConnectionSettings settings;
    if (text.find('\0') != TextView::npos) problems.push_back("it holds a NUL character");
    std::vector<Pair> pairs = Reader(text, problems).read();
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        Pair& pair = pairs[i];
        const char* keyword = findKeyword(allKeywords, pair.keyword);
        if (keyword == nullptr) {
            problems.push_back(named("the keyword ", pair.keyword, std::span(pairs).first(i)) + " is not known");
        } else if (std::ranges::any_of(settings.values, [&](const auto& known) { return known.first == keyword; })) {
            problems.push_back("\"" + Text(keyword) + "\" is given twice");
        } else {
            settings.values.emplace_back(keyword, std::move(pair.value));
        }
    }
    replaceValue(settings, "User ID", userId);
    replaceValue(settings, "Password", password);
    chooseProvider(settings, problems);
    if (settings.provider != nullptr) checkForProvider(settings, problems);
    readTimeout(settings, problems);
    if (problems.empty()) return settings;

    Text detail = "Connection string: ";
    const char* joint = "";
    for (const auto& problem : problems) {
        detail += joint + problem;
        joint = "; ";
    }
    raise(errors::badArguments, detail + ".", "ADODB.Connection");
}

Text withoutPassword(TextView text) {
    std::vector<Text> problems;
    Text result(text);
    const auto pairs = Reader(text, problems).read();
    // From the end, so that the places of the others stay good.
    for (const auto& pair : std::views::reverse(pairs)) {
        if (!equalNoCase(pair.keyword, "Password")) continue;
        const std::size_t separator = pair.end < result.size() ? 1 : 0;
        result.erase(pair.begin, pair.end - pair.begin + separator);
    }
    return result;
}

} // namespace corveth::data
