// The hash table under every map and set of the system, and the hash functions of the common key
// types. The iteration order is part of the contract: search heuristics meet it, and a run must be
// repeatable.
#pragma once

#include "base/assertion.h"
#include "base/memorypool.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tarq::hsh {

/// Hash of a key, to be reduced modulo the bucket count without further mixing. Numbers and
/// enumerations are their own hash; other classes offer `size_t hash() const` or a specialisation.
template <class T>
struct hash {
    size_t operator()(const T& v) const
    {
        if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
            return static_cast<size_t>(v);
        } else {
            return v.hash();
        }
    }
};

/// Pointers hash as the id of what they point to, never as an address: addresses change from run to
/// run. Null hashes as 0. The class must be complete where the hash is computed.
template <class T>
struct hash<T*> {
    size_t operator()(const T* p) const { return p ? static_cast<size_t>(p->get_id()) : 0; }
};

template <>
struct hash<std::string_view> {
    size_t operator()(std::string_view s) const
    {
        size_t h = 0;
        for (char c : s) {
            h = h * 5 + static_cast<unsigned char>(c);
        }
        return h;
    }
};

template <>
struct hash<std::string> {
    size_t operator()(const std::string& s) const { return hash<std::string_view>()(s); }
};

/// The odd factor spreads pairs of small ids, of which most keys consist.
template <class A, class B>
struct hash<std::pair<A, B>> {
    size_t operator()(const std::pair<A, B>& p) const
    {
        return hash<A>()(p.first) * size_t{0x9e3779b97f4a7c15} + hash<B>()(p.second);
    }
};

namespace detail {

__extension__ typedef unsigned __int128 uint128;

/// One size that a table can have.
struct TableSize {
    uint64_t buckets;    // a prime below 2^32
    uint64_t reciprocal; // floor(2^64 / buckets)
    size_t max_size;     // the largest number of elements before the table grows

    /// h modulo `buckets`. The product with the truncated reciprocal gives the quotient or one
    /// less, since h * (2^64 / buckets - reciprocal) < 2^64; hence a single correction, which
    /// costs two multiplications instead of a 64-bit division.
    constexpr uint64_t index(uint64_t h) const
    {
        const uint64_t q = static_cast<uint64_t>((uint128{h} * reciprocal) >> 64);
        const uint64_t r = h - q * buckets;
        return r >= buckets ? r - buckets : r;
    }
};

constexpr bool is_over_load(uint64_t size, uint64_t buckets)
{
    return static_cast<float>(size) / static_cast<float>(buckets) > 0.7f;
}

/// The load test is monotone in the size, so its threshold is found by bisection, once, at
/// compile time; an insertion then compares integers.
constexpr TableSize make_table_size(uint64_t buckets)
{
    uint64_t low = 0;
    uint64_t high = buckets;
    while (high - low > 1) {
        const uint64_t mid = (low + high) / 2;
        (is_over_load(mid, buckets) ? high : low) = mid;
    }
    return {buckets, std::numeric_limits<uint64_t>::max() / buckets, low};
}

inline constexpr std::array<uint32_t, 28> TABLE_PRIMES = {
    31,       73,        151,       313,       643,        1291,       2593,
    5233,     10501,     21013,     42073,     84181,      168451,     337219,
    674701,   1349473,   2699299,   5398891,   10798093,   21596719,   43193641,
    86387383, 172775299, 345550609, 691101253, 1382202559, 2764405229, 4294867387};

constexpr auto make_table_sizes()
{
    std::array<TableSize, TABLE_PRIMES.size()> sizes{};
    for (size_t i = 0; i < sizes.size(); ++i) {
        sizes[i] = make_table_size(TABLE_PRIMES[i]);
    }
    sizes.back().max_size = std::numeric_limits<size_t>::max(); // nothing larger to grow to
    return sizes;
}

inline constexpr auto TABLE_SIZES = make_table_sizes();

} // namespace detail

