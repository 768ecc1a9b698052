// What happens to the line between a client and a server: it is cut in the middle of what goes over it, or it stays and
// nothing comes through.

#include "faults/child.h"
#include "faults/records.h"
#include "platform/desktop/message_box.h"
#include "session/failure.h"
#include "session/module_state.h"
#include "support/proxy.h"
#include "support/temporary_database.h"
#include "support/test_server.h"

#include <gmock/gmock.h>

#include <csignal>
#include <unistd.h>

namespace corveth::test {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;

constexpr const char* isLost = "The connection to the server is lost and has to be opened again: ";
constexpr const char* isUnsure = "Whether the change was made is not known";
constexpr const char* isUnsureOfAll = "Whether the transaction was committed is not known";

/// The same database by way of `proxy`.
Text through(const Proxy& proxy, const Text& connectionString) {
    Text changed = connectionString;
    return changed.replace(changed.find(serverFolder()), serverFolder().size(), proxy.folder());
}

struct Change;

class LineFault : public testing::TestWithParam<Engine> {
protected:
    /// What hangs must end: nothing of what is tested here takes nearly as long.
    void SetUp() override { ::alarm(200); }
    /// One old note and one old contact, and nothing else.
    void reset() {
        moduleState().SharedConnection = looking;
        for (const char* table : {"Notes", "ContactDetails", "ContactMaster"})
            looking->execute(Text("Delete From ") + table);
        noteId = saveNote("oldnote", "a");
        contactId = saveContact("oldcontact", "a");
    }
    void TearDown() override {
        moduleState() = {};
        looking = nullptr;
        ::alarm(0);
    }

    bool cut(const Change& change, Proxy::Way way, std::int64_t bytes, std::int64_t& all);

