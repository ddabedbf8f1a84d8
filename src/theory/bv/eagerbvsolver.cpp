#include "theory/bv/eagerbvsolver.h"

#include "base/logger.h"
#include "dpll/dpllsolver.h"

#include <algorithm>

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
        engine_->add_clause_inplace(lits_, false, false);
    }
}

// Life

EagerBVSolver::EagerBVSolver(TermManager* tm, const Configuration::Theory::Bv& options,
                             DpllSolver* engine)
    : TheorySolver(tm), options_(options), engine_(engine), sink_(engine),
      words_(WordClausifierInterface::make(tm, options,
                                           builds_ites(*options.parent)
                                               ? WordClausifierInterface::Ites::FILTERED
                                               : WordClausifierInterface::Ites::VARIABLES)),
      model_(tm, words_.get(), options)
{
}

EagerBVSolver::~EagerBVSolver()
{
    for (TheoryEq* eq : equalities_) {
        eq->destroy();
    }
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
    words_->bit_blast(atom, &sink_);
    return {true, false};
}

void EagerBVSolver::notify_interface_term(const Term_* t)
{
    if (tm_->is_bv_type(TermManager::get_type(t))) {
        ++num_interface_terms_;
        words_->notify_interface_term(t, &sink_);
    }
}

void EagerBVSolver::retract_interface_term(const Term_* t)
{
    if (tm_->is_bv_type(TermManager::get_type(t))) {
        TARQ_ASSERT(num_interface_terms_ > 0);
        --num_interface_terms_;
    }
}

void EagerBVSolver::new_decision_level()
{
    ++level_;
    levels_.push_back(equalities_.size());
}

void EagerBVSolver::cancel_until(int level)
{
    implied_.clear();
    implied_head_ = 0;
    conflict_ = NO_EQUALITY;
    if (level >= level_) {
        return;
    }
    const size_t kept = levels_[static_cast<size_t>(level)];
    levels_.resize(static_cast<size_t>(level));
    level_ = level;
    while (equalities_.size() > kept) {
        equalities_.back()->destroy();
        equalities_.pop_back();
    }
    // What was found true above the level may be open again.
    while (!verified_.empty() && verified_.back().level > level) {
        todo_.push_back(verified_.back().equality);
        verified_.pop_back();
    }
    std::erase_if(todo_, [kept](uint32_t e) { return e >= kept; });
    std::sort(todo_.begin(), todo_.end());
}

void EagerBVSolver::push_backtrack_point()
{
    words_->push_backtrack_point();
    proxy_marks_.push_back(proxy_trail_.size());
}

void EagerBVSolver::pop_backtrack_point()
{
    words_->pop_backtrack_point();
    while (proxy_trail_.size() > proxy_marks_.back()) {
        const auto entry = proxy_of_.find(proxy_trail_.back());
        if (entry->second) {
            reason_of_.erase(entry->second);
        }
        proxy_of_.erase(entry->first);
        proxy_trail_.pop_back();
    }
    proxy_marks_.pop_back();
}

// Theory combination

bool EagerBVSolver::assume(TheoryEq* eq)
{
    if (tm_->is_bv_type(TermManager::get_type(eq->left))) {
        todo_.push_back(static_cast<uint32_t>(equalities_.size()));
        equalities_.push_back(eq->new_copy());
    }
    return true;
}

bool EagerBVSolver::is_relevant(const TheoryEq& eq) const
{
    return words_->is_cached(eq.left) || words_->is_cached(eq.right);
}

/// A new Boolean constant; its name leads nobody to it.
const Term_* EagerBVSolver::make_proxy_constant()
{
    const std::string name = tm_->get_unused_symbol_name("bvteq." + std::to_string(num_proxies_++));
    const Term_* t = tm_->make_constant(tm_->make_symbol(name, tm_->get_bool_type()));
    tm_->remove_symbol(name);
    return t;
}

/// The constant that implies the equality of the sides, made if it is not there; null when the
/// sides differ in a bit.
const Term_* EagerBVSolver::proxy_for(const TheoryEq& eq)
{
    const TermPair sides(eq.left, eq.right);
    const auto known = proxy_of_.find(sides);
    if (known != proxy_of_.end()) {
        return known->second;
    }
    const Term_* proxy = make_proxy_constant();
    int var = -1;
    engine_->make_proxy(proxy, &var);
    engine_->set_frozen(var, true);
    engine_->set_decision_var(var, false);
    const BvLit lit = BvLit::from_sat(dpll::Lit(var));
    if (!words_->bit_blast_theory_eq(lit, eq.left, eq.right, &sink_)) {
        proxy = nullptr;
    }
    proxy_of_[sides] = proxy;
    proxy_trail_.push_back(sides);
    return proxy;
}

/// Brings the engine to the equalities that hold. Each is looked at until its proxy is true.
bool EagerBVSolver::check(bool)
{
    implied_.clear();
    implied_head_ = 0;
    conflict_ = NO_EQUALITY;
    if (num_interface_terms_ == 0) {
        return true;
    }
    // A new word may link an equality that was passed over, hence the repetition.
    for (bool grown = true; grown;) {
        grown = false;
        size_t kept = 0;
        for (size_t i = 0; i < todo_.size(); ++i) {
            const uint32_t e = todo_[i];
            const TheoryEq& eq = *equalities_[e];
            todo_[kept++] = e;
            if (!is_relevant(eq) || conflict_ != NO_EQUALITY) {
                continue;
            }
            grown = grown || !words_->is_cached(eq.left) || !words_->is_cached(eq.right);
            const Term_* proxy = proxy_for(eq);
            const lbool value =
                proxy ? engine_->value(engine_->proxy_for_term(proxy)) : lbool(l_False);
            if (value == l_False) {
                conflict_ = e;
                conflict_proxy_ = proxy;
            } else if (value == l_True) {
                verified_.push_back({e, level_});
                --kept;
            } else {
                reason_of_[proxy] = e;
                implied_.push_back(TheoryLit(proxy, false));
            }
        }
        todo_.resize(kept);
        if (conflict_ != NO_EQUALITY) {
            return false;
        }
    }
    return true;
}

void EagerBVSolver::get_conflict(std::vector<TheoryLit>& out)
{
    TARQ_ASSERT(conflict_ != NO_EQUALITY);
    equalities_[conflict_]->explain(out);
    if (conflict_proxy_) {
        out.push_back(TheoryLit(conflict_proxy_, true));
    }
    conflict_ = NO_EQUALITY;
}

TheoryLit EagerBVSolver::get_next_implied()
{
    return implied_head_ < implied_.size() ? implied_[implied_head_++] : tlit_Undef;
}

bool EagerBVSolver::get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out)
{
    if (!required && options_.delay_propagated_eqs) {
        return false;
    }
    const auto found = reason_of_.find(l.get_term());
    if (found == reason_of_.end()) {
        throw make_error<error>("can't explain ", l.get_term()->to_shallow_str());
    }
    TARQ_ASSERT(found->second < equalities_.size());
    equalities_[found->second]->explain(out);
    return true;
}

// Models

void EagerBVSolver::build_abstract_model()
{
    model_.set_assignment(engine_->num_vars(),
                          [this](int v) { return engine_->value(v) == l_True; });
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
            {"propagated equalities", std::to_string(num_proxies_)}};
}

} // namespace tarq::bv::eager
