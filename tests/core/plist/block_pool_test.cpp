#include "plist/block_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace numbrel {
namespace {

struct Block {
    unsigned char* p;
    std::size_t bytes;
    unsigned char mark;
};

// Every live block keeps what was written into it, whatever is taken and given back around it.
TEST(BlockPool, BlocksHoldTheirBytesAndSlotsAreReused) {
    std::mt19937 random(7);
    std::vector<Block> live;
    std::set<void*> ever;
    for (int step = 0; step < 20000; ++step) {
        if (live.empty() || random() % 3 != 0) {
            std::size_t bytes = 1 + random() % 100;  // pooled and not
            auto* p = static_cast<unsigned char*>(allocateBlock(bytes));
            auto mark = static_cast<unsigned char>(random());
            std::memset(p, mark, bytes);
            live.push_back({p, bytes, mark});
            ever.insert(p);
        } else {
            std::size_t i = random() % live.size();
            const Block& b = live[i];
            ASSERT_TRUE(std::all_of(b.p, b.p + b.bytes, [&](unsigned char c) { return c == b.mark; }));
            freeBlock(b.p, b.bytes);
            live.erase(live.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    std::set<void*> distinct;
    for (const Block& b : live) {
        ASSERT_TRUE(std::all_of(b.p, b.p + b.bytes, [&](unsigned char c) { return c == b.mark; }));
        ASSERT_TRUE(distinct.insert(b.p).second);  // no two live blocks share a slot
        freeBlock(b.p, b.bytes);
    }
    EXPECT_LT(ever.size(), 20000u);  // freed slots were taken again
}

// A document is built on a worker thread and freed on the GUI thread: blocks cross threads, and two
// threads taking and giving at once never get the same slot.
TEST(BlockPool, ThreadsNeverShareASlot) {
    std::vector<std::uint64_t*> made(100000);
    std::thread worker([&] {
        for (std::size_t i = 0; i < made.size(); ++i) {
            made[i] = static_cast<std::uint64_t*>(allocateBlock(56));
            made[i][0] = i;
        }
    });
    worker.join();
    int clashes = 0;
    std::thread other([&] {
        for (std::uint64_t i = 0; i < 200000; ++i) {
            auto* p = static_cast<std::uint64_t*>(allocateBlock(56));
            p[1] = i;
            if (p[1] != i) ++clashes;
            freeBlock(p, 56);
        }
    });
    int damaged = 0;
    for (std::size_t i = 0; i < made.size(); ++i) {
        if (made[i][0] != i) ++damaged;
        freeBlock(made[i], 56);
    }
    other.join();
    EXPECT_EQ(damaged, 0);
    EXPECT_EQ(clashes, 0);
}

}  // namespace
}  // namespace numbrel
