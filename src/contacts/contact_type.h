#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// Whether a contact is an organisation or a person.
enum class ctContactType : std::int32_t {
    ctCompany = 0,
    ctIndividual = 1,
    ctCompanyContact = 2,
    ctOthers = 3,
};
inline constexpr EnumInfo::Member ctContactTypeMembers[] = {
    enumMember("ctCompany", ctContactType::ctCompany),
    enumMember("ctIndividual", ctContactType::ctIndividual),
    enumMember("ctCompanyContact", ctContactType::ctCompanyContact),
    enumMember("ctOthers", ctContactType::ctOthers),
};
inline constexpr EnumInfo ctContactTypeInfo{"ctContactType", ctContactTypeMembers};
template <>
inline constexpr const EnumInfo* enumInfo<ctContactType> = &ctContactTypeInfo;

} // namespace corveth
