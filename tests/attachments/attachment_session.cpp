// A file that is shown or changed: the copy, the program, the window.

#include "attachments/world.h"
#include "platform/desktop/message_pump.h"
#include "platform/desktop/open_with.h"
#include "platform/desktop/temp_folder.h"
#include "platform/desktop/window.h"
#include "platform/scope_exit.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

namespace corveth {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace fs = std::filesystem;

class AttachmentSessionTest : public test::AttachmentWorld {
protected:
    void SetUp() override {
        AttachmentWorld::SetUp();
        folderBefore_ = setTemporaryFolder(folder.path().string());
        chooserBefore_ = setOpenWithChooser([this](const Text& path) { chosen.push_back(path); });
    }
    void TearDown() override {
        setOpenWithChooser(chooserBefore_);
        setTemporaryFolder(folderBefore_);
        AttachmentWorld::TearDown();
    }

    static Ref<Attachment> titled(const Text& title, TextView content = "content") {
        auto attachment = make<Attachment>();
        attachment->AttachmentTitle = title;
        attachment->Data = bytes(content);
        return attachment;
    }
    static Text contentOf(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Waits for something that another process does.
    static bool comesTrue(const std::function<bool()>& condition) {
        for (int i = 0; i < 500 && !condition(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return condition();
    }
    static bool isThere(std::int32_t process) { return ::kill(process, 0) == 0; }
    /// The command of a program that says in the file `said` what it was given, a line an argument, and then waits.
    Text tellingProgram() {
        const Text path = folder.file("tell it.sh");
        std::ofstream(path) << "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" << folder.file("saying") << "'\nmv '"
                            << folder.file("saying") << "' '" << folder.file("said") << "'\nexec sleep 60\n";
        fs::permissions(path, fs::perms::owner_all);
        return "\"" + path + "\"";
    }
    Text said() {
        EXPECT_TRUE(comesTrue([&] { return fs::exists(folder.file("said")); }));
        const Text content = contentOf(folder.file("said"));
        fs::remove(folder.file("said"));
        return content;
    }

    test::TemporaryFolder folder;
    std::vector<Text> chosen;

private:
    Text folderBefore_;
    OpenWithChooser chooserBefore_;
};

TEST_P(AttachmentSessionTest, TheProgramOfTheFileIsStartedOnACopyAndEnded) {
    files.program = " " + tellingProgram() + " --new  ";
    const auto attachment = titled("a \"b\" $c.txt");
    EXPECT_EQ(attachment->get_TempFilePath(), "");
    attachment->OpenAttachment();

    const Text copy = folder.file("a \"b\" $c.txt");
    EXPECT_EQ(attachment->get_TempFilePath(), copy);
    EXPECT_EQ(contentOf(copy), "content");
    EXPECT_EQ(fs::status(copy).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(said(), "--new\n" + copy + "\n");
    EXPECT_THAT(files.calls, ElementsAre("Program " + copy));
    EXPECT_EQ(files.alive, 0);
    const auto process = attachment->get_ThreadId();
    EXPECT_GT(process, 0);
    EXPECT_FALSE(attachment->get_Alive()) << "the client says so";
    EXPECT_TRUE(isThere(process));

    attachment->CloseAttachmentWindow();
    EXPECT_TRUE(comesTrue([&] { return !isThere(process); })) << "neither running nor a zombie";
    EXPECT_EQ(attachment->get_ThreadId(), process);
    EXPECT_TRUE(fs::exists(copy)) << "the copy stays";
    attachment->CloseAttachmentWindow();
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentSessionTest, AProgramMayBeAPlainPathWithBlanks) {
    const Text program = tellingProgram();
    files.program = program.substr(1, program.size() - 2);
    const auto attachment = titled("a.txt");
    attachment->OpenAttachment();
    EXPECT_EQ(said(), folder.file("a.txt") + "\n");
    attachment->CloseAttachmentWindow();
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentSessionTest, ACopyThatIsAProgramIsStartedItself) {
    for (const auto* title : {"run me.exe", "RUN.EXE", "run.eXe"}) {
        SCOPED_TRACE(title);
        const auto attachment = titled(title, "#!/bin/sh\nexec sleep 60\n");
        attachment->OpenAttachment();
        EXPECT_GT(attachment->get_ThreadId(), 0);
        EXPECT_THAT(files.calls, IsEmpty()) << "no program is asked for";
        attachment->CloseAttachmentWindow();
    }
    EXPECT_THAT(chosen, IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentSessionTest, WithoutAProgramTheDesktopIsLeftToFindOne) {
    files.program = tellingProgram();
    const auto attachment = titled("a.unknown");
    attachment->OpenAttachment();
    const auto process = attachment->get_ThreadId();
    ASSERT_GT(process, 0);
    files.program = "  ";
    attachment->OpenAttachment();
    EXPECT_THAT(chosen, ElementsAre(folder.file("a.unknown")));
    EXPECT_EQ(attachment->get_ThreadId(), 0);
    attachment->CloseAttachmentWindow();
    EXPECT_TRUE(isThere(process)) << "it is no longer the one that was started last";
    ::kill(process, SIGKILL);
}

TEST_P(AttachmentSessionTest, NothingIsOpenedTwiceWhileTheClientHoldsItOpen) {
    const auto attachment = titled("a.txt");
    attachment->let_Alive(true);
    attachment->OpenAttachment();
    EXPECT_EQ(attachment->get_TempFilePath(), "");
    EXPECT_TRUE(fs::is_empty(folder.path()));
    EXPECT_THAT(files.calls, IsEmpty());
    EXPECT_THAT(chosen, IsEmpty());
    attachment->let_Alive(false);
    attachment->OpenAttachment();
    EXPECT_EQ(chosen.size(), 1U);
}

TEST_P(AttachmentSessionTest, OneTitleIsOneCopyTheLaterOneReplacesIt) {
    titled("a.txt", "a longer content")->OpenAttachment();
    fs::permissions(folder.file("a.txt"), fs::perms::owner_read);
    titled("a.txt", "second")->OpenAttachment();
    EXPECT_EQ(contentOf(folder.file("a.txt")), "second");
    fs::create_symlink(folder.file("elsewhere"), folder.file("b.txt"));
    titled("b.txt", "third")->OpenAttachment();
    EXPECT_FALSE(fs::exists(folder.file("elsewhere"))) << "a link is replaced, not followed";
    EXPECT_EQ(contentOf(folder.file("b.txt")), "third");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentSessionTest, NoTitleLeadsOutOfTheFolder) {
    for (const Text title : {"../../x", "a/b", "/etc/passwd", ".", "..", "", "-rf", "a\nb\t\x01", "%s%n"}) {
        SCOPED_TRACE(title);
        const auto attachment = titled(title, title);
        attachment->OpenAttachment();
        const fs::path copy = attachment->get_TempFilePath();
        EXPECT_EQ(copy.parent_path(), folder.path());
        EXPECT_EQ(contentOf(copy), title);
        EXPECT_EQ(chosen.back(), copy);
    }
    const auto attachment = titled(Text(300, 'x') + ".exe", "#!/bin/sh\n");
    attachment->OpenAttachment();
    EXPECT_GT(attachment->get_ThreadId(), 0) << "a long title keeps its ending";
}

TEST_P(AttachmentSessionTest, LibrariesAreShownByTheProgramOfWebPages) {
    test::TemporaryFolder current;
    const auto before = fs::current_path();
    fs::current_path(current.path());
    const auto back = finally([&] { fs::current_path(before); });
    const Text page = current.file("index.html");
    files.pageProgram = tellingProgram();
    const struct {
        const char* title;
        bool asks;
    } cases[] = {{"a.dll", true},   {"a.OcX", true}, {"null.o", true},
                 {"full.oc", true}, {"a.so", false}, {"ocx", false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.title);
        files.calls.clear();
        const auto attachment = titled(row.title);
        attachment->OpenAttachment();
        EXPECT_EQ(files.calls.size(), row.asks ? 2U : 1U);
        EXPECT_EQ(files.calls.back(), "Program " + (row.asks ? page : folder.file(row.title)));
        EXPECT_EQ(attachment->get_ThreadId() > 0, row.asks);
        attachment->CloseAttachmentWindow();
        EXPECT_FALSE(fs::exists(page)) << "the page goes again";
    }

    std::ofstream(page) << "mine";
    const auto attachment = titled("a.dll");
    attachment->OpenAttachment();
    attachment->CloseAttachmentWindow();
    EXPECT_EQ(contentOf(page), "mine") << "a page of the user's own stays";
    files.calls.clear();
    files.program = tellingProgram();
    attachment->OpenAttachment();
    attachment->CloseAttachmentWindow();
    EXPECT_EQ(files.calls.size(), 1U) << "with a program of its own no page is asked for";
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_P(AttachmentSessionTest, WhatFailsIsInTheLogAndNowhereElse) {
    const Text inFolder = folder.file("a.txt");
    const struct {
        const char* name;
        std::function<void(Attachment&)> given;
        std::vector<Text> logged;
    } cases[] = {
        {"no bytes",
         [](Attachment& it) { it.Data = "text"; },
         {"Attachment|writing the copy of AT00000001|Type mismatch"}},
        {"a folder in the way",
         [&](Attachment&) { fs::remove(inFolder), fs::create_directories(inFolder + "/x"); },
         {"Attachment|writing the copy of AT00000001|"}},
        {"a lookup that fails",
         [&](Attachment&) { fs::remove_all(inFolder), files.failure = "Program"; },
         {"Attachment|looking for the program of AT00000001|Overflow"}},
        {"a program that is not there",
         [&](Attachment&) { files.failure = "", files.program = "/no/such/program --new"; },
         {"Attachment|starting the program of AT00000001|"}},
        {"a command without an end",
         [&](Attachment&) { files.program = "\"/no/such"; },
         {"Attachment|starting the program of AT00000001|"}},
        {"a copy that is no program",
         [&](Attachment& it) {
             it.AttachmentTitle = "a.exe", it.Data = bytes("\x7f"
                                                           "ELF and nothing more");
         },
         {"Attachment|starting the program of AT00000001|"}},
        {"no desktop",
         [&](Attachment&) {
             files.program = "", setOpenWithChooser([](const Text& path) { raise(errors::overflow, path); });
         },
         {"Attachment|starting the program of AT00000001|Overflow: "}},
        {"no folder", [&](Attachment&) { setTemporaryFolder(folder.file("gone/away")); }, {"Attachment|"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto attachment = titled("a.txt");
        attachment->AttachmentID = "AT00000001";
        row.given(*attachment);
        attachment->OpenAttachment();
        const auto lines = logged();
        ASSERT_FALSE(lines.empty());
        for (std::size_t i = 0; i < row.logged.size() && i < lines.size(); ++i)
            EXPECT_THAT(lines[i], StartsWith(row.logged[i]));
        EXPECT_EQ(attachment->get_ThreadId(), 0);
    }
}

TEST_P(AttachmentSessionTest, AFailureLeavesTheProgramThatWasStartedBefore) {
    files.program = tellingProgram();
    const auto attachment = titled("a.txt");
    attachment->OpenAttachment();
    const auto process = attachment->get_ThreadId();
    files.program = "/no/such/program";
    attachment->OpenAttachment();
    EXPECT_EQ(attachment->get_ThreadId(), process);
    attachment->CloseAttachmentWindow();
    EXPECT_TRUE(comesTrue([&] { return !isThere(process); }));
}

TEST_P(AttachmentSessionTest, ClosingProcessesMessagesTwiceThenMinimisesAndDestroysTheWindow) {
    std::vector<Text> events;
    const auto window = makeWindow(makeWindowProcedure([&](const WindowMessage& message) {
        events.push_back("message " + std::to_string(message.number));
        return 0;
    }));
    const auto pumpBefore = setMessagePump([&] { events.emplace_back("pump"); });
    const auto attachment = titled("a.txt");
    attachment->CloseAttachmentWindow();
    EXPECT_THAT(events, ElementsAre("pump", "pump")) << "without a window";
    EXPECT_THAT(logged(), IsEmpty());

    events.clear();
    attachment->let_DocumentWindowHwnd(window);
    attachment->CloseAttachmentWindow();
    EXPECT_THAT(events, ElementsAre("pump", "pump", "message 5", "message 2", "message 130"));
    EXPECT_FALSE(isWindow(window));
    attachment->CloseAttachmentWindow();
    EXPECT_EQ(attachment->get_DocumentWindowHwnd(), window);
    EXPECT_THAT(logged(), ElementsAre(StartsWith("Attachment|minimizing the window of a.txt|"),
                                      StartsWith("Attachment|destroying the window of a.txt|")));
    setMessagePump([] { raise(errors::overflow); });
    attachment->let_DocumentWindowHwnd(0);
    attachment->CloseAttachmentWindow();
    EXPECT_EQ(logged().size(), 2U);
    setMessagePump(pumpBefore);
}

CORVETH_ON_ENGINE("SQLite", AttachmentSessionTest);

} // namespace
} // namespace corveth
