#include "platform/desktop/file_content.h"
#include "platform/desktop/file_name.h"
#include "platform/desktop/temp_folder.h"

#include "platform/desktop_support.h"
#include "platform/outcome.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace corveth;
using namespace corveth::test;
using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;

std::span<const std::byte> bytesOf(TextView text) {
    return std::as_bytes(std::span(text));
}
Text textOf(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

TEST(FileName, StaysWithinItsFolderAndSaysTheTitle) {
    struct Row {
        const char* name;
        Text given;
        Text expected;
    };
    const Row rows[] = {
        {"an honest title", "Årsrapport 2024 (endelig), v2.final.PDF", "Årsrapport 2024 (endelig), v2.final.PDF"},
        {"every other sign", " ~`!@#$%^&*()-=+[]{};:'\"\\|,<>?\xC2\xA0 ", " ~`!@#$%^&*()-=+[]{};:'\"\\|,<>?\xC2\xA0 "},
        {"upwards", "../../x", ".._.._x"},
        {"a folder", "a/b", "a_b"},
        {"absolute", "/etc/passwd", "_etc_passwd"},
        {"itself", ".", "_"},
        {"the one above", "..", "__"},
        {"more dots are a name", "...", "..."},
        {"hidden", ".profile", ".profile"},
        {"nothing", "", "_"},
        {"an option", "-rf", "-rf"},
        {"control characters", "a\nb\tc\x1b[2J\x7f\xC2\x9B", "a_b_c_[2J__"},
        {"a NUL", "a\0b"s, "a_b"},
        {"broken bytes", "a\xFF\xC3(\xED\xA0\x80z", "a__(___z"},
        {"a character cut off", "a\xE2\x82", "a__"},
        {"255 bytes", Text(251, 'x') + ".txt", Text(251, 'x') + ".txt"},
        {"256 bytes", Text(252, 'x') + ".txt", Text(251, 'x') + ".txt"},
        {"no extension", Text(300, 'x'), Text(255, 'x')},
        {"an extension too long to be one", Text(200, 'x') + "." + Text(100, 'y'),
         Text(200, 'x') + "." + Text(54, 'y')},
        {"a dot in front alone", "." + Text(300, 'y'), "." + Text(254, 'y')},
        {"cut between characters", Text(250, 'x') + "€.txt", Text(250, 'x') + ".txt"},
        {"cut within emoji", Text(254, 'x') + "\xF0\x9F\x98\x80", Text(254, 'x')},
    };
    for (const Row& row : rows)
        EXPECT_EQ(fileNameFrom(row.given), row.expected) << row.name;
}

TEST(FileContent, ReadsRegularFilesAlone) {
    const TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms::all);
    const Text plain = writeFile(folder.file("plain"), "a\0b\xFF"s);
    const Text none = writeFile(folder.file("none"), "");
    const Text locked = writeFile(folder.file("locked"), "x");
    fs::permissions(locked, fs::perms::none);
    const Text pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const Text socket = folder.file("socket");
    const int listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(listening, 0);
    sockaddr_un address{AF_UNIX, {}};
    socket.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(listening);
    const Text huge = writeFile(folder.file("huge"), "");
    fs::resize_file(huge, 2147483648U);
    fs::create_symlink("plain", folder.path() / "link");
    fs::create_symlink("round", folder.path() / "round");

    struct Row {
        const char* name;
        Text path;
        Text expected;
    };
    const Text access = "error 75: Path/File access error: ";
    const Text device = " (it is a device, a pipe or a socket)";
    const Row rows[] = {
        {"bytes", plain, "a\0b\xFF"s},
        {"no bytes", none, ""},
        {"through a link", folder.file("link"), "a\0b\xFF"s},
        {"missing", folder.file("x"), "error 53: File not found: " + inQuotes(folder.file("x"))},
        {"no path", "", R"(error 53: File not found: "")"},
        {"below a file", plain + "/x", "error 53: File not found: " + inQuotes(plain + "/x")},
        {"a folder", folder.path().string(), access + inQuotes(folder.path().string()) + " (Is a directory)"},
        {"locked", locked, access + inQuotes(locked) + " (Permission denied)"},
        {"a pipe", pipe, access + inQuotes(pipe) + device},
        {"a socket", socket, access + inQuotes(socket) + device},
        {"a device", "/dev/zero", access + "\"/dev/zero\"" + device},
        {"a link to itself", folder.file("round"),
         access + inQuotes(folder.file("round")) + " (Too many levels of symbolic links)"},
        {"2 GiB", huge, "error 6: Overflow: " + inQuotes(huge) + " holds 2147483648 bytes"},
    };
    const AsNobody nobody;
    for (const Row& row : rows)
        EXPECT_EQ(outcome([&] { return textOf(readFile(row.path)); }), row.expected) << row.name;
    EXPECT_EQ(fileSize(huge), 2147483647) << "so that it can be told to be too large";
    EXPECT_EQ(fileSize(locked), 1) << "the size of what cannot be read";
}

