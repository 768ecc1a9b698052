#include "attachments/shell_hook.h"

#include "platform/automation/dispatch.h"
#include "session/failure.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>
#include <vector>

namespace corveth {

struct cShellHook::Table {
    static constexpr MemberRow members[] = {
        get<&cShellHook::get_Active>("Active"),
        method<&cShellHook::SetShellHook>("SetShellHook", "hwnd"),
        method<&cShellHook::RemoveShellHook>("RemoveShellHook"),
    };
};
const ClassInfo cShellHook::description = describe<cShellHook, cShellHook::Table>("Corveth", false);

namespace {

constexpr const char* logName = cShellHook::className;

/// What the hooks of one thread share.
struct ThreadHooks {
    WindowProcedure previous;       ///< of the window that was hooked last
    std::uint32_t shellMessage = 0; ///< 0 until a window is hooked
    std::weak_ptr<cShellHook::Core> newest;
};

// Trivially destroyed, so that it can still be read while the thread's other state is being destroyed.
thread_local bool hasEnded = false;

/// The calling thread's; empty while it is ending.
std::shared_ptr<ThreadHooks> threadHooks() {
    struct State {
        std::shared_ptr<ThreadHooks> hooks = std::make_shared<ThreadHooks>();

        State() = default;
        State(const State&) = delete;
        State& operator=(const State&) = delete;
        ~State() { hasEnded = true; }
    };
    if (hasEnded) return {};
    thread_local const State state;
    return state.hooks;
}

std::int32_t hookProcedure(const WindowMessage& message);

/// One for all hooks: by it a window is known to be hooked.
const WindowProcedure& moduleProcedure() {
    static const auto& procedure = *new WindowProcedure(makeWindowProcedure(hookProcedure));
    return procedure;
}

void callMemberIfThere(Object& sink, TextView name, std::initializer_list<Value> arguments) {
    if (sink.classInfo().index().idOf(name)) callMember(sink, name, arguments);
}

/// Runs `body`; a failure goes to the log and no further.
template <class Body>
void logged(const char* operation, Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        logSwallowed(logName, operation);
    }
}

} // namespace

/// What an object is made of: held during a delivery, so that the object may end in the midst of one.
class cShellHook::Core {
public:
    [[nodiscard]] bool isActive() const noexcept { return window_ != 0; }
    void hook(WindowHandle window);
    void unhook() noexcept;

    std::int32_t add(ShellHookEvents events, Ref<Object> sink);
    void remove(std::int32_t number);

    /// A notification with its code, about `window`.
    void deliver(std::int32_t code, WindowHandle window) const;

private:
    struct Listener {
        std::int32_t number;
        ShellHookEvents events;
        Ref<Object> sink;
    };

    /// Calls each listener's handler, or the sink's method of that name.
    template <class... Parameters, class... Arguments>
    void raiseEvent(const char* name, std::function<void(Parameters...)> ShellHookEvents::*handler,
                    Arguments... arguments) const;

    // Of the thread that the object belongs to, whichever thread destroys it.
    std::shared_ptr<ThreadHooks> hooks_;
    WindowHandle window_ = 0;
    std::int32_t lastNumber_ = 0;
    std::vector<std::shared_ptr<const Listener>> listeners_;
};

void cShellHook::Core::hook(WindowHandle window) {
    auto hooks = threadHooks();
    if (!hooks) raise(errors::invalidCall, "the thread is ending", className);
    const std::uint32_t message = registerWindowMessage(windowMessages::shellHookName);
    const WindowProcedure before = windowProcedure(window);
    // Its messages come on that thread, which knows neither the hook nor the procedure that was kept.
    if (windowThread(window) != currentThread()) {
        raise(errors::invalidCall, "window " + std::to_string(window) + " belongs to another thread", className);
    }
    registerShellWindow(window);
    setWindowProcedure(window, moduleProcedure());
    hooks->shellMessage = message;
    // Of a window that is hooked already it is the module's own, which would call itself for ever.
    if (before != moduleProcedure()) hooks->previous = before;
    hooks_ = std::move(hooks);
    window_ = window;
}

