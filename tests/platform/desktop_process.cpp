#include "platform/desktop/open_with.h"
#include "platform/desktop/process.h"

#include "platform/desktop_support.h"
#include "platform/outcome.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <set>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

using namespace corveth;
using namespace corveth::test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

bool isGone(std::int32_t id) {
    return kill(id, 0) != 0 && errno == ESRCH;
}

TEST(CommandLine, SplitsAtBlanksOutsideQuotes) {
    struct Row {
        const char* name;
        const char* given;
        std::vector<Text> expected;
    };
    const Row rows[] = {
        {"nothing", "", {}},
        {"blanks alone", " \t ", {}},
        {"words", "  a  -b\tc ", {"a", "-b", "c"}},
        {"a quoted path", R"(/bin/x "/tmp/a b.txt")", {"/bin/x", "/tmp/a b.txt"}},
        {"an empty word", R"(a "" b)", {"a", "", "b"}},
        {"quotes within a word", R"(a"b c"d)", {"ab cd"}},
        {"quote and backslash in quotes", R"("a\"b\\c")", {R"(a"b\c)"}},
        {"other backslashes stay", R"(\"a b" "c\d")", {R"(\a b)", R"(c\d)"}},
        {"a shell's own characters mean nothing", "a $HOME `b` ;|&'c", {"a", "$HOME", "`b`", ";|&'c"}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(splitCommandLine(row.given), row.expected) << row.name;
    EXPECT_EQ(outcome([] { return splitCommandLine("a \"b").front(); }),
              R"(error 5: Invalid procedure call or argument: a quote is not closed in the command line "a "b")");
}

TEST(CommandLine, QuotedWordComesBackAsItWas) {
    for (const char* const word : {"", "/tmp/a b", R"(a"b)", R"(a\)", R"(\\"\")", "æ\x01\n", "-rf"}) {
        EXPECT_THAT(splitCommandLine("x " + quotedWord(word) + " y"), ElementsAre("x", word, "y"));
    }
    EXPECT_EQ(quotedWord("/tmp/report 1.txt"), "\"/tmp/report 1.txt\"");
}

TEST(Process, ProgramThatCannotBeStartedIsNamedWithTheReason) {
    const TemporaryFolder folder;
    const Text plain = writeFile(folder.file("plain"), "text");
    const Text lost = writeFile(folder.file("lost"), "#!/no/such/interpreter\n");
    const Text nothing = writeFile(folder.file("nothing"), "no program\n");
    std::filesystem::permissions(lost, std::filesystem::perms::owner_all);
    std::filesystem::permissions(nothing, std::filesystem::perms::owner_all);
    const Text missing = folder.file("missing");
    const Text below = plain + "/below";
    const Text inFolder = folder.path().string();

    struct Row {
        const char* name;
        std::vector<Text> words;
        int number;
        Text program;
        const char* reason;
    };
    const Row rows[] = {
        {"no words", {}, 5, "", "no program is named"},
        {"an empty name", {"", "x"}, 5, "", "no program is named"},
        {"a missing file", {missing}, 53, missing, "No such file or directory"},
        {"not in PATH", {"no-such-program-here"}, 53, "no-such-program-here", "it is not in PATH"},
        {"a folder", {inFolder}, 5, inFolder, "Is a directory"},
        {"not executable", {plain}, 5, plain, "Permission denied"},
        {"below a file", {below}, 5, below, "Not a directory"},
        {"without its interpreter", {lost}, 5, lost, "its interpreter is missing"},
        {"no program at all", {nothing}, 5, nothing, "Exec format error"},
        {"too many words",
         {"/bin/true", Text(std::size_t{4} * 1024 * 1024, 'x')},
         5,
         "/bin/true",
         "Argument list too long"},
    };
    for (const Row& row : rows) {
        const Text seen = outcome([&] {
            startProcess(row.words);
            return Text("started");
        });
        EXPECT_THAT(seen, testing::StartsWith("error " + std::to_string(row.number) + ": ")) << row.name;
        EXPECT_THAT(seen, HasSubstr(row.reason)) << row.name;
        EXPECT_THAT(seen, HasSubstr(row.program)) << row.name;
    }
}

/// What a signal set in /proc/ID/status holds of the signals that programs know.
unsigned long knownSignals(const Text& status, const Text& name) {
    const auto at = status.find(name + ":");
    if (at == Text::npos) return ~0UL;
    return std::stoul(status.substr(at + name.size() + 1), nullptr, 16) & 0x7FFFFFFFUL;
}

// Whatever this process is like, the program finds what one started from a desktop's menu finds.
TEST(Process, ProgramStartsClean) {
    const TemporaryFolder folder;
    const Text report = folder.file("report");
    const Text files = folder.file("files");
    const Text script = writeScript(folder.file("a folder/program"), R"sh(
        {
            echo "arguments:$#|$1|$2|$3"
            echo "input:$(wc -c)"
            echo "group:$(($(cut -d' ' -f5 /proc/$$/stat) - $$))"
            echo "folder:$(pwd)"
            echo "variable:$CORVETH_TRIED"
            echo "id:$$"
            while read -r line; do echo "$line"; done < /proc/$$/status # the shell blocks signals while it waits
        } > "$4")sh");
    const Text lister = writeScript(folder.file("lister"), R"sh(exec ls /proc/self/fd > "$1")sh");
    const ScopedVariable variable("CORVETH_TRIED", "as is");
    const int leaking = open("/dev/null", O_RDONLY); // NOLINT(android-cloexec-open): to leak it is the point
    ASSERT_GE(leaking, 3);
    const auto ignored = std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);

    const RunningProcess process = startProcess({script, "-rf", "a \"b", "", report});
    const RunningProcess listing = startProcess({lister, files});

    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_EQ(sigismember(&after, SIGUSR1), 1) << "ours are as they were";
    EXPECT_EQ(sigismember(&after, SIGTERM), 0);
    EXPECT_EQ(std::signal(SIGPIPE, ignored), SIG_IGN);
    close(leaking);

    ASSERT_TRUE(waitUntil([&] { return !process.isRunning() && !listing.isRunning(); }));
    const Text seen = fileContent(report);
    EXPECT_THAT(seen, HasSubstr("arguments:4|-rf|a \"b|\n"));
    EXPECT_THAT(seen, HasSubstr("input:0\n"));
    EXPECT_THAT(seen, HasSubstr("group:0\n"));
    EXPECT_THAT(seen, HasSubstr("folder:" + std::filesystem::current_path().string() + "\n"));
    EXPECT_THAT(seen, HasSubstr("variable:as is\n"));
    EXPECT_THAT(seen, HasSubstr("id:" + std::to_string(process.id()) + "\n"));
    EXPECT_EQ(knownSignals(seen, "SigBlk"), 0U);
    EXPECT_EQ(knownSignals(seen, "SigIgn"), 0U);
    EXPECT_EQ(fileContent(files), "0\n1\n2\n3\n") << "3 is the list itself";
}

