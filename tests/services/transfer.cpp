#include "services/transfer.h"

#include "platform/data/definition.h"
#include "services/row_dump.h"
#include "services/row_load.h"
#include "support/temporary_database.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace corveth {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* header = "{\"corveth\": \"dump\", \"format\": 1, \"schema\": 2}\n";

Text closing(std::size_t rows) {
    return fmt::format("{{\"rows\": {}}}\n", rows);
}

/// The lines of a row of a table each, between the first and the last.
Text dumpOf(const std::vector<Text>& rows) {
    Text lines = header;
    for (const Text& row : rows)
        lines += row + "\n";
    return lines + closing(rows.size());
}

/// As the tests' own tables are made on every engine.
data::Definition ownTables() {
    data::Definition definition;
    definition.read("own", "create table Items (Id char(10) not null primary key, Link char(10), Name text, "
                           "Size integer, Small smallint, Tiny byte, Ratio real, Price currency, Due date, "
                           "Done boolean, Data blob);\n");
    return definition;
}

class TransferTest : public test::DataTest {
protected:
    void load(TextView lines, const data::Definition& definition = wholeDefinition()) const {
        RowLoad load(connectionString(), definition);
        load.add(lines);
        load.finish();
    }
    static Text dump(const Text& source, const data::Definition& definition = wholeDefinition()) {
        RowDump dump(source, definition);
        Text all;
        for (Text piece = dump.next(); !piece.empty(); piece = dump.next())
            all += piece;
        return all;
    }
    /// Piece by piece, none of them large.
    static void move(const Text& source, const Text& target) {
        RowDump dump(source);
        RowLoad load(target);
        for (Text piece = dump.next(); !piece.empty(); piece = dump.next()) {
            EXPECT_LT(piece.size(), 2'500'000U);
            EXPECT_LE(std::ranges::count(piece, '\n'), 500);
            load.add(piece);
        }
        load.finish();
        EXPECT_EQ(load.done(), dump.done());
    }
};

