// What the tests of geometry share.
#pragma once

#include <dlfcn.h>

#include <limits>
#include <utility>

#include "qor/geom.h"

constexpr double FLAT = GEOM_NO_HEIGHT, PI = 3.14159265358979323846;
constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN(), INF = std::numeric_limits<double>::infinity();

// A geometry variable that releases what it holds.
struct Geom {
    QOR_GEOMETRY word = 0;

    Geom() = default;
    Geom(double x, double y, double z = FLAT) { GEOM_CREATE_POINT(&word, x, y, z); }
    Geom(Geom &&other) noexcept : word(std::exchange(other.word, 0)) {}
    Geom &operator=(Geom &&other) noexcept {
        std::swap(word, other.word);
        return *this;
    }
    ~Geom() { GEOM_REMOVE(&word); }
};

// The entries of the module that the kernel does not pass on.
template <typename Entry> Entry *entry_of_module(const char *name) {
    static void *const module = dlopen("geom.so", RTLD_LAZY | RTLD_NOLOAD);
    return reinterpret_cast<Entry *>(dlsym(module, name));
}
#define INTERNAL(name) (*entry_of_module<decltype(name)>(#name))
