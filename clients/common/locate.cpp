#include "common/locate.h"

#include "common/late_bound.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>

namespace corveth::client {

namespace {

namespace fs = std::filesystem;

constexpr const char* libraryName = "prjCorveth.so";

/// The one that `folder` is in, else that of the checkout around it; empty when there is none.
fs::path buildFolder(fs::path folder) {
    for (; folder.has_relative_path(); folder = folder.parent_path()) {
        if (fs::exists(folder / "CMakeCache.txt")) return folder;
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

} // namespace

fs::path locateServer(const fs::path& folder) {
    if (const char* named = std::getenv("CORVETH_SERVER"); named != nullptr && *named != '\0') return named;
    std::vector<fs::path> places;
    if (const fs::path build = buildFolder(folder); !build.empty()) places.push_back(build / libraryName);
    places.push_back(folder / libraryName);
    for (const fs::path beside : {"../lib", CORVETH_INSTALLED_SERVER}) {
        fs::path place = (folder / beside / libraryName).lexically_normal();
        if (place != places.back()) places.push_back(std::move(place));
    }
    if (const fs::path registered = registeredServer(); !registered.empty()) places.push_back(registered);
    std::string lookedAt;
    for (const auto& place : places) {
        if (fs::exists(place)) return place;
        lookedAt += "\n  " + place.string();
    }
    throw Failure(429, "corveth",
                  "The server was not found: CORVETH_SERVER does not name it, no registered one is there, and there is "
                  "none of" +
                      lookedAt);
}

} // namespace corveth::client
