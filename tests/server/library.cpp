// The built server, as clients load it.

#include "common/late_bound.h"
#include "common/locate.h"
#include "platform/automation/class_registry.h"
#include "server/binary/class_ids.h"
#include "server/binary/memory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <sys/stat.h>

namespace corveth::test {
namespace {

namespace fs = std::filesystem;
namespace results = binary::results;

std::string libraryPath() {
    const char* path = std::getenv("CORVETH_SERVER");
    return path != nullptr ? path : "prjCorveth.so";
}

/// The library, opened on its own.
class Library {
public:
    Library() : handle_(::dlopen(libraryPath().c_str(), RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(handle_, nullptr) << libraryPath();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { EXPECT_EQ(::dlclose(handle_), 0); }

    template <class Function>
    Function entry(const char* name) const {
        return reinterpret_cast<Function>(::dlsym(handle_, name));
    }
    binary::HResult call(const char* name) const { return entry<binary::EntryPoint>(name)(); }
    binary::HResult classObject(const binary::Guid& id, const binary::Guid& iid, void** object) const {
        return entry<binary::GetClassObjectFunction>("DllGetClassObject")(id, iid, object);
    }

private:
    void* handle_;
};

TEST(LibraryTest, ExportsTheFourEntryPointsAndNothingElse) {
    const std::string command = "nm -D --defined-only '" + libraryPath() + "'";
    std::FILE* pipe = ::popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::set<std::string> names;
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        const std::string text(line);
        names.insert(text.substr(text.find_last_of(' ') + 1, text.find('\n') - text.find_last_of(' ') - 1));
    }
    EXPECT_EQ(::pclose(pipe), 0);
    EXPECT_EQ(names, (std::set<std::string>{"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                            "DllUnregisterServer"}));
}

TEST(LibraryTest, EveryCreatableClassIsMadeByItsIdentifierHoweverItIsSpelt) {
    const auto server = client::Server::load(libraryPath());
    for (const ClassInfo* info : allClasses()) {
        const Text progId = info->progId();
        if (info->create == nullptr) {
            EXPECT_THROW(static_cast<void>(server.create(progId)), client::Failure) << progId;
            continue;
        }
        for (const Text& spelling : {progId, foldCase(progId)}) {
            try {
                EXPECT_EQ(server.create(spelling).description().progId, progId);
            } catch (const client::Failure& failure) {
                // Reads its table as it is made, and there is no connection.
                EXPECT_EQ(progId, "prjCorveth.ProjectTypes");
                EXPECT_EQ(failure.number, static_cast<std::uint32_t>(errors::badConnection)) << progId;
            }
        }
    }
    EXPECT_TRUE(server.canUnload());
}

TEST(LibraryTest, AnUnknownIdentifierIsNamed) {
    const auto server = client::Server::load(libraryPath());
    for (const char* progId : {"prjCorveth.Nothing", "prjCorveth.", "", "prjCorveth.Note ", "Note"}) {
        try {
            static_cast<void>(server.create(progId));
            FAIL() << progId;
        } catch (const client::Failure& failure) {
            EXPECT_EQ(failure.number, 429U);
            EXPECT_NE(failure.description().find('"' + std::string(progId) + '"'), std::string::npos);
        }
    }
    EXPECT_THROW(client::Server::load("/nowhere/prjCorveth.so"), client::Failure);
}

TEST(LibraryTest, FactoriesMakeLockAndRefuse) {
    const Library library;
    const binary::Guid note = binary::nameBasedId("prjCorveth.Note");
    int none = 0;
    void* found = &none;
    EXPECT_EQ(library.classObject(binary::ids::none, binary::ids::classFactory, &found), results::classNotAvailable);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(library.classObject(note, binary::ids::dispatch, &found), results::noInterface);
    EXPECT_EQ(library.classObject(note, binary::ids::unknown, nullptr), results::badPointer);
    EXPECT_EQ(library.call("DllCanUnloadNow"), results::ok);

    ASSERT_EQ(library.classObject(note, binary::ids::classFactory, &found), results::ok);
    {
        const binary::Held<binary::IClassFactory> factory(static_cast<binary::IClassFactory*>(found));
        EXPECT_EQ(library.call("DllCanUnloadNow"), results::no) << "a factory is held";
        EXPECT_EQ(factory->CreateInstance(factory.get(), binary::ids::unknown, &found), results::noAggregation);
        EXPECT_EQ(factory->CreateInstance(nullptr, binary::ids::enumVariant, &found), results::noInterface);
        EXPECT_EQ(found, nullptr);
        EXPECT_EQ(factory->LockServer(1), results::ok);
    }
    EXPECT_EQ(library.call("DllCanUnloadNow"), results::no) << "locked";
    ASSERT_EQ(library.classObject(note, binary::ids::classFactory, &found), results::ok);
    const binary::Held<binary::IClassFactory> factory(static_cast<binary::IClassFactory*>(found));
    EXPECT_EQ(factory->LockServer(0), results::ok);
}

TEST(LibraryTest, ItCanBeClosedWheneverNothingIsHeld) {
    for (int round = 0; round < 20; ++round) {
        const Library library;
        void* found = nullptr;
        ASSERT_EQ(library.classObject(binary::nameBasedId("prjCorveth.Notes"), binary::ids::classFactory, &found),
                  results::ok);
        {
            const binary::Held<binary::IClassFactory> factory(static_cast<binary::IClassFactory*>(found));
            ASSERT_EQ(factory->CreateInstance(nullptr, binary::ids::dispatch, &found), results::ok);
        }
        {
            const client::LateObject notes(static_cast<binary::IDispatch*>(found));
            EXPECT_EQ(library.call("DllCanUnloadNow"), results::no);
            binary::Held<binary::ITypeInfo> info;
            ASSERT_EQ(notes.dispatch()->GetTypeInfo(0, 0, info.out()), results::ok);
            EXPECT_TRUE(notes.enumerate().empty());
        }
        EXPECT_EQ(library.call("DllCanUnloadNow"), results::ok) << round;
    }
}

/// A data folder of the test's own.
class RegistrationTest : public ::testing::Test {
protected:
    RegistrationTest() {
        std::string name = (fs::temp_directory_path() / "registrationXXXXXX").string();
        root_ = ::mkdtemp(name.data());
        const char* before = std::getenv("XDG_DATA_HOME");
        before_ = before != nullptr ? before : "";
        use(root_ / "data");
    }
    ~RegistrationTest() override {
        before_.empty() ? ::unsetenv("XDG_DATA_HOME") : ::setenv("XDG_DATA_HOME", before_.c_str(), 1);
        fs::remove_all(root_);
    }

    void use(const fs::path& dataFolder) {
        ::setenv("XDG_DATA_HOME", dataFolder.c_str(), 1);
        file = dataFolder / "corveth/registration.json";
    }
    nlohmann::json content() const { return nlohmann::json::parse(std::ifstream(file), nullptr, false); }
    void write(const std::string& text) const {
        fs::create_directories(file.parent_path());
        std::ofstream(file) << text;
    }
    const fs::path& root() const { return root_; }

    fs::path file;
    client::Server server = client::Server::load(libraryPath());

private:
    fs::path root_;
    std::string before_;
};

TEST_F(RegistrationTest, RegisteringAndTakingBackLeavesNothing) {
    server.registerServer();
    server.registerServer();
    const auto note = content()["classes"]["prjCorveth.Note"];
    EXPECT_EQ(note["classId"], binary::toText(binary::nameBasedId("prjCorveth.Note")));
    EXPECT_EQ(note["server"], fs::canonical(libraryPath()).string());
    std::size_t creatable = 0;
    for (const ClassInfo* info : allClasses())
        creatable += info->create != nullptr ? 1 : 0;
    EXPECT_EQ(content()["classes"].size(), creatable);

    server.unregisterServer();
    EXPECT_TRUE(fs::is_empty(root())) << "the folders that registering made are gone too";
    server.unregisterServer();
}

TEST_F(RegistrationTest, WhatOthersLeftThereStays) {
    struct Row {
        const char* name;
        const char* before;
    };
    const Row rows[] = {
        {"another server's class",
         R"({"classes": {"Other.Thing": {"classId": "{0}", "server": "/opt/other.so"}}, "madeFolders": []})"},
        {"a class of ours registered by another copy",
         R"({"classes": {"prjCorveth.Elder": {"classId": "{0}", "server": "/opt/prjCorveth.so"}}, "more": 1})"},
    };
    for (const auto& row : rows) {
        write(row.before);
        server.registerServer();
        EXPECT_TRUE(content()["classes"].contains("prjCorveth.Note"));
        server.unregisterServer();
        EXPECT_EQ(content()["classes"], nlohmann::json::parse(row.before)["classes"]) << row.name;
    }
    fs::remove(file);
    std::ofstream(file.parent_path() / "notes.txt") << "mine";
    server.registerServer();
    server.unregisterServer();
    EXPECT_FALSE(fs::exists(file));
    EXPECT_TRUE(fs::exists(file.parent_path() / "notes.txt"));
}

TEST_F(RegistrationTest, AFileThatIsNoRegistrationIsLeftAsItIs) {
    for (const char* text : {"", "{", "[]", R"({"classes": 3})", "notes"}) {
        write(text);
        EXPECT_THROW(server.registerServer(), client::Failure) << text;
        EXPECT_THROW(server.unregisterServer(), client::Failure) << text;
        std::ifstream in(file);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), text);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1) << "no half-written file is left";
}

TEST_F(RegistrationTest, AFolderThatCannotBeMadeIsAnError) {
    std::ofstream(root() / "plain") << "a file where the folder should be";
    use(root() / "plain");
    EXPECT_THROW(server.registerServer(), client::Failure);
}

TEST_F(RegistrationTest, TheServerIsLookedForInOrder) {
    const std::string named = libraryPath();
    ::unsetenv("CORVETH_SERVER");
    const fs::path home = root() / "checkout/clients/bin";
    const auto touch = [](const fs::path& path) {
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "";
        return path;
    };
    const auto located = [&] {
        try {
            return client::locateServer(home).string();
        } catch (const client::Failure& failure) {
            return "failure " + std::to_string(failure.number);
        }
    };
    fs::create_directories(home);
    write(R"({"classes": {"a": 1, "b": {"server": "/gone/prjCorveth.so"}}})");
    EXPECT_EQ(located(), "failure 429") << "what is registered but gone does not count";
    server.registerServer();
    EXPECT_EQ(located(), fs::canonical(named).string());

    struct Row {
        const char* name;
        std::vector<fs::path> made; ///< the library last; what earlier rows made stays
    };
    const fs::path checkout = root() / "checkout";
    const Row rows[] = {
        {"lib beside the folder", {checkout / "clients/lib/prjCorveth.so"}},
        {"the executable's own folder", {home / "prjCorveth.so"}},
        {"the checkout's build folder",
         {checkout / "CMakeLists.txt", checkout / "src/server/x", checkout / "build/prjCorveth.so"}},
        {"the build folder around it", {checkout / "clients/CMakeCache.txt", checkout / "clients/prjCorveth.so"}},
    };
    for (const auto& row : rows) {
        fs::path expected;
        for (const auto& path : row.made)
            expected = touch(path);
        EXPECT_EQ(located(), expected) << row.name;
    }
    ::setenv("CORVETH_SERVER", "/named/server.so", 1);
    EXPECT_EQ(located(), "/named/server.so");
    ::setenv("CORVETH_SERVER", named.c_str(), 1);
}

} // namespace
} // namespace corveth::test
