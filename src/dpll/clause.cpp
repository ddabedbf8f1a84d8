// Making, moving and freeing clauses, and the pool behind them.
#include "dpll/clause.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace tarq::dpll {

namespace {

// 1 MiB: past that a larger block saves nothing and may waste more.
constexpr size_t max_block_words = 1 << 18;
// A large clause has its index in the list of large clauses in front.
constexpr size_t large_prefix = 2;

uint32_t* allocate_words(size_t n)
{
    void* p = std::malloc(n * sizeof(uint32_t));
    if (!p) {
        throw std::bad_alloc();
    }
    return static_cast<uint32_t*>(p);
}

uint32_t abstraction_of(const Lit* first, const Lit* last, int except)
{
    uint32_t a = 0;
    for (; first != last; ++first) {
        if (first->var() != except) {
            a |= uint32_t{1} << (first->var() & 31);
        }
    }
    return a;
}

} // namespace

void Clause::compute_abstraction(int except)
{
    words()[size() + 3] = abstraction_of(begin(), end(), except);
}

void Clause::set_moved(Clause* to)
{
    set_garbage();
    std::memcpy(words() + 1, &to, sizeof to); // ends before the reference count, also at size 1
}

Clause* Clause::moved_to() const
{
    Clause* to;
    std::memcpy(&to, words() + 1, sizeof to);
    return to;
}

ClausePool::~ClausePool()
{
    for (uint32_t* b : blocks_) {
        std::free(b);
    }
    for (uint32_t* b : large_) {
        std::free(b - large_prefix);
    }
}

void ClausePool::swap(ClausePool& o) noexcept
{
    blocks_.swap(o.blocks_);
    large_.swap(o.large_);
    free_.swap(o.free_);
    std::swap(next_, o.next_);
    std::swap(end_, o.end_);
    std::swap(next_block_words_, o.next_block_words_);
}

uint32_t* ClausePool::allocate(size_t n)
{
    if (n > max_pooled) {
        return allocate_large(n);
    }
    if (n < free_.size() && free_[n]) {
        uint32_t* p = free_[n];
        std::memcpy(&free_[n], p, sizeof(uint32_t*));
        return p;
    }
    if (static_cast<size_t>(end_ - next_) < n) {
        uint32_t* block = allocate_words(next_block_words_);
        blocks_.push_back(block);
        const size_t rest = static_cast<size_t>(end_ - next_);
        if (rest >= Clause::num_words(0, false)) {
            keep_free(next_, rest);
        }
        next_ = block;
        end_ = block + next_block_words_;
        next_block_words_ = std::min(2 * next_block_words_, max_block_words);
    }
    uint32_t* p = next_;
    next_ += n;
    return p;
}

void ClausePool::release(uint32_t* p, size_t n)
{
    if (n > max_pooled) {
        release_large(p);
    } else {
        keep_free(p, n);
    }
}

void ClausePool::keep_free(uint32_t* p, size_t n)
{
    if (n >= free_.size()) {
        free_.resize(n + 1, nullptr);
    }
    std::memcpy(p, &free_[n], sizeof(uint32_t*));
    free_[n] = p;
}

uint32_t* ClausePool::allocate_large(size_t n)
{
    large_.reserve(large_.size() + 1);
    uint32_t* p = allocate_words(n + large_prefix) + large_prefix;
    const uint64_t at = large_.size();
    std::memcpy(p - large_prefix, &at, sizeof at);
    large_.push_back(p);
    return p;
}

void ClausePool::release_large(uint32_t* p)
{
    uint64_t at;
    std::memcpy(&at, p - large_prefix, sizeof at);
    uint32_t* last = large_.back();
    large_[at] = last;
    std::memcpy(last - large_prefix, &at, sizeof at);
    large_.pop_back();
    std::free(p - large_prefix);
}

Clause* Clause_new(ClausePool& pool, const Lit* lits, size_t n, uint32_t id, bool learnt,
                   bool theory, bool extension)
{
    if (n > Clause::max_size) {
        throw make_error<Exception>("max clause size exceeded (size: ", n,
                                    ", max: ", Clause::max_size, ")");
    }
    uint32_t* w = pool.allocate(Clause::num_words(n, extension));
    Clause* c = new (w) Clause;
    c->head_ = static_cast<uint32_t>(n);
    std::copy_n(lits, n, c->begin());
    w[n + 1] = id * 2 + static_cast<uint32_t>(extension);
    w[n + 2] = 1 | (learnt ? Clause::learnt_bit : 0) | (theory ? Clause::theory_bit : 0);
    w[n + 3] = learnt ? std::bit_cast<uint32_t>(0.0F) : abstraction_of(lits, lits + n, -1);
    if (extension) {
        w[n + 4] = 0;
        w[n + 5] = static_cast<uint32_t>(-1);
    }
    return c;
}

Clause* Clause_copy(ClausePool& pool, const Clause* c)
{
    const size_t n = c->num_words();
    uint32_t* w = pool.allocate(n);
    std::memcpy(w, c->words(), n * sizeof(uint32_t));
    return reinterpret_cast<Clause*>(w);
}

bool Clause_release(ClausePool& pool, Clause* c)
{
    TARQ_ASSERT(c->num_references() > 0);
    if (c->num_references() > 1) {
        --c->words()[c->size() + 2];
        return false;
    }
    pool.release(c->words(), c->num_words());
    return true;
}

} // namespace tarq::dpll
