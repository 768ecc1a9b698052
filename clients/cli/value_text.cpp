#include "cli/value_text.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>

namespace corveth::cli {

using client::DateNumber;
using client::LateObject;
using client::Money;
using client::Variant;

namespace {

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

struct DateParts {
    std::string day, time; ///< time is empty at midnight
    bool isDayZero;
};

DateParts partsOf(DateNumber date) {
    // Beyond the platform's range, which a column may hold all the same, there is no calendar day to write.
    if (!(std::abs(date.day) <= 3'000'000)) return {fmt::format("{}", date.day), {}, false};
    constexpr std::int64_t dayMilliseconds = 86'400'000;
    double whole = std::trunc(date.day);
    // The fraction counts forward for days before the first one too.
    std::int64_t time = std::llround(std::abs(date.day - whole) * static_cast<double>(dayMilliseconds));
    if (time == dayMilliseconds) {
        time = 0;
        whole += 1;
    }
    using namespace std::chrono;
    const year_month_day civil(sys_days(year{1899} / December / 30) + days(static_cast<int>(whole)));
    DateParts parts;
    parts.day = fmt::format("{:04}-{:02}-{:02}", static_cast<int>(civil.year()), static_cast<unsigned>(civil.month()),
                            static_cast<unsigned>(civil.day()));
    parts.isDayZero = whole == 0;
    if (time != 0) {
        const std::int64_t seconds = time / 1000;
        parts.time = fmt::format("{:02}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
        if (time % 1000 != 0) parts.time += fmt::format(".{:03}", time % 1000);
    }
    return parts;
}

std::string isoText(DateNumber date) {
    const DateParts parts = partsOf(date);
    return parts.time.empty() ? parts.day : parts.day + "T" + parts.time;
}

std::string classNameOf(const LateObject& object) {
    return object ? object.description().name : "Nothing";
}

} // namespace

std::string dateText(DateNumber date) {
    const DateParts parts = partsOf(date);
    if (parts.isDayZero) return parts.time.empty() ? "00:00:00" : parts.time;
    return parts.time.empty() ? parts.day : parts.day + " " + parts.time;
}

std::string moneyText(Money money) {
    // Negated as unsigned: the lowest value has no positive counterpart.
    auto magnitude = static_cast<std::uint64_t>(money.scaled);
    if (money.scaled < 0) magnitude = 0 - magnitude;
    std::string text = fmt::format("{}{}", money.scaled < 0 ? "-" : "", magnitude / 10000);
    if (magnitude % 10000 != 0) {
        text += fmt::format(".{:04}", magnitude % 10000);
        text.erase(text.find_last_not_of('0') + 1);
    }
    return text;
}

std::string plainText(const Variant& value) {
    return std::visit(Overloaded{
                          [](std::monostate) { return std::string(); },
                          [](client::NullTag) { return std::string(); },
                          [](client::MissingTag) { return std::string(); },
                          [](bool truth) { return std::string(truth ? "True" : "False"); },
                          [](Money money) { return moneyText(money); },
                          [](DateNumber date) { return dateText(date); },
                          [](const std::string& text) { return text; },
                          [](const LateObject& object) { return "(" + classNameOf(object) + ")"; },
                          [](const client::ByteArray& bytes) { return fmt::format("({} bytes)", bytes.text().size()); },
                          [](const client::RecordValue& record) { return jsonValue(Variant(record)).dump(); },
                          [](auto number) { return fmt::format("{}", number); },
                      },
                      value);
}

bool isNumber(const Variant& value) noexcept {
    return std::holds_alternative<std::uint8_t>(value) || std::holds_alternative<std::int16_t>(value) ||
           std::holds_alternative<std::int32_t>(value) || std::holds_alternative<float>(value) ||
           std::holds_alternative<double>(value) || std::holds_alternative<Money>(value);
}

Json jsonValue(const Variant& value) {
    return std::visit(Overloaded{
                          [](std::monostate) { return Json(); },
                          [](client::NullTag) { return Json(); },
                          [](client::MissingTag) { return Json(); },
                          // By its own shortest digits: widened to a double it would show the digits of its error.
                          [](float number) { return Json(std::stod(fmt::format("{}", number))); },
                          [](Money money) { return Json(moneyText(money)); },
                          [](DateNumber date) { return Json(isoText(date)); },
                          [](const LateObject& object) {
                              return object ? Json{{"object", classNameOf(object)}} : Json();
                          },
                          [](const client::ByteArray& bytes) {
                              return Json{{"bytes", bytes.text().size()}};
                          },
                          [](const client::RecordValue& record) {
                              Json fields = Json::object();
                              for (const auto& field : record.fields)
                                  fields[field.name] = jsonValue(field.value);
                              return fields;
                          },
                          [](const auto& plain) { return Json(plain); },
                      },
                      value);
}

std::string failureText(const client::Failure& failure) {
    constexpr std::uint32_t wholeCodes = 0x80000000U;
    const std::string number =
        failure.number >= wholeCodes ? fmt::format("0x{:08X}", failure.number) : fmt::format("{}", failure.number);
    return fmt::format("error {} ({}): {}", number, failure.source, failure.description());
}

Json failureJson(const client::Failure& failure) {
    return {{"number", failure.number}, {"source", failure.source}, {"description", failure.description()}};
}

} // namespace corveth::cli
