#include "session/notes.h"

#include "platform/automation/convert.h"
#include "platform/desktop/clock.h"
#include "session/module_state.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;

class NotesTest : public test::DatabaseTest {
protected:
    Ref<Note> saved(const Text& linkId, const Text& title, const Text& body = {}) {
        auto note = make<Note>();
        note->LinkId = linkId;
        note->Title = title;
        note->let_Note(body);
        note->Update();
        return note;
    }
    Text idOf(const Text& title) { return scalar("Select NoteId From Notes Where Title='" + title + "'"); }
    Ref<Notes> listed(const Text& linkId) {
        auto notes = make<Notes>();
        notes->SetLinkFilter(linkId);
        notes->Populate();
        return notes;
    }
    static std::vector<Text> titles(const Notes& notes) {
        std::vector<Text> result;
        for (std::int16_t i = 1; i <= notes.get_Count(); ++i)
            result.push_back(notes.get_Item(i)->Title);
        return result;
    }
};

TEST_P(NotesTest, SavingANewNoteWritesARowOfItsOwn) {
    const auto note = saved("CN00000001", "Call back", "By Friday");

    EXPECT_EQ(note->get_ID(), "") << "the object keeps its ID";
    EXPECT_EQ(idOf("Call back"), "NT00000001");
    EXPECT_EQ(scalar("Select LinkId & '|' & LinkType & '|' & Note & '|' & Creator From Notes"),
              "CN00000001|Contact|By Friday|");
    EXPECT_EQ(scalar("Select Creation From Notes"), toText(today()));
    EXPECT_THAT(statements(), ElementsAre("open|Select * From Notes Where NoteId='' Order By NoteId "));
}

TEST_P(NotesTest, SavingAgainKeepsKeyCreatorAndDay) {
    saved("CN00000001", "First");
    sql("Update Notes Set Creator='me', Creation=1000");

    auto note = make<Note>();
    note->let_ID("nt00000001"); // keys compare without regard to case
    note->Populate();
    note->LinkId = "BG00000001";
    note->Title = "Second";
    note->Update();

    EXPECT_EQ(scalar("Select Count(*) From Notes"), "1");
    EXPECT_EQ(scalar("Select NoteId & '|' & LinkType & '|' & Title & '|' & Creator From Notes"),
              "NT00000001|Bug|Second|me");
    EXPECT_EQ(scalar("Select Creation From Notes"), "1902-09-26");
}

TEST_P(NotesTest, TheTypeIsTheOneOfTheLinkWhateverWasAssigned) {
    const struct {
        const char* link;
        const char* type;
    } cases[] = {{"CN00000001", "Contact"}, {"PT00000001", "Project"}, {"", "None"},
                 {"cn00000001", "None"},    {"IV00000001", "None"},    {"20", "0"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.link);
        auto note = make<Note>();
        note->LinkId = row.link;
        note->let_LinkType("Anything");
        EXPECT_EQ(note->get_LinkType(), row.type);
        note->Title = Text("of ") + row.link;
        note->Update();
        EXPECT_EQ(scalar("Select LinkType From Notes Where Title='" + note->Title + "'"), row.type);
    }
}

TEST_P(NotesTest, LoadingWithoutARowEmptiesTheTextsAndKeepsTheId) {
    auto note = saved("CN00000001", "Title", "Body");
    note->let_ID("NT99999999");
    note->Populate();
    EXPECT_EQ(note->get_ID() + note->Title + note->get_Note() + note->LinkId, "NT99999999");
    EXPECT_EQ(statements().back(), "open|Select * From Notes Where NoteId=\"NT99999999\"");
}

