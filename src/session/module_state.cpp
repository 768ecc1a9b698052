#include "session/module_state.h"

namespace corveth {

namespace {

// Trivially destroyed, so that it can still be read while the thread's other state is being destroyed.
thread_local bool hasEnded = false;

struct ThreadState {
    // Made before the state, so that it still takes in what ends with it.
    std::shared_ptr<Apartment> apartment = Apartment::current();
    ModuleState state;

    ThreadState() = default;
    ThreadState(const ThreadState&) = delete;
    ThreadState& operator=(const ThreadState&) = delete;
    ~ThreadState() {
        // What other threads released and left to this one still finds the state.
        apartment->collect();
        hasEnded = true;
    }
};

} // namespace

ModuleState& moduleState() {
    thread_local ThreadState thread;
    return thread.state;
}

bool hasModuleState() noexcept {
    return !hasEnded;
}

const Ref<DbService>& dbService() {
    auto& service = moduleState().DbServiceInstance;
    if (!service) service = makeDbService();
    return service;
}

} // namespace corveth
