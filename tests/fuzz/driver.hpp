// What the fuzz targets share: mutates the seeds and runs each input in a child
// process of its own. Keeps the inputs that crash, that a sanitizer reports and
// that take too long.
//
//   TARGET SECONDS SEED_FOLDER OUT_FOLDER [RANDOM_SEED]
//
// Ends with 1 when something was found. With coverage guards in the kernel, an
// input that reaches new code becomes a seed.
#pragma once

#include <random>
#include <string>
#include <vector>

namespace fuzz {

struct Target {
    const char *name;
    std::vector<std::string> extensions;     // of the seeds; the first is that of the finds
    const char *gap;                         // what stands between two words
    std::string words;                       // the language's, ~ between two; those of the seeds are added
    void (*mutate)(std::string &) = nullptr; // the target's own mutation, one of eight
    void (*tame)(std::string &) = nullptr;   // takes out what an input must not do
    // Runs one input. In the child, after QORPROC_INIT in the parent: the current
    // folder is empty, the standard files lead nowhere. Returning is a good end.
    void (*run)(const std::string &input);
};

int main(int argc, char **argv, const Target &target);

// For mutate.
inline constexpr size_t MAX_INPUT = 20000;
extern std::mt19937_64 rng;
inline size_t below(size_t n) { return n ? rng() % n : 0; }
template <class T> const T &any(const std::vector<T> &v) { return v[below(v.size())]; }
extern std::vector<std::string> words; // all of them

// For run: the input has passed the part that must end, and may from now on run
// without end. It is stopped after these milliseconds of processor time.
void may_run_on(long milliseconds);

} // namespace fuzz
