#include "driver.hpp"

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
#include <set>
#include <sstream>

#include "qor/qor.h"

namespace fs = std::filesystem;

namespace fuzz {

std::mt19937_64 rng;
std::vector<std::string> words;

namespace {

constexpr size_t GUARDS = 1 << 16;

struct Shared {
    bool passed;
    uint8_t reached[GUARDS];
};
Shared *shared = nullptr; // written by the child, read by the parent

std::vector<std::string> seeds;

void fill_words(const Target &target) {
    std::set<std::string> all = {std::string(1025, 'k')}; // no map can hold it
    for (const std::string &seed : seeds) {
        std::stringstream text(seed);
        for (std::string word; text >> word;) all.insert(word);
    }
    std::stringstream own(target.words);
    for (std::string word; std::getline(own, word, '~');) all.insert(word);
    words.assign(all.begin(), all.end());
}

void mutate(std::string &s, const Target &target) {
    static const std::string BYTES("'!,.&|=>\n\t \0\xff$R", 16);
    size_t at = below(s.size() + 1);
    if (below(4)) at = std::min(s.find_first_of(" \n", at), s.size()); // between two words: more is well formed
    const std::string piece = s.substr(at, s.find_first_of(" \n", at + 1 + below(60)) - at);
    const std::string word = target.gap + any(words) + target.gap;
    switch (below(8)) {
    case 0: s.erase(at, piece.size()); break;
    case 1: s.insert(at, word); break;
    case 2: s.replace(at, std::min(s.find_first_of(" \n", at + 1), s.size()) - at, word); break;
    case 3: s.insert(at, 1, BYTES[below(BYTES.size())]); break;
    case 4: s.insert(std::min(s.find_first_of(" \n", below(s.size() + 1)), s.size()), piece); break;
    case 5: target.mutate ? target.mutate(s) : s.resize(at); break;
    case 6: // sometimes often enough to reach a limit
        for (size_t n = below(20) ? 1 : below(1500); n > 0 && s.size() < MAX_INPUT; --n) s.insert(at, piece);
        break;
    default: { // lines of another seed
        const std::string &other = any(seeds);
        s.insert(at, other.substr(other.rfind('\n', below(other.size() + 1)) + 1, below(400)));
    }
    }
}

void limit_time(long milliseconds) {
    const itimerval t{{0, 0}, {milliseconds / 1000, milliseconds % 1000 * 1000}};
    setitimer(ITIMER_PROF, &t, nullptr);
}

[[noreturn]] void child(const Target &target, const std::string &input, const fs::path &folder,
                        const fs::path &report) {
    alarm(10); // against waiting
    limit_time(2000);
    const int null = open("/dev/null", O_RDWR);
    const int errors = open(report.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    if (chdir(folder.c_str()) != 0 || dup2(null, 0) < 0 || dup2(null, 1) < 0 || dup2(errors, 2) < 0) _exit(98);
    target.run(input);
    _exit(0);
}

// What the child's end tells: empty when all is well.
std::string verdict(int status, const fs::path &report) {
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "";
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (signal == SIGPROF || signal == SIGALRM) return shared->passed ? "" : "hang";
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
    for (size_t i = 0; i < GUARDS; ++i)
        if (shared->reached[i] && !seen[i]) is_new = seen[i] = true;
    return is_new;
}

void read_seeds(const char *folder, const std::vector<std::string> &extensions) {
    std::set<fs::path> files; // in an order that a random seed can repeat
    for (const auto &file : fs::recursive_directory_iterator(folder)) {
        if (std::find(extensions.begin(), extensions.end(), file.path().extension()) != extensions.end())
            files.insert(file.path());
    }
    for (const fs::path &file : files) {
        std::ifstream in(file, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
}

} // namespace

void may_run_on(long milliseconds) {
    shared->passed = true;
    limit_time(milliseconds);
}

int main(int argc, char **argv, const Target &target) {
    if (argc < 4) return std::fprintf(stderr, "%s SECONDS SEED_FOLDER OUT_FOLDER [RANDOM_SEED]\n", target.name), 2;
    rng.seed(argc > 4 ? std::strtoull(argv[4], nullptr, 10) : static_cast<uint64_t>(time(nullptr)));
    read_seeds(argv[2], target.extensions);
    if (seeds.empty()) return std::fputs("no seeds\n", stderr), 2;
    const fs::path out = fs::absolute(argv[3]), folder = out / "run", report = out / "report";
    fs::create_directories(out);
    QORPROC_INIT();
    fill_words(target);
    constexpr int KIND = MAP_SHARED | MAP_ANONYMOUS;
    shared = static_cast<Shared *>(mmap(nullptr, sizeof *shared, PROT_READ | PROT_WRITE, KIND, -1, 0));
    std::map<std::string, int> finds;
    size_t inputs = 0, passed = 0, saved = 0;
    const size_t given = seeds.size();
    for (const time_t end = time(nullptr) + std::atoi(argv[1]); time(nullptr) < end; ++inputs) {
        std::string input = inputs < given ? seeds[inputs] : any(seeds);
        for (size_t n = inputs < given ? 0 : 1 + below(3); n > 0; --n) mutate(input, target);
        if (target.tame) target.tame(input);
        input.resize(std::min(input.size(), MAX_INPUT));
        fs::remove_all(folder);
        fs::create_directory(folder);
        std::memset(shared, 0, sizeof *shared);
        const pid_t pid = fork();
        if (pid == 0) child(target, input, folder, report);
        int status = 0;
        if (pid < 0 || waitpid(pid, &status, 0) != pid) return std::perror("fork"), 2;
        passed += shared->passed;
        if (reached_new_code() && inputs >= given) seeds.push_back(input);
        const std::string kind = verdict(status, report);
        if (kind.empty() || finds[kind]++ >= 2) continue;
        const std::string find = out / (std::string(target.name) + "-" + std::to_string(++saved));
        std::ofstream(find + target.extensions.front(), std::ios::binary) << input;
        fs::rename(report, find + ".report");
        std::fprintf(stderr, "%s: %s\n", find.c_str(), kind.c_str());
    }
    std::printf("%s: %zu inputs, %zu passed, %zu seeds, %zu finds\n", target.name, inputs, passed, seeds.size(),
                finds.size());
    return finds.empty() ? 0 : 1;
}

} // namespace fuzz

// Called by the instrumented kernel and the sanitizers.
extern "C" {
QOR_API void __sanitizer_cov_trace_pc_guard(uint32_t *guard) {
    if (fuzz::shared) fuzz::shared->reached[*guard % fuzz::GUARDS] = 1;
}
QOR_API void __sanitizer_cov_trace_pc_guard_init(uint32_t *begin, uint32_t *end) {
    static uint32_t count = 0;
    for (; begin != end; ++begin) *begin = ++count;
}
QOR_API const char *__asan_default_options() {
    // An array that a script asks for may be too large: the kernel is told so.
    return "detect_leaks=0:exitcode=99:max_allocation_size_mb=512:allocator_may_return_null=1:quarantine_size_mb=8";
}
QOR_API const char *__ubsan_default_options() { return "print_stacktrace=1"; }
}
