// ArrSolverInterface: arrays as a theory solver.
#pragma once

#include "theory/arr/arrsolverbase.h"
#include "theory/arr/modelbuilder.h"
#include "theory/euf/eufsolverinterface.h"
#include "theory/theorysolver.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

/// The array solver at its place in the manager: one of two decision procedures, by
/// theory.arr.mode. Equalities of arrays, reads and writes are terms of the congruence closure; what
/// is added here are lemmas.
class ArrSolverInterface : public TheorySolver {
public:
    /// All are borrowed.
    /// config  of the theories; read while the solver lives
    ArrSolverInterface(const Configuration::Theory& config, TermManager* tm,
                       EufSolverInterface* euf);

    ~ArrSolverInterface() override;

    /// The model of all other theories. Before the first check.
    /// prepare   makes the one of the assignment at hand; false when some theory has none
    /// evaluate  the values of indices and elements in the newest one
    void set_model_computer(std::function<bool()> prepare, arr::ModelBuilder::Evaluate evaluate);

    const char* get_name() const override { return "arr"; }
    bool is_euf_extension() const override { return true; }
    void set_termination_test(const TerminationTest* test) override;
    void set_polarity_checker(const PolarityChecker* p) override;
    TellAtomResult tell_atom(const Term_* atom) override;
    void retract_atom(const Term_* atom) override { solver_->retract_atom(atom); }
    bool check(bool approx) override;
    bool has_lemmas() override { return solver_->has_lemmas(); }
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override;
    void retract_lemma(void* id) override;
    void build_model() override { model_.build_model(); }
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override {}
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override
    {
        return solver_->get_stats();
    }

private:
    const bool by_values_; // lemmas on demand
    std::unique_ptr<arr::SolverBase> solver_;
    arr::ModelBuilder model_;
    arr::ModelBuilder::Evaluate evaluate_;
};

} // namespace tarq