TEST(FileContent, FileThatGrowsIsReadAsLongAsItWas) {
    const TemporaryFolder folder;
    const Text path = writeFile(folder.file("log"), Text(100, 'x'));
    std::atomic<bool> isWritten = false;
    std::jthread writer([&] {
        std::ofstream file(path, std::ios::app);
        for (int i = 0; i < 500; ++i)
            file << Text(1000, 'x') << std::flush;
        isWritten = true;
    });
    for (std::size_t before = 100; !isWritten;) {
        const Bytes bytes = readFile(path);
        EXPECT_GE(bytes.size(), before);
        EXPECT_EQ(std::ranges::count(bytes, std::byte{'x'}), static_cast<std::ptrdiff_t>(bytes.size()));
        before = bytes.size();
    }
    writer.join();
    EXPECT_EQ(readFile(path).size(), 500100U);
}

TEST(FileContent, WritesANewFileOfTheUsersOwn) {
    const TemporaryFolder folder;
    const Text target = writeFile(folder.file("target"), "target");
    fs::create_symlink("target", folder.path() / "link");
    fs::create_hard_link(target, folder.path() / "second name");
    const Text locked = writeFile(folder.file("locked"), "x");
    fs::permissions(locked, fs::perms::owner_read);

    for (const char* const name : {"new", "link", "second name", "locked"}) {
        const Text path = folder.file(name);
        writeNewFile(path, bytesOf("a\0b"s));
        struct stat status {};
        ASSERT_EQ(lstat(path.c_str(), &status), 0);
        EXPECT_TRUE(S_ISREG(status.st_mode)) << name;
        EXPECT_EQ(status.st_mode & 07777U, 0600U) << name;
        EXPECT_EQ(fileContent(path), "a\0b"s) << name;
    }
    EXPECT_EQ(fileContent(target), "target");

    writeNewFile(folder.file("run.EXE"), {}, FileUse::program);
    EXPECT_EQ(fs::status(folder.file("run.EXE")).permissions(), fs::perms::owner_all);

    const Text shut = folder.file("shut");
    fs::create_directory(shut);
    fs::permissions(shut, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_all);
    fs::permissions(shut, fs::perms::others_write, fs::perm_options::remove);
    struct Row {
        const char* name;
        Text path;
        const char* reason;
    };
    const Row rows[] = {
        {"no folder", folder.file("none/x"), " (No such file or directory)"},
        {"a folder", folder.path().string(), " (Is a directory)"},
        {"a folder that takes no files", shut + "/x", " (Permission denied)"},
        {"too long a name", folder.file(Text(256, 'x')), " (File name too long)"},
    };
    for (const Row& row : rows) {
        std::optional<AsNobody> nobody;
        if (row.path.starts_with(shut)) {
            fs::permissions(folder.path(), fs::perms::all);
            nobody.emplace();
        }
        const Text seen = outcome([&] {
            writeNewFile(row.path, bytesOf("x"));
            return Text("written");
        });
        EXPECT_EQ(seen, "error 75: Path/File access error: " + inQuotes(row.path) + row.reason) << row.name;
    }
}

// As on a full disk.
TEST(FileContent, NoPartOfAFileIsLeft) {
    const TemporaryFolder folder;
    const Text path = folder.file("copy");
    const Text seen = inChildProcess([&] {
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        return outcome([&] {
            writeNewFile(path, bytesOf(Text(10000, 'x')));
            return Text("written");
        });
    });
    EXPECT_EQ(seen, "error 75: Path/File access error: " + inQuotes(path) + " (File too large)");
    EXPECT_FALSE(fs::exists(path));
}

class TemporaryCopies : public testing::Test {
protected:
    /// A folder below that of the test.
    Text made(const char* name, unsigned mode = 0700) const {
        const Text path = folder_.file(name);
        fs::create_directory(path);
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        return path;
    }

    TemporaryFolder folder_;
    const Text ours_ = "corveth-" + std::to_string(geteuid()) + "/";
};

