// Maps over the common hash table.
#pragma once

#include "base/hashtable.h"

#include <functional>

namespace tarq::hsh {

struct FirstOfPair {
    template <class P>
    const typename P::first_type& operator()(const P& p) const
    {
        return p.first;
    }
};

/// A map from K to V; its elements are `std::pair<const K, V>`. Order, growth and validity of
/// iterators as in Hashtable.
template <class K, class V, class Hash = hash<K>, class Eq = std::equal_to<K>>
class HashMap : public Hashtable<K, std::pair<const K, V>, FirstOfPair, Hash, Eq> {
public:
    using mapped_type = V;
    using Hashtable<K, std::pair<const K, V>, FirstOfPair, Hash, Eq>::Hashtable;

    /// The value of `key`, which is inserted with a default-made value if it is absent.
    V& operator[](const K& key)
    {
        return this->find_or_insert(key, [&key] { return std::pair<const K, V>(key, V()); })
            .first->second;
    }
};

} // namespace tarq::hsh
