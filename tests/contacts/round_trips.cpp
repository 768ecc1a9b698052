// What an operation costs on a server: how often it is asked and waited for.

#include "contacts/contact.h"
#include "platform/data/channel.h"
#include "session/notes.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

class RoundTripsTest : public test::DatabaseTest {
protected:
    /// Of `action`, run once before, so that its statements are prepared.
    template <class Action>
    std::uint64_t tripsOf(Action action) {
        action();
        const auto before = connection->channel().session().roundTrips();
        action();
        return connection->channel().session().roundTrips() - before;
    }
};

void saveNote(const Text& id, const Text& title) {
    auto note = make<Note>();
    note->let_ID(id);
    note->LinkId = "CN00000001";
    note->Title = title;
    note->Update();
}

void addContact() {
    auto contact = make<Contact>();
    contact->ContactType = ctContactType::ctIndividual;
    contact->FirstName = "Kari";
    contact->UpdateContact();
}

TEST_P(RoundTripsTest, AreAsFewAsAnOperationNeeds) {
    saveNote({}, "First");
    addContact();
    int count = 0;
    struct Case {
        const char* name;
        std::function<void()> operation;
        std::uint64_t most;
    };
    const Case cases[] = {
        {"a record is loaded",
         [] {
             auto note = make<Note>();
             note->let_ID("NT00000001");
             note->Populate();
         },
         1},
        {"a contact is loaded: its row, and who belongs to it", [] { make<Contact>()->let_ID("CN00000001"); }, 2},
        {"a list is loaded",
         [] {
             auto notes = make<Notes>();
             notes->SetLinkFilter("CN00000001");
             notes->Populate();
         },
         1},
        {"a new record is saved: look, key, write", [] { saveNote({}, "New"); }, 3},
        {"an existing one: look, write", [&] { saveNote("NT00000001", std::to_string(++count)); }, 2},
        {"a new contact", addContact, 3},
        {"a transaction with a save",
         [&] {
             connection->BeginTrans();
             saveNote({}, "New");
             connection->CommitTrans();
         },
         4},
        {"three saves in nested transactions, one of them undone",
         [&] {
             connection->BeginTrans();
             saveNote({}, "Kept");
             connection->BeginTrans();
             saveNote({}, "Undone");
             connection->RollbackTrans();
             connection->BeginTrans();
             saveNote({}, "Kept too");
             connection->CommitTrans();
             connection->CommitTrans();
         },
         10},
        {"transactions in which nothing happens",
         [&] {
             connection->BeginTrans();
             connection->BeginTrans();
             connection->CommitTrans();
             connection->RollbackTrans();
         },
         0},
        {"a method with a transaction of its own",
         [] {
             auto note = make<Note>();
             note->let_ID("NT00000099");
             note->DeleteNote(true);
         },
         2},
        {"a statement that fails within a transaction",
         [&] {
             connection->BeginTrans();
             connection->execute("Delete From Notes Where NoteId='NT00000098'");
             EXPECT_THROW(connection->execute("Insert Into Notes (NoteId) Values ('NT00000001')"), Error);
             connection->execute("Delete From Notes Where NoteId='NT00000098'");
             connection->CommitTrans();
         },
         5},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(tripsOf(row.operation), row.most);
    }
    EXPECT_EQ(scalar("Select Count(*) From Notes Where Title='Undone'"), "0");
    EXPECT_EQ(scalar("Select Count(*) From Notes Where Title Like 'Kept*'"), "4");
}

CORVETH_ON_ENGINE("PostgreSQL", RoundTripsTest);

} // namespace
} // namespace corveth
