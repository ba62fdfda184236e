#include "platform/platform.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string_view>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qor::platform {

namespace {

int saved_errno = 0;
void (*broken_pipe_procedure)() = nullptr;

// Notes why a call failed; gives its result back.
template <typename T> T noted(T result) {
    saved_errno = errno;
    return result;
}

template <typename T> T failed(int error, T result) {
    errno = error;
    return noted(result);
}

bool holds_zero(const std::string &path) { return path.find('\0') != std::string::npos; }

// A backtracking match: only the last * can need another try.
bool matches(std::string_view pattern, std::string_view name) {
    size_t p = 0, n = 0;
    size_t star = std::string_view::npos, resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

void run_on_broken_pipe(int, siginfo_t *info, void *) {
    // A write of this very thread raised it, which holds no lock that the
    // procedure could need. A signal sent from outside may come at any moment:
    // then nothing is safe but to end.
    if (info->si_pid == getpid()) broken_pipe_procedure();
    raise(SIGPIPE);
}

} // namespace

// --- libraries -----------------------------------------------------------------

void *load_library(const std::string &name) {
    // Unloading leaves the code where it is: values and methods that a library
    // registered may outlive it.
    constexpr int FLAGS = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
    if (name.empty()) return nullptr; // the loader's name for the program itself
    if (void *library = dlopen(name.c_str(), FLAGS)) return library;
    // The run path of this library is meant to find what lies beside it. In a
    // sanitizer build another library makes the call, whose run path counts:
    // there the same place is looked at by hand.
    Dl_info self;
    if (name.find(SEPARATOR) != name.npos || !dladdr(&saved_errno, &self)) return nullptr;
    const std::string own = self.dli_fname;
    const std::string beside = own.substr(0, own.rfind(SEPARATOR) + 1) + name;
    return is_readable_file(beside) ? dlopen(beside.c_str(), FLAGS) : nullptr;
}

void *find_symbol(void *library, const char *name) { return dlsym(library, name); }

bool unload_library(void *library) { return dlclose(library) == 0; }

std::string library_error() {
    const char *text = dlerror();
    return text ? text : "";
}

// --- files -----------------------------------------------------------------------

int open_file(const std::string &path, Open_mode mode) {
    if (holds_zero(path)) return failed(EINVAL, -1);
    int flags = O_CLOEXEC;
    switch (mode) {
    case Open_mode::READ: flags |= O_RDONLY; break;
    case Open_mode::CREATE: flags |= O_RDWR | O_CREAT | O_TRUNC; break;
    case Open_mode::APPEND: flags |= O_WRONLY | O_CREAT | O_APPEND; break;
    case Open_mode::READ_WRITE: flags |= O_RDWR; break;
    }
    int handle;
    do {
        handle = open(path.c_str(), flags, 0666);
    } while (handle < 0 && errno == EINTR);
    if (handle < 0) return noted(-1);
    struct stat info;
    if (fstat(handle, &info) == 0 && S_ISDIR(info.st_mode)) {
        close(handle);
        return failed(EISDIR, -1);
    }
    return handle;
}

bool out_of_handles() { return saved_errno == EMFILE || saved_errno == ENFILE; }

bool is_readable_file(const std::string &path) {
    if (holds_zero(path)) return failed(EINVAL, false);
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return noted(false);
    if (S_ISDIR(info.st_mode)) return failed(EISDIR, false);
    return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0 || noted(false);
}

int64_t read_file(int handle, void *bytes, size_t count) {
    ssize_t n;
    do {
        n = read(handle, bytes, count);
    } while (n < 0 && errno == EINTR);
    return n < 0 ? noted<int64_t>(-1) : n;
}

bool write_file(int handle, const void *bytes, size_t count) {
    const char *next = static_cast<const char *>(bytes);
    while (count > 0) {
        const ssize_t n = write(handle, next, count);
        if (n < 0) {
            if (errno == EINTR) continue;
            return noted(false);
        }
        next += n;
        count -= static_cast<size_t>(n);
    }
    return true;
}

int64_t seek_file(int handle, int64_t offset, bool from_end) {
    const off_t position = lseek(handle, offset, from_end ? SEEK_END : SEEK_SET);
    return position < 0 ? noted<int64_t>(-1) : position;
}

bool close_file(int handle) {
    // Interrupted or not, the handle is gone: trying again could close another.
    return close(handle) == 0 || errno == EINTR || noted(false);
}

bool remove_file(const std::string &path) {
    if (holds_zero(path)) return failed(EINVAL, false);
    return unlink(path.c_str()) == 0 || noted(false);
}

File_info file_info(const std::string &path) {
    File_info result;
    struct statx info;
    if (holds_zero(path) || statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &info) != 0) {
        return noted(result);
    }
    result.exists = true;
    result.is_directory = S_ISDIR(info.stx_mode);
    result.size = info.stx_size;
    result.written = info.stx_mtime.tv_sec;
    result.created = (info.stx_mask & STATX_BTIME) ? info.stx_btime.tv_sec : info.stx_ctime.tv_sec;
    return result;
}

