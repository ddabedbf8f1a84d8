#include "theory/bv/bvsolverinterface.h"

#include "theory/bv/eagerbvsolver.h"
#include "theory/bv/lazybvsolver.h"

namespace tarq {

BVSolverInterface::BVSolverInterface(TermManager* tm, const Configuration::Theory::Bv& options,
                                     DpllSolver* engine)
    : TheorySolver(tm)
{
    if (options.eager) {
        auto eager = std::make_unique<bv::eager::EagerBVSolver>(tm, options, engine);
        listener_ = eager.get();
        impl_ = std::move(eager);
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

FpBvCombListener& BVSolverInterface::listener()
{
    if (!listener_) {
        throw make_error<error>("unsupported");
    }
    return *listener_;
}

void BVSolverInterface::set_fp_bv_combination(FpBvCombination* link)
{
    listener().set_fp_bv_combination(link);
}

void BVSolverInterface::fp_bv_comb_notify_tell(const Term_* t)
{
    listener().fp_bv_comb_notify_tell(t);
}

bool BVSolverInterface::fp_bv_comb_get_bits(const Term_* t, std::vector<bv::BvLit>* bits)
{
    return listener().fp_bv_comb_get_bits(t, bits);
}

} // namespace tarq
