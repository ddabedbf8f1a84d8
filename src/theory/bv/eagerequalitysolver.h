// What the eager solvers have in common: their part in theory combination.
#pragma once

#include "base/configuration.h"
#include "base/hashmap.h"
#include "theory/bv/bvlit.h"
#include "theory/theorysolver.h"

#include <vector>

namespace tarq {
class DpllSolver;
}

namespace tarq::bv::eager {

/// A solver whose atoms are clauses of the main engine, and which learns equalities of its terms
/// from others. Such an equality gets a Boolean constant (its proxy), which implies, bit by bit,
/// that the two words are equal; the proxy is then an implied literal.
///
/// An equality arrives at any time, also while the engine undoes its assignment, so `assume` only
/// keeps a copy. All work is done in `check`, where the assignment can be read and clauses can be
/// added. What has no bits, and is not linked by equalities to what has, is left waiting.
///
/// Invariants
///   1. equalities_ is in the order of arrival, and levels_ says how long it was when each level
///      began.
///   2. An equality that still holds is in verified_ (its proxy was true at some level that is not
///      cancelled) or in todo_, never in both.
class EagerEqualitySolver : public TheorySolver {
public:
    ~EagerEqualitySolver() override;

    void new_decision_level() override;
    void cancel_until(int level) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

    using TheorySolver::assume;
    bool assume(TheoryEq* eq) override;
    bool check(bool approx) override;
    void get_conflict(std::vector<TheoryLit>& out) override;
    TheoryLit get_next_implied() override;
    bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out) override;
    void notify_interface_term(const Term_* t) override;
    void retract_interface_term(const Term_* t) override;

protected:
    /// delay   decline explanations that can wait
    /// prefix  begins the names of proxies; a constant
    EagerEqualitySolver(TermManager* tm, DpllSolver* engine, const bool& delay, const char* prefix)
        : TheorySolver(tm), engine_(engine), delay_(delay), prefix_(prefix)
    {
    }

    /// Whether words of the sort are this solver's.
    virtual bool is_own_sort(const DataType* type) const = 0;
    virtual bool has_word(const Term_* t) const = 0;
    virtual void make_word(const Term_* t) = 0;
    /// Writes clauses by which `lit` implies that the words of a and b are equal; makes the words
    /// first. Returns false without clauses if a pair of bits can't be equal.
    virtual bool define_equality(BvLit lit, const Term_* a, const Term_* b) = 0;

    uint64_t num_proxies() const { return num_proxies_; }

    DpllSolver* engine_;

private:
    using TermPair = std::pair<const Term_*, const Term_*>;
    struct Verified {
        uint32_t equality;
        int level;
    };

    bool is_relevant(const TheoryEq& eq) const;
    const Term_* proxy_for(const TheoryEq& eq);
    const Term_* make_proxy_constant();

    const bool& delay_;
    const char* prefix_;
    int level_ = 0;
    uint64_t num_interface_terms_ = 0;
    std::vector<TheoryEq*> equalities_; // copies, owned
    std::vector<size_t> levels_;
    std::vector<uint32_t> todo_; // ascending
    std::vector<Verified> verified_;
    hsh::HashMap<TermPair, const Term_*> proxy_of_;  // ends by id; null: the sides differ in a bit
    std::vector<TermPair> proxy_trail_;              // its keys in the order of making
    std::vector<size_t> proxy_marks_;                // its length at each backtrack point
    hsh::HashMap<const Term_*, uint32_t> reason_of_; // proxy to the equality that implied it last
    std::vector<TheoryLit> implied_;
    size_t implied_head_ = 0;
    static constexpr uint32_t NO_EQUALITY = ~uint32_t{0};
    uint32_t conflict_ = NO_EQUALITY;
    const Term_* conflict_proxy_ = nullptr; // false in the assignment; null: the sides differ
    uint64_t num_proxies_ = 0;
};

} // namespace tarq::bv::eager
