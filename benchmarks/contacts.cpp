#include "operations.h"

#include "contacts/contacts.h"

#include <malloc.h>

namespace corveth::bench {

namespace {

Ref<Contacts> ourPersons() {
    auto contacts = make<Contacts>();
    contacts->InitializeAsType(ctContactType::ctIndividual);
    return contacts;
}

std::size_t inUse() {
    return ::mallinfo2().uordblks;
}

} // namespace

Pair contactList(World& world) {
    return {1,
            {{},
             [] {
                 const auto contacts = ourPersons();
                 const auto last = contacts->MoveLast();
                 return static_cast<std::size_t>(contacts->get_Count()) + last->LastName.size() +
                        last->get_Company()->Phone.size() + (last->get_IsUsed() ? 1 : 0);
             }},
            {{}, [&world] {
                 constexpr std::size_t lastName = 5, phone = 18;
                 const auto persons = world.rawContacts().persons();
                 const RawContact& last = *persons.back();
                 return persons.size() + last.texts[lastName].size() + last.company->texts[phone].size() +
                        (last.isUsed ? 1 : 0);
             }}};
}

ContactMemory memoryOfContact(World& world) {
    const auto count = static_cast<std::size_t>(world.size().contacts);
    // A first list takes what is kept for good: prepared statements, pages.
    ourPersons();
    static_cast<void>(world.rawContacts().persons());

    const std::size_t before = inUse();
    const auto ours = ourPersons();
    const std::size_t withOurs = inUse();
    const auto raw = world.rawContacts().persons();
    const std::size_t withBoth = inUse();
    return {(withOurs - before) / count, (withBoth - withOurs) / count};
}

} // namespace corveth::bench
