#include "attachments/shell_hook.h"
#include "platform/desktop/message_pump.h"
#include "support/fixture.h"

#include "platform/outcome.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace corveth;
using namespace corveth::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Events = std::vector<Text>;

/// Writes down what a late-bound sink is called with.
class Sink final : public Described<Sink> {
public:
    static constexpr const char* className = "Sink";
    static const ClassInfo description;

    void WindowCreated(std::int32_t window, std::int32_t thread) { put("WindowCreated", window, thread); }
    void WindowDestroyed(std::int32_t window, std::int32_t thread) { put("WindowDestroyed", window, thread); }
    void WindowActivated(std::int32_t window, std::int32_t thread) { put("WindowActivated", window, thread); }
    void LocaleChanged(std::int16_t language) { put("LocaleChanged", language); }
    void TaskBarButtonRedraw(std::int32_t window) { put("TaskBarButtonRedraw", window); }
    void TaskManActivated(std::int32_t window) { put("TaskManActivated", window); }
    void ShellWindowActivated() { put("ShellWindowActivated"); }
    void AccesibilityStateChanged() { put("AccesibilityStateChanged"); }

    Events got;

private:
    struct Table;
    template <class... Arguments>
    void put(const char* name, Arguments... arguments) {
        Text text = name;
        ((text += " " + std::to_string(arguments)), ...);
        got.push_back(text);
    }
};
struct Sink::Table {
    static constexpr MemberRow members[] = {
        method<&Sink::WindowCreated>("WindowCreated", "hwnd", "ThreadId"),
        method<&Sink::WindowDestroyed>("WindowDestroyed", "hwnd", "ThreadId"),
        method<&Sink::WindowActivated>("windowactivated", "hwnd", "ThreadId"), // names are found in any case
        method<&Sink::LocaleChanged>("LocaleChanged", "LanguageId"),
        method<&Sink::TaskBarButtonRedraw>("TaskBarButtonRedraw", "hwnd"),
        method<&Sink::TaskManActivated>("TaskManActivated", "hwnd"),
        method<&Sink::ShellWindowActivated>("ShellWindowActivated"),
        method<&Sink::AccesibilityStateChanged>("AccesibilityStateChanged"),
    };
};
const ClassInfo Sink::description = describe<Sink, Sink::Table>("Test", false);

/// Hears of two things only, and fails at one.
class PartialSink final : public Described<PartialSink> {
public:
    static constexpr const char* className = "PartialSink";
    static const ClassInfo description;

    void WindowCreated(std::int32_t /*window*/, std::int32_t /*thread*/) { raise(errors::overflow, "the sink's"); }
    void ShellWindowActivated() { ++activated; }
    int activated = 0;

private:
    struct Table;
};
struct PartialSink::Table {
    static constexpr MemberRow members[] = {
        method<&PartialSink::WindowCreated>("WindowCreated", "hwnd", "ThreadId"),
        method<&PartialSink::ShellWindowActivated>("ShellWindowActivated"),
    };
};
const ClassInfo PartialSink::description = describe<PartialSink, PartialSink::Table>("Test", false);

ShellHookEvents writingTo(Events& got) {
    const auto withThread = [&got](const char* name) {
        return [&got, name](std::int32_t window, std::int32_t thread) {
            got.push_back(fmt::format("{} {} {}", name, window, thread));
        };
    };
    const auto withWindow = [&got](const char* name) {
        return [&got, name](std::int32_t window) { got.push_back(fmt::format("{} {}", name, window)); };
    };
    const auto alone = [&got](const char* name) { return [&got, name] { got.emplace_back(name); }; };
    return {.WindowCreated = withThread("WindowCreated"),
            .WindowDestroyed = withThread("WindowDestroyed"),
            .WindowActivated = withThread("WindowActivated"),
            .LocaleChanged = withWindow("LocaleChanged"),
            .TaskBarButtonRedraw = withWindow("TaskBarButtonRedraw"),
            .TaskManActivated = withWindow("TaskManActivated"),
            .ShellWindowActivated = alone("ShellWindowActivated"),
            .AccesibilityStateChanged = alone("AccesibilityStateChanged")};
}

