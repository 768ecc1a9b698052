#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// What a node of the product tree is.
enum class dpType : std::int32_t {
    dpProduct = 0,
    dpDeliverable = 1,
};
inline constexpr EnumInfo::Member dpTypeMembers[] = {
    enumMember("dpProduct", dpType::dpProduct),
    enumMember("dpDeliverable", dpType::dpDeliverable),
};
inline constexpr EnumInfo dpTypeInfo{"dpType", dpTypeMembers};
template <>
inline constexpr const EnumInfo* enumInfo<dpType> = &dpTypeInfo;

} // namespace corveth
