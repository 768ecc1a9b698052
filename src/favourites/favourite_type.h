#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// Which favourites a filter lets through.
enum class fvFilterType : std::int32_t {
    fvFolder = 1,
    fvLink = 2,
};
inline constexpr EnumInfo::Member fvFilterTypeMembers[] = {
    enumMember("fvFolder", fvFilterType::fvFolder),
    enumMember("fvLink", fvFilterType::fvLink),
};
inline constexpr EnumInfo fvFilterTypeInfo{"fvFilterType", fvFilterTypeMembers};
template <>
inline constexpr const EnumInfo* enumInfo<fvFilterType> = &fvFilterTypeInfo;

} // namespace corveth
