#include "common/conversion.h"
#include "common/late_bound.h"
#include "server/binary/class_ids.h"
#include "server/binary/memory.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <dlfcn.h>
#include <fstream>

namespace corveth::client {

namespace {

namespace fs = std::filesystem;
namespace results = binary::results;

constexpr std::uint32_t cannotCreate = 429;
constexpr const char* libraryName = "prjCorveth.so";

[[noreturn]] void failToLoad(const std::string& why) {
    throw Failure(cannotCreate, "corveth", why);
}

fs::path executableFolder() {
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

/// Of the checkout that holds `folder`; empty when it is in none.
fs::path buildFolder(fs::path folder) {
    for (; folder.has_relative_path(); folder = folder.parent_path()) {
        if (fs::exists(folder / "CMakeLists.txt") && fs::exists(folder / "src/server")) return folder / "build";
    }
    return {};
}

fs::path registrationFile() {
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && fs::path(data).is_absolute()) return fs::path(data) / "corveth/registration.json";
    const char* home = std::getenv("HOME");
    if (home != nullptr && fs::path(home).is_absolute()) {
        return fs::path(home) / ".local/share/corveth/registration.json";
    }
    return {};
}

fs::path registeredServer() {
    std::ifstream file(registrationFile(), std::ios::binary);
    if (!file) return {};
    const auto content = nlohmann::json::parse(file, nullptr, false);
    if (!content.is_object() || !content.contains("classes") || !content["classes"].is_object()) return {};
    for (const auto& entry : content["classes"]) {
        if (!entry.is_object()) continue;
        const auto server = entry.find("server");
        if (server != entry.end() && server->is_string() && fs::exists(server->get<std::string>())) {
            return server->get<std::string>();
        }
    }
    return {};
}

fs::path findServer() {
    if (const char* named = std::getenv("CORVETH_SERVER"); named != nullptr && *named != '\0') return named;
    std::vector<fs::path> places;
    const fs::path own = executableFolder();
    if (const fs::path build = buildFolder(own); !build.empty()) places.push_back(build / libraryName);
    places.push_back(own / libraryName);
    places.push_back(own.parent_path() / "lib" / libraryName);
    if (const fs::path registered = registeredServer(); !registered.empty()) places.push_back(registered);
    std::string lookedAt;
    for (const auto& place : places) {
        if (fs::exists(place)) return place;
        lookedAt += "\n  " + place.string();
    }
    failToLoad(std::string("The server ") + libraryName + " was not found: CORVETH_SERVER is not set, no server is " +
               "registered, and there is none of" + lookedAt);
}

} // namespace

Server Server::load(const fs::path& path) {
    fs::path found = fs::absolute(path.empty() ? findServer() : path); // a bare name would be searched elsewhere
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
    throw Failure(cannotCreate, "prjCorveth", "ActiveX component can't create object: \"" + std::string(progId) + "\"");
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
