// Storage for the kernel's own records: counted like every block, and pools of
// records of one size.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qor {

extern int64_t storage_size;

// Never null: out of memory ends the run.
void *storage_allocate(size_t size);
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

} // namespace qor
