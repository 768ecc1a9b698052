// Transactions, and the keys that are made in and between them.

#include "platform/automation/convert.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

namespace corveth::test {
namespace {

using testing::StartsWith;

class DataTransactions : public DataTest {
protected:
    void insert(const Ref<Connection>& on, TextView id) const {
        on->execute("Insert Into Items (Id) Values ('" + Text(id) + "')");
    }
    [[nodiscard]] Text ids() const { return rows("Select Id From Items Order By Id"); }
};

TEST_P(DataTransactions, NestByLevels) {
    EXPECT_EQ(connection->BeginTrans(), 1);
    insert(connection, "A1");
    EXPECT_EQ(connection->BeginTrans(), 2);
    insert(connection, "A2");
    EXPECT_EQ(connection->BeginTrans(), 3);
    insert(connection, "A3");
    connection->CommitTrans();
    connection->RollbackTrans();
    EXPECT_EQ(connection->BeginTrans(), 2);
    insert(connection, "A4");
    connection->CommitTrans();
    EXPECT_EQ(connection->transactionLevel(), 1);
    connection->CommitTrans();
    EXPECT_EQ(ids(), "A1;A4");
    const Text none = "-2147168242 ADODB.Connection: No transaction is active.";
    EXPECT_EQ(raised([&] { connection->CommitTrans(); }), none);
    EXPECT_EQ(raised([&] { connection->RollbackTrans(); }), none);
}

TEST_P(DataTransactions, GoOnAfterAStatementThatFailed) {
    connection->BeginTrans();
    insert(connection, "A1");
    EXPECT_THAT(raised([&] { connection->execute("Insert Into Items (Id) Values ('A2'), ('A1')"); }),
                StartsWith("-2147467259 ADODB.Connection: " + GetParam().duplicateKey("Items", "Id")));
    EXPECT_EQ(ids(), "A1") << "a statement that fails undoes itself whole";
    insert(connection, "A3");
    connection->CommitTrans();
    EXPECT_EQ(ids(), "A1;A3");
}

TEST_P(DataTransactions, KeepTheConnectionOpen) {
    const auto other = connect();
    other->BeginTrans();
    insert(other, "A1");
    EXPECT_EQ(raised([&] { other->Close(); }),
              "3246 ADODB.Connection: Connection object cannot be explicitly closed while in a transaction.");
    EXPECT_TRUE(other->isOpen());
    other->CommitTrans();
    other->Close();
    EXPECT_THAT(raised([&] { other->BeginTrans(); }), StartsWith("3704 ADODB.Connection"));
    EXPECT_EQ(ids(), "A1");
}

TEST_P(DataTransactions, EndWithTheLastReference) {
    auto other = connect();
    other->BeginTrans();
    insert(other, "A1");
    other = nullptr;
    EXPECT_EQ(ids(), "");
    EXPECT_EQ(connection->BeginTrans(), 1);
    connection->RollbackTrans();
}

/// This engine's triggers can end a transaction.
class DataEndedTransactions : public DataTransactions {};

TEST_P(DataEndedTransactions, StayUntilTheyAreRolledBack) {
    connection->execute("create trigger Ending before insert on Items when new.Id = 'GONE' "
                        "begin select raise(rollback, 'gone'); end");
    connection->BeginTrans();
    insert(connection, "A1");
    connection->BeginTrans();
    EXPECT_THAT(raised([&] { insert(connection, "GONE"); }), StartsWith("-2147467259 ADODB.Connection: gone"));
    const auto ended = StartsWith("-2147467259 ADODB.Connection: The engine has ended the transaction: gone");
    EXPECT_THAT(raised([&] { insert(connection, "A2"); }), ended);
    EXPECT_THAT(raised([&] { connection->CommitTrans(); }), ended);
    EXPECT_THAT(raised([&] { connection->BeginTrans(); }), ended);
    EXPECT_THAT(raised([&] { static_cast<void>(connection->nextId("NT", 10, "NoteId", "Notes")); }), ended);
    connection->RollbackTrans();
    EXPECT_THAT(raised([&] { insert(connection, "A2"); }), ended) << "the outer one is gone too";
    connection->RollbackTrans();
    insert(connection, "A3");
    EXPECT_EQ(ids(), "A3");
}

/// Only one connection at a time writes to this engine's databases.
class DataLockingTransactions : public DataTransactions {};

TEST_P(DataLockingTransactions, AreRefusedWhileThereIsAnother) {
    const auto other = connect();
    other->BeginTrans();
    EXPECT_THAT(raised([&] { connection->BeginTrans(); }),
                StartsWith("-2147467259 ADODB.Connection: database is locked"));
    EXPECT_EQ(connection->transactionLevel(), 0);
    other->RollbackTrans();
}

/// This engine's transaction ends with the first failure, if nothing is done about it.
class DataGuardedTransactions : public DataTransactions {
protected:
    [[nodiscard]] Text timeout() const { return rows("Select current_setting('statement_timeout')"); }
};

TEST_P(DataGuardedTransactions, KeepWhatWasDoneBeforeAFailure) {
    connection->execute("create function adds() returns int language sql as $$insert into items (id) values ('A1') "
                        "returning 1$$");
    struct Case {
        const char* name;
        const char* given;
        const char* looking;
        const char* expected;
    };
    const Case cases[] = {
        {"a function", "Select adds()", "Select Id From Items", "A1"},
        {"a function in brackets", "Select [adds]()", "Select Id From Items", "A1"},
        {"a table that a query makes", "Select 7 As Seven Into Made", "Select Seven From Made", "7"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        connection->BeginTrans();
        connection->execute(row.given);
        EXPECT_THAT(raised([&] { connection->execute("Select Nothing From Items"); }), StartsWith("-2147467259"));
        EXPECT_EQ(rows(row.looking), row.expected);
        connection->RollbackTrans();
    }
}

TEST_P(DataGuardedTransactions, KeepATimeLimitThatWasSetInThem) {
    connection->BeginTrans();
    connection->execute("Select Id From Items");
    connection->let_CommandTimeout(7);
    EXPECT_THAT(raised([&] { connection->execute("Select Nothing From Items"); }), StartsWith("-2147467259"));
    EXPECT_EQ(timeout(), "7s") << "after a statement that failed";
    connection->BeginTrans();
    connection->execute("Select Id From Items");
    connection->let_CommandTimeout(8);
    connection->RollbackTrans();
    EXPECT_EQ(timeout(), "8s") << "after an inner rollback";
    connection->RollbackTrans();
    EXPECT_EQ(timeout(), "8s") << "after the outer rollback";
}

TEST_P(DataGuardedTransactions, GoOnWhenTheServerForgetsItsStatements) {
    const auto used = [this] { return connection->nextId("NT", 10, "NoteId", "Notes"); };
    for (const char* forgetting : {"discard all", "deallocate all", "do $$begin execute 'deallocate all'; end$$"}) {
        SCOPED_TRACE(forgetting);
        connection->BeginTrans();
        insert(connection, "A1");
        insert(connection, "A2");
        connection->RollbackTrans();
        const Text before = used();
        connection->execute(forgetting);
        EXPECT_EQ(ids(), "");
        connection->BeginTrans();
        insert(connection, "A1");
        insert(connection, "A2");
        EXPECT_EQ(ids(), "A1;A2");
        connection->RollbackTrans();
        EXPECT_GT(used(), before);
    }
    // More than the connection remembers: what is told to go is unknown by then.
    constexpr int many = 300;
    for (int i = 0; i < many; ++i) {
        if (i == many / 2) connection->execute("do $$begin execute 'deallocate all'; end$$");
        EXPECT_EQ(rows("Select " + std::to_string(i) + " As N" + std::to_string(i)), std::to_string(i));
    }
}

class DataKeys : public DataTransactions {
protected:
    [[nodiscard]] static Text next(const Ref<Connection>& on) { return on->nextId("NT", 10, "NoteId", "Notes"); }
    [[nodiscard]] Text lastNumber() const { return rows(GetParam().counter("Notes", "NT")); }
    void areOneMoreThanTheGreatest(bool inTransaction);
};

void DataKeys::areOneMoreThanTheGreatest(bool inTransaction) {
    struct Case {
        const char* name;
        Text statement;
        const char* expected;
    };
    const Case cases[] = {
        {"the first", "Delete From Notes", "NT00000001"},
        {"the next, though no row took the first", "Delete From Notes", "NT00000002"},
        {"a row that someone inserted", "Insert Into Notes (NoteId) Values ('NT00000041')", "NT00000042"},
        {"keys of another form",
         "Insert Into Notes (NoteId) Values ('NT0000099'), ('NT99x99999'), ('NT000000999'), ('CN00000077'), "
         "('NTABCDEFGH')",
         "NT00000043"},
        {"in another case", "Insert Into Notes (NoteId) Values ('nt00000050')", "NT00000051"},
        {"a counter that someone raised", GetParam().setCounter("Notes", "NT", 99), "NT00000100"},
        {"rows that someone deleted", "Delete From Notes", "NT00000101"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        if (inTransaction) connection->BeginTrans();
        connection->execute(row.statement);
        EXPECT_EQ(next(connection), row.expected);
        if (inTransaction) connection->CommitTrans();
    }
    EXPECT_EQ(connection->nextId("CN", 10, "ContactId", "Contacts"), "CN00000001") << "each code counts for itself";
    EXPECT_EQ(connection->nextId("AC", 10, "Id", "Items"), "AC00000001");
    EXPECT_EQ(connection->nextId("AC", 10, "ContactId", "Contacts"), "AC00000001") << "and each table";
}

TEST_P(DataKeys, AreOneMoreThanTheGreatestThatAnyoneKnows) {
    areOneMoreThanTheGreatest(false);
}

TEST_P(DataKeys, AreThatInATransactionToo) {
    areOneMoreThanTheGreatest(true);
}

TEST_P(DataKeys, AreNotGivenAgainAfterARollback) {
    connection->BeginTrans();
    EXPECT_EQ(next(connection), "NT00000001");
    connection->BeginTrans();
    EXPECT_EQ(next(connection), "NT00000002");
    connection->RollbackTrans();
    EXPECT_EQ(next(connection), "NT00000003");
    connection->RollbackTrans();
    EXPECT_EQ(lastNumber(), "3") << "what other processes go by";
    EXPECT_EQ(next(connect()), "NT00000004");
}

TEST_P(DataKeys, SayWhatIsWrong) {
    EXPECT_EQ(raised([&] { static_cast<void>(connection->nextId("NT", 2, "NoteId", "Notes")); }),
              "5 ADODB.Connection: Invalid procedure call or argument: no key of 2 characters begins with \"NT\"");
    connection->execute("Insert Into Notes (NoteId) Values ('NT99999999')");
    EXPECT_EQ(raised([&] { static_cast<void>(next(connection)); }),
              "6 ADODB.Connection: Overflow: all keys that begin with \"NT\" are taken");
    connection->execute("drop table Notes");
    EXPECT_THAT(raised([&] { static_cast<void>(next(connect())); }),
                StartsWith("-2147467259 ADODB.Connection: " + GetParam().noTable("Notes")));
}

TEST_P(DataKeys, AreDifferentForEveryConnectionAndProcess) {
    constexpr int processes = 3, keysOfEach = 25;
    const Text source = connectionString() + ";Default Timeout=60";
    std::vector<pid_t> children;
    for (int child = 0; child < processes; ++child) {
        const pid_t process = fork();
        ASSERT_GE(process, 0);
        if (process == 0) {
            int status = 0;
            try {
                const auto own = make<Connection>();
                own->open(source);
                for (int i = 0; i < keysOfEach; ++i) {
                    const bool inTransaction = i % 2 == 1;
                    if (inTransaction) own->BeginTrans();
                    // The key column refuses a key that was given twice.
                    own->execute("Insert Into Notes (NoteId) Values ('" + next(own) + "')");
                    if (inTransaction) i % 5 == 0 ? own->RollbackTrans() : own->CommitTrans();
                }
            } catch (const Error& error) {
                std::fprintf(stderr, "%s\n", error.what());
                status = 1;
            }
            _exit(status);
        }
        children.push_back(process);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const int rolledBack = processes * 2; // the fifth and the fifteenth of each
    EXPECT_EQ(rows("Select Count(*) From Notes"), std::to_string(processes * keysOfEach - rolledBack));
    EXPECT_EQ(lastNumber(), std::to_string(processes * keysOfEach))
        << "a key that was rolled back is given to nobody else";
}

/// This engine's counters are rows, which anyone may delete.
class DataKeysOfRows : public DataKeys {};

TEST_P(DataKeysOfRows, AreNotGivenAgainByWhoRemembersThem) {
    EXPECT_EQ(next(connection), "NT00000001");
    connection->execute("Delete From IdCounters");
    EXPECT_EQ(next(connection), "NT00000002");
    connection->execute("drop table IdCounters");
    EXPECT_THAT(raised([&] { static_cast<void>(next(connection)); }),
                StartsWith("-2147467259 ADODB.Connection: no such table: IdCounters"));
}

CORVETH_ON_EVERY_ENGINE(DataTransactions);
CORVETH_ON_ENGINE("SQLite", DataEndedTransactions);
CORVETH_ON_ENGINE("SQLite", DataLockingTransactions);
CORVETH_ON_ENGINE("PostgreSQL", DataGuardedTransactions);
CORVETH_ON_EVERY_ENGINE(DataKeys);
CORVETH_ON_ENGINE("SQLite", DataKeysOfRows);

} // namespace
} // namespace corveth::test
