#include "contacts/company.h"

#include "contacts/contact_columns.h"
#include "scheduling/tasks.h"
#include "session/notes.h"
#include "session/statements.h"

namespace corveth {

struct Company::Table {
    static constexpr MemberRow members[] = {
        field<Company, &ContactBase::ToString>("ToString"),
        field<Company, &ContactBase::ContactType>("ContactType"),
        field<Company, &ContactBase::TypeToString>("TypeToString"),
        field<Company, &ContactBase::ShowInTaskList>("ShowInTaskList"),
        field<Company, &ContactBase::Phone>("Phone"),
        field<Company, &ContactBase::Mobile>("Mobile"),
        field<Company, &ContactBase::WorkPhone>("WorkPhone"),
        field<Company, &ContactBase::Extension>("Extension"),
        field<Company, &ContactBase::Fax>("Fax"),
        field<Company, &ContactBase::HomeAddress>("HomeAddress"),
        field<Company, &ContactBase::OfficeAddress>("OfficeAddress"),
        field<Company, &ContactBase::WebAddress>("WebAddress"),
        field<Company, &ContactBase::IMAddress>("IMAddress"),
        field<Company, &ContactBase::Description>("Description"),
        field<Company, &ContactBase::ReferredBy>("ReferredBy"),
        get<&Company::get_Tasks>("Tasks"),
        get<&Company::get_Notes>("Notes"),
        unavailable("Invoices", "Invoices"),
        unavailable("Installations", "Installations"),
        unavailable("Expenses", "Expenses"),
        unavailable("Bugs", "Bugs"),
        unavailable("Appointments", "Appointments"),
        key(loads(letGet<&Company::let_ID, &Company::get_ID>("ID")), "Contacts.ContactId"),
    };
    static constexpr Column<Company> columns[] = {
        detail::lenient<Company, &ContactBase::ToString>("FirstName"),
    };
};

constinit const ClassInfo Company::description = describe<Company, Company::Table>();

Company::Company() = default;
Company::~Company() = default;

Ref<Notes> Company::get_Notes() {
    return lazy(notes_);
}

Ref<Tasks> Company::get_Tasks() {
    return lazy(tasks_);
}

void Company::reset() {
    for (Text* text : {&ToString, &TypeToString, &Phone, &Mobile, &WorkPhone, &Extension, &Fax, &WebAddress, &IMAddress,
                       &Description}) {
        text->clear();
    }
    ShowInTaskList = 0;
    HomeAddress = make<Address>();
    OfficeAddress = make<Address>();
}

void Company::let_ID(const Text& value) {
    id_ = trimBlanks(value);
    if (id_.empty()) {
        reset();
        return;
    }
    const auto rows = openDirect(Sql{"Select * From Contacts Where ContactId='", id_, "';"}, CursorType::keyset,
                                 LockType::unspecified);
    if (rows->isEmpty()) return;
    loadRow<Table::columns>(*rows, *this);
    loadRow<sharedContactColumns<Company>>(*rows, *this);
    TypeToString = typeText(ContactType);
}

} // namespace corveth
