#include "platform/data/stream.h"

#include "platform/automation/convert.h"
#include "platform/automation/dispatch.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <functional>

namespace corveth::test {
namespace {

Bytes bytes(std::initializer_list<int> values) {
    Bytes made;
    for (const int value : values)
        made.push_back(static_cast<std::byte>(value));
    return made;
}

Ref<Stream> binaryStream() {
    auto stream = make<Stream>();
    stream->let_Type(Stream::binary);
    stream->Open();
    return stream;
}

TEST(Stream, WritesReadsAndCuts) {
    const auto stream = binaryStream();
    stream->Write(bytes({1, 2, 3, 4, 5}));
    EXPECT_TRUE(stream->get_EOS());
    EXPECT_TRUE(stream->Read(-1).isNull());
    stream->let_Position(1);
    EXPECT_EQ(*stream->Read(2).getIf<Bytes>(), bytes({2, 3}));
    EXPECT_EQ(stream->get_Position(), 3);
    stream->Write(bytes({9}));
    stream->SetEOS();
    EXPECT_EQ(stream->get_Size(), 4);
    stream->let_Position(6);
    stream->let_Position(0);
    EXPECT_EQ(*stream->Read(99).getIf<Bytes>(), bytes({1, 2, 3, 9, 0, 0})) << "a position beyond the end lengthens";
}

TEST(Stream, KeepsTextAsUtf8) {
    const auto stream = make<Stream>();
    stream->Open();
    stream->WriteText("a\xC3\xA9\xF0\x9F\x98\x80z");
    EXPECT_EQ(stream->get_Size(), 8);
    stream->let_Position(0);
    EXPECT_EQ(stream->ReadText(3), "a\xC3\xA9") << "half a character is not read";
    EXPECT_EQ(stream->ReadText(-1), "\xF0\x9F\x98\x80z");
    stream->let_Position(2);
    EXPECT_NE(raised([&] { static_cast<void>(stream->ReadText(-1)); }), "");
}

TEST(Stream, SavesAndLoadsFiles) {
    const TemporaryFolder folder;
    const Text file = folder.file("bytes");
    const auto stream = binaryStream();
    stream->Write(bytes({0, 255, 7}));
    stream->SaveToFile(file, Stream::createNew);
    EXPECT_THAT(raised([&] { stream->SaveToFile(file, Stream::createNew); }),
                testing::StartsWith("3004 ADODB.Stream: Write to file failed. \"" + file + "\": File exists"));
    stream->let_Position(1);
    stream->SetEOS();
    stream->SaveToFile(file, Stream::overwrite);
    const auto loaded = binaryStream();
    loaded->LoadFromFile(file);
    EXPECT_EQ(loaded->get_Position(), 0);
    EXPECT_EQ(*loaded->Read(0).getIf<Bytes>(), bytes({0}));
    EXPECT_THAT(raised([&] { loaded->LoadFromFile(folder.file("none")); }),
                testing::StartsWith("3002 ADODB.Stream: File could not be opened. \"" + folder.file("none") + "\""));
    EXPECT_THAT(raised([&] { loaded->LoadFromFile(folder.file(".")); }), testing::StartsWith("3002"));
    EXPECT_EQ(loaded->get_Size(), 1) << "what could not be loaded changes nothing";
}

TEST(Stream, RefusesWhatItsStateDoesNotAllow) {
    const auto closed = make<Stream>();
    const auto textual = make<Stream>();
    textual->Open();
    const auto binary = binaryStream();
    binary->Write(bytes({1}));
    struct Case {
        const char* name;
        std::function<void()> action;
        const char* expected;
    };
    const Case cases[] = {
        {"reading closed", [&] { static_cast<void>(closed->Read(-1)); }, "3704 ADODB.Stream"},
        {"closing closed", [&] { closed->Close(); }, "3704 ADODB.Stream"},
        {"opening open", [&] { textual->Open(); }, "3705 ADODB.Stream"},
        {"bytes of a text", [&] { static_cast<void>(textual->Read(-1)); }, "3219 ADODB.Stream"},
        {"text of bytes", [&] { static_cast<void>(binary->ReadText(-1)); }, "3219 ADODB.Stream"},
        {"another type in the middle", [&] { binary->let_Type(Stream::text); }, "3219 ADODB.Stream"},
        {"no type", [&] { closed->let_Type(3); }, "3001 ADODB.Stream"},
        {"no bytes", [&] { binary->Write(Value("text")); }, "3001 ADODB.Stream"},
        {"no position", [&] { binary->let_Position(-1); }, "3001 ADODB.Stream"},
        {"late-bound", [&] { callMember(*closed, "SetEOS"); }, "3704 ADODB.Stream"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT(raised(row.action), testing::StartsWith(row.expected));
    }
}

} // namespace
} // namespace corveth::test
