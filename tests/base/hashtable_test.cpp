// The hash tables against a plain model of their contract: prime sizes, load, order of iteration.
#include "base/hashmap.h"
#include "base/hashset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace tarq::hsh {

namespace {

/// The contract, written down with the plain operations: remainder, division in single precision.
class Model {
public:
    bool insert(uint64_t key)
    {
        if (contains(key)) {
            return false;
        }
        chain(key).push_front(key);
        ++size_;
        if (static_cast<float>(size_) / static_cast<float>(chains_.size()) > 0.7f) {
            const std::vector<uint64_t> old = order();
            chains_.assign(detail::TABLE_PRIMES[++prime_], {});
            for (uint64_t k : old) {
                chain(k).push_front(k);
            }
        }
        return true;
    }
    bool erase(uint64_t key)
    {
        const bool found = std::erase(chain(key), key) == 1;
        size_ -= found;
        return found;
    }
    bool contains(uint64_t key) { return std::ranges::count(chain(key), key) == 1; }
    std::vector<uint64_t> order() const
    {
        std::vector<uint64_t> all;
        for (const auto& c : chains_) {
            all.insert(all.end(), c.begin(), c.end());
        }
        return all;
    }
    size_t bucket_count() const { return chains_.size(); }

private:
    std::deque<uint64_t>& chain(uint64_t key) { return chains_[key % chains_.size()]; }

    size_t prime_ = 0;
    size_t size_ = 0;
    std::vector<std::deque<uint64_t>> chains_{std::vector<std::deque<uint64_t>>(31)};
};

std::vector<uint64_t> order_of(const HashSet<uint64_t>& s)
{
    return {s.begin(), s.end()};
}

struct WithId {
    int id;
    int get_id() const { return id; }
};

/// Counts its objects; copying throws when the countdown reaches 0.
struct Fragile {
    static inline int alive = 0;
    static inline int copies_left = 1000000;

    explicit Fragile(int v) : v(v) { ++alive; }
    Fragile(const Fragile& o) : v(o.v)
    {
        if (copies_left-- == 0) {
            throw std::runtime_error("copy");
        }
        ++alive;
    }
    Fragile& operator=(const Fragile&) = delete;
    ~Fragile() { --alive; }
    bool operator==(const Fragile& o) const { return v == o.v; }
    size_t hash() const { return static_cast<size_t>(v); }

    int v;
};

} // namespace

TEST(Hashtable, remainder_and_load_threshold_are_exact_for_every_size)
{
    std::mt19937_64 random(1);
    for (size_t i = 0; i < detail::TABLE_SIZES.size(); ++i) {
        const detail::TableSize& t = detail::TABLE_SIZES[i];
        std::vector<uint64_t> hashes = {
            0, 1, t.buckets - 1, t.buckets, t.buckets + 1, std::numeric_limits<uint64_t>::max()};
        const uint64_t last_multiple = hashes.back() / t.buckets * t.buckets;
        hashes.insert(hashes.end(), {last_multiple, last_multiple - 1});
        for (int k = 0; k < 2000; ++k) {
            hashes.push_back(random() >> (random() % 64));
            hashes.push_back(hashes.back() / t.buckets * t.buckets - (random() & 1));
        }
        for (uint64_t h : hashes) {
            ASSERT_EQ(t.index(h), h % t.buckets) << h << " mod " << t.buckets;
        }
        if (i + 1 < detail::TABLE_SIZES.size()) {
            const auto load = [&t](uint64_t size) {
                return static_cast<float>(size) / static_cast<float>(t.buckets);
            };
            EXPECT_LE(load(t.max_size), 0.7f);
            EXPECT_GT(load(t.max_size + 1), 0.7f);
        }
    }
}

TEST(Hashtable, order_and_growth_follow_the_contract_under_random_operations)
{
    std::mt19937_64 random(2);
    for (int round = 0; round < 60; ++round) {
        HashSet<uint64_t> set;
        Model model;
        // small keys collide and repeat, wide ones exercise the whole hash
        const uint64_t mask = round % 2 ? 0x3ff : std::numeric_limits<uint64_t>::max();
        std::vector<uint64_t> used;
        for (int step = 0; step < 1500; ++step) {
            const uint64_t key =
                used.empty() || random() % 3 ? random() & mask : used[random() % used.size()];
            used.push_back(key);
            if (random() % 4 == 0) {
                ASSERT_EQ(set.erase(key), model.erase(key) ? 1u : 0u);
            } else {
                const auto [it, is_new] = set.insert(key);
                ASSERT_EQ(is_new, model.insert(key));
                ASSERT_EQ(*it, key);
            }
            ASSERT_EQ(set.contains(key), model.contains(key));
            ASSERT_EQ(set.bucket_count(), model.bucket_count());
            if (step % 50 == 0) {
                ASSERT_EQ(order_of(set), model.order());
                ASSERT_EQ(set.size(), model.order().size());
            }
        }
        const HashSet<uint64_t> copy(set);
        EXPECT_EQ(order_of(copy), order_of(set));
        EXPECT_EQ(copy.bucket_count(), set.bucket_count());
    }
}

TEST(Hashtable, first_growth_is_at_the_twenty_second_element)
{
    HashSet<int> set;
    EXPECT_EQ(set.bucket_count(), 31u);
    for (int i = 1; i <= 21; ++i) {
        set.insert(i);
    }
    EXPECT_EQ(set.bucket_count(), 31u);
    set.insert(22);
    EXPECT_EQ(set.bucket_count(), 73u);
}

