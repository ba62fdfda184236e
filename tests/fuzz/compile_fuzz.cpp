// Mutates scripts; compiles and runs each in a child process of its own. Keeps
// the inputs that crash, that a sanitizer reports and that compile without end.
// A run that takes too long is no find, since a script may loop.
//
//   compile_fuzz SECONDS SEED_FOLDER OUT_FOLDER [RANDOM_SEED]
//
// Ends with 1 when something was found. With coverage guards in the kernel, an input
// that reaches new code becomes a seed. One of 4n bytes compiles with the option parse.
#include <fcntl.h>
#include <sys/mman.h>
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
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "qor/qor.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t GUARDS = 1 << 16, MAX_INPUT = 20000;

struct Shared {
    bool compiled;
    uint8_t reached[GUARDS];
};
Shared *shared = nullptr; // written by the child, read by the parent

std::mt19937_64 rng;
size_t below(size_t n) { return n ? rng() % n : 0; }
template <class T> const T &any(const std::vector<T> &v) { return v[below(v.size())]; }

std::vector<std::string> seeds;
std::vector<std::string> words = {"\n|INCL input.qor\n", "'a b'", "\t"};

// The language's words and those of the seeds, among them the method names.
void fill_words() {
    std::stringstream text;
    text << "MAP END_MAP => PROCEDURE END_PROCEDURE CLASS END_CLASS METHOD END_METHOD IF THEN ELSIF ELSE END_IF WHILE "
            "DO END_WHILE FOREACH END_FOREACH BREAK CONTINUE RETURN DISPLAY ERROR STATUS -> = == <> < <= > >= , . ! $ "
            "|MARKLOT |VERSION TRUE FALSE ROOT ROOT.VAR &ROOT &VAR.N LOCAL.A THIS IN OUT OPT SOURCES CLASSES NATIVE "
            "PROCEDURES DEFAULT QOR MESSAGE VERSION 0 1 -1 2147483647 3000000000 0.5 '' ' 'x',VAR.N,$ A..B ";
    for (const std::string &seed : seeds) text << seed << ' ';
    std::set<std::string> all;
    for (std::string word; text >> word;) all.insert(word);
    words.insert(words.end(), all.begin(), all.end());
}

void mutate(std::string &s) {
    static const std::string BYTES("'!,.&|=>\n\t \0\xff$R", 16);
    size_t at = below(s.size() + 1);
    if (below(4)) at = std::min(s.find_first_of(" \n", at), s.size()); // between two words: more compiles
    const std::string piece = s.substr(at, s.find_first_of(" \n", at + 1 + below(60)) - at);
    switch (below(8)) {
    case 0: s.erase(at, piece.size()); break;
    case 1: s.insert(at, " " + any(words) + " "); break;
    case 2: s.replace(at, std::min(s.find_first_of(" \n", at + 1), s.size()) - at, " " + any(words) + " "); break;
    case 3: s.insert(at, 1, BYTES[below(BYTES.size())]); break;
    case 4: s.insert(std::min(s.find_first_of(" \n", below(s.size() + 1)), s.size()), piece); break;
    case 5: s.insert(0, "MAP " + any(words) + " a => 1 END_MAP\n"); break;
    case 6: // sometimes often enough to reach a limit
        for (size_t n = below(20) ? 1 : below(1500); n > 0 && s.size() < MAX_INPUT; --n) s.insert(at, piece);
        break;
    default: { // lines of another seed
        const std::string &other = any(seeds);
        s.insert(at, other.substr(other.rfind('\n', below(other.size() + 1)) + 1, below(400)));
    }
    }
}

// Takes out what would reach beyond the child's folder or only wait.
void tame(std::string &s) {
    for (const char *text : {"OSCALL", "SLEEP", "SOCKET", "DIRECTORY", "RECEIVE_FILE", ".."}) {
        for (size_t i; (i = s.find(text)) != std::string::npos;) s[i] = '_';
    }
    for (size_t i = 0; i < s.size(); ++i) {
        const bool alone = (i == 0 || s[i - 1] <= ' ') && (i + 1 == s.size() || s[i + 1] <= ' ');
        if (s[i] == '/' && !alone) s[i] = '_'; // the operator stays, paths go
    }
    s.resize(std::min(s.size(), MAX_INPUT));
}

void limit_time(long milliseconds) {
    const itimerval t{{0, 0}, {milliseconds / 1000, milliseconds % 1000 * 1000}};
    setitimer(ITIMER_PROF, &t, nullptr);
}

