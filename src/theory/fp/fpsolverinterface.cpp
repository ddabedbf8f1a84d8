#include "theory/fp/fpsolverinterface.h"

#include "theory/fp/fpbveagersolver.h"
#include "theory/fp/fpbvlazysolver.h"

namespace tarq {

FPSolverInterface::FPSolverInterface(TermManager* tm, const Configuration::Theory::Fp& options,
                                     DpllSolver* engine)
    : TheorySolver(tm)
{
    if (options.mode == 0) {
        auto lazy = std::make_unique<fp::FpBvLazySolver>(tm, options);
        listener_ = lazy.get();
        impl_ = std::move(lazy);
    } else if (options.mode == 1) {
        auto eager = std::make_unique<fp::FpBvEagerSolver>(tm, options, engine);
        listener_ = eager.get();
        impl_ = std::move(eager);
    } else {
        throw make_error<error>("unknown mode of the FP solver");
    }
}

FPSolverInterface::~FPSolverInterface() = default;

void FPSolverInterface::set_logger(Logger* logger)
{
    TheorySolver::set_logger(logger);
    impl_->set_logger(logger);
}

void FPSolverInterface::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    impl_->set_termination_test(test);
}

void FPSolverInterface::set_polarity_checker(const PolarityChecker* p)
{
    TheorySolver::set_polarity_checker(p);
    impl_->set_polarity_checker(p);
}

} // namespace tarq
