// The clause conversion: definitional (Tseitin) encoding that leaves alone what is in clausal form.
//
// Method: a formula is split at its top-level conjunctions, conjuncts that are clauses are written
// as they stand, and every other connective gets a label with both directions of its definition (G.
// S. Tseitin, "On the complexity of derivation in propositional calculus"), so that a label means
// the same wherever its node occurs. Chains of one connective share a label unless an inner node is
// used elsewhere too.
//
// The sink decides where clauses go; it offers begin_clause(bool), add_literal(term, negate),
// end_clause() and create_label(term), and add_literal strips the `not`s of its term.
#pragma once

#include "encoding/cnfgenerator.h"
#include "encoding/cnfgeneratorhelpers.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tarq {

/// A set of terms, dense by id, whose insertions can be undone back to a backtrack point.
class BacktrackableTermSet {
public:
    bool contains(const Term_* t) const
    {
        size_t id = t->get_id();
        return id / 64 < words_.size() && (words_[id / 64] >> (id % 64) & 1);
    }

    /// Inserts `t`; remembered for undoing only while a point exists. Amortised constant.
    void insert(const Term_* t)
    {
        size_t word = t->get_id() / 64;
        if (word >= words_.size()) {
            words_.resize(word + 1 > 2 * words_.size() ? word + 1 : 2 * words_.size());
        }
        words_[word] |= uint64_t(1) << (t->get_id() % 64);
        if (!trail_.empty()) {
            trail_.push_back(t);
        }
    }

    void push() { trail_.push_back(nullptr); }

    /// Removes what was inserted since the newest push.
    void pop()
    {
        TARQ_ASSERT(!trail_.empty());
        while (const Term_* t = trail_.back()) {
            words_[t->get_id() / 64] &= ~(uint64_t(1) << (t->get_id() % 64));
            trail_.pop_back();
        }
        trail_.pop_back();
    }

private:
    std::vector<uint64_t> words_;
    std::vector<const Term_*> trail_; // a null entry for each point
};

/// The clause conversion over one sink. Borrows the term manager and the sink.
///
/// Invariants: (1) a connective in `labelled_` has its defining clauses in the sink; an atom there
/// was met before. (2) `parents_` counts the argument positions of the formulas that are asserted
/// now.
template <class Sink>
class TseitinCNFGenerator : public CNFGenerator {
public:
    /// full_cnf_conversion  labels every connective, without looking for clauses first
    TseitinCNFGenerator(TermManager* tm, Sink* sink, bool full_cnf_conversion)
        : CNFGenerator(tm), sink_(sink), full_cnf_conversion_(full_cnf_conversion), helper_(tm)
    {
    }

    void operator()(const Term_* f) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

private:
    enum class Kind {
        conjunction,
        disjunction,
        negation,
        equivalence,
        truth_constant,
        quantifier,
        atom
    };

    void handle_clause(const Term_* t, bool negated);
    void write_iff_clauses(const Term_* t, bool negated);
    void make_cnf(const Term_* t);
    bool push_arguments(const Term_* t);
    bool gather_arguments(const Term_* t);
    void handle_chain(const Term_* t, bool is_and);
    void handle_iff(const Term_* t);
    void write_clause(const Term_* a, bool na, const Term_* b, bool nb);
    void write_clause(const Term_* a, bool na, const Term_* b, bool nb, const Term_* c, bool nc);
    Kind kind_of(const Term_* t) const;
    bool is_shared(const Term_* t) const { return parents_.get(t) >= 2; }
    [[noreturn]] void refuse_quantifier() const;

    Sink* sink_;
    bool full_cnf_conversion_;
    CnfHelper helper_;
    ParentCounts parents_;
    ClauseMap clause_map_;
    BacktrackableTermSet labelled_;
    BacktrackableTermSet clause_seen_;
    std::vector<const Term_*> formula_trail_; // formulas counted in parents_, a null for each point
    // Scratch of operator(), make_cnf and the clause and leaf walks, kept for their memory.
    std::vector<const Term_*> top_stack_;
    std::vector<const Term_*> work_;
    std::vector<const Term_*> chain_;
    std::vector<std::pair<const Term_*, bool>> clause_walk_;
    std::vector<const Term_*> leaves_;
    TermMarks marks_;
};

