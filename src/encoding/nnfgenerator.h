// Negation normal form, full or only as far as it helps the stages that look for top-level facts.
#pragma once

#include "base/hashmap.h"
#include "terms/termmanager.h"
#include "terms/theorylit.h"

#include <utility>
#include <vector>

namespace tarq {

/// Rewrites a Boolean formula into one where negations stand on atoms only. The result is
/// equivalent to the input. Everything that is no `and`, `or`, `not` or `iff` counts as an atom.
///
/// Borrows the term manager. Nothing survives from one call to the next.
class NNFGenerator {
public:
    explicit NNFGenerator(TermManager* tm) : tm_(tm) {}

    /// The full form: no `iff` is left. Linear in the distinct nodes of `t` (each is made at most
    /// once for each sign).
    const Term_* operator()(const Term_* t);

    /// The same, but an `iff` with a Boolean constant as a side, that is reached from the root
    /// through `and`s only, stays: it defines that constant.
    const Term_* apply_partial(const Term_* t);

private:
    // A term with one bit: the key of both passes.
    struct Key {
        const Term_* term;
        bool bit;
        bool operator==(const Key& o) const { return term == o.term && bit == o.bit; }
    };
    struct KeyHash {
        size_t operator()(const Key& k) const { return 2 * k.term->get_id() + k.bit; }
    };
    using Cache = hsh::HashMap<Key, const Term_*, KeyHash>;

    const Term_* run(const Term_* t, bool partial);
    const Term_* elim_iff(const Term_* t, bool partial);
    const Term_* build_elim(const Term_* t, bool at_top, bool partial);
    const Term_* push_not(const Term_* t);
    const Term_* build_push(const Term_* t, bool neg);
    bool is_connective(const Term_* t) const;
    bool find(const Term_* t, bool bit, const Term_** out) const;
    void request(const Term_* t, bool bit);

    TermManager* tm_;
    Cache cache_;
    std::vector<Key> stack_;
    std::vector<const Term_*> args_;
};

} // namespace tarq
