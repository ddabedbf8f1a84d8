// The clause record of the SAT engine, the pool that clauses live in, and the watch that points to
// a clause. Attaching, reducing and reference holders are the engine's (dpllsolver.h).
#pragma once

#include "base/assertion.h"
#include "base/exception.h"
#include "dpll/lit.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq::dpll {

class ClausePool;

#if defined(__SANITIZE_ADDRESS__)
#define TARQ_POOLS_CLAUSES false
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARQ_POOLS_CLAUSES false
#endif
#endif
#ifndef TARQ_POOLS_CLAUSES
#define TARQ_POOLS_CLAUSES true
#endif

/// One block of 32-bit words:
///   0         size in the low 24 bits, LBD (saturated at 255) in the top 8
///   1..size   the literals
///   size + 1  id * 2, plus 1 when the preprocessor extension is present
///   size + 2  reference count in the low 30 bits, bit 30 learnt, bit 31 theory clause
///   size + 3  activity (float) of a learnt clause, else the abstraction: the or of 1 << (var & 31)
///   size + 4, size + 5  with the extension only: preprocessor state, guarding variable or -1
/// The words that propagation reads (size and first literals) stand together at the front; what
/// only upkeep needs is behind the literals.
///
/// A clause has one reference at creation, the engine's own. Whoever keeps a pointer across a check
/// adds one: clauses with a single reference may be moved or freed by the engine.
class Clause {
public:
    static constexpr uint32_t max_size = 0xffffff;
    static constexpr uint32_t max_lbd = 255;

    Clause(const Clause&) = delete;
    Clause& operator=(const Clause&) = delete;

    uint32_t size() const { return head_ & max_size; }
    uint32_t lbd() const { return head_ >> 24; }
    void set_lbd(uint32_t lbd)
    {
        head_ = (head_ & max_size) | ((lbd < max_lbd ? lbd : max_lbd) << 24);
    }

    Lit* begin() { return reinterpret_cast<Lit*>(words() + 1); }
    Lit* end() { return begin() + size(); }
    const Lit* begin() const { return reinterpret_cast<const Lit*>(words() + 1); }
    const Lit* end() const { return begin() + size(); }
    Lit& operator[](uint32_t i)
    {
        TARQ_ASSERT(i < size());
        return begin()[i];
    }
    const Lit& operator[](uint32_t i) const
    {
        TARQ_ASSERT(i < size());
        return begin()[i];
    }

    /// Number of the clause in the order of creation; 31 bits.
    uint32_t id() const { return words()[size() + 1] >> 1; }
    bool has_extension() const { return (words()[size() + 1] & 1) != 0; }

    uint32_t num_references() const { return words()[size() + 2] & ref_mask; }
    void add_reference() { ++words()[size() + 2]; }
    bool is_learnt() const { return (words()[size() + 2] & learnt_bit) != 0; }
    bool is_theory() const { return (words()[size() + 2] & theory_bit) != 0; }
    void set_theory() { words()[size() + 2] |= theory_bit; }

    /// Learnt clauses only.
    float activity() const { return std::bit_cast<float>(words()[size() + 3]); }
    void set_activity(float a) { words()[size() + 3] = std::bit_cast<uint32_t>(a); }

    /// Permanent clauses only.
    uint32_t abstraction() const { return words()[size() + 3]; }
    /// Sets the abstraction to that of all literals but those over `except` (-1: all of them).
    void compute_abstraction(int except = -1);

    /// The preprocessor's word and the guarding variable; only with the extension.
    uint32_t preprocessor_state() const { return words()[size() + 4]; }
    void set_preprocessor_state(uint32_t s) { words()[size() + 4] = s; }
    int guard_var() const { return static_cast<int>(words()[size() + 5]); }
    void set_guard_var(int var) { words()[size() + 5] = static_cast<uint32_t>(var); }

    /// While the engine sweeps its lists a clause without references is garbage, or has moved to
    /// the place noted in the words of its literals; no such clause is seen outside of a sweep.
    void set_garbage() { words()[size() + 2] &= ~ref_mask; }
    bool is_garbage() const { return num_references() == 0; }
    void set_moved(Clause* to);
    Clause* moved_to() const;

