// What happens to the disk, the file and its locks: a failure with clear words, nothing half saved, and everything
// works again when the cause is gone.

#include "faults/child.h"
#include "faults/records.h"
#include "services/schema.h"
#include "session/failure.h"
#include "session/module_state.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <sqlite3.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace corveth::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// A database in a folder of its own, and what can be done to it. Every test runs in a child, which may change its own
/// limits and rights.
struct Place {
    TemporaryFolder folder;
    Text file = folder.file("test.db");
    Text database = "Provider=SQLite;Default Timeout=0;Data Source=" + file;
    Text content; ///< of the file before anything happened to it

    /// With one old note and one old contact.
    Place() {
        createDatabase(database);
        share(database);
        saveNote("oldnote", "a");
        saveContact("oldcontact", "a");
        closeShared();
        std::ostringstream read;
        read << std::ifstream(file, std::ios::binary).rdbuf();
        content = read.str();
        std::ofstream(folder.file("copy.db"), std::ios::binary) << content;
    }
    void restore() const { std::ofstream(file, std::ios::binary) << content; }
};

void limitFileSize(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

struct Locker {
    sqlite3* database = nullptr;
    void lock(const Text& file) {
        sqlite3_open(file.c_str(), &database);
        sqlite3_exec(database, "begin immediate", nullptr, nullptr, nullptr);
    }
    void unlock() { sqlite3_close(std::exchange(database, nullptr)); }
};

/// Something that happens while a connection is open, and goes away again.
struct Fault {
    const char* name;
    const char* words;
    std::function<void(const Place&)> happens, ends;
    /// False where what is stored cannot be read meanwhile.
    bool canRead = true;

    friend void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }
};

Locker locker;

const Fault faults[] = {
    {"AFullDisk", "disk I/O error (SQLite 778)", [](const Place&) { limitFileSize(0); },
     [](const Place&) { limitFileSize(RLIM_INFINITY); }},
    {"AFullDatabase", "database or disk is full (SQLite 13)",
     [](const Place&) { moduleState().SharedConnection->execute("pragma max_page_count=1"); },
     [](const Place&) { moduleState().SharedConnection->execute("pragma max_page_count=1000000"); }},
    {"ALockedDatabase", "database is locked (SQLite 5)", [](const Place& place) { locker.lock(place.file); },
     [](const Place&) { locker.unlock(); }},
    {"AFileThatIsMoved", "has been moved, replaced or deleted",
     [](const Place& place) { fs::rename(place.file, place.folder.file("away")); },
     [](const Place& place) { fs::rename(place.folder.file("away"), place.file); }, false},
    {"AFileThatIsReplaced", "has been moved, replaced or deleted",
     [](const Place& place) {
         fs::rename(place.file, place.folder.file("away"));
         fs::rename(place.folder.file("copy.db"), place.file);
     },
     [](const Place& place) { fs::rename(place.folder.file("away"), place.file); }, false},
    {"AFileThatIsEmptied", "has been emptied", [](const Place& place) { fs::resize_file(place.file, 0); },
     [](const Place& place) { place.restore(); }, false},
    {"AFileThatIsCutOff", "database disk image is malformed (SQLite 11)",
     [](const Place& place) {
         fs::resize_file(place.file, 4096);
         // As another connection would find it, without what this one knows of it.
         static_cast<void>(raised([] { moduleState().SharedConnection->execute("pragma shrink_memory"); }));
     },
     [](const Place& place) { place.restore(); }, false},
    {"ALogThatIsMoved", "has been moved, replaced or deleted",
     [](const Place& place) { fs::rename(place.file + "-wal", place.folder.file("away")); },
     [](const Place& place) { fs::rename(place.folder.file("away"), place.file + "-wal"); }},
};

class StorageFault : public testing::TestWithParam<Fault> {};

Text listOf(const std::map<Text, Text>& versions) {
    Text list;
    for (const auto& [name, version] : versions)
        list += name + "=" + version + " ";
    return list;
}

