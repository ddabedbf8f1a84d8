// TermBank: the hash-consing table of terms and their memory.
#pragma once

#include "base/bitvector.h"
#include "base/hashtable.h"
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
/// Layout. A term's memory is one cell of the arena: chain link, filter and hash, then the node and
/// its children; a binary term takes 48 bytes. The chain node is thus no separate allocation, and
/// a lookup that reaches a cell finds link, hash and children side by side.
///
/// A bucket, and the link of each cell, name the next cell by its number and carry a filter: bit k
/// is set when a cell of the chain from there on has hash class k. Nearly every lookup of a new
/// term so ends in the bucket, without touching any cell. The hash of a term is made from the
/// numbers of its children's cells, not from their ids, so they are not touched either. Terms of
/// different class lie in different regions of the arena.
///
/// Growth and order are those of hsh::Hashtable, except that after growth each chain holds its
/// cells by descending number, as if they had all been inserted in the order of their numbers: the
/// cells are rehashed in the order in which they lie in memory.
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

    /// The live terms, bucket by bucket.
    const_iterator begin() const;
    const_iterator end() const;

    /// Frees every term whose id's bit is off, and sets the next id to the largest surviving one
    /// plus 1. Surviving terms must not have freed ones below them.
    /// seen  a bit per id; ids past its end count as off
    void remove_unseen(const BitVector& seen);

    /// Bytes held for terms, without the buckets.
    size_t cell_bytes() const { return arena_.bytes(); }
    /// Bytes of the bucket array.
    size_t bucket_bytes() const { return table_.buckets * sizeof(Bucket); }

private:
    using Cell = TermArena::Cell;
    struct Bucket {
        uint32_t first;  // number of the newest cell; 0 for none
        uint16_t filter; // of the whole chain
    };
    struct FreeDeleter {
        void operator()(Bucket* p) const;
    };
    using Buckets = std::unique_ptr<Bucket[], FreeDeleter>;

    static Term_* term_of(Cell* c) { return reinterpret_cast<Term_*>(c + 1); }
    /// One of sixteen filter bits. Bits of the hash that say little about the bucket index.
    static uint16_t filter_bit(uint64_t hash)
    {
        return static_cast<uint16_t>(1U << ((hash * 0x9e3779b97f4a7c15U) >> 60));
    }
    static void link(Bucket& b, Cell* c, uint32_t number)
    {
        c->next = b.first;
        c->filter = b.filter;
        b = {number, static_cast<uint16_t>(b.filter | filter_bit(c->hash))};
    }
    template <size_t N>
    const Term_* intern(const Symbol* symbol, TermArgs children);
    static Buckets make_buckets(size_t count);
    void grow();
    void rehash();
    bool check_invariants() const;

    TermArena arena_;
    Buckets buckets_;
    hsh::detail::TableSize table_;
    size_t size_index_ = 0; // of table_ in the list of sizes
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
    const Term_* operator*() const { return term_of(bank_->arena_.at(cell_)); }
    const_iterator& operator++()
    {
        cell_ = bank_->arena_.at(cell_)->next;
        skip_empty();
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
    explicit const_iterator(const TermBank* bank) : bank_(bank), cell_(bank->buckets_[0].first)
    {
        skip_empty();
    }
    void skip_empty()
    {
        while (cell_ == 0 && ++bucket_ < bank_->table_.buckets) {
            cell_ = bank_->buckets_[bucket_].first;
        }
    }

    const TermBank* bank_ = nullptr;
    size_t bucket_ = 0;
    uint32_t cell_ = 0; // 0 at the end
};

inline TermBank::const_iterator TermBank::begin() const
{
    return const_iterator(this);
}
inline TermBank::const_iterator TermBank::end() const
{
    return {};
}

} // namespace tarq
