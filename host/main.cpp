// The program qor: hands its command line to the kernel and gives the status of
// the run as its exit code.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/platform.hpp"
#include "qor/option.h"
#include "qor/qorproc.h"

namespace {

namespace platform = qor::platform;

constexpr int OUTPUT_LOST = 3;
constexpr const char *SWAP_FILE = "tmpobj.dat"; // what the kernel puts into a temporary directory

std::string temp_dir; // of this run alone; empty while there is none

void remove_temp_dir() {
    if (temp_dir.empty()) return;
    platform::remove_directory_tree(temp_dir);
    temp_dir.clear();
}

// Two runs must not share a directory, and that of the installation is often
// not writable.
const char *make_temp_dir() {
    temp_dir = platform::make_private_directory();
    if (temp_dir.empty()) return nullptr;
    platform::remove_when_killed(temp_dir, SWAP_FILE);
    return temp_dir.c_str();
}

// A run whose output did not get out has not succeeded.
int with_output_flushed(int status) {
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    std::fputs("qor: error writing the standard output\n", stderr);
    return status ? status : OUTPUT_LOST;
}

} // namespace

int main(int argc, char **argv) {
    platform::reserve_standard_handles();
    if (argc == 2 && std::string_view(argv[1]) == "-version") {
        std::puts("QorScript " QOR_VERSION);
        return with_output_flushed(0);
    }
    if (argc < 2) std::fputs("usage: qor SCRIPT [-NAME [VALUE]]...\n", stderr);
    // Leaving by exit from inside the kernel must not leave the directory behind.
    std::atexit(remove_temp_dir);
    platform::on_broken_pipe(remove_temp_dir);

    QORPROC_INIT();
    QORLIB_LOAD(0, (std::string("libqor") + platform::LIBRARY_SUFFIX).c_str());
    OPTION_SET_TEMP_DIR_SUPPLIER(make_temp_dir);
    OPTION_LOAD_OPTIONS(argc, argv);
    const int32_t status = QORPROC_START();
    QORPROC_TERMINATE();
    return with_output_flushed(status);
}
