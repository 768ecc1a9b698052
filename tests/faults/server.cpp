// What happens to a server and to the connections to it: the next call says so in clear words, nothing is half saved,
// and with a new connection everything works again.

#include "faults/records.h"
#include "platform/desktop/message_box.h"
#include "services/schema.h"
#include "session/crm.h"
#include "session/failure.h"
#include "session/module_state.h"
#include "support/own_server.h"
#include "support/proxy.h"
#include "support/temporary_database.h"
#include "support/test_server.h"

#include <gmock/gmock.h>

#include <csignal>
#include <unistd.h>

namespace corveth::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* isUnsure = "Whether the change was made is not known";

Ref<Connection> connect(const Text& connectionString) {
    auto connection = make<Connection>();
    connection->open(connectionString);
    return connection;
}

Text listOf(const Text& connectionString) {
    const auto connection = connect(connectionString);
    Text list;
    for (const auto& [name, version] : storedVersions(connection))
        list += name + "=" + version + " ";
    return list;
}

/// What hangs must end: nothing of what is tested here takes nearly as long.
class ServerFault : public testing::TestWithParam<Engine> {
protected:
    void SetUp() override { ::alarm(200); }
    void TearDown() override {
        moduleState() = {};
        ::alarm(0);
    }
};

/// What ends connections.
struct Ending {
    const char* name;
    const char* words;
    void (*happens)(const OwnServer&);
    bool endsServer = true;
    /// Instead, when a process of the server has no time for its own.
    const char* shortWords = words;
    /// Who waits for a lock is ended before who holds it.
    bool holdsLocks = true;

    [[nodiscard]] auto saysSo() const { return testing::AnyOf(HasSubstr(words), HasSubstr(shortWords)); }
};

/// Processes that serve connections to the test's database, by the server's own list.
Text connectionsOf(const char* database) {
    return Text("from pg_stat_activity where pid <> pg_backend_pid() and datname = '") + database + "'";
}

void askServer(const OwnServer& server, const Text& sql) {
    connect(server.connectionString("postgres"))->execute(sql);
}

const Ending endings[] = {
    {"AServerThatIsShutDown", "terminating connection due to administrator command (PostgreSQL 57P01)",
     [](const OwnServer& server) { server.end(SIGINT); }},
    {"AServerThatIsShutDownAtOnce", "terminating connection due to immediate shutdown command (PostgreSQL 57P01)",
     [](const OwnServer& server) { server.end(SIGQUIT); }, true, "server closed the connection unexpectedly"},
    {"AMachineThatGoesOff", "server closed the connection unexpectedly. This probably means the server terminated",
     [](const OwnServer& server) { server.crash(); }, true, "unexpected postmaster exit"},
    {"AServerThatIsKilled", "terminating connection due to unexpected postmaster exit (PostgreSQL 57P01)",
     [](const OwnServer& server) { server.kill(); }, true, "server closed the connection unexpectedly", false},
    {"AnotherConnectionThatCrashes", "terminating connection because of crash of another server process",
     [](const OwnServer& server) {
         const auto other = connect(server.connectionString("postgres")),
                    watching = connect(server.connectionString("postgres"));
         ::kill(std::stoi(firstValue(other, "Select pg_backend_pid()")), SIGKILL);
         // The server ends all others and starts anew by itself.
         ASSERT_TRUE(eventually([&] { return !raised([&] { watching->execute("Select 1"); }).empty(); }));
         ASSERT_TRUE(eventually([&] { return raised([&] { askServer(server, "Select 1"); }).empty(); }));
     },
     false, "server closed the connection unexpectedly"},
    {"AnAdministratorWhoCutsIt", "terminating connection due to administrator command (PostgreSQL 57P01)",
     [](const OwnServer& server) {
         const Text others = connectionsOf("faults");
         askServer(server, "Select pg_terminate_backend(pid) From (Select pid " + others +
                               " order by backend_start desc) As newest");
         const auto asking = connect(server.connectionString("postgres"));
         ASSERT_TRUE(eventually([&] { return firstValue(asking, "Select Count(*) " + others) == "0"; }));
     },
     false},
};

