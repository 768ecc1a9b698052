#include "common/conversion.h"
#include "common/late_bound.h"
#include "common/locate.h"
#include "server/binary/class_ids.h"
#include "server/binary/memory.h"

#include <dlfcn.h>

namespace corveth::client {

namespace {

namespace fs = std::filesystem;
namespace results = binary::results;

constexpr std::uint32_t cannotCreate = 429;

[[noreturn]] void failToLoad(const std::string& why) {
    throw Failure(cannotCreate, "corveth", why);
}

fs::path executableFolder() {
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

} // namespace

Server Server::load(const fs::path& path) {
    fs::path found =
        fs::absolute(path.empty() ? locateServer(executableFolder()) : path); // a bare name would be searched elsewhere
    void* library = ::dlopen(found.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* why = ::dlerror();
        failToLoad("The server cannot be loaded: " + std::string(why != nullptr ? why : found.string()));
    }
    return {std::move(found), library};
}

void* Server::entryPoint(const char* name) const {
    void* found = ::dlsym(library_, name);
    if (found == nullptr) failToLoad(path_.string() + " is no automation server: it has no " + name);
    return found;
}

LateObject Server::create(std::string_view progId) const {
    const auto getClassObject = reinterpret_cast<binary::GetClassObjectFunction>(entryPoint("DllGetClassObject"));
    std::string lower(progId);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    binary::HResult result = results::classNotAvailable;
    for (const std::string_view spelling : {progId, std::string_view(lower)}) {
        void* found = nullptr;
        result = getClassObject(binary::nameBasedId(spelling), binary::ids::classFactory, &found);
        if (result == results::classNotAvailable) continue;
        requireSuccess(result, "the class factory of " + std::string(progId));
        const binary::Held<binary::IClassFactory> factory(static_cast<binary::IClassFactory*>(found));
        void* object = nullptr;
        requireSuccess(factory->CreateInstance(nullptr, binary::ids::dispatch, &object),
                       "creating \"" + std::string(progId) + "\"");
        return LateObject(static_cast<binary::IDispatch*>(object));
    }
    throw Failure(cannotCreate, "prjCorveth", "Object cannot be created: \"" + std::string(progId) + "\"");
}

void Server::registerServer() const {
    requireSuccess(reinterpret_cast<binary::EntryPoint>(entryPoint("DllRegisterServer"))(),
                   "registering " + path_.string());
}

void Server::unregisterServer() const {
    requireSuccess(reinterpret_cast<binary::EntryPoint>(entryPoint("DllUnregisterServer"))(),
                   "taking back the registration of " + path_.string());
}

bool Server::canUnload() const {
    return reinterpret_cast<binary::EntryPoint>(entryPoint("DllCanUnloadNow"))() == results::ok;
}

} // namespace corveth::client
