// TermBank: the hash-consing table of terms and their memory.
#pragma once

#include "base/bitvector.h"
#include "terms/term.h"
#include "terms/termarena.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>

namespace tarq {

/// Interns terms: `make_term` of equal symbols and children gives one address. Owns all terms; a
/// term lives until `remove_unseen` drops it or the bank dies.
///
/// Layout. A term's memory is one cell of the arena: links, filter and hash, then the node and its
/// children; a binary term takes 48 bytes. Cells are linked by their numbers, of 32 bits.
///
/// A term is found through its home: the child whose cell has the highest number, which as a rule
/// is the one made last. Its cell heads the list of the terms whose home it is, so whoever builds
/// terms bottom-up finds or adds each of them next to what it has just touched, and there is no
/// table that would have to grow. Bit k of the home's filter is set when a term of its list has
/// hash class k: nearly every lookup of a new term ends with the filter. Home, hash and class are
/// made from the numbers of the children's cells, without touching the children.
///
/// A home is crowded from the term on whose class was there already, on average the seventh. Later
/// ones, and terms without children, are found in a table by their whole hash: buckets with the
/// number of the first cell of a chain and a filter as above. Terms of different class lie in
/// different regions of the arena.
class TermBank {
public:
    class const_iterator;

    TermBank();
    ~TermBank();
    TermBank(const TermBank&) = delete;
    TermBank& operator=(const TermBank&) = delete;

    /// The term with this head and these children.
    /// children  as many as the symbol's arity, terms of this bank
    /// Throws std::bad_alloc with the bank unchanged. Constant expected time.
    const Term_* make_term(const Symbol* symbol, TermArgs children);

    /// Number of live terms.
    size_t size() const { return size_; }
    /// The id that the next new term gets; above those of all live terms.
    uint64_t get_next_id() const { return next_id_; }
    /// What is known of a term without touching it.
    class Key {
    public:
        TermClass get_class() const { return static_cast<TermClass>(key_ >> 32); }

    private:
        friend class TermBank;
        explicit Key(uint64_t key) : key_(key) {}
        uint64_t key_;
    };
    Key get_key(const Term_* t) const { return Key(arena_.key_of(t)); }
    TermClass get_class(const Term_* t) const { return get_key(t).get_class(); }
    /// Whether a has the smaller id.
    bool is_older(const Term_* a, const Term_* b) const
    {
        return is_older(a, b, get_key(a), get_key(b));
    }
    /// The same with the keys of a and b at hand. Terms of one class are not touched until the
    /// first collection.
    bool is_older(const Term_* a, const Term_* b, Key ka, Key kb) const
    {
        return arena_.is_monotone() && ka.get_class() == kb.get_class() ? ka.key_ < kb.key_
                                                                        : a->get_id() < b->get_id();
    }

    /// The live terms by the numbers of their cells: until the first collection by age within each
    /// class.
    const_iterator begin() const;
    const_iterator end() const;

    /// Frees every term whose id's bit is off, and sets the next id to the largest surviving one
    /// plus 1. Surviving terms must not have freed ones below them.
    /// seen  a bit per id; ids past its end count as off
    void remove_unseen(const BitVector& seen);

    /// Bytes held for terms, without the buckets.
    size_t cell_bytes() const { return arena_.bytes(); }
    /// Bytes of the bucket array.
    size_t bucket_bytes() const { return num_buckets_ * sizeof(Bucket); }

private:
    using Cell = TermArena::Cell;
    static constexpr uint32_t CROWDED = uint32_t{1} << 31; // in the filter of a home
    struct Bucket {
        uint32_t first;  // number of the newest cell; 0 for none
        uint32_t filter; // of the whole chain
    };
    struct FreeDeleter {
        void operator()(Bucket* p) const;
    };
    using Buckets = std::unique_ptr<Bucket[], FreeDeleter>;

    /// Where a term belongs.
    struct Place {
        Cell* home;       // null without children
        uint32_t hash;    // for the bucket
        uint32_t bit;     // of the hash class, for the filters
        uint16_t in_cell; // the part of the hash that cells hold
    };

    static Term_* term_of(const Cell* c)
    {
        return reinterpret_cast<Term_*>(const_cast<Cell*>(c) + 1);
    }
    static Cell* cell_of(const Term_* t)
    {
        return reinterpret_cast<Cell*>(const_cast<Term_*>(t)) - 1;
    }
    template <size_t N>
    Place place_of(const Symbol* symbol, TermArgs children) const;
    Place place_of(const Term_* t) const;
    template <size_t N>
    const Term_* intern(const Symbol* symbol, TermArgs children);
    const Term_* find_in_list(uint32_t first, uint16_t hash, const Symbol* symbol,
                              const Term_* const* children, size_t n) const;
    bool belongs_to_table(const Place& p) const
    {
        return !p.home || (p.home->filter & CROWDED) != 0;
    }
    Bucket& bucket_of(const Place& p) const { return buckets_[(p.hash * num_buckets_) >> 32]; }
    void link(const Place& p, Cell* c);
    void add_to_bucket(const Place& p, Cell* c);
    static Buckets make_buckets(size_t count);
    void grow();
    void relink();
    bool check_invariants() const;

    TermArena arena_;
    Buckets buckets_;
    uint64_t num_buckets_;  // below 2^32
    size_t in_buckets_ = 0; // terms found through buckets_
    size_t size_ = 0;
    uint64_t next_id_ = 1;

    friend class const_iterator;
};

class TermBank::const_iterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = const Term_*;
    using difference_type = std::ptrdiff_t;
    using pointer = const value_type*;
    using reference = value_type;

    const_iterator() = default;
    const Term_* operator*() const { return term_of(cell_); }
    const_iterator& operator++()
    {
        cell_ = arena_->next_cell(cell_);
        return *this;
    }
    const_iterator operator++(int)
    {
        const_iterator old = *this;
        ++*this;
        return old;
    }
    friend bool operator==(const const_iterator& a, const const_iterator& b)
    {
        return a.cell_ == b.cell_;
    }

private:
    friend class TermBank;
    explicit const_iterator(const TermArena* arena)
        : arena_(arena), cell_(arena->next_cell(nullptr))
    {
    }

    const TermArena* arena_ = nullptr;
    const Cell* cell_ = nullptr; // null at the end
};

inline TermBank::const_iterator TermBank::begin() const
{
    return const_iterator(&arena_);
}
inline TermBank::const_iterator TermBank::end() const
{
    return {};
}

} // namespace tarq
