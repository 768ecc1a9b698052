// The desktop dialect: what statements mean, whatever the engine's own language makes of them.

#include "platform/desktop/clock.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

namespace corveth::test {
namespace {

class DataStatements : public DataTest {
protected:
    void SetUp() override {
        DataTest::SetUp();
        connection->execute("Insert Into Items (Id, Link, Name, Size, Ratio, Due, Done) "
                            "Values ('A1', 'Link', 'Ann''s', 3, 0.5, #2020-02-28#, True)");
        connection->execute("Insert Into Items (Id, Link, Name, Size, Ratio, Due, Done) "
                            "Values ('A2', 'CN1', 'a%b_c', -7, 1.25, #2/29/2020 12:00#, False)");
        connection->execute("Insert Into Items (Id, Link, Name) Values ('B1', Null, Null)");
    }
};

TEST_P(DataStatements, MeanWhatTheDialectSays) {
    const Clock clockBefore = setClock([] { return Date{43890.75}; });
    struct Case {
        const char* name;
        const char* statement;
        const char* expected;
    };
    const Case cases[] = {
        {"double quotes are text, also when a column has that name", "Select Id From Items Where Link=\"Link\"", "A1"},
        {"doubled quotes", "Select 'it''s', \"say \"\"x\"\"\", \"it's\", '\"', ''", "it's,say \"x\",it's,\","},
        {"keys compare without regard to case", "Select Id From Items Where Id='a1' And Link='LINK'", "A1"},
        {"texts compare exactly", "Select Id From Items Where Name='ANN''S'", ""},
        {"bracketed names", "Select [Items].[Name] As [My Name] From [Items] Where [Id]='A1'", "Ann's"},
        {"a quoted alias", "Select Id As 'Key' From Items Where Id='A1'", "A1"},
        {"a trailing semicolon and blanks", "Select Id From Items Where Id='A1' ; \r\n", "A1"},
        {"statements that do not begin with Select", "With X(a) As (Select 5) Select a From X", "5"},

        {"joined texts", "Select Name & ' ' & Null & Link From Items Where Id='A1'", "Ann's Link"},
        {"numbers joined as the platform writes them",
         "Select 1.50 & '/' & Ratio & '/' & Size From Items Where Id='A1'", "1.5/0.5/3"},
        {"Null joined with Null", "Select Null & Name From Items Where Id='B1'", "-"},
        {"& is looser than +", "Select 1 + 2 & 3", "33"},
        {"& is tighter than comparison", "Select Id From Items Where Name & '!' = 'Ann''s' & '!'", "A1"},
        {"& beside And", "Select Id From Items Where Size=3 And 'x' & Link='xLink'", "A1"},
        {"& in a function and a Case",
         "Select Len(Link & 'ab'), Case When Size & '' = '3' Then 'y' & Size Else 'n' End From Items Where Id='A1'",
         "6,y3"},
        {"& before an alias without As", "Select Id & '!' Marked From Items Where Id='A1'", "A1!"},
        {"& in brackets", "Select ('a' & ('b' & 'c')) & 'd'", "abcd"},

        {"True is -1", "Select True, False, 1=2, True+0", "-1,0,0,-1"},
        {"a flag compared", "Select Id From Items Where Done=True", "A1"},
        {"a flag compared the other way", "Select Id From Items Where Done=False", "A2"},
        {"dates", "Select Id From Items Where Due=#2020-02-28#", "A1"},
        {"dates as day numbers", "Select Id From Items Where Due>43890 And Due<43890.6", "A2"},
        {"dates by month, day and year", "Select #2/3/2020#=43864, #10:30 PM#=0.9375", "1,1"},
        {"a quoted number beside a number column", "Select Id From Items Where Size='3'", "A1"},

        {"two minus signs are no comment", "Select 5--2, Size--Size From Items Where Id='A1'", "7,6"},
        {"negative numbers", "Select Id From Items Where Size=-7 Or Size In (-1,- 2)", "A2"},
        {"exponents and long numbers", "Select 1.5E3, 12345678901, .5", "1500,12345678901,0.5"},
        {"Mod", "Select 7 Mod 4", "3"},

        {"Like with a star", "Select Id From Items Where Name Like 'ann*'", "A1"},
        {"Like with question marks", "Select Id From Items Where Id Like '?1' Order By Id", "A1;B1"},
        {"Like takes the engine's wildcards for themselves", "Select Id From Items Where Name Like '*%b_c'", "A2"},
        {"Like with a list", "Select Id From Items Where Id Like '[a-b]1' And Id Like '[!B]#' Order By Id", "A1"},
        {"Not Like", "Select Id From Items Where Id Not Like 'A*'", "B1"},
        {"Not Like with a list", "Select Id From Items Where Size=3 And Id Not Like '[B]*'", "A1"},
        {"Like with a pattern of the row", "Select Id From Items Where Name Like Left(Name, 2) & '*' Order By Id",
         "A1;A2"},
        {"Like with one of the engine's own marks", "Select 'a\\b' Like 'a\\b', 'ab' Like 'a\\b'", "1,0"},

        {"Right and Left beyond the end", "Select Right('abc', 2), Right('abc', 9), Left('abc', 9)", "bc,abc,abc"},
        {"Mid and Len count UTF-16 units",
         "Select Mid('a\xF0\x9F\x98\x80z', 4), Len('a\xF0\x9F\x98\x80z'), Mid('abcd', 2, 2)", "z,4,bc"},
        {"Right of half a character", "Select Right('\xF0\x9F\x98\x80z', 2)", "\xF0\x9F\x98\x80z"},
        {"functions of Null", "Select Right(Name, 2), Len(Name), Nz(Name), Nz(Name, 'none') From Items Where Id='B1'",
         "-,-,,none"},
        {"other functions", "Select UCase('ab'), LCase('AB'), Trim('  a  '), IIf(True, 'y', 'n'), IIf(False, 'y', 'n')",
         "AB,ab,a,y,n"},
        {"the clock", "Select Date(), Now()", "43890,43890.75"},
        {"the greatest number of a key", "Select Max(Right(Id, 1)) As Greatest From Items", "2"},

        {"order by position", "Select Name, Id From Items Order By 2 Desc", "-,B1;a%b_c,A2;Ann's,A1"},
        {"Null comes first", "Select Size From Items Order By Size", "-;-7;3"},
        {"group by position", "Select 10, Count(*) From Items Group By 1", "10,3"},
        {"having in brackets", "Select Link, Max(Size) As M From Items Group By Link Having  (Items.Link='CN1')",
         "CN1,-7"},
        {"a type with a length", "Select Cast(12.7 As integer), Cast('ab' As char(3))", "12,ab"},
        {"limit", "Select Id From Items Order By Id Limit 1", "A1"},
        {"a sub-select", "Select Id From Items Where Id In (Select Id From Items Where Size>0 Or Link='CN1')", "A1;A2"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(rows(row.statement), row.expected);
        EXPECT_EQ(rows(row.statement), row.expected) << "the second time, when it is known";
    }
    setClock(clockBefore);
}

TEST_P(DataStatements, OfOneFormShareNothingButTheForm) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(rows("Select Size From Items Where Id='A1'"), "3");
        EXPECT_EQ(rows("Select Size From Items Where Id='A2'"), "-7");
        EXPECT_EQ(rows("Select Size From Items Where Id='it''s'"), "");
        EXPECT_EQ(rows("Select Size From Items Where Id=5"), "");
    }
    // More forms than are kept.
    for (int i = 0; i < 300; ++i) {
        const Text alias = "C" + std::to_string(i);
        EXPECT_EQ(rows("Select Size As " + alias + " From Items Where Id='A1'"), "3");
    }
    EXPECT_EQ(rows("Select Size From Items Where Id='A1'"), "3");
}

TEST_P(DataStatements, AreRefusedWithTheReason) {
    struct Case {
        const char* name;
        TextView statement;
        const char* expected;
    };
    using namespace std::string_view_literals;
    const Text nested = "Select " + Text(100'000, '(');
    const Case cases[] = {
        {"nothing", "", "-2147217908 ADODB.Connection: Command text was not set for the command object."},
        {"a semicolon", " ;\n", "-2147217908 ADODB.Connection: Command text was not set for the command object."},
        {"two", "Delete From Items;Delete From Items",
         "3142 ADODB.Connection: Characters found after end of SQL statement."},
        {"two definitions", "create table T (a text); drop table Items",
         "3142 ADODB.Connection: Characters found after"},
        {"a parameter", "Delete From Items Where Id=?",
         "-2147467259 ADODB.Connection: Syntax error in the statement: a parameter mark at \"?\"."},
        {"a named parameter", "Delete From Items Where Id=:x",
         "-2147467259 ADODB.Connection: Syntax error in the statement: a parameter mark at \":x\"."},
        {"a parameter of a server", "Delete From Items Where Id=@x",
         "-2147467259 ADODB.Connection: Syntax error in the statement: a parameter mark"},
        {"a numbered one", "Delete From Items Where Id<>$1",
         "-2147467259 ADODB.Connection: Syntax error in the statement: a parameter mark"},
        {"an unfinished text", "Delete From Items Where Id<>'x",
         "-2147467259 ADODB.Connection: Syntax error in the statement: a text without end at \"'x\"."},
        {"an unfinished name", "Delete From [Items",
         "-2147467259 ADODB.Connection: Syntax error in the statement: a name without end at \"[Items\"."},
        {"no date", "Delete From Items Where Due<>#2020-02-30#",
         "-2147467259 ADODB.Connection: Syntax error in the statement: a date that is none"},
        {"NUL in a text", "Delete From Items Where Id<>'a\0b'"sv,
         "-2147467259 ADODB.Connection: Syntax error in the statement: a NUL character"},
        {"NUL outside", "Delete From Items\0 Where 1=2"sv,
         "-2147467259 ADODB.Connection: Syntax error in the statement: a NUL character"},
        {"a transaction", "  begin immediate",
         "3219 ADODB.Connection: Operation is not allowed in this context. Transactions"},
        {"the end of one", "COMMIT", "3219 ADODB.Connection: Operation is not allowed in this context. Transactions"},
        {"a transaction behind a comment", "/* */ begin",
         "-2147467259 ADODB.Connection: Syntax error in the statement: no word begins it at \"/* */ begin\"."},
        {"a transaction behind a byte order mark",
         "\xEF\xBB\xBF"
         "begin",
         "-2147467259 ADODB.Connection: Syntax error in the statement: no word begins it"},
        {"brackets in brackets", nested,
         "-2147467259 ADODB.Connection: Syntax error in the statement: brackets are nested more than"},
        {"Like without a left side", "Delete From Items Where Like '[a]'",
         "-2147467259 ADODB.Connection: near \",\": syntax error"},
        {"a column that is not there", "Delete From Items Where \"Id\"<>Nope",
         "-2147467259 ADODB.Connection: no such column: Nope"},
        {"a comment", "Delete From Items /* Where Id='A1' */",
         "-2147467259 ADODB.Connection: near \"/\": syntax error"},
        {"a number with a tail", "Delete From Items Where Size<>5x", "-2147467259 ADODB.Connection: "},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT(raised([&] { connection->execute(row.statement); }), testing::StartsWith(row.expected));
        EXPECT_EQ(rows("Select Count(*) From Items"), "3");
    }
}

TEST_P(DataStatements, StoreOnlyWhatTheColumnTakes) {
    struct Case {
        const char* name;
        const char* assignment;
        const char* expected; ///< what the column reads then, or what is raised
    };
    const Case cases[] = {
        {"a quoted number", "Size='16.5'", "16"},
        {"half to even", "Size=17.5", "18"},
        {"a number into text", "Name=5", "5"},
        {"empty text into a number", "Size=''",
         "3464 ADODB.Connection: Data type mismatch in criteria expression. The column Size does not take \"\"."},
        {"text into a number", "Ratio='much'",
         "3464 ADODB.Connection: Data type mismatch in criteria expression. The column Ratio does not take \"much\"."},
        {"too great for 16 bits", "Small=32768", "6 ADODB.Connection: Overflow"},
        {"too great for a byte", "Tiny=255.5", "6 ADODB.Connection: Overflow"},
        {"too great for 32 bits", "Size=2147483648", "6 ADODB.Connection: Overflow"},
        {"an average into a flag", "Done=-0.3333", "True"},
        {"a text into a flag", "Done='False'", "False"},
        {"a date in quotes", "Due='28-Feb-2020'", "2020-02-28"},
        {"a day number", "Due=43889.5", "2020-02-28 12:00:00"},
        {"no date", "Due=''",
         "3464 ADODB.Connection: Data type mismatch in criteria expression. The column Due does not take \"\"."},
        {"money beyond four decimals", "Price=1.00005", "1"},
        {"money", "Price='-12345678.9012'", "-12345678.9012"},
        {"money that no double holds", "Price='99999999999999.1234'",
         "6 ADODB.Connection: Overflow: the amount 99999999999999.1234 cannot be stored exactly"},
        {"Null", "Size=Null", "-"},
        {"an expression", "Size=2*3+Size", "9"},
        {"by a qualified name", "[Size]='4'", "4"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const Text assignment = row.assignment;
        const Text column = assignment.substr(0, assignment.find('='));
        connection->execute("Update Items Set Size=3, Name='n' Where Id='A1'");
        Text outcome =
            raised([&] { connection->execute("Update Items Set Name='x', " + assignment + " Where Id='A1'"); });
        if (column == "Name") outcome.clear();
        if (outcome.empty()) outcome = rows("Select " + column + " From Items Where Id='A1'");
        EXPECT_THAT(outcome, testing::StartsWith(row.expected));
    }
    EXPECT_EQ(raised([&] { connection->execute("Insert Into Items (Id, Size) Values ('C1', 'x')"); }).substr(0, 4),
              "3464");
    EXPECT_EQ(raised([&] { connection->execute("Insert Into Pieces Values ('A', 'B', '')"); }).substr(0, 4), "3464");
    EXPECT_EQ(connection->execute("Insert Into Pieces Values ('A', 'B', '2'), ('A', 'C', 3)"), 2);
    EXPECT_EQ(rows("Select Quantity From Pieces Order By Part"), "2;3");
}

CORVETH_ON_EVERY_ENGINE(DataStatements);

} // namespace
} // namespace corveth::test
