#include "server/registration.h"

#include "platform/automation/class_registry.h"
#include "server/binary/class_ids.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace corveth::server {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

[[noreturn]] void fail(const fs::path& path, TextView why) {
    throw Error(errors::engine, defaultSource, "Registration " + path.string() + ": " + Text(why));
}

class File {
public:
    explicit File(int descriptor) noexcept : descriptor_(descriptor) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    [[nodiscard]] int get() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

/// Keeps other programs from the folder's registration; they wait.
class FolderLock {
public:
    explicit FolderLock(const fs::path& folder) : folder_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (folder_.get() < 0 || ::flock(folder_.get(), LOCK_EX) != 0) fail(folder, std::strerror(errno));
    }

private:
    File folder_;
};

fs::path dataFolder() {
    // A relative folder would be another one in every working directory.
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && fs::path(data).is_absolute()) return data;
    const char* home = std::getenv("HOME");
    if (home != nullptr && fs::path(home).is_absolute()) return fs::path(home) / ".local/share";
    const passwd* user = ::getpwuid(::getuid());
    if (user != nullptr && user->pw_dir != nullptr && *user->pw_dir == '/') {
        return fs::path(user->pw_dir) / ".local/share";
    }
    fail("corveth/registration.json", "the user has no home folder");
}

/// Makes the folder and those above it; what was made, outermost first.
std::vector<fs::path> makeFolders(const fs::path& folder) {
    std::vector<fs::path> missing;
    for (fs::path path = folder; !fs::exists(path); path = path.parent_path())
        missing.insert(missing.begin(), path);
    for (const auto& path : missing) {
        if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) fail(path, std::strerror(errno));
    }
    return missing;
}

Json emptyRegistration() {
    return {{"classes", Json::object()}, {"madeFolders", Json::array()}};
}

Json read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        if (!fs::exists(path)) return emptyRegistration();
        fail(path, "cannot be read");
    }
    Json content = Json::parse(file, nullptr, false);
    if (!content.is_object() || !content.contains("classes") || !content["classes"].is_object()) {
        fail(path, "is not a registration; nothing was changed");
    }
    return content;
}

/// Under another name first, so that the file is whole at every moment.
void write(const fs::path& path, const Json& content) {
    std::string name = path.string() + ".XXXXXX";
    const File file(::mkostemp(name.data(), O_CLOEXEC));
    if (file.get() < 0) fail(path, std::strerror(errno));
    const std::string text = content.dump(2) + "\n";
    const bool isWritten = ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                           ::fsync(file.get()) == 0 && ::rename(name.c_str(), path.c_str()) == 0;
    if (isWritten) return;
    const int reason = errno;
    ::unlink(name.c_str());
    fail(path, std::strerror(reason));
}

void removeFolders(const Json& content, const fs::path& file) {
    ::unlink(file.c_str());
    const auto made = content.find("madeFolders");
    if (made == content.end() || !made->is_array()) return;
    for (auto folder = made->rbegin(); folder != made->rend(); ++folder) {
        if (!folder->is_string()) continue;
        const fs::path path = folder->get<std::string>();
        const auto relative = file.parent_path().lexically_relative(path);
        const bool isAbove = !relative.empty() && *relative.begin() != "..";
        if (!isAbove || ::rmdir(path.c_str()) != 0) return; // something else is in it: it stays
    }
}

} // namespace

fs::path registrationFile() {
    return dataFolder() / "corveth" / "registration.json";
}

void registerClasses(const fs::path& server) {
    const fs::path file = registrationFile();
    const auto made = makeFolders(file.parent_path());
    const FolderLock lock(file.parent_path());
    Json content = read(file);
    for (const ClassInfo* info : allClasses()) {
        if (info->create == nullptr) continue;
        const Text progId = info->progId();
        content["classes"][progId] = {{"classId", binary::toText(binary::nameBasedId(progId))},
                                      {"server", server.string()}};
    }
    for (const auto& folder : made)
        content["madeFolders"].push_back(folder.string());
    write(file, content);
}

void unregisterClasses(const fs::path& server) {
    const fs::path file = registrationFile();
    if (!fs::exists(file)) return;
    const FolderLock lock(file.parent_path());
    Json content = read(file);
    Json& classes = content["classes"];
    const std::size_t before = classes.size();
    for (auto entry = classes.begin(); entry != classes.end();) {
        const bool isOwn = entry->is_object() && entry->value("server", "") == server.string();
        entry = isOwn ? classes.erase(entry) : std::next(entry);
    }
    if (classes.empty()) {
        removeFolders(content, file);
    } else if (classes.size() != before) {
        write(file, content);
    }
}

} // namespace corveth::server
