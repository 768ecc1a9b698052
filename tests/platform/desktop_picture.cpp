#include "platform/desktop/picture.h"

#include "platform/outcome.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

using namespace corveth;
using corveth::test::errorOf;
using corveth::test::outcome;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr std::size_t fileHead = 14;

void put(Bytes& file, std::size_t at, std::uint32_t value, std::size_t size = 4) {
    for (std::size_t i = 0; i < size; ++i)
        file.at(at + i) = static_cast<std::byte>(value >> (8 * i));
}

struct Shape {
    std::uint32_t head = 40;
    std::int32_t width = 3, height = 2;
    std::uint32_t bits = 24;
    std::uint32_t compression = 0;
    std::uint32_t colours = 0;
    std::size_t between = 0; ///< palette and masks
    std::size_t pixels = 24;
};

Bytes bitmap(const Shape& shape) {
    const std::size_t offset = fileHead + shape.head + shape.between;
    Bytes file(offset + shape.pixels);
    file[0] = std::byte{'B'};
    file[1] = std::byte{'M'};
    put(file, 2, static_cast<std::uint32_t>(file.size()));
    put(file, 10, static_cast<std::uint32_t>(offset));
    put(file, fileHead, shape.head);
    if (shape.head == 12) {
        put(file, fileHead + 4, static_cast<std::uint32_t>(shape.width), 2);
        put(file, fileHead + 6, static_cast<std::uint32_t>(shape.height), 2);
        put(file, fileHead + 8, 1, 2);
        put(file, fileHead + 10, shape.bits, 2);
        return file;
    }
    put(file, fileHead + 4, static_cast<std::uint32_t>(shape.width));
    put(file, fileHead + 8, static_cast<std::uint32_t>(shape.height));
    put(file, fileHead + 12, 1, 2);
    put(file, fileHead + 14, shape.bits, 2);
    put(file, fileHead + 16, shape.compression);
    put(file, fileHead + 20, static_cast<std::uint32_t>(shape.pixels));
    put(file, fileHead + 32, shape.colours);
    return file;
}

Bytes with(Bytes file, std::size_t at, std::uint32_t value, std::size_t size = 4) {
    put(file, at, value, size);
    return file;
}

Bytes longer(Bytes file, std::size_t by) {
    file.resize(file.size() + by);
    return file;
}

Bytes shorter(Bytes file, std::size_t by) {
    file.resize(file.size() - by);
    return file;
}

/// A version 5 head with a colour profile of `size` bytes at `offset` from the head.
Bytes withProfile(std::uint32_t offset, std::uint32_t size) {
    Bytes file = bitmap({.head = 124});
    put(file, fileHead + 56, 0x4D424544);
    put(file, fileHead + 112, offset);
    put(file, fileHead + 116, size);
    return file;
}

