// FPSolverInterface: the solver of floats that the theory manager sees.
#pragma once

#include "base/configuration.h"
#include "theory/bv/delegatingsolver.h"

namespace tarq {

class DpllSolver;

/// The lazy or the eager solver, as `theory.fp.mode` says. The lazy one has no link to bit-vectors: it
/// refuses it with error "Lazy FPBV solver doesn't support FP<->BV combination".
class FPSolverInterface : public DelegatingSolver {
public:
    /// engine  the main engine, where the eager solver puts its clauses; borrowed
    /// throws  error "unknown mode of the FP solver"
    FPSolverInterface(TermManager* tm, const Configuration::Theory::Fp& options,
                      DpllSolver* engine);

    const char* get_name() const override { return "fp"; }
};

} // namespace tarq
