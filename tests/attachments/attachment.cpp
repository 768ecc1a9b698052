#include "attachments/attachment.h"

#include "attachments/world.h"
#include "platform/automation/dispatch.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class AttachmentTest : public test::AttachmentWorld {};

TEST_P(AttachmentTest, SavingANewOneWritesARowAndTakesItsId) {
    auto attachment = make<Attachment>();
    attachment->LinkId = "mine";
    attachment->Data = bytes("content");
    attachment->AttachmentDate = "3/4/2026 5:06:07 PM";
    attachment->AttachmentSize = 7;
    attachment->AttachmentTitle = "report.txt";
    attachment->AttachmentType = "Plain text";
    attachment->UpdateAttachment("BG00000001");

    EXPECT_THAT(statements(), ElementsAre("open|SELECT * From Attachments Where 1=2"));
    EXPECT_THAT(serviceCalls(), ElementsAre("AT 10 AttachmentID Attachments")) << "opened past the service";
    EXPECT_EQ(attachment->AttachmentID + "|" + attachment->LinkType + "|" + attachment->LinkId, "AT00000001|Bug|mine");
    EXPECT_EQ(rowOf("AT00000001"), "report.txt|Plain text|7|2026-03-04 17:06:07|BG00000001|Bug");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentTest, SavingAgainWritesTheSameRow) {
    const auto attachment = saved("a.txt");
    statements();
    attachment->AttachmentTitle = "b.txt";
    attachment->UpdateAttachment("");
    EXPECT_THAT(statements(), ElementsAre("open|SELECT * From Attachments Where AttachmentID ='AT00000001'"));
    EXPECT_EQ(rowOf("AT00000001"), "b.txt|Text|5|2026-01-02 03:04:05||None");
    EXPECT_EQ(attachment->LinkType, "None");
    EXPECT_EQ(scalar("Select Count(*) From Attachments"), "1");
}

