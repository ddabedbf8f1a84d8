#include "theory/arr/arrsolverinterface.h"

#include "theory/arr/arraysolverlod.h"
#include "theory/arr/arrsolver.h"

namespace tarq {

namespace {

std::unique_ptr<arr::SolverBase> make_solver(const Configuration::Theory::Arr& config,
                                             TermManager* tm, euf::Solver* euf)
{
    if (config.mode == 1) {
        return std::make_unique<arr::ArraySolverLOD>(config, tm, euf);
    }
    return std::make_unique<arr::Solver>(config, tm, euf);
}

} // namespace

ArrSolverInterface::ArrSolverInterface(const Configuration::Theory& config, TermManager* tm,
                                       EufSolverInterface* euf)
    : TheorySolver(tm), by_values_(config.arr.mode == 1),
      solver_(make_solver(config.arr, tm, euf->get_solver())), model_(tm, solver_.get())
{
}

ArrSolverInterface::~ArrSolverInterface() = default;

void ArrSolverInterface::set_model_computer(std::function<bool()> prepare,
                                            arr::ModelBuilder::Evaluate evaluate)
{
    evaluate_ = std::move(evaluate);
    if (by_values_) {
        static_cast<arr::ArraySolverLOD*>(solver_.get())
            ->set_model_computer(std::move(prepare), evaluate_);
    }
}

void ArrSolverInterface::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    solver_->set_termination_test(test);
}

void ArrSolverInterface::set_polarity_checker(const PolarityChecker* p)
{
    TheorySolver::set_polarity_checker(p);
    solver_->set_polarity_checker(p);
}

TellAtomResult ArrSolverInterface::tell_atom(const Term_* atom)
{
    const bool interested = solver_->tell_atom(atom);
    return {interested && tm_->is_equal(atom) &&
                tm_->is_array_type(TermManager::get_type(atom->child(0))),
            interested};
}

bool ArrSolverInterface::check(bool approx)
{
    if (!approx) {
        solver_->check();
    }
    return true;
}

LemmaInfo ArrSolverInterface::get_lemma(std::vector<TheoryLit>& clause)
{
    arr::Solver::Lemma lemma = solver_->get_lemma();
    clause.insert(clause.end(), lemma.clause.begin(), lemma.clause.end());
    LemmaInfo info;
    info.id = reinterpret_cast<void*>(lemma.id);
    info.flags = LEMMA_KEEP | LEMMA_CLASSIFY;
    return info;
}

void ArrSolverInterface::retract_lemma(void* id)
{
    solver_->retract_lemma(reinterpret_cast<size_t>(id));
}

const Term_* ArrSolverInterface::get_model_value(const Term_* t)
{
    return tm_->is_array_type(TermManager::get_type(t)) ? model_.get_value(t, evaluate_) : nullptr;
}

lbool ArrSolverInterface::equal_in_model(const Term_* a, const Term_* b)
{
    if (by_values_ || !tm_->is_array_type(TermManager::get_type(a)) ||
        !tm_->is_array_type(TermManager::get_type(b))) {
        return l_Undef;
    }
    return solver_->are_equal(a, b) ? l_True : l_False;
}

bool ArrSolverInterface::is_alien(const Term_* t)
{
    const auto is_array = [this](const Term_* x) {
        return tm_->is_array_type(TermManager::get_type(x));
    };
    if (tm_->is_equal(t)) {
        return !is_array(t->child(0));
    }
    if (tm_->is_term_ite(t) || tm_->is_constant(t)) {
        return tm_->is_finite_domain_type(TermManager::get_type(t));
    }
    return !(tm_->is_array_read(t) || tm_->is_array_write(t) || tm_->is_array_const(t) ||
             is_array(t));
}

} // namespace tarq
