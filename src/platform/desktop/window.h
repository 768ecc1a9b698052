#pragma once

#include "platform/automation/error.h"

#include <functional>
#include <memory>

namespace corveth {

/// Names a window within the process; 0 names none, and no number is given twice.
using WindowHandle = std::int32_t;

struct WindowMessage {
    WindowHandle window = 0;
    std::uint32_t number = 0;
    std::int32_t wParam = 0, lParam = 0;
};

namespace windowMessages {
inline constexpr std::uint32_t destroy = 2;
inline constexpr std::uint32_t size = 5; ///< wParam 1: minimised
inline constexpr std::uint32_t ncDestroy = 130;
inline constexpr std::uint32_t firstRegistered = 0xC000;
inline constexpr std::uint32_t lastRegistered = 0xFFFF;
/// The name of the message that brings a shell notification: wParam is its code, lParam the window it tells of.
inline constexpr const char* shellHookName = "SHELLHOOK";
} // namespace windowMessages

/// What a window does with its messages. Shared, so that one that was kept can be called when the window has another,
/// or is gone; an empty one does nothing and answers 0.
using WindowProcedure = std::shared_ptr<const std::function<std::int32_t(const WindowMessage&)>>;
CORVETH_API WindowProcedure makeWindowProcedure(std::function<std::int32_t(const WindowMessage&)> procedure);

/// The desktop's windows. The plain one keeps them in this process's memory and shows nothing; a host may put a real
/// desktop in its place. Callable from any thread. A number that names no window, and what belongs to another thread
/// where that matters, is error 5.
class CORVETH_API WindowSystem {
public:
    WindowSystem() = default;
    WindowSystem(const WindowSystem&) = delete;
    WindowSystem& operator=(const WindowSystem&) = delete;
    virtual ~WindowSystem();

    /// It belongs to the calling thread and goes with it, then without a message.
    virtual WindowHandle make(WindowProcedure procedure) = 0;
    [[nodiscard]] virtual bool exists(WindowHandle window) const = 0;
    /// Sends `destroy`, then `ncDestroy`; the window is gone afterwards whatever its procedure throws. On its own
    /// thread only.
    virtual void destroy(WindowHandle window) = 0;
    /// Minimises: sends `size`.
    virtual void close(WindowHandle window) = 0;
    [[nodiscard]] virtual bool isMinimised(WindowHandle window) const = 0;

    /// Calls the window's procedure on the thread of the window and returns its answer, or throws what it throws. To a
    /// window of another thread it waits until that thread pumps, and takes what is sent to the caller's own meanwhile.
    virtual std::int32_t send(const WindowMessage& message) = 0;
    /// Leaves the message for the next time that the window's thread pumps.
    virtual void post(const WindowMessage& message) = 0;
    /// Delivers what was sent and posted to windows of the calling thread before the call.
    virtual void pump() = 0;

    [[nodiscard]] virtual WindowProcedure procedure(WindowHandle window) const = 0;
    /// Returns the one before.
    virtual WindowProcedure setProcedure(WindowHandle window, WindowProcedure procedure) = 0;

    /// One number for one name, in any case of letters; 5 for an empty name, 7 when there are no numbers left.
    virtual std::uint32_t registerMessage(TextView name) = 0;
    /// What is registered already stays so; a window that is not registered is no error.
    virtual void setShellNotifications(WindowHandle window, bool areWanted) = 0;
    /// Brings a notification to every registered window: at once to those of the calling thread, posted to others.
    /// `about` need not be a window of this process.
    virtual void notifyShell(std::int32_t code, WindowHandle about) = 0;

    /// The system's number of the thread that owns the window; 0 for one that is not there, which notifications may
    /// tell of.
    [[nodiscard]] virtual std::int32_t thread(WindowHandle window) const noexcept = 0;
    /// The low 16 bits are the language. 0 means the calling thread; one that has none of its own has the default.
    [[nodiscard]] virtual std::int32_t keyboardLayout(std::int32_t thread) const = 0;
    /// 5 for a thread that the system does not know.
    virtual void setKeyboardLayout(std::int32_t thread, std::int32_t layout) = 0;
};

/// For the whole process; an empty one brings the plain one back. Returns what was set before, empty for the plain one.
CORVETH_API std::shared_ptr<WindowSystem> setWindowSystem(std::shared_ptr<WindowSystem> system);

// The same of the system that is set.

CORVETH_API WindowHandle makeWindow(WindowProcedure procedure);
CORVETH_API bool isWindow(WindowHandle window);
CORVETH_API void destroyWindow(WindowHandle window);
CORVETH_API void closeWindow(WindowHandle window);
CORVETH_API bool isMinimisedWindow(WindowHandle window);
CORVETH_API std::int32_t sendMessage(const WindowMessage& message);
CORVETH_API void postMessage(const WindowMessage& message);
CORVETH_API void pumpWindowMessages();
CORVETH_API WindowProcedure windowProcedure(WindowHandle window);
CORVETH_API WindowProcedure setWindowProcedure(WindowHandle window, WindowProcedure procedure);
/// Calls a procedure, as a rule one that was kept. 28 when procedures call each other without an end.
CORVETH_API std::int32_t callWindowProcedure(const WindowProcedure& procedure, const WindowMessage& message);
CORVETH_API std::uint32_t registerWindowMessage(TextView name);
CORVETH_API void registerShellWindow(WindowHandle window);
CORVETH_API void unregisterShellWindow(WindowHandle window);
CORVETH_API void notifyShellWindows(std::int32_t code, WindowHandle about);
CORVETH_API std::int32_t windowThread(WindowHandle window) noexcept;
/// The calling thread's own number, as `windowThread` gives it.
CORVETH_API std::int32_t currentThread() noexcept;
CORVETH_API std::int32_t keyboardLayout(std::int32_t thread);
CORVETH_API void setKeyboardLayout(std::int32_t thread, std::int32_t layout);

} // namespace corveth