template <class Sink>
void TseitinCNFGenerator<Sink>::operator()(const Term_* f)
{
    if (full_cnf_conversion_) {
        make_cnf(f);
        return;
    }
    if (!formula_trail_.empty()) {
        formula_trail_.push_back(f);
    }
    helper_.find_parents(f, parents_, true);
    top_stack_.assign(1, f);
    while (!top_stack_.empty()) {
        const Term_* t = top_stack_.back();
        top_stack_.pop_back();
        if (tm_->is_and(t) && !is_shared(t)) {
            top_stack_.push_back(t->child(0));
            top_stack_.push_back(t->child(1));
            continue;
        }
        if (helper_.is_atom(t) && tm_->is_quantifier(t)) {
            refuse_quantifier();
        }
        if (helper_.check_clause(t, clause_map_)) {
            handle_clause(t, tm_->is_not(t));
        } else {
            make_cnf(t);
        }
    }
}

template <class Sink>
void TseitinCNFGenerator<Sink>::push_backtrack_point()
{
    labelled_.push();
    clause_seen_.push();
    formula_trail_.push_back(nullptr);
}

template <class Sink>
void TseitinCNFGenerator<Sink>::pop_backtrack_point()
{
    labelled_.pop();
    clause_seen_.pop();
    TARQ_ASSERT(!formula_trail_.empty());
    while (const Term_* f = formula_trail_.back()) {
        helper_.find_parents(f, parents_, false);
        formula_trail_.pop_back();
    }
    formula_trail_.pop_back();
}

template <class Sink>
void TseitinCNFGenerator<Sink>::handle_clause(const Term_* t, bool negated)
{
    if (clause_seen_.contains(t)) {
        return;
    }
    clause_seen_.insert(t);
    const Term_* root = negated ? t->child(0) : t;
    if (tm_->is_iff(root)) {
        write_iff_clauses(root, negated);
        return;
    }
    // The walk meets each (node, sign) once: without that, shared disjunctions would be walked once
    // per path, which is exponential in the depth.
    TermMarksCleaner cleaner(marks_);
    sink_->begin_clause(true);
    clause_walk_.assign(1, {root, negated});
    while (!clause_walk_.empty()) {
        auto [x, neg] = clause_walk_.back();
        clause_walk_.pop_back();
        if (neg ? tm_->is_and(x) : tm_->is_or(x)) {
            if (marks_.insert(x, neg)) {
                clause_walk_.emplace_back(x->child(0), neg);
                clause_walk_.emplace_back(x->child(1), neg);
            }
        } else if (tm_->is_not(x)) {
            clause_walk_.emplace_back(x->child(0), !neg);
        } else {
            sink_->add_literal(x, neg);
        }
    }
    sink_->end_clause();
}

template <class Sink>
void TseitinCNFGenerator<Sink>::write_iff_clauses(const Term_* t, bool negated)
{
    const Term_* a = t->child(0);
    const Term_* b = t->child(1);
    write_clause(a, !negated, b, false);
    write_clause(b, true, a, negated);
}

template <class Sink>
typename TseitinCNFGenerator<Sink>::Kind TseitinCNFGenerator<Sink>::kind_of(const Term_* t) const
{
    if (tm_->is_and(t)) {
        return Kind::conjunction;
    }
    if (tm_->is_or(t)) {
        return Kind::disjunction;
    }
    if (tm_->is_not(t)) {
        return Kind::negation;
    }
    if (tm_->is_iff(t)) {
        return Kind::equivalence;
    }
    if (tm_->is_true(t) || tm_->is_false(t)) {
        return Kind::truth_constant;
    }
    return tm_->is_quantifier(t) ? Kind::quantifier : Kind::atom;
}

template <class Sink>
void TseitinCNFGenerator<Sink>::make_cnf(const Term_* t)
{
    work_.assign(1, t);
    while (!work_.empty()) {
        const Term_* x = work_.back();
        if (labelled_.contains(x)) {
            work_.pop_back();
            continue;
        }
        Kind kind = kind_of(x);
        switch (kind) {
        case Kind::truth_constant:
            throw make_error<error>("The CNF conversion does not support `true' and `false'");
        case Kind::quantifier:
            refuse_quantifier();
        case Kind::atom:
            labelled_.insert(x);
            work_.pop_back();
            continue;
        case Kind::conjunction:
        case Kind::disjunction:
            if (is_shared(x) ? push_arguments(x) : gather_arguments(x)) {
                continue;
            }
            handle_chain(x, kind == Kind::conjunction);
            break;
        case Kind::negation:
        case Kind::equivalence:
            if (push_arguments(x)) {
                continue;
            }
            if (kind == Kind::equivalence) {
                handle_iff(x);
            }
            break;
        }
        work_.pop_back();
        labelled_.insert(x);
        if (termination_test_) {
            (*termination_test_)();
        }
    }
    sink_->begin_clause(true);
    sink_->add_literal(t, false);
    sink_->end_clause();
}