TEST_P(ServerFault, BetweenCallsIsSaidByTheNextAndPasses) {
    const OwnServer server;
    const Text database = server.connectionString("faults");
    createDatabase(database);
    share(database);
    const Text noteId = saveNote("oldnote", "0"), contactId = saveContact("oldcontact", "0");
    closeShared();
    auto crm = make<CRM>();
    int round = 0;
    for (const Ending& ending : endings) {
        SCOPED_TRACE(ending.name);
        const Text version = std::to_string(++round);
        Ref<Connection> all[6];
        for (auto& connection : all)
            connection = connect(database);
        const auto& [idle, reading, busy, committing, editing, deleting] = all;
        const auto fails = [&](const char* what, const auto& action) {
            EXPECT_THAT(raised(action), AllOf(ending.saysSo(), Not(HasSubstr(isUnsure)))) << what;
        };
        crm->UseConnection(busy);
        busy->BeginTrans();
        saveNote("lostnote", "a");
        saveContact("lostcontact", "a");
        busy->BeginTrans();
        saveNote("oldnote", "lost", noteId);
        crm->UseConnection(committing);
        committing->BeginTrans();
        saveNote("lostnote", "b");
        const auto rows = make<Recordset>();
        rows->open("Select * From Notes", editing, CursorType::keyset, LockType::optimistic);
        rows->set("Title", "lost");
        const auto note = make<Note>();
        note->let_ID(noteId);
        note->Populate();
        const auto contact = make<Contact>();
        contact->let_ID(contactId);

        ending.happens(server);

        crm->UseConnection(idle);
        fails("new note", [] { saveNote("lostnote", "c"); });
        fails("new contact", [] { saveContact("lostcontact", "c"); });
        fails("known note", [&] { note->Update(); });
        fails("reading a note", [&] { note->Populate(); });
        fails("begin", [&] { idle->BeginTrans(); });
        fails("time limit", [&] { idle->let_CommandTimeout(3); });
        EXPECT_EQ(idle->transactionLevel(), 0);
        fails("query", [&] { firstValue(reading, "Select Count(*) From Notes"); });
        crm->UseConnection(busy);
        fails("contact in a transaction", [] { saveContact("lostcontact", "d"); });
        fails("note in a transaction", [] { saveNote("lostnote", "d"); });
        fails("savepoint", [&] { busy->BeginTrans(); });
        fails("end of a savepoint", [&] { busy->CommitTrans(); });
        EXPECT_EQ(busy->transactionLevel(), 2);
        busy->RollbackTrans();
        fails("commit after failures", [&] { busy->CommitTrans(); });
        busy->RollbackTrans();
        EXPECT_EQ(busy->transactionLevel(), 0);
        fails("note after a rollback", [] { saveNote("lostnote", "e"); });
        EXPECT_THAT(raised([&] { committing->CommitTrans(); }), ending.saysSo());
        committing->RollbackTrans();
        fails("changed row", [&] { rows->Update(); });
        rows->CancelUpdate();
        crm->UseConnection(deleting);
        Text box;
        const auto earlier = setMessageBoxHandler([&](const MessageBox& shown) {
            box = shown.prompt;
            return messageBoxes::ok;
        });
        contact->DeleteContact(true);
        setMessageBoxHandler(earlier);
        EXPECT_THAT(box, ending.saysSo());
        EXPECT_EQ(deleting->transactionLevel(), 0);
        rows->Close();
        for (const auto& connection : all)
            connection->Close();

        if (ending.endsServer) server.start();
        crm->UseConnection(connect(database));
        note->Title = "oldnote";
        note->Update();
        contact->UpdateContact();
        saveNote("note" + version, version);
        moduleState().SharedConnection->BeginTrans();
        saveContact("oldcontact", version, contactId);
        moduleState().SharedConnection->CommitTrans();
        saveNote("oldnote", version, noteId);
        idle->open(database);
        idle->Close();
        Text expected;
        for (int i = 1; i <= round; ++i)
            expected += "note" + std::to_string(i) + "=" + std::to_string(i) + " ";
        EXPECT_EQ(listOf(database), expected + "oldcontact=" + version + " oldnote=" + version + " ");
        crm->UseConnection(nullptr);
    }
}

/// What is under way on a connection of its own, thread and all.
class Running {
public:
    Running(const Text& database, const std::function<void(Connection&)>& action)
        : thread_([this, database, action] {
              share(database);
              failure_ = raised([&] { action(*moduleState().SharedConnection); });
              Connection& connection = *moduleState().SharedConnection;
              while (connection.transactionLevel() > 0)
                  connection.RollbackTrans();
              closeShared();
          }) {}

    /// What it failed with.
    Text failure() {
        thread_.join();
        return failure_;
    }

private:
    Text failure_;
    std::thread thread_;
};

TEST_P(ServerFault, InsideAStatementIsSaidByItAndLeavesNothing) {
    const OwnServer server;
    const Text database = server.connectionString("faults");
    createDatabase(database);
    share(database);
    const Text noteId = saveNote("oldnote", "0");
    closeShared();
    for (const Ending& ending : endings) {
        SCOPED_TRACE(ending.name);
        const auto locking = connect(database);
        locking->BeginTrans();
        locking->execute("Update Notes Set Title='lost'");

        Running reading(database, [](Connection& connection) { connection.execute("Select pg_sleep(600)"); });
        Running writing(database, [](Connection& connection) {
            connection.execute("Insert Into Notes (NoteId, Title) Select 'NT90000000', 'lost' From "
                               "(Select pg_sleep(600)) As s");
        });
        Running inTransaction(database, [](Connection& connection) {
            connection.BeginTrans();
            saveNote("lostnote", "a");
            connection.execute("Insert Into Notes (NoteId, Title) Select 'NT90000001', 'lost' From "
                               "(Select pg_sleep(600)) As s");
        });
        Running waiting(database, [&](Connection& connection) {
            if (!ending.holdsLocks) connection.execute("Select pg_sleep(600)");
            saveNote("oldnote", "lost", noteId);
        });
        const Text busy = "Select Count(*) " + connectionsOf("faults") +
                          " and state = 'active' and wait_event in "
                          "('PgSleep', 'transactionid', 'tuple')";
        ASSERT_TRUE(eventually([&] { return firstValue(connect(server.connectionString("postgres")), busy) == "4"; }));

        ending.happens(server);

        EXPECT_THAT(reading.failure(), ending.saysSo());
        EXPECT_THAT(writing.failure(), AllOf(ending.saysSo(), HasSubstr(isUnsure)));
        EXPECT_THAT(inTransaction.failure(), AllOf(ending.saysSo(), Not(HasSubstr(isUnsure))));
        EXPECT_THAT(waiting.failure(), AllOf(ending.saysSo(), HasSubstr(isUnsure)));
        locking->RollbackTrans();
        if (ending.endsServer) server.start();
        EXPECT_EQ(listOf(database), "oldnote=0 ");
    }
}

CORVETH_ON_ENGINE("PostgreSQL", ServerFault);

} // namespace
} // namespace corveth::test
