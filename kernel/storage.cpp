#include "qor/storage.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "kernel/exit.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/storage.hpp"
#include "qor/msg.h"

namespace qor {

int64_t storage_size = 0;

namespace {

// Counts a block that the system gave.
void *counted(void *block, size_t size, const char *failure) {
    if (!block) [[unlikely]] {
        std::fputs(failure, stdout);
        QORPROC_ABORT();
        std::abort();
    }
    storage_size += static_cast<int64_t>(size);
    return block;
}

constexpr char OUT_OF_MEMORY[] = "Storage_ALLOCATE: out of memory\n";

} // namespace

void *storage_allocate(size_t size) { return counted(std::malloc(size ? size : 1), size, OUT_OF_MEMORY); }

void *storage_allocate_zeroed(size_t size) { return counted(std::calloc(size ? size : 1, 1), size, OUT_OF_MEMORY); }

void *storage_reallocate(void *block, size_t old_size, size_t new_size) {
    if (!block) return storage_allocate(new_size);
    void *resized = std::realloc(block, new_size ? new_size : 1);
    resized = counted(resized, new_size, "Storage_REALLOCATE: out of memory\n");
    storage_size -= static_cast<int64_t>(old_size);
    return resized;
}

void storage_free(void *block, size_t size) {
    std::free(block);
    storage_size -= static_cast<int64_t>(size);
}

void storage_init() {
    static bool done = false;
    if (first_time(done)) storage_size = 0;
}

} // namespace qor

using namespace qor;

void Storage_ALLOCATE(void **block, uint32_t size) { *block = storage_allocate(size); }

void Storage_REALLOCATE(void **block, uint32_t old_size, uint32_t new_size) {
    *block = storage_reallocate(*block, old_size, new_size);
}

void Storage_DEALLOCATE(void **block, uint32_t size) {
    if (!*block) {
        MESSAGE_ABORT1_C("DEALLOCATE: ptr is QOR_NIL\n");
        return;
    }
    storage_free(*block, size);
    *block = nullptr;
}

int64_t Storage_GET_SIZE() { return storage_size; }
int64_t Storage_GET_KBYTES() { return storage_size / 1024; }
int64_t Storage_GET_MBYTES() { return storage_size / 1048576; }
int64_t Storage_GET_LIMIT() { return 3'000'000'000'000'000'000; }
void Storage_SET_LIMIT(int64_t) {}
