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

namespace {

// Replaces what the output holds already.
std::string encode(const std::string &text) {
    static void *library = dlopen("codec.so", RTLD_NOW | RTLD_LOCAL);
    if (!library) return dlerror();
    static const auto procedure = reinterpret_cast<void (*)(STRNG, STRNG *)>(dlsym(library, "CODEC_BASE64_ENCODE"));
    STRNG input, output;
    STRNG_CREATE(&input);
    STRNG_CREATE(&output);
    STRNG_APPARR(static_cast<uint32_t>(text.size()), text.c_str(), &input, static_cast<uint32_t>(text.size()));
    STRNG_FILL_C("before", &output);
    procedure(input, &output);
    const std::string result(reinterpret_cast<const char *>(output.data), output.length);
    // Onto itself: the output of one is the input of the next.
    STRNG twice = input;
    procedure(twice, &twice);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(twice.data), twice.length), result);
    STRNG_REMOVE(&twice);
    STRNG_REMOVE(&output);
    return result;
}

TEST(Codec, KnownVectors) {
    const std::pair<const char *, const char *> vectors[] = {{"", ""},
                                                             {"f", "Zg=="},
                                                             {"fo", "Zm8="},
                                                             {"foo", "Zm9v"},
                                                             {"foob", "Zm9vYg=="},
                                                             {"fooba", "Zm9vYmE="},
                                                             {"foobar", "Zm9vYmFy"},
                                                             {"\xfb\xff\xbf", "+/+/"}};
    for (const auto &[text, encoded] : vectors) EXPECT_EQ(encode(text), encoded);
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
