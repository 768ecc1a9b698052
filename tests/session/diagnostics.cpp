// What the classes swallow by design, and the log has.

#include "contacts/contacts.h"
#include "platform/desktop/message_box.h"
#include "platform/desktop/message_pump.h"
#include "session/crm.h"
#include "session/module_state.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::StartsWith;

class DiagnosticsTest : public test::DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        boxesBefore_ = setMessageBoxHandler([this](const MessageBox&) {
            if (whenShown) whenShown();
            return messageBoxes::ok;
        });
        sql("Insert Into ContactMaster (ContactId, ContactType, FirstName) Values ('CM00000001', 0, 'Acme')");
        sql("Insert Into ContactDetails (ContactId) Values ('CM00000001')");
    }
    void TearDown() override {
        setMessageBoxHandler(boxesBefore_);
        DatabaseTest::TearDown();
    }
    static Ref<Contact> acme() {
        auto contact = make<Contact>();
        contact->let_ID("CM00000001");
        return contact;
    }

    struct Case {
        const char* name;
        std::function<void()> action;
        std::vector<Text> expected; ///< beginnings
    };
    void logs(const std::vector<Case>& cases) {
        for (const auto& row : cases) {
            SCOPED_TRACE(row.name);
            row.action();
            const auto lines = logged();
            ASSERT_EQ(lines.size(), row.expected.size()) << ::testing::PrintToString(lines);
            for (std::size_t i = 0; i < lines.size(); ++i)
                EXPECT_THAT(lines[i], StartsWith(row.expected[i]));
        }
    }

    std::function<void()> whenShown;

private:
    MessageBoxHandler boxesBefore_;
};

TEST_P(DiagnosticsTest, WhatAContactSwallowsIsInTheLog) {
    const test::Refusal anyone = {"kept", "before delete", "ContactMaster", nullptr, "kept!"};
    logs({
        {"nothing", [] { static_cast<void>(acme()); }, {}},
        {"no such member", [] { EXPECT_FALSE(make<Contacts>()->get_Item("CM1")); }, {}},
        {"a column that cannot be converted",
         [&] {
             sql("Update ContactMaster Set DOB = 1E300 * 1");
             static_cast<void>(acme());
             sql("Update ContactMaster Set DOB = Null");
         },
         {"Contact|reading DOB of CM00000001|Overflow"}},
        {"a picture that cannot be loaded",
         [&] {
             store("Select * From ContactMaster", "Pic", Bytes(3));
             EXPECT_FALSE(acme()->Picture);
         },
         {"Contact|loading the picture of CM00000001|Invalid picture"}},
        {"a deletion that fails",
         [&] {
             sql("Update ContactMaster Set Pic = Null");
             refuse(anyone);
             acme()->DeleteContact(true);
         },
         {"Contact|deletion of CM00000001|kept!"}},
        {"a rollback that fails",
         [&] {
             whenShown = [&] {
                 if (connection->transactionLevel() > 0) connection->RollbackTrans();
             };
             sql("Insert Into ContactMaster (ContactId, ContactType, CompanyId) "
                 "Values ('CN00000001', 2, 'CM00000001')");
             allow(anyone);
             refuse({"kept", "before delete", "ContactMaster", "old.ContactId = 'CN00000001'", "kept!"});
             acme()->DeleteContact(true);
         },
         {"Contact|deletion of CN00000001|kept!", "Connection|rolling back|No transaction is active.",
          "Contact|deletion of CM00000001|No transaction is active."}},
    });
}

/// Columns of this engine hold what was put into them, whatever they were declared for.
class DiagnosticsOfAnyKindTest : public DiagnosticsTest {};

TEST_P(DiagnosticsOfAnyKindTest, ColumnsThatCannotBeConvertedAreInTheLog) {
    logs({
        {"a text for a number",
         [&] {
             sql("Update ContactMaster Set ShowInTaskList = 'per' & 'haps'");
             static_cast<void>(acme());
             sql("Update ContactMaster Set ShowInTaskList = 0");
         },
         {"Contact|reading ShowInTaskList of CM00000001|Type mismatch"}},
        {"a picture that is none",
         [&] { sql("Update ContactMaster Set Pic = 'no' & 'ne'"), acme(); },
         {"Contact|loading the picture of CM00000001|Type mismatch"}},
    });
}

TEST_P(DiagnosticsTest, WhatEndingTheRootCannotReturnIsInTheLog) {
    const struct {
        const char* name;
        std::function<void()> before;
        std::vector<Text> expected;
    } cases[] = {
        {"nothing", [] {}, {}},
        {"in a transaction",
         [&] { connection->BeginTrans(); },
         {"CRM|closing the shared connection|Connection object cannot be explicitly closed while in a transaction."}},
        {"closed already",
         [&] { connection->Close(); },
         {"CRM|closing the shared connection|Operation is not allowed when the object is closed."}},
        {"a message handler that fails",
         [] { setMessagePump([] { raise(errors::overflow); }); },
         {"CRM|processing window messages|Overflow"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        auto crm = make<CRM>();
        crm->UseConnection(connection);
        row.before();
        crm = nullptr;
        setMessagePump({});
        EXPECT_EQ(logged(), row.expected);
        if (connection->transactionLevel() > 0) connection->RollbackTrans();
        if (!connection->isOpen()) connection->Open({}, {}, {}, -1);
    }
}

CORVETH_ON_EVERY_ENGINE(DiagnosticsTest);
CORVETH_ON_ENGINE("SQLite", DiagnosticsOfAnyKindTest);

} // namespace
} // namespace corveth
