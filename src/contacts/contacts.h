#pragma once

#include "contacts/contact.h"
#include "platform/automation/keyed_list.h"
#include "session/sql.h"

namespace corveth {

/// A list of contacts with a cursor: all companies, all persons, or the members of one company.
class CORVETH_API Contacts final : public Described<Contacts> {
public:
    static constexpr const char* className = "Contacts";
    static const ClassInfo description;

    /// By position or key; Nothing for one that is not there.
    [[nodiscard]] Ref<Contact> get_Item(const Value& vntIndexKey) const;
    [[nodiscard]] std::int32_t get_Count() const { return members_.count(); }
    [[nodiscard]] Ref<Enumerator> get_NewEnum() const { return members_.enumerate(); }
    /// A new member that loads itself, keyed by `key` when that is not empty (457 when it is there already).
    Ref<Contact> Add(Text strContactId, const Text& key = {});

    // The cursor. Each yields Nothing until the list was populated; 9 where there is no member.
    Ref<Contact> MoveLast();
    Ref<Contact> MoveFirst();
    Ref<Contact> MoveNext();     ///< at the last member: that one again
    Ref<Contact> MovePrevious(); ///< at the first member: that one again

    /// Companies for type 0, all persons for any other; new members get the type. Replaces the members.
    void InitializeAsType(ctContactType contactType);
    /// Appends the rows of the filter to the members.
    void Populate();
    /// The members of one company; nothing is loaded.
    void SetCompanyFilter(Text strCompanyID);

private:
    struct Table;

    bool isLoaded_ = false;
    std::int16_t newMemberType_ = 0;
    Members<Contact> members_;
    Sql filter_;
    std::int32_t position_ = 0;
};

} // namespace corveth
