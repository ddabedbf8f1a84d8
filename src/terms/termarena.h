// TermArena: the memory of terms, in cells that a 32-bit number names. What a cell holds is
// TermBank's business.
#pragma once

#include "base/assertion.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq {

/// Cells of any size in blocks of 2 MiB, filled in order of creation.
///
/// Every cell has a number, counted in granules of 16 bytes over all blocks. Number and address
/// translate into each other by small tables that stay in the cache, so code that holds a term's
/// address has a reproducible number for it without touching the term. That is what makes
/// hash-consing of millions of terms bearable: with ids, each child costs a cache miss. Numbers
/// below one another say nothing about time once cells were freed.
///
/// Blocks are aligned to their size, which is that of a large page: from the third one on the
/// system is asked for such pages. A cell above 512 KiB has a block of its own, of more memory.
/// Each block serves one region, a small number that the owner gives with each cell; the region of
/// an address is found as fast as its number. Numbers of different regions do not compare by age.
/// Limit: 64 GiB of cells, after which std::bad_alloc is thrown.
class TermArena {
public:
    static constexpr size_t GRANULE = 16;

    /// What stands before the user's part of a cell.
    struct alignas(GRANULE) Cell {
        uint32_t next;     // for the owner while in use; the list of free cells otherwise
        uint32_t parents;  // for the owner
        uint32_t filter;   // for the owner
        uint16_t hash;     // for the owner
        uint16_t granules; // of the whole cell; bit 15: free; 0: in a block of its own
    };
    static_assert(sizeof(Cell) == GRANULE);

    TermArena();
    ~TermArena();
    TermArena(const TermArena&) = delete;
    TermArena& operator=(const TermArena&) = delete;

    static constexpr size_t NUM_REGIONS = 3;

    /// A cell with `bytes` bytes behind its header, aligned for pointers; `granules` is set, the
    /// rest is not. Throws std::bad_alloc with nothing changed.
    /// region  below NUM_REGIONS
    Cell* alloc(size_t bytes, unsigned region)
    {
        Region& r = regions_[region];
        const size_t granules = (bytes + sizeof(Cell) + GRANULE - 1) / GRANULE;
        const size_t size = granules * GRANULE;
        if (!is_monotone_ && granules < r.free.size() && r.free[granules] != 0) {
            return alloc_free(r, granules);
        }
        if (static_cast<size_t>(r.end - r.cur) < size) {
            if (granules > MAX_GRANULES) {
                return alloc_large(size, region);
            }
            add_block(region);
        }
        Cell* c = reinterpret_cast<Cell*>(r.cur);
        c->granules = static_cast<uint16_t>(granules);
        r.cur += size;
        return c;
    }
    /// Takes a cell back. The memory is used again for cells of the same size.
    void free(Cell* c);
    /// Gives blocks without a cell in use back to the system. Linear in the number of cells.
    void release_empty_blocks();

    /// The number of a cell, or of an address within one; at least 1.
    uint32_t number_of(const void* p) const { return static_cast<uint32_t>(key_of(p)); }
    /// Whether an address lies in a block of this arena. For checks.
    bool owns(const void* p) const;
    /// Region and number of an address within a cell, in the high and the low half.
    uint64_t key_of(const void* p) const
    {
        const uintptr_t a = reinterpret_cast<uintptr_t>(p);
        const uint64_t entry = block_of_slot_[(a / BLOCK_SIZE) & slot_mask_];
        return (entry << BLOCK_BITS) + (a % BLOCK_SIZE) / GRANULE;
    }
    unsigned region_of(const void* p) const { return static_cast<unsigned>(key_of(p) >> 32); }
    /// The cell with this number, which is in use.
    Cell* at(uint32_t number) const
    {
        return reinterpret_cast<Cell*>(blocks_[number >> BLOCK_BITS].base +
                                       size_t{number & BLOCK_MASK} * GRANULE);
    }

    /// Whether within each region numbers grow in order of allocation: until the first cell is
    /// freed.
    bool is_monotone() const { return is_monotone_; }
    /// Bytes of all blocks, without the ends that no cell has reached yet.
    size_t bytes() const;

    /// The cell in use with the next higher number after c, or the first of all when c is null; null
    /// at the end.
    Cell* next_cell(const Cell* c) const;

private:
    static constexpr size_t BLOCK_SIZE = size_t{1} << 21;
    static constexpr unsigned BLOCK_BITS = 17; // of the granule in its block
    static constexpr uint32_t BLOCK_MASK = (uint32_t{1} << BLOCK_BITS) - 1;
    static constexpr unsigned REGION_SHIFT = 32 - BLOCK_BITS; // in the entries of block_of_slot_
    static constexpr size_t MAX_BLOCKS = size_t{1} << REGION_SHIFT;
    static constexpr uint16_t FREE = 0x8000;
    static constexpr size_t MAX_GRANULES = FREE - 1;
    static_assert(BLOCK_SIZE == GRANULE << BLOCK_BITS);

    struct Block {
        char* base = nullptr; // null for an unused entry
        char* used = nullptr; // end of the cells; of a block being filled, see Region::cur
        size_t size = 0;
        unsigned region = 0;
    };
    struct Region {
        char* cur = nullptr; // next fresh cell of the block being filled
        char* end = nullptr;
        size_t current = SIZE_MAX;  // index of that block; SIZE_MAX for none
        std::vector<uint32_t> free; // head of the list of free cells, by granules
    };

    /// Granule 0 of block 0 holds no cell: number 0 means none.
    char* first_cell(size_t i) const { return blocks_[i].base + (i == 0 ? GRANULE : 0); }
    char* used_end(size_t i) const
    {
        const Region& r = regions_[blocks_[i].region];
        return i == r.current ? r.cur : blocks_[i].used;
    }

    Cell* alloc_free(Region& r, size_t granules);
    Cell* alloc_large(size_t size, unsigned region);
    void add_block(unsigned region);
    size_t new_block(size_t size, unsigned region);
    void insert_slot(size_t block);
    void free_block(size_t i);
    void close_current(Region& r);

    std::array<Region, NUM_REGIONS> regions_;
    std::vector<Block> blocks_;
    // By the block's address, modulo the table's size: its index, and its region from REGION_SHIFT
    // on, where the shift of the index to a number drops it.
    std::vector<uint32_t> block_of_slot_;
    uintptr_t slot_mask_ = 0;
    bool is_monotone_ = true;
};

/// Asks the system to map this memory, not touched yet, by large pages where it fills them. A wish:
/// refusal costs speed only.
void prefer_large_pages(void* p, size_t bytes);

} // namespace tarq
