// BVSolverInterface: the bit-vector solver that the theory manager sees.
#pragma once

#include "base/configuration.h"
#include "theory/bv/delegatingsolver.h"

namespace tarq {

class DpllSolver;

/// The eager or the lazy solver, as `theory.bv.eager` says. The link to the solver of floats is one of
/// the eager solver.
class BVSolverInterface : public DelegatingSolver {
public:
    /// engine  the main engine, where the eager solver puts its clauses; borrowed
    BVSolverInterface(TermManager* tm, const Configuration::Theory::Bv& options,
                      DpllSolver* engine);

    const char* get_name() const override { return "bv"; }
};

} // namespace tarq
