// The bridge to the codec module. Its entries are not exported again.
#include <cstdio>
#include <string>

#include "kernel/lifecycle.hpp"
#include "kernel/upcalls.hpp"
#include "platform/platform.hpp"

namespace qor {

namespace {

void *codec_library = nullptr;
void (*base64_encode)(STRNG input, STRNG *output) = nullptr;
void (*codec_init)(const char *kernel_library) = nullptr;
void (*codec_terminate)() = nullptr;

std::string file_name() { return std::string("codec") + platform::LIBRARY_SUFFIX; }

template <typename Procedure> bool resolve(const char *name, Procedure *procedure) {
    *procedure = reinterpret_cast<Procedure>(platform::find_symbol(codec_library, name));
    if (!*procedure) std::printf("unable to load proc %s from library %s\n", name, file_name().c_str());
    return *procedure != nullptr;
}

} // namespace

void CODEC_BASE64_ENCODE(STRNG input, STRNG *output) { base64_encode(input, output); }

// Its texts go straight to the standard output: there may be no channel yet.
bool codec_bridge_connect() {
    codec_library = platform::load_library(file_name());
    if (!codec_library) {
        std::printf("GetLastError:\n%s\n", platform::library_error().c_str());
        return false;
    }
    // All of them, so that one run shows all that are missing.
    bool complete = resolve("CODEC_BASE64_ENCODE", &base64_encode);
    complete = resolve("CODEC_INIT", &codec_init) && complete;
    complete = resolve("CODEC_TERMINATE", &codec_terminate) && complete;
    if (!complete) return false;
    codec_init((std::string("libqor") + platform::LIBRARY_SUFFIX).c_str());
    return true;
}

void codec_bridge_disconnect() {
    if (!codec_library) return;
    codec_terminate();
    if (!platform::unload_library(codec_library))
        std::printf("unable to disconnect from module %s\n", file_name().c_str());
    codec_library = nullptr;
}

} // namespace qor
