#include "attachments/attachments.h"

#include "attachments/world.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class AttachmentsTest : public test::AttachmentWorld {
protected:
    /// The members as `ID title`.
    static std::vector<Text> members(const Attachments& attachments) {
        std::vector<Text> result;
        for (std::int32_t i = 1; i <= attachments.get_Count(); ++i) {
            const auto member = attachments.get_Item(i);
            result.push_back(member->AttachmentID + " " + member->AttachmentTitle);
        }
        return result;
    }
    /// A member with such a file, as `AddAttachment` takes it in.
    Ref<Attachment> added(Attachments& attachments, const Text& name) {
        service->file = "/somewhere/" + name;
        files.content = bytes(name);
        files.size = static_cast<std::int32_t>(name.size());
        attachments.AddAttachment();
        return attachments.get_Item(attachments.get_Count());
    }
};

TEST_P(AttachmentsTest, ListsTheFilesOfOneItemOrOfAll) {
    saved("a", "BG00000001");
    saved("b", "CN00000001");
    saved("c", "BG00000001");
    serviceCalls();
    statements();
    const struct {
        const char* name;
        std::function<void(Attachments&)> given;
        const char* statement;
        std::vector<Text> expected;
    } cases[] = {
        {"one item",
         [](Attachments& it) { it.let_LinkId("BG00000001"); },
         "open|Select * From Attachments Where LinkId='BG00000001';",
         {"AT00000001 a", "AT00000003 c"}},
        {"none", [](Attachments& it) { it.let_LinkId(""); }, "open|Select * From Attachments Where LinkId='';", {}},
        {"all",
         [](Attachments& it) { it.let_LinkId("BG00000001"), it.InitAsAll(); },
         "open|SELECT * From Attachments",
         {"AT00000001 a", "AT00000002 b", "AT00000003 c"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        auto attachments = make<Attachments>();
        row.given(*attachments);
        EXPECT_THAT(statements(), IsEmpty()) << "only Populate asks";
        attachments->Populate();
        EXPECT_EQ(members(*attachments), row.expected);
        EXPECT_THAT(statements(), ElementsAre(row.statement));
        EXPECT_THAT(serviceCalls(), IsEmpty()) << "opened past the service";
    }
    auto all = make<Attachments>();
    all->let_LinkId("BG00000001");
    all->InitAsAll();
    EXPECT_EQ(all->get_LinkId(), "");
}

TEST_P(AttachmentsTest, AMemberHasWhatItsRowHas) {
    saved("a");
    saved("report.txt");
    const auto attachments = listed("BG00000001");
    const auto member = attachments->get_Item("at00000002");
    EXPECT_EQ(member->AttachmentTitle + "|" + member->AttachmentType + "|" + member->AttachmentDate + "|" +
                  member->LinkId + "|" + member->LinkType,
              "report.txt|Text|2026-01-02 03:04:05|BG00000001|Bug");
    EXPECT_EQ(member->AttachmentSize, 10);
    EXPECT_EQ(*member->Data.getIf<Bytes>(), bytes("report.txt"));
    EXPECT_EQ(member->get_Index(), 1) << "of those before it";
    EXPECT_EQ(attachments->get_Item(1)->get_Index(), 0);
}

TEST_P(AttachmentsTest, NullTextsAndDatesAreEmptyANullSizeFails) {
    sql("Insert Into Attachments (AttachmentID, LinkID, AttachmentSize) Values ('AT00000001', 'BG00000001', 1)");
    const auto member = listed("BG00000001")->get_Item(1);
    EXPECT_EQ(member->AttachmentTitle + member->AttachmentType + member->AttachmentDate + member->LinkType, "");
    EXPECT_TRUE(member->Data.isNull());

    sql("Insert Into Attachments (AttachmentID, LinkID) Values ('AT00000002', 'BG00000001')");
    auto attachments = make<Attachments>();
    attachments->let_LinkId("BG00000001");
    test::expectFailure({errors::application, "Attachments", "Unable to Populate."}, [&] { attachments->Populate(); });
    EXPECT_THAT(logged(), ElementsAre("Attachments|Unable to Populate.|Invalid use of Null: column AttachmentSize"));
    EXPECT_EQ(attachments->get_Count(), 1) << "what was read before stays";
}

TEST_P(AttachmentsTest, ASecondPopulateFailsAndLeavesNoMembers) {
    saved("a");
    const auto attachments = listed("BG00000001");
    ASSERT_EQ(attachments->get_Count(), 1);
    test::expectFailure({errors::application, "Attachments", "Unable to Populate."}, [&] { attachments->Populate(); });
    EXPECT_THAT(logged(), ElementsAre(StartsWith(
                              "Attachments|Unable to Populate.|Operation is not allowed when the object is open")));
    EXPECT_EQ(attachments->get_Count(), 0);
    EXPECT_EQ(listed("BG00000001")->get_Count(), 1) << "a new object reads again";

    loaded("AT00000001")->DeleteAttachment(true); // the open rows are in nobody's way
    EXPECT_EQ(scalar("Select Count(*) From Attachments"), "0");
}

TEST_P(AttachmentsTest, APopulateThatCouldNotOpenDoesNotKeepALaterOneFromIt) {
    saved("a");
    auto attachments = make<Attachments>();
    const Text unable = "Unable to Populate.";
    test::expectFailure({errors::application, "Attachments", unable}, [&] { attachments->Populate(); });
    attachments->let_LinkId("a'b");
    test::expectFailure({errors::application, "Attachments", unable}, [&] { attachments->Populate(); });
    attachments->let_LinkId("BG00000001");
    moduleState().SharedConnection = nullptr;
    test::expectFailure({errors::application, "Attachments", unable}, [&] { attachments->Populate(); });
    moduleState().SharedConnection = connection;
    attachments->Populate();
    EXPECT_EQ(attachments->get_Count(), 1);
}

TEST_P(AttachmentsTest, AddingTakesTheFileThatTheUserChooses) {
    auto attachments = make<Attachments>();
    attachments->let_LinkId("BG00000001");
    const auto member = added(*attachments, "report.txt");
    EXPECT_THAT(serviceCalls(), ElementsAre("file 0 ''"));
    EXPECT_THAT(files.calls, ElementsAre("Properties /somewhere/report.txt", "Content /somewhere/report.txt"));
    EXPECT_EQ(member->AttachmentTitle + "|" + member->AttachmentType + "|" + member->AttachmentDate + "|" +
                  member->LinkId + "|" + member->LinkType + "|" + member->AttachmentID,
              "report.txt|Plain text|2026-03-05 14:30:15|BG00000001|Unknown|");
    EXPECT_EQ(member->AttachmentSize, 10);
    EXPECT_EQ(*member->Data.getIf<Bytes>(), bytes("report.txt"));
    EXPECT_EQ(member->get_Index(), 0);
    EXPECT_EQ(added(*attachments, "other.txt")->get_Index(), 1);
    EXPECT_THAT(statements(), IsEmpty()) << "nothing is written";
    EXPECT_EQ(files.made, 2);
    EXPECT_EQ(files.alive, 0) << "a file service of its own each time, released afterwards";
}

TEST_P(AttachmentsTest, AFileAboveFiveMegabytesIsRefusedInABox) {
    const struct {
        std::int32_t size;
        bool isAdded;
    } cases[] = {{0, true}, {5'242'880, true}, {5'242'881, false}, {2'147'483'647, false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.size);
        auto attachments = make<Attachments>();
        service->file = "/somewhere/large";
        files.size = row.size;
        files.calls.clear();
        boxes.clear();
        attachments->AddAttachment();
        EXPECT_EQ(attachments->get_Count(), row.isAdded ? 1 : 0);
        EXPECT_EQ(files.calls.size(), row.isAdded ? 2U : 1U) << "what is refused is not read";
        if (row.isAdded) {
            EXPECT_THAT(boxes, IsEmpty());
        } else {
            EXPECT_THAT(boxes, ElementsAre("Attachment Limitation|File size cannot exceed 5 MB.|16"));
        }
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentsTest, WithoutAFileNothingIsAdded) {
    auto attachments = make<Attachments>();
    attachments->AddAttachment();
    EXPECT_EQ(attachments->get_Count(), 0);
    EXPECT_EQ(files.made, 0);
    EXPECT_THAT(boxes, IsEmpty());

    for (const auto* what : {"Properties", "Content"}) {
        SCOPED_TRACE(what);
        files.failure = what;
        service->file = "/gone";
        test::expectFailure({errors::application, "Attachments", "Unable to add into Collection."},
                            [&] { attachments->AddAttachment(); });
        EXPECT_THAT(logged(), ElementsAre(StartsWith("Attachments|Unable to add into Collection.|")));
        EXPECT_EQ(attachments->get_Count(), 0);
        EXPECT_EQ(files.alive, 0);
    }
}

TEST_P(AttachmentsTest, WritingBackKeepsTheIdsThatThereAreAndGivesTheOthersOne) {
    saved("a", "BG00000001");
    saved("b", "BG00000001");
    saved("other", "CN00000001");
    const auto attachments = listed("BG00000001");
    attachments->get_Item(2)->AttachmentTitle = "changed";
    added(*attachments, "new");
    attachments->Remove("AT00000001");
    statements();
    serviceCalls();
    attachments->UpdateAttachments();

    EXPECT_THAT(statements(), ElementsAre("execute|Delete From Attachments Where LinkId='BG00000001'",
                                          "open|SELECT * From Attachments Where AttachmentID ='AT00000002'",
                                          "open|SELECT * From Attachments Where 1=2"));
    EXPECT_THAT(serviceCalls(), ElementsAre("AT 10 AttachmentID Attachments"));
    EXPECT_THAT(members(*attachments), ElementsAre("AT00000002 changed", "AT00000004 new"));
    EXPECT_THAT(members(*listed("BG00000001")), ElementsAre("AT00000002 changed", "AT00000004 new"));
    EXPECT_EQ(rowOf("AT00000004"), "new|Plain text|3|2026-03-05 14:30:15|BG00000001|Bug");
    EXPECT_EQ(attachments->get_Item(2)->LinkType, "Unknown") << "only the row has the type";
    EXPECT_FALSE(attachments->get_Item("AT00000004")) << "the list keeps the keys it has";
    EXPECT_EQ(listed("CN00000001")->get_Count(), 1);

    attachments->UpdateAttachments();
    EXPECT_THAT(members(*listed("BG00000001")), ElementsAre("AT00000002 changed", "AT00000004 new"));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentsTest, WritingBackAllDeletesNothingAndTakesTheLinksAway) {
    saved("a", "BG00000001");
    saved("b", "CN00000001");
    auto attachments = make<Attachments>();
    attachments->InitAsAll();
    attachments->Populate();
    sql("Insert Into Attachments (AttachmentID, AttachmentSize) Values ('AT00000009', 1)"); // after it was read
    statements();
    attachments->UpdateAttachments();
    EXPECT_THAT(statements(), ElementsAre("open|SELECT * From Attachments Where AttachmentID ='AT00000001'",
                                          "open|SELECT * From Attachments Where AttachmentID ='AT00000002'"));
    EXPECT_EQ(rowOf("AT00000001"), "a|Text|1|2026-01-02 03:04:05||None");
    EXPECT_EQ(rowOf("AT00000002"), "b|Text|1|2026-01-02 03:04:05||None");
    EXPECT_EQ(scalar("Select Count(*) From Attachments"), "3");
}

TEST_P(AttachmentsTest, WhatFailsBeforeTheFirstRowIsRaised) {
    const test::Refusal refusal{"kept", "before delete", "Attachments", nullptr, "rows stay"};
    const struct {
        const char* name;
        std::function<void(Attachments&)> given;
        const char* logged;
    } cases[] = {
        {"a link that would end the statement", [](Attachments& it) { it.let_LinkId("a'b"); },
         "Attachments|Unable to update.|Invalid procedure call"},
        {"a deletion", [&](Attachments&) { refuse(refusal); }, "Attachments|Unable to update.|rows stay"},
        {"no ID to be had", [&](Attachments& it) { allow(refusal), added(it, "new"), service->refused = 1; },
         "Attachments|Unable to update.|Overflow: no more IDs"},
        {"the first member's ID",
         [&](Attachments& it) { service->refused = 0, added(it, "new")->AttachmentID = "a'b"; },
         "Attachments|Unable to update.|Invalid procedure call"},
    };
    sql("Insert Into Attachments (AttachmentID, LinkID, AttachmentSize) Values ('AT00000007', 'BG00000001', 1)");
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        auto attachments = make<Attachments>();
        attachments->let_LinkId("BG00000001");
        row.given(*attachments);
        test::expectFailure({errors::application, "Attachments", "Unable to update."},
                            [&] { attachments->UpdateAttachments(); });
        EXPECT_THAT(logged(), ElementsAre(StartsWith(row.logged)));
    }
    EXPECT_EQ(scalar("Select Count(*) From Attachments"), "0") << "the deletion before it stays";
}

TEST_P(AttachmentsTest, WhatFailsAfterTheFirstRowIsLoggedAndTheOthersAreSaved) {
    const test::Refusal refusal{"not_bad", "before insert", "Attachments", "new.AttachmentTitle='bad'", "not that one"};
    const struct {
        const char* name;
        std::function<void(Attachment&)> given;
        const char* id; ///< of the member afterwards
        std::vector<Text> logged;
    } cases[] = {
        {"a date",
         [](Attachment& it) { it.AttachmentDate = "soon"; },
         "AT00000002",
         {"Attachment|writing AttachmentDate of b|Type mismatch: \"soon\""}},
        {"the row",
         [&](Attachment& it) { it.AttachmentTitle = "bad"; },
         "AT00000002",
         {"Attachments|saving of bad|not that one"}},
        {"no ID to be had",
         [&](Attachment&) { service->refused = 2; },
         "",
         {"Attachments|opening the row of b|Overflow: no more IDs", "Attachments|saving of b|",
          "Attachments|reading AttachmentID of b|Invalid use of Null"}},
    };
    refuse(refusal);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        sql("Delete From Attachments");
        auto attachments = make<Attachments>();
        attachments->let_LinkId("BG00000001");
        for (const auto* name : {"a", "b", "c"})
            added(*attachments, name);
        const auto second = attachments->get_Item(2);
        row.given(*second);
        attachments->UpdateAttachments();
        EXPECT_EQ(scalar("Select Count(*) From Attachments Where AttachmentTitle In ('a', 'c')"), "2");
        const auto lines = logged();
        ASSERT_EQ(lines.size(), row.logged.size()) << ::testing::PrintToString(lines);
        for (std::size_t i = 0; i < lines.size(); ++i)
            EXPECT_THAT(lines[i], StartsWith(row.logged[i]));
        EXPECT_EQ(second->AttachmentID.empty(), Text(row.id).empty());
    }
}

TEST_P(AttachmentsTest, ItemKnowsItsMembersAndNothingElse) {
    saved("a");
    const auto attachments = listed("BG00000001");
    EXPECT_EQ(attachments->get_Item(1)->AttachmentTitle, "a");
    EXPECT_EQ(attachments->get_Item("at00000001")->AttachmentTitle, "a");
    for (const Value& index : {Value(std::int32_t{0}), Value(std::int32_t{2}), Value("AT00000002"), Value(""),
                               Value(Null{}), Value(Bytes{})}) {
        EXPECT_FALSE(attachments->get_Item(index));
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentsTest, RemovingTakesAMemberFromTheListOnly) {
    for (const auto* title : {"a", "b", "c"})
        saved(title);
    const auto attachments = listed("BG00000001");
    attachments->Remove("");
    attachments->Remove(Value{});
    EXPECT_EQ(attachments->get_Count(), 3);
    attachments->Remove("at00000002");
    attachments->Remove(std::int32_t{1});
    EXPECT_THAT(members(*attachments), ElementsAre("AT00000003 c"));
    EXPECT_EQ(scalar("Select Count(*) From Attachments"), "3");
    for (const Value& index : {Value("AT00000002"), Value(std::int32_t{2}), Value(Null{})}) {
        test::expectFailure({errors::application, "Attachments", "Cannot delete Record(s)."},
                            [&] { attachments->Remove(index); });
    }
    EXPECT_EQ(logged().size(), 3U);
}

CORVETH_ON_EVERY_ENGINE(AttachmentsTest);

} // namespace
} // namespace corveth
