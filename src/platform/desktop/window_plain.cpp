#include "platform/desktop/window_plain.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <limits>
#include <optional>
#include <unistd.h>
#include <utility>

namespace corveth {

namespace {

constexpr std::int32_t englishUnitedStates = 0x04090409;
constexpr std::int32_t minimised = 1;
constexpr WindowHandle beforeFirst = 0xFFFF;

/// A message that another thread sent, and waits for the answer of.
struct Sent {
    WindowMessage message;
    std::shared_ptr<WindowThread> sender;
    // Under the sender's mutex.
    bool isAnswered = false;
    std::int32_t answer = 0;
    std::optional<Error> failure;
};

[[noreturn]] void failUnknown(WindowHandle window) {
    raise(errors::invalidCall, "there is no window " + std::to_string(window));
}

} // namespace

struct WindowThread {
    std::int32_t id = currentThread();
    std::int32_t keyboardLayout = englishUnitedStates; ///< under the mutex of the windows

    std::mutex mutex;
    std::condition_variable changed; ///< something was sent to this thread, or was answered
    std::deque<std::shared_ptr<Sent>> sent;
    std::deque<WindowMessage> posted;
    bool hasEnded = false;
};

namespace {

// Both trivially destroyed, so that they can still be read while the thread's other state is being destroyed.
thread_local WindowThread* current = nullptr;
thread_local bool isOver = false;

void answer(Sent& sent, std::int32_t result, std::optional<Error> failure) {
    const std::scoped_lock lock(sent.sender->mutex);
    sent.answer = result;
    sent.failure = std::move(failure);
    sent.isAnswered = true;
    sent.sender->changed.notify_all();
}

} // namespace

PlainWindows& plainWindows() {
    static auto& windows = *new PlainWindows; // NOLINT(cppcoreguidelines-owning-memory): the process's end takes it
    return windows;
}

PlainWindows::PlainWindows() : last_(beforeFirst) {}
PlainWindows::~PlainWindows() = default;

PlainWindows::Window& PlainWindows::find(WindowHandle window) {
    const auto found = windows_.find(window);
    if (found == windows_.end()) failUnknown(window);
    return found->second;
}

const PlainWindows::Window& PlainWindows::find(WindowHandle window) const {
    const auto found = windows_.find(window);
    if (found == windows_.end()) failUnknown(window);
    return found->second;
}

std::shared_ptr<WindowThread> PlainWindows::ownThread() {
    struct ThreadEnd {
        std::shared_ptr<WindowThread> thread = std::make_shared<WindowThread>();

        ThreadEnd() { current = thread.get(); }
        ThreadEnd(const ThreadEnd&) = delete;
        ThreadEnd& operator=(const ThreadEnd&) = delete;
        ~ThreadEnd() {
            current = nullptr;
            isOver = true;
            plainWindows().endThread(*thread);
        }
    };
    if (isOver) raise(errors::invalidCall, "the thread is ending and has no windows any more");
    thread_local const ThreadEnd end;
    const std::scoped_lock lock(mutex_);
    threads_.try_emplace(end.thread->id, end.thread);
    return end.thread;
}

void PlainWindows::endThread(WindowThread& thread) noexcept {
    std::vector<WindowProcedure> procedures; // their destructors run unlocked
    {
        const std::scoped_lock lock(mutex_);
        threads_.erase(thread.id);
        for (auto window = windows_.begin(); window != windows_.end();) {
            if (window->second.thread.get() != &thread) {
                ++window;
                continue;
            }
            std::erase(notified_, window->first);
            procedures.push_back(std::move(window->second.procedure));
            window = windows_.erase(window);
        }
    }
    std::deque<std::shared_ptr<Sent>> waiting;
    {
        const std::scoped_lock lock(thread.mutex);
        thread.hasEnded = true;
        waiting.swap(thread.sent);
        thread.posted.clear();
    }
    for (const auto& sent : waiting) {
        answer(*sent, 0,
               Error(errors::invalidCall, defaultSource,
                     "the thread of window " + std::to_string(sent->message.window) + " has ended"));
    }
}

WindowHandle PlainWindows::make(WindowProcedure procedure) {
    auto thread = ownThread();
    const std::scoped_lock lock(mutex_);
    if (last_ == std::numeric_limits<WindowHandle>::max()) raise(errors::outOfMemory, "no window number is left");
    windows_.emplace(++last_, Window{.procedure = std::move(procedure), .thread = std::move(thread)});
    return last_;
}

bool PlainWindows::exists(WindowHandle window) const {
    const std::scoped_lock lock(mutex_);
    return windows_.contains(window);
}

void PlainWindows::destroy(WindowHandle window) {
    {
        const std::scoped_lock lock(mutex_);
        Window& ending = find(window);
        if (ending.thread.get() != current) {
            raise(errors::invalidCall, "window " + std::to_string(window) + " belongs to another thread");
        }
        if (std::exchange(ending.isEnding, true)) {
            raise(errors::invalidCall, "window " + std::to_string(window) + " is being destroyed already");
        }
    }
    std::optional<Error> failure;
    for (const std::uint32_t number : {windowMessages::destroy, windowMessages::ncDestroy}) {
        try {
            deliver({.window = window, .number = number});
        } catch (...) {
            if (!failure) failure = currentError();
        }
    }
    WindowProcedure last; // its destructor runs unlocked
    {
        const std::scoped_lock lock(mutex_);
        std::erase(notified_, window);
        last = std::move(find(window).procedure);
        windows_.erase(window);
    }
    if (failure) throw Error(*failure);
}

void PlainWindows::close(WindowHandle window) {
    {
        const std::scoped_lock lock(mutex_);
        find(window).isMinimised = true;
    }
    send({.window = window, .number = windowMessages::size, .wParam = minimised});
}

bool PlainWindows::isMinimised(WindowHandle window) const {
    const std::scoped_lock lock(mutex_);
    return find(window).isMinimised;
}

std::int32_t PlainWindows::deliver(const WindowMessage& message) const {
    WindowProcedure procedure;
    {
        const std::scoped_lock lock(mutex_);
        procedure = find(message.window).procedure;
    }
    return callWindowProcedure(procedure, message);
}

std::int32_t PlainWindows::send(const WindowMessage& message) {
    std::shared_ptr<WindowThread> receiver;
    {
        const std::scoped_lock lock(mutex_);
        receiver = find(message.window).thread;
    }
    if (receiver.get() == current) return deliver(message);

    const auto sender = ownThread();
    const auto sent = std::make_shared<Sent>();
    sent->message = message;
    sent->sender = sender;
    {
        const std::scoped_lock lock(receiver->mutex);
        if (receiver->hasEnded) failUnknown(message.window);
        receiver->sent.push_back(sent);
        receiver->changed.notify_all();
    }
    for (;;) {
        {
            std::unique_lock lock(sender->mutex);
            sender->changed.wait(lock, [&] { return sent->isAnswered || !sender->sent.empty(); });
            if (sent->isAnswered) break;
        }
        deliverSent(*sender);
    }
    if (const auto& failure = sent->failure) throw Error(*failure);
    return sent->answer;
}

bool PlainWindows::deliverSent(WindowThread& thread) const {
    std::shared_ptr<Sent> sent;
    {
        const std::scoped_lock lock(thread.mutex);
        if (thread.sent.empty()) return false;
        sent = std::move(thread.sent.front());
        thread.sent.pop_front();
    }
    std::int32_t result = 0;
    std::optional<Error> failure;
    try {
        result = deliver(sent->message);
    } catch (...) {
        failure = currentError(); // the sender's, not this thread's
    }
    answer(*sent, result, std::move(failure));
    return true;
}

void PlainWindows::post(const WindowMessage& message) {
    std::shared_ptr<WindowThread> receiver;
    {
        const std::scoped_lock lock(mutex_);
        receiver = find(message.window).thread;
    }
    const std::scoped_lock lock(receiver->mutex);
    if (receiver->hasEnded) failUnknown(message.window);
    receiver->posted.push_back(message);
}

bool PlainWindows::deliverPosted(WindowThread& thread) const {
    WindowMessage message;
    {
        const std::scoped_lock lock(thread.mutex);
        if (thread.posted.empty()) return false;
        message = thread.posted.front();
        thread.posted.pop_front();
    }
    // To a window that has gone since nothing can be brought any more.
    if (exists(message.window)) deliver(message);
    return true;
}

void PlainWindows::pump() {
    if (current == nullptr) return;
    const auto thread = ownThread(); // a procedure may be what ends it
    std::size_t sent = 0, posted = 0;
    {
        const std::scoped_lock lock(thread->mutex);
        sent = thread->sent.size();
        posted = thread->posted.size();
    }
    // No more than there were: a procedure that posts to itself would keep it here for ever.
    while (sent-- > 0 && deliverSent(*thread)) {
    }
    while (posted-- > 0 && deliverPosted(*thread)) {
    }
}

WindowProcedure PlainWindows::procedure(WindowHandle window) const {
    const std::scoped_lock lock(mutex_);
    return find(window).procedure;
}

WindowProcedure PlainWindows::setProcedure(WindowHandle window, WindowProcedure procedure) {
    const std::scoped_lock lock(mutex_);
    return std::exchange(find(window).procedure, std::move(procedure));
}

std::uint32_t PlainWindows::registerMessage(TextView name) {
    if (name.empty()) raise(errors::invalidCall, "a message to be registered needs a name");
    const std::scoped_lock lock(mutex_);
    const auto next = windowMessages::firstRegistered + static_cast<std::uint32_t>(messages_.size());
    Text key = foldCase(name);
    if (const auto found = messages_.find(key); found != messages_.end()) return found->second;
    if (next > windowMessages::lastRegistered) raise(errors::outOfMemory, "no number is left for another message");
    return messages_.emplace(std::move(key), next).first->second;
}

void PlainWindows::setShellNotifications(WindowHandle window, bool areWanted) {
    const std::scoped_lock lock(mutex_);
    static_cast<void>(find(window));
    const auto found = std::ranges::find(notified_, window);
    if (areWanted && found == notified_.end()) notified_.push_back(window);
    if (!areWanted && found != notified_.end()) notified_.erase(found);
}

void PlainWindows::notifyShell(std::int32_t code, WindowHandle about) {
    const std::uint32_t number = registerMessage(windowMessages::shellHookName);
    std::vector<std::pair<WindowHandle, bool>> receivers;
    {
        const std::scoped_lock lock(mutex_);
        for (const WindowHandle window : notified_)
            receivers.emplace_back(window, find(window).thread.get() == current);
    }
    std::optional<Error> failure;
    for (const auto& [window, isOwn] : receivers) {
        const WindowMessage message{.window = window, .number = number, .wParam = code, .lParam = about};
        try {
            if (!exists(window)) continue; // another's procedure has destroyed it
            if (isOwn) {
                deliver(message);
            } else {
                post(message);
            }
        } catch (...) {
            if (isOwn && !failure) failure = currentError();
        }
    }
    if (failure) throw Error(*failure);
}

std::int32_t PlainWindows::thread(WindowHandle window) const noexcept {
    const std::scoped_lock lock(mutex_);
    const auto found = windows_.find(window);
    return found == windows_.end() ? 0 : found->second.thread->id;
}

std::int32_t PlainWindows::keyboardLayout(std::int32_t thread) const {
    const std::scoped_lock lock(mutex_);
    const auto found = threads_.find(thread == 0 ? currentThread() : thread);
    const auto known = found == threads_.end() ? nullptr : found->second.lock();
    return known ? known->keyboardLayout : englishUnitedStates;
}

void PlainWindows::setKeyboardLayout(std::int32_t thread, std::int32_t layout) {
    if (thread == 0 || thread == currentThread()) thread = ownThread()->id;
    const std::scoped_lock lock(mutex_);
    const auto found = threads_.find(thread);
    const auto known = found == threads_.end() ? nullptr : found->second.lock();
    if (!known) raise(errors::invalidCall, "there is no thread " + std::to_string(thread) + " with windows");
    known->keyboardLayout = layout;
}

} // namespace corveth
