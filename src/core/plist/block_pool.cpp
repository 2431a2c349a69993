#include "plist/block_pool.h"

#include <sys/mman.h>

#include <cstdint>
#include <mutex>
#include <new>

namespace numbrel {

namespace {

// Under AddressSanitizer every block comes from the general heap, so that a block used after it was
// freed is still caught.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPooled = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPooled = false;
#else
constexpr bool kPooled = true;
#endif
#else
constexpr bool kPooled = true;
#endif

constexpr std::size_t kChunk = 2u << 20;

struct FreeSlot {
    FreeSlot* next;
};

// One size of slot: a list of freed slots, and the unused rest of the newest chunk.
class SlotPool {
public:
    explicit SlotPool(std::size_t slot) : slot_(slot) {}

    void* take() {
        std::lock_guard<std::mutex> lock(mutex_);
        if (FreeSlot* s = free_) {
            free_ = s->next;
            return s;
        }
        if (next_ == end_ && !grow()) return nullptr;
        void* p = next_;
        next_ += slot_;
        return p;
    }
    void give(void* p) noexcept {
        std::lock_guard<std::mutex> lock(mutex_);
        auto* s = static_cast<FreeSlot*>(p);
        s->next = free_;
        free_ = s;
    }

private:
    // A chunk aligned to its size (so that the kernel can give it one huge page), asked for huge
    // pages; nothing is lost when they are refused.
    bool grow() {
        void* raw = ::mmap(nullptr, 2 * kChunk, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (raw == MAP_FAILED) return false;
        auto start = reinterpret_cast<std::uintptr_t>(raw);
        std::uintptr_t aligned = (start + kChunk - 1) & ~(kChunk - 1);
        if (aligned > start) ::munmap(raw, aligned - start);
        std::uintptr_t tail = aligned + kChunk, rawEnd = start + 2 * kChunk;
        if (rawEnd > tail) ::munmap(reinterpret_cast<void*>(tail), rawEnd - tail);
#ifdef MADV_HUGEPAGE
        ::madvise(reinterpret_cast<void*>(aligned), kChunk, MADV_HUGEPAGE);
#endif
        next_ = reinterpret_cast<char*>(aligned);
        end_ = next_ + kChunk / slot_ * slot_;
        return true;
    }

    const std::size_t slot_;
    std::mutex mutex_;
    FreeSlot* free_ = nullptr;
    char* next_ = nullptr;
    char* end_ = nullptr;
};

SlotPool& poolFor(std::size_t bytes) {
    // Never destroyed: blocks may be freed by static destructors after main.
    static SlotPool* small = new SlotPool(32);
    static SlotPool* large = new SlotPool(64);
    return bytes <= 32 ? *small : *large;
}

}  // namespace

void* allocateBlock(std::size_t bytes) {
    if (kPooled && bytes <= kMaxPooledBytes) {
        if (void* p = poolFor(bytes).take()) return p;
        throw std::bad_alloc();
    }
    return ::operator new(bytes);
}

void freeBlock(void* block, std::size_t bytes) noexcept {
    if (!block) return;
    if (kPooled && bytes <= kMaxPooledBytes) {
        poolFor(bytes).give(block);
        return;
    }
    ::operator delete(block);
}

}  // namespace numbrel
