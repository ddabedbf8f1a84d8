#include "theory/bv/eagerbvsolver.h"

#include "base/logger.h"
#include "dpll/dpllsolver.h"

namespace tarq::bv::eager {

// The sink

BvLit EagerClauseSink::new_atom()
{
    ++num_variables;
    return BvLit::from_sat(dpll::Lit(engine_->new_var()));
}

bool EagerClauseSink::get_proxy(const Term_* t, BvLit* lit)
{
    const int var = proxy_enabled_ ? engine_->proxy_for_term(t) : -1;
    if (var < 0) {
        return false;
    }
    *lit = BvLit::from_sat(dpll::Lit(var));
    return true;
}

bool EagerClauseSink::make_proxy(const Term_* t, BvLit* lit)
{
    if (!proxy_enabled_) {
        return false;
    }
    int var = -1;
    engine_->make_proxy(t, &var);
    engine_->set_problem_var(var, true);
    *lit = BvLit::from_sat(dpll::Lit(var));
    return true;
}

void EagerClauseSink::add_clause()
{
    if (take_clause(&lits_)) {
        ++num_clauses;
        engine_->keep_axiom(lits_);
        engine_->add_clause_inplace(lits_, false, true);
    }
}

// Life

EagerBVSolver::EagerBVSolver(TermManager* tm, const Configuration::Theory::Bv& options,
                             DpllSolver* engine)
    : EagerEqualitySolver(tm, engine, options.delay_propagated_eqs, "bvteq."), options_(options),
      sink_(engine),
      words_(WordClausifierInterface::make(tm, options,
                                           builds_ites(*options.parent)
                                               ? WordClausifierInterface::Ites::FILTERED
                                               : WordClausifierInterface::Ites::VARIABLES)),
      model_(tm, words_.get(), options)
{
}

void EagerBVSolver::set_logger(Logger* logger)
{
    TheorySolver::set_logger(logger);
    words_->set_logger(logger);
}

void EagerBVSolver::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    words_->set_termination_test(test);
}

bool EagerBVSolver::should_handle(const TermManager& tm, const Term_* atom)
{
    const SymbolTag::tag tag = tm.get_tag(atom);
    return (tag >= SymbolTag::BV_ULT && tag <= SymbolTag::BV_SLE) ||
           (tag == SymbolTag::EQ && tm.is_bv_type(TermManager::get_type(atom->child(0))));
}

TellAtomResult EagerBVSolver::tell_atom(const Term_* atom)
{
    if (!should_handle(*tm_, atom)) {
        log(3, "BV") << "don't have to handle this!: " << atom->to_shallow_str() << EndLog;
        return {};
    }
    if (options_.parent->parent->proof_generation) {
        throw make_error<Exception>("eager bv solver does not support proof generation");
    }
    // The atom's variable is there already and becomes the output of its circuit. The clauses say
    // all there is to say, so nobody needs to hear of its literals.
    if (link_) {
        link_->tell_subterms(atom);
    }
    words_->bit_blast(atom, &sink_);
    return {true, false};
}

void EagerBVSolver::push_backtrack_point()
{
    words_->push_backtrack_point();
    EagerEqualitySolver::push_backtrack_point();
}

void EagerBVSolver::pop_backtrack_point()
{
    words_->pop_backtrack_point();
    EagerEqualitySolver::pop_backtrack_point();
}

// Theory combination

void EagerBVSolver::make_word(const Term_* t)
{
    if (link_) {
        link_->tell_subterms(t);
    }
    words_->notify_interface_term(t, &sink_);
}

bool EagerBVSolver::define_equality(BvLit lit, const Term_* a, const Term_* b)
{
    if (link_) {
        link_->tell_subterms(a);
        link_->tell_subterms(b);
    }
    return words_->bit_blast_theory_eq(lit, a, b, &sink_);
}

void EagerBVSolver::set_fp_bv_combination(FpBvCombination* link)
{
    link_ = link;
    words_->set_fp_combination(link);
}

bool EagerBVSolver::fp_bv_comb_get_bits(const Term_* t, std::vector<BvLit>* bits)
{
    if (!words_->is_cached(t)) {
        return false;
    }
    words_->bit_blast_word(t, &sink_, bits);
    return true;
}

// Models

void EagerBVSolver::build_abstract_model()
{
    std::vector<lbool> values; // the engine may have eliminated bits
    engine_->get_full_assignment(values);
    model_.set_assignment(engine_->num_vars(),
                          [&values](int v) { return values[static_cast<size_t>(v)] == l_True; });
}

void EagerBVSolver::build_model()
{
    build_abstract_model();
}

const Term_* EagerBVSolver::get_model_value(const Term_* t)
{
    return model_(t, true);
}

lbool EagerBVSolver::equal_in_model(const Term_* a, const Term_* b)
{
    const Term_* x = model_(a, true);
    const Term_* y = model_(b, true);
    if (!x || !y) {
        return l_Undef;
    }
    return x == y ? l_True : l_False;
}

std::vector<std::pair<std::string, std::string>> EagerBVSolver::get_stats() const
{
    return {{"bit-blasting variables", std::to_string(sink_.num_variables)},
            {"bit-blasting clauses", std::to_string(sink_.num_clauses)},
            {"propagated equalities", std::to_string(num_proxies())}};
}

} // namespace tarq::bv::eager
