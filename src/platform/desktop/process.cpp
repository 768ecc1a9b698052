#include "platform/desktop/process.h"

#include "platform/automation/error.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#if defined(__SANITIZE_THREAD__)
// The sanitizer takes `clone` for a fork, of which the memory would be the child's own; the same by its other name.
extern "C" int __clone(int (*run)(void*), void* top, int flags, void* argument, ...); // NOLINT
#define clone __clone                                                                 // NOLINT
#endif

namespace corveth {

namespace {

constexpr int notFound = 53;

/// A handle is a pidfd. A kernel without them gives the process's folder below /proc, which too is of that process
/// alone: it goes empty at the end and never turns into another's of the same number.
int openHandle(pid_t id) noexcept {
    const auto handle = static_cast<int>(syscall(SYS_pidfd_open, id, 0));
    if (handle >= 0) return handle;
    // Written without the library's formatting: nothing may be allocated where this runs.
    std::array<char, 32> path{"/proc/"};
    std::size_t length = std::strlen(path.data());
    std::array<char, 16> digits{};
    std::size_t count = 0;
    for (auto rest = static_cast<unsigned>(id); rest != 0 || count == 0; rest /= 10)
        digits.at(count++) = static_cast<char>('0' + rest % 10);
    while (count > 0)
        path.at(length++) = digits.at(--count);
    return open(path.data(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// The state letter of the process whose folder is `handle`; `X` when it is gone.
char stateOf(int handle) noexcept {
    const int file = openat(handle, "stat", O_RDONLY | O_CLOEXEC);
    if (file < 0) return 'X';
    std::array<char, 512> line{};
    const auto length = read(file, line.data(), line.size() - 1);
    close(file);
    if (length <= 0) return 'X';
    const TextView text(line.data(), static_cast<std::size_t>(length));
    const auto name = text.rfind(')'); // which may itself hold blanks and brackets
    return name == TextView::npos || name + 2 >= text.size() ? 'X' : text[name + 2];
}

bool isFolder(int handle) noexcept {
    struct stat status {};
    return fstat(handle, &status) == 0 && S_ISDIR(status.st_mode);
}

/// True where programs that were started become this process's children after all: it is the first one of a container,
/// as a rule, or has asked for the orphans of those below it.
bool takesOrphans() noexcept {
    int isAsked = 0;
    return getpid() == 1 || (prctl(PR_GET_CHILD_SUBREAPER, &isAsked) == 0 && isAsked != 0);
}

/// Takes the end of such a child, which would stay a zombie; false as long as it runs.
bool takeEnd(pid_t id, int handle) noexcept {
    siginfo_t end{};
    if (!isFolder(handle))
        return waitid(P_PIDFD, static_cast<id_t>(handle), &end, WEXITED | WNOHANG) != 0 || end.si_pid != 0;
    const char state = stateOf(handle);
    if (state == 'Z') waitid(P_PID, static_cast<id_t>(id), &end, WEXITED | WNOHANG);
    return state == 'Z' || state == 'X';
}

/// Children that go on without an object, until their ends are taken.
class Orphans {
public:
    /// Takes over `handle`.
    void add(pid_t id, int handle) noexcept {
        try {
            const std::scoped_lock lock(mutex_);
            running_.emplace_back(id, handle);
        } catch (...) { // no memory: it is left to the host
            close(handle);
        }
    }
    void takeEnds() noexcept {
        const std::scoped_lock lock(mutex_);
        std::erase_if(running_, [](const auto& child) {
            const bool isOver = takeEnd(child.first, child.second);
            if (isOver) close(child.second);
            return isOver;
        });
    }

private:
    std::mutex mutex_;
    std::vector<std::pair<pid_t, int>> running_;
};
Orphans& orphans() {
    static auto& orphans = *new Orphans; // NOLINT(cppcoreguidelines-owning-memory): objects that outlive main use it
    return orphans;
}

/// What the helper needs, and what it leaves behind.
struct Launch {
    const char* program = nullptr;
    char* const* arguments = nullptr;
    const posix_spawn_file_actions_t* files = nullptr;
    const posix_spawnattr_t* attributes = nullptr;
    bool isDone = false;
    int error = 0;
    pid_t id = 0;
    int handle = -1;
};

/// Runs in a helper process that shares this one's memory and files while the caller stands still. The program is its
/// child and is handed to the system when the helper ends. Until then nobody can take its number away, so that the
/// handle is surely of it.
int launch(void* argument) noexcept {
    auto& wanted = *static_cast<Launch*>(argument);
    struct sigaction plain {};
    plain.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &plain, nullptr); // were it ignored, as it may be by the host, the number could go at once
    wanted.error = posix_spawn(&wanted.id, wanted.program, wanted.files, wanted.attributes, wanted.arguments, environ);
    if (wanted.error == 0) wanted.handle = openHandle(wanted.id);
    if (wanted.handle < 0 && (errno == EMFILE || errno == ENFILE) && wanted.error == 0) {
        // Nobody could end it any more.
        wanted.error = errno;
        kill(wanted.id, SIGKILL);
        waitpid(wanted.id, nullptr, 0);
    }
    wanted.isDone = true;
    return 0;
}

struct alignas(64) Stack {
    std::array<std::byte, std::size_t{128} * 1024> bytes;
};

/// `launch` in a helper. The helper raises no signal at its end, and a `wait` of the host does not see it.
void runHelper(Launch& wanted) {
    const std::unique_ptr<Stack> stack(new Stack); // its bytes as they come
    void* const top = stack.get() + 1;             // it grows downwards

    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); // a handler must not run in the helper
    const pid_t helper = clone(launch, top, CLONE_VM | CLONE_VFORK | CLONE_FILES, &wanted);
    const int error = errno;
    if (helper > 0) {
        while (waitpid(helper, nullptr, static_cast<int>(__WCLONE)) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (!wanted.isDone) wanted.error = helper < 0 ? error : ENOSYS;
}

[[noreturn]] void refuse(TextView program, int error, TextView reason = {}) {
    const Text why = reason.empty() ? Text(std::strerror(error)) : Text(reason); // NOLINT(concurrency-mt-unsafe)
    raise(error == ENOENT ? notFound : errors::invalidCall,
          "the program " + inQuotes(program) + " cannot be started (" + why + ")");
}

bool isRunnable(const Text& path) noexcept {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

/// The path to run for the first word. Throws when there is surely none.
Text programPath(const Text& name) {
    if (name.find('/') == Text::npos) {
        Text path = findProgram(name);
        if (path.empty()) refuse(name, ENOENT, "it is not in PATH");
        return path;
    }
    struct stat status {};
    if (stat(name.c_str(), &status) != 0) refuse(name, errno);
    if (S_ISDIR(status.st_mode)) refuse(name, EISDIR);
    return name;
}

class FileActions {
public:
    FileActions() { check(posix_spawn_file_actions_init(&actions_)); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }

    void openNull(int descriptor) {
        check(posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", O_RDONLY, 0));
    }
    void closeFrom(int first) { check(posix_spawn_file_actions_addclosefrom_np(&actions_, first)); }
    [[nodiscard]] const posix_spawn_file_actions_t* get() const noexcept { return &actions_; }

private:
    static void check(int error) {
        if (error != 0) raise(errors::outOfMemory);
    }
    posix_spawn_file_actions_t actions_{};
};

class Attributes {
public:
    Attributes() {
        if (posix_spawnattr_init(&attributes_) != 0) raise(errors::outOfMemory);
        sigset_t signals;
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }
    [[nodiscard]] const posix_spawnattr_t* get() const noexcept { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

} // namespace

RunningProcess::RunningProcess(RunningProcess&& other) noexcept
    : id_(std::exchange(other.id_, 0)), handle_(std::exchange(other.handle_, -1)) {}

RunningProcess& RunningProcess::operator=(RunningProcess&& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(handle_, other.handle_);
    return *this;
}

RunningProcess::~RunningProcess() {
    if (handle_ < 0) return;
    if (takesOrphans() && !takeEnd(id_, handle_)) {
        orphans().add(id_, handle_);
    } else {
        close(handle_);
    }
}

bool RunningProcess::isRunning() const noexcept {
    if (handle_ < 0) return false;
    if (takesOrphans() && takeEnd(id_, handle_)) return false;
    if (isFolder(handle_)) {
        const char state = stateOf(handle_);
        return state != 'X' && state != 'Z';
    }
    pollfd end{handle_, POLLIN, 0};
    return poll(&end, 1, 0) == 0;
}

void RunningProcess::terminate() noexcept {
    if (handle_ < 0) return;
    // Takes a process's folder, too, from the first kernels that know it.
    if (syscall(SYS_pidfd_send_signal, handle_, SIGKILL, nullptr, 0) != 0) {
        if (errno == ESRCH || !isFolder(handle_) || !isRunning()) return;
        kill(id_, SIGKILL);
    }
    if (!takesOrphans()) return;
    constexpr int patience = 100; // milliseconds; it may take longer where the system is busy with it
    pollfd end{handle_, POLLIN, 0};
    poll(&end, 1, isFolder(handle_) ? 0 : patience);
    takeEnd(id_, handle_);
}

RunningProcess startProcess(const std::vector<Text>& words) {
    orphans().takeEnds();
    if (words.empty() || words.front().empty()) raise(errors::invalidCall, "no program is named");
    const Text program = programPath(words.front());
    std::vector<char*> arguments;
    for (const Text& word : words)
        arguments.push_back(
            const_cast<char*>(word.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast): only read
    arguments.push_back(nullptr);

    FileActions files;
    files.openNull(STDIN_FILENO);
    files.closeFrom(STDERR_FILENO + 1);
    const Attributes attributes;

    Launch wanted{.program = program.c_str(),
                  .arguments = arguments.data(),
                  .files = files.get(),
                  .attributes = attributes.get()};
    runHelper(wanted);
    if (wanted.error == ENOENT && isRunnable(program)) refuse(words.front(), ENOEXEC, "its interpreter is missing");
    if (wanted.error != 0) refuse(words.front(), wanted.error);
    return {wanted.id, wanted.handle};
}

std::vector<Text> splitCommandLine(TextView line) {
    std::vector<Text> words;
    bool isInWord = false;
    bool isQuoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char letter = line[i];
        if (!isQuoted && (letter == ' ' || letter == '\t')) {
            isInWord = false;
            continue;
        }
        if (!std::exchange(isInWord, true)) words.emplace_back();
        const char next = i + 1 < line.size() ? line[i + 1] : '\0';
        if (letter == '"') {
            isQuoted = !isQuoted;
        } else if (isQuoted && letter == '\\' && (next == '"' || next == '\\')) {
            words.back() += next;
            ++i;
        } else {
            words.back() += letter;
        }
    }
    if (isQuoted) raise(errors::invalidCall, "a quote is not closed in the command line " + inQuotes(line));
    return words;
}

Text quotedWord(TextView word) {
    Text quoted = "\"";
    for (const char letter : word) {
        if (letter == '"' || letter == '\\') quoted += '\\';
        quoted += letter;
    }
    return quoted + '"';
}

Text findProgram(TextView name) {
    if (name.empty() || name.find('/') != TextView::npos) return {};
    const char* const set = std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): only read
    TextView folders = set != nullptr ? set : "/usr/local/bin:/usr/bin:/bin";
    for (;;) {
        const auto end = folders.find(':');
        const TextView folder = folders.substr(0, end);
        // A folder that is not absolute means another one wherever the user stands.
        if (folder.starts_with('/')) {
            Text path = Text(folder) + "/" + Text(name);
            if (isRunnable(path)) return path;
        }
        if (end == TextView::npos) return {};
        folders.remove_prefix(end + 1);
    }
}

} // namespace corveth
