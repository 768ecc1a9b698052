#include "platform/desktop/message_pump.h"
#include "platform/desktop/window.h"

#include "platform/outcome.h"

#include <atomic>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <utility>
#include <vector>

using namespace corveth;
using corveth::test::outcome;
using testing::ElementsAre;

namespace {

/// A window of the test that writes down what it gets and answers the sum of both parameters.
class Recorder {
public:
    Recorder()
        : window(makeWindow(makeWindowProcedure([this](const WindowMessage& message) {
              got.push_back(std::to_string(message.number) + "(" + std::to_string(message.wParam) + "," +
                            std::to_string(message.lParam) + ")");
              if (then) then(message);
              return message.wParam + message.lParam;
          }))) {}
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder() {
        if (!isWindow(window)) return;
        setWindowProcedure(window, {});
        destroyWindow(window);
    }

    std::vector<Text> got;
    std::function<void(const WindowMessage&)> then;
    WindowHandle window;
};

Text unknown(const char* window) {
    return Text("error 5: Invalid procedure call or argument: there is no window ") + window;
}

TEST(Windows, WhatIsNoWindowIsSaid) {
    const WindowHandle gone = makeWindow({});
    destroyWindow(gone);
    const struct {
        const char* name;
        std::function<void(WindowHandle)> use;
    } rows[] = {
        {"destroy", destroyWindow},
        {"close", closeWindow},
        {"minimised", isMinimisedWindow},
        {"send", [](WindowHandle window) { sendMessage({.window = window, .number = 1}); }},
        {"post", [](WindowHandle window) { postMessage({.window = window, .number = 1}); }},
        {"procedure", windowProcedure},
        {"replace", [](WindowHandle window) { setWindowProcedure(window, {}); }},
        {"register", registerShellWindow},
        {"unregister", unregisterShellWindow},
    };
    for (const auto& row : rows) {
        for (const WindowHandle window : {0, -1, gone}) {
            EXPECT_EQ(outcome([&] { return row.use(window), "done"; }), unknown(std::to_string(window).c_str()))
                << row.name;
        }
    }
    // A notification may tell of a window that nobody here has made.
    EXPECT_EQ(windowThread(gone), 0);
    EXPECT_EQ(windowThread(makeWindow({})), currentThread());
}

TEST(Windows, MessagesAreSentAtOnceAndPostedForThePump) {
    Recorder recorder;
    EXPECT_EQ(sendMessage({.window = recorder.window, .number = 100, .wParam = 3, .lParam = 4}), 7);
    recorder.then = [&](const WindowMessage& message) {
        if (message.wParam < 3) {
            postMessage({.window = message.window, .number = 101, .wParam = message.wParam + 1});
        }
    };
    postMessage({.window = recorder.window, .number = 101, .wParam = 1});
    EXPECT_THAT(recorder.got, ElementsAre("100(3,4)"));
    // What a procedure posts waits for the next time.
    pumpMessages();
    EXPECT_THAT(recorder.got, ElementsAre("100(3,4)", "101(1,0)"));
    pumpMessages();
    pumpMessages();
    pumpMessages();
    EXPECT_THAT(recorder.got, ElementsAre("100(3,4)", "101(1,0)", "101(2,0)", "101(3,0)"));
}

TEST(Windows, WhatAProcedureThrowsEndsOnePumpOnly) {
    Recorder recorder;
    recorder.then = [](const WindowMessage& message) {
        if (message.wParam == 1) raise(errors::overflow, "first");
    };
    for (const int i : {1, 2})
        postMessage({.window = recorder.window, .number = 102, .wParam = i});
    EXPECT_EQ(outcome([] { return pumpMessages(), "done"; }), "error 6: Overflow: first");
    EXPECT_EQ(outcome([] { return pumpMessages(), "done"; }), "done");
    EXPECT_THAT(recorder.got, ElementsAre("102(1,0)", "102(2,0)"));
}

TEST(Windows, EndAfterTheirLastTwoMessages) {
    Recorder recorder;
    closeWindow(recorder.window);
    EXPECT_TRUE(isMinimisedWindow(recorder.window));
    Text again;
    recorder.then = [&](const WindowMessage& message) {
        EXPECT_TRUE(isWindow(message.window));
        if (message.number != windowMessages::destroy) return;
        again = outcome([&] { return destroyWindow(message.window), "done"; });
        raise(errors::overflow, "on the way out");
    };
    const WindowHandle window = recorder.window;
    postMessage({.window = window, .number = 103});
    EXPECT_EQ(outcome([&] { return destroyWindow(window), "done"; }), "error 6: Overflow: on the way out");
    EXPECT_THAT(again, testing::HasSubstr("is being destroyed already"));
    EXPECT_FALSE(isWindow(window));
    pumpMessages(); // what was posted has nowhere to go
    EXPECT_THAT(recorder.got, ElementsAre("5(1,0)", "2(0,0)", "130(0,0)"));
    EXPECT_GT(makeWindow({}), window);
}

TEST(Windows, ProceduresAreReplacedAndKeptOnesCalled) {
    Recorder recorder;
    WindowProcedure kept;
    kept = setWindowProcedure(recorder.window, makeWindowProcedure([&kept](const WindowMessage& message) {
                                  return callWindowProcedure(kept, message) * 10;
                              }));
    EXPECT_EQ(sendMessage({.window = recorder.window, .number = 100, .wParam = 1, .lParam = 2}), 30);
    // One that takes itself away goes on to its end.
    setWindowProcedure(recorder.window,
                       makeWindowProcedure([kept, text = Text(1000, 'x')](const WindowMessage& message) {
                           setWindowProcedure(message.window, kept);
                           return static_cast<std::int32_t>(text.size());
                       }));
    EXPECT_EQ(sendMessage({.window = recorder.window, .number = 100}), 1000);
    EXPECT_EQ(windowProcedure(recorder.window), kept);
    EXPECT_EQ(callWindowProcedure({}, {}), 0);

    WindowProcedure endless;
    endless =
        makeWindowProcedure([&endless](const WindowMessage& message) { return callWindowProcedure(endless, message); });
    EXPECT_EQ(outcome([&] { return callWindowProcedure(endless, {}); }),
              "error 28: Out of stack space: window procedures call each other");
}

TEST(Windows, MessagesAreRegisteredByName) {
    const std::uint32_t first = registerWindowMessage("Corveth.First");
    EXPECT_GE(first, windowMessages::firstRegistered);
    EXPECT_LE(first, windowMessages::lastRegistered);
    EXPECT_NE(registerWindowMessage("Corveth.Second"), first);
    EXPECT_EQ(registerWindowMessage("CORVETH.first"), first);
    EXPECT_EQ(std::async(std::launch::async, [] { return registerWindowMessage("corveth.FIRST"); }).get(), first);
    EXPECT_THAT(outcome([] { return static_cast<std::int32_t>(registerWindowMessage("")); }),
                testing::StartsWith("error 5: "));
}

TEST(Windows, NotificationsReachThoseThatAreRegistered) {
    const Text number = std::to_string(registerWindowMessage("ShellHook"));
    Recorder first, second, silent, faulty;
    for (const WindowHandle window : {faulty.window, first.window, first.window, second.window, silent.window})
        registerShellWindow(window);
    unregisterShellWindow(silent.window);
    unregisterShellWindow(silent.window);
    faulty.then = [](const WindowMessage&) { raise(errors::overflow, "faulty"); };
    first.then = [&](const WindowMessage& message) {
        if (message.wParam == 2) destroyWindow(second.window);
    };
    EXPECT_EQ(outcome([] { return notifyShellWindows(1, 4711), "done"; }), "error 6: Overflow: faulty");
    EXPECT_EQ(outcome([] { return notifyShellWindows(2, -1), "done"; }), "error 6: Overflow: faulty");
    EXPECT_THAT(first.got, ElementsAre(number + "(1,4711)", number + "(2,-1)"));
    EXPECT_THAT(second.got, ElementsAre(number + "(1,4711)", "2(0,0)", "130(0,0)"));
    EXPECT_TRUE(silent.got.empty());
}

/// A thread that pumps until the object ends.
class PumpingThread {
public:
    explicit PumpingThread(std::function<void()> begin) {
        std::promise<void> begun;
        thread_ = std::thread([this, &begun, begin = std::move(begin)] {
            begin();
            begun.set_value();
            while (!isOver_) {
                pumpMessages();
                std::this_thread::yield();
            }
        });
        begun.get_future().wait();
    }
    PumpingThread(const PumpingThread&) = delete;
    PumpingThread& operator=(const PumpingThread&) = delete;
    ~PumpingThread() {
        isOver_ = true;
        thread_.join();
    }

private:
    std::atomic<bool> isOver_ = false;
    std::thread thread_;
};

TEST(Windows, AThreadServesItsOwnWindows) {
    Recorder mine;
    WindowHandle theirs = 0;
    std::int32_t theirThread = 0;
    {
        const PumpingThread other([&] {
            theirThread = currentThread();
            theirs = makeWindow(makeWindowProcedure([&](const WindowMessage& message) -> std::int32_t {
                EXPECT_EQ(currentThread(), theirThread);
                if (message.number == 200) raise(errors::overflow, "theirs");
                // Asks back while the sender waits.
                if (message.number == 201) return sendMessage({.window = mine.window, .number = 100, .wParam = 5});
                return 1;
            }));
            setKeyboardLayout(0, 0x04060406);
        });
        EXPECT_EQ(windowThread(theirs), theirThread);
        EXPECT_EQ(sendMessage({.window = theirs, .number = 201}), 5);
        EXPECT_EQ(outcome([&] { return sendMessage({.window = theirs, .number = 200}); }), "error 6: Overflow: theirs");
        EXPECT_THAT(outcome([&] { return destroyWindow(theirs), "done"; }), testing::HasSubstr("another thread"));

        EXPECT_EQ(keyboardLayout(theirThread), 0x04060406);
        EXPECT_EQ(keyboardLayout(0), 0x04090409);
        setKeyboardLayout(theirThread, 0x04140414);
        EXPECT_EQ(keyboardLayout(theirThread), 0x04140414);
        EXPECT_THAT(outcome([] { return setKeyboardLayout(-7, 1), "done"; }), testing::HasSubstr("no thread -7"));
    }
    EXPECT_FALSE(isWindow(theirs));
    EXPECT_EQ(keyboardLayout(theirThread), 0x04090409);
}

TEST(Windows, WhoWaitsForAThreadThatEndsIsTold) {
    std::promise<WindowHandle> made;
    std::promise<void> sent;
    std::thread other([&] {
        made.set_value(makeWindow({}));
        sent.get_future().wait();
    });
    const WindowHandle window = made.get_future().get();
    Recorder mine;
    mine.then = [&](const WindowMessage&) { sent.set_value(); };
    // The waiting thread hears this one when its own message is on its way.
    std::thread third([&] { sendMessage({.window = mine.window, .number = 100}); });
    const Text result = outcome([&] { return sendMessage({.window = window, .number = 100}); });
    EXPECT_THAT(result, testing::AnyOf(testing::HasSubstr("has ended"), testing::HasSubstr("there is no window")));
    other.join();
    third.join();
}

TEST(Windows, ManyThreadsAtOnce) {
    constexpr int rounds = 200;
    std::atomic<int> received = 0;
    WindowHandle shared = 0;
    {
        const PumpingThread owner([&] {
            shared = makeWindow(
                makeWindowProcedure([&](const WindowMessage& message) { return ++received, message.wParam; }));
            registerShellWindow(shared);
        });
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int round = 0; round < rounds; ++round) {
                    const WindowHandle own = makeWindow({});
                    EXPECT_EQ(sendMessage({.window = shared, .number = 100, .wParam = round}), round);
                    setWindowProcedure(own, windowProcedure(shared));
                    registerShellWindow(own);
                    destroyWindow(own);
                }
            });
        }
        for (auto& thread : threads)
            thread.join();
    }
    EXPECT_EQ(received, 4 * rounds + 4 * rounds * 2);
}

