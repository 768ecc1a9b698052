#include "platform/data/definition.h"

#include "platform/automation/error.h"
#include "platform/data/postgresql/definition.h"
#include "platform/data/sqlite/definition.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corveth::data {
namespace {

constexpr TextView pair = "create table A (Id char(10) not null primary key, X text);\n"
                          "create table B (Id char(10) not null primary key, Y blob);\n";

TEST(Definition, readsKeysIndexesAndViews) {
    Definition definition;
    definition.read("first.sql", pair);
    definition.read("second.sql", "-- a comment; with a semicolon\n"
                                  "create table Pairs (L CHAR(10) not null, R char(10) not null, primary key (l, r));\n"
                                  "create index on pairs (R, L); create joined view V of A, b by Id as Other;\n"
                                  "create table C (Id char(10), N real); create lookup view W of C with a (x) by id;\n"
                                  "insert into c values ('it -- is;', 12); insert into C values (NULL, null);");

    ASSERT_EQ(definition.tables.size(), 4U);
    const TableDefinition& pairs = definition.tables[2];
    EXPECT_THAT(pairs.key, testing::ElementsAre("L", "R"));
    EXPECT_EQ(pairs.columns[0].declaredType, "char(10)");
    ASSERT_EQ(definition.indexes.size(), 1U);
    EXPECT_EQ(definition.indexes[0].name(), "Pairs_R_L");
    ASSERT_EQ(definition.views.size(), 1U);
    EXPECT_EQ(definition.views[0].second, "B");
    EXPECT_EQ(definition.views[0].secondKeyName, "Other");
    ASSERT_EQ(definition.lookups.size(), 1U);
    EXPECT_EQ(definition.lookups[0].second, "A");
    EXPECT_THAT(definition.lookups[0].columns, testing::ElementsAre("X"));
    ASSERT_EQ(definition.rows.size(), 2U);
    EXPECT_EQ(definition.rows[0].table, "C");
    EXPECT_THAT(definition.rows[0].values, testing::ElementsAre("'it -- is;'", "12"));
}

TEST(Definition, namesTheLineAndTheFault) {
    struct Case {
        const char* name;
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"no statement", "\n\ndrop table A;", "x.sql:3: \"create\" or \"insert\" expected, at \"drop\""},
        {"unfinished", "create table T (a text", "x.sql:1: \")\" expected, at the end"},
        {"unknown type", "create table T (\na memo);", "x.sql:2: there is no type memo"},
        {"length missing", "create table T (a char);", "\"(\" expected, at \")\""},
        {"table twice", "create table a (b text);", "there is a table a already"},
        {"column twice", "create table T (b text, B text);", "T has a column B already"},
        {"key of nothing", "create table T (b text, primary key (c));", "T has no column c"},
        {"two keys", "create table T (b text not null primary key, primary key (b));", "T has a key already"},
        {"key that may be Null", "create table T (b text primary key);", "b is in a key and not \"not null\""},
        {"index on nothing", "create index on T (b);", "there is no table T"},
        {"view by no key", "create joined view V of A, B by X as Z;", "X is not the key of A"},
        {"lookup of a column that is not there", "create lookup view V of A with B (X) by Id;", "B has no column X"},
        {"lookup by no key", "create lookup view V of A with B (Y) by Y;", "Y is not the key of B"},
        {"lookup without a link", "create table C (X text); create lookup view V of C with A (X) by Id;",
         "C has no column Id"},
        {"row of nothing", "insert into T values (1);", "there is no table T"},
        {"row too short", "insert into A values ('a');", "A has 2 columns, and 1 values are given"},
        {"row of a word", "insert into A values ('a', b);", "a text, a whole number or null expected, at \"b\""},
        {"text without an end", "insert into A values ('a, 1);", "x.sql:1: a text, a whole number or null expected"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        Definition definition;
        definition.read("pair.sql", pair);
        try {
            definition.read("x.sql", row.text);
            ADD_FAILURE() << "was accepted";
        } catch (const Error& error) {
            EXPECT_EQ(error.number, errors::invalidCall);
            EXPECT_THAT(error.description, testing::HasSubstr(row.expected));
        }
    }
}

class DefinedTable : public test::DataTest {
protected:
    void SetUp() override {
        DataTest::SetUp();
        Definition definition;
        definition.read("marks.sql", "create table Marks (Id char(10) not null primary key, Done boolean, User text, "
                                     "Paid boolean, Day date, Price currency); create index on Marks (User); "
                                     "create table MarksWithoutKey (Done boolean);");
        const bool isServer = Text(GetParam().name) == "PostgreSQL";
        // Of what is made for every database there is one already.
        for (const Text& statement :
             isServer ? postgresql::definitionStatements(definition) : sqlite::definitionStatements(definition)) {
            if (foldCase(statement).find("marks") != Text::npos) connection->execute(statement);
        }
    }
};

TEST_P(DefinedTable, keepsEveryFlagAsTrueOrFalse) {
    struct Case {
        const char* statement;
        const char* expected;
    };
    const Case cases[] = {
        {"Insert Into Marks (Id, Done, Paid) Values ('A', 0.3, 0), ('B', Null, 2-1)", "-1,0;-,-1"},
        {"Update Marks Set Paid=-0.333+0 Where Id='a'", "-1,-1;-,-1"},
        {"Update Marks Set Done=Not Done, Paid=(1=2)", "0,0;-,0"},
        {"Update Marks Set Id=Id & '!', Done=Null", "-,0;-,0"},
        {"Update Marks Set Id=Id & '?', Done=2+3, Paid=Null", "-1,-;-1,-"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.statement);
        EXPECT_EQ(connection->execute(row.statement),
                  2 - (TextView(row.statement).find("'a'") != TextView::npos ? 1 : 0));
        EXPECT_EQ(rows("Select Done+0, Paid+0 From Marks Order By Id"), row.expected);
    }
    connection->execute("Insert Into MarksWithoutKey Values (2+5)");
    EXPECT_EQ(rows("Select Done+0 From MarksWithoutKey"), "-1");
    connection->execute("Update MarksWithoutKey Set Done=5+0");
    EXPECT_EQ(rows("Select Done+0 From MarksWithoutKey"), "-1");
}

TEST_P(DefinedTable, mayHaveColumnsOfAnyName) {
    connection->execute("Insert Into Marks Values ('A', True, 'Ann', False, #2020-02-28#, '1.5')");
    EXPECT_EQ(rows("Select Id, User, Marks.User & Day, Price From Marks Where User='Ann' And Day Is Not Null "
                   "Order By User"),
              "A,Ann,Ann43889,1.5");
    const auto marks = open("Select * From Marks");
    marks->set("User", Text("Bo"));
    marks->set("Id", Text("B"));
    marks->Update();
    EXPECT_EQ(rows("Select Id, [User], Done, Day From Marks"), "B,Bo,True,2020-02-28");
}

CORVETH_ON_EVERY_ENGINE(DefinedTable);

} // namespace
} // namespace corveth::data
