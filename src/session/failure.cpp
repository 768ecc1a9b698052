#include "session/failure.h"

#include "platform/desktop/message_box.h"
#include "session/module_state.h"

namespace corveth {

void reportFailure(const char* source, Report report, const char* message, std::int32_t number) {
    Error cause = currentError();
    Text description;
    switch (report) {
    case Report::messageAndCause:
        description = Text(message) + "\r\n" + cause.description;
        break;
    case Report::message:
        logSwallowed(source, message);
        description = message;
        break;
    case Report::cause:
        description = std::move(cause.description);
        break;
    }
    throw Error(number, source, std::move(description));
}

void logSwallowed(const Connection& connection, TextView className, TextView operation, TextView id) noexcept {
    try {
        const Text what = id.empty() ? Text(operation) : Text(operation).append(" of ").append(id);
        connection.log(className, what, currentError().description);
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nowhere left to report to
    }
}

void logSwallowed(TextView className, TextView operation, TextView id) noexcept {
    if (!hasModuleState()) return;
    const Ref<Connection> connection = moduleState().SharedConnection;
    if (connection) logSwallowed(*connection, className, operation, id);
}

void showFailure(TextView className, TextView operation, TextView id) {
    logSwallowed(className, operation, id);
    messageBox(currentError().description);
}

void beginTransaction() {
    moduleState().SharedConnection->BeginTrans();
}

void commitTransaction() {
    moduleState().SharedConnection->CommitTrans();
}

void rollBackTransaction() noexcept {
    const Ref<Connection> connection = moduleState().SharedConnection;
    if (!connection) return;
    try {
        connection->RollbackTrans();
    } catch (...) {
        logSwallowed(*connection, "Connection", "rolling back");
    }
}

} // namespace corveth