/// A database comes with rows of its own; a dump has them, too, or what has become of them. Where there is more they
/// may be in use.
TEST_P(TransferTest, WhatADatabaseComesWithGivesWayToTheDump) {
    const Text changed = R"({"table": "WorkingHours", "row": {"Id": "wh00000001", "Friday": 4.5}})";
    const Text another = R"({"table": "WorkingHours", "row": {"Id": "WH00000002", "ProjectId": "PT1"}})";
    const struct {
        const char* name;
        const char* before;
        std::vector<Text> given;
        const char* expected;
    } cases[] = {
        {"another row", "Delete From Notes", {another}, "WH00000002,-"},
        {"no row", "Delete From Notes", {}, ""},
        {"another row where there is more",
         "Insert Into Notes (NoteId) Values ('NT1')",
         {another},
         "WH00000001,8;WH00000002,-"},
        {"the same key there", "Select 1", {changed}, "wh00000001,4.5"},
        {"the same key", "Delete From Notes", {changed}, "wh00000001,4.5"},
        {"both", "Select 1", {another, changed}, "wh00000001,4.5;WH00000002,-"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        connection->execute("Delete From WorkingHours");
        connection->execute("Insert Into WorkingHours Values ('WH00000001', 0, 8, 8, 8, 8, 8, 0, Null)");
        connection->execute(row.before);
        load(dumpOf(row.given));
        EXPECT_EQ(rows("Select Id, Friday From WorkingHours Order By Id"), row.expected);
        if (row.given.empty() || row.given.back() != changed) continue;
        EXPECT_THAT(test::raised([&] { load(dumpOf({changed})); }), HasSubstr("has a row with the key"))
            << "it is the user's by now";
    }
}

TEST_P(TransferTest, EveryValueComesBackAsItWas) {
    const struct {
        const char* name;
        const char* given;  ///< behind the key
        const char* stored; ///< of the columns named in `given`
        const char* columns;
    } cases[] = {
        {"nothing, not even a default", "", "-,-,-,-", "Name, Size, Done, Data"},
        {"empty text", R"(, "Link": "", "Name": "")", ",", "Link, Name"},
        {"any text", R"(, "Name": "a\"b\\c'd\n\t\u0001 æ 漢 😀 {}")", "20", "Len(Name)"},
        {"highest", R"(, "Size": 2147483647, "Small": 32767, "Tiny": 255)", "2147483647,32767,255",
         "Size, Small, Tiny"},
        {"lowest", R"(, "Size": -2147483648, "Small": -32768, "Tiny": 0)", "-2147483648,-32768,0", "Size, Small, Tiny"},
        {"a double to its last bit", R"(, "Ratio": 0.30000000000000004)", "0.3", "Ratio"},
        {"a large one", R"(, "Ratio": 1.7976931348623157e+308)", "1.79769313486232E+308", "Ratio"},
        {"a whole one", R"(, "Ratio": -3.0)", "-3", "Ratio"},
        {"an amount", R"(, "Price": "-12.3456")", "-12.3456", "Price"},
        {"a whole amount", R"(, "Price": "922337203685477")", "922337203685477", "Price"},
        {"a day", R"(, "Due": "2024-02-29")", "2024-02-29", "Due"},
        {"a moment", R"(, "Due": "2024-02-29 23:59:58.250")", "2024-02-29 23:59:58.250", "Due"},
        {"a time", R"(, "Due": "10:30:00")", "10:30:00", "Due"},
        {"a moment before the first day", R"(, "Due": "1899-12-29 06:00:00")", "1899-12-29 06:00:00", "Due"},
        {"part of a millisecond", R"(, "Due": 45351.12345678901)", "2024-02-29 02:57:46.667", "Due"},
        {"flags", R"(, "Done": true)", "-1", "Done + 0"},
        {"and none", R"(, "Done": false)", "0", "Done + 0"},
        {"bytes", R"(, "Data": "AP+A")", "3", "Length(Data)"},
        {"no byte", R"(, "Data": "")", "0", "Length(Data)"},
    };
    const auto definition = ownTables();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        connection->execute("Delete From Items");
        const Text lines = dumpOf({fmt::format(R"({{"table": "Items", "row": {{"Id": "A"{}}}}})", row.given)});
        load(lines, definition);
        EXPECT_EQ(rows(fmt::format("Select {} From Items", row.columns)), row.stored);
        EXPECT_EQ(dump(connectionString(), definition), lines);
    }
}

TEST_P(TransferTest, LinesThatOtherProgramsWrite) {
    const struct {
        const char* name;
        const char* given;
        const char* expected; ///< as the dump has it
    } cases[] = {
        {"null is Null, and names have no case", R"({"row":{"name":null,"ID":"A","SIZE":5},"table":"items"})",
         R"({"table": "Items", "row": {"Id": "A", "Size": 5}})"},
        {"a day number, whole or not", R"({"table": "Items", "row": {"Id": "A", "Ratio": 7, "Due": 45351}})",
         R"({"table": "Items", "row": {"Id": "A", "Ratio": 7.0, "Due": "2024-02-29"}})"},
        {"escapes and blank lines",
         " \r\n{\"table\": \"\\u0049tems\", \"row\": {\"Id\": \"A\", \"Name\": \"\\ud83d\\ude00\"}}\r\n\n",
         R"({"table": "Items", "row": {"Id": "A", "Name": "😀"}})"},
    };
    const auto definition = ownTables();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        connection->execute("Delete From Items");
        load(dumpOf({row.given}), definition);
        EXPECT_EQ(dump(connectionString(), definition), dumpOf({row.expected}));
    }
}