TEST_P(NotesTest, NullsReadAsEmptyOrFailUnchanged) {
    sql("Insert Into Notes (NoteId, LinkType, Title) Values ('NT00000005', 'None', 'T')");
    auto note = make<Note>();
    note->let_ID("NT00000005");
    note->let_Note("before");
    note->Populate();
    EXPECT_EQ(note->get_Note() + note->LinkId, "");

    for (const auto* column : {"Title", "LinkType"}) {
        SCOPED_TRACE(column);
        sql("Update Notes Set Title='T', LinkType='None'");
        sql(Text("Update Notes Set ") + column + "=Null");
        test::expectFailure({errors::invalidNull, "prjCorveth", "Invalid use of Null"}, [&] { note->Populate(); });
    }
}

TEST_P(NotesTest, DeletingRunsInItsOwnTransactionOrTheClients) {
    saved("CN00000001", "A");
    saved("CN00000001", "B");
    statements();
    auto note = make<Note>();
    note->let_ID("NT00000001");
    note->DeleteNote(true);
    EXPECT_THAT(statements(), ElementsAre("begin", "execute|DELETE From Notes Where NoteID ='NT00000001'", "commit"));

    connection->BeginTrans();
    note->let_ID("NT00000002");
    note->DeleteNote(true); // a savepoint within the client's transaction
    note->DeleteNote();
    connection->RollbackTrans();
    EXPECT_EQ(scalar("Select Title From Notes"), "B");
}

TEST_P(NotesTest, AFailedDeleteLeavesTheRowAndSaysWhy) {
    saved("CN00000001", "A");
    refuse({"stay", "before delete", "Notes", nullptr, "notes stay"});
    statements();
    auto note = make<Note>();
    note->let_ID("NT00000001");
    test::expectFailure({errors::application, "Note", "Error deleting Note.\r\nnotes stay"},
                        [&] { note->DeleteNote(true); });
    EXPECT_EQ(statements().back(), "rollback");
    EXPECT_EQ(connection->BeginTrans(), 1) << "no transaction was left open";
    connection->RollbackTrans();
    EXPECT_EQ(scalar("Select Count(*) From Notes"), "1");
}

TEST_P(NotesTest, AFailedSaveDropsThePendingRow) {
    const test::Refusal noMore = {"no_more", "before insert", "Notes", nullptr, "no more notes"};
    refuse(noMore);
    test::expectFailure({errors::application, "Note", "Error updating Note.\r\nno more notes"},
                        [&] { saved("CN00000001", "A"); });
    allow(noMore);
    saved("CN00000001", "B");
    EXPECT_EQ(scalar("Select Count(*) From Notes"), "1");
}