/// What every save says while the fault lasts, and what is stored afterwards.
TEST_P(StorageFault, FailsClearlyAndPassesWithoutATrace) {
    const Fault& fault = GetParam();
    const Text told = inChild([&](const Child::Report& report) {
        const Place place;
        const auto connection = share(place.database);
        const auto id = saveNote("newnote", "a");
        const auto attempt = [&](const char* what, const auto& action) {
            const Text failure = raised(action);
            const bool isClear = failure.find(fault.words) != Text::npos && failure.find(place.file) != Text::npos;
            if (!isClear) report(Text(what) + ": " + failure);
            if (connection->transactionLevel() != 0) report(Text(what) + ": a transaction is left");
        };
        fault.happens(place);
        attempt("new note", [] { saveNote("lostnote", "a"); });
        attempt("known note", [&] { saveNote("newnote", "longer", id); });
        attempt("new contact", [] { saveContact("lostcontact", "a"); });
        attempt("in a transaction", [] {
            inTransaction(true, [] {
                saveNote("lostnote", "b");
                saveContact("lostcontact", "b");
            });
        });
        attempt("in a savepoint",
                [] { inTransaction(true, [] { inTransaction(true, [] { saveNote("lostnote", "c"); }); }); });
        if (!fault.canRead) {
            // A look at the file is due again.
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            attempt("reading", [&] { storedVersions(connection); });
        }
        fault.ends(place);

        report("level " + std::to_string(connection->BeginTrans()));
        saveNote("newnote", "b", id);
        connection->CommitTrans();
        saveContact("newcontact", "a");
        closeShared();
        const auto again = share(place.database);
        report(listOf(storedVersions(again)) + soundness(again));
        closeShared();
    });
    EXPECT_EQ(told, "level 1\nnewcontact=a newnote=b oldcontact=a oldnote=a ok\n");
}

INSTANTIATE_TEST_SUITE_P(Faults, StorageFault, testing::ValuesIn(faults),
                         [](const auto& test) { return std::string(test.param.name); });

/// The engine keeps its log beside the file that a link leads to.
TEST(Opening, ThroughALinkKeepsAnEyeOnTheLog) {
    const Place place;
    const Text link = place.folder.file("link.db"), log = place.file + "-wal", away = place.folder.file("away");
    fs::create_symlink(place.file, link);
    share("Provider=SQLite;Data Source=" + link);
    saveNote("newnote", "a");
    fs::rename(log, away);
    EXPECT_THAT(raised([] { saveNote("lostnote", "a"); }), HasSubstr(log + "\" has been moved, replaced or deleted"));
    fs::rename(away, log);
    EXPECT_EQ(listOf(storedVersions(moduleState().SharedConnection)), "newnote=a oldcontact=a oldnote=a ");
    closeShared();
}

/// What was read of a damaged file is given up for its repair, also when another failure came after it.
TEST(Damage, PassesWithItsRepair) {
    const Place place;
    const auto connection = share(place.database);
    connection->BeginTrans();
    fs::resize_file(place.file, 4096);
    static_cast<void>(raised([&] { connection->execute("pragma shrink_memory"); }));
    EXPECT_THAT(raised([&] { storedVersions(connection); }), HasSubstr("malformed"));
    EXPECT_THAT(raised([&] { connection->execute("Select Nope From Nowhere"); }), HasSubstr("Nowhere"));
    place.restore();
    connection->RollbackTrans();
    EXPECT_EQ(listOf(storedVersions(connection)), "oldcontact=a oldnote=a ");
    closeShared();
}

/// The file goes while a transaction is open: it is not committed into nowhere.
TEST(Transactions, AreNotCommittedIntoAFileThatIsGone) {
    const Text told = inChild([](const Child::Report& report) {
        const Place place;
        const auto connection = share(place.database);
        const Text failure = raised([&] {
            inTransaction(true, [&] {
                saveNote("lostnote", "a");
                fs::rename(place.file, place.folder.file("away"));
                fs::rename(place.folder.file("copy.db"), place.file);
            });
        });
        report(failure.find("has been moved, replaced or deleted") == Text::npos ? failure : "refused");
        connection->Close();
        fs::remove(place.file + "-wal");
        report("level " + std::to_string((connection->open(place.database), connection->BeginTrans())));
        report(listOf(storedVersions(connection)) +
               firstValue(connection, "Select LastNumber From IdCounters Where TableName='Notes'"));
    });
    EXPECT_EQ(told, "refused\nlevel 1\noldcontact=a oldnote=a 1\n");
}

/// Files that could only be read when they were opened. Root may write to everything, so it becomes somebody else.
class ReadOnly : public testing::Test {
protected:
    static bool becomeNobody(const Place& place) {
        constexpr uid_t nobody = 65534;
        if (::geteuid() != 0) return true;
        for (const auto& entry : fs::directory_iterator(place.folder.path())) {
            if (::chown(entry.path().c_str(), nobody, nobody) != 0) return false;
        }
        return ::chown(place.folder.path().c_str(), nobody, nobody) == 0 && ::setgid(nobody) == 0 &&
               ::setuid(nobody) == 0;
    }
    static void allow(const Text& path, bool writing) {
        const auto write = fs::perms::owner_write;
        fs::permissions(path, write, writing ? fs::perm_options::add : fs::perm_options::remove);
    }
};

