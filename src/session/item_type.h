#pragma once

#include "platform/automation/describe.h"

namespace corveth {

/// What an item is, told by the first two letters of its ID.
enum class ptParentType : std::int32_t {
    ptNone = 0,
    ptAppointment = 4,
    ptBug = 8,
    ptContact = 12,
    ptCompany = 16,
    ptInvoice = 20,
    ptProject = 24,
    ptTask = 28,
    ptNote = 32,
    ptAttachment = 36,
    ptReminder = 42,
    ptBid = 46,
    ptRisk = 52,
    ptDefects = 56,
    ptProduct = 60,
    ptRequirement = 64,
    ptRequest = 68,
    ptDeliverable = 72,
    ptSubscription = 76,
};
inline constexpr EnumInfo::Member ptParentTypeMembers[] = {
    enumMember("ptNone", ptParentType::ptNone),
    enumMember("ptAppointment", ptParentType::ptAppointment),
    enumMember("ptBug", ptParentType::ptBug),
    enumMember("ptContact", ptParentType::ptContact),
    enumMember("ptCompany", ptParentType::ptCompany),
    enumMember("ptInvoice", ptParentType::ptInvoice),
    enumMember("ptProject", ptParentType::ptProject),
    enumMember("ptTask", ptParentType::ptTask),
    enumMember("ptNote", ptParentType::ptNote),
    enumMember("ptAttachment", ptParentType::ptAttachment),
    enumMember("ptReminder", ptParentType::ptReminder),
    enumMember("ptBid", ptParentType::ptBid),
    enumMember("ptRisk", ptParentType::ptRisk),
    enumMember("ptDefects", ptParentType::ptDefects),
    enumMember("ptProduct", ptParentType::ptProduct),
    enumMember("ptRequirement", ptParentType::ptRequirement),
    enumMember("ptRequest", ptParentType::ptRequest),
    enumMember("ptDeliverable", ptParentType::ptDeliverable),
    enumMember("ptSubscription", ptParentType::ptSubscription),
};
inline constexpr EnumInfo ptParentTypeInfo{"ptParentType", ptParentTypeMembers};
template <>
inline constexpr const EnumInfo* enumInfo<ptParentType> = &ptParentTypeInfo;

/// A text gives the type number (16 bits) of its first two characters, 0 when unknown; a number, or a text that reads
/// as one, gives the display name, "None" when unknown. 94 for Null.
CORVETH_API Value ConvertItemType(const Value& value);

/// The display name of the type of the item `id`: both conversions in a row.
CORVETH_API Text itemTypeName(const Text& id);

} // namespace corveth
