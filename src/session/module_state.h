#pragma once

#include "session/db_service.h"

namespace corveth {

/// What all objects of one thread share.
struct ModuleState {
    Ref<Connection> SharedConnection;
    Text CurrentUserId; ///< written into the `Creator` of new notes and reminders; nothing in the system sets it
    Ref<DbService> DbServiceInstance;
};

/// The calling thread's own copy; lives until the thread ends.
CORVETH_API ModuleState& moduleState();

/// False while the calling thread is ending and its state is gone; `moduleState` is out of bounds then.
[[nodiscard]] CORVETH_API bool hasModuleState() noexcept;

/// The thread's data service, made on first use.
CORVETH_API const Ref<DbService>& dbService();

} // namespace corveth