/// Each after a line that is right; nothing of it stays.
TEST_P(TransferTest, AWrongLineIsNamedAndUndoesAll) {
    const auto item = [](TextView columns) {
        return fmt::format("{{\"table\": \"Items\", \"row\": {{\"Id\": \"B\", {}}}}}\n", columns);
    };
    const struct {
        const char* name;
        Text given;
        std::int32_t number;
        Text expected;
    } cases[] = {
        {"no JSON", "{\"table\": \"Items\", \"row\": {\"Id\": \"B\"", 5, "line 3: no JSON: column "},
        {"no object", "[]\n", 5, "line 3: a line must be a JSON object"},
        {"half a character", item(R"("Name": "\ud800")"), 5, "line 3: no JSON: column "},
        {"nested", item(R"("Name": {"a": 1})"), 5, "line 3: nested more deeply"},
        {"no table", "{\"row\": {}}\n", 5, "line 3: \"table\" is missing"},
        {"no row", "{\"table\": \"Items\"}\n", 5, "line 3: \"row\" must be an object"},
        {"another name", "{\"table\": \"Items\", \"row\": {}, \"as\": \"x\"}\n", 5, "line 3: \"as\" is none of"},
        {"a record", "{\"class\": \"Note\"}\n", 5, "line 3: \"class\" makes a record that gets a new key"},
        {"unknown table", "{\"table\": \"Itms\", \"row\": {}}\n", 3265, "line 3: there is no table \"Itms\""},
        {"the version", "{\"table\": \"SchemaVersion\", \"row\": {}}\n", 3265, "line 3: there is no table"},
        {"unknown column", item(R"("Sise": 1)"), 3265, "line 3: Items has no column \"Sise\""},
        {"column twice", item(R"("Size": 1, "Size": 1)"), 5, "line 3: \"Size\" is given twice"},
        {"in another case", item(R"("Size": 1, "size": 1)"), 5, "line 3: the column Size is given twice"},
        {"number as text", item(R"("Name": 5)"), 3464, "line 3: the column Name takes a text, not 5"},
        {"NUL", item(R"("Name": "a\u0000b")"), 3464, "line 3: the column Name takes a text without a NUL character"},
        {"text as number", item(R"("Size": "5")"), 3464, "line 3: the column Size takes a whole number of 32 bits"},
        {"fraction", item(R"("Size": 5.0)"), 3464, "line 3: the column Size takes a whole number of 32 bits, not 5.0"},
        {"too large", item(R"("Small": 32768)"), 3464, "line 3: the column Small takes a whole number of 16 bits"},
        {"below 0", item(R"("Tiny": -1)"), 3464, "line 3: the column Tiny takes a whole number from 0 to 255, not -1"},
        {"huge", item(R"("Size": 18446744073709551615)"), 3464, "line 3: the column Size takes"},
        {"out of range", item(R"("Ratio": 1e400)"), 5, "line 3: no JSON: "},
        {"amount as number", item(R"("Price": 12.34)"), 3464, "line 3: the column Price takes an amount as a text"},
        {"too exact", item(R"("Price": "1.00001")"), 3464, "line 3: the column Price takes an amount"},
        {"no date", item(R"("Due": "2023-02-29")"), 3464, "line 3: the column Due takes a date"},
        {"flag as number", item(R"("Done": 1)"), 3464, "line 3: the column Done takes true or false, not 1"},
        {"no base64", item(R"("Data": "AP+")"), 3464, "line 3: the column Data takes bytes as base64, not \"AP+\""},
        {"the key twice", item(R"("Size": 1)") + item(R"("Size": 2)") + closing(3), 457,
         "line 4: Items has a row with the key \"B\" already"},
        {"a key that is there", "{\"table\": \"Items\", \"row\": {\"Id\": \"here\"}}\n" + closing(2), 457,
         "line 3: Items has a row with the key \"here\" already"},
        {"no key", "{\"table\": \"Items\", \"row\": {}}\n" + closing(2), errors::engine, "line 3: "},
        {"a second beginning", header, 5, "line 3: another dump begins here"},
        {"cut off", item(R"("Size": 1)"), 5, "the dump is cut off: its closing line is missing behind line 3"},
        {"a row is missing", closing(2), 5, "line 3: the dump had 2 rows, and 1 came"},
        {"something behind the end", closing(1) + item(R"("Size": 1)"), 5, "line 4: it stands behind the closing line"},
    };
    connection->execute("Insert Into Items (Id) Values ('HERE')");
    const auto definition = ownTables();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const Text lines = Text(header) + "{\"table\": \"Items\", \"row\": {\"Id\": \"A\"}}\n" + row.given;
        const Text error = test::raised([&] { load(lines, definition); });
        EXPECT_THAT(error, StartsWith(std::to_string(row.number) + " "));
        EXPECT_THAT(error, HasSubstr(": " + row.expected));
        EXPECT_EQ(rows("Select Id From Items"), "HERE");
    }
}

