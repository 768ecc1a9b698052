#pragma once

#include "contacts/address.h"
#include "contacts/contact_type.h"

namespace corveth {

/// What a contact and a company have in common: the properties that both read from the row source `Contacts`.
struct CORVETH_API ContactBase {
    Text ToString; ///< display name
    ctContactType ContactType = ctContactType::ctCompany;
    Text TypeToString; ///< derived from `ContactType` when the row is read
    std::uint8_t ShowInTaskList = 0;
    Text Phone, Mobile, WorkPhone, Extension, Fax;
    Text WebAddress, IMAddress, Description, ReferredBy;
    Ref<Address> HomeAddress = make<Address>();
    Ref<Address> OfficeAddress = make<Address>();

protected:
    /// "Company", "Individual", "Others" or "Company Individual".
    [[nodiscard]] static const char* typeText(ctContactType type);
};

} // namespace corveth