TEST(Windows, AHostPutsItsOwnInTheirPlace) {
    struct Other final : WindowSystem {
        WindowHandle make(WindowProcedure) override { return 77; }
        [[nodiscard]] bool exists(WindowHandle window) const override { return window == 77; }
        void destroy(WindowHandle) override {}
        void close(WindowHandle) override {}
        [[nodiscard]] bool isMinimised(WindowHandle) const override { return true; }
        std::int32_t send(const WindowMessage&) override { return 7; }
        void post(const WindowMessage&) override {}
        void pump() override { ++pumped; }
        [[nodiscard]] WindowProcedure procedure(WindowHandle) const override { return {}; }
        WindowProcedure setProcedure(WindowHandle, WindowProcedure) override { return {}; }
        std::uint32_t registerMessage(TextView) override { return 0xC123; }
        void setShellNotifications(WindowHandle, bool) override {}
        void notifyShell(std::int32_t, WindowHandle) override {}
        [[nodiscard]] std::int32_t thread(WindowHandle) const noexcept override { return 1; }
        [[nodiscard]] std::int32_t keyboardLayout(std::int32_t) const override { return 2; }
        void setKeyboardLayout(std::int32_t, std::int32_t) override {}
        int pumped = 0;
    };
    const auto other = std::make_shared<Other>();
    EXPECT_EQ(setWindowSystem(other), nullptr);
    const WindowHandle window = makeWindow({});
    pumpMessages();
    EXPECT_EQ(registerWindowMessage("x"), 0xC123U);
    EXPECT_EQ(setWindowSystem({}), other);
    EXPECT_EQ(window, 77);
    EXPECT_EQ(other->pumped, 1);
    EXPECT_FALSE(isWindow(window));
}

} // namespace