TEST_F(ReadOnly, FilesAreReadAndCanBeWrittenOnceTheyMay) {
    const Text told = inChild([](const Child::Report& report) {
        const Place place;
        if (!becomeNobody(place)) throw Error(errors::application, "test", "root cannot become somebody else");
        allow(place.file, false);
        const auto connection = share(place.database);
        report(listOf(storedVersions(connection)));
        const Text words = "attempt to write a readonly database (SQLite 8): \"" + place.file + "\"";
        const auto attempt = [&](const auto& action) {
            const Text failure = raised(action);
            report(failure.ends_with(words) ? "refused" : failure);
        };
        attempt([] { saveNote("lostnote", "a"); });
        attempt([] { saveContact("lostcontact", "a"); });
        attempt([] { inTransaction(true, [] { saveNote("lostnote", "b"); }); });
        const auto rows = make<Recordset>();
        rows->open("Select * From Notes", connection, CursorType::keyset, LockType::optimistic);
        rows->set("Title", "changed");
        attempt([&] { rows->Update(); });

        allow(place.file, true);
        rows->Update();
        report("level " + std::to_string(connection->BeginTrans()));
        saveNote("newnote", "a");
        connection->CommitTrans();
        saveContact("newcontact", "a");
        report(listOf(storedVersions(connection)));
        closeShared();
    });
    EXPECT_EQ(told, "oldcontact=a oldnote=a \nrefused\nrefused\nrefused\nrefused\nlevel 1\n"
                    "changed=a newcontact=a newnote=a oldcontact=a \n");
}

TEST_F(ReadOnly, FoldersAreNamed) {
    const Text told = inChild([](const Child::Report& report) {
        const Place place;
        if (!becomeNobody(place)) throw Error(errors::application, "test", "root cannot become somebody else");
        const Text folder = place.folder.path().string();
        const auto attempt = [&](const Text& begin) {
            const Text failure = raised([&] { share(place.database); });
            report(failure.starts_with("-2147467259 ADODB.Connection: " + begin) ? "refused" : failure);
        };
        allow(folder, false);
        attempt("The database \"" + place.file +
                "\" cannot be opened: attempt to write a readonly database (SQLite 1544): files beside it are needed "
                "for reading too");
        fs::permissions(folder, fs::perms::none);
        attempt("The database \"" + place.file + "\" cannot be opened: Permission denied");
        fs::permissions(folder, fs::perms::owner_all);

        // What is open needs nothing more of its folder.
        share(place.database);
        allow(folder, false);
        saveNote("newnote", "a");
        allow(folder, true);
        report(listOf(storedVersions(moduleState().SharedConnection)));
        closeShared();
    });
    EXPECT_EQ(told, "refused\nrefused\nnewnote=a oldcontact=a oldnote=a \n");
}

TEST(Opening, NamesTheFileAndWhatIsWrongWithIt) {
    const struct {
        const char* name;
        const char* words;
        std::function<void(const Text& file)> given;
    } cases[] = {
        {"missing", "there is no such file", [](const Text&) {}},
        {"folder", "it is a folder", [](const Text& file) { fs::create_directory(file); }},
        {"pipe", "it is not a plain file", [](const Text& file) { ::mkfifo(file.c_str(), 0600); }},
        {"empty", "the file is empty", [](const Text& file) { std::ofstream(file).flush(); }},
        {"letter", "file is not a database (SQLite 26)",
         [](const Text& file) { std::ofstream(file) << Text(5000, 'x'); }},
        {"short letter", "file is not a database", [](const Text& file) { std::ofstream(file) << "x"; }},
        {"cut off", "database disk image is malformed (SQLite 11)",
         [](const Text& file) {
             createDatabase("Provider=SQLite;Data Source=" + file);
             fs::resize_file(file, fs::file_size(file) / 2);
         }},
        {"locked", "database is locked (SQLite 5)",
         [](const Text& file) {
             createDatabase("Provider=SQLite;Data Source=" + file);
             sqlite3_open(file.c_str(), &locker.database);
             sqlite3_exec(locker.database, "pragma locking_mode=exclusive; begin exclusive", nullptr, nullptr, nullptr);
         }},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        const Text file = folder.file("x.db");
        row.given(file);
        const auto connection = make<Connection>();
        const auto open = [&] { connection->open("Provider=SQLite;Default Timeout=0;Data Source=" + file); };
        EXPECT_THAT(raised(open), testing::StartsWith("-2147467259 ADODB.Connection: The database \"" + file +
                                                      "\" cannot be opened: " + row.words));
        if (locker.database != nullptr) locker.unlock();
        fs::remove(file);
        createDatabase("Provider=SQLite;Data Source=" + file);
        open();
        EXPECT_EQ(connection->get_State(), 1);
    }
}