    std::unique_ptr<TestDatabase> database = GetParam().make(true);
    Ref<Connection> looking; ///< which nothing happens to
    const std::map<Text, Text> unchanged = {{"oldnote", "a"}, {"oldcontact", "a"}};

public:
    Text noteId, contactId;
};

/// A save, and what is stored when all of it was done.
struct Change {
    const char* name;
    void (*happens)(const LineFault&);
    std::map<Text, Text> result;
};

const Change changes[] = {
    {"ANewNote",
     [](const LineFault&) { saveNote("newnote", "b"); },
     {{"oldnote", "a"}, {"oldcontact", "a"}, {"newnote", "b"}}},
    {"AKnownContact",
     [](const LineFault& test) { saveContact("oldcontact", "b", test.contactId); },
     {{"oldnote", "a"}, {"oldcontact", "b"}}},
    {"ADeletedContact",
     [](const LineFault& test) {
         const auto contact = make<Contact>();
         contact->let_ID(test.contactId);
         contact->DeleteContact(true);
     },
     {{"oldnote", "a"}}},
    {"ATransaction",
     [](const LineFault& test) {
         inTransaction(true, [&] {
             saveNote("oldnote", "b", test.noteId);
             saveContact("newcontact", "b");
             inTransaction(true, [&] { saveContact("oldcontact", "b", test.contactId); });
         });
     },
     {{"oldnote", "b"}, {"oldcontact", "b"}, {"newcontact", "b"}}},
};

/// Cuts the line after so many bytes of a change went that way. False when the change went through.
bool LineFault::cut(const Change& change, Proxy::Way way, std::int64_t bytes, std::int64_t& all) {
    reset();
    Proxy proxy(serverFolder());
    const auto connection = share(through(proxy, database->connectionString()));
    const std::int64_t before = proxy.passed(way);
    if (bytes >= 0) proxy.cutAfter(way, bytes);
    const int boxes = messageBoxCount();
    Text failure = raised([&] { change.happens(*this); });
    if (messageBoxCount() != boxes) failure = lastMessageBox();
    all = proxy.passed(way) - before;
    EXPECT_EQ(connection->transactionLevel(), 0);
    closeShared();
    const auto found = storedVersions(looking);
    if (failure.empty()) {
        EXPECT_EQ(found, change.result);
    } else if (failure.find("is not known") == Text::npos) {
        EXPECT_THAT(failure, HasSubstr(isLost));
        EXPECT_EQ(found, unchanged) << failure;
    } else {
        EXPECT_THAT(failure, HasSubstr(isLost));
        EXPECT_THAT(found, AnyOf(unchanged, change.result));
    }
    return !failure.empty();
}

TEST_P(LineFault, ACutAnywhereLeavesNothingHalfAndNoDoubtThatIsNotTold) {
    constexpr int cuts = 8;
    looking = make<Connection>();
    looking->open(database->connectionString());
    for (const Change& change : changes) {
        for (const auto way : {Proxy::toServer, Proxy::toClient}) {
            SCOPED_TRACE(testing::Message() << change.name << (way == Proxy::toServer ? " sent" : " answered"));
            std::int64_t all = 0, ignored = 0;
            EXPECT_FALSE(cut(change, way, -1, all));
            for (int i = 0; i < cuts; ++i) {
                SCOPED_TRACE(i);
                EXPECT_TRUE(cut(change, way, all * i / cuts, ignored));
            }
        }
    }
}

/// Who waits for an answer that does not come.
struct Silence {
    const char* name;
    void (*happens)(Connection&, Proxy&);
    const char* doubt;
};

/// Stops the process that serves `connection`; it goes on when the object ends.
class Frozen {
public:
    explicit Frozen(const Ref<Connection>& connection)
        : process_(std::stoi(firstValue(connection, "Select pg_backend_pid()"))) {
        ::kill(process_, SIGSTOP);
    }
    Frozen(const Frozen&) = delete;
    Frozen& operator=(const Frozen&) = delete;
    ~Frozen() { ::kill(process_, SIGCONT); }

private:
    pid_t process_;
};

const Silence silences[] = {
    {"a question that does not arrive",
     [](Connection& connection, Proxy& proxy) {
         proxy.swallowAfter(Proxy::toServer, 0);
         connection.execute("Select Title From Notes");
     },
     ""},
    {"half an answer",
     [](Connection& connection, Proxy& proxy) {
         connection.execute("Update Notes Set LinkId='a'");
         proxy.swallowAfter(Proxy::toClient, 5);
         connection.execute("Update Notes Set LinkId='a'");
     },
     isUnsure},
    {"five megabytes that do not go out",
     [](Connection& connection, Proxy& proxy) {
         proxy.swallowAfter(Proxy::toServer, 1 << 20);
         connection.execute("Update Notes Set Note='" + Text(5 << 20, 'x') + "', LinkId='lost'");
     },
     isUnsure},
    {"a record in a transaction",
     [](Connection&, Proxy& proxy) {
         inTransaction(true, [&] {
             saveContact("lostcontact", "b");
             proxy.swallowAfter(Proxy::toServer, 100);
             saveNote("lostnote", "b");
         });
     },
     ""},
    {"a commit",
     [](Connection& connection, Proxy& proxy) {
         connection.BeginTrans();
         saveNote("lostnote", "b");
         proxy.swallowAfter(Proxy::toServer, 0);
         connection.CommitTrans();
     },
     isUnsureOfAll},
    {"a process that stands still",
     [](Connection& connection, Proxy&) {
         const Frozen frozen{Ref<Connection>(&connection)};
         saveNote("lostnote", "b");
     },
     ""},
    {"a second connection",
     [](Connection& connection, Proxy& proxy) {
         proxy.swallowAfter(Proxy::toServer, 0);
         const auto other = make<Connection>();
         other->open(connection.get_ConnectionString());
     },
     nullptr},
};

TEST_P(LineFault, ALineOnWhichNothingComesIsGivenUp) {
    const Text direct = database->connectionString();
    share(direct);
    saveNote("oldnote", "a");
    saveContact("oldcontact", "a");
    closeShared();
    std::vector<std::unique_ptr<Child>> children; // at once, because they wait for the same time
    for (const Silence& silence : silences) {
        children.push_back(std::make_unique<Child>([&](const Child::Report& report) {
            ::alarm(100);
            Proxy proxy(serverFolder());
            const auto connection = share(through(proxy, direct) + ";Default Timeout=1");
            saveNote("before", "a");
            const Text failure = raised([&] { silence.happens(*connection, proxy); });
            report(failure.substr(failure.rfind('\n') + 1));
            if (connection->transactionLevel() > 0) connection->RollbackTrans();
            const Text again = raised([&] { firstValue(connection, "Select Count(*) From Notes"); });
            if (silence.doubt != nullptr && again.find(isLost) == Text::npos) report("still there: " + again);
            closeShared();
            share(direct);
            saveNote("after", "a");
            for (const auto& [name, version] : storedVersions(moduleState().SharedConnection))
                if (version != "a") report(name + "=" + version);
            report("works again");
        }));
    }
    for (std::size_t i = 0; i < children.size(); ++i) {
        const Silence& silence = silences[i];
        SCOPED_TRACE(silence.name);
        Text failure, rest;
        children[i]->readLine(failure);
        for (Text line; children[i]->readLine(line);)
            rest += line + ";";
        EXPECT_EQ(rest, "works again;");
        if (silence.doubt == nullptr) {
            EXPECT_THAT(failure, AllOf(HasSubstr("cannot be opened: "), HasSubstr("timeout")));
        } else {
            EXPECT_THAT(failure, HasSubstr(Text(isLost) + "the server has not answered for"));
            EXPECT_THAT(failure, HasSubstr(silence.doubt));
            EXPECT_EQ(failure.find("is not known") == Text::npos, *silence.doubt == 0) << failure;
        }
    }
}

CORVETH_ON_ENGINE("PostgreSQL", LineFault);

} // namespace
} // namespace corveth::test
