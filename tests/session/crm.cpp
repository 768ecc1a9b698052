#include "session/crm.h"

#include "attachments/attachments.h"
#include "contacts/contacts.h"
#include "platform/desktop/message_pump.h"
#include "services/standard_db_service.h"
#include "session/link_item.h"
#include "session/module_state.h"
#include "session/notes.h"
#include "support/fixture.h"

#include <thread>

namespace corveth {
namespace {

class CrmTest : public test::DatabaseTest {};

TEST_P(CrmTest, HandsOutOneContactListAndNoAttachments) {
    const auto crm = make<CRM>();
    EXPECT_TRUE(crm->get_Contacts());
    EXPECT_EQ(crm->get_Contacts().get(), crm->get_Contacts().get());
    EXPECT_FALSE(crm->get_Attachments());
    crm->UseConnection(connection);
}

TEST_P(CrmTest, AnotherConnectionTakesThePlaceOfTheFirstWhichStaysOpen) {
    auto crm = make<CRM>();
    auto other = make<Connection>();
    other->open(connection->get_ConnectionString());
    crm->UseConnection(connection);
    crm->UseConnection(other);
    crm = nullptr;
    EXPECT_EQ(connection->get_State(), 1);
    EXPECT_EQ(other->get_State(), 0);
}

TEST_P(CrmTest, EndingItClosesTheConnectionOfTheWholeThread) {
    int pumped = 0;
    const auto earlier = setMessagePump([&] { ++pumped; });
    auto crm = make<CRM>();
    crm->UseConnection(connection);
    auto note = make<Note>();
    note->let_ID("NT00000001");
    note->Populate();
    crm = nullptr;
    setMessagePump(earlier);

    EXPECT_EQ(pumped, 1);
    EXPECT_EQ(connection->get_State(), 0);
    EXPECT_FALSE(moduleState().SharedConnection);
    test::expectFailure({errors::badConnection}, [&] { note->Populate(); });

    connection->open(connection->get_ConnectionString());
    make<CRM>()->UseConnection(connection); // the temporary's end closes it again
    EXPECT_EQ(connection->get_State(), 0);
    static_cast<void>(make<CRM>()); // without any connection
}

TEST_P(CrmTest, EndingItInATransactionLeavesConnectionAndTransactionToTheClient) {
    auto crm = make<CRM>();
    crm->UseConnection(connection);
    connection->BeginTrans();
    crm = nullptr;
    EXPECT_EQ(connection->get_State(), 1);
    EXPECT_FALSE(moduleState().SharedConnection);
    connection->RollbackTrans();
}

TEST_P(CrmTest, EndingItOnAnotherThreadAfterItsOwnHasEndedTouchesNoConnection) {
    Ref<CRM> crm;
    std::thread([&] { crm = make<CRM>(); }).join();
    crm = nullptr;
    EXPECT_EQ(connection->get_State(), 1);
    EXPECT_EQ(moduleState().SharedConnection, connection);
}

TEST_P(CrmTest, ReleasedElsewhereItEndsWithItsOwnThread) {
    const auto before = Object::liveCount();
    const Text source = connection->get_ConnectionString();
    std::thread([&] {
        auto own = make<Connection>();
        own->open(source);
        auto crm = make<CRM>();
        crm->UseConnection(own);
        own = nullptr;
        std::thread([moved = std::move(crm)]() mutable { moved = nullptr; }).join();
    }).join();
    EXPECT_EQ(Object::liveCount(), before);
}

TEST_P(CrmTest, EachThreadHasAStateOfItsOwn) {
    bool isEmpty = false;
    std::thread([&] { isEmpty = !moduleState().SharedConnection && !moduleState().DbServiceInstance; }).join();
    EXPECT_TRUE(isEmpty);
}

/// A host's service that opens the connection it was told to use in place of the one it is given, and remembers how it
/// was asked.
class ReplacingService final : public DbService {
public:
    explicit ReplacingService(Ref<Connection> replacement) : replacement_(std::move(replacement)) {}

    std::vector<Text> calls; ///< cursor and lock type, or what a new ID was asked for

    [[nodiscard]] const ClassInfo& classInfo() const noexcept override { return StandardDbService::description; }
    Ref<Recordset> OpenRecordset(Text sql, Ref<Connection>& given, std::int32_t& cursorType,
                                 std::int32_t& lockType) override {
        given = replacement_;
        calls.push_back(std::to_string(cursorType) + "/" + std::to_string(lockType));
        return standard_->OpenRecordset(std::move(sql), given, cursorType, lockType);
    }
    Text GenerateId(Text code, std::int32_t length, Text column, Text table, Ref<Connection>& given) override {
        calls.push_back(code + " " + std::to_string(length) + " " + column + " " + table);
        return standard_->GenerateId(std::move(code), length, std::move(column), std::move(table), given);
    }
    Value ValueOrDefault(Value value, Value defaultValue) override {
        return standard_->ValueOrDefault(std::move(value), std::move(defaultValue));
    }
    Text SelectFile(std::int32_t owner, Text& title) override { return standard_->SelectFile(owner, title); }
    Text GetTempFolder() override { return standard_->GetTempFolder(); }

private:
    Ref<Connection> replacement_;
    Ref<DbService> standard_ = makeDbService();
};

TEST_P(CrmTest, AConnectionThatTheServicePutsInPlaceBecomesTheShared) {
    moduleState().SharedConnection = nullptr;
    moduleState().DbServiceInstance = make<ReplacingService>(connection);
    auto note = make<Note>();
    note->LinkId = "CN00000001";
    note->Update();
    EXPECT_EQ(moduleState().SharedConnection, connection);
    EXPECT_EQ(scalar("Select NoteId From Notes"), "NT00000001");
}

TEST_P(CrmTest, EachQueryAsksTheServiceForItsOwnCursorAndLock) {
    const auto service = make<ReplacingService>(connection);
    moduleState().DbServiceInstance = service;
    const auto note = make<Note>();
    const auto notes = make<Notes>();
    notes->SetNoFilter();
    const auto item = make<LinkItem>();
    const struct {
        const char* name;
        std::function<void()> action;
        std::vector<Text> expected;
    } cases[] = {
        {"new note", [&] { note->Update(); }, {"1/3", "NT 10 NoteId Notes"}},
        {"note", [&] { note->Populate(); }, {"3/3"}},
        {"notes", [&] { notes->Populate(); }, {"1/3"}},
        {"no item", [&] { item->Populate(); }, {}},
        {"contact", [&] { item->ID = "CN1", item->Populate(); }, {"2/3"}},
        {"project", [&] { item->ID = "PT1", item->Populate(); }, {"2/3"}},
        {"product", [&] { item->ID = "PD1", item->Populate(); }, {"2/3"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        service->calls.clear();
        row.action();
        EXPECT_EQ(service->calls, row.expected);
    }
}

TEST_P(CrmTest, TheServiceRemembersTheLastIdItMade) {
    auto note = make<Note>();
    note->Update();
    note->Update();
    EXPECT_EQ(make<StandardDbService>()->get_LastId(), "NT00000002");
}

CORVETH_ON_EVERY_ENGINE(CrmTest);

} // namespace
} // namespace corveth