TEST(Transactions, EndThoughTheirTraceCannotBeWritten) {
    const Text told = inChild([](const Child::Report& report) {
        const Place place;
        const auto connection = share(place.database + ";Trace File=" + place.folder.file("trace"));
        connection->BeginTrans();
        saveNote("lostnote", "a");
        limitFileSize(0);
        report(raised([&] { connection->CommitTrans(); }).substr(0, 5));
        report(raised([&] { connection->RollbackTrans(); }).substr(0, 5));
        limitFileSize(RLIM_INFINITY);
        report("level " + std::to_string(connection->BeginTrans()) + " " + listOf(storedVersions(connection)));
        connection->RollbackTrans();
        closeShared();
    });
    EXPECT_EQ(told, "3004 \n3004 \nlevel 1 oldcontact=a oldnote=a \n");
}

/// The engine ends it while the counters are raised before the commit.
TEST(Transactions, AreNotCommittedWhenTheCountersCannotBeRaised) {
    const Place place;
    const auto connection = share(place.database);
    connection->execute("create trigger Ending before update on IdCounters begin select raise(rollback, 'ended'); end");
    connection->BeginTrans();
    saveNote("lostnote", "a");
    EXPECT_THAT(raised([&] { connection->CommitTrans(); }), HasSubstr("ended (SQLite 1811)"));
    EXPECT_THAT(raised([] { saveNote("lostnote", "b"); }), HasSubstr("The engine has ended the transaction: ended"));
    connection->RollbackTrans();
    EXPECT_EQ(listOf(storedVersions(connection)), "oldcontact=a oldnote=a ");
    connection->execute("drop trigger Ending");
    saveNote("newnote", "c");
    EXPECT_EQ(listOf(storedVersions(connection)), "newnote=c oldcontact=a oldnote=a ");
    closeShared();
}

/// A database that takes the name of one that was killed and deleted gets nothing of what that one left.
TEST(Opening, MakesANewDatabaseBesideTheLogOfAnother) {
    const Place place;
    inChild([&](const Child::Report&) {
        share(place.database);
        saveNote("lostnote", "a");
    });
    ASSERT_GT(fs::file_size(place.file + "-wal"), 0U);
    fs::remove(place.file);
    createDatabase(place.database);
    share(place.database);
    EXPECT_EQ(listOf(storedVersions(moduleState().SharedConnection)), "");
    EXPECT_EQ(soundness(moduleState().SharedConnection), "ok");
    closeShared();
}

/// What a row was refused for is said, though the look for another key fails too.
TEST(Keys, AreNoReasonToHideWhyARowWasRefused) {
    const Place place;
    const auto connection = share(place.database);
    connection->execute("create trigger Ending before insert on Notes begin select raise(rollback, 'ended'); end");
    const Text failure = raised([] { inTransaction(true, [] { saveNote("lostnote", "a"); }); });
    EXPECT_THAT(failure, HasSubstr("ended (SQLite 1811)"));
    EXPECT_THAT(failure, Not(HasSubstr("has ended the transaction")));
    closeShared();
}

/// The counter is raised before the lock is given up: no other connection is needed for it, and none comes between.
TEST(Keys, AreKeptByARollbackItself) {
    const Text told = inChild([](const Child::Report& report) {
        const Place place;
        const auto connection = share(place.database);
        connection->BeginTrans();
        report(saveNote("lostnote", "a"));
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit noMore{0, limit.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &noMore);
        connection->RollbackTrans();
        ::setrlimit(RLIMIT_NOFILE, &limit);
        report(listOf(storedVersions(connection)) +
               firstValue(connection, "Select LastNumber From IdCounters Where TableName='Notes'"));
        closeShared();
    });
    EXPECT_EQ(told, "NT00000002\noldcontact=a oldnote=a 2\n");
}

/// Another program takes the very IDs that have just been given.
TEST(Keys, TakenByOthersAreGivenUp) {
    const Place place;
    const auto connection = share(place.database);
    connection->execute("create trigger Taking after update on IdCounters when new.LastNumber % 3 <> 0 and "
                        "new.TableName = 'notes' begin insert into Notes (NoteId, Title, Note) "
                        "values ('NT' || substr('0000000' || new.LastNumber, -8), 'foreign', 'half '); end");
    EXPECT_EQ(saveNote("first", "a"), "NT00000003");
    EXPECT_EQ(saveNote("second", "a"), "NT00000006");
    closeShared();
}

} // namespace
} // namespace corveth::test