TEST(Process, EndsExactlyTheProgramThatWasStarted) {
    const TemporaryFolder folder;
    const Text ready = folder.file("ready");
    const Text script = writeScript(folder.file("stubborn"), R"(
        trap '' TERM INT HUP QUIT
        sleep 1000 &
        echo $! > "$1.part" && mv "$1.part" "$1"
        while :; do sleep 1000; done)");
    RunningProcess process = startProcess({script, ready});
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(ready); }));
    const std::int32_t grandchild = std::stoi(fileContent(ready));
    EXPECT_TRUE(process.isRunning());

    process.terminate();
    EXPECT_TRUE(waitUntil([&] { return !process.isRunning(); }));
    EXPECT_TRUE(waitUntil([&] { return isGone(process.id()); })) << "a zombie is left";
    EXPECT_FALSE(isGone(grandchild)) << "what it started goes on";
    process.terminate(); // again: nothing
    kill(-process.id(), SIGKILL);
}

TEST(Process, HandleOfOneThatEndedReachesNobodyElse) {
    RunningProcess first = startProcess({"/bin/sleep", "1000"});
    const std::array handles = {static_cast<int>(syscall(SYS_pidfd_open, first.id(), 0)),
                                open(("/proc/" + std::to_string(first.id())).c_str(), O_RDONLY | O_DIRECTORY)};
    first.terminate();
    ASSERT_TRUE(waitUntil([&] { return isGone(first.id()); }));

    // As if the other one had been given the number.
    RunningProcess other = startProcess({"/bin/sleep", "1000"});
    for (const int handle : handles) {
        ASSERT_GE(handle, 0);
        RunningProcess stale(other.id(), handle);
        EXPECT_FALSE(stale.isRunning());
        stale.terminate();
    }
    for (int looks = 0; looks < 20; ++looks) {
        ASSERT_TRUE(other.isRunning());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    other.terminate();
    EXPECT_TRUE(waitUntil([&] { return !other.isRunning(); }));
}

TEST(Process, NoneIsHarmless) {
    RunningProcess none;
    none.terminate();
    EXPECT_FALSE(none.isRunning());
    EXPECT_EQ(none.id(), 0);

    RunningProcess brief = startProcess({"/bin/true"});
    const std::int32_t id = brief.id();
    EXPECT_TRUE(waitUntil([&] { return !brief.isRunning(); }));
    brief.terminate();
    none = std::move(brief);
    EXPECT_EQ(none.id(), id) << "the number stays known";
}

volatile std::sig_atomic_t childSignals = 0;

// A host counts on its own children alone, and may have chosen not to hear of them.
TEST(Process, HostDoesNotSeeIt) {
    for (const bool isIgnored : {false, true}) {
        const auto before = std::signal(
            SIGCHLD, isIgnored ? SIG_IGN : [](int) { childSignals = childSignals + 1; });
        childSignals = 0;
        RunningProcess brief = startProcess({"/bin/true"});
        RunningProcess lasting = startProcess({"/bin/sleep", "1000"});
        EXPECT_TRUE(waitUntil([&] { return !brief.isRunning(); }));
        EXPECT_TRUE(lasting.isRunning());
        errno = 0;
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG | __WALL), -1);
        EXPECT_EQ(errno, ECHILD);
        lasting.terminate();
        EXPECT_TRUE(waitUntil([&] { return !lasting.isRunning(); }));
        EXPECT_EQ(childSignals, 0);
        std::signal(SIGCHLD, before);
    }
}