TEST(Bitmap, Heads) {
    struct Row {
        const char* name;
        Bytes file;
        const char* problem; ///< a part of it; empty for a good file
    };
    const Bytes good = bitmap({});
    const Row rows[] = {
        {"24 bits", good, ""},
        {"core", bitmap({.head = 12}), ""},
        {"core with palette", bitmap({.head = 12, .bits = 8, .between = 768, .pixels = 8}), ""},
        {"version 4", bitmap({.head = 108}), ""},
        {"version 5", bitmap({.head = 124}), ""},
        {"top down", bitmap({.height = -2}), ""},
        {"1 bit", bitmap({.width = 33, .bits = 1, .between = 8, .pixels = 16}), ""},
        {"4 bits with 3 colours", bitmap({.bits = 4, .colours = 3, .between = 12, .pixels = 8}), ""},
        {"16 bits with masks", bitmap({.bits = 16, .compression = 3, .between = 12, .pixels = 16}), ""},
        {"32 bits, masks in the head", bitmap({.head = 108, .bits = 32, .compression = 3}), ""},
        {"run length 8", bitmap({.bits = 8, .compression = 1, .between = 1024, .pixels = 6}), ""},
        {"bytes behind the pixels", longer(good, 5), ""},
        {"pixels further behind", bitmap({.between = 100}), ""},
        {"profile", withProfile(124, 24), ""},

        {"empty", {}, "not a bitmap file"},
        {"another kind", with(good, 0, 0x4E50, 2), "not a bitmap file"},
        {"only the mark", shorter(good, good.size() - 2), "cut short after 2 bytes"},
        {"cut in the head", shorter(good, good.size() - 20), "20 bytes instead of the 78 announced"},
        {"a byte short", shorter(good, 1), "77 bytes instead of the 78 announced"},
        {"announces less than its head", with(good, 2, 53), "announced size of 53"},
        {"announces nothing", with(good, 2, 0), "announced size of 0"},
        {"announces less than its pixels", with(good, 2, 77), "2 rows of 12 bytes in 23"},
        {"unknown head", with(good, fileHead, 64), "unknown head of 64 bytes"},
        {"huge head", with(good, fileHead, 0xFFFFFFFF), "unknown head of 4294967295 bytes"},
        {"pixels in the head", with(good, 10, 53), "pixels at byte 53, inside"},
        {"pixels in the palette", with(bitmap({.bits = 8, .between = 1024, .pixels = 8}), 10, 1077), "inside"},
        {"pixels in the masks", bitmap({.bits = 16, .compression = 3, .between = 11, .pixels = 16}), "inside"},
        {"pixels outside", with(good, 10, 0xFFFFFFFF), "pixels at byte 4294967295 of 78"},
        {"no width", with(good, fileHead + 4, 0), "0 x 2 pixels"},
        {"width below 0", with(good, fileHead + 4, 0xFFFFFFFF), "-1 x 2 pixels"},
        {"no height", with(good, fileHead + 8, 0), "3 x 0 pixels"},
        {"height without a counterpart", with(good, fileHead + 8, 0x80000000), "3 x -2147483648 pixels"},
        {"one row too many", with(good, fileHead + 8, 3), "3 rows of 12 bytes in 24"},
        {"one row too many, top down", with(good, fileHead + 8, 0xFFFFFFFD), "3 rows of 12 bytes in 24"},
        {"largest of all", bitmap({.width = 0x7FFFFFFF, .height = 0x7FFFFFFF, .bits = 32}), "2147483647 rows"},
        {"two planes", with(good, fileHead + 12, 2, 2), "2 planes"},
        {"no bits", with(good, fileHead + 14, 0, 2), "0 bits a pixel"},
        {"2 bits", with(good, fileHead + 14, 2, 2), "2 bits a pixel"},
        {"core with 16 bits", bitmap({.head = 12, .bits = 16}), "16 bits a pixel"},
        {"another picture inside", with(good, fileHead + 16, 5), "compression 5"},
        {"run length 8 with 24 bits", with(good, fileHead + 16, 1), "compression 1 with 24 bits"},
        {"masks with 24 bits", with(good, fileHead + 16, 3), "compression 3 with 24 bits"},
        {"compressed top down", bitmap({.height = -2, .bits = 8, .compression = 1, .between = 1024}), "top down"},
        {"compressed, no size", with(bitmap({.bits = 8, .compression = 1, .between = 1024}), fileHead + 20, 0),
         "no size"},
        {"compressed, size too large", with(bitmap({.bits = 8, .compression = 1, .between = 1024}), fileHead + 20, 25),
         "25 bytes of pixels in 24"},
        {"too many colours", bitmap({.bits = 4, .colours = 17, .between = 68, .pixels = 8}), "17 colours"},
        {"colours behind the end", with(good, fileHead + 32, 0xFFFFFFFF), "inside the head and palette"},
        {"profile behind the end", withProfile(124, 25), "colour profile"},
        {"profile far behind the end", withProfile(0xFFFFFFFF, 0xFFFFFFFF), "colour profile"},
    };
    for (const Row& row : rows) {
        const Text problem = readBitmapHeader(row.file).problem;
        if (*row.problem == '\0') {
            EXPECT_EQ(problem, "") << row.name;
        } else {
            EXPECT_THAT(problem, HasSubstr(row.problem)) << row.name;
        }
    }
}

// What is read lies inside the file whatever its bytes are; the sanitizers watch.
TEST(Bitmap, CutAndChangedFiles) {
    std::mt19937 random(4711);
    for (const Shape& shape : {Shape{}, Shape{.head = 12}, Shape{.head = 124}}) {
        const Bytes good = bitmap(shape);
        for (std::size_t size = 0; size < good.size(); ++size) {
            const Bytes cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_NE(readBitmapHeader(cut).problem, "") << size;
        }
        for (int i = 0; i < 5'000; ++i) {
            Bytes changed = good;
            for (int n = 0; n < 4; ++n)
                changed[random() % changed.size()] = static_cast<std::byte>(random());
            const BitmapReading reading = readBitmapHeader(changed);
            if (!reading.problem.empty()) continue;
            ASSERT_GT(reading.header.width, 0);
            ASSERT_GT(reading.header.height, 0);
        }
    }
}

