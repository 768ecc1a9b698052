#pragma once

#include "platform/automation/describe.h"
#include "platform/desktop/window.h"

#include <functional>
#include <memory>

namespace corveth {

/// What a listener in C++ wants to hear of; what it leaves empty it does not hear. `window` is the window that the
/// notification tells of, `thread` the one that owns it, 0 when nobody knows.
struct ShellHookEvents {
    using OfWindowAndThread = std::function<void(std::int32_t window, std::int32_t thread)>;
    using OfWindow = std::function<void(std::int32_t window)>;

    OfWindowAndThread WindowCreated = nullptr, WindowDestroyed = nullptr, WindowActivated = nullptr;
    std::function<void(std::int16_t language)> LocaleChanged = nullptr;
    OfWindow TaskBarButtonRedraw = nullptr, TaskManActivated = nullptr;
    std::function<void()> ShellWindowActivated = nullptr, AccesibilityStateChanged = nullptr;
};

/// Turns what the shell tells a window into events, for as long as the window is hooked. Of a thread's hooks the one
/// that was made last receives what comes to any window that one of them hooked. Not for clients; a late-bound caller
/// within the process drives it by its description.
class CORVETH_API cShellHook final : public Described<cShellHook> {
public:
    static constexpr const char* className = "cShellHook";
    static const ClassInfo description;

    cShellHook();
    ~cShellHook() override;

    [[nodiscard]] bool get_Active() const noexcept;
    /// Registers the window for notifications and replaces its procedure. False, and nothing happens, when a window is
    /// hooked already; 5 and nothing happens for what is no window or another thread's.
    bool SetShellHook(WindowHandle hwnd);
    /// Undoes it; what fails goes to the log. False in every case.
    bool RemoveShellHook();

    /// Listeners are called in the order in which they came; one that fails does not keep the others from the event,
    /// its failure goes to the log. Returns a number to remove it by, which may be done during an event.
    std::int32_t addListener(ShellHookEvents events);
    /// `sink` has methods with the events' names and parameters; those that it has not are passed over.
    std::int32_t addSink(Ref<Object> sink);
    void removeListener(std::int32_t number);

    class Core;

private:
    struct Table;

    std::shared_ptr<Core> core_;
};

} // namespace corveth
