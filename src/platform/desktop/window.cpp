#include "platform/desktop/window.h"

#include "platform/desktop/window_plain.h"

#include <mutex>
#include <unistd.h>
#include <utility>

namespace corveth {

namespace {

/// The stack holds as many procedures that call each other, whatever each of them keeps on it.
constexpr int deepest = 1000;
thread_local int depth = 0;

struct Nesting {
    Nesting() { ++depth; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() { --depth; }
};

struct Chosen {
    std::mutex mutex;
    std::shared_ptr<WindowSystem> system;
};

Chosen& chosen() {
    static auto& chosen = *new Chosen; // NOLINT(cppcoreguidelines-owning-memory): threads that outlive main ask it
    return chosen;
}

/// Held by its callers for as long as they use it: it may be replaced meanwhile.
std::shared_ptr<WindowSystem> windowSystem() {
    {
        const std::scoped_lock lock(chosen().mutex);
        if (chosen().system) return chosen().system;
    }
    return {std::shared_ptr<void>(), &plainWindows()};
}

} // namespace

WindowSystem::~WindowSystem() = default;

WindowProcedure makeWindowProcedure(std::function<std::int32_t(const WindowMessage&)> procedure) {
    if (!procedure) return {};
    return std::make_shared<const std::function<std::int32_t(const WindowMessage&)>>(std::move(procedure));
}

std::shared_ptr<WindowSystem> setWindowSystem(std::shared_ptr<WindowSystem> system) {
    const std::scoped_lock lock(chosen().mutex);
    return std::exchange(chosen().system, std::move(system));
}

WindowHandle makeWindow(WindowProcedure procedure) {
    return windowSystem()->make(std::move(procedure));
}

bool isWindow(WindowHandle window) {
    return windowSystem()->exists(window);
}

void destroyWindow(WindowHandle window) {
    windowSystem()->destroy(window);
}

void closeWindow(WindowHandle window) {
    windowSystem()->close(window);
}

bool isMinimisedWindow(WindowHandle window) {
    return windowSystem()->isMinimised(window);
}

std::int32_t sendMessage(const WindowMessage& message) {
    return windowSystem()->send(message);
}

void postMessage(const WindowMessage& message) {
    windowSystem()->post(message);
}

void pumpWindowMessages() {
    windowSystem()->pump();
}

WindowProcedure windowProcedure(WindowHandle window) {
    return windowSystem()->procedure(window);
}

WindowProcedure setWindowProcedure(WindowHandle window, WindowProcedure procedure) {
    return windowSystem()->setProcedure(window, std::move(procedure));
}

std::int32_t callWindowProcedure(const WindowProcedure& procedure, const WindowMessage& message) {
    if (!procedure || !*procedure) return 0;
    constexpr std::int32_t outOfStackSpace = 28;
    if (depth >= deepest) raise(outOfStackSpace, "Out of stack space: window procedures call each other");
    const Nesting nesting;
    // The call may replace the one that it was taken from.
    const WindowProcedure kept = procedure; // NOLINT(performance-unnecessary-copy-initialization)
    return (*kept)(message);
}

std::uint32_t registerWindowMessage(TextView name) {
    return windowSystem()->registerMessage(name);
}

void registerShellWindow(WindowHandle window) {
    windowSystem()->setShellNotifications(window, true);
}

void unregisterShellWindow(WindowHandle window) {
    windowSystem()->setShellNotifications(window, false);
}

void notifyShellWindows(std::int32_t code, WindowHandle about) {
    windowSystem()->notifyShell(code, about);
}

std::int32_t windowThread(WindowHandle window) noexcept {
    try {
        return windowSystem()->thread(window);
    } catch (...) { // a lock that the system refuses
        return 0;
    }
}

std::int32_t currentThread() noexcept {
    return ::gettid();
}

std::int32_t keyboardLayout(std::int32_t thread) {
    return windowSystem()->keyboardLayout(thread);
}

void setKeyboardLayout(std::int32_t thread, std::int32_t layout) {
    windowSystem()->setKeyboardLayout(thread, layout);
}

} // namespace corveth
