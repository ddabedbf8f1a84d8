// CheckedTheorySolver: a theory solver between the manager and another, which asserts that both
// keep to the contract.
#pragma once

#include "base/hashmap.h"
#include "base/hashset.h"
#include "terms/termmanager.h"
#include "theory/theorysolver.h"

#include <memory>
#include <utility>
#include <vector>

namespace tarq {

/// Passes every call on. What it asserts: atoms are told once and retracted in reverse order,
/// within the scope that they were told in; literals are over told atoms of interest, and not given
/// in both polarities; nothing is asked after a conflict but the conflict, until a level is
/// cancelled; levels and backtrack points nest; lemmas are taken when they are there and retracted
/// once; implied literals are over told atoms; terms are compared in an abstract model that was
/// built for the state at hand. Owns the solver. Does nothing of value without assertions.
class CheckedTheorySolver : public TheorySolver {
public:
    /// retracts_all  as for EUF: told to forget every atom, and not only those of interest
    CheckedTheorySolver(TermManager* tm, std::unique_ptr<TheorySolver> solver,
                        bool retracts_all = false);
    ~CheckedTheorySolver() override;

    const char* get_name() const override { return solver_->get_name(); }
    bool is_euf_extension() const override { return solver_->is_euf_extension(); }
    void set_logger(Logger* logger) override { solver_->set_logger(logger); }
    void set_termination_test(const TerminationTest* t) override
    {
        solver_->set_termination_test(t);
    }
    void set_eq_propagator(TheoryEqPropagator* p) override { solver_->set_eq_propagator(p); }
    void set_polarity_checker(const PolarityChecker* p) override
    {
        solver_->set_polarity_checker(p);
    }

    TellAtomResult tell_atom(const Term_* atom) override;
    void retract_atom(const Term_* atom) override;
    void new_decision_level() override;
    void cancel_until(int level) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;
    bool assume(TheoryLit l) override;
    bool assume(TheoryEq* eq) override;
    bool check(bool approx) override;
    void get_conflict(std::vector<TheoryLit>& out) override;
    TheoryLit get_next_implied() override;
    bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out) override;
    bool has_lemmas() override;
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override;
    void retract_lemma(void* id) override;
    void build_model() override;
    const Term_* get_model_value(const Term_* t) override;
    uint32_t get_model_value_hint(const Term_* t) override
    {
        return solver_->get_model_value_hint(t);
    }
    void build_abstract_model() override;
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override { return solver_->is_alien(t); }
    void notify_interface_term(const Term_* t) override;
    void retract_interface_term(const Term_* t) override;
    bool is_interesting_interface_equality(const Term_* a, const Term_* b) override
    {
        return solver_->is_interesting_interface_equality(a, b);
    }
    std::vector<std::pair<std::string, std::string>> get_stats() const override
    {
        return solver_->get_stats();
    }

private:
    bool is_told(const Term_* atom) const { return interested_.find(atom) != interested_.end(); }

    std::unique_ptr<TheorySolver> solver_;
    const bool retracts_all_;
    hsh::HashMap<const Term_*, bool> interested_; // of each told atom
    TermVector told_;                             // in order, those that will be retracted
    std::vector<size_t> points_;                  // length of told_ at each backtrack point
    std::vector<TheoryLit> assumed_;
    std::vector<size_t> levels_; // length of assumed_ at each level
    hsh::HashSet<TheoryLit> assumed_set_;
    bool in_conflict_ = false;
    bool lemma_announced_ = false;
    hsh::HashSet<uintptr_t> lemmas_;
    TermSet interface_terms_;
    bool has_abstract_model_ = false;
};

} // namespace tarq
