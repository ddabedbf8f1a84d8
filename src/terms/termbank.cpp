#include "terms/termbank.h"

#include "base/assertion.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

namespace tarq {

namespace {

constexpr uint64_t MIN_BUCKETS = 32;
constexpr uint64_t MAX_BUCKETS = uint64_t{1} << 31;
// At most one term a bucket on average. Growing fourfold saves two thirds of the cells that growing
// visits again, each at a random place.
constexpr uint64_t GROWTH = 4;
constexpr uint64_t NUM_CLASSES = 31; // of hashes; one bit of a filter is left for CROWDED
constexpr uint64_t FACTOR = 0x9e3779b97f4a7c15U; // spreads every bit to the high ones

} // namespace

TermBank::TermBank() : buckets_(make_buckets(MIN_BUCKETS)), num_buckets_(MIN_BUCKETS)
{
    if (!buckets_) {
        throw std::bad_alloc();
    }
}

TermBank::~TermBank() = default;

void TermBank::FreeDeleter::operator()(Bucket* p) const
{
    std::free(p);
}

/// Zeroed; null when there is no memory. Every access is to a random place, so large pages spare as
/// many address translations.
TermBank::Buckets TermBank::make_buckets(size_t count)
{
    void* p = std::calloc(count, sizeof(Bucket));
    prefer_large_pages(p, count * sizeof(Bucket));
    return Buckets(static_cast<Bucket*>(p));
}

const Term_* TermBank::make_term(const Symbol* symbol, TermArgs children)
{
    TARQ_ASSERT(children.size() == symbol->arity());
    switch (children.size()) {
    case 0:
        return intern<0>(symbol, children);
    case 1:
        return intern<1>(symbol, children);
    case 2:
        return intern<2>(symbol, children);
    case 3:
        return intern<3>(symbol, children);
    default:
        return intern<SIZE_MAX>(symbol, children);
    }
}

/// N  the number of children, or SIZE_MAX for any
template <size_t N>
inline TermBank::Place TermBank::place_of(const Symbol* symbol, TermArgs args) const
{
    const size_t n = N == SIZE_MAX ? args.size() : N;
    const Term_* home = nullptr;
    uint32_t highest = 0;
    uint64_t mixed = (symbol->get_id() << 32) * FACTOR;
    for (size_t i = 0; i < n; ++i) {
        TARQ_HEAVY_ASSERT(arena_.owns(args[i])); // not a term of another manager
        const uint32_t number = arena_.number_of(args[i]);
        mixed = (mixed ^ (mixed >> 32) ^ number) * FACTOR;
        home = number > highest ? args[i] : home;
        highest = std::max(number, highest);
    }
    // three parts of the hash that say little about each other
    const uint32_t hash_class = (((mixed >> 36) & 0xfff) * NUM_CLASSES) >> 12;
    return {home ? cell_of(home) : nullptr, static_cast<uint32_t>(mixed >> 32),
            uint32_t{1} << hash_class, static_cast<uint16_t>(mixed >> 20)};
}

TermBank::Place TermBank::place_of(const Term_* t) const
{
    return place_of<SIZE_MAX>(t->get_symbol(), t->children());
}

/// The term with this head and these children in the list that starts at the cell `first`, or null.
inline const Term_* TermBank::find_in_list(uint32_t first, uint16_t hash, const Symbol* symbol,
                                           const Term_* const* children, size_t n) const
{
    for (uint32_t number = first; number != 0;) {
        const Cell* c = arena_.at(number);
        if (c->hash == hash) {
            const Term_* t = term_of(c);
            if (t->symbol_ == symbol && std::equal(children, children + n, t->children_begin())) {
                return t;
            }
        }
        number = c->next;
    }
    return nullptr;
}

/// N  as for place_of. The shorter the way to the home, the more calls overlap in waiting for
///    memory.
template <size_t N>
inline const Term_* TermBank::intern(const Symbol* symbol, TermArgs args)
{
    const size_t n = N == SIZE_MAX ? args.size() : N;
    const Term_* const* children = args.data();
    const Place p = place_of<N>(symbol, args);
    if (p.home && (p.home->filter & p.bit) != 0) {
        if (const Term_* t = find_in_list(p.home->parents, p.in_cell, symbol, children, n)) {
            return t;
        }
    }
    const bool in_table = belongs_to_table(p);
    if (in_table) {
        const Bucket& b = bucket_of(p);
        if ((b.filter & p.bit) != 0) {
            if (const Term_* t = find_in_list(b.first, p.in_cell, symbol, children, n)) {
                return t;
            }
        }
    }
    Cell* c = arena_.alloc(sizeof(Term_) + n * sizeof(const Term_*),
                           static_cast<unsigned>(symbol->get_term_class()));
    c->parents = 0;
    c->filter = 0;
    c->hash = p.in_cell;
    Term_* t = new (term_of(c)) Term_(next_id_, symbol);
    const Term_** copy = reinterpret_cast<const Term_**>(t + 1);
    for (size_t i = 0; i < n; ++i) {
        copy[i] = children[i];
    }
    ++next_id_;
    ++size_;
    link(p, c);
    return t;
}

/// Enters a cell, which must not be in, where lookups find it.
inline void TermBank::link(const Place& p, Cell* c)
{
    if (belongs_to_table(p)) [[unlikely]] {
        add_to_bucket(p, c);
        if (++in_buckets_ > num_buckets_) {
            grow();
        }
        return;
    }
    c->next = p.home->parents;
    p.home->parents = arena_.number_of(c);
    p.home->filter |= (p.home->filter & p.bit) != 0 ? CROWDED : p.bit;
}

void TermBank::add_to_bucket(const Place& p, Cell* c)
{
    Bucket& b = bucket_of(p);
    c->next = b.first;
    b = {arena_.number_of(c), b.filter | p.bit};
}

/// Goes to the next size. Without the memory for it the table stays as it is and works on, slower.
void TermBank::grow()
{
    const uint64_t wanted = num_buckets_ * GROWTH;
    Buckets buckets = wanted <= MAX_BUCKETS ? make_buckets(wanted) : nullptr;
    if (!buckets) {
        return;
    }
    buckets_.swap(buckets);
    const uint64_t old_count = std::exchange(num_buckets_, wanted);
    for (uint64_t i = 0; i < old_count; ++i) {
        for (uint32_t n = buckets[i].first; n != 0;) {
            Cell* c = arena_.at(n);
            n = c->next;
            add_to_bucket(place_of(term_of(c)), c);
        }
    }
}

void TermBank::remove_unseen(const BitVector& seen)
{
    std::vector<Cell*> dead;
    uint64_t max_id = 0;
    for (Cell* c = arena_.next_cell(nullptr); c; c = arena_.next_cell(c)) {
        const uint64_t id = term_of(c)->id_;
        if (id < seen.size() && seen.get(id)) {
            max_id = std::max(max_id, id);
        } else {
            dead.push_back(c);
        }
    }
    next_id_ = max_id + 1;
    if (dead.empty()) {
        return;
    }
    // freed by descending id, the cells are handed out again in the order of their age
    std::sort(dead.begin(), dead.end(),
              [](Cell* a, Cell* b) { return term_of(a)->id_ > term_of(b)->id_; });
    for (Cell* c : dead) {
        arena_.free(c);
    }
    size_ -= dead.size();
    arena_.release_empty_blocks();
    relink();
}

/// Enters all cells anew, by ascending number.
void TermBank::relink()
{
    std::memset(static_cast<void*>(buckets_.get()), 0, bucket_bytes());
    in_buckets_ = 0;
    for (Cell* c = arena_.next_cell(nullptr); c; c = arena_.next_cell(c)) {
        c->parents = 0;
        c->filter = 0;
    }
    for (Cell* c = arena_.next_cell(nullptr); c; c = arena_.next_cell(c)) {
        link(place_of(term_of(c)), c);
    }
    TARQ_HEAVY_ASSERT(check_invariants());
}

/// Every list holds what belongs there and its filter announces it, all cells are in one, and ids
/// are below next_id_.
bool TermBank::check_invariants() const
{
    size_t count = 0;
    const auto fits = [&](uint32_t first, uint32_t filter, auto&& belongs) {
        for (uint32_t n = first; n != 0; n = arena_.at(n)->next) {
            const Cell* c = arena_.at(n);
            const Place p = place_of(term_of(c));
            if ((filter & p.bit) == 0 || c->hash != p.in_cell || !belongs(p) ||
                term_of(c)->id_ >= next_id_) {
                return false;
            }
            ++count;
        }
        return true;
    };
    for (const Cell* c = arena_.next_cell(nullptr); c; c = arena_.next_cell(c)) {
        if (!fits(c->parents, c->filter, [&](const Place& p) { return p.home == c; })) {
            return false;
        }
    }
    for (size_t b = 0; b < num_buckets_; ++b) {
        const Bucket& bucket = buckets_[b];
        if (!fits(bucket.first, bucket.filter, [&](const Place& p) {
                return &bucket_of(p) == &bucket && belongs_to_table(p);
            })) {
            return false;
        }
    }
    return count == size_;
}

} // namespace tarq