TEST(Hashtable, erasing_while_iterating_visits_every_element_once)
{
    HashMap<uint64_t, int> map;
    for (uint64_t i = 0; i < 1000; ++i) {
        map[i * 37] = 0;
    }
    size_t visited = 0;
    for (auto it = map.begin(); it != map.end();) {
        EXPECT_EQ(it->second++, 0);
        ++visited;
        it = it->first % 2 ? map.erase(it) : std::next(it);
    }
    EXPECT_EQ(visited, 1000u);
    EXPECT_EQ(map.size(), 500u);
    for (const auto& [key, seen] : map) {
        EXPECT_EQ(key % 2, 0u);
        EXPECT_EQ(seen, 1);
    }
}

TEST(Hashtable, map_agrees_with_the_standard_map)
{
    std::mt19937 random(3);
    HashMap<std::string, int> map;
    std::unordered_map<std::string, int> reference;
    for (int step = 0; step < 40000; ++step) {
        const std::string key = "k" + std::to_string(random() % 3000);
        switch (random() % 8) {
        case 0:
            ASSERT_EQ(map.erase(key), reference.erase(key));
            break;
        case 1:
            ASSERT_EQ(map.insert({key, step}).second, reference.insert({key, step}).second);
            break;
        default:
            map[key] += step;
            reference[key] += step;
        }
        if (step == 20000) {
            map.clear();
            reference.clear();
            EXPECT_TRUE(map.begin() == map.end());
        }
    }
    EXPECT_EQ(map.size(), reference.size());
    for (const auto& [key, value] : reference) {
        const auto it = std::as_const(map).find(key);
        ASSERT_TRUE(it != map.end()) << key;
        EXPECT_EQ(it->second, value);
    }
}

TEST(Hashtable, references_survive_growth_and_keys_may_live_in_the_element)
{
    HashMap<int, std::string> map;
    std::string& first = map[0] = "first";
    for (int i = 1; i < 5000; ++i) {
        map[i];
    }
    EXPECT_EQ(&first, &map.find(0)->second);
    HashSet<std::string> set;
    set.insert("a text too long to be stored inside the string object itself");
    EXPECT_EQ(set.erase(*set.begin()), 1u);
    EXPECT_TRUE(set.empty());
}

TEST(Hashtable, moved_from_and_cleared_tables_are_empty_and_usable)
{
    HashMap<int, std::unique_ptr<int>> a;
    for (int i = 0; i < 100; ++i) {
        a[i] = std::make_unique<int>(i);
    }
    HashMap<int, std::unique_ptr<int>> b(std::move(a));
    EXPECT_TRUE(a.empty());
    EXPECT_TRUE(a.find(3) == a.end());
    a[1] = std::make_unique<int>(7);
    EXPECT_EQ(b.size(), 100u);
    a = std::move(b);
    EXPECT_EQ(*a[99], 99);
    // nearly empty when cleared: the buckets shrink, so later clears are cheap
    EXPECT_GT(a.bucket_count(), 31u);
    while (a.size() > 1) {
        a.erase(a.begin());
    }
    a.clear();
    EXPECT_EQ(a.bucket_count(), 31u);
    a.clear();
    a[5] = std::make_unique<int>(5);
    EXPECT_EQ(a.size(), 1u);
}

TEST(Hashtable, failed_insertion_and_failed_copy_lose_nothing)
{
    {
        HashSet<Fragile> set;
        for (int i = 0; i < 21; ++i) {
            set.insert(Fragile(i));
        }
        const Fragile value(100);
        Fragile::copies_left = 0;
        EXPECT_THROW(set.insert(value), std::runtime_error);
        EXPECT_EQ(set.size(), 21u);
        EXPECT_FALSE(set.contains(value));
        Fragile::copies_left = 10;
        EXPECT_THROW(HashSet<Fragile> copy(set), std::runtime_error);
        Fragile::copies_left = 1000000;
        EXPECT_EQ(Fragile::alive, 22);
        EXPECT_TRUE(set.insert(value).second);
    }
    EXPECT_EQ(Fragile::alive, 0);
}

TEST(Hashtable, lookup_by_hash_finds_the_element_that_matches)
{
    HashSet<const WithId*> set;
    std::vector<WithId> objects;
    for (int i = 1; i <= 200; ++i) {
        objects.push_back({i});
    }
    const auto find = [&set](int id) {
        return set.find_by(static_cast<size_t>(id), [id](const WithId* o) { return o->id == id; });
    };
    for (const WithId& o : objects) {
        EXPECT_TRUE(find(o.id) == set.end());
        EXPECT_EQ(*set.insert_new(static_cast<size_t>(o.id), &o), &o);
    }
    for (const WithId& o : objects) {
        EXPECT_EQ(*find(o.id), &o);
        EXPECT_TRUE(set.contains(&o));
    }
}

TEST(Hash, values_are_the_agreed_ones)
{
    const WithId o{17};
    const WithId* none = nullptr;
    EXPECT_EQ(hash<const WithId*>()(&o), 17u);
    EXPECT_EQ(hash<const WithId*>()(none), 0u);
    EXPECT_EQ(hash<int>()(42), 42u);
    EXPECT_EQ(hash<std::string>()("abc"), (97u * 5 + 98) * 5 + 99);
    EXPECT_EQ(hash<std::string>()("\xff"), 255u);
}

} // namespace tarq::hsh
