// The solver objects of an environment, private to its sources.
#pragma once

#include "base/bitvector.h"
#include "dpll/dpllclausesink.h"
#include "dpll/dpllsolver.h"
#include "encoding/nnfgenerator.h"
#include "encoding/polaritychecker.h"
#include "encoding/tseitincnfgenerator.h"
#include "env/environment.h"
#include "terms/termnormalizer.h"

#include <memory>

namespace tarq {

extern template class TseitinCNFGenerator<DpllClauseSink>;

/// Everything that init() builds and do_reset() drops. The order of the members is the order of
/// making; each uses only what stands above it.
struct Environment::Solvers {
    Solvers(const Configuration& config, TermManager* tm);

    DpllSolver engine;
    PolarityChecker polarity;
    DpllClauseSink sink;
    TseitinCNFGenerator<DpllClauseSink> cnf;
    std::unique_ptr<NNFGenerator> nnf;          // null without preprocessor.partial_nnf_conversion
    std::unique_ptr<TermNormalizer> normalizer; // made when a formula needs it
    BitVector supported; // by term id: nodes found to hold only atoms that an engine decides
};

} // namespace tarq