/// Separate chaining over a vector of buckets whose length is a prime of a fixed list.
///
/// Key, Value  what is looked up and what is stored; `KeyOf()(value)` gives the key of a value
/// Hash, Eq    function objects over keys; equal keys must have equal hashes
///
/// Order: iteration goes through the buckets by index, within a bucket from the newest element to
/// the oldest; on growth the elements are rehashed in iteration order, each to the head of its new
/// chain. Growth: after the insertion that takes size / buckets above 0.7 (single precision).
/// Validity: elements never move, so references stay valid until the element is erased. Insertion
/// invalidates iterators (it may rehash); erasing invalidates those to the erased element only.
/// Memory: one pool node per element; an empty table that was never used owns nothing.
template <class Key, class Value, class KeyOf, class Hash, class Eq>
class Hashtable {
    struct Node {
        Node* next;
        Value value;
    };

    template <bool is_const>
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Value;
        using difference_type = std::ptrdiff_t;
        using reference = std::conditional_t<is_const, const Value&, Value&>;
        using pointer = std::conditional_t<is_const, const Value*, Value*>;

        Iterator() = default;
        operator Iterator<true>() const { return {node_, bucket_, last_}; }

        reference operator*() const { return node_->value; }
        pointer operator->() const { return &node_->value; }
        Iterator& operator++()
        {
            node_ = node_->next;
            while (!node_ && ++bucket_ != last_) {
                node_ = *bucket_;
            }
            return *this;
        }
        Iterator operator++(int)
        {
            Iterator old = *this;
            ++*this;
            return old;
        }
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.node_ == b.node_; }

    private:
        friend class Hashtable;
        friend class Iterator<!is_const>;
        Iterator(Node* node, Node* const* bucket, Node* const* last)
            : node_(node), bucket_(bucket), last_(last)
        {
        }

        Node* node_ = nullptr;          // null at the end
        Node* const* bucket_ = nullptr; // the bucket of node_
        Node* const* last_ = nullptr;   // one past the last bucket
    };

