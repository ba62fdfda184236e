// Mutates scripts; compiles and runs each in a child process of its own. Keeps
// the inputs that crash, that a sanitizer reports and that compile without end.
// A run that takes too long is no find, since a script may loop.
//
//   compile_fuzz SECONDS SEED_FOLDER OUT_FOLDER [RANDOM_SEED]
//
// Ends with 1 when something was found. Where the kernel is built with coverage
// guards, an input that reaches new code becomes a seed.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <vector>

#include "qor/qor.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t GUARDS = 1 << 16;
constexpr size_t MAX_INPUT = 20000;
constexpr int SAVED_PER_KIND = 2;

// Written by the child, read by the parent.
struct Shared {
    bool compiled;
    uint8_t reached[GUARDS];
};
Shared *shared = nullptr;

std::mt19937_64 rng;
size_t below(size_t n) { return n ? rng() % n : 0; }
template <class T> const T &any(const std::vector<T> &v) { return v[below(v.size())]; }

std::vector<std::string> seeds;
std::vector<std::string> words = {
    "MAP", "END_MAP", "=>", "PROCEDURE", "END_PROCEDURE", "CLASS", "END_CLASS", "METHOD", "END_METHOD", "IF", "THEN",
    "ELSIF", "ELSE", "END_IF", "WHILE", "DO", "END_WHILE", "FOREACH", "END_FOREACH", "BREAK", "CONTINUE", "RETURN",
    "DISPLAY", "ERROR", "STATUS", "->", "=", "==", "<>", "<", "<=", ">", ">=", ",", ".", "|MARKLOT", "|VERSION",
    "\n|INCL input.qor\n", "TRUE", "FALSE", "ROOT", "ROOT.VAR", "&ROOT", "&VAR.N", "VAR.N", "LOCAL.A", "THIS", "IN",
    "OUT", "OPT", "SOURCES", "CLASSES", "NATIVE", "PROCEDURES", "DEFAULT", "QOR", "MESSAGE", "&MESSAGE", "&QOR.LEN",
    "0", "1", "-1", "2147483647", "3000000000", "0.5", "''", "'", "'a b'", "'a,b,c'", "$", "'x',VAR.N,$", "!", "A..B",
    ".A", "&", "\t", "VERSION"};

// What would reach beyond the child's folder or stop the clock.
const std::vector<std::string> UNWANTED = {"OSCALL", "SLEEP", "SOCKET", "DIRECTORY", "RECEIVE_FILE"};

std::string text_of(STRNG s) { return {reinterpret_cast<char *>(s.data), s.length}; }

void add_method_names() {
    QOR_MAP *classes, *methods;
    int32_t status, more;
    MAP_GET_MAP_BY_NAME_C(&classes, "CLASSES", &status);
    STRNG key{0, 0, nullptr};
    QOR_OBJECT *object = nullptr, *method = nullptr;
    MAP_RESET_READ(&classes);
    while (MAP_READ_OBJECT_REF(&classes, &key, &object, &status), status) {
        const std::string prefix = text_of(key) == "QOR" ? "" : text_of(key) + ".";
        BTYP_read_map_ref(object, &methods);
        MAP_RESET_READ(&methods);
        while (MAP_READ_OBJECT_REF(&methods, &key, &method, &more), more) words.push_back(prefix + text_of(key));
    }
    OBJ_remove_object(&object);
    OBJ_remove_object(&method);
    STRNG_REMOVE(&key);
}

void mutate(std::string &s) {
    static const std::string BYTES("'!,.&|=>\n\t \0\xff$R", 16);
    const size_t at = below(s.size() + 1), length = below(std::min<size_t>(s.size() - at + 1, 60));
    switch (below(7)) {
    case 0: s.erase(at, length); break;
    case 1: s.insert(at, " " + any(words) + " "); break;
    case 2: s.replace(at, length, " " + any(words) + " "); break;
    case 3: s.insert(at, 1, BYTES[below(BYTES.size())]); break;
    case 4: s.insert(below(s.size() + 1), s.substr(at, length)); break;
    case 5: { // a piece, sometimes often enough to reach a limit
        const std::string piece = s.substr(at, length);
        for (size_t n = below(20) ? 1 : below(1500); n > 0 && s.size() < MAX_INPUT; --n) s.insert(at, piece);
        break;
    }
    default: { // lines of another seed
        const std::string &other = any(seeds);
        s.insert(at, other.substr(other.rfind('\n', below(other.size() + 1)) + 1, below(400)));
    }
    }
}

void tame(std::string &s) {
    for (const std::string &word : UNWANTED) {
        for (size_t i; (i = s.find(word)) != std::string::npos;) s[i] = '_';
    }
    for (size_t i; (i = s.find("..")) != std::string::npos;) s[i] = '_';
    for (size_t i = 0; i < s.size(); ++i) {
        const bool alone = (i == 0 || isspace(s[i - 1])) && (i + 1 == s.size() || isspace(s[i + 1]));
        if (s[i] == '/' && !alone) s[i] = '_'; // the operator stays, paths go
    }
    s.resize(std::min(s.size(), MAX_INPUT));
}

