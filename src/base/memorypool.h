// A pool of items of one size: a bump pointer over growing blocks, and a list of freed items.
#pragma once

#include "base/assertion.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

namespace tarq {

/// Hands out raw memory for items of one fixed size. A freed item is the next one handed out; fresh
/// items of a block lie side by side in the order of their allocation, so a structure built in one
/// go is walked through contiguous memory. Owns its blocks. Never runs constructors or destructors:
/// those are the caller's. An unused pool owns no memory.
class MemoryPool {
public:
    static constexpr size_t FIRST_BLOCK_ITEMS = 16;
    static constexpr size_t BLOCK_GROWTH = 2;
    static constexpr size_t MAX_BLOCK_ITEMS = 8192;

    /// item_size  bytes of an item; rounded up to a multiple of the pointer size. A type's sizeof
    ///            is a multiple of its alignment, so items are aligned for it up to 16 bytes.
    explicit MemoryPool(size_t item_size)
        : item_size_((std::max(item_size, sizeof(FreeItem)) + sizeof(FreeItem) - 1) /
                     sizeof(FreeItem) * sizeof(FreeItem))
    {
    }
    MemoryPool(const MemoryPool&) = delete;
    MemoryPool& operator=(const MemoryPool&) = delete;
    /// The source is left empty and usable.
    MemoryPool(MemoryPool&& o) noexcept : item_size_(o.item_size_) { swap(o); }
    MemoryPool& operator=(MemoryPool&& o) noexcept
    {
        if (this != &o) {
            MemoryPool old(std::move(o));
            swap(old);
        }
        return *this;
    }
    ~MemoryPool() { free_blocks(blocks_); }

    /// Memory for one item, uninitialised. Throws std::bad_alloc, with the pool unchanged.
    void* alloc()
    {
        if (free_) {
            FreeItem* item = free_;
            unpoison(item, item_size_);
            free_ = item->next;
            return item;
        }
        if (cur_ == end_) {
            add_block();
        }
        void* item = cur_;
        cur_ += item_size_;
        unpoison(item, item_size_);
        return item;
    }

    /// Takes back an item that alloc() of this pool gave; not null.
    void free(void* item)
    {
        TARQ_ASSERT(item);
        free_ = new (item) FreeItem{free_};
        poison(item, item_size_);
    }

    /// Takes back all items at once. Keeps the newest and largest block for reuse, so that a pool
    /// that is filled and cleared in turn soon stops asking the system for memory.
    void clear()
    {
        free_ = nullptr;
        if (blocks_) {
            free_blocks(std::exchange(blocks_->next, nullptr));
            cur_ = first_item(blocks_);
            poison(cur_, static_cast<size_t>(end_ - cur_));
        }
    }

    /// Bytes of one item, after rounding.
    size_t item_size() const { return item_size_; }

    void swap(MemoryPool& o) noexcept
    {
        std::swap(item_size_, o.item_size_);
        std::swap(free_, o.free_);
        std::swap(cur_, o.cur_);
        std::swap(end_, o.end_);
        std::swap(blocks_, o.blocks_);
        std::swap(next_block_items_, o.next_block_items_);
    }

private:
    struct FreeItem {
        FreeItem* next;
    };
    /// Head of a block; its size keeps the items behind it aligned as operator new aligns.
    struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) Block {
        Block* next;
    };

    // An item that is not handed out is out of bounds for the address sanitizer, as freed memory
    // is.
#ifdef __SANITIZE_ADDRESS__
    static void poison(void* p, size_t n)
    {
        __asan_poison_memory_region(p, n);
    }
    static void unpoison(void* p, size_t n)
    {
        __asan_unpoison_memory_region(p, n);
    }
#else
    static void poison(void*, size_t) {}
    static void unpoison(void*, size_t) {}
#endif

    static char* first_item(Block* b)
    {
        return reinterpret_cast<char*>(b + 1);
    }

    void add_block()
    {
        const size_t bytes = next_block_items_ * item_size_;
        Block* b = new (::operator new(sizeof(Block) + bytes)) Block{blocks_};
        blocks_ = b;
        cur_ = first_item(b);
        end_ = cur_ + bytes;
        poison(cur_, bytes);
        next_block_items_ = std::min(next_block_items_ * BLOCK_GROWTH, MAX_BLOCK_ITEMS);
    }

    static void free_blocks(Block* b)
    {
        while (b) {
            Block* next = b->next;
            ::operator delete(b);
            b = next;
        }
    }

    size_t item_size_;
    FreeItem* free_ = nullptr; // items given back, latest first
    char* cur_ = nullptr;      // next fresh item of the newest block
    char* end_ = nullptr;      // end of the newest block
    Block* blocks_ = nullptr;  // newest first
    size_t next_block_items_ = FIRST_BLOCK_ITEMS;
};

} // namespace tarq