/// From here on the kernel says that it does not know `call`.
bool forget(std::uint32_t call) {
    std::array<sock_filter, 4> filter{{
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, call},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | ENOSYS},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
    }};
    const sock_fprog program{filter.size(), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(Process, OlderKernelsWillDo) {
    const std::vector<std::vector<std::uint32_t>> unknown = {{SYS_pidfd_open}, {SYS_pidfd_open, SYS_pidfd_send_signal}};
    for (const auto& calls : unknown) {
        const Text seen = inChildProcess([&] {
            for (const std::uint32_t call : calls) {
                if (!forget(call)) return Text("cannot be tried");
            }
            RunningProcess process = startProcess({"/bin/sleep", "1000"});
            if (!process.isRunning()) return Text("not seen running");
            process.terminate();
            if (!waitUntil([&] { return !process.isRunning(); })) return Text("not ended");
            process.terminate();
            return Text("ended");
        });
        EXPECT_EQ(seen, "ended") << calls.size();
    }
}

// The first process of a container gets every program back when the helper ends.
TEST(Process, HostThatTakesOrphansKeepsNoZombie) {
    for (const bool hasHandles : {true, false}) {
        const Text seen = inChildProcess([&] {
            if (prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0) return Text("cannot be tried");
            if (!hasHandles && !forget(SYS_pidfd_open)) return Text("cannot be tried");
            RunningProcess ended = startProcess({"/bin/sleep", "1000"});
            RunningProcess brief = startProcess({"/bin/true"});
            startProcess({"/bin/true"}); // nobody follows it
            if (!ended.isRunning()) return Text("not seen running");
            ended.terminate();
            if (!waitUntil([&] { return !brief.isRunning() && !ended.isRunning(); })) return Text("not ended");
            const bool isTaken = waitUntil([] {
                outcome([] { return startProcess({}).isRunning() ? "" : "none"; });
                return waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == -1;
            });
            return Text(isTaken ? "nobody is left" : "a zombie is left");
        });
        EXPECT_EQ(seen, "nobody is left") << hasHandles;
    }
}

TEST(Process, NoneIsLeftRunningThatCouldNotBeEnded) {
    const Text seen = inChildProcess([&] {
        const rlimit few{64, 64};
        if (prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0 || setrlimit(RLIMIT_NOFILE, &few) != 0)
            return Text("no try");
        while (open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0) {
        }
        const Text failure = outcome([&] {
            startProcess({"/bin/sleep", "1000"});
            return Text("started");
        });
        const bool isAlone = waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == -1;
        return failure + (isAlone ? "" : ", and runs");
    });
    EXPECT_EQ(seen, "error 5: Invalid procedure call or argument: the program \"/bin/sleep\" cannot be started "
                    "(Too many open files)");
}

TEST(Process, ManyThreadsStartTheirOwn) {
    std::array<std::vector<std::int32_t>, 4> ids;
    {
        std::vector<std::jthread> threads;
        for (auto& mine : ids) {
            threads.emplace_back([&mine] {
                for (int i = 0; i < 20; ++i) {
                    RunningProcess process = startProcess({"/bin/sleep", "1000"});
                    mine.push_back(process.isRunning() ? process.id() : -1);
                    process.terminate();
                }
            });
        }
    }
    std::set<std::int32_t> all;
    for (const auto& mine : ids)
        all.insert(mine.begin(), mine.end());
    EXPECT_EQ(all.size(), 80U);
    for (const std::int32_t id : all)
        EXPECT_TRUE(waitUntil([id] { return isGone(id); })) << id;
}

TEST(OpenWith, StartsTheOpenerOfTheDesktop) {
    const TemporaryFolder folder;
    struct Row {
        const char* name;
        std::vector<Text> programs;
        std::optional<Text> display;
        Text path;
        Text expected;
    };
    const Text here = std::filesystem::current_path().string();
    const Row rows[] = {
        {"the plain opener", {"xdg-open", "gio"}, ":7", "/tmp/a b.txt", "xdg-open|/tmp/a b.txt|\n"},
        {"GIO's", {"gio"}, ":7", "/tmp/x", "gio|open|/tmp/x|\n"},
        {"a path is no option", {"xdg-open"}, ":7", "-rf", "xdg-open|" + here + "/-rf|\n"},
        {"no opener",
         {},
         ":7",
         "/tmp/x",
         R"(error 53: File not found: neither xdg-open nor gio is there to open "/tmp/x")"},
        {"no display",
         {"xdg-open"},
         std::nullopt,
         "/tmp/x",
         R"(error 5: Invalid procedure call or argument: there is no display to open "/tmp/x" on)"},
    };
    for (const Row& row : rows) {
        const Text programs = folder.file(row.name);
        const Text report = programs + "/report";
        std::filesystem::create_directory(programs);
        for (const Text& program : row.programs) {
            writeScript(programs + "/" + program, R"(
                { printf '%s|' "${0##*/}" "$@"; echo; } > "${0%/*}/part"
                /bin/mv "${0%/*}/part" "${0%/*}/report")");
        }
        const ScopedVariable path("PATH", programs);
        const ScopedVariable x("DISPLAY", row.display);
        const ScopedVariable wayland("WAYLAND_DISPLAY", std::nullopt);
        const Text seen = outcome([&] {
            openWithChooser(row.path);
            return Text("started");
        });
        if (seen != "started") {
            EXPECT_EQ(seen, row.expected) << row.name;
            continue;
        }
        ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(report); })) << row.name;
        EXPECT_EQ(fileContent(report), row.expected) << row.name;
    }

    Text asked;
    setOpenWithChooser([&asked](const Text& path) { asked = path; });
    openWithChooser("-rf");
    setOpenWithChooser({});
    EXPECT_EQ(asked, "-rf");
}

} // namespace