/// On a thread of its own, whose hooks nobody else has touched, with a window that answers 40 plus the message.
template <class Body>
void onNewThread(Body body) {
    const auto before = Object::liveCount();
    std::thread([&] {
        Events plain;
        const WindowHandle window = makeWindow(makeWindowProcedure([&plain](const WindowMessage& message) {
            plain.push_back(std::to_string(message.number));
            return 40 + static_cast<std::int32_t>(message.number);
        }));
        body(window, plain);
        if (isWindow(window)) {
            setWindowProcedure(window, {});
            destroyWindow(window);
        }
    }).join();
    EXPECT_EQ(Object::liveCount(), before);
}

TEST(ShellHook, EachNotificationHasItsEvent) {
    onNewThread([](WindowHandle window, Events& plain) {
        constexpr WindowHandle strange = -5;
        const WindowHandle other = makeWindow({});
        const auto id = std::to_string(currentThread());
        const auto number = std::to_string(other);
        const struct {
            std::int32_t code;
            WindowHandle about;
            std::int32_t layout;
            Events expected;
        } rows[] = {
            {1, other, 0, {"WindowCreated " + number + " " + id}},
            {1, strange, 0, {"WindowCreated -5 0"}},
            {2, other, 0, {"WindowDestroyed " + number + " " + id}},
            {3, other, 0, {"ShellWindowActivated"}},
            {4, other, 0, {"WindowActivated " + number + " " + id}},
            {5, other, 0, {"TaskBarButtonRedraw " + number}},
            {6, other, 0, {"TaskBarButtonRedraw " + number}},
            {7, strange, 0, {"TaskManActivated -5"}},
            {8, other, 0x04140414, {"LocaleChanged 1044"}},
            {8, other, 0x0409FFFE, {"LocaleChanged -2"}},
            {9, other, 0, {}},
            {10, other, 0, {}},
            {11, other, 0, {"AccesibilityStateChanged"}},
            {0, other, 0, {}},
            {12, other, 0, {}},
            {-1, other, 0, {}},
            {0x8004, other, 0, {}},
        };
        Events heard;
        const auto hook = make<cShellHook>();
        const auto sink = make<Sink>();
        hook->addListener({}); // hears nothing
        hook->addListener(writingTo(heard));
        hook->addSink(sink);
        EXPECT_TRUE(toBoolean(callMember(*hook, "SetShellHook", {window})));
        EXPECT_TRUE(toBoolean(getMember(*hook, "Active")));
        for (const auto& row : rows) {
            setKeyboardLayout(0, row.layout);
            heard.clear();
            sink->got.clear();
            notifyShellWindows(row.code, row.about);
            EXPECT_EQ(heard, row.expected) << row.code;
            EXPECT_EQ(sink->got, row.expected) << row.code;
        }
        EXPECT_THAT(plain, IsEmpty());
        EXPECT_EQ(sendMessage(
                      {.window = window, .number = registerWindowMessage(windowMessages::shellHookName), .wParam = 3}),
                  0);
        EXPECT_EQ(sendMessage({.window = window, .number = 7}), 47);
        EXPECT_THAT(plain, ElementsAre("7"));
    });
}