void cShellHook::Core::unhook() noexcept {
    if (!isActive()) return;
    const WindowHandle window = std::exchange(window_, 0);
    logged("unregistering the window", [&] { unregisterShellWindow(window); });
    logged("putting the window's procedure back", [&] { setWindowProcedure(window, hooks_->previous); });
}

std::int32_t cShellHook::Core::add(ShellHookEvents events, Ref<Object> sink) {
    listeners_.push_back(std::make_shared<const Listener>(Listener{++lastNumber_, std::move(events), std::move(sink)}));
    return lastNumber_;
}

void cShellHook::Core::remove(std::int32_t number) {
    std::erase_if(listeners_, [number](const auto& listener) { return listener->number == number; });
}

template <class... Parameters, class... Arguments>
void cShellHook::Core::raiseEvent(const char* name, std::function<void(Parameters...)> ShellHookEvents::*handler,
                                  Arguments... arguments) const {
    const auto listeners = listeners_; // a listener may remove itself
    for (const auto& listener : listeners) {
        logged(name, [&] {
            if (listener->sink) {
                callMemberIfThere(*listener->sink, name, {Value(arguments)...});
            } else if (const auto& call = listener->events.*handler) {
                call(arguments...);
            }
        });
    }
}

void cShellHook::Core::deliver(std::int32_t code, WindowHandle window) const {
    using Events = ShellHookEvents;
    const std::int32_t thread = windowThread(window);
    switch (code) {
    case 1:
        return raiseEvent("WindowCreated", &Events::WindowCreated, window, thread);
    case 2:
        return raiseEvent("WindowDestroyed", &Events::WindowDestroyed, window, thread);
    case 3:
        return raiseEvent("ShellWindowActivated", &Events::ShellWindowActivated);
    case 4:
        return raiseEvent("WindowActivated", &Events::WindowActivated, window, thread);
    case 5:
    case 6:
        return raiseEvent("TaskBarButtonRedraw", &Events::TaskBarButtonRedraw, window);
    case 7:
        return raiseEvent("TaskManActivated", &Events::TaskManActivated, window);
    case 8:
        // The low half as it stands, which makes languages from 0x8000 on negative.
        return raiseEvent("LocaleChanged", &Events::LocaleChanged, static_cast<std::int16_t>(keyboardLayout(thread)));
    case 11:
        return raiseEvent("AccesibilityStateChanged", &Events::AccesibilityStateChanged);
    default:
        return;
    }
}

namespace {

std::int32_t hookProcedure(const WindowMessage& message) {
    const auto hooks = threadHooks();
    if (!hooks) return 0;
    const auto newest = hooks->newest.lock();
    if (message.number == windowMessages::ncDestroy) {
        if (newest) newest->unhook();
    } else if (message.number != 0 && message.number == hooks->shellMessage) {
        if (newest) newest->deliver(message.wParam, message.lParam);
        return 0;
    }
    return callWindowProcedure(hooks->previous, message);
}

} // namespace

cShellHook::cShellHook() : core_(std::make_shared<Core>()) {
    if (const auto hooks = threadHooks()) hooks->newest = core_;
}

cShellHook::~cShellHook() {
    core_->unhook();
}

bool cShellHook::get_Active() const noexcept {
    return core_->isActive();
}

bool cShellHook::SetShellHook(WindowHandle hwnd) {
    checkThread();
    if (core_->isActive()) return false;
    core_->hook(hwnd);
    return true;
}

bool cShellHook::RemoveShellHook() {
    checkThread();
    core_->unhook();
    return false;
}

std::int32_t cShellHook::addListener(ShellHookEvents events) {
    return core_->add(std::move(events), {});
}

std::int32_t cShellHook::addSink(Ref<Object> sink) {
    if (!sink) raise(errors::objectNotSet, "a sink is needed", className);
    return core_->add({}, std::move(sink));
}

void cShellHook::removeListener(std::int32_t number) {
    core_->remove(number);
}

} // namespace corveth