class PictureFiles : public testing::Test {
protected:
    PictureFiles() {
        Text pattern = (std::filesystem::temp_directory_path() / "picture-XXXXXX").string();
        folder_ = mkdtemp(pattern.data()) != nullptr ? pattern : "";
    }
    ~PictureFiles() override { std::filesystem::remove_all(folder_); }

    [[nodiscard]] Text path(const char* name) const { return folder_ + "/" + name; }
    Text write(const char* name, const Bytes& bytes) const {
        std::ofstream out(path(name), std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path(name);
    }
    static Bytes contentOf(const Text& file) {
        std::ifstream in(file, std::ios::binary);
        const Text text((std::istreambuf_iterator<char>(in)), {});
        const auto* first = reinterpret_cast<const std::byte*>(text.data());
        return {first, first + text.size()};
    }

    Text folder_;
};

TEST_F(PictureFiles, SavesTheBytesThatItLoaded) {
    Bytes file = longer(bitmap({.height = -2}), 3);
    file.back() = std::byte{7};
    const auto picture = Picture::fromFile(write("å b.bmp", file));
    EXPECT_NE(picture->get_Handle(), 0);
    EXPECT_EQ(picture->get_Width(), 3);
    EXPECT_EQ(picture->get_Height(), 2);
    EXPECT_EQ(picture->get_Type(), 1);

    const Text stale = write("Temp.bmp", Bytes(1000));
    picture->Save(stale);
    EXPECT_EQ(contentOf(stale), file);
}

TEST_F(PictureFiles, AFailedLoadKeepsThePicture) {
    const auto picture = Picture::fromFile(write("good.bmp", bitmap({})));
    const auto handle = picture->get_Handle();
    EXPECT_EQ(errorOf([&] { return picture->Load(write("bad.bmp", Bytes(10))), 0; }), errors::invalidPicture);
    EXPECT_EQ(picture->get_Handle(), handle);
    EXPECT_EQ(picture->bytes(), bitmap({}));
}

TEST_F(PictureFiles, Failures) {
    using namespace std::string_literals;
    write("bad.bmp", Bytes(10));
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    struct Row {
        const char* name;
        Text path;
        Text expected;
    };
    const Row loads[] = {
        {"missing", path("none.bmp"), "error 53: File not found: " + path("none.bmp")},
        {"a file as folder", path("bad.bmp/x"), "error 53: File not found: " + path("bad.bmp/x")},
        {"no name", "", "error 53: File not found: \"\""},
        {"a NUL in the name", "a\0b"s, R"(error 53: File not found: "a\x00b")"},
        {"folder", folder_, "error 75: Path/File access error: " + folder_},
        {"pipe", path("pipe"), "error 75: Path/File access error: " + path("pipe")},
        {"no bitmap", path("bad.bmp"), "error 481: Invalid picture: " + path("bad.bmp") + ": not a bitmap file"},
    };
    const auto picture = make<Picture>();
    for (const Row& row : loads) {
        EXPECT_THAT(outcome([&] { return picture->Load(row.path), Text(); }), StartsWith(row.expected)) << row.name;
        EXPECT_EQ(picture->get_Handle(), 0) << row.name;
    }
    EXPECT_EQ(errorOf([&] { return picture->Save(path("new.bmp")), 0; }), errors::invalidPicture);
    EXPECT_FALSE(std::filesystem::exists(path("new.bmp")));

    picture->Load(write("good.bmp", bitmap({})));
    const Row saves[] = {
        {"folder", folder_, "error 75: Path/File access error: " + folder_},
        {"no such folder", path("none/x.bmp"), "error 75: Path/File access error: " + path("none/x.bmp")},
        {"full device", "/dev/full", "error 75: Path/File access error: /dev/full"},
    };
    for (const Row& row : saves) {
        EXPECT_THAT(outcome([&] { return picture->Save(row.path), Text(); }), StartsWith(row.expected)) << row.name;
    }
}

} // namespace
