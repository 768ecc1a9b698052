#include "platform/desktop/clock.h"
#include "platform/desktop/desktop_object.h"
#include "platform/desktop/file_chooser.h"
#include "platform/desktop/message_box.h"
#include "platform/desktop/program_folder.h"

#include "platform/outcome.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

using namespace corveth;
using corveth::test::outcome;

namespace {

using namespace std::string_literals;

TEST(MessageBox, PlainBoxIsALineOnStandardError) {
    struct Row {
        const char* prompt;
        const char* title;
        const char* expected;
    };
    const Row rows[] = {
        {"Out of paper", "Printer", "message box: Printer: Out of paper\n"},
        {"Ærlig talt", defaultSource, "message box: prjCorveth: Ærlig talt\n"},
        {"", "", "message box: : \n"},
    };
    for (const Row& row : rows) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(messageBox(row.prompt, messageBoxes::critical, row.title), messageBoxes::ok);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.expected);
    }
}

TEST(MessageBox, HandlerTakesTheBoxAndGivesTheAnswer) {
    MessageBox seen;
    const MessageBoxHandler before = setMessageBoxHandler([&seen](const MessageBox& box) {
        seen = box;
        return 7;
    });
    EXPECT_FALSE(before);
    EXPECT_EQ(messageBox("text", messageBoxes::critical, "title"), 7);
    EXPECT_EQ(seen.prompt + "|" + seen.title, "text|title");
    EXPECT_EQ(seen.flags, messageBoxes::critical);

    const MessageBoxHandler mine = setMessageBoxHandler({});
    ASSERT_TRUE(mine);
    EXPECT_EQ(mine({"again", 0, "t"}), 7);
}

// A late-bound client sees the boxes of its own thread.
TEST(MessageBox, EachThreadCountsItsOwn) {
    setMessageBoxHandler([](const MessageBox&) { return messageBoxes::ok; });
    const auto desktop = make<Desktop>();
    const auto before = messageBoxCount();
    messageBox("mine");
    std::thread([] {
        EXPECT_EQ(messageBoxCount(), 0);
        EXPECT_EQ(lastMessageBox(), "");
        messageBox("theirs", 0, "elsewhere");
        EXPECT_EQ(messageBoxCount(), 1);
    }).join();
    EXPECT_EQ(desktop->get_MessageBoxCount(), before + 1);
    EXPECT_EQ(desktop->get_LastMessageBox(), "prjCorveth: mine");
    setMessageBoxHandler({});
}

TEST(Clock, ReplacedAndBroughtBack) {
    setClock([] { return Date{39128.75}; });
    EXPECT_EQ(now().day, 39128.75);
    EXPECT_EQ(today().day, 39128);
    EXPECT_EQ(make<Desktop>()->get_Now().day, 39128.75);
    setClock([] { return Date{-1.25}; });
    EXPECT_EQ(today().day, -1);
    setClock({});
    EXPECT_GT(now().day, 45000); // the system's clock stands after 2023
    EXPECT_EQ(now().day, fromCivil(toCivil(now())).day) << "not in whole seconds";
}

TEST(FileChooser, PlainChooserReadsOneLineOfStandardInput) {
    struct Row {
        const char* name;
        Text input;
        Text expected;
    };
    const Row rows[] = {
        {"a path", "/a b/ø.txt\nnext\n", "/a b/ø.txt"},
        {"no line break at the end", "x", "x"},
        {"empty line", "\nx\n", ""},
        {"end of input", "", ""},
        {"no UTF-8", "\xFF\n", R"(error 5: Invalid procedure call or argument: "\xFF" is no path in UTF-8)"},
        {"a NUL", "a\0b\n"s, R"(error 5: Invalid procedure call or argument: "a\x00b" is no path in UTF-8)"},
    };
    for (const Row& row : rows) {
        std::FILE* const input = std::tmpfile();
        ASSERT_NE(input, nullptr);
        std::fwrite(row.input.data(), 1, row.input.size(), input);
        std::rewind(input);
        std::FILE* const before = std::exchange(stdin, input);
        testing::internal::CaptureStderr();
        EXPECT_EQ(outcome([] { return chooseFile("Which file?"); }), row.expected) << row.name;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Which file? ") << row.name;
        stdin = before;
        std::fclose(input);
    }
    setFileChooser([](TextView prompt) { return Text(prompt) + "/chosen"; });
    EXPECT_EQ(chooseFile("p"), "p/chosen");
    // A choice made in advance is for one question of this thread.
    const auto desktop = make<Desktop>();
    for (const char* path : {"/a b/ø.txt", ""}) {
        callMember(*desktop, "ChooseFile", {path});
        std::thread([] { EXPECT_EQ(chooseFile("other"), "other/chosen"); }).join();
        EXPECT_EQ(chooseFile("p"), path);
        EXPECT_EQ(chooseFile("p"), "p/chosen");
    }
    setFileChooser({});
}

TEST(ProgramFolder, IsPrivateUntilAHostSetsOne) {
    const Text folder = programFolder();
    struct stat status {};
    ASSERT_EQ(stat(folder.c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    EXPECT_EQ(programFolder(), folder);

    EXPECT_EQ(setProgramFolder("/opt/program//"), "");
    EXPECT_EQ(programFolder(), "/opt/program");
    EXPECT_EQ(setProgramFolder(""), "/opt/program");
    EXPECT_EQ(programFolder(), folder);

    std::filesystem::remove_all(folder);
    const Text next = programFolder();
    EXPECT_TRUE(std::filesystem::is_directory(next)) << "made again when something took it away";
}

/// What `work` returns in a child process that then ends as a process does; empty when it did not end well.
Text inChild(const std::function<Text()>& work) {
    int ends[2];
    if (pipe(ends) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        const Text report = work();
        if (write(ends[1], report.data(), report.size()) < 0) _exit(1);
        std::exit(0); // NOLINT(concurrency-mt-unsafe): the clean-up at the end is what is looked at
    }
    close(ends[1]);
    char report[512];
    const auto length = read(ends[0], report, sizeof report);
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0 && length > 0 ? Text(report, static_cast<std::size_t>(length)) : Text();
}

// Another process has another folder, which goes with it; a parent's stays, whether the child asks for one or not.
TEST(ProgramFolder, EndsWithItsProcess) {
    const Text mine = programFolder();
    const Text theirs = inChild([] {
        const Text folder = programFolder();
        return std::filesystem::is_directory(folder) ? folder : Text("none");
    });
    EXPECT_EQ(inChild([] { return Text("asks for none"); }), "asks for none");
    EXPECT_EQ(theirs.substr(0, 1), "/");
    EXPECT_NE(theirs, mine);
    EXPECT_FALSE(std::filesystem::exists(theirs));
    EXPECT_TRUE(std::filesystem::is_directory(mine));
}

} // namespace
