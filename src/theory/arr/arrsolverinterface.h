// ArrSolverInterface: arrays as a theory solver.
#pragma once

#include "theory/arr/arrsolver.h"
#include "theory/arr/modelbuilder.h"
#include "theory/euf/eufsolverinterface.h"
#include "theory/theorysolver.h"

#include <string>
#include <utility>
#include <vector>

namespace tarq {

/// The array solver at its place in the manager. Equalities of arrays, reads and writes are terms
/// of the congruence closure; what is added here are lemmas.
class ArrSolverInterface : public TheorySolver {
public:
    /// All are borrowed.
    /// config  of the theories; read while the solver lives
    ArrSolverInterface(const Configuration::Theory& config, TermManager* tm,
                       EufSolverInterface* euf);

    /// The values of indices and elements in the model of all theories; before the first model.
    void set_model_computer(arr::ModelBuilder::Evaluate evaluate)
    {
        evaluate_ = std::move(evaluate);
    }

    const char* get_name() const override { return "arr"; }
    bool is_euf_extension() const override { return true; }
    void set_termination_test(const TerminationTest* test) override;
    void set_polarity_checker(const PolarityChecker* p) override;
    TellAtomResult tell_atom(const Term_* atom) override;
    void retract_atom(const Term_* atom) override { solver_.retract_atom(atom); }
    bool check(bool approx) override;
    bool has_lemmas() override { return solver_.has_lemmas(); }
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override;
    void retract_lemma(void* id) override;
    void build_model() override { model_.build_model(); }
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override {}
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override
    {
        return solver_.get_stats();
    }

private:
    arr::Solver solver_;
    arr::ModelBuilder model_;
    arr::ModelBuilder::Evaluate evaluate_;
};

} // namespace tarq