TEST_P(TransferTest, ABeginningThatIsNoneOfThisBuildIsRefused) {
    const struct {
        const char* name;
        const char* given;
        const char* expected;
    } cases[] = {
        {"a row", R"({"table": "Notes", "row": {"NoteId": "NT1"}})", "5 Corveth.Transfer: line 1: a dump begins with"},
        {"nothing", "", "5 Corveth.Transfer: the dump is cut off: its closing line is missing behind line 0"},
        {"something else", R"({"corveth": "list", "format": 1, "schema": 2})", "line 1: \"corveth\" must be \"dump\""},
        {"another format", R"({"corveth": "dump", "format": 2, "more": 1})",
         "line 1: the dump is of format 2, and this build reads format 1"},
        {"newer tables", R"({"corveth": "dump", "format": 1, "schema": 3})",
         "line 1: the dump is of tables of version 3, newer than this build's 2"},
        {"older than any", R"({"corveth": "dump", "format": 1, "schema": 0})",
         "line 1: the dump is of tables of version 0, older than this build's 2"},
        {"no version", R"({"corveth": "dump", "format": 1})", "line 1: \"schema\" is missing"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT(test::raised([&] { load(row.given); }), HasSubstr(row.expected));
    }
}

/// Rows of every table, more than fit one piece, some long, and many alike where there is no key.
Text manyRows() {
    std::vector<Text> lines;
    const auto add = [&](const char* table, const Text& columns) {
        lines.push_back(fmt::format(R"({{"table": "{}", "row": {{{}}}}})", table, columns));
    };
    for (int i = 0; i < 3; ++i) {
        const Text bytes(400'000 * static_cast<std::size_t>(i), 'A');
        add("ContactMaster", fmt::format(R"("ContactId": "CN0000000{}", "Pic": "{}")", i, bytes));
    }
    add("WorkingHours", R"("Id": "WH00000001", "Monday": 7.5, "ProjectId": "")");
    for (int i = 0; i < 1234; ++i)
        add("Participants", fmt::format(R"("ContactId": "CN{:08}", "LinkId": "PT{:08}")", i / 7, i % 7));
    for (int i = 0; i < 1234; ++i) {
        const Text note(i % 100 == 0 ? 200'000 : 3, 'x');
        add("Notes", fmt::format(R"("NoteId": "NT{:08}", "LinkId": "CN{:08}", "Note": "{}")", i, i % 3, note));
    }
    for (int i = 0; i < 1700; ++i) {
        // Three items with a few hundred links, one with more than one piece takes; each link twice.
        const int item = std::min(i / 200, 3);
        const Text remarks = i % 4 < 2 ? "" : R"(, "Remarks": "r")";
        add("ItemMap",
            fmt::format(R"("LinkId": "CN{:08}", "ItemId": "NT{:08}", "ItemType": 32{})", item, i / 4, remarks));
    }
    return dumpOf(lines);
}

/// From this engine to each, and from there back again; the embedded one alone needs no server.
TEST_P(TransferTest, MovesToEveryEngineInPiecesThatFitMemory) {
    const Text lines = manyRows();
    load(lines);
    EXPECT_EQ(RowDump(connectionString()).count(), std::ranges::count(lines, '\n') - 2);
    for (const auto& engine : test::engines(TextView(GetParam().name) == "SQLite" ? "SQLite" : "")) {
        SCOPED_TRACE(engine.name);
        const auto there = engine.make(true), back = GetParam().make(true);
        move(connectionString(), there->connectionString());
        move(there->connectionString(), back->connectionString());
        EXPECT_TRUE(dump(back->connectionString()) == lines) << "the copy is not the same";
    }
}

TEST_P(TransferTest, ADumpIsOfOneMoment) {
    connection->execute("Delete From WorkingHours");
    connection->execute("Insert Into ContactMaster (ContactId) Values ('CN00000001')");
    connection->execute("Insert Into Notes (NoteId, Title) Values ('NT00000001', 'before')");
    RowDump dump(connectionString());
    Text all = dump.next();
    connection->execute("Update Notes Set Title='after'");
    connection->execute("Insert Into Notes (NoteId) Values ('NT00000002')");
    connection->execute("Delete From ContactMaster");
    for (Text piece = dump.next(); !piece.empty(); piece = dump.next())
        all += piece;
    EXPECT_EQ(all, dumpOf({R"({"table": "ContactMaster", "row": {"ContactId": "CN00000001"}})",
                           R"({"table": "Notes", "row": {"NoteId": "NT00000001", "Title": "before"}})"}));
}

TEST_P(TransferTest, EarlierTablesHadNothingThatTheseHaveNot) {
    load(R"({"corveth": "dump", "format": 1, "schema": 1})"
         "\n"
         R"({"table": "Projects", "row": {"Id": "PT00000001", "ParentID": "PT00000001", "ItemName": "Dig"}})"
         "\n" +
         closing(1));
    EXPECT_EQ(rows("Select Id, ItemName, PlnWork From Projects"), "PT00000001,Dig,-");
}

TEST_P(TransferTest, NewKeysFollowThoseThatCame) {
    EXPECT_EQ(connection->nextId("NT", 10, "NoteId", "Notes"), "NT00000001");
    load(dumpOf({R"({"table": "Notes", "row": {"NoteId": "NT00000041"}})"}));
    EXPECT_EQ(connection->nextId("NT", 10, "NoteId", "Notes"), "NT00000042");
    EXPECT_EQ(connect()->nextId("NT", 10, "NoteId", "Notes"), "NT00000043");
}

TEST_P(TransferTest, TheFirstRowOfManyThatFailsIsNamed) {
    std::vector<Text> lines;
    for (int i = 0; i < 100; ++i)
        lines.push_back(fmt::format(R"({{"table": "Notes", "row": {{"NoteId": "NT{:08}"}}}})", i));
    connection->execute("Insert Into Notes (NoteId) Values ('NT00000077'), ('NT00000099')");
    EXPECT_EQ(test::raised([&] { load(dumpOf(lines)); }),
              "457 Corveth.Transfer: line 79: Notes has a row with the key \"NT00000077\" already");
    EXPECT_EQ(rows("Select Count(*) From Notes"), "2");

    for (const Text& statement :
         GetParam().refuse({"Kept", "before insert", "Notes", "new.NoteId = 'NT00000005'", "no!"}))
        connection->execute(statement);
    EXPECT_THAT(test::raised([&] { load(dumpOf(lines)); }), HasSubstr("line 7: no!"));
    EXPECT_EQ(rows("Select Count(*) From Notes"), "2");
}

TEST_P(TransferTest, ClientsDriveOneThingAtATime) {
    const Text closed = "3704 Corveth.Transfer: ", open = "3705 Corveth.Transfer: ";
    const auto transfer = make<Transfer>();
    connection->execute("Delete From WorkingHours");
    EXPECT_THAT(test::raised([&] { static_cast<void>(transfer->ReadLines()); }), StartsWith(closed));
    EXPECT_THAT(test::raised([&] { transfer->AddLines(""); }), StartsWith(closed));
    EXPECT_THAT(test::raised([&] { transfer->Finish(); }), StartsWith(closed));
    transfer->Cancel();

    const Text note = R"({"table": "Notes", "row": {"NoteId": "NT00000001"}})";
    transfer->OpenLoad(connectionString());
    EXPECT_THAT(test::raised([&] { transfer->OpenDump(connectionString()); }), StartsWith(open));
    EXPECT_THAT(test::raised([&] { static_cast<void>(transfer->ReadLines()); }), StartsWith(closed));
    transfer->AddLines(header + note);
    EXPECT_EQ(transfer->get_RowsDone(), 1);
    transfer->Cancel();
    EXPECT_EQ(rows("Select NoteId From Notes"), "");

    transfer->OpenLoad(connectionString());
    EXPECT_THAT(test::raised([&] { transfer->AddLines("?"); }), HasSubstr("line 1: no JSON"));
    EXPECT_THAT(test::raised([&] { transfer->AddLines(header); }), StartsWith(closed)) << "the failure has ended it";

    transfer->OpenLoad(connectionString());
    transfer->AddLines(header);
    transfer->AddLines(note);
    transfer->AddLines(closing(1));
    transfer->Finish();
    EXPECT_EQ(transfer->get_RowsDone(), 1);
    EXPECT_EQ(rows("Select NoteId From Notes"), "NT00000001");

    transfer->OpenDump(connectionString());
    EXPECT_THAT(test::raised([&] { transfer->OpenLoad(connectionString()); }), StartsWith(open));
    EXPECT_EQ(transfer->CountRows(), 1);
    Text all;
    for (Text piece = transfer->ReadLines(); !piece.empty(); piece = transfer->ReadLines())
        all += piece;
    EXPECT_EQ(all, dumpOf({note}));
    EXPECT_EQ(transfer->get_RowsDone(), 1);
    transfer->Finish();
}

CORVETH_ON_EVERY_ENGINE(TransferTest);

/// What an engine that takes anything into any column was given by other programs.
class StrangeRowsTest : public TransferTest {};

TEST_P(StrangeRowsTest, ARowThatNoLineCanSayEndsTheDump) {
    const struct {
        const char* name;
        const char* given;
        const char* expected;
    } cases[] = {
        {"bytes as text", "Name) Select 'A', zeroblob(3)", "its column Name holds no text"},
        {"broken text", "Name) Select 'A', 'x\xFF'", "its column Name holds a text that is not well-formed"},
        {"NUL", "Name) Select 'A', Char(65, 0, 66)", "its column Name holds a text with a NUL character"},
        {"text as number", "Size) Select 'A', 'many'", "its column Size holds no whole number of 32 bits"},
        {"too large", "Small) Select 'A', 70000", "its column Small holds no whole number of 16 bits"},
        {"not finite", "Ratio) Select 'A', 1e308 * 10", "its column Ratio holds no finite number"},
        {"no date", "Due) Select 'A', 'soon'", "its column Due holds no date"},
        {"text as bytes", "Data) Select 'A', 'x'", "its column Data holds no bytes"},
    };
    const auto definition = ownTables();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        connection->execute("Delete From Items");
        // What is selected goes in as it is.
        connection->execute(Text("Insert Into Items (Id, ") + row.given);
        EXPECT_THAT(test::raised([&] { dump(connectionString(), definition); }),
                    StartsWith(Text("3464 Corveth.Transfer: Items: the row \"A\" cannot be dumped: ") + row.expected));
    }
}

CORVETH_ON_ENGINE("SQLite", StrangeRowsTest);

} // namespace
} // namespace corveth
