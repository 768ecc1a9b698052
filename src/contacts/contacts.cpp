#include "contacts/contacts.h"

#include "session/failure.h"
#include "session/statements.h"

namespace corveth {

struct Contacts::Table {
    static constexpr MemberRow members[] = {
        defaultMember(get<&Contacts::get_Item>("Item", "vntIndexKey")),
        get<&Contacts::get_Count>("Count"),
        enumeratorMember(get<&Contacts::get_NewEnum>("NewEnum")),
        method<&Contacts::Add>("Add", "strContactId", optional("Key")),
        method<&Contacts::MoveLast>("MoveLast"),
        method<&Contacts::MoveFirst>("MoveFirst"),
        method<&Contacts::MoveNext>("MoveNext"),
        method<&Contacts::MovePrevious>("MovePrevious"),
        loads(method<&Contacts::InitializeAsType>("InitializeAsType", "ContactType")),
        loads(method<&Contacts::Populate>("Populate")),
        method<&Contacts::SetCompanyFilter>("SetCompanyFilter", "strCompanyID"),
    };
};

constinit const ClassInfo Contacts::description = describe<Contacts, Contacts::Table>();

Ref<Contact> Contacts::get_Item(const Value& vntIndexKey) const {
    try {
        return members_.item(vntIndexKey);
    } catch (const Error&) {
        return {};
    }
}

Ref<Contact> Contacts::Add(Text strContactId, const Text& key) {
    auto contact = make<Contact>();
    contact->ContactType = static_cast<ctContactType>(newMemberType_);
    contact->let_ID(strContactId);
    members_.appendKeyed(contact, key);
    return contact;
}

Ref<Contact> Contacts::MoveLast() {
    if (!isLoaded_) return {};
    position_ = members_.count();
    return members_.at(position_);
}

Ref<Contact> Contacts::MoveFirst() {
    if (!isLoaded_) return {};
    position_ = 1;
    return members_.at(position_);
}

Ref<Contact> Contacts::MoveNext() {
    if (!isLoaded_) return {};
    if (position_ < members_.count()) ++position_;
    return members_.at(position_);
}

Ref<Contact> Contacts::MovePrevious() {
    if (!isLoaded_) return {};
    if (position_ >= 2) --position_;
    return members_.at(position_);
}

void Contacts::InitializeAsType(ctContactType contactType) {
    members_.clear();
    filter_ = contactType == ctContactType::ctCompany
                  ? Sql{"Select ContactId From Contacts Where ContactType=0 Order By ContactId;"}
                  : Sql{"Select ContactId From Contacts Where ContactType>0 Order By ContactId;"};
    newMemberType_ = toInteger(Value(static_cast<std::int32_t>(contactType)));
    Populate();
}

void Contacts::Populate() {
    trap("Contacts", Report::messageAndCause, "Error populating Contacts", [&] {
        const auto rows = openDirect(filter_, CursorType::keyset, LockType::optimistic);
        for (; !rows->get_EOF(); rows->MoveNext()) {
            const Text id = toText(rows->value("ContactId"));
            Add(id, id);
        }
        isLoaded_ = true;
    });
}

void Contacts::SetCompanyFilter(Text strCompanyID) {
    filter_ = Sql{"SELECT ContactID From Contacts Where CompanyID ='", strCompanyID, "'"};
}

} // namespace corveth