TEST(ShellHook, IsSetOnceAndTakenAway) {
    onNewThread([](WindowHandle window, Events& plain) {
        const WindowHandle other = makeWindow({});
        const WindowProcedure before = windowProcedure(window);
        Events heard;
        const auto hook = make<cShellHook>();
        const std::int32_t listener = hook->addListener(writingTo(heard));
        EXPECT_THAT(outcome([&] { return hook->SetShellHook(-9); }), testing::HasSubstr("there is no window -9"));
        EXPECT_FALSE(hook->get_Active());
        EXPECT_FALSE(hook->RemoveShellHook());
        std::thread([&] {
            const auto theirs = make<cShellHook>();
            EXPECT_THAT(outcome([&] { return theirs->SetShellHook(window); }), testing::HasSubstr("another thread"));
            EXPECT_FALSE(theirs->get_Active());
        }).join();
        EXPECT_EQ(sendMessage({.window = window, .number = 7}), 47);
        plain.clear();

        EXPECT_TRUE(hook->SetShellHook(window));
        EXPECT_FALSE(hook->SetShellHook(other));
        EXPECT_EQ(windowProcedure(other), nullptr);
        EXPECT_FALSE(hook->RemoveShellHook());
        EXPECT_FALSE(hook->get_Active());
        EXPECT_EQ(windowProcedure(window), before);
        notifyShellWindows(3, 0);
        EXPECT_THAT(heard, IsEmpty());
        EXPECT_THAT(plain, IsEmpty());

        EXPECT_TRUE(hook->SetShellHook(window));
        hook->removeListener(listener);
        notifyShellWindows(3, 0);
        EXPECT_THAT(heard, IsEmpty());
        std::thread([&] {
            EXPECT_EQ(errorOf([&] { return hook->SetShellHook(window); }), errors::wrongThread);
            EXPECT_EQ(errorOf([&] { return hook->RemoveShellHook(); }), errors::wrongThread);
        }).join();
        EXPECT_TRUE(hook->get_Active());
    });
}

TEST(ShellHook, NotForClients) {
    EXPECT_EQ(cShellHook::description.create, nullptr);
    EXPECT_FALSE(cShellHook::description.isPublic());
}

TEST(ShellHook, EndsWithItsWindow) {
    onNewThread([](WindowHandle window, Events& plain) {
        const auto hook = make<cShellHook>();
        hook->SetShellHook(window);
        destroyWindow(window);
        EXPECT_FALSE(hook->get_Active());
        EXPECT_THAT(plain, ElementsAre("2", "130"));
        notifyShellWindows(3, 0);
        const WindowHandle next = makeWindow({});
        EXPECT_TRUE(hook->SetShellHook(next));
        EXPECT_FALSE(hook->RemoveShellHook());
    });
}

TEST(ShellHook, ItsEndTakesTheHookAway) {
    onNewThread([](WindowHandle window, Events& plain) {
        const WindowProcedure before = windowProcedure(window);
        auto hook = make<cShellHook>();
        hook->SetShellHook(window);
        const WindowProcedure hooked = windowProcedure(window);
        hook = nullptr;
        EXPECT_EQ(windowProcedure(window), before);
        // Somebody kept it, and puts it back: nobody is there to tell.
        setWindowProcedure(window, hooked);
        registerShellWindow(window);
        notifyShellWindows(1, window);
        EXPECT_EQ(sendMessage({.window = window, .number = 8}), 48);
        destroyWindow(window);
        EXPECT_THAT(plain, ElementsAre("8", "2", "130"));
    });
}

TEST(ShellHook, AnObjectMayEndInTheMidstOfAnEvent) {
    for (const bool isElsewhere : {false, true}) {
        onNewThread([isElsewhere](WindowHandle window, Events&) {
            const WindowProcedure before = windowProcedure(window);
            Events heard;
            auto hook = make<cShellHook>();
            hook->addListener({.ShellWindowActivated = [&] {
                if (isElsewhere) {
                    std::thread([&] { hook = nullptr; }).join();
                } else {
                    hook = nullptr;
                }
            }});
            hook->addListener(writingTo(heard));
            hook->SetShellHook(window);
            notifyShellWindows(3, 0);
            EXPECT_THAT(heard, ElementsAre("ShellWindowActivated"));
            Apartment::current()->collect();
            EXPECT_EQ(windowProcedure(window), before);
            notifyShellWindows(3, 0);
            EXPECT_EQ(heard.size(), 1U);
        });
    }
}

