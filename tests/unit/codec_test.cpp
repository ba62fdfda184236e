// The codec module, as the kernel loads it, against known vectors and another
// encoder.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include "kernel_environment.hpp"
#include "qor/qor.h"
#include "texts.hpp"

namespace {

// Onto the text's own bytes.
std::string encode(std::string_view text) {
    static void *library = dlopen("codec.so", RTLD_NOW | RTLD_LOCAL);
    if (!library) return dlerror();
    static const auto procedure = reinterpret_cast<void (*)(STRNG, STRNG *)>(dlsym(library, "CODEC_BASE64_ENCODE"));
    return text_by([text](STRNG *s) {
        for (const char c : text) STRNG_APPC(static_cast<uint8_t>(c), s);
        procedure(*s, s);
    });
}

TEST(Codec, KnownVectors) {
    const char *const forms[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (size_t n = 0; n < 7; ++n) EXPECT_EQ(encode(std::string_view("foobar", n)), forms[n]);
}

TEST(Codec, AgreesWithAnotherEncoder) {
    const std::string file = testing::TempDir() + "codec_test.bin";
    std::mt19937_64 random(4648);
    std::string text(10'000'000, '\0');
    for (char &c : text) c = static_cast<char>(random());
    std::ofstream(file, std::ios::binary) << text;
    FILE *encoder = popen(("base64 -w0 '" + file + "'").c_str(), "r");
    ASSERT_NE(encoder, nullptr);
    std::string expected(14'000'000, '\0');
    expected.resize(fread(expected.data(), 1, expected.size(), encoder));
    EXPECT_EQ(pclose(encoder), 0);
    std::remove(file.c_str());
    EXPECT_TRUE(encode(text) == expected);
}

} // namespace