TEST_P(AttachmentTest, WhatKeepsTheRowFromBeingFoundIsRaised) {
    const struct {
        const char* name;
        std::function<void(Attachment&)> given;
        const char* logged;
    } cases[] = {
        {"an ID without a row", [](Attachment& it) { it.AttachmentID = "AT00000009"; },
         "Attachment|Unable to update.|Either BOF or EOF is True"},
        {"an ID that would end the statement", [](Attachment& it) { it.AttachmentID = "a'b"; },
         "Attachment|Unable to update.|Invalid procedure call"},
        {"no ID to be had", [this](Attachment&) { service->refused = 1; },
         "Attachment|Unable to update.|Overflow: no more IDs"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        auto attachment = make<Attachment>();
        row.given(*attachment);
        test::expectFailure({errors::application, "Attachment", "Unable to update."},
                            [&] { attachment->UpdateAttachment("BG00000001"); });
        EXPECT_THAT(logged(), ElementsAre(StartsWith(row.logged)));
        EXPECT_EQ(scalar("Select Count(*) From Attachments"), "0");
    }
}

TEST_P(AttachmentTest, AStatementThatFailsIsPassedOverAndTheNextOneStillRuns) {
    const test::Refusal refusal{"kept", "before update", "Attachments", nullptr, "rows stay"};
    const struct {
        const char* name;
        std::function<void(Attachment&)> given;
        const char* row;
        std::vector<Text> logged;
    } cases[] = {
        {"a date that is none",
         [](Attachment& it) { it.AttachmentDate = "soon"; },
         "new|Text|5|2026-01-02 03:04:05|CN00000001|Contact",
         {"Attachment|writing AttachmentDate of AT00000001|Type mismatch: \"soon\""}},
        {"no date at all",
         [](Attachment& it) { it.AttachmentDate = ""; },
         "new|Text|5|2026-01-02 03:04:05|CN00000001|Contact",
         {"Attachment|writing AttachmentDate of AT00000001|Type mismatch"}},
        {"data that are no bytes",
         [](Attachment& it) { it.Data = "text"; },
         "new|Text|5|2026-01-02 03:04:05|CN00000001|Contact",
         {"Attachment|writing Data of AT00000001|"}},
        {"both",
         [](Attachment& it) { it.AttachmentDate = "soon", it.Data = Value{}; },
         "new|Text|5|2026-01-02 03:04:05|CN00000001|Contact",
         {"Attachment|writing Data of AT00000001|", "Attachment|writing AttachmentDate of AT00000001|"}},
        {"a row that cannot be written",
         [&](Attachment&) { refuse(refusal); },
         "a.txt|Text|5|2026-01-02 03:04:05|BG00000001|Bug",
         {"Attachment|saving of AT00000001|rows stay"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        sql("Delete From Attachments");
        sql("Insert Into Attachments (AttachmentID, AttachmentTitle, AttachmentType, AttachmentSize, AttachmentDate, "
            "LinkID, LinkType) Values ('AT00000001', 'a.txt', 'Text', 5, #2026-01-02 03:04:05#, 'BG00000001', 'Bug')");
        store("Select * From Attachments", "Data", bytes("a.txt"));
        const auto attachment = loaded("AT00000001");
        attachment->AttachmentTitle = "new";
        row.given(*attachment);
        attachment->UpdateAttachment("CN00000001");

        EXPECT_EQ(rowOf("AT00000001"), row.row);
        EXPECT_EQ(attachment->LinkType, "Contact") << "as it stands in the row that was written, saved or not";
        EXPECT_EQ(*loaded("AT00000001")->Data.getIf<Bytes>(), bytes("a.txt"));
        const auto lines = logged();
        ASSERT_EQ(lines.size(), row.logged.size()) << ::testing::PrintToString(lines);
        for (std::size_t i = 0; i < lines.size(); ++i)
            EXPECT_THAT(lines[i], StartsWith(row.logged[i]));
    }
}

TEST_P(AttachmentTest, ANewOneWithoutADateOrDataHasNullsThere) {
    auto attachment = make<Attachment>();
    attachment->UpdateAttachment("BG00000001");
    EXPECT_EQ(rowOf("AT00000001"), "||0|(null)|BG00000001|Bug");
    EXPECT_EQ(scalar("Select Count(*) From Attachments Where Data Is Null"), "1");
    EXPECT_EQ(logged().size(), 2U);
}

TEST_P(AttachmentTest, LoadingGoesThroughTheDataService) {
    saved("a.txt");
    serviceCalls();
    statements();
    const auto attachment = loaded("at00000001");
    EXPECT_THAT(serviceCalls(), ElementsAre("3/3 Select * From Attachments Where AttachmentID ='at00000001'"));
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Attachments Where AttachmentID ='at00000001'"));
    EXPECT_EQ(attachment->AttachmentTitle + "|" + attachment->AttachmentType + "|" + attachment->LinkId + "|" +
                  attachment->LinkType + "|" + attachment->AttachmentID,
              "a.txt|Text|BG00000001|Bug|at00000001");
    EXPECT_EQ(attachment->AttachmentSize, 5);
    EXPECT_EQ(*attachment->Data.getIf<Bytes>(), bytes("a.txt"));
}

TEST_P(AttachmentTest, WithoutARowTheLinkAndTheDataAreEmptyAndTheDateIsNow) {
    auto attachment = saved("a.txt");
    attachment->LinkId = "BG00000001";
    attachment->AttachmentID = "AT00000009";
    attachment->Populate();
    EXPECT_TRUE(attachment->Data.is(ValueType::empty));
    EXPECT_EQ(attachment->AttachmentSize, 0);
    EXPECT_EQ(attachment->LinkId + "|" + attachment->LinkType + "|" + attachment->AttachmentDate,
              "|None|2026-03-05 14:30:15");
    EXPECT_EQ(attachment->AttachmentTitle + "|" + attachment->AttachmentType + "|" + attachment->AttachmentID,
              "a.txt|Text|AT00000009")
        << "these stay";
}

TEST_P(AttachmentTest, NullTextsAreEmptyANullDateOrSizeFails) {
    sql("Insert Into Attachments (AttachmentID, AttachmentSize, AttachmentDate) Values ('AT00000001', 1, 2)");
    const auto attachment = loaded("AT00000001");
    EXPECT_EQ(attachment->AttachmentTitle + attachment->AttachmentType + attachment->LinkId + attachment->LinkType, "");
    EXPECT_TRUE(attachment->Data.isNull());

    for (const auto* column : {"AttachmentDate", "AttachmentSize"}) {
        SCOPED_TRACE(column);
        sql("Update Attachments Set AttachmentSize=1, AttachmentDate=2");
        sql(Text("Update Attachments Set ") + column + "=Null");
        test::expectFailure({errors::application, "Attachments", "Could not Populate"},
                            [&] { attachment->Populate(); });
        EXPECT_THAT(logged(),
                    ElementsAre(Text("Attachments|Could not Populate|Invalid use of Null: column ") + column));
    }
}

TEST_P(AttachmentTest, TheDateIsLoadedAsADayNumberAndSavedAsTheSameMoment) {
    const struct {
        const char* name;
        double day;
        const char* text;
    } cases[] = {
        {"a day", 46086, "46086"},
        {"an afternoon", 46086.75, "46086.75"},
        {"a second", fromCivil({2026, 3, 5, 14, 30, 15}).day, "46086.6043402778"},
        {"the last second of a day", fromCivil({2026, 3, 5, 23, 59, 59}).day, "46086.9999884259"},
        {"the last thousandth of one", fromCivil({2026, 3, 5, 23, 59, 59, 999}).day, "46086.9999999884"},
        {"the first day", 0, "0"},
        {"its first second", fromCivil({1899, 12, 30, 0, 0, 1}).day, "1.15740740740741E-05"},
        {"the day before", -1, "-1"},
        {"its morning", -1.25, "-1.25"},
        {"its last moment", -1.9999999999999996, "-1.9999999999999996"},
        {"the earliest", fromCivil({100, 1, 1, 0, 0, 1}).day, "-657434.000011574"},
        {"the latest", fromCivil({9999, 12, 31, 23, 59, 59}).day, "2958465.99998843"},
    };
    saved("a.txt");
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        store("Select * From Attachments", "AttachmentDate", Date{row.day});
        const Text before = rowOf("AT00000001");
        const auto attachment = loaded("AT00000001");
        EXPECT_EQ(attachment->AttachmentDate, row.text);
        attachment->UpdateAttachment("BG00000001");
        EXPECT_EQ(rowOf("AT00000001"), before);
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentTest, BytesComeBackAsTheyWere) {
    Bytes every(256);
    for (std::size_t i = 0; i < every.size(); ++i)
        every[i] = static_cast<std::byte>(i);
    constexpr std::size_t beyondTheLimitOfFiles = 5 * 1024 * 1024 + 1;
    auto attachment = saved("a.bin");
    for (const Bytes& given : {Bytes{}, every, Bytes(beyondTheLimitOfFiles, std::byte{7}), Bytes(1)}) {
        SCOPED_TRACE(given.size());
        attachment->Data = given;
        attachment->UpdateAttachment("BG00000001");
        EXPECT_EQ(*attachment->Data.getIf<Bytes>(), given) << "the object keeps them";
        EXPECT_EQ(*loaded("AT00000001")->Data.getIf<Bytes>(), given);
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentTest, ASaveThatFailsLeavesTheObjectItsBytes) {
    const struct {
        const char* event;
        const char* id;
    } cases[] = {{"before update", "AT00000001"}, {"before insert", ""}};
    const auto attachment = saved("a.txt");
    for (const auto& row : cases) {
        SCOPED_TRACE(row.event);
        const test::Refusal refusal{"kept", row.event, "Attachments", nullptr, "rows stay"};
        refuse(refusal);
        attachment->AttachmentID = row.id;
        attachment->Data = bytes("more than before");
        attachment->UpdateAttachment("BG00000001");
        EXPECT_EQ(*attachment->Data.getIf<Bytes>(), bytes("more than before"));
        EXPECT_THAT(logged(), ElementsAre(StartsWith("Attachment|saving of ")));
        allow(refusal);
    }
    EXPECT_EQ(scalar("Select Count(*) From Attachments"), "1");
    EXPECT_EQ(attachment->AttachmentID, "AT00000002") << "the ID of a row that never came to be";
}

TEST_P(AttachmentTest, DeletingRunsInItsOwnTransactionOrTheClients) {
    const auto attachment = saved("a");
    saved("b");
    statements();
    attachment->DeleteAttachment(true);
    EXPECT_THAT(statements(),
                ElementsAre("begin", "execute|DELETE From Attachments Where AttachmentID ='AT00000001'", "commit"));

    const auto other = loaded("AT00000002");
    connection->BeginTrans();
    other->DeleteAttachment();
    connection->RollbackTrans();
    refuse({"kept", "before delete", "Attachments", nullptr, "rows stay"});
    test::expectFailure({errors::application, "Attachment", "Cannot delete Attachment(s)."},
                        [&] { other->DeleteAttachment(true); });
    EXPECT_THAT(logged(), ElementsAre(StartsWith("Attachment|Cannot delete Attachment(s).|rows stay")));
    EXPECT_EQ(statements().back(), "rollback");
    EXPECT_EQ(scalar("Select AttachmentTitle From Attachments"), "b");
}

TEST_P(AttachmentTest, WithoutAConnectionEachOperationSaysSo) {
    moduleState().SharedConnection = nullptr;
    const auto attachment = make<Attachment>();
    test::expectFailure({errors::application, "Attachments", "Could not Populate"}, [&] { attachment->Populate(); });
    test::expectFailure({errors::application, "Attachment", "Unable to update."},
                        [&] { attachment->UpdateAttachment(""); });
    for (const bool own : {false, true}) {
        test::expectFailure({errors::application, "Attachment", "Cannot delete Attachment(s)."},
                            [&] { attachment->DeleteAttachment(own); });
    }
}

TEST_P(AttachmentTest, DataTakesAnyValueByEitherKindOfAssignment) {
    const auto attachment = make<Attachment>();
    const DispId data = memberId(Attachment::description, "Data");
    for (const unsigned kind : {invokeFlags::propertyPut, invokeFlags::propertyPutRef}) {
        Value given = bytes("abc");
        invoke(*attachment, data, kind, {}, {}, &given);
        EXPECT_EQ(*getMember(*attachment, "Data").getIf<Bytes>(), bytes("abc"));
        Value object = Ref<Object>(make<Attachment>());
        invoke(*attachment, data, kind, {}, {}, &object);
        EXPECT_TRUE(attachment->Data.is(ValueType::object));
    }
}

CORVETH_ON_EVERY_ENGINE(AttachmentTest);

} // namespace
} // namespace corveth
