// The solver objects of an environment, private to its sources.
#pragma once

#include "base/bitvector.h"
#include "dpll/dpllclausesink.h"
#include "dpll/dpllsolver.h"
#include "encoding/constraintencoder.h"
#include "encoding/nnfgenerator.h"
#include "encoding/polaritychecker.h"
#include "encoding/rewritestack.h"
#include "encoding/toplevelpropagator.h"
#include "encoding/tseitincnfgenerator.h"
#include "env/environment.h"
#include "terms/termnormalizer.h"
#include "theory/theorymanager.h"

#include <memory>
#include <utility>
#include <vector>

namespace tarq {

extern template class TseitinCNFGenerator<DpllClauseSink>;

/// Everything that init() builds and do_reset() drops. The order of the members is the order of
/// making; each uses only what stands above it.
struct Environment::Solvers {
    Solvers(const Configuration& config, TermManager* tm);
    void make_theories(const Configuration& config, TermManager* tm);
    bool decides_type(const TermManager* tm, const DataType* type) const;
    bool decides(const TermManager* tm, const Term_* t) const;

    DpllSolver engine;
    PolarityChecker polarity;
    std::unique_ptr<TheoryLemmaDump> lemma_dump; // null without debug.dump_theory_lemmas
    std::unique_ptr<TheoryManager> theories;     // the engine tells it of every variable
    DpllClauseSink sink;
    TseitinCNFGenerator<DpllClauseSink> cnf;
    std::unique_ptr<NNFGenerator> nnf; // null without preprocessor.partial_nnf_conversion
    RewriteStack rewrites;
    // null without preprocessor.toplevel_propagation
    std::unique_ptr<ToplevelPropagator> propagator;
    std::unique_ptr<TermNormalizer> normalizer; // made when a formula needs it
    ConstraintEncoder encoder;

    /// The value of a term in the theories' models, null when they have none.
    const Term_* get_theory_value(const Term_* t) { return theories->get_model_value(t); }
    /// Appends the symbols that preprocessing replaced, with what stands for them.
    void get_definitions(std::vector<std::pair<const Term_*, const Term_*>>& out) const
    {
        for (const RewriteStep& step : rewrites) {
            out.emplace_back(step.src(), step.dst());
        }
    }

    BitVector plain;     // by term id: Boolean constants and connectives of such
    BitVector supported; // by term id: nodes found to hold only atoms that an engine decides
};

} // namespace tarq