/// Puts the arguments of `t` that have no definition yet on the work stack; tells whether there
/// were any.
template <class Sink>
bool TseitinCNFGenerator<Sink>::push_arguments(const Term_* t)
{
    size_t before = work_.size();
    for (size_t i = 0; i < t->arity(); ++i) {
        if (!labelled_.contains(t->child(i))) {
            work_.push_back(t->child(i));
        }
    }
    return work_.size() > before;
}

/// The same for the members of the chain of one connective that starts at `t`: its inner nodes get
/// no label, unless they are shared.
template <class Sink>
bool TseitinCNFGenerator<Sink>::gather_arguments(const Term_* t)
{
    size_t before = work_.size();
    TermMarksCleaner cleaner(marks_);
    chain_.assign(1, t);
    while (!chain_.empty()) {
        const Term_* x = chain_.back();
        chain_.pop_back();
        for (size_t i = 0; i < x->arity(); ++i) {
            const Term_* c = x->child(i);
            if (labelled_.contains(c) || !marks_.insert(c)) {
                continue;
            }
            if (c->get_symbol() == t->get_symbol() && !is_shared(c)) {
                chain_.push_back(c);
            } else {
                work_.push_back(c);
            }
        }
    }
    return work_.size() > before;
}

/// Writes the definition of a conjunction or disjunction over the leaves of its chain. For a
/// conjunction t with leaves l_i: (not t or l_i) for each, and (t or not l_1 or ... or not l_n);
/// for a disjunction the same with all signs flipped.
template <class Sink>
void TseitinCNFGenerator<Sink>::handle_chain(const Term_* t, bool is_and)
{
    sink_->create_label(t);
    leaves_.clear();
    {
        TermMarksCleaner cleaner(marks_);
        chain_.assign(1, t);
        while (!chain_.empty()) {
            const Term_* x = chain_.back();
            chain_.pop_back();
            bool inner = x->get_symbol() == t->get_symbol() && !labelled_.contains(x) &&
                         (x == t || !is_shared(x));
            if (!inner) {
                leaves_.push_back(x);
                continue;
            }
            for (size_t i = 0; i < x->arity(); ++i) {
                if (marks_.insert(x->child(i))) {
                    chain_.push_back(x->child(i));
                }
            }
        }
    }
    for (const Term_* l : leaves_) {
        write_clause(t, is_and, l, !is_and);
    }
    sink_->begin_clause(true);
    sink_->add_literal(t, !is_and);
    for (const Term_* l : leaves_) {
        sink_->add_literal(l, is_and);
    }
    sink_->end_clause();
}

template <class Sink>
void TseitinCNFGenerator<Sink>::handle_iff(const Term_* t)
{
    const Term_* a = t->child(0);
    const Term_* b = t->child(1);
    sink_->create_label(t);
    write_clause(t, true, a, true, b, false);
    write_clause(t, true, a, false, b, true);
    write_clause(t, false, a, true, b, true);
    write_clause(t, false, a, false, b, false);
}

template <class Sink>
void TseitinCNFGenerator<Sink>::write_clause(const Term_* a, bool na, const Term_* b, bool nb)
{
    sink_->begin_clause(true);
    sink_->add_literal(a, na);
    sink_->add_literal(b, nb);
    sink_->end_clause();
}

template <class Sink>
void TseitinCNFGenerator<Sink>::write_clause(const Term_* a, bool na, const Term_* b, bool nb,
                                             const Term_* c, bool nc)
{
    sink_->begin_clause(true);
    sink_->add_literal(a, na);
    sink_->add_literal(b, nb);
    sink_->add_literal(c, nc);
    sink_->end_clause();
}

template <class Sink>
void TseitinCNFGenerator<Sink>::refuse_quantifier() const
{
    throw make_error<error>("The CNF conversion does not support quantifiers");
}

} // namespace tarq
