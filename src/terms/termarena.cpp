#include "terms/termarena.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

namespace tarq {

namespace {

constexpr size_t LARGE_PAGE = size_t{1} << 21;

// Under the address sanitizer what stands behind the header of a free cell is out of bounds.
void poison([[maybe_unused]] TermArena::Cell* c, [[maybe_unused]] size_t granules)
{
#ifdef __SANITIZE_ADDRESS__
    __asan_poison_memory_region(c + 1, (granules - 1) * TermArena::GRANULE);
#endif
}

void unpoison([[maybe_unused]] TermArena::Cell* c, [[maybe_unused]] size_t granules)
{
#ifdef __SANITIZE_ADDRESS__
    __asan_unpoison_memory_region(c + 1, (granules - 1) * TermArena::GRANULE);
#endif
}

} // namespace

void prefer_large_pages([[maybe_unused]] void* p, [[maybe_unused]] size_t bytes)
{
#ifdef __linux__
    const uintptr_t start = reinterpret_cast<uintptr_t>(p);
    const uintptr_t first = (start + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE;
    const uintptr_t end = (start + bytes) / LARGE_PAGE * LARGE_PAGE;
    if (first < end) {
        madvise(static_cast<char*>(p) + (first - start), end - first, MADV_HUGEPAGE);
    }
#endif
}

TermArena::TermArena() : block_of_slot_(64, 0), slot_mask_(block_of_slot_.size() - 1) {}

TermArena::~TermArena()
{
    for (const Block& b : blocks_) {
        std::free(b.base);
    }
}

bool TermArena::owns(const void* p) const
{
    return std::any_of(blocks_.begin(), blocks_.end(), [p](const Block& b) {
        const uintptr_t offset =
            reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(b.base);
        return b.base && offset < b.size;
    });
}

size_t TermArena::bytes() const
{
    size_t n = 0;
    for (size_t i = 0; i < blocks_.size(); ++i) {
        if (blocks_[i].base) {
            n += static_cast<size_t>(used_end(i) - blocks_[i].base);
        }
    }
    return n;
}

TermArena::Cell* TermArena::next_cell(const Cell* c) const
{
    size_t i = 0;
    char* p = nullptr;
    if (c) {
        i = number_of(c) >> BLOCK_BITS;
        const size_t offset =
            static_cast<size_t>(reinterpret_cast<const char*>(c) - blocks_[i].base);
        p = c->granules == 0 ? used_end(i) : blocks_[i].base + offset + c->granules * GRANULE;
    }
    for (; i < blocks_.size(); ++i, p = nullptr) {
        if (!blocks_[i].base) {
            continue;
        }
        char* const end = used_end(i);
        for (p = p ? p : first_cell(i); p < end;) {
            Cell* next = reinterpret_cast<Cell*>(p);
            if ((next->granules & FREE) == 0) {
                return next;
            }
            p += (next->granules & ~FREE) * GRANULE;
        }
    }
    return nullptr;
}

void TermArena::close_current(Region& r)
{
    if (r.current != SIZE_MAX) {
        blocks_[r.current].used = r.cur;
        r.current = SIZE_MAX;
        r.cur = r.end = nullptr;
    }
}

/// The index of a new block of at least `size` bytes.
size_t TermArena::new_block(size_t size, unsigned region)
{
    size_t index = blocks_.size();
    if (!is_monotone_) {
        // entries of freed blocks are taken again, now that numbers are no measure of age
        index = 0;
        while (index < blocks_.size() && blocks_[index].base) {
            ++index;
        }
    }
    if (index == MAX_BLOCKS) {
        throw std::bad_alloc();
    }
    if (index == blocks_.size()) {
        blocks_.emplace_back();
    }
    constexpr size_t LARGE_PAGES_FROM = 4; // blocks; each region may have one that is half empty
    const size_t rounded = (size + BLOCK_SIZE - 1) / BLOCK_SIZE * BLOCK_SIZE;
    void* memory = std::aligned_alloc(BLOCK_SIZE, rounded);
    if (!memory) {
        throw std::bad_alloc();
    }
    if (index >= LARGE_PAGES_FROM) {
        prefer_large_pages(memory, rounded);
    }
    char* base = static_cast<char*>(memory);
    blocks_[index] = {base, base, rounded, region};
    try {
        insert_slot(index);
    } catch (...) {
        std::free(memory);
        blocks_[index] = Block();
        throw;
    }
    return index;
}

/// Enters a block in the table by address, doubling the table until no two blocks share a slot.
void TermArena::insert_slot([[maybe_unused]] size_t block)
{
    constexpr uint32_t NONE = UINT32_MAX;
    for (size_t size = block_of_slot_.size();; size *= 2) {
        std::vector<uint32_t> table(size, NONE);
        bool fits = true;
        for (size_t i = 0; i < blocks_.size() && fits; ++i) {
            if (blocks_[i].base) {
                const uintptr_t a = reinterpret_cast<uintptr_t>(blocks_[i].base);
                uint32_t& entry = table[(a / BLOCK_SIZE) & (size - 1)];
                fits = entry == NONE;
                entry = static_cast<uint32_t>(i) | (blocks_[i].region << REGION_SHIFT);
            }
        }
        if (fits) {
            block_of_slot_ = std::move(table);
            slot_mask_ = size - 1;
            TARQ_ASSERT(number_of(blocks_[block].base) == block << BLOCK_BITS);
            return;
        }
    }
}

void TermArena::add_block(unsigned region)
{
    const size_t index = new_block(BLOCK_SIZE, region);
    Region& r = regions_[region];
    close_current(r);
    r.current = index;
    r.cur = first_cell(index);
    r.end = blocks_[index].base + BLOCK_SIZE;
}

TermArena::Cell* TermArena::alloc_large(size_t size, unsigned region)
{
    const size_t index = new_block(size + GRANULE, region); // block 0 has a granule less
    close_current(regions_[region]);                        // later cells need higher numbers
    Cell* c = reinterpret_cast<Cell*>(first_cell(index));
    blocks_[index].used = blocks_[index].base + blocks_[index].size;
    c->granules = 0;
    return c;
}

TermArena::Cell* TermArena::alloc_free(Region& r, size_t granules)
{
    Cell* c = at(r.free[granules]);
    r.free[granules] = c->next;
    c->granules = static_cast<uint16_t>(granules);
    unpoison(c, granules);
    return c;
}

void TermArena::free(Cell* c)
{
    is_monotone_ = false;
    const uint32_t number = number_of(c);
    const size_t granules = c->granules;
    if (granules == 0) {
        free_block(number >> BLOCK_BITS);
        return;
    }
    std::vector<uint32_t>& lists = regions_[region_of(c)].free;
    if (granules >= lists.size()) {
        lists.resize(granules + 1, 0);
    }
    c->next = lists[granules];
    c->granules |= FREE;
    lists[granules] = number;
    poison(c, granules);
}

void TermArena::free_block(size_t i)
{
    Region& r = regions_[blocks_[i].region];
    if (i == r.current) {
        close_current(r);
    }
    std::free(blocks_[i].base);
    blocks_[i] = Block(); // its slot in the table stays: no address leads there any more
}

void TermArena::release_empty_blocks()
{
    std::vector<bool> in_use(blocks_.size(), false);
    for (const Cell* c = next_cell(nullptr); c; c = next_cell(c)) {
        in_use[number_of(c) >> BLOCK_BITS] = true;
    }
    // the lists of free cells lose what lies in the blocks that go, and keep their order
    for (Region& r : regions_) {
        for (uint32_t& head : r.free) {
            uint32_t* link = &head;
            for (uint32_t n = head; n != 0;) {
                Cell* c = at(n);
                const uint32_t next = c->next;
                if (in_use[n >> BLOCK_BITS]) {
                    *link = n;
                    link = &c->next;
                }
                n = next;
            }
            *link = 0;
        }
    }
    for (size_t i = 0; i < blocks_.size(); ++i) {
        if (blocks_[i].base && !in_use[i]) {
            free_block(i);
        }
    }
}

} // namespace tarq
