#include "theory/bv/bvsolverinterface.h"

#include "theory/bv/eagerbvsolver.h"
#include "theory/bv/lazybvsolver.h"

namespace tarq {

BVSolverInterface::BVSolverInterface(TermManager* tm, const Configuration::Theory::Bv& options,
                                     DpllSolver* engine)
    : TheorySolver(tm)
{
    if (options.eager) {
        impl_ = std::make_unique<bv::eager::EagerBVSolver>(tm, options, engine);
    } else {
        impl_ = std::make_unique<bv::lazy::LazyBVSolver>(tm, options);
    }
}

BVSolverInterface::~BVSolverInterface() = default;

void BVSolverInterface::set_logger(Logger* logger)
{
    TheorySolver::set_logger(logger);
    impl_->set_logger(logger);
}

void BVSolverInterface::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    impl_->set_termination_test(test);
}

void BVSolverInterface::set_polarity_checker(const PolarityChecker* p)
{
    TheorySolver::set_polarity_checker(p);
    impl_->set_polarity_checker(p);
}

} // namespace tarq
