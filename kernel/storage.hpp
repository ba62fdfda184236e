// Storage for the kernel's own records: counted like every block, and pools of
// records of one size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace qor {

extern int64_t storage_size;

// Never null: out of memory ends the run.
void *storage_allocate(size_t size);
// The same, all bytes zero. A large block takes memory only where it is written.
void *storage_allocate_zeroed(size_t size);
// Resizes a block (null is an empty one), which stays as it is when that fails.
void *storage_reallocate(void *block, size_t old_size, size_t new_size);
void storage_free(void *block, size_t size);

// A sanitizer build hands out each record on its own, so that a use after the
// release is seen.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool POOLED_RECORDS = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool POOLED_RECORDS = false;
#else
inline constexpr bool POOLED_RECORDS = true;
#endif
#else
inline constexpr bool POOLED_RECORDS = true;
#endif

// Records of SIZE bytes from a free list; taking and giving back one is a few
// instructions. What was taken from the system stays in the pool.
template <size_t SIZE> class Record_pool {
  public:
    void *take() {
        if constexpr (!POOLED_RECORDS) return storage_allocate(SIZE);
        storage_size += SIZE;
        if (!free_) [[unlikely]]
            refill();
        Link *record = free_;
        free_ = record->next;
        return record;
    }
    void give(void *record) {
        if constexpr (!POOLED_RECORDS) {
            storage_free(record, SIZE);
            return;
        }
        storage_size -= SIZE;
        Link *link = static_cast<Link *>(record);
        link->next = free_;
        free_ = link;
    }

  private:
    struct Link {
        Link *next;
    };
    static constexpr size_t CHUNK = 512;

    void refill() {
        char *chunk = static_cast<char *>(storage_allocate(SIZE * CHUNK));
        storage_size -= static_cast<int64_t>(SIZE * CHUNK);
        for (size_t i = CHUNK; i-- > 0;) {
            Link *link = reinterpret_cast<Link *>(chunk + i * SIZE);
            link->next = free_;
            free_ = link;
        }
    }

    Link *free_ = nullptr;
};

// Blocks of a few sizes, for records with tails. Small ones come from free lists,
// one for each size in steps of eight, and stay in the pool; a large block is one
// of the system's.
class Block_pool {
  public:
    void *take(size_t size) {
        if (!POOLED_RECORDS || size > LARGEST) return storage_allocate(size);
        Link *&first = free_[size / 8];
        if (!first) [[unlikely]]
            return carve(size);
        storage_size += static_cast<int64_t>(size);
        Link *block = first;
        first = block->next;
        return block;
    }
    void give(void *block, size_t size) {
        if (!POOLED_RECORDS || size > LARGEST) {
            storage_free(block, size);
            return;
        }
        storage_size -= static_cast<int64_t>(size);
        Link *link = static_cast<Link *>(block);
        link->next = free_[size / 8];
        free_[size / 8] = link;
    }

  private:
    struct Link {
        Link *next;
    };
    static constexpr size_t LARGEST = 256;
    static constexpr size_t CHUNK = 65536;

    // A new block, from the chunk that all sizes share.
    void *carve(size_t size) {
        if (left_ < size) {
            chunk_ = static_cast<char *>(storage_allocate(CHUNK));
            storage_size -= static_cast<int64_t>(CHUNK);
            left_ = CHUNK;
        }
        storage_size += static_cast<int64_t>(size);
        left_ -= size;
        return std::exchange(chunk_, chunk_ + size);
    }

    Link *free_[LARGEST / 8 + 1] = {};
    char *chunk_ = nullptr;
    size_t left_ = 0;
};

} // namespace qor