TEST_P(NotesTest, FiltersNameTheRowsThatPopulateReads) {
    saved("CN00000001", "one");
    saved("CN00000001", "two");
    saved("BG00000001", "three");
    statements();
    auto notes = make<Notes>();
    const struct {
        std::function<void()> filter;
        const char* text;
        std::vector<Text> expected;
    } cases[] = {
        {[&] { notes->SetLinkFilter("CN00000001"); }, "Select * From Notes Where  LinkID='CN00000001'", {"one", "two"}},
        {[&] { notes->SetIDFilter("NT00000003"); }, "Select * From Notes Where  NoteID='NT00000003'", {"three"}},
        {[&] { notes->SetTypeFilter(ptParentType::ptContact); }, "Select * From Notes Where  LinkType='12'", {}},
        {[&] { notes->SetNoFilter(); }, "Select * From Notes", {"one", "two", "three"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text);
        row.filter();
        notes->Populate();
        EXPECT_THAT(statements(), ElementsAre(Text("open|") + row.text));
        EXPECT_EQ(titles(*notes), row.expected);
    }
    EXPECT_EQ(notes->LinkId, "") << "filters do not touch the collection's link";
}

TEST_P(NotesTest, PopulateWithoutAFilterFails) {
    auto notes = make<Notes>();
    test::expectFailure({errors::application, "Note", "Error updating Note.\r\nCommand text was not set"},
                        [&] { notes->Populate(); });
}

/// Columns of this engine hold what was put into them, whatever they were declared for.
class NotesOfAnyKindTest : public NotesTest {};

TEST_P(NotesOfAnyKindTest, WhatPopulateReadBeforeAFailureTakesThePlaceOfTheEarlierMembers) {
    saved("CN00000001", "readable");
    saved("CN00000001", "not text");
    auto notes = listed("CN00000001");
    sql("Update Notes Set Title=Cast('bytes' As Blob) Where NoteId='NT00000002'");
    test::expectFailure({errors::application, "Note", "Error updating Note.\r\nType mismatch"},
                        [&] { notes->Populate(); });
    EXPECT_THAT(titles(*notes), ElementsAre("readable"));
    notes->SetLinkFilter("a'b");
    test::expectFailure({errors::application}, [&] { notes->Populate(); });
    EXPECT_THAT(titles(*notes), ElementsAre("readable")) << "what never opened drops nothing";
}

TEST_P(NotesTest, AMembersLinkOrKeyIsWhatWasRead) {
    saved("CN00000001", "Title", "Body");
    const auto note = listed("cn00000001")->get_Item(1);
    EXPECT_EQ(note->get_ID() + "|" + note->Title + "|" + note->get_Note() + "|" + note->LinkId,
              "NT00000001|Title|Body|CN00000001");
}

TEST_P(NotesTest, AddAndAddItemKeyTheirMembers) {
    auto notes = make<Notes>();
    notes->Add("NT1", "", "", "keyed", "", "K");
    notes->Add("NT2", "", "", "unkeyed", "");
    notes->Add("NT3", "", "", "unkeyed too", "");
    test::expectFailure({errors::duplicateKey}, [&] { notes->Add("NT4", "", "", "", "", "k"); });
    notes->AddItem(nullptr);
    auto item = make<Note>();
    item->let_ID("NT5");
    notes->AddItem(item);
    test::expectFailure({errors::duplicateKey}, [&] { notes->AddItem(item); });
    EXPECT_EQ(notes->get_Count(), 4);
    EXPECT_EQ(notes->get_Item(4).get(), item.get());

    notes->Remove("k");
    notes->Remove(std::int32_t{1});
    EXPECT_THAT(titles(*notes), ElementsAre("unkeyed too", ""));
    test::expectFailure({errors::invalidCall}, [&] { notes->Remove("k"); });
    test::expectFailure({errors::subscriptOutOfRange}, [&] { static_cast<void>(notes->get_Item(3)); });
}

TEST_P(NotesTest, WriteBackReplacesTheRowsOfTheLink) {
    saved("CN00000001", "a");
    saved("CN00000001", "b");
    saved("CN00000002", "other");
    auto notes = listed("CN00000001");
    notes->LinkId = "CN00000001";
    notes->get_Item(2)->Title = "changed";
    statements();
    notes->UpdateNotes();

    EXPECT_EQ(statements().front(), "execute|Delete From Notes Where LinkId=\"CN00000001\"");
    EXPECT_EQ(notes->get_Item(1)->get_ID(), "NT00000001") << "members keep their old IDs";
    const auto again = listed("CN00000001");
    EXPECT_THAT(titles(*again), ElementsAre("a", "changed"));
    EXPECT_EQ(again->get_Item(1)->get_ID(), "NT00000004");
    EXPECT_EQ(listed("CN00000002")->get_Count(), 1);
}

TEST_P(NotesTest, WriteBackWithoutALinkTakesTheNotesWithoutOne) {
    saved("", "loose");
    saved("CN00000001", "tied");
    auto notes = listed("CN00000001");
    notes->UpdateNotes();
    EXPECT_EQ(scalar("Select Count(*) From Notes Where Title='loose'"), "0");
    EXPECT_EQ(scalar("Select Count(*) From Notes Where LinkId='' And LinkType='None' And Title='tied'"), "1");
}

TEST_P(NotesTest, WriteBackStopsAtTheFirstFailureAndKeepsWhatWasDone) {
    for (const auto* title : {"a", "b", "c"})
        saved("CN00000001", title);
    auto notes = listed("CN00000001");
    notes->LinkId = "CN00000001";
    refuse({"not_b", "before insert", "Notes", "new.Title='b'", "not b"});
    test::expectFailure({errors::application, "Note", "Error updating Note.\r\nnot b"}, [&] { notes->UpdateNotes(); });
    EXPECT_THAT(titles(*listed("CN00000001")), ElementsAre("a"));
}

TEST_P(NotesTest, ALinkNamedLikeAColumnTouchesItsOwnRowsOnly) {
    saved("LinkId", "mine");
    saved("CN00000001", "not mine");
    auto notes = make<Notes>();
    notes->LinkId = "LinkId";
    notes->UpdateNotes();
    EXPECT_EQ(scalar("Select Title From Notes"), "not mine");
}

TEST_P(NotesTest, AValueWithTheQuoteOfItsStatementIsRefusedWhenItWouldRun) {
    saved("CN00000001", "stays");
    statements();
    const Text single = "x' Or '1'='1";
    const Text doubled = "x\" Or \"1\"=\"1";
    auto note = make<Note>();
    auto notes = make<Notes>();

    note->let_ID(single);
    test::expectFailure({errors::application, "Note", "Error deleting Note.\r\nInvalid procedure call or argument: "},
                        [&] { note->DeleteNote(true); });
    EXPECT_THAT(statements(),
                ElementsAre("begin", "execute|DELETE From Notes Where NoteID ='x' Or '1'='1'", "rollback"));
    test::expectFailure({errors::application, "Note", "Error updating Note."}, [&] { note->Update(); });
    note->Populate(); // stands in double quotes there: an ID like any other, without a row

    note->let_ID(doubled);
    test::expectFailure({errors::invalidCall, "prjCorveth"}, [&] { note->Populate(); });
    notes->SetLinkFilter(single);
    test::expectFailure({errors::application, "Note", "Error updating Note."}, [&] { notes->Populate(); });
    notes->LinkId = doubled;
    test::expectFailure({errors::invalidCall}, [&] { notes->UpdateNotes(); });
    notes->LinkId = Text("x\0y", 3);
    test::expectFailure({errors::invalidCall}, [&] { notes->UpdateNotes(); });
    EXPECT_EQ(scalar("Select Count(*) From Notes"), "1");
}

TEST_P(NotesTest, AnyUnicodeTextComesBackByteForByte) {
    const Text body = "Grüße, 日本語, \U0001F980 \"double\" 'single' \t\r\n -- ; ? :x @y $z %_*[a]#1/2/2003#";
    saved("CN00000001", "T", body);
    EXPECT_EQ(listed("CN00000001")->get_Item(1)->get_Note(), body);
}

TEST_P(NotesTest, WithoutAConnectionEachOperationSaysSo) {
    moduleState().SharedConnection = nullptr;
    auto note = make<Note>();
    auto notes = make<Notes>();
    notes->SetNoFilter();
    test::expectFailure({errors::badConnection}, [&] { note->Populate(); });
    test::expectFailure({errors::application, "Note", "Error updating Note.\r\nThe connection cannot be used"},
                        [&] { note->Update(); });
    test::expectFailure({errors::application, "Note", "Error deleting Note.\r\nObject variable"},
                        [&] { note->DeleteNote(true); });
    test::expectFailure({errors::objectNotSet}, [&] { notes->UpdateNotes(); });
    moduleState().SharedConnection = connection;
    connection->Close();
    test::expectFailure({errors::badConnection}, [&] { note->Populate(); });
    test::expectFailure(
        {errors::application, "Note", "Error deleting Note.\r\nOperation is not allowed when the object is closed"},
        [&] { note->DeleteNote(); });
}

CORVETH_ON_EVERY_ENGINE(NotesTest);
CORVETH_ON_ENGINE("SQLite", NotesOfAnyKindTest);

} // namespace
} // namespace corveth
