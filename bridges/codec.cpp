// The bridge to the codec module. Its entries are not exported again.
#include "bridges/forward.hpp"
#include "bridges/module.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/upcalls.hpp"

QOR_ENTRY_POINTER(CODEC_BASE64_ENCODE)
QOR_ENTRY_POINTER(CODEC_INIT)
QOR_ENTRY_POINTER(CODEC_TERMINATE)

namespace qor {

namespace {

constexpr Module_entry ENTRIES[] = {
    {"CODEC_BASE64_ENCODE", &bridge_entry_CODEC_BASE64_ENCODE},
    {"CODEC_INIT", &bridge_entry_CODEC_INIT},
    {"CODEC_TERMINATE", &bridge_entry_CODEC_TERMINATE},
};

Outside_module codec_module("codec", ENTRIES);

} // namespace

void CODEC_BASE64_ENCODE(STRNG input, STRNG *output) {
    as_procedure<void (*)(STRNG, STRNG *)>(bridge_entry_CODEC_BASE64_ENCODE)(input, output);
}

bool codec_bridge_connect() { return codec_module.load() && codec_module.start(); }
void codec_bridge_disconnect() { codec_module.disconnect(); }

} // namespace qor