TEST(ShellHook, TheOneMadeLastHearsForItsThread) {
    onNewThread([](WindowHandle window, Events& plain) {
        const WindowHandle second = makeWindow(windowProcedure(window));
        Events heardFirst, heardLast;
        const auto first = make<cShellHook>();
        first->addListener(writingTo(heardFirst));
        first->SetShellHook(window);
        auto last = make<cShellHook>();
        last->addListener(writingTo(heardLast));
        last->SetShellHook(second);
        notifyShellWindows(3, 0);
        EXPECT_THAT(heardFirst, IsEmpty());
        EXPECT_EQ(heardLast.size(), 2U); // one for each window

        last = nullptr;
        notifyShellWindows(3, 0);
        EXPECT_THAT(heardFirst, IsEmpty());
        EXPECT_THAT(plain, IsEmpty());
        // Another thread's are its own.
        const auto newest = make<cShellHook>();
        newest->addListener(writingTo(heardFirst));
        onNewThread([](WindowHandle elsewhere, Events&) {
            Events heard;
            const auto theirs = make<cShellHook>();
            theirs->addListener(writingTo(heard));
            theirs->SetShellHook(elsewhere);
            sendMessage(
                {.window = elsewhere, .number = registerWindowMessage(windowMessages::shellHookName), .wParam = 3});
            EXPECT_THAT(heard, ElementsAre("ShellWindowActivated"));
        });
        notifyShellWindows(3, 0);
        EXPECT_THAT(heardFirst, ElementsAre("ShellWindowActivated"));
    });
}

TEST(ShellHook, TwoOnOneWindowEndInAnyOrder) {
    for (const bool isFirstOut : {true, false}) {
        onNewThread([isFirstOut](WindowHandle window, Events&) {
            const WindowProcedure before = windowProcedure(window);
            const auto first = make<cShellHook>(), last = make<cShellHook>();
            EXPECT_TRUE(first->SetShellHook(window));
            EXPECT_TRUE(last->SetShellHook(window));
            EXPECT_EQ(sendMessage({.window = window, .number = 8}), 48);
            (isFirstOut ? first : last)->RemoveShellHook();
            EXPECT_EQ(sendMessage({.window = window, .number = 8}), 48);
            (isFirstOut ? last : first)->RemoveShellHook();
            EXPECT_EQ(sendMessage({.window = window, .number = 8}), 48);
            EXPECT_EQ(windowProcedure(window), before);
            EXPECT_FALSE(first->get_Active() || last->get_Active());
        });
    }
}

class ShellHookLog : public DatabaseTest {};
CORVETH_ON_ENGINE("SQLite", ShellHookLog);

TEST_P(ShellHookLog, WhatIsSwallowedIsThere) {
    const WindowHandle window = makeWindow({});
    const auto first = make<cShellHook>(), last = make<cShellHook>();
    const auto sink = make<PartialSink>();
    Events heard;
    last->addSink(sink);
    last->addListener(writingTo(heard));
    first->SetShellHook(window);
    for (const int code : {1, 3, 4})
        notifyShellWindows(code, 0);
    EXPECT_EQ(sink->activated, 1);
    EXPECT_EQ(heard.size(), 3U); // the sink's failure is its own
    destroyWindow(window);       // of which only the last one hears
    first->RemoveShellHook();
    EXPECT_FALSE(first->get_Active());
    const Text gone = fmt::format("Invalid procedure call or argument: there is no window {}", window);
    EXPECT_THAT(logged(), ElementsAre("cShellHook|WindowCreated|Overflow: the sink's",
                                      "cShellHook|unregistering the window|" + gone,
                                      "cShellHook|putting the window's procedure back|" + gone));
}

} // namespace
