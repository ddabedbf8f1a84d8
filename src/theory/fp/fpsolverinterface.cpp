#include "theory/fp/fpsolverinterface.h"

#include "theory/fp/fpbveagersolver.h"
#include "theory/fp/fpbvlazysolver.h"

namespace tarq {

FPSolverInterface::FPSolverInterface(TermManager* tm, const Configuration::Theory::Fp& options,
                                     DpllSolver* engine)
    : DelegatingSolver(tm)
{
    if (options.mode == 0) {
        choose_listener(std::make_unique<fp::FpBvLazySolver>(tm, options));
    } else if (options.mode == 1) {
        choose_listener(std::make_unique<fp::FpBvEagerSolver>(tm, options, engine));
    } else {
        throw make_error<error>("unknown mode of the FP solver");
    }
}

} // namespace tarq
