// Reading, finding and writing rows through a recordset.

#include "platform/automation/convert.h"
#include "platform/automation/dispatch.h"
#include "platform/automation/enumerator.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <limits>

namespace corveth::test {
namespace {

using testing::StartsWith;

class DataRecordset : public DataTest {
protected:
    void SetUp() override {
        DataTest::SetUp();
        for (const char* id : {"A1", "A2", "A3"})
            connection->execute(Text("Insert Into Items (Id, Link, Size) Values ('") + id + "', 'L', 1)");
    }
    /// The statements that recordsets made in `action`.
    std::vector<Text> written(const std::function<void(const Ref<Connection>&)>& action) {
        const Text trace = folder.file("written");
        action(connect("Trace File=" + trace));
        std::vector<Text> lines;
        std::ifstream file(trace);
        for (Text line; std::getline(file, line);) {
            if (line.starts_with("row\t")) lines.push_back(line.substr(4));
        }
        return lines;
    }
};

TEST_P(DataRecordset, KeepsTheTypeThatAColumnDeclares) {
    struct Case {
        const char* column;
        Value given;
        ValueType type;
        const char* expected; ///< as text, or what is raised
        std::int32_t number;  ///< of the field's type
    };
    const Bytes bytes = {std::byte{0}, std::byte{255}};
    const Case cases[] = {
        {"Name", Text("L\xC3\xA9on \xF0\x9F\x98\x80"), ValueType::text, "L\xC3\xA9on \xF0\x9F\x98\x80", 202},
        {"Name", Text(), ValueType::text, "", 202},
        {"Name", 12, ValueType::text, "12", 202},
        {"Name", Null{}, ValueType::null, "-", 202},
        {"Size", 2147483647, ValueType::longInteger, "2147483647", 3},
        {"Size", "16.5", ValueType::longInteger, "16", 3},
        {"Size", Value(), ValueType::longInteger, "0", 3},
        {"Size", "", ValueType::null, "3464 ADODB.Recordset: Data type mismatch", 3},
        {"Size", 2147483648.0, ValueType::null, "6 ADODB.Recordset: Overflow", 3},
        {"Small", -32768, ValueType::integer, "-32768", 2},
        {"Small", 32767.5, ValueType::null, "6 ADODB.Recordset: Overflow", 2},
        {"Tiny", 255, ValueType::byte, "255", 17},
        {"Tiny", -1, ValueType::null, "6 ADODB.Recordset: Overflow", 17},
        {"Ratio", 0.1, ValueType::doubleFloat, "0.1", 5},
        {"Ratio", 3, ValueType::doubleFloat, "3", 5},
        {"Price", Currency{-9007199254740991}, ValueType::currency, "-900719925474.0991", 6},
        {"Price", Currency{9223372036854770000}, ValueType::currency, "922337203685477", 6},
        {"Price", Currency{9223372036854775807}, ValueType::null, "6 ADODB.Recordset: Overflow: the amount", 6},
        {"Price", 0.00005, ValueType::currency, "0", 6},
        {"Due", Date{43890}, ValueType::date, "2020-02-29", 7},
        {"Due", Date{-1.25}, ValueType::date, "1899-12-29 06:00:00", 7},
        {"Due", "2/29/2020 6:00 PM", ValueType::date, "2020-02-29 18:00:00", 7},
        {"Due", "29.02.2020", ValueType::null, "3464 ADODB.Recordset: Data type mismatch", 7},
        {"Done", true, ValueType::boolean, "True", 11},
        {"Done", -0.3, ValueType::boolean, "True", 11},
        {"Done", 0, ValueType::boolean, "False", 11},
        {"Data", bytes, ValueType::bytes, "", 205},
        {"Data", Bytes{}, ValueType::bytes, "", 205},
        {"Data", "text", ValueType::null, "3464 ADODB.Recordset: Data type mismatch", 205},
        {"Name", Text("a\0b", 3), ValueType::null,
         "5 ADODB.Recordset: Invalid procedure call or argument: a text that holds a NUL", 202},
        {"Ratio", Ref<Object>(), ValueType::null, "13 ADODB.Recordset: Type mismatch", 5},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(Text(row.column) + " <- " + Text(typeName(row.given)) + " for " + row.expected);
        auto items = open("Select * From Items Where Id='A1'");
        const Text failure = raised([&] {
            items->set(row.column, row.given);
            items->Update();
        });
        EXPECT_EQ(items->columnType(*items->columnPosition(row.column)), row.number);
        if (!failure.empty()) {
            EXPECT_THAT(failure, StartsWith(row.expected));
            continue;
        }
        const auto again = open("Select " + Text(row.column) + " From Items Where Id='A1'");
        for (const auto& recordset : {items, again}) {
            const Value& value = recordset->value(row.column);
            EXPECT_EQ(value.type(), row.type);
            if (const auto* read = value.getIf<Bytes>()) {
                EXPECT_EQ(*read, *row.given.getIf<Bytes>());
            } else {
                EXPECT_EQ(value.isNull() ? "-" : toText(value), row.expected);
            }
        }
    }
}

TEST_P(DataRecordset, ReadsWhatOtherProgramsStored) {
    connection->execute("Update Items Set Done=1, Due=0.25 Where Id='A1'");
    connection->execute("Update Items Set Done=2*1, Due=43890+0 Where Id='A2'");
    EXPECT_EQ(rows("Select Done, Due From Items Where Id<>'A3' Order By Id"), "True,06:00:00;True,2020-02-29");
}

TEST_P(DataRecordset, InsertsOnlyWhatWasAssigned) {
    const auto lines = written([this](const Ref<Connection>& traced) {
        auto items = make<Recordset>();
        items->open("Select * From Items Where 1=2", traced, CursorType::keyset, LockType::optimistic);
        EXPECT_TRUE(items->isEmpty());
        items->AddNew();
        EXPECT_FALSE(items->get_EOF());
        EXPECT_TRUE(items->value("Name").isNull());
        items->set("size", 7);
        items->set("Id", "B1");
        EXPECT_EQ(rows("Select Count(*) From Items"), "3") << "nothing is written before Update";
        items->Update();
        EXPECT_EQ(toText(items->value("Name")), "unnamed") << "the new row stays current, with the table's defaults";
        EXPECT_EQ(items->get_RecordCount(), 1);
        items->set("Name", "given");
        items->set("Size", 7);
        items->Update();
        items->Update();
        items->MoveNext();
        EXPECT_TRUE(items->get_EOF());
    });
    EXPECT_THAT(lines, testing::ElementsAre("Insert Into [Items] ([Id], [Size]) Values ('B1', 7)",
                                            "Update [Items] Set [Name] = 'given' Where [Id] = 'B1'"));
    EXPECT_EQ(rows("Select Name, Size From Items Where Id='B1'"), "given,7");
}

TEST_P(DataRecordset, FindsTheRowThatItWrites) {
    auto pieces = open("Select * From Pieces Where 1=2");
    for (const char* part : {"P1", "P2"}) {
        pieces->AddNew();
        pieces->set("Item", "I");
        pieces->set("Part", part);
        pieces->Update();
    }
    pieces->MoveFirst();
    pieces->set("Part", "P9");
    pieces->Update();
    pieces->set("Quantity", 5);
    pieces->Update();
    EXPECT_EQ(rows("Select Part, Quantity From Pieces Order By Part"), "P2,1;P9,5");
    pieces->Delete();
    EXPECT_EQ(rows("Select Part From Pieces"), "P2");

    auto numbers = open("Select * From Numbers");
    for (const char* name : {"one", "two"}) {
        numbers->AddNew();
        numbers->set("Name", name);
        numbers->Update();
    }
    EXPECT_EQ(toText(numbers->value("Id")), "2");
    numbers->set("Name", "second");
    numbers->Update();
    EXPECT_EQ(rows("Select Name From Numbers Order By Id"), "one;second");
}

TEST_P(DataRecordset, SaysWhenTheRowIsGone) {
    auto items = open("Select * From Items Where Id='A1'");
    connect()->execute("Delete From Items Where Id='A1'");
    items->set("Size", 2);
    EXPECT_THAT(raised([&] { items->Update(); }),
                StartsWith("-2147217864 ADODB.Recordset: Row cannot be located for updating."));
    items->CancelUpdate();
    EXPECT_THAT(raised([&] { items->Delete(); }),
                StartsWith("-2147217864 ADODB.Recordset: Row cannot be located for deleting."));
    EXPECT_EQ(toText(items->value("Size")), "1");
}

TEST_P(DataRecordset, WritesThroughTheJoinedView) {
    auto contacts = open("Select * From Contacts Where ContactId=''");
    contacts->AddNew();
    contacts->set("ContactId", "CN00000001");
    contacts->set("FirstName", "Ann");
    contacts->set("ContactType", 1);
    contacts->set("City1", "Oslo");
    contacts->Update();
    EXPECT_EQ(toText(contacts->value("Expr1")), "CN00000001") << "the row is read again by its key";
    contacts->set("City2", "Bergen");
    contacts->Update();
    EXPECT_EQ(rows("Select FirstName, City1, City2 From Contacts"), "Ann,Oslo,Bergen");
    connection->execute("Delete From ContactMaster");
    contacts->set("City1", "Moss");
    EXPECT_THAT(raised([&] { contacts->Update(); }), StartsWith("-2147217864 ADODB.Recordset: Row cannot be located"));
}

TEST_P(DataRecordset, RefusesToWriteWhereItCannot) {
    struct Case {
        const char* name;
        const char* statement;
        LockType lock;
        const char* expected;
    };
    const Case cases[] = {
        {"no lock", "Select * From Items", LockType::unspecified,
         "3251 ADODB.Recordset: Current Recordset does not support updating."},
        {"a read-only one", "Select * From Items", LockType::readOnly,
         "3251 ADODB.Recordset: Current Recordset does not support"},
        {"a join", "Select Items.* From Items Inner Join Pieces On Items.Id=Pieces.Item", LockType::optimistic, "3251"},
        {"two tables", "Select * From Items, Pieces", LockType::optimistic, "3251"},
        {"groups", "Select Link As Id, Count(*) As Size From Items Group By Link", LockType::optimistic, "3251"},
        {"a union", "Select * From Items Union Select * From Items", LockType::optimistic, "3251"},
        {"an expression", "Select Id, Size+1 As Size From Items", LockType::optimistic, "3251 ADODB.Recordset"},
        {"a statement without the key", "Select Size From Items", LockType::optimistic,
         "-2147217887 ADODB.Recordset: Insufficient key column information"},
        {"a new value under an alias", "Select Id, Size As Length From Items", LockType::optimistic, ""},
        {"an alias of the table", "Select I.Id, I.Size From Items As I Where I.Size=1 Order By I.Id",
         LockType::pessimistic, ""},
        {"a sub-select", "Select Id, Size From Items Where Id In (Select Item From Pieces Group By Item) Or 1=1",
         LockType::optimistic, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        connection->execute("Insert Into Pieces (Item, Part) Values ('A1', 'P')");
        auto items = open(row.statement, row.lock);
        const std::size_t column = items->columnPosition("Size").value_or(items->columnCount() - 1);
        const Text failure = raised([&] {
            items->set(column, 5);
            items->Update();
        });
        EXPECT_THAT(failure, StartsWith(row.expected));
        EXPECT_EQ(rows("Select Count(*) From Items Where Size=5"), failure.empty() ? "1" : "0");
        connection->execute("Update Items Set Size=1");
        connection->execute("Delete From Pieces");
    }
    EXPECT_THAT(raised([&] { open("Select * From Items", LockType::readOnly)->AddNew(); }), StartsWith("3251"));
    EXPECT_THAT(raised([&] { open("Select * From Items", LockType::readOnly)->Delete(); }), StartsWith("3251"));
}

TEST_P(DataRecordset, SavesOrDropsARowThatIsBeingEdited) {
    auto items = open("Select * From Items Order By Id");
    items->set("Size", 5);
    EXPECT_THAT(raised([&] { items->Close(); }), StartsWith("3219 ADODB.Recordset"));
    items->MoveNext();
    EXPECT_EQ(rows("Select Size From Items Where Id='A1'"), "5") << "a move saves";
    items->set("Size", 6);
    EXPECT_EQ(toText(items->value("Size")), "6");
    EXPECT_EQ(toText(items->originalValue(*items->columnPosition("Size"))), "1");
    items->CancelUpdate();
    EXPECT_EQ(toText(items->value("Size")), "1");
    items->AddNew();
    items->set("Id", "A1");
    EXPECT_THAT(raised([&] { items->MoveFirst(); }),
                StartsWith("-2147467259 ADODB.Recordset: " + GetParam().duplicateKey("Items", "Id")));
    EXPECT_EQ(items->get_EditMode(), 2) << "a row that could not be saved is still being edited";
    items->set("Id", "A9");
    items->AddNew();
    EXPECT_EQ(rows("Select Id From Items Where Id='A9'"), "A9") << "another new row saves the one before";
    items->set("Id", "A8");
    items = nullptr;
    EXPECT_EQ(rows("Select Count(*) From Items"), "4") << "releasing drops";
}

TEST_P(DataRecordset, MovesBetweenItsEnds) {
    const auto items = open("Select * From Items Order By Id");
    struct Step {
        const char* name;
        std::function<void()> action;
        const char* expected; ///< position, then B or E at an end; or what is raised
    };
    const Step steps[] = {
        {"opens on the first", [] {}, "1"},
        {"last", [&] { items->MoveLast(); }, "3"},
        {"next", [&] { items->MoveNext(); }, "-3E"},
        {"beyond the end", [&] { items->MoveNext(); }, "3021"},
        {"reading there", [&] { static_cast<void>(items->value(0)); }, "3021"},
        {"deleting there", [&] { items->Delete(); }, "3021"},
        {"back", [&] { items->MovePrevious(); }, "3"},
        {"by two back", [&] { items->Move(-2); }, "1"},
        {"before the first", [&] { items->MovePrevious(); }, "-2B"},
        {"beyond the beginning", [&] { items->MovePrevious(); }, "3021"},
        {"finding from there", [&] { items->Find("Size = 1", 0, 1); }, "3021"},
        {"forward again", [&] { items->MoveNext(); }, "1"},
        {"deleted", [&] { items->Delete(); }, "1"},
        {"reading a deleted row", [&] { static_cast<void>(items->value(0)); }, "3021"},
        {"on from a deleted row", [&] { items->MoveNext(); }, "1"},
        {"to a position", [&] { items->let_AbsolutePosition(2); }, "2"},
        {"to no position", [&] { items->let_AbsolutePosition(3); }, "3001"},
        {"by too many", [&] { items->Move(9); }, "-3E"},
        {"first", [&] { items->MoveFirst(); }, "1"},
        {"deleted too", [&] { items->Delete(); }, "1"},
        {"to the last", [&] { items->MoveNext(); }, "1"},
        {"the last one deleted", [&] { items->Delete(); }, "1"},
        {"nothing left", [&] { items->MoveNext(); }, "-2BE"},
        {"first of nothing", [&] { items->MoveFirst(); }, "3021"},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        const Text failure = raised(step.action);
        Text now = failure.substr(0, 4);
        if (failure.empty()) {
            now = std::to_string(items->get_AbsolutePosition());
            if (items->get_BOF()) now += 'B';
            if (items->get_EOF()) now += 'E';
        }
        EXPECT_EQ(now, step.expected) << failure;
    }
    EXPECT_EQ(rows("Select Count(*) From Items"), "0");
}

TEST_P(DataRecordset, FindsByOneColumn) {
    connection->execute("Update Items Set Name='Bob', Due=#2020-02-29#, Price=1.5, Done=True Where Id='A2'");
    connection->execute("Update Items Set Name='*', Size=-2 Where Id='A3'");
    struct Case {
        const char* criteria;
        int skip, direction;
        const char* expected; ///< key, `EOF`, `BOF` or the error
    };
    const Case cases[] = {
        {"Name = 'bob'", 0, 1, "A2"},
        {"Id = 'A1'", 0, 1, "A1"},
        {"Id = 'A1'", 1, 1, "EOF"},
        {"[Size] < 0", 0, 1, "A3"},
        {"Size >= -2", 1, 1, "A2"},
        {"Size <> 1", 0, 1, "A3"},
        {"Size = -2", 0, 1, "A3"},
        {"Due = #2/29/2020#", 0, 1, "A2"},
        {"Due > '2020-02-28'", 0, 1, "A2"},
        {"Price = 1.5", 0, 1, "A2"},
        {"Done = True", 0, 1, "A2"},
        {"Due = Null", 0, 1, "A1"},
        {"Due <> Null", 0, 1, "A2"},
        {"Name like 'b*'", 0, 1, "A2"},
        {"Name like '[*]'", 0, 1, "A3"},
        {"Name = 'nobody'", 0, 1, "EOF"},
        {"Id = 'A3'", 0, -1, "BOF"},
        {"Nothing = 1", 0, 1, "3265"},
        {"Size = 1 And Id = 'A1'", 0, 1, "3001"},
        {"Size", 0, 1, "3001"},
        {"Size = many", 0, 1, "3001"},
        {"Size = 'many'", 0, 1, "3464"},
        {"Name = 'Bobb", 0, 1, "3001"}, // without its end it is no text, and no shorter one
        {"[Sizee = 1", 0, 1, "3001"},
        {"Due = #2/29/20200", 0, 1, "3001"},
        {"Id = 'A1'", std::numeric_limits<int>::max(), 1, "EOF"},
        {"Id = 'A1'", std::numeric_limits<int>::min(), -1, "BOF"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.criteria);
        const auto items = open("Select * From Items Order By Id");
        const Text failure = raised([&] { items->Find(row.criteria, row.skip, row.direction); });
        Text found = failure.substr(0, 4);
        if (failure.empty()) {
            found = items->get_EOF() ? "EOF" : items->get_BOF() ? "BOF" : toText(items->value("Id"));
        }
        EXPECT_EQ(found, row.expected) << failure;
    }
}

TEST_P(DataRecordset, HoldsNoLockBetweenCalls) {
    const auto items = open("Select * From Items");
    const auto other = connect();
    EXPECT_EQ(raised([&] { other->execute("Update Items Set Size=9"); }), "");
    EXPECT_EQ(raised([&] { other->execute("drop table Pieces"); }), "");
    EXPECT_EQ(rowsOf(*items).substr(0, 12), "A1,L,unnamed");
}

TEST_P(DataRecordset, SeesColumnsThatAnotherProgramAdded) {
    EXPECT_EQ(open("Select * From Pieces")->columnCount(), 3U);
    connection->execute("Insert Into Pieces (Item, Part) Values ('A1', 'P')");
    connect()->execute(GetParam().addColumn);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(rows("Select * From Pieces"), "A1,P,1,none");
}

TEST_P(DataRecordset, TellsClosedFromOpen) {
    auto recordset = make<Recordset>();
    const auto openOn = [&](const Ref<Connection>& on) {
        recordset->open("Select * From Items", on, CursorType::staticCopy, LockType::readOnly);
    };
    EXPECT_THAT(raised([&] { openOn({}); }), StartsWith("3709 ADODB.Recordset: The connection cannot be used"));
    EXPECT_THAT(raised([&] { openOn(make<Connection>()); }), StartsWith("3709"));
    EXPECT_THAT(raised([&] { recordset->MoveNext(); }), StartsWith("3704 ADODB.Recordset"));
    EXPECT_THAT(raised([&] { static_cast<void>(recordset->get_EOF()); }), StartsWith("3704"));
    auto other = connect();
    openOn(other);
    EXPECT_THAT(raised([&] { openOn(other); }), StartsWith("3705 ADODB.Recordset"));
    EXPECT_THAT(
        raised([&] { static_cast<void>(recordset->value("Nope")); }),
        StartsWith("3265 ADODB.Recordset: Item cannot be found in the collection corresponding to the requested "
                   "name or ordinal. \"Nope\""));
    other->Close();
    EXPECT_FALSE(recordset->isOpen());
    EXPECT_THAT(raised([&] { static_cast<void>(recordset->value(0)); }), StartsWith("3704"));
    recordset->set_ActiveConnection(connect()); // as often opened as the one that was closed had been
    EXPECT_FALSE(recordset->isOpen());
    recordset->set_ActiveConnection({});
    EXPECT_FALSE(recordset->isOpen());
    openOn(connection);
    EXPECT_TRUE(recordset->isOpen());
    recordset->Close();
    EXPECT_THAT(raised([&] {
                    recordset->open("Update Items Set Size=1", connection, CursorType::keyset, LockType::optimistic);
                }),
                "");
    EXPECT_FALSE(recordset->isOpen()) << "a statement without rows leaves it closed";
}

TEST_P(DataRecordset, ReadsANewRowAgainOnceThatIsPossible) {
    const auto items = open("Select * From Items");
    items->AddNew();
    items->set("Id", "B1");
    items->Update();
    connection->execute("Alter Table Items Rename To Away");
    EXPECT_THAT(raised([&] { static_cast<void>(items->value("Name")); }),
                testing::HasSubstr(GetParam().noTable("Items")));
    connection->execute("Alter Table Away Rename To Items");
    EXPECT_EQ(toText(items->value("Name")), "unnamed");
}

TEST_P(DataRecordset, RenewsOnlyTheKeyThatItMade) {
    const auto items = open("Select * From Items");
    const auto insert = [&](const char* assigned) {
        items->AddNew();
        int made = 0;
        items->setNewKey("Id", [&made] { return "A" + std::to_string(++made); });
        if (assigned != nullptr) items->set("Id", assigned);
        items->Update();
    };
    insert(nullptr);
    EXPECT_EQ(toText(items->value("Id")), "A4");
    EXPECT_THAT(raised([&] { insert("A1"); }),
                StartsWith("-2147467259 ADODB.Recordset: " + GetParam().duplicateKey("Items", "Id")));
    items->CancelUpdate();
    EXPECT_EQ(rows("Select Id From Items Order By Id"), "A1;A2;A3;A4");
}

TEST_P(DataRecordset, KeepsItsRowsWhenTheyCannotBeReadAgain) {
    const Text longer = "what takes memory of its own, and is gone with it";
    connection->execute("Create Table Passing (Name text)");
    connection->execute("Insert Into Passing (Name) Values ('" + longer + "')");
    const auto passing = open("Select * From Passing");
    connection->execute("Drop Table Passing");
    EXPECT_THAT(raised([&] { passing->Requery(); }), testing::HasSubstr(GetParam().noTable("Passing")));
    EXPECT_EQ(rowsOf(*passing), longer);
}

TEST_P(DataRecordset, RemembersPositionsOfAColumnsTable) {
    static constexpr const char* names[] = {"size", "Nope", "ID"};
    for (const char* id : {"A1", "A2"}) {
        const auto items = open(Text("Select * From Items Where Id='") + id + "'");
        EXPECT_THAT(items->positions(names, names), testing::ElementsAre(3, -1, 0));
    }
    EXPECT_THAT(open("Select Id, Size From Items")->positions(names, names), testing::ElementsAre(1, -1, 0));
}

TEST_P(DataRecordset, GivesLargeBytesAwayWithoutACopy) {
    auto items = open("Select * From Items Where Id='A1'");
    Bytes large(1 << 20, std::byte{7});
    const auto* address = large.data();
    items->set("Data", std::move(large));
    items->Update();
    const std::size_t data = *items->columnPosition("Data");
    const Value taken = std::move(items->cells()[data]);
    ASSERT_TRUE(taken.is(ValueType::bytes));
    EXPECT_EQ(taken.getIf<Bytes>()->data(), address);
    EXPECT_EQ(rows("Select length(Data) From Items Where Id='A1'"), "1048576");
}

TEST_P(DataRecordset, ServesLateBoundClients) {
    const auto recordset = make<Recordset>();
    callMember(*recordset, "Open", {"Items", connection, 1, 3, 2});
    const auto fields = getMember(*recordset, "Fields");
    auto& fieldList = **fields.getIf<Ref<Object>>();
    EXPECT_EQ(toText(getMember(fieldList, "Count")), "11");
    const auto field = getMember(fieldList, "Item", {"SIZE"});
    auto& size = **field.getIf<Ref<Object>>();
    letMember(size, "Value", "12");
    callMember(*recordset, "Update");
    EXPECT_EQ(toText(getMember(size, "Value")), "12");
    EXPECT_EQ(toText(getMember(size, "Name")), "Size");
    EXPECT_EQ(toText(getMember(size, "ActualSize")), "4");
    callMember(*recordset, "MoveNext");
    EXPECT_EQ(toText(getMember(size, "Value")), "1") << "a field is of whatever row is current";
    EXPECT_THAT(raised([&] { getMember(fieldList, "Item", {11}); }), StartsWith("3265 ADODB.Fields"));
    EXPECT_THAT(raised([&] { getMember(fieldList, "Item", {"Nope"}); }), testing::HasSubstr("\"Nope\""));

    const auto named = getMember(*recordset, "Fields", {"Id"});
    EXPECT_EQ(toText(getMember(**named.getIf<Ref<Object>>(), "Value")), "A2") << "arguments go to the default member";

    Text names;
    const auto steps = getMember(fieldList, "_NewEnum");
    auto& enumerator = static_cast<Enumerator&>(**steps.getIf<Ref<Object>>());
    for (Value member; enumerator.next(member);)
        names += toText(getMember(**member.getIf<Ref<Object>>(), "Name")) + " ";
    EXPECT_EQ(names, "Id Link Name Size Small Tiny Ratio Price Due Done Data ");

    const auto own = make<Recordset>();
    callMember(*own, "Open", {"Select Id From Items Where Size=12", connectionString()});
    EXPECT_EQ(toText(own->value(0)), "A1") << "a connection string makes a connection";
}

CORVETH_ON_EVERY_ENGINE(DataRecordset);

} // namespace
} // namespace corveth::test
