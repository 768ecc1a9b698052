#include "cli/argument.h"

#include "cli/files.h"
#include "cli/names.h"
#include "cli/record.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>

namespace corveth::cli {

using client::ClassDescription;
using client::Failure;
using client::LateObject;
using client::Variant;

namespace {

constexpr std::string_view enumPrefix = "Enum:";
constexpr std::string_view objectPrefix = "Object:";
constexpr std::string_view recordPrefix = "Record:";
constexpr std::string_view filePrefix = "@file:";

[[noreturn]] void mismatch(const std::string& detail) {
    throw Failure(13, "corveth", "Type mismatch: " + detail);
}

/// The value that the enumeration gives to `text`; a text that is no name is left to the server, which takes numbers.
Variant enumValue(const std::string& text, const client::EnumDescription& info) {
    for (const auto& [name, value] : info.members) {
        if (equalNoCase(name, text)) return value;
    }
    if (text.find_first_not_of("-+0123456789 ") == std::string::npos && !text.empty()) return text;
    std::string names;
    for (const auto& [name, value] : info.members)
        names += fmt::format("{}{} ({})", names.empty() ? "" : ", ", name, value);
    mismatch(fmt::format("\"{}\" is none of {}: {}", text, info.name, names));
}

Variant numberValue(const Json& number, const std::string& type) {
    if (number.is_number_float()) return number.get<double>();
    const auto fits = [](auto value) { return std::in_range<std::int32_t>(value); };
    const bool isLong =
        number.is_number_unsigned() ? fits(number.get<std::uint64_t>()) : fits(number.get<std::int64_t>());
    if (isLong) return number.get<std::int32_t>();
    // As text it stays exact, and the server checks the range of what it becomes.
    if (type != "Variant") return number.dump();
    return number.get<double>();
}

} // namespace

Variant ArgumentReader::read(const Json& given, const std::string& type, const ClassDescription& owner) const {
    switch (given.type()) {
    case Json::value_t::string:
        return readText(given.get<std::string>(), type, owner);
    case Json::value_t::null:
        return isObjectType(type) ? Variant(LateObject()) : Variant(client::NullTag{});
    case Json::value_t::boolean:
        return given.get<bool>();
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
    case Json::value_t::number_float:
        return numberValue(given, type);
    case Json::value_t::object:
        return readRecord(given, type, owner);
    default:
        mismatch("a list cannot stand for a value");
    }
}

std::string ArgumentReader::withoutLabel(std::string given) const {
    if (given.starts_with("@@")) return given.substr(1);
    if (!given.starts_with('@')) return given;
    const std::string label = given.substr(1);
    const auto found = labels_.find(label);
    if (found != labels_.end()) return found->second;
    throw Failure(5, "corveth", fmt::format("there is no label \"{}\"; write @@ for a plain @", label));
}

Variant ArgumentReader::readText(std::string text, const std::string& type, const ClassDescription& owner) const {
    if (text.starts_with(filePrefix)) return readFile(text.substr(filePrefix.size()), type);
    text = withoutLabel(std::move(text));
    if (type.starts_with(enumPrefix)) {
        const auto info = owner.enums.find(type.substr(enumPrefix.size()));
        return info == owner.enums.end() ? Variant(text) : enumValue(text, info->second);
    }
    if (type.starts_with(recordPrefix)) {
        const Json json = Json::parse(text, nullptr, false);
        if (json.is_discarded()) mismatch("a record is written as a JSON object, not as " + text);
        return readRecord(json, type, owner);
    }
    if (isObjectType(type)) {
        if (text.empty()) return LateObject();
        if (!type.starts_with(objectPrefix)) mismatch(fmt::format("\"{}\" cannot stand for a {}", text, type));
        return existingRecord(session_, session_.library().model(type.substr(objectPrefix.size())), text);
    }
    return text;
}

Variant ArgumentReader::readFile(const std::string& path, const std::string& type) const {
    if (type == "Picture") {
        LateObject picture = session_.library().create("Corveth.Picture");
        picture.call("Load", {path});
        return picture;
    }
    std::string content = fileContent(path);
    if (type == "String") return content;
    if (type != "Variant") mismatch(fmt::format("the file {} cannot stand for a {}", path, type));
    return client::ByteArray(content);
}

Variant ArgumentReader::readRecord(const Json& given, const std::string& type, const ClassDescription& owner) const {
    const auto info =
        type.starts_with(recordPrefix) ? owner.records.find(type.substr(recordPrefix.size())) : owner.records.end();
    if (info == owner.records.end() || !given.is_object()) {
        mismatch(fmt::format("a JSON {} cannot stand for a {}", given.type_name(), type));
    }
    client::RecordValue record{info->second.name, {}};
    for (const auto& [name, value] : given.items()) {
        const auto field = std::ranges::find_if(
            info->second.fields, [&, &wanted = name](const auto& f) { return equalNoCase(f.first, wanted); });
        if (field == info->second.fields.end()) {
            std::vector<std::string> names;
            for (const auto& [known, fieldType] : info->second.fields)
                names.push_back(known);
            throw Failure(438, info->second.name,
                          fmt::format("{} has no field {}{}", info->second.name, name, didYouMean(name, names)));
        }
        record.fields.push_back({field->first, read(value, field->second, owner)});
    }
    return record;
}

} // namespace corveth::cli
