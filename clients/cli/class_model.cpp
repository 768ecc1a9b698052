#include "cli/class_model.h"

#include "cli/names.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace corveth::cli {

using client::ClassDescription;
using client::Failure;
using client::MemberDescription;
using client::MemberKind;

bool ClassModel::Member::has(std::string_view role) const noexcept {
    return std::ranges::find(roles, role) != roles.end();
}

const ClassModel::Member* ClassModel::withRole(std::string_view role) const noexcept {
    const auto found = std::ranges::find_if(members, [&](const Member& member) { return member.has(role); });
    return found == members.end() ? nullptr : &*found;
}

bool ClassModel::memberHas(std::string_view memberName, std::string_view role) const noexcept {
    return std::ranges::any_of(
        members, [&](const Member& member) { return equalNoCase(member.name, memberName) && member.has(role); });
}

ClassModel ClassModel::parse(const std::string& rolesText) {
    const auto json = nlohmann::json::parse(rolesText);
    ClassModel model{json.at("class"), json.at("progid"), {}};
    for (const auto& member : json.at("members")) {
        const auto& argument = member.at("argument");
        model.members.push_back({member.at("name"), member.at("roles").get<std::vector<std::string>>(),
                                 argument.is_string() ? argument.get<std::string>() : std::string()});
    }
    return model;
}

const MemberDescription& memberNamed(const ClassDescription& description, const std::string& name) {
    if (const auto* member = description.find(name)) return *member;
    std::vector<std::string> names;
    for (const auto& member : description.members)
        names.push_back(member.name);
    throw Failure(438, description.name, description.name + " has no member " + name + didYouMean(name, names));
}

const MemberDescription* slotOf(const ClassDescription& description, const std::string& name, MemberKind first,
                                MemberKind second) {
    memberNamed(description, name);
    if (const auto* slot = description.find(name, first)) return slot;
    return description.find(name, second);
}

bool isObjectType(std::string_view type) noexcept {
    return type.starts_with("Object") || type == "Picture" || type == "Connection" || type == "Enumerator";
}

} // namespace corveth::cli
