#include "platform/base64.h"

#include <gtest/gtest.h>

namespace corveth {
namespace {

Bytes bytesOf(TextView text) {
    const auto* begin = reinterpret_cast<const std::byte*>(text.data());
    return {begin, begin + text.size()};
}

TEST(Base64Test, BytesBecomeTextAndComeBack) {
    const struct {
        TextView given;
        TextView expected;
    } cases[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {{"\xFB\xEF\xBE\0\0", 5}, "++++AAA="},
        {"\xFF\xFF\xFF", "////"},
    };
    for (const auto& row : cases) {
        Text text;
        appendBase64(text, bytesOf(row.given));
        EXPECT_EQ(text, row.expected);
        EXPECT_EQ(parseBase64(row.expected), bytesOf(row.given)) << row.expected;
    }
}

TEST(Base64Test, NothingElseIsTaken) {
    for (const char* text :
         {"Zg", "Zg=", "Zg===", "=", "====", "Z===", "Zg==Zg==", "Zm9v\n", "Zm 9", "Zm-v", "Zh==", "Zm9=", "Zm9\xC3"}) {
        EXPECT_FALSE(parseBase64(text)) << text;
    }
}

} // namespace
} // namespace corveth