bool is_same_file(const std::string &path, const std::string &other) {
    struct stat a, b;
    if (holds_zero(path) || holds_zero(other)) return false;
    return stat(path.c_str(), &a) == 0 && stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

std::vector<std::string> find_files(const std::string &pattern) {
    std::vector<std::string> names;
    if (holds_zero(pattern)) return names;
    const size_t cut = pattern.rfind(SEPARATOR) + 1; // npos + 1 is 0
    const std::string directory = cut == 0 ? "." : pattern.substr(0, cut);
    const std::string last = pattern.substr(cut);
    if (last.find_first_of("*?") == std::string::npos) {
        // One name: its directory need not be readable.
        struct stat info;
        if (!last.empty() && lstat(pattern.c_str(), &info) == 0) names.push_back(last);
        return names;
    }
    DIR *entries = opendir(directory.c_str());
    if (!entries) return noted(names);
    while (const dirent *entry = readdir(entries)) {
        if (matches(last, entry->d_name)) names.emplace_back(entry->d_name);
    }
    closedir(entries);
    std::sort(names.begin(), names.end());
    return names;
}

bool make_directory(const std::string &path) {
    if (holds_zero(path)) return failed(EINVAL, false);
    return mkdir(path.c_str(), 0777) == 0 || noted(false);
}

std::string make_private_directory() {
    const char *chosen = std::getenv("TMPDIR");
    for (const char *parent : {chosen, "/tmp"}) {
        if (!parent || !*parent) continue;
        std::string path = std::string(parent) + "/qor-XXXXXX";
        if (mkdtemp(path.data())) return path;
        saved_errno = errno;
    }
    return "";
}

bool remove_directory(const std::string &path) {
    if (holds_zero(path)) return failed(EINVAL, false);
    return rmdir(path.c_str()) == 0 || noted(false);
}

bool remove_directory_tree(const std::string &path) {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    saved_errno = error.value();
    return !error;
}

std::string current_directory() {
    std::error_code error;
    std::string path = std::filesystem::current_path(error).string();
    saved_errno = error.value();
    return path;
}

bool change_directory(const std::string &path) {
    if (holds_zero(path)) return failed(EINVAL, false);
    return chdir(path.c_str()) == 0 || noted(false);
}

std::string executable_path() {
    std::error_code error;
    std::string path = std::filesystem::read_symlink("/proc/self/exe", error).string();
    saved_errno = error.value();
    return path;
}

std::string last_error() { return std::strerror(saved_errno); }

// --- process -----------------------------------------------------------------------

void reserve_standard_handles() {
    for (int handle = 0; handle <= 2; ++handle) {
        if (fcntl(handle, F_GETFD) != -1) continue;
        // Opened for the wrong direction, so that its use still fails. The
        // lowest free number is the one in question.
        if (open("/dev/null", handle == 0 ? O_WRONLY : O_RDONLY) < 0) return;
    }
}

void on_broken_pipe(void (*procedure)()) {
    broken_pipe_procedure = procedure;
    struct sigaction action = {};
    action.sa_sigaction = run_on_broken_pipe;
    // Back to the default at once and not blocked: raising it again ends the
    // program.
    action.sa_flags = static_cast<int>(SA_SIGINFO | SA_RESETHAND | SA_NODEFER);
    sigaction(SIGPIPE, &action, nullptr);
}

namespace {

std::string killed_directory;
std::string killed_file;

// Only what is safe at any moment: two calls of the system with texts that lie
// ready.
void remove_and_end(int signal) {
    unlink(killed_file.c_str());
    rmdir(killed_directory.c_str());
    raise(signal);
}

} // namespace

void remove_when_killed(const std::string &directory, const std::string &file) {
    killed_directory = directory;
    killed_file = directory + SEPARATOR + file;
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_DFL) continue;
        action.sa_handler = remove_and_end;
        action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
        sigaction(signal, &action, nullptr);
    }
}

