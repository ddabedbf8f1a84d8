#include "theory/bv/bvsolverinterface.h"

#include "theory/bv/eagerbvsolver.h"
#include "theory/bv/lazybvsolver.h"

namespace tarq {

BVSolverInterface::BVSolverInterface(TermManager* tm, const Configuration::Theory::Bv& options,
                                     DpllSolver* engine)
    : DelegatingSolver(tm)
{
    if (options.eager) {
        choose_listener(std::make_unique<bv::eager::EagerBVSolver>(tm, options, engine));
    } else {
        choose(std::make_unique<bv::lazy::LazyBVSolver>(tm, options));
    }
}

} // namespace tarq
