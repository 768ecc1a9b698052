#pragma once

#include "contacts/contact_base.h"
#include "session/columns.h"

namespace corveth {

namespace detail {
/// A column that cannot be converted leaves its property as it was and does not stop the ones after it.
template <class C, auto... path>
constexpr Column<C> lenient(const char* name) {
    return columnOf<C, path...>(name, OnNull::ignored);
}
} // namespace detail

/// The columns that feed a contact and a company alike, for their tables.
template <class C>
inline constexpr Column<C> sharedContactColumns[] = {
    detail::lenient<C, &ContactBase::ContactType>("ContactType"),
    detail::lenient<C, &ContactBase::ShowInTaskList>("ShowInTaskList"),
    detail::lenient<C, &ContactBase::Phone>("Phone"),
    detail::lenient<C, &ContactBase::Mobile>("Mobile"),
    detail::lenient<C, &ContactBase::WorkPhone>("WorkPhone"),
    detail::lenient<C, &ContactBase::Extension>("Extension"),
    detail::lenient<C, &ContactBase::Fax>("Fax"),
    detail::lenient<C, &ContactBase::WebAddress>("WebAddress"),
    detail::lenient<C, &ContactBase::IMAddress>("IMAddress"),
    detail::lenient<C, &ContactBase::Description>("Description"),
    detail::lenient<C, &ContactBase::ReferredBy>("ReferredBy"),
    detail::lenient<C, &ContactBase::HomeAddress, &Address::Add1>("Address11"),
    detail::lenient<C, &ContactBase::HomeAddress, &Address::Add2>("Address12"),
    detail::lenient<C, &ContactBase::HomeAddress, &Address::Country>("Country1"),
    detail::lenient<C, &ContactBase::HomeAddress, &Address::City>("City1"),
    detail::lenient<C, &ContactBase::HomeAddress, &Address::Pin>("Pin1"),
    detail::lenient<C, &ContactBase::HomeAddress, &Address::DisplayAs>("DisplayAs1"),
    detail::lenient<C, &ContactBase::OfficeAddress, &Address::Add1>("Address21"),
    detail::lenient<C, &ContactBase::OfficeAddress, &Address::Add2>("Address22"),
    detail::lenient<C, &ContactBase::OfficeAddress, &Address::Country>("Country2"),
    detail::lenient<C, &ContactBase::OfficeAddress, &Address::City>("City2"),
    detail::lenient<C, &ContactBase::OfficeAddress, &Address::Pin>("Pin2"),
    detail::lenient<C, &ContactBase::OfficeAddress, &Address::DisplayAs>("DisplayAs2"),
};

} // namespace corveth
