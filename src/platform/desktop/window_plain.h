#pragma once

#include "platform/desktop/window.h"

#include <map>
#include <mutex>
#include <vector>

namespace corveth {

struct WindowThread;

/// Windows in the memory of this process.
class PlainWindows final : public WindowSystem {
public:
    PlainWindows();
    ~PlainWindows() override;

    WindowHandle make(WindowProcedure procedure) override;
    [[nodiscard]] bool exists(WindowHandle window) const override;
    void destroy(WindowHandle window) override;
    void close(WindowHandle window) override;
    [[nodiscard]] bool isMinimised(WindowHandle window) const override;
    std::int32_t send(const WindowMessage& message) override;
    void post(const WindowMessage& message) override;
    void pump() override;
    [[nodiscard]] WindowProcedure procedure(WindowHandle window) const override;
    WindowProcedure setProcedure(WindowHandle window, WindowProcedure procedure) override;
    std::uint32_t registerMessage(TextView name) override;
    void setShellNotifications(WindowHandle window, bool areWanted) override;
    void notifyShell(std::int32_t code, WindowHandle about) override;
    [[nodiscard]] std::int32_t thread(WindowHandle window) const noexcept override;
    [[nodiscard]] std::int32_t keyboardLayout(std::int32_t thread) const override;
    void setKeyboardLayout(std::int32_t thread, std::int32_t layout) override;

    /// The windows of a thread that ends, and whoever waits for an answer of one.
    void endThread(WindowThread& thread) noexcept;

private:
    struct Window {
        WindowProcedure procedure;
        std::shared_ptr<WindowThread> thread;
        bool isMinimised = false;
        bool isEnding = false;
    };

    /// Both with the mutex held.
    [[nodiscard]] Window& find(WindowHandle window);
    [[nodiscard]] const Window& find(WindowHandle window) const;

    /// The calling thread's; 5 when it is ending.
    [[nodiscard]] std::shared_ptr<WindowThread> ownThread();
    /// What the window's procedure answers, on this thread.
    std::int32_t deliver(const WindowMessage& message) const;
    /// Delivers the first message that another thread sent; false when there is none.
    bool deliverSent(WindowThread& thread) const;
    [[nodiscard]] bool deliverPosted(WindowThread& thread) const;

    // Never held while a procedure runs.
    mutable std::mutex mutex_;
    std::map<WindowHandle, Window> windows_;
    std::vector<WindowHandle> notified_;
    std::map<std::int32_t, std::weak_ptr<WindowThread>> threads_;
    std::map<Text, std::uint32_t, std::less<>> messages_;
    WindowHandle last_;
};

/// Lives as long as the process does, so that threads that end after `main` still find it.
PlainWindows& plainWindows();

} // namespace corveth