void limit_time(int timer, long milliseconds) {
    const itimerval t{{0, 0}, {milliseconds / 1000, milliseconds % 1000 * 1000}};
    setitimer(static_cast<decltype(ITIMER_REAL)>(timer), &t, nullptr);
}

[[noreturn]] void child(const fs::path &folder, const fs::path &report) {
    const rlimit cpu{5, 5}, size{1 << 24, 1 << 24};
    setrlimit(RLIMIT_CPU, &cpu);
    setrlimit(RLIMIT_FSIZE, &size);
    limit_time(ITIMER_PROF, 2000);
    limit_time(ITIMER_REAL, 10000); // also against waiting
    const int null = open("/dev/null", O_RDWR);
    const int errors = open(report.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    if (chdir(folder.c_str()) != 0 || dup2(null, 0) < 0 || dup2(null, 1) < 0 || dup2(errors, 2) < 0) _exit(98);
    const char *arguments[] = {"compile_fuzz", "-cgi", "-temp_dir", ".", "-script", "input.qor"};
    OPTION_LOAD_OPTIONS(6, arguments);
    if (QORPROC_COMPILE() == 0) {
        shared->compiled = true;
        limit_time(ITIMER_PROF, 200);
        QORPROC_RUN();
    }
    QORPROC_TERMINATE();
    _exit(0);
}

// What the child's end tells: empty when all is well.
std::string verdict(int status, const fs::path &report) {
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "";
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (signal == SIGPROF || signal == SIGXCPU || signal == SIGALRM) return shared->compiled ? "" : "hang";
    if (signal == SIGXFSZ) return "";
    std::ifstream in(report);
    for (std::string line; std::getline(in, line);) {
        if (line.find("SUMMARY:") != std::string::npos || line.find("runtime error:") != std::string::npos) return line;
    }
    return signal ? "signal " + std::to_string(signal) : "exit " + std::to_string(WEXITSTATUS(status));
}

bool reached_new_code() {
    static std::vector<uint8_t> seen(GUARDS);
    bool is_new = false;
    for (size_t i = 0; i < GUARDS; ++i) {
        if (shared->reached[i] && !seen[i]) is_new = seen[i] = true;
    }
    return is_new;
}

std::string read_file(const fs::path &path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void write_file(const fs::path &path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

} // namespace

// Called by the instrumented kernel and the sanitizers.
extern "C" {
QOR_API void __sanitizer_cov_trace_pc_guard(uint32_t *guard) {
    if (shared) shared->reached[*guard % GUARDS] = 1;
}
QOR_API void __sanitizer_cov_trace_pc_guard_init(uint32_t *begin, uint32_t *end) {
    static uint32_t count = 0;
    for (; begin != end; ++begin) *begin = ++count;
}
QOR_API const char *__asan_default_options() { return "detect_leaks=0:exitcode=99:max_allocation_size_mb=512"; }
}

int main(int argc, char **argv) {
    if (argc < 4) return std::fputs("compile_fuzz SECONDS SEED_FOLDER OUT_FOLDER [RANDOM_SEED]\n", stderr), 2;
    rng.seed(argc > 4 ? std::strtoull(argv[4], nullptr, 10) : static_cast<uint64_t>(time(nullptr)));
    for (const auto &file : fs::recursive_directory_iterator(argv[2])) {
        if (file.path().extension() == ".qor" || file.path().extension() == ".inc") seeds.push_back(read_file(file));
    }
    if (seeds.empty()) return std::fputs("no seeds\n", stderr), 2;
    const fs::path out = fs::absolute(argv[3]), folder = out / "run", report = out / "report";
    fs::create_directories(out);
    QORPROC_INIT();
    add_method_names();
    shared = static_cast<Shared *>(mmap(nullptr, sizeof *shared, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

    std::map<std::string, int> finds;
    size_t inputs = 0, compiled = 0, saved = 0;
    const size_t given = seeds.size();
    for (const time_t end = time(nullptr) + std::atoi(argv[1]); time(nullptr) < end; ++inputs) {
        std::string input = inputs < given ? seeds[inputs] : any(seeds);
        if (inputs >= given) for (size_t n = 1 + below(8); n > 0; --n) mutate(input);
        tame(input);
        fs::remove_all(folder);
        fs::create_directory(folder);
        write_file(folder / "input.qor", input);
        std::memset(shared, 0, sizeof *shared);
        const pid_t pid = fork();
        if (pid == 0) child(folder, report);
        int status = 0;
        if (pid < 0 || waitpid(pid, &status, 0) != pid) return std::perror("fork"), 2;
        compiled += shared->compiled;
        if (reached_new_code() && inputs >= given) seeds.push_back(input);
        const std::string kind = verdict(status, report);
        if (kind.empty() || finds[kind]++ >= SAVED_PER_KIND) continue;
        const std::string name = "find-" + std::to_string(++saved);
        write_file(out / (name + ".qor"), input);
        fs::copy_file(report, out / (name + ".txt"), fs::copy_options::overwrite_existing);
        std::printf("%s: %s\n", name.c_str(), kind.c_str());
        std::fflush(stdout);
    }
    std::printf("%zu inputs, %zu compiled, %zu seeds, %zu kinds of finds\n", inputs, compiled, seeds.size(), finds.size());
    return finds.empty() ? 0 : 1;
}
