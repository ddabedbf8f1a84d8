// The solver objects of an environment, private to its sources.
#pragma once

#include "base/bitvector.h"
#include "dpll/dpllclausesink.h"
#include "dpll/dpllsolver.h"
#include "encoding/constraintencoder.h"
#include "encoding/freecoder.h"
#include "encoding/nnfgenerator.h"
#include "encoding/polaritychecker.h"
#include "encoding/rewritestack.h"
#include "encoding/toplevelpropagator.h"
#include "encoding/tseitincnfgenerator.h"
#include "env/environment.h"
#include "results/modelsource.h"
#include "results/unsatcorestore.h"
#include "terms/termnormalizer.h"
#include "theory/bv/fpbvcombination.h"
#include "theory/theorymanager.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace tarq {

extern template class TseitinCNFGenerator<DpllClauseSink>;

/// The clause sink of an environment: what the engine made of a clause goes on record for cores.
class Environment::ClassifierSink : public DpllClauseSink {
public:
    /// cores  null when there is no record
    ClassifierSink(const Configuration& config, TermManager* tm, DpllSolver* engine,
                   const PolarityChecker* polarity, UnsatCoreStore* cores)
        : DpllClauseSink(tm, engine, polarity, config.dpll.branching_initial_phase,
                         config.unsat_core_generation == 2),
          cores_(cores)
    {
    }

    dpll::Clause* end_clause() override
    {
        dpll::Clause* c = DpllClauseSink::end_clause();
        if (cores_) {
            cores_->add_clause(c);
        }
        return c;
    }

private:
    UnsatCoreStore* cores_;
};

/// Everything that init() builds and do_reset() drops. The order of the members is the order of
/// making; each uses only what stands above it.
struct Environment::Solvers {
    /// external  the foreign SAT engine to use; null for the built-in search
    Solvers(const Configuration& config, TermManager* tm, dpll::ExternalDpllInterface* external);
    void make_theories(const Configuration& config, TermManager* tm);
    bool decides_type(const TermManager* tm, const DataType* type) const;
    bool decides(const TermManager* tm, const Term_* t) const;

    std::unique_ptr<DpllSolver> own_engine;
    DpllSolver& engine;
    PolarityChecker polarity;
    std::unique_ptr<TheoryLemmaDump> lemma_dump; // null without debug.dump_theory_lemmas
    // null when floats and bit-vectors are not linked
    std::unique_ptr<FpBvCombination> fp_bv_combination;
    std::unique_ptr<TheoryManager> theories; // the engine tells it of every variable
    std::unique_ptr<UnsatCoreStore> cores;   // null without unsat_core_generation
    ClassifierSink sink;
    TseitinCNFGenerator<DpllClauseSink> cnf;
    std::unique_ptr<NNFGenerator> nnf; // null without preprocessor.partial_nnf_conversion
    RewriteStack rewrites;
    // null without preprocessor.toplevel_propagation
    std::unique_ptr<ToplevelPropagator> propagator;
    std::unique_ptr<FreeCoder> free_coder;      // null without preprocessor.free_input_propagation
    std::unique_ptr<TermNormalizer> normalizer; // made when a formula needs it
    ConstraintEncoder encoder;

    /// The value of a term in the theories' models, null when they have none.
    const Term_* get_theory_value(const Term_* t) { return theories->get_model_value(t); }
    /// Appends the symbols that preprocessing replaced, with what stands for them.
    void get_definitions(std::vector<std::pair<const Term_*, const Term_*>>& out) const
    {
        for (const RewriteStep& step : rewrites) {
            if (!step.is_adhoc()) {
                out.emplace_back(step.src(), step.dst());
            }
        }
    }
    /// Appends the replaced terms whose value was left free, newest first: each may hold constants
    /// that stand for older ones.
    void get_choices(std::vector<ModelSource::Choice>& out) const
    {
        for (const RewriteStep& step : rewrites) {
            if (step.is_adhoc() && step.is_active()) {
                out.push_back({step.src(), step.dst(), free_coder->get_taken_out(step.src())});
            }
        }
        std::reverse(out.begin(), out.end());
    }

    BitVector plain;     // by term id: Boolean constants and connectives of such
    BitVector supported; // by term id: nodes found to hold only atoms that an engine decides
    bool has_other_terms = false; // than real and Boolean ones without uninterpreted functions
};

} // namespace tarq