public:
    using key_type = Key;
    using value_type = Value;
    using size_type = size_t;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    explicit Hashtable(Hash hash = Hash(), Eq eq = Eq())
        : hash_(std::move(hash)), eq_(std::move(eq)), pool_(sizeof(Node))
    {
    }

    /// The copy has the same bucket count and the same iteration order.
    Hashtable(const Hashtable& o) : Hashtable(o.hash_, o.eq_)
    {
        if (o.size_ == 0) {
            return;
        }
        // the delegated constructor has finished, so a throwing element copy still runs ~Hashtable
        allocate_buckets(o.size_index_);
        for (size_t i = 0; i < table_.buckets; ++i) {
            Node** tail = &buckets_[i];
            for (const Node* n = o.buckets_[i]; n; n = n->next) {
                *tail = new_node(n->value);
                tail = &(*tail)->next;
                ++size_;
            }
        }
    }
    Hashtable(Hashtable&& o) noexcept : Hashtable() { swap(o); }
    Hashtable& operator=(const Hashtable& o)
    {
        if (this != &o) {
            Hashtable copy(o);
            swap(copy);
        }
        return *this;
    }
    /// The source is left empty.
    Hashtable& operator=(Hashtable&& o) noexcept
    {
        if (this != &o) {
            Hashtable taken(std::move(o));
            swap(taken);
        }
        return *this;
    }
    ~Hashtable() { destroy_values(); }

    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    /// The current prime.
    size_t bucket_count() const { return table_.buckets; }

    iterator begin() { return first(); }
    const_iterator begin() const { return first(); }
    iterator end() { return {}; }
    const_iterator end() const { return {}; }

    iterator find(const Key& key)
    {
        return size_ == 0 ? iterator() : find_hashed(hash_(key), same_as(key));
    }
    const_iterator find(const Key& key) const
    {
        return size_ == 0 ? iterator() : find_hashed(hash_(key), same_as(key));
    }
    bool contains(const Key& key) const { return find(key) != end(); }
    size_t count(const Key& key) const { return contains(key) ? 1 : 0; }

    /// Looks for an element without a key at hand, as hash-consing does.
    /// hash  what Hash gives for the key that is wanted
    /// same  called as same(const Value&) on the elements of one chain; true ends the search
    /// Returns the element, or end().
    template <class Same>
    iterator find_by(size_t hash, Same&& same)
    {
        return size_ == 0 ? iterator() : find_hashed(hash, same);
    }

    /// Inserts a value whose key is known to be absent.
    /// hash  what Hash gives for its key
    /// Returns the new element.
    template <class V>
    iterator insert_new(size_t hash, V&& value)
    {
        TARQ_HEAVY_ASSERT(hash == hash_(KeyOf()(value)) && !contains(KeyOf()(value)));
        return link(hash, new_node(std::forward<V>(value)));
    }

    /// Inserts the value unless its key is present. Returns the element with that key, and whether
    /// it is new.
    std::pair<iterator, bool> insert(const Value& value) { return do_insert(value); }
    std::pair<iterator, bool> insert(Value&& value) { return do_insert(std::move(value)); }

    /// Removes the element with this key; returns how many there were, 0 or 1. `key` may be part of
    /// the element.
    size_t erase(const Key& key)
    {
        if (size_ == 0) {
            return 0;
        }
        Node** link = &buckets_[table_.index(hash_(key))];
        while (*link && !eq_(KeyOf()((*link)->value), key)) {
            link = &(*link)->next;
        }
        if (!*link) {
            return 0;
        }
        unlink(link);
        return 1;
    }

    /// Removes the element at `pos` (not end()) and returns the position after it, so a loop may
    /// erase as it goes: `it = m.erase(it)`.
    iterator erase(const_iterator pos)
    {
        iterator next(pos.node_, pos.bucket_, pos.last_);
        ++next;
        Node** link = &buckets_[pos.bucket_ - buckets_.get()];
        while (*link != pos.node_) {
            link = &(*link)->next;
        }
        unlink(link);
        return next;
    }

    /// Removes everything. The buckets are kept for reuse unless they were nearly all empty: a
    /// table that was large once must not make each later clear as slow as the largest.
    void clear()
    {
        if (size_ == 0 && size_index_ == 0) {
            return;
        }
        destroy_values();
        pool_.clear();
        if (size_index_ != 0 && size_ < table_.buckets / 8) {
            buckets_.reset();
            size_index_ = 0;
            table_ = detail::TABLE_SIZES[0];
        } else {
            std::fill_n(buckets_.get(), table_.buckets, nullptr);
        }
        size_ = 0;
    }

    void swap(Hashtable& o) noexcept
    {
        std::swap(hash_, o.hash_);
        std::swap(eq_, o.eq_);
        std::swap(buckets_, o.buckets_);
        std::swap(table_, o.table_);
        std::swap(size_, o.size_);
        std::swap(size_index_, o.size_index_);
        pool_.swap(o.pool_);
    }
    friend void swap(Hashtable& a, Hashtable& b) noexcept { a.swap(b); }

protected:
    /// The element with this key; if there is none, `make()` gives the value to insert.
    template <class Make>
    std::pair<iterator, bool> find_or_insert(const Key& key, Make&& make)
    {
        const size_t h = hash_(key);
        if (size_ != 0) {
            iterator it = find_hashed(h, same_as(key));
            if (it.node_) {
                return {it, false};
            }
        }
        return {link(h, new_node(make())), true};
    }

