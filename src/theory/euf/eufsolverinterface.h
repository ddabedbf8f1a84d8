// EufSolverInterface: congruence closure as a theory solver.
#pragma once

#include "base/configuration.h"
#include "base/hashmap.h"
#include "theory/equalityclasses.h"
#include "theory/euf/eufsolver.h"
#include "theory/theorysolver.h"

#include <deque>
#include <utility>
#include <vector>

namespace tarq {

/// The solver at place 0 of the manager. It is told every atom, and wants the literals of
/// equalities of all types and of uninterpreted predicates. Literals wait for the next check.
///
/// Owns the closure. Borrows the equality propagator.
class EufSolverInterface : public TheorySolver, public EqualityClasses, private euf::EqPropagator {
public:
    EufSolverInterface(const Configuration::Theory::Euf& config, TermManager* tm);
    ~EufSolverInterface() override;

    const char* get_name() const override { return "EUF"; }
    bool is_euf_extension() const override { return true; }
    void set_eq_propagator(TheoryEqPropagator* p) override;

    TellAtomResult tell_atom(const Term_* atom) override;
    void retract_atom(const Term_* atom) override;
    void new_decision_level() override;
    void cancel_until(int level) override;
    bool assume(TheoryLit l) override;
    bool assume(TheoryEq* eq) override;
    bool check(bool approx) override;
    void get_conflict(std::vector<TheoryLit>& out) override;
    TheoryLit get_next_implied() override;
    bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out) override;

    bool has_lemmas() override;
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override;
    void retract_lemma(void* id) override;

    /// Does nothing: the manager calls the form with the terms to keep.
    void build_model() override {}
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override {}
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override;
    void notify_interface_term(const Term_* t) override;
    void retract_interface_term(const Term_* t) override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override;

    // EqualityClasses
    const Term_* get_representative(const Term_* t) override
    {
        return solver_.get_representative(t);
    }
    void get_congruence_class(const Term_* t, TermVector& out) override
    {
        solver_.get_congruence_class(t, out);
    }
    void get_all_representatives(TermVector& out) override { solver_.get_all_representatives(out); }
    void build_model(const TermSet& keep) override;
    void get_model_congruence_class(const Term_* value, TermVector& out) override;
    void add_dyn_ack_tag(SymbolTag::tag tag) override { dyn_ack_tags_.push_back(tag); }

    euf::Solver* get_solver() { return &solver_; }

private:
    class EufEq;
    /// Two applications of one function that were taken for equal in conflicts.
    struct DynAckPair {
        int count = 0;
        bool has_lemma = false;
    };
    using TermPair = std::pair<const Term_*, const Term_*>;

    void propagate(const Term_* a, const Term_* b) override;
    bool owns_atom(const Term_* t) const;
    bool is_shared_type(const DataType* type) const;
    void count_congruences();
    TheoryLit equality_literal(const Term_* a, const Term_* b) const;
    bool has_literals(TermPair p) const;
    void make_dyn_ack_lemma(TermPair p, std::vector<TheoryLit>& clause);
    void drop_dyn_ack_pair(TermPair p);
    bool is_better_value(const Term_* a, const Term_* b, const TermSet& keep) const;

    const Configuration::Theory::Euf& config_;
    euf::Solver solver_;
    TheoryEqPropagator* eq_propagator_ = nullptr;
    std::vector<TheoryLit> pending_lits_;

    hsh::HashMap<TermPair, DynAckPair> dyn_ack_pairs_;
    std::deque<TermPair> dyn_ack_queue_;
    std::vector<TheoryLit> spare_clause_; // the second clause of the last lemma, while not fetched
    TermPair spare_pair_{nullptr, nullptr};
    hsh::HashMap<size_t, TermPair> dyn_ack_lemmas_; // by lemma id
    size_t next_dyn_ack_id_ = 1;
    std::vector<SymbolTag::tag> dyn_ack_tags_;
    uint64_t dyn_ack_generated_ = 0;
    uint64_t dyn_ack_deleted_ = 0;

    hsh::HashMap<const Term_*, const Term_*> model_;
    TermMap model_classes_; // a value to the representative that its class had
    hsh::HashMap<const Term_*, TermVector> model_members_;
};

} // namespace tarq
