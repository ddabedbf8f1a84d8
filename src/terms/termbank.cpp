#include "terms/termbank.h"

#include "base/assertion.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace tarq {

TermBank::TermBank()
    : buckets_(make_buckets(hsh::detail::TABLE_SIZES[0].buckets)),
      table_(hsh::detail::TABLE_SIZES[0])
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

/// Zeroed; null when there is no memory.
TermBank::Buckets TermBank::make_buckets(size_t count)
{
    constexpr size_t LARGE_PAGE = size_t{1} << 21;
    const size_t bytes = count * sizeof(Bucket);
    if (bytes < 2 * LARGE_PAGE) {
        return Buckets(static_cast<Bucket*>(std::calloc(count, sizeof(Bucket))));
    }
    // every access is to a random place, so large pages spare as many address translations
    void* p = alloc_aligned_pages((bytes + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE, true);
    if (p) {
        std::memset(p, 0, bytes);
    }
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

/// N  the number of children, or SIZE_MAX for any. The shorter the way to the bucket, the more
///    calls overlap in waiting for memory.
template <size_t N>
inline const Term_* TermBank::intern(const Symbol* symbol, TermArgs args)
{
    const size_t n = N == SIZE_MAX ? args.size() : N;
    const Term_* const* children = args.data();
    uint64_t hash = symbol->get_id();
    for (size_t i = 0; i < n; ++i) {
        TARQ_HEAVY_ASSERT(arena_.owns(children[i])); // not a term of another manager
        hash ^= (hash << 6) + (hash >> 2) + arena_.number_of(children[i]);
    }
    Bucket& bucket = buckets_[table_.index(hash)];
    const uint16_t bit = filter_bit(hash);
    uint16_t filter = bucket.filter;
    for (uint32_t number = bucket.first; (filter & bit) != 0;) {
        Cell* c = arena_.at(number);
        // the whole hash first: equal ones are rare among different terms
        if (c->hash == hash) {
            const Term_* t = term_of(c);
            if (t->symbol_ == symbol && std::equal(children, children + n, t->children_begin())) {
                return t;
            }
        }
        number = c->next;
        filter = c->filter;
    }
    Cell* c = arena_.alloc(sizeof(Term_) + n * sizeof(const Term_*),
                           static_cast<unsigned>(symbol->get_term_class()));
    c->hash = hash;
    Term_* t = new (term_of(c)) Term_(next_id_, symbol);
    const Term_** copy = reinterpret_cast<const Term_**>(t + 1);
    for (size_t i = 0; i < n; ++i) {
        copy[i] = children[i];
    }
    link(bucket, c, arena_.number_of(c));
    ++next_id_;
    if (++size_ > table_.max_size) [[unlikely]] {
        grow();
    }
    return t;
}

/// Goes to the next size. Without the memory for it the table stays as it is and works on, slower.
void TermBank::grow()
{
    Buckets buckets = make_buckets(hsh::detail::TABLE_SIZES[size_index_ + 1].buckets);
    if (buckets) {
        buckets_ = std::move(buckets);
        table_ = hsh::detail::TABLE_SIZES[++size_index_];
        rehash();
    }
}

/// Links all cells, by ascending number, into the buckets, which are empty.
void TermBank::rehash()
{
    // The cells come in the order of memory, but each bucket is a random access: it is fetched
    // while its cell waits in a queue.
    constexpr size_t AHEAD = 32;
    struct Waiting {
        Cell* cell;
        Bucket* bucket;
    };
    std::array<Waiting, AHEAD> queue;
    size_t queued = 0; // cells that ever entered the queue
    const auto leave = [&](const Waiting& w) { link(*w.bucket, w.cell, arena_.number_of(w.cell)); };
    arena_.for_each_cell([&](Cell* c) {
        Waiting& slot = queue[queued % AHEAD];
        if (queued >= AHEAD) {
            leave(slot);
        }
        slot = {c, &buckets_[table_.index(c->hash)]};
        __builtin_prefetch(slot.bucket, 1);
        ++queued;
    });
    for (size_t i = queued < AHEAD ? 0 : queued - AHEAD; i < queued; ++i) {
        leave(queue[i % AHEAD]);
    }
    TARQ_HEAVY_ASSERT(check_invariants());
}

void TermBank::remove_unseen(const BitVector& seen)
{
    std::vector<Cell*> dead;
    uint64_t max_id = 0;
    arena_.for_each_cell([&](Cell* c) {
        const uint64_t id = term_of(c)->id_;
        if (id < seen.size() && seen.get(id)) {
            max_id = std::max(max_id, id);
        } else {
            dead.push_back(c);
        }
    });
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
    std::memset(static_cast<void*>(buckets_.get()), 0, bucket_bytes());
    rehash();
}

/// Every cell is in its bucket and announced by every filter before it, and ids are below next_id_.
bool TermBank::check_invariants() const
{
    size_t count = 0;
    for (size_t b = 0; b < table_.buckets; ++b) {
        uint16_t filter = buckets_[b].filter;
        for (uint32_t n = buckets_[b].first; n != 0;) {
            Cell* c = arena_.at(n);
            if (table_.index(c->hash) != b || filter != (c->filter | filter_bit(c->hash)) ||
                term_of(c)->id_ >= next_id_) {
                return false;
            }
            ++count;
            filter = c->filter;
            n = c->next;
        }
        if (filter != 0) {
            return false;
        }
    }
    return count == size_;
}

} // namespace tarq
