#include "platform/data/key_space.h"

#include "platform/automation/error.h"

#include <charconv>
#include <utility>

namespace corveth::data {

namespace {

constexpr const char* source = "ADODB.Connection";
/// More digits would not be a number.
constexpr std::int32_t longestKey = 18;

} // namespace

KeyForm::KeyForm(const KeySpace& keys) : codeSize_(keys.code.size()) {
    if (keys.code.empty() || std::cmp_less_equal(keys.length, keys.code.size()) || keys.length > longestKey) {
        raise(errors::invalidCall,
              "no key of " + std::to_string(keys.length) + " characters begins with \"" + Text(keys.code) + "\"",
              source);
    }
    const std::size_t digits = static_cast<std::size_t>(keys.length) - codeSize_;
    lowest_ = Text(keys.code) + Text(digits, '0');
    highest_ = Text(keys.code) + Text(digits, '9');
}

Text KeyForm::key(std::int64_t number) const {
    const Text digits = std::to_string(number);
    const std::size_t room = lowest_.size() - codeSize_;
    if (digits.size() > room) {
        raise(errors::overflow, "all keys that begin with \"" + lowest_.substr(0, codeSize_) + "\" are taken", source);
    }
    return lowest_.substr(0, lowest_.size() - digits.size()) + digits;
}

std::int64_t KeyForm::numberIn(TextView key) const noexcept {
    if (key.size() != lowest_.size()) return 0;
    std::int64_t number = 0;
    const char* const first = key.data() + codeSize_;
    const char* const last = key.data() + key.size();
    const auto [end, fault] = std::from_chars(first, last, number);
    return fault == std::errc() && end == last && *first != '-' ? number : 0;
}

} // namespace corveth::data
