#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// Where a bid comes from.
enum class tpBidSource : std::int32_t {
    bsCompany = 0,
    bsIndividual = 1,
    bsFreelance = 2,
    bsOthers = 3,
};
inline constexpr EnumInfo::Member tpBidSourceMembers[] = {
    enumMember("bsCompany", tpBidSource::bsCompany),
    enumMember("bsIndividual", tpBidSource::bsIndividual),
    enumMember("bsFreelance", tpBidSource::bsFreelance),
    enumMember("bsOthers", tpBidSource::bsOthers),
};
inline constexpr EnumInfo tpBidSourceInfo{"tpBidSource", tpBidSourceMembers};
template <>
inline constexpr const EnumInfo* enumInfo<tpBidSource> = &tpBidSourceInfo;

} // namespace corveth
