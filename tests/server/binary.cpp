#include "server/binary/class_ids.h"
#include "server/binary/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace corveth::binary {
namespace {

struct FreeText {
    void operator()(char16_t* text) const noexcept { freeText(text); }
};
using OwnedText = std::unique_ptr<char16_t, FreeText>;

OwnedText own(std::u16string_view units) {
    OwnedText text(allocateText(units.size()));
    std::ranges::copy(units, text.get());
    return text;
}

TEST(BinaryTextTest, UnicodeCrossesAndComesBack) {
    struct Row {
        const char* utf8;
        std::u16string_view utf16;
    };
    const Row rows[] = {
        {"", u""},
        {"Call back", u"Call back"},
        {"\x7f\xc2\x80\xdf\xbf", u"\u007f\u0080\u07ff"},
        {"\xe0\xa0\x80\xef\xbf\xbf", u"\u0800\uffff"},
        {"\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", u"\U00010000\U0010ffff"},
        {"K\xc3\xa5re \xe2\x82\xac \xf0\x9f\x99\x82 end", u"K\u00e5re \u20ac \U0001f642 end"},
        {"\xed\x9f\xbf\xee\x80\x80", u"\ud7ff\ue000"},
    };
    for (const auto& row : rows) {
        const OwnedText text(toBstr(row.utf8));
        ASSERT_NE(text, nullptr) << row.utf8;
        EXPECT_EQ(textBytes(text.get()), row.utf16.size() * 2) << row.utf8;
        EXPECT_EQ(std::u16string_view(text.get()), row.utf16) << "the terminator stands behind the text";
        std::string back = "> ";
        EXPECT_EQ(appendUtf8(text.get(), back), TextFault::none);
        EXPECT_EQ(back, std::string("> ") + row.utf8);
    }
}

TEST(BinaryTextTest, WhatIsNotAsciiIsSeenAtEveryPlace) {
    constexpr std::size_t longest = 9;
    for (std::size_t length = 1; length <= longest; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            const std::string before(at, '\x7f'), after(length - at - 1, 'a');
            const std::string utf8 = before + "\xc4\x80" + after;
            const OwnedText text(toBstr(utf8));
            ASSERT_NE(text, nullptr) << utf8;
            EXPECT_EQ(text.get()[at], u'\u0100') << utf8;
            std::string back;
            EXPECT_EQ(appendUtf8(text.get(), back), TextFault::none) << utf8;
            EXPECT_EQ(back, utf8);
            text.get()[at] = 0;
            EXPECT_EQ(appendUtf8(text.get(), back), TextFault::holdsNul) << length << " " << at;
        }
    }
}

TEST(BinaryTextTest, BrokenUtf8IsRefused) {
    const char* rows[] = {
        "\x80",             // a tail alone
        "a\xc3",            // cut short
        "\xc0\x80",         // overlong
        "\xe0\x9f\xbf",     // overlong
        "\xf0\x8f\xbf\xbf", // overlong
        "\xed\xa0\x80",     // a surrogate
        "\xf4\x90\x80\x80", // beyond the last character
        "\xf8\x88\x80\x80\x80",
        "\xe2\x28\xa1",
    };
    for (const char* row : rows)
        EXPECT_EQ(OwnedText(toBstr(row)), nullptr) << testing::PrintToString(row);
}

TEST(BinaryTextTest, WhatIsNoTextIsToldApart) {
    struct Row {
        const char* name;
        std::u16string units;
        TextFault expected;
    };
    const Row rows[] = {
        {"high half at the end", {u'a', 0xd83d}, TextFault::loneSurrogate},
        {"high half before a letter", {0xd83d, u'a'}, TextFault::loneSurrogate},
        {"low half alone", {u'a', 0xde42, u'b'}, TextFault::loneSurrogate},
        {"two high halves", {0xd83d, 0xd83d, 0xde42}, TextFault::loneSurrogate},
        {"NUL in ASCII", {u'a', 0, u'b'}, TextFault::holdsNul},
        {"NUL behind an accent", {u'\u00e5', 0}, TextFault::holdsNul},
    };
    for (const auto& row : rows) {
        std::string out;
        EXPECT_EQ(appendUtf8(own(row.units).get(), out), row.expected) << row.name;
    }
    const OwnedText odd = own(u"ab");
    const std::uint32_t bytes = 3;
    std::memcpy(reinterpret_cast<char*>(odd.get()) - 4, &bytes, sizeof bytes);
    std::string out;
    EXPECT_EQ(appendUtf8(odd.get(), out), TextFault::oddLength);
    EXPECT_EQ(appendUtf8(nullptr, out), TextFault::none) << "null is the empty text";
}

TEST(BinaryIdTest, IdsAreNameBased) {
    struct Row {
        const char* name;
        const char* expected;
    };
    const Row rows[] = {
        {"prjCorveth.Note", "{0e7fb536-fdf8-52ed-b31c-9b3ced167776}"},
        {"prjcorveth.note", "{ee186d21-ca93-59ab-b4c9-9ed03600aa24}"},
        {"prjCorveth._Note", "{ede7eda1-f8a9-58d6-ac99-859b9916f7c7}"},
        {"ADODB.Connection", "{10d24a78-cfd3-5fa7-84fb-2b38e435da41}"},

    };
    for (const auto& row : rows)
        EXPECT_EQ(toText(nameBasedId(row.name)), row.expected) << row.name;
}

} // namespace
} // namespace corveth::binary