TEST_F(TemporaryCopies, StandInTheUsersOwnFolder) {
    const Text session = made("session");
    const Text open = made("open", 0755);
    const Text shared = made("shared", 01777);
    struct Row {
        const char* name;
        std::optional<Text> session;
        std::optional<Text> shared;
        Text expected;
    };
    const Row rows[] = {
        {"the session's folder", session, shared, session + "/corveth/"},
        {"slashes at its end", session + "//", shared, session + "/corveth/"},
        {"no session", std::nullopt, shared, shared + "/" + ours_},
        {"an empty variable", "", shared + "/", shared + "/" + ours_},
        {"a session that others can enter", open, shared, shared + "/" + ours_},
        {"one that is not there", session + "/none", shared, shared + "/" + ours_},
        {"a path that is not absolute", "session", shared, shared + "/" + ours_},
    };
    for (const Row& row : rows) {
        const ScopedVariable runtime("XDG_RUNTIME_DIR", row.session);
        const ScopedVariable temporary("TMPDIR", row.shared);
        for (int again = 0; again < 2; ++again)
            EXPECT_EQ(temporaryFolder(), row.expected) << row.name;
        struct stat status {};
        ASSERT_EQ(stat(row.expected.c_str(), &status), 0) << row.name;
        EXPECT_EQ(status.st_mode & 07777U, 0700U) << row.name;
    }
    EXPECT_EQ(setTemporaryFolder("/set/by host"), "");
    EXPECT_EQ(temporaryFolder(), "/set/by host/");
    EXPECT_EQ(setTemporaryFolder(""), "/set/by host/");
}

TEST_F(TemporaryCopies, WhatIsNotTheUsersIsNotUsed) {
    const ScopedVariable runtime("XDG_RUNTIME_DIR", std::nullopt);
    struct Row {
        const char* name;
        const char* reason;
        std::function<void(const Text& path)> prepare;
    };
    const Row rows[] = {
        {"a link to a folder", "it is a symbolic link",
         [](const Text& path) { fs::create_directory_symlink("/tmp", path); }},
        {"a link to nowhere", "it is a symbolic link", [](const Text& path) { fs::create_symlink("none", path); }},
        {"a file", "Not a directory", [](const Text& path) { writeFile(path, ""); }},
        {"somebody else's folder", "it is somebody else's",
         [](const Text& path) {
             fs::create_directory(path);
             if (chown(path.c_str(), geteuid() + 1, getegid()) != 0) fs::remove(path); // only root can give it away
         }},
    };
    for (const Row& row : rows) {
        const Text shared = made(row.name, 01777);
        const ScopedVariable temporary("TMPDIR", shared);
        const Text path = shared + "/corveth-" + std::to_string(geteuid());
        row.prepare(path);
        if (!fs::exists(fs::symlink_status(path))) continue;
        EXPECT_EQ(outcome(temporaryFolder), "error 75: Path/File access error: the folder for temporary copies " +
                                                inQuotes(path) + " cannot be used (" + row.reason + ")")
            << row.name;
    }

    const Text loose = made("loose", 01777) + "/" + ours_;
    fs::create_directory(loose);
    fs::permissions(loose, fs::perms::all);
    {
        const ScopedVariable temporary("TMPDIR", folder_.file("loose"));
        EXPECT_EQ(temporaryFolder(), loose);
    }
    EXPECT_EQ(fs::status(loose).permissions(), fs::perms::owner_all) << "the user's own is shut";

    const ScopedVariable temporary("TMPDIR", made("unwritable", 0555));
    fs::permissions(folder_.path(), fs::perms::all);
    const AsNobody nobody;
    EXPECT_THAT(outcome(temporaryFolder), testing::HasSubstr("(Permission denied)"));
}

// A session's folder is memory: what is nearly full stays free for others.
TEST_F(TemporaryCopies, FullSessionIsLeftAlone) {
    const Text session = made("session");
    const Text shared = made("shared", 01777);
    const Text seen = inChildProcess([&] {
        if (unshare(CLONE_NEWNS | (geteuid() == 0 ? 0 : CLONE_NEWUSER)) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", session.c_str(), "tmpfs", 0, "size=1m,mode=700") != 0) {
            return Text("cannot be tried");
        }
        const ScopedVariable runtime("XDG_RUNTIME_DIR", session);
        const ScopedVariable temporary("TMPDIR", shared);
        return outcome(temporaryFolder);
    });
    if (seen == "cannot be tried") GTEST_SKIP() << "no file system of a test's own may be mounted here";
    EXPECT_THAT(seen, testing::StartsWith(shared + "/corveth-"));
}

} // namespace
