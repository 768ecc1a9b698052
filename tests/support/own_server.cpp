#include "support/own_server.h"

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace corveth::test {

namespace {

namespace fs = std::filesystem;

void script(const char* command, const Text& folder, const char* option = nullptr) {
    std::vector<Text> words = {CORVETH_SERVER_SCRIPT, command, folder};
    if (option != nullptr) words.emplace_back(option);
    runProgram(words);
}

Text content(const Text& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

bool isGone(pid_t process) {
    const Text stat = content(fmt::format("/proc/{}/stat", process));
    const auto name = stat.rfind(')');
    return name == Text::npos || stat.compare(name, 3, ") Z") == 0;
}

} // namespace

void runProgram(const std::vector<Text>& words) {
    std::vector<char*> arguments;
    for (const Text& word : words)
        arguments.push_back(const_cast<char*>(word.c_str())); // NOLINT: the interface is older than const
    arguments.push_back(nullptr);
    pid_t process = 0;
    if (::posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
        throw std::runtime_error(words[0] + " does not start");
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) throw std::runtime_error(words[0] + " " + words[1] + " failed");
}

OwnServer::OwnServer() {
    static std::atomic<int> count = 0;
    folder_ = fmt::format("/tmp/corveth-server-own{}-{}", getpid(), ++count);
    script("start", folder_, "--with-parent");
}

OwnServer::~OwnServer() {
    try {
        script("stop", folder_);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
    }
}

Text OwnServer::connectionString(TextView database) const {
    return fmt::format("Provider=PostgreSQL;Host={};User ID=corveth;Database={}", folder_, database);
}

pid_t OwnServer::process() const {
    pid_t process = 0;
    std::istringstream(content(folder_ + "/data/postmaster.pid")) >> process;
    if (process <= 0) throw std::runtime_error("no server runs in " + folder_);
    return process;
}

void OwnServer::end(int signal) const {
    const pid_t ended = process();
    ::kill(ended, signal);
    if (!eventually([&] { return isGone(ended); })) throw std::runtime_error("the server does not end");
}

void OwnServer::kill() const {
    const Text children = content(fmt::format("/proc/{0}/task/{0}/children", process()));
    end(SIGKILL);
    std::istringstream read(children);
    for (pid_t child = 0; read >> child;) {
        if (!eventually([&] { return isGone(child); })) throw std::runtime_error("a child of the server does not end");
    }
    // What the next one would take for a sign of life as long as nobody has waited for the process.
    fs::remove(folder_ + "/data/postmaster.pid");
    fs::remove(folder_ + "/.s.PGSQL.5432.lock");
}

void OwnServer::crash() const {
    script("kill", folder_);
}

void OwnServer::start() const {
    script("resume", folder_);
}

void OwnServer::startRecovering() const {
    writeData("recovery.signal", "");
    configure("restore_command = 'sleep 600'\nhot_standby = off");
    script("begin", folder_);
}

void OwnServer::stopRecovering() const {
    end(SIGQUIT);
    fs::remove(folder_ + "/data/recovery.signal");
}

void OwnServer::configure(const Text& setting) const {
    std::ofstream(folder_ + "/data/postgresql.conf", std::ios::app) << setting << '\n';
}

void OwnServer::putRule(const Text& rule) const {
    const Text file = folder_ + "/data/pg_hba.conf";
    const Text rules = content(file);
    std::ofstream(file) << rule << '\n' << rules;
}

void OwnServer::writeData(const Text& name, const Text& text) const {
    const Text file = folder_ + "/data/" + name;
    std::ofstream(file) << text;
    struct stat data {};
    const bool isOwned = ::stat((folder_ + "/data").c_str(), &data) == 0 && ::chmod(file.c_str(), 0600) == 0 &&
                         (::geteuid() != 0 || ::chown(file.c_str(), data.st_uid, data.st_gid) == 0);
    if (!isOwned) throw std::runtime_error(file + " cannot be given away");
}

} // namespace corveth::test
