#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// Which figure of a task gives way when another one is assigned.
enum class ptCalcMethod : std::int32_t {
    FixedWork = 0,
    FixedDuration = 1,
    FixedResourse = 2,
    None = 3,
};
inline constexpr EnumInfo::Member ptCalcMethodMembers[] = {
    enumMember("FixedWork", ptCalcMethod::FixedWork),
    enumMember("FixedDuration", ptCalcMethod::FixedDuration),
    enumMember("FixedResourse", ptCalcMethod::FixedResourse),
    enumMember("None", ptCalcMethod::None),
};
inline constexpr EnumInfo ptCalcMethodInfo{"ptCalcMethod", ptCalcMethodMembers};
template <>
inline constexpr const EnumInfo* enumInfo<ptCalcMethod> = &ptCalcMethodInfo;

/// What a row of the project tree is.
enum class ptType : std::int32_t {
    PROJECT = 0,
    GroupTask = 1,
    Task = 2,
};
inline constexpr EnumInfo::Member ptTypeMembers[] = {
    enumMember("PROJECT", ptType::PROJECT),
    enumMember("GroupTask", ptType::GroupTask),
    enumMember("Task", ptType::Task),
};
inline constexpr EnumInfo ptTypeInfo{"ptType", ptTypeMembers};
template <>
inline constexpr const EnumInfo* enumInfo<ptType> = &ptTypeInfo;

} // namespace corveth
