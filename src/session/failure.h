#pragma once

#include "platform/automation/error.h"

#include <utility>

namespace corveth {

class Connection;

/// What a method that traps its failures tells the client.
enum class Report {
    messageAndCause, ///< the fixed message, a line break, what happened
    message,         ///< the fixed message alone
    cause,           ///< what happened alone
};

/// Throws the error being handled anew as `number` from `source`. Call in a handler only.
[[noreturn]] CORVETH_API void reportFailure(const char* source, Report report, const char* message,
                                            std::int32_t number);

/// Runs `body`; any failure reaches the client as an error of the application with the source word and text given.
/// What the text does not say goes to the log.
template <class Body>
void trap(const char* source, Report report, const char* message, Body&& body,
          std::int32_t number = errors::application) {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        reportFailure(source, report, message, number);
    }
}

/// What the system swallows by design goes to the log of the thread's shared connection, when it has one: the error
/// being handled, which `className` met at `operation`, with the ID of the record where there is one. Call in a handler
/// only.
CORVETH_API void logSwallowed(TextView className, TextView operation, TextView id = {}) noexcept;
/// The same to the log of `connection`.
CORVETH_API void logSwallowed(const Connection& connection, TextView className, TextView operation,
                              TextView id = {}) noexcept;

/// Shows the text of the error being handled in a message box, and writes it to the log. Call in a handler only.
CORVETH_API void showFailure(TextView className, TextView operation, TextView id);

/// Runs `body`; a failure is shown in a message box and goes no further. The rest is for the log.
template <class Body>
void trapToBox(TextView className, TextView operation, TextView id, Body&& body) {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        showFailure(className, operation, id);
    }
}

/// Runs `body`; a failure goes to the log and no further. For a statement that may fail without the next ones being
/// left out. The rest is for the log.
template <class Body>
void passOver(TextView className, TextView operation, TextView id, Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        logSwallowed(className, operation, id);
    }
}

/// Transactions on the thread's shared connection; 91 without one.
CORVETH_API void beginTransaction();
CORVETH_API void commitTransaction();
/// Never fails: what brought it about is already being reported.
CORVETH_API void rollBackTransaction() noexcept;

/// Runs `body` in a transaction of its own when `bSelf` is set, rolled back when it or the commit fails; else in
/// whatever transaction the client holds.
template <class Body>
void inTransaction(bool bSelf, Body&& body) {
    if (!bSelf) {
        std::forward<Body>(body)();
        return;
    }
    beginTransaction();
    try {
        std::forward<Body>(body)();
        commitTransaction();
    } catch (...) {
        rollBackTransaction();
        throw;
    }
}

} // namespace corveth
