// Memory pools, plain vectors, shared pointers and bit vectors.
#include "base/bitvector.h"
#include "base/memorypool.h"
#include "base/reallocvector.h"
#include "base/sharedptr.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <vector>

namespace tarq {

TEST(MemoryPool, freed_items_come_back_latest_first)
{
    MemoryPool pool(24);
    void* a = pool.alloc();
    void* b = pool.alloc();
    pool.free(a);
    pool.free(b);
    EXPECT_EQ(pool.alloc(), b);
    EXPECT_EQ(pool.alloc(), a);
}

TEST(MemoryPool, blocks_double_from_16_items_up_to_8192)
{
    MemoryPool pool(20);
    ASSERT_EQ(pool.item_size(), 24u);
    std::vector<size_t> runs; // lengths of the runs of adjacent items; heads keep blocks apart
    const char* last = nullptr;
    for (int i = 0; i < 16 + 32 + 64 + 128 + 256 + 512 + 1024 + 2048 + 4096 + 3 * 8192; ++i) {
        const char* item = static_cast<const char*>(pool.alloc());
        if (last && item == last + pool.item_size()) {
            ++runs.back();
        } else {
            runs.push_back(1);
        }
        last = item;
    }
    EXPECT_EQ(runs,
              (std::vector<size_t>{16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192, 8192, 8192}));
}

TEST(MemoryPool, items_are_disjoint_and_clear_takes_all_back)
{
    MemoryPool pool(sizeof(uint64_t) * 2);
    for (int round = 0; round < 3; ++round) {
        std::vector<uint64_t*> items;
        for (uint64_t i = 0; i < 1000; ++i) {
            items.push_back(static_cast<uint64_t*>(pool.alloc()));
            items.back()[0] = items.back()[1] = i;
            if (i % 3 == 2) {
                pool.free(items.back());
                items.pop_back();
            }
        }
        for (size_t k = 0; k < items.size(); ++k) {
            const uint64_t i = k / 2 * 3 + k % 2;
            ASSERT_EQ(items[k][0], i);
            ASSERT_EQ(items[k][1], i);
        }
        pool.clear();
    }
    MemoryPool other(std::move(pool));
    EXPECT_NE(other.alloc(), nullptr);
    EXPECT_NE(pool.alloc(), nullptr);
}

TEST(ReallocVector, capacity_grows_by_half_from_two)
{
    ReallocVector<int> v;
    std::vector<uint32_t> capacities;
    for (int i = 0; i < 30; ++i) {
        v.push(i);
        if (capacities.empty() || capacities.back() != v.capacity()) {
            capacities.push_back(v.capacity());
        }
    }
    EXPECT_EQ(capacities, (std::vector<uint32_t>{2, 3, 5, 8, 12, 18, 27, 41}));
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(v[static_cast<size_t>(i)], i);
    }
}

TEST(ReallocVector, an_element_can_be_pushed_again_while_the_vector_moves)
{
    ReallocVector<uint64_t> v;
    v.push(77);
    for (int i = 0; i < 100; ++i) {
        v.push(v[0]);
        EXPECT_EQ(v.back(), 77u);
    }
    v.grow_to(1000, v[3]);
    EXPECT_EQ(v.size(), 1000u);
    EXPECT_EQ(v.back(), 77u);
}

TEST(ReallocVector, shrinking_moving_and_copying_keep_the_right_elements)
{
    ReallocVector<int> v;
    for (int i = 0; i < 10; ++i) {
        v.push(i);
    }
    v.shrink_to(4);
    v.pop();
    ReallocVector<int> copy;
    copy.push(9);
    v.copy_to(copy);
    ReallocVector<int> moved(std::move(v));
    EXPECT_TRUE(v.empty());
    v.push(5);
    moved = std::move(v);
    EXPECT_EQ(std::vector<int>(copy.begin(), copy.end()), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(std::vector<int>(moved.begin(), moved.end()), std::vector<int>{5});
    moved.free_memory();
    EXPECT_EQ(moved.capacity(), 0u);
    moved.push(1);
    EXPECT_EQ(moved.back(), 1);
}

namespace {

struct Base {
    explicit Base(int* deleted) : deleted(deleted) {}
    virtual ~Base() { ++*deleted; }
    int* deleted;
};
struct Derived : Base {
    using Base::Base;
};

} // namespace

TEST(SharedPtr, the_last_pointer_deletes_the_object_once)
{
    int deleted = 0;
    {
        SharedPtr<Derived> d(new Derived(&deleted));
        SharedPtr<Base> b = d;
        SharedPtr<Base> moved = std::move(b);
        EXPECT_TRUE(b == nullptr);
        EXPECT_EQ(d.use_count(), 2u);
        const SharedPtr<Base>& self = moved;
        moved = self;
        EXPECT_EQ(moved.use_count(), 2u);
        d.reset();
        EXPECT_EQ(deleted, 0);
        moved = SharedPtr<Base>(new Base(&deleted));
        EXPECT_EQ(deleted, 1);
    }
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(SharedPtr<Base>(nullptr).use_count(), 0u);
}

TEST(BitVector, agrees_with_a_set_of_numbers)
{
    std::mt19937 random(4);
    BitVector bits;
    std::set<size_t> on;
    for (int step = 0; step < 5000; ++step) {
        bits.grow(bits.size() + random() % 3);
        if (bits.size() == 0) {
            continue;
        }
        const size_t i = random() % bits.size();
        switch (random() % 4) {
        case 0:
            bits.unset(i);
            on.erase(i);
            break;
        case 1:
            bits.set(i, false);
            on.erase(i);
            break;
        default:
            bits.set(i);
            on.insert(i);
        }
        if (step == 2500) {
            bits.clear();
            on.clear();
        }
        const size_t probe = random() % bits.size();
        ASSERT_EQ(bits.get(probe), on.contains(probe));
    }
    for (size_t i = 0; i < bits.size(); ++i) {
        ASSERT_EQ(bits.get(i), on.contains(i)) << i;
    }
}

} // namespace tarq
