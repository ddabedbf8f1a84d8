// Constraints that choose one of many solutions which differ only in the names of constants.
#pragma once

#include "base/hashmap.h"
#include "encoding/nestflattener.h"
#include "terms/termmanager.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq {

class TerminationTest;

/// Finds constants that a conjunction of formulas does not tell apart, and the freedom that this
/// leaves. Where every permutation of the constants c_1 ... c_n maps the formulas to themselves, and
/// they say t = c_1 or ... or t = c_n, a solution in which t is some constant that has played no part
/// so far can be renamed to one in which it is the next in line: t can be restricted to those that
/// have played a part and that one. A search for a pigeonhole's contradiction, exponential
/// otherwise, comes down to a few propagations.
///
/// The method is that of Déharbe, Fontaine, Merz and Woltzenlogel Paleo, "Exploiting Symmetry in SMT
/// Problems" (CADE 2011), with two changes: sets of constants are found by exchanging pairs, since
/// transpositions generate all permutations, and t may equal terms outside the set as well.
///
/// The answer keeps satisfiability, not equivalence: it must not meet formulas that were not given.
/// One object serves one conjunction.
class SymmetryBreaker {
public:
    explicit SymmetryBreaker(TermManager* tm) : tm_(tm), nests_(tm) {}
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }

    /// A formula that is satisfiable together with `formulas` if these are, "true" where no symmetry
    /// is found. Gives up, with what it has, after some 10^7 steps.
    const Term_* operator()(TermArgs formulas);

private:
    using Index = uint32_t;

    /// A term; conjunctions and disjunctions have the arguments of the whole nest.
    struct Node {
        const Term_* term;
        Index begin, end; // in arguments_
        uint32_t count;   // as an argument of others
        bool is_conjunct;
    };
    /// A disjunction of equalities between a term and different constants.
    struct Cover {
        Index term;
        std::vector<Index> values; // in increasing order
    };
    /// What is the same for terms that differ in the order of arguments only.
    struct Key {
        std::vector<uint32_t> parts;
        size_t hash() const;
        bool operator==(const Key&) const = default;
    };
    using Indices = std::vector<Index>;

    bool add_conjuncts(TermArgs formulas);
    bool add_nodes(const Term_* root);
    Index add_node(const Term_* t, const TermVector& arguments);
    bool is_nest(const Term_* t) const { return tm_->is_and(t) || tm_->is_or(t); }
    void make_key(const Node& node, const std::vector<uint32_t>& ids, Key* key) const;
    void number_nodes();
    void find_covers();
    bool get_cover(const Node& disjunction, const Term_* term, Cover* cover) const;
    std::vector<Indices> get_classes(const Indices& constants);
    bool is_symmetric(Index a, Index b);
    void break_class(const Indices& constants);
    Indices get_parts(Index root, const std::vector<char>& wanted);
    void restrict_term(const Cover& cover, const std::vector<char>& allowed);
    bool spend(size_t steps);

    TermManager* tm_;
    NestFlattener nests_;
    const TerminationTest* termination_test_ = nullptr;
    size_t steps_ = 0;
    std::vector<Node> nodes_; // arguments before the terms they are in
    Indices arguments_;
    hsh::HashMap<const Term_*, Index> index_of_;
    hsh::HashMap<Key, uint32_t> numbers_;
    std::vector<uint32_t> number_; // by node; equal terms have the same
    std::vector<char> is_conjunct_number_;
    std::vector<uint32_t> image_; // numbers under the exchange at hand
    std::vector<Cover> covers_;
    std::vector<char> used_; // by node: constants in constraints that were added
    TermVector found_;
};

} // namespace tarq