    /// Words of a clause of `size` literals.
    static size_t num_words(size_t size, bool extension) { return size + (extension ? 6 : 4); }
    size_t num_words() const { return num_words(size(), has_extension()); }

private:
    friend class ClausePool;
    friend Clause* Clause_new(ClausePool&, const Lit*, size_t, uint32_t, bool, bool, bool);
    friend Clause* Clause_copy(ClausePool&, const Clause*);
    friend bool Clause_release(ClausePool&, Clause*);

    static constexpr uint32_t ref_mask = 0x3fffffff;
    static constexpr uint32_t learnt_bit = uint32_t{1} << 30;
    static constexpr uint32_t theory_bit = uint32_t{1} << 31;

    Clause() = default;

    uint32_t* words() { return &head_; }
    const uint32_t* words() const { return &head_; }

    uint32_t head_;
};

/// Memory of clauses: blocks that are filled from front to back, with a free list per size, so that
/// a clause costs its words and nothing else and clauses made together lie together.
///
/// Owns all memory it gave out; clauses need no destruction. Sizes above `max_pooled` words, which
/// are rare, come from the heap one by one; under the address sanitizer all do, so that it sees
/// uses of freed clauses.
class ClausePool {
public:
    ClausePool() = default;
    ClausePool(const ClausePool&) = delete;
    ClausePool& operator=(const ClausePool&) = delete;
    ~ClausePool();

    /// Uninitialised memory for a clause of n words (at least 4). Throws std::bad_alloc.
    uint32_t* allocate(size_t n);
    /// Gives n words at p back.
    void release(uint32_t* p, size_t n);
    void swap(ClausePool& o) noexcept;

    static constexpr size_t max_pooled = TARQ_POOLS_CLAUSES ? 512 : 0;

private:
    void keep_free(uint32_t* p, size_t n);
    uint32_t* allocate_large(size_t n);
    void release_large(uint32_t* p);

    std::vector<uint32_t*> blocks_;
    std::vector<uint32_t*> large_; // each with its position here in two words in front
    std::vector<uint32_t*> free_;  // by size the first free piece, which starts with the next one
    uint32_t* next_ = nullptr;     // unused rest of the last block
    uint32_t* end_ = nullptr;
    size_t next_block_words_ = 4096;
};

/// Makes a clause over a copy of the n literals at `lits`, with one reference, LBD 0, and activity
/// 0 or the abstraction of the literals.
/// extension  room for the preprocessor's words, state 0 and guard -1
/// throws     Exception "max clause size exceeded (size: N, max: 16777215)"
Clause* Clause_new(ClausePool& pool, const Lit* lits, size_t n, uint32_t id, bool learnt,
                   bool theory, bool extension);

/// A copy of c from the memory of `pool`.
Clause* Clause_copy(ClausePool& pool, const Clause* c);

/// Takes one reference off; at zero the memory goes back to the pool.
/// Returns true when the clause is gone.
bool Clause_release(ClausePool& pool, Clause* c);

/// An entry of a watch list: the clause, and one literal of it that, when true, makes a look at the
/// clause unnecessary. For a binary clause the blocker is the other literal, and the lowest bit of
/// the pointer is set, so that propagation over it never touches the clause. The next bit tells
/// learnt clauses, so that upkeep of those leaves the memory of all others alone.
class Watch {
public:
    Watch(Lit blocker, Clause* c)
        : blocker_(blocker),
          tagged_(reinterpret_cast<uintptr_t>(c) | static_cast<uintptr_t>(c->size() == 2) |
                  (static_cast<uintptr_t>(c->is_learnt()) << 1))
    {
    }

    Lit blocker() const { return blocker_; }
    void set_blocker(Lit l) { blocker_ = l; }
    bool is_binary() const { return (tagged_ & 1) != 0; }
    bool is_learnt() const { return (tagged_ & 2) != 0; }
    Clause* clause() const { return reinterpret_cast<Clause*>(tagged_ & ~uintptr_t{3}); }
    /// The same clause at a new place.
    void set_clause(Clause* c) { tagged_ = reinterpret_cast<uintptr_t>(c) | (tagged_ & 3); }

private:
    Lit blocker_;
    uintptr_t tagged_;
};

#undef TARQ_POOLS_CLAUSES

static_assert(sizeof(Clause) == 4, "the literals follow the first word at once");
static_assert(sizeof(Watch) == 16, "four watches to a cache line");

} // namespace tarq::dpll
