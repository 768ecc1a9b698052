#include "operations.h"

#include "contacts/contacts.h"
#include "platform/data/recordset.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <malloc.h>
#include <random>

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
                 const auto persons = world.rawContacts().persons();
                 const RawContact& last = *persons.back();
                 return persons.size() + last.texts[RawContact::lastName].size() +
                        last.company->texts[RawContact::phone].size() + (last.isUsed ? 1 : 0);
             }}};
}

namespace {

constexpr int contactsOfTurn = 20, contactsOfTransaction = 200;

/// The contacts of a turn, each of them once.
std::vector<std::string> someContacts(const World& world, int count) {
    std::vector<std::string> ids;
    for (int i = 0; i < std::min(count, world.size().contacts); ++i)
        ids.push_back(World::contactId(i));
    return ids;
}

/// Another one in every turn of either of the operations that save.
std::string newName(int count, int turn) {
    return fmt::format("Nygård the {}. of {}", turn, count);
}

/// Contacts that were loaded and get another name.
template <class Contact>
struct Renaming {
    std::vector<Contact> contacts;
    int turn = 0;
};

Pair saves(World& world, int count, bool isInTransaction) {
    const auto ids = someContacts(world, count);
    auto ours = std::make_shared<Renaming<Ref<Contact>>>();
    auto raw = std::make_shared<Renaming<std::unique_ptr<RawContact>>>();
    return {static_cast<int>(ids.size()),
            {[=] {
                 ++ours->turn;
                 ours->contacts.clear();
                 for (const auto& id : ids) {
                     ours->contacts.push_back(make<Contact>());
                     ours->contacts.back()->let_ID(id);
                 }
             },
             [=, &world] {
                 std::size_t bytes = 0;
                 if (isInTransaction) world.connection().BeginTrans();
                 for (const auto& contact : ours->contacts) {
                     contact->LastName = newName(count, ours->turn);
                     contact->UpdateContact();
                     bytes += contact->ToString.size();
                 }
                 if (isInTransaction) world.connection().CommitTrans();
                 return bytes;
             }},
            {[=, &world] {
                 ++raw->turn;
                 raw->contacts.clear();
                 for (const auto& id : ids)
                     world.rawContacts().load(id, *raw->contacts.emplace_back(std::make_unique<RawContact>()));
             },
             [=, &world] {
                 std::size_t bytes = 0;
                 if (isInTransaction) world.rawContacts().begin();
                 for (const auto& contact : raw->contacts) {
                     contact->texts[RawContact::lastName] = newName(count, raw->turn);
                     contact->texts[RawContact::name] = contact->wholeName();
                     world.rawContacts().save(*contact);
                     bytes += contact->texts[RawContact::name].size();
                 }
                 if (isInTransaction) world.rawContacts().commit();
                 return bytes;
             }}};
}

} // namespace

Pair loadContact(World& world) {
    const auto ids = someContacts(world, contactsOfTransaction);
    return {static_cast<int>(ids.size()),
            {{},
             [=] {
                 std::size_t bytes = 0;
                 for (const auto& id : ids) {
                     const auto contact = make<Contact>();
                     contact->let_ID(id);
                     bytes += contact->LastName.size() + contact->get_Company()->Phone.size();
                 }
                 return bytes;
             }},
            {{}, [=, &world] {
                 std::size_t bytes = 0;
                 for (const auto& id : ids) {
                     RawContact contact;
                     world.rawContacts().load(id, contact);
                     bytes +=
                         contact.texts[RawContact::lastName].size() + contact.company->texts[RawContact::phone].size();
                 }
                 return bytes;
             }}};
}

Pair saveContact(World& world) {
    return saves(world, contactsOfTurn, false);
}

Pair saveContactInTransaction(World& world) {
    return saves(world, contactsOfTransaction, true);
}

/// Bytes that do not compress, through a recordset of two columns.
Pair replacePicture(World& world) {
    constexpr std::size_t size = 5'000'000;
    struct Pictures {
        std::array<Bytes, 2> bytes; ///< by turns, for what is there already is not written again
        Bytes next;
        std::size_t turn = 0;
        void take() { next = bytes[++turn % 2]; }
    };
    Pictures pictures;
    std::mt19937 random(5); // NOLINT(cert-msc51-cpp): the same on both sides
    for (Bytes& bytes : pictures.bytes) {
        bytes.resize(size);
        std::ranges::generate(bytes, [&] { return static_cast<std::byte>(random()); });
    }
    auto ours = std::make_shared<Pictures>(pictures), raw = std::make_shared<Pictures>(std::move(pictures));
    const std::string id = World::pictureId;
    return {1,
            {[=] { ours->take(); },
             [=, &world] {
                 const auto rows = make<Recordset>();
                 rows->open("Select ContactId, Pic From ContactMaster Where ContactId='" + id + "'",
                            Ref<Connection>(&world.connection()), CursorType::keyset, LockType::optimistic);
                 const auto* bytes = rows->value("Pic").getIf<Bytes>();
                 const std::size_t was = bytes == nullptr ? 0 : bytes->size();
                 rows->set("Pic", std::move(ours->next));
                 rows->Update();
                 return was;
             }},
            {[=] { raw->take(); }, [=, &world] { return world.rawContacts().replacePicture(id, raw->next); }}};
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
