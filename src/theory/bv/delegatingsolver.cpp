#include "theory/bv/delegatingsolver.h"

namespace tarq {

void DelegatingSolver::set_logger(Logger* logger)
{
    TheorySolver::set_logger(logger);
    impl_->set_logger(logger);
}

void DelegatingSolver::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    impl_->set_termination_test(test);
}

void DelegatingSolver::set_polarity_checker(const PolarityChecker* p)
{
    TheorySolver::set_polarity_checker(p);
    impl_->set_polarity_checker(p);
}

FpBvCombListener& DelegatingSolver::listener()
{
    if (!listener_) {
        throw make_error<error>("unsupported");
    }
    return *listener_;
}

void DelegatingSolver::set_fp_bv_combination(FpBvCombination* link)
{
    listener().set_fp_bv_combination(link);
}

void DelegatingSolver::fp_bv_comb_notify_tell(const Term_* t)
{
    listener().fp_bv_comb_notify_tell(t);
}

bool DelegatingSolver::fp_bv_comb_get_bits(const Term_* t, std::vector<bv::BvLit>* bits)
{
    return listener().fp_bv_comb_get_bits(t, bits);
}

} // namespace tarq
