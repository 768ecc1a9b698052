#include "platform/data/definition.h"

#include "platform/automation/error.h"

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
                                  "create index on pairs (R, L); create joined view V of A, b by Id as Other;");

    ASSERT_EQ(definition.tables.size(), 3U);
    const TableDefinition& pairs = definition.tables[2];
    EXPECT_THAT(pairs.key, testing::ElementsAre("L", "R"));
    EXPECT_EQ(pairs.columns[0].declaredType, "char(10)");
    ASSERT_EQ(definition.indexes.size(), 1U);
    EXPECT_EQ(definition.indexes[0].name(), "Pairs_R_L");
    ASSERT_EQ(definition.views.size(), 1U);
    EXPECT_EQ(definition.views[0].second, "B");
    EXPECT_EQ(definition.views[0].secondKeyName, "Other");
}

TEST(Definition, namesTheLineAndTheFault) {
    struct Case {
        const char* name;
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"no statement", "\n\ndrop table A;", "x.sql:3: \"create\" expected, at \"drop\""},
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

} // namespace
} // namespace corveth::data