namespace {

// How the program takes signals while a child runs, put back at the end. The
// terminal's are ignored: they are the child's. The child's end must be kept for
// waiting, also when the program was started with it ignored, and must not
// be taken by a handler of the host.
class Waiting_signals {
  public:
    Waiting_signals() {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGINT, &ignore, &interrupt_);
        sigaction(SIGQUIT, &ignore, &quit_);
        sigaction(SIGCHLD, nullptr, &child_);
        if (child_.sa_handler == SIG_IGN || (child_.sa_flags & SA_NOCLDWAIT)) signal(SIGCHLD, SIG_DFL);
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGCHLD);
        pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
    }
    ~Waiting_signals() {
        sigaction(SIGINT, &interrupt_, nullptr);
        sigaction(SIGQUIT, &quit_, nullptr);
        sigaction(SIGCHLD, &child_, nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    }
    Waiting_signals(const Waiting_signals &) = delete;
    Waiting_signals &operator=(const Waiting_signals &) = delete;

    // What the child starts with: as the program did, but that a closed pipe ends
    // it, whatever the host has made of that.
    void give_to_child(posix_spawnattr_t *attributes) const {
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        if (interrupt_.sa_handler != SIG_IGN) sigaddset(&defaults, SIGINT);
        if (quit_.sa_handler != SIG_IGN) sigaddset(&defaults, SIGQUIT);
        posix_spawnattr_setsigdefault(attributes, &defaults);
        posix_spawnattr_setsigmask(attributes, &mask_);
        posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }

  private:
    struct sigaction interrupt_, quit_, child_;
    sigset_t mask_;
};

} // namespace

int32_t run_program(const std::vector<std::string> &words) {
    if (words.empty()) return failed(ENOENT, -1);
    std::vector<char *> arguments(words.size() + 1);
    for (size_t i = 0; i < words.size(); ++i) arguments[i] = const_cast<char *>(words[i].c_str());
    const Waiting_signals signals;
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    signals.give_to_child(&attributes);
    pid_t child;
    const int error = posix_spawnp(&child, arguments[0], nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) return failed(error, -1);
    int status;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return noted(-1);
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int32_t run_command(const std::string &command) { return run_program({"/bin/sh", "-c", "--", command}); }

// --- machine and user ------------------------------------------------------------------

std::string system_version() {
    utsname names = {};
    uname(&names);
    unsigned major = 0, minor = 0;
    std::sscanf(names.release, "%u.%u", &major, &minor);
    return std::to_string(major) + "." + std::to_string(minor);
}

bool is_64_bit_machine() {
    utsname names = {};
    uname(&names);
    return sizeof(void *) == 8 || std::strstr(names.machine, "64");
}

std::string computer_name() {
    utsname names = {};
    uname(&names);
    return names.nodename;
}

std::string user_name() {
    const passwd *user = getpwuid(geteuid());
    return user ? user->pw_name : "";
}

std::string language_code() {
    for (const char *variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char *locale = std::getenv(variable);
        if (!locale || !*locale) continue;
        const std::string code(locale, std::strcspn(locale, "_.@"));
        return code == "C" || code == "POSIX" ? "" : code;
    }
    return "";
}

bool random_bytes(void *bytes, size_t count) {
    auto *next = static_cast<uint8_t *>(bytes);
    while (count > 0) {
        const ssize_t n = getrandom(next, count, 0);
        if (n < 0 && errno != EINTR) return noted(false);
        if (n <= 0) continue;
        next += n;
        count -= static_cast<size_t>(n);
    }
    return true;
}

// --- time ------------------------------------------------------------------------------

Calendar local_time(int64_t seconds) {
    const time_t time = seconds;
    tm fields = {};
    localtime_r(&time, &fields);
    return {fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec};
}

int64_t seconds_of_standard_time(const Calendar &time) {
    tm fields = {};
    fields.tm_year = time.year - 1900;
    fields.tm_mon = time.month - 1;
    fields.tm_mday = time.day;
    fields.tm_hour = time.hour;
    fields.tm_min = time.minute;
    fields.tm_sec = time.second;
    fields.tm_isdst = 0;
    // A time that a zone left out or had twice when its offset changed is taken as
    // the call before makes likely: a call for a fixed date makes it one.
    tm fixed = {};
    fixed.tm_year = 2037 - 1900;
    mktime(&fixed);
    return mktime(&fields);
}

} // namespace qor::platform