private:
    auto same_as(const Key& key) const
    {
        return [this, &key](const Value& v) { return eq_(KeyOf()(v), key); };
    }

    iterator first() const
    {
        if (size_ == 0) {
            return {};
        }
        Node* const* bucket = buckets_.get();
        while (!*bucket) {
            ++bucket;
        }
        return {*bucket, bucket, buckets_.get() + table_.buckets};
    }

    template <class Same>
    iterator find_hashed(size_t hash, const Same& same) const
    {
        Node* const* bucket = &buckets_[table_.index(hash)];
        for (Node* n = *bucket; n; n = n->next) {
            if (same(std::as_const(n->value))) {
                return {n, bucket, buckets_.get() + table_.buckets};
            }
        }
        return {};
    }

    template <class V>
    std::pair<iterator, bool> do_insert(V&& value)
    {
        return find_or_insert(KeyOf()(value), [&value]() -> V&& { return std::forward<V>(value); });
    }

    template <class V>
    Node* new_node(V&& value)
    {
        void* memory = pool_.alloc();
        if constexpr (std::is_nothrow_constructible_v<Value, V&&>) {
            return new (memory) Node{nullptr, Value(std::forward<V>(value))};
        } else {
            try {
                return new (memory) Node{nullptr, Value(std::forward<V>(value))};
            } catch (...) {
                pool_.free(memory);
                throw;
            }
        }
    }

    void delete_node(Node* n)
    {
        n->~Node();
        pool_.free(n);
    }

    /// Puts a node at the head of its chain and grows the table if that overfills it. On failure
    /// the node is destroyed and the table is as before.
    iterator link(size_t hash, Node* n)
    {
        try {
            if (!buckets_) {
                allocate_buckets(0);
            }
            put(n, hash);
            if (size_ >= table_.max_size) {
                grow();
            }
        } catch (...) {
            abandon(n, hash);
            throw;
        }
        ++size_;
        return {n, &buckets_[table_.index(hash)], buckets_.get() + table_.buckets};
    }

    void put(Node* n, size_t hash)
    {
        Node*& head = buckets_[table_.index(hash)];
        n->next = head;
        head = n;
    }

    /// Undoes a failed link(): the node may stand at the head of its chain already.
    void abandon(Node* n, size_t hash)
    {
        if (buckets_) {
            Node*& head = buckets_[table_.index(hash)];
            if (head == n) {
                head = n->next;
            }
        }
        delete_node(n);
    }

    void unlink(Node** link)
    {
        Node* n = *link;
        *link = n->next;
        delete_node(n);
        --size_;
    }

    /// Strong guarantee: throws std::bad_alloc before anything changes.
    void allocate_buckets(uint32_t size_index)
    {
        auto fresh = std::make_unique<Node*[]>(detail::TABLE_SIZES[size_index].buckets);
        buckets_ = std::move(fresh);
        size_index_ = size_index;
        table_ = detail::TABLE_SIZES[size_index];
    }

    void grow()
    {
        auto old = std::move(buckets_);
        const size_t old_buckets = table_.buckets;
        try {
            allocate_buckets(size_index_ + 1);
        } catch (...) {
            buckets_ = std::move(old);
            throw;
        }
        for (size_t i = 0; i < old_buckets; ++i) {
            for (Node* n = old[i]; n;) {
                Node* next = n->next;
                put(n, hash_(KeyOf()(n->value)));
                n = next;
            }
        }
    }

    /// Runs the destructors of all elements; the nodes stay linked.
    void destroy_values()
    {
        if constexpr (!std::is_trivially_destructible_v<Value>) {
            if (size_ != 0) {
                for (size_t i = 0; i < table_.buckets; ++i) {
                    for (Node* n = buckets_[i]; n; n = n->next) {
                        n->value.~Value();
                    }
                }
            }
        }
    }

    [[no_unique_address]] Hash hash_;
    [[no_unique_address]] Eq eq_;
    std::unique_ptr<Node*[]> buckets_; // null until the first insertion
    detail::TableSize table_ = detail::TABLE_SIZES[0];
    size_t size_ = 0;
    uint32_t size_index_ = 0; // into TABLE_SIZES
    MemoryPool pool_;
};

} // namespace tarq::hsh