[[noreturn]] void child(const fs::path &folder, const fs::path &report, bool parse) {
    alarm(10); // against waiting
    limit_time(2000);
    const int null = open("/dev/null", O_RDWR);
    const int errors = open(report.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    if (chdir(folder.c_str()) != 0 || dup2(null, 0) < 0 || dup2(null, 1) < 0 || dup2(errors, 2) < 0) _exit(98);
    const char *arguments[] = {"compile_fuzz", "-cgi", "-temp_dir", ".", "-script", "input.qor", "-parse"};
    OPTION_LOAD_OPTIONS(parse ? 7 : 6, arguments); // the trace runs script code while compiling
    if (QORPROC_COMPILE() == 0) {
        shared->compiled = true;
        limit_time(200);
        QORPROC_RUN();
    }
    QORPROC_TERMINATE();
    _exit(0);
}

// What the child's end tells: empty when all is well.
std::string verdict(int status, const fs::path &report) {
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "";
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (signal == SIGPROF || signal == SIGALRM) return shared->compiled ? "" : "hang";
    std::ifstream in(report);
    std::string kind = "status " + std::to_string(status);
    for (std::string line; std::getline(in, line) && line.find("#4 ") == line.npos;) {
        const size_t error = line.find("rror: "), frame = line.find(" in ");
        if (error != line.npos) kind += ' ' + line.substr(error + 6, 60);
        if (line.find('#') < 6 && frame != line.npos) kind += line.substr(frame, line.find('(', frame) - frame);
    }
    return kind;
}

bool reached_new_code() {
    static std::vector<uint8_t> seen(GUARDS);
    bool is_new = false;
    for (size_t i = 0; i < GUARDS; ++i) {
        if (shared->reached[i] && !seen[i]) is_new = seen[i] = true;
    }
    return is_new;
}

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
QOR_API const char *__asan_default_options() {
    return "detect_leaks=0:exitcode=99:max_allocation_size_mb=512:quarantine_size_mb=8";
}
QOR_API const char *__ubsan_default_options() { return "print_stacktrace=1"; }
}

int main(int argc, char **argv) {
    if (argc < 4) return std::fputs("compile_fuzz SECONDS SEED_FOLDER OUT_FOLDER [RANDOM_SEED]\n", stderr), 2;
    rng.seed(argc > 4 ? std::strtoull(argv[4], nullptr, 10) : static_cast<uint64_t>(time(nullptr)));
    for (const auto &file : fs::recursive_directory_iterator(argv[2])) {
        std::ifstream in(file.path(), std::ios::binary);
        const fs::path extension = file.path().extension();
        if (extension == ".qor" || extension == ".inc")
            seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    if (seeds.empty()) return std::fputs("no seeds\n", stderr), 2;
    const fs::path out = fs::absolute(argv[3]), folder = out / "run", report = out / "report";
    fs::create_directories(out);
    QORPROC_INIT();
    fill_words();
    constexpr int KIND = MAP_SHARED | MAP_ANONYMOUS;
    shared = static_cast<Shared *>(mmap(nullptr, sizeof *shared, PROT_READ | PROT_WRITE, KIND, -1, 0));
    std::map<std::string, int> finds;
    size_t inputs = 0, compiled = 0, saved = 0;
    const size_t given = seeds.size();
    for (const time_t end = time(nullptr) + std::atoi(argv[1]); time(nullptr) < end; ++inputs) {
        std::string input = inputs < given ? seeds[inputs] : any(seeds);
        for (size_t n = inputs < given ? 0 : 1 + below(3); n > 0; --n) mutate(input);
        tame(input);
        fs::remove_all(folder);
        fs::create_directory(folder);
        std::ofstream(folder / "input.qor", std::ios::binary) << input;
        std::memset(shared, 0, sizeof *shared);
        const pid_t pid = fork();
        if (pid == 0) child(folder, report, input.size() % 4 == 0);
        int status = 0;
        if (pid < 0 || waitpid(pid, &status, 0) != pid) return std::perror("fork"), 2;
        compiled += shared->compiled;
        if (reached_new_code() && inputs >= given) seeds.push_back(input);
        const std::string kind = verdict(status, report);
        if (kind.empty() || finds[kind]++ >= 2) continue;
        const std::string find = out / ("find-" + std::to_string(++saved));
        std::ofstream(find + ".qor", std::ios::binary) << input;
        fs::rename(report, find + ".txt");
        std::fprintf(stderr, "%s: %s\n", find.c_str(), kind.c_str());
    }
    std::printf("%zu inputs, %zu compiled, %zu seeds, %zu finds\n", inputs, compiled, seeds.size(), finds.size());
    return finds.empty() ? 0 : 1;
}
