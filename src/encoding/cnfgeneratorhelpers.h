// Structure analysis for the clause conversion: which formulas are clauses as they stand, and which
// nodes are shared.
#pragma once

#include "encoding/termmarks.h"
#include "terms/termmanager.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace tarq {

/// How many parent positions each node has among the asserted formulas, dense by term id.
class ParentCounts {
public:
    int get(const Term_* t) const
    {
        size_t id = t->get_id();
        return id < counts_.size() ? counts_[id] : 0;
    }

    /// Adds `delta` to the count of `t`; counts never fall below zero.
    void add(const Term_* t, int delta)
    {
        size_t id = t->get_id();
        if (id >= counts_.size()) {
            counts_.resize(id + 1 > 2 * counts_.size() ? id + 1 : 2 * counts_.size());
        }
        counts_[id] += delta;
        TARQ_ASSERT(counts_[id] >= 0);
    }

private:
    std::vector<int> counts_;
};

/// The memo of the clause test, a byte per term id. Whether a term is a clause depends on nothing
/// but the term, so entries survive backtracking.
class ClauseMap {
public:
    enum class Entry : uint8_t { unknown, clause, other };

    Entry get(const Term_* t) const
    {
        size_t id = t->get_id();
        return id < entries_.size() ? entries_[id] : Entry::unknown;
    }

    void set(const Term_* t, bool is_clause)
    {
        size_t id = t->get_id();
        if (id >= entries_.size()) {
            entries_.resize(id + 1 > 2 * entries_.size() ? id + 1 : 2 * entries_.size());
        }
        entries_[id] = is_clause ? Entry::clause : Entry::other;
    }

private:
    std::vector<Entry> entries_;
};

/// Walks formulas without recursion and answers questions on their shape. Borrows the term manager.
class CnfHelper {
public:
    explicit CnfHelper(TermManager* tm) : tm_(tm) {}

    /// Tells whether `t`, asserted, is one clause over atoms, or an `iff` of two literals or its
    /// negation, which is two clauses.
    /// map  the memo; looked up first, and extended by the answer for `t`
    /// Linear in the (node, sign) pairs below `t` that are connectives.
    bool check_clause(const Term_* t, ClauseMap& map);

    /// Adds 1 (`add`) or -1 to the count of each argument, for every argument position below `t`;
    /// each distinct node below `t` is entered once, and atoms are not entered.
    void find_parents(const Term_* t, ParentCounts& parents, bool add);

    /// `t` without the `not`s around it.
    const Term_* strip_not(const Term_* t) const
    {
        while (tm_->is_not(t)) {
            t = t->child(0);
        }
        return t;
    }

    /// Whether `t`, which is Boolean, is no connective, true or false. Looks at no type: in a
    /// formula everything that connectives are applied to is Boolean, and the symbols of the atoms
    /// are spread over memory.
    bool is_atom(const Term_* t) const
    {
        const Symbol* s = t->get_symbol();
        return !tm_->is_connective(s) && !tm_->is_true(s) && !tm_->is_false(s);
    }

private:
    bool do_check_clause(const Term_* t, const ClauseMap& map);
    bool is_iff_of_literals(const Term_* t) const;

    TermManager* tm_;
    TermMarks marks_;
    std::vector<const Term_*> stack_;
    std::vector<std::pair<const Term_*, bool>> signed_stack_;
};

} // namespace tarq
