#include "session/module_state.h"

namespace corveth {

ModuleState& moduleState() {
    // The apartment is made first, so that it still takes in what ends with this state.
    static_cast<void>(Apartment::current());
    thread_local ModuleState state;
    return state;
}

const Ref<DbService>& dbService() {
    auto& service = moduleState().DbServiceInstance;
    if (!service) service = makeDbService();
    return service;
}

} // namespace corveth
