// Memory for the many small blocks of a document (a reading is two blocks of 56 bytes): slots of a few
// fixed sizes carved from 2 MB chunks that the kernel may back with huge pages, so that a million new
// readings fault in tens of pages instead of tens of thousands. Freed slots are kept for reuse (the
// chunks are not given back). Safe to use from any thread.
#pragma once

#include <cstddef>

namespace numbrel {

// A block of bytes (at most kMaxPooledBytes from the pool, else from the general heap).
void* allocateBlock(std::size_t bytes);
// Gives back a block allocated with the same size.
void freeBlock(void* block, std::size_t bytes) noexcept;

inline constexpr std::size_t kMaxPooledBytes = 64;

}  // namespace numbrel
