// The four entry points of the server library; nothing else leaves it.

#include "server/binary/memory.h"
#include "server/class_factory.h"
#include "server/failure.h"
#include "server/module.h"
#include "server/registration.h"

#include <cstdio>
#include <dlfcn.h>

#define CORVETH_ENTRY extern "C" __attribute__((visibility("default")))

namespace {

namespace results = corveth::binary::results;
using corveth::binary::HResult;

/// The file that this code was loaded from.
std::filesystem::path ownPath() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void*>(&ownPath), &info) == 0 || info.dli_fname == nullptr) {
        corveth::raise(corveth::errors::invalidCall, "the server library does not know its own file");
    }
    return std::filesystem::canonical(info.dli_fname);
}

/// Nothing of the registration changed when it fails. The entry points have no room for words: they go to standard
/// error.
template <class Body>
HResult registering(Body&& body) noexcept {
    try {
        body();
        return results::ok;
    } catch (const std::bad_alloc&) {
        return results::outOfMemory;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "prjCorveth: %s\n", error.what());
        return results::registrationClass;
    }
}

} // namespace

CORVETH_ENTRY HResult DllGetClassObject(const corveth::binary::Guid& classId, const corveth::binary::Guid& iid,
                                        void** object) {
    if (object == nullptr) return results::badPointer;
    *object = nullptr;
    return corveth::server::guarded([&] {
        const corveth::ClassInfo* info = corveth::server::findCreatable(classId);
        if (info == nullptr) return results::classNotAvailable;
        const corveth::binary::Held<corveth::binary::IClassFactory> factory(corveth::server::makeFactory(*info));
        return factory->QueryInterface(iid, object);
    });
}

CORVETH_ENTRY HResult DllCanUnloadNow() {
    return corveth::server::outstanding.load(std::memory_order_acquire) == 0 ? results::ok : results::no;
}

CORVETH_ENTRY HResult DllRegisterServer() {
    return registering([] { corveth::server::registerClasses(ownPath()); });
}

CORVETH_ENTRY HResult DllUnregisterServer() {
    return registering([] { corveth::server::unregisterClasses(ownPath()); });
}
