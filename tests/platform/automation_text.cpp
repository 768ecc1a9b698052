#include "platform/automation/text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace corveth;

namespace {

using namespace std::literals;

TEST(Text, LeftUnitsCountsUtf16UnitsAndKeepsCharactersWhole) {
    struct Row {
        const char* name;
        Text given;
        std::size_t units;
        Text expected;
    };
    const Row rows[] = {
        {"nothing", "abc", 0, ""},
        {"shorter than asked", "abc", 9, "abc"},
        {"two bytes are one unit", "åbc", 2, "åb"},
        {"three bytes are one unit", "€5", 1, "€"},
        {"four bytes are two units", "😀b", 2, "😀"},
        {"no half of a character", "a😀b", 2, "a"},
        {"a broken byte is a unit", "\xC3\x28z", 2, "\xC3("},
        {"cut in the middle of its bytes", "a\xF0\x9F\x98", 9, "a\xF0\x9F\x98"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(leftUnits(row.given, row.units), row.expected) << row.name;
}

TEST(Text, ReplaceAllIsOnePassFromTheLeft) {
    struct Row {
        const char* name;
        Text text, what, with, expected;
    };
    const Row rows[] = {
        {"four blanks", "a    b", "  ", " ", "a  b"},
        {"three blanks", "a   b", "  ", " ", "a  b"},
        {"what was put in is not looked at", "aa", "a", "aa", "aaaa"},
        {"hits do not overlap", "aaa", "aa", "b", "ba"},
        {"nothing to look for", "abc", "", "x", "abc"},
        {"at the end", "ab", "b", "", "a"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(replaceAll(row.text, row.what, row.with), row.expected) << row.name;
}

TEST(Text, CaseIsFoldedForAsciiOnly) {
    struct Row {
        Text a, b;
        int expected;
    };
    const Row rows[] = {
        {"CN1", "cn1", 0}, {"abc", "ABD", -1}, {"ab", "ABC", -1},      {"Å", "å", -1},
        {"[", "a", -1},    {"é", "z", 1},      {"a\0b"s, "A\0C"s, -1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(compareNoCase(row.a, row.b), row.expected) << row.a << " and " << row.b;
        EXPECT_EQ(compareNoCase(row.b, row.a), -row.expected) << row.b << " and " << row.a;
        EXPECT_EQ(equalNoCase(row.a, row.b), row.expected == 0) << row.a << " and " << row.b;
        EXPECT_EQ(foldCase(row.a) == foldCase(row.b), row.expected == 0) << row.a << " and " << row.b;
    }
}

TEST(Text, BlanksAreTheSpaceOnly) {
    EXPECT_EQ(trimBlanks("  a b\t "), "a b\t");
    EXPECT_EQ(trimBlanks("   "), "");
}

TEST(Text, Utf16UnitsAreCountedWithoutConverting) {
    struct Row {
        Text utf8;
        std::u16string_view utf16;
    };
    const Row rows[] = {
        {"", u""},
        {"\0a"s, u"\0a"sv},
        {"\x7F\xC2\x80", u"\u007F\u0080"},
        {"\xDF\xBF\xE0\xA0\x80", u"\u07FF\u0800"},
        {"\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000"},
        {"\xEF\xBF\xBF\xF0\x90\x80\x80", u"\uFFFF\U00010000"},
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(unitCount(row.utf8), row.utf16.size()) << row.utf8;
        EXPECT_TRUE(isUtf8(row.utf8)) << row.utf8;
    }
}

TEST(Text, IllFormedTextIsToldApart) {
    struct Row {
        const char* name;
        Text given;
    };
    const Row rows[] = {
        {"continuation byte alone", "\x80"},
        {"cut short", "a\xE2\x82"},
        {"overlong slash", "\xC0\xAF"},
        {"overlong three bytes", "\xE0\x9F\xBF"},
        {"overlong four bytes", "\xF0\x8F\xBF\xBF"},
        {"surrogate", "\xED\xA0\x80"},
        {"beyond the last character", "\xF4\x90\x80\x80"},
        {"byte that never occurs", "\xFF"},
        {"second byte missing", "\xC3\x28"},
    };
    for (const Row& row : rows)
        EXPECT_FALSE(isUtf8(row.given)) << row.name;
}

TEST(Text, InQuotesIsReadableWhateverItHolds) {
    EXPECT_EQ(inQuotes(""), R"("")");
    EXPECT_EQ(inQuotes("blå"), R"("blå")");
    EXPECT_EQ(inQuotes("a\0\n\xFF"s), R"("a\x00\x0A\xFF")");
    const Text longest(80, 'x');
    EXPECT_EQ(inQuotes(longest), fmt::format(R"("{}")", longest));
    EXPECT_EQ(inQuotes(longest.substr(1) + "😀"), fmt::format(R"("{}"...)", longest.substr(1)));
}

} // namespace
