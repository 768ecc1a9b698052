// What a server does not let a client do, or not now: time limits, locks, rights.

#include "faults/records.h"
#include "session/failure.h"
#include "session/module_state.h"
#include "support/temporary_database.h"
#include "support/test_server.h"

#include <gmock/gmock.h>

#include <unistd.h>

namespace corveth::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr const char* lockWords = "canceling statement due to lock timeout (PostgreSQL 55P03): another connection is "
                                  "changing the same data";
constexpr const char* timeWords = "canceling statement due to statement timeout (PostgreSQL 57014): it took longer "
                                  "than the connection's timeout allows";

class ServerLimits : public testing::TestWithParam<Engine> {
protected:
    void SetUp() override {
        ::alarm(200); // what hangs must end
        connection = share(database->connectionString());
        noteId = saveNote("oldnote", "a");
    }
    void TearDown() override {
        moduleState() = {};
        connection = nullptr;
        ::alarm(0);
    }

    [[nodiscard]] Ref<Connection> another(const Text& more) const {
        auto made = make<Connection>();
        made->open(database->connectionString() + more);
        return made;
    }
    [[nodiscard]] Text name() const {
        const Text text = database->connectionString();
        const auto begin = text.find("Database=\"") + 10;
        return text.substr(begin, text.find('"', begin) - begin);
    }

    std::unique_ptr<TestDatabase> database = GetParam().make(true);
    Ref<Connection> connection;
    Text noteId;
};

TEST_P(ServerLimits, OfTimeEndAStatementAndNothingElse) {
    const auto holder = another("");
    for (const bool inTransaction : {false, true}) {
        for (const int seconds : {0, 1}) {
            SCOPED_TRACE(testing::Message() << inTransaction << seconds);
            holder->BeginTrans();
            holder->execute("Update Notes Set LinkId='held'");
            connection->let_CommandTimeout(seconds);
            if (inTransaction) connection->BeginTrans();
            if (inTransaction) saveNote("newnote", "a");
            EXPECT_THAT(raised([&] { saveNote("oldnote", "lost", noteId); }), HasSubstr(lockWords));
            const Text slow =
                raised([&] { connection->execute(seconds == 0 ? "Select pg_sleep(0.5)" : "Select pg_sleep(100)"); });
            EXPECT_THAT(slow, HasSubstr(seconds == 0 ? "" : timeWords));
            EXPECT_EQ(slow.empty(), seconds == 0) << "0 is no limit";
            if (inTransaction) connection->CommitTrans();
            holder->RollbackTrans();
            saveNote("oldnote", "a", noteId);
        }
    }
    EXPECT_EQ(storedVersions(holder), (std::map<Text, Text>{{"oldnote", "a"}, {"newnote", "a"}}));
}

TEST_P(ServerLimits, OfTimeSetInATransactionOutliveIt) {
    connection->BeginTrans();
    connection->let_CommandTimeout(1);
    connection->execute("Select 1");
    connection->RollbackTrans();
    EXPECT_THAT(raised([&] { connection->execute("Select pg_sleep(100)"); }), HasSubstr(timeWords));
}

TEST_P(ServerLimits, OfRightsAreSaidAndPass) {
    const ServerConnection administrator(name());
    const auto set = [&](const char* onOrOff) {
        administrator.run("alter database \"" + name() + "\" set default_transaction_read_only = " + onOrOff);
    };
    set("on");
    moduleState().SharedConnection = another("");
    EXPECT_THAT(raised([] { saveNote("lostnote", "b"); }), HasSubstr("in a read-only transaction (PostgreSQL 25006)"));
    EXPECT_THAT(raised([] { inTransaction(true, [] { saveContact("lostcontact", "b"); }); }),
                HasSubstr("in a read-only transaction (PostgreSQL 25006)"));
    set("off");

    const Text role = "role_" + name();
    administrator.run("create role " + role + " login");
    administrator.run("grant select on notes to " + role);
    auto limited = make<Connection>();
    const Text asAdministrator = database->connectionString();
    limited->Open(asAdministrator, role, {}, -1);
    EXPECT_EQ(firstValue(limited, "Select Title From Notes"), "oldnote");
    moduleState().SharedConnection = limited;
    EXPECT_THAT(raised([] { saveNote("lostnote", "b"); }),
                HasSubstr("permission denied for table notes (PostgreSQL 42501)"));
    EXPECT_THAT(raised([] { saveContact("lostcontact", "b"); }), HasSubstr("permission denied for "));
    administrator.run("grant insert, update on notes to " + role);
    EXPECT_EQ(raised([] { saveNote("newnote", "a"); }), "");
    limited->Close();
    administrator.run("drop owned by " + role);
    administrator.run("drop role " + role);
    EXPECT_EQ(storedVersions(connection), (std::map<Text, Text>{{"oldnote", "a"}, {"newnote", "a"}}));
}

TEST_P(ServerLimits, OfADatabaseThatIsGone) {
    connection->BeginTrans();
    saveNote("lostnote", "a");
    ServerConnection("postgres").run("drop database \"" + name() + "\" with (force)");
    EXPECT_THAT(raised([&] { connection->CommitTrans(); }),
                HasSubstr("terminating connection due to administrator command (PostgreSQL 57P01)"));
    connection->RollbackTrans();
    connection->Close();
    EXPECT_THAT(raised([&] { static_cast<void>(another("")); }),
                HasSubstr("database \"" + name() + "\" does not exist"));
}

CORVETH_ON_ENGINE("PostgreSQL", ServerLimits);

} // namespace
} // namespace corveth::test
