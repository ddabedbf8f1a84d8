// Sets over the common hash table.
#pragma once

#include "base/hashtable.h"

#include <functional>

namespace tarq::hsh {

struct Identity {
    template <class T>
    const T& operator()(const T& v) const
    {
        return v;
    }
};

/// A set of K; its elements can't be changed in place. Order, growth and validity of iterators as
/// in Hashtable.
template <class K, class Hash = hash<K>, class Eq = std::equal_to<K>>
class HashSet : public Hashtable<K, const K, Identity, Hash, Eq> {
public:
    using Hashtable<K, const K, Identity, Hash, Eq>::Hashtable;
};

} // namespace tarq::hsh
