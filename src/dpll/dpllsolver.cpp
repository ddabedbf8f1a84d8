// Construction, variables, the trail, and small accessors of the engine.
#include "dpll/dpllsolver.h"

#include "base/logger.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/ghostfilter.h"
#include "terms/term.h"
#include "terms/termmanager.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::lit_Undef;

DpllSolver::DpllSolver(const Configuration::Dpll& config, TermManager* tm)
    : config_(config), tm_(tm),
      theory_reason_(Clause_new(pool_, nullptr, 0, 0, false, true, false)),
      order_heap_(VarOrderLt{&activity_}),
      rnd_seed_(static_cast<uint64_t>(config.parent->random_seed))
{
    if (config.parent->proof_generation && config.preprocessor.mode != 0) {
        throw Exception("proof generation is not compatible with SAT-level preprocessing");
    }
    if (config.preprocessor.mode != 0) {
        preprocessor_ = std::make_unique<DpllPreprocessor>(config.preprocessor, this);
    }
    const bool minimizes = config.minimize_model || config.allsat_minimize_model;
    if (config.ghost_filtering || minimizes) {
        ghost_filter_ = std::make_unique<dpll::GhostFilter>(this, minimizes);
    }
}

DpllSolver::~DpllSolver() = default; // the pools give all clauses back

// -- Variables

int DpllSolver::make_var()
{
    const int var = num_vars();
    values_.push_back(l_Undef);
    values_.push_back(l_Undef);
    vardata_.push_back({nullptr, -1, -1});
    trail_.push_back(lit_Undef);
    watches_.emplace_back();
    watches_.emplace_back();
    activity_.push_back(0);
    polarity_.push_back(config_.branching_initial_phase == 1 ? l_True.raw() : l_False.raw());
    forced_phase_.push_back(l_Undef);
    decision_.push_back(1);
    seen_.push_back(0);
    problem_var_.push_back(0);
    proxies_.push_back(nullptr);
    order_heap_.insert(var);
    if (preprocessor_) {
        preprocessor_->new_var();
    }
    return var;
}

int DpllSolver::new_var()
{
    const int var = make_var();
    tell_theory(nullptr, var);
    return var;
}

void DpllSolver::pop_var()
{
    const int var = num_vars() - 1;
    TARQ_ASSERT(!is_assigned(var));
    TARQ_HEAVY_ASSERT(watches_[index(var) * 2].empty() && watches_[index(var) * 2 + 1].empty());
    order_heap_.remove(var);
    values_.resize(index(var) * 2);
    vardata_.pop_back();
    trail_.pop_back();
    watches_.pop_back();
    watches_.pop_back();
    activity_.pop_back();
    polarity_.pop_back();
    forced_phase_.pop_back();
    decision_.pop_back();
    seen_.pop_back();
    problem_var_.pop_back();
    proxies_.pop_back();
    if (preprocessor_) {
        preprocessor_->pop_var();
    }
}

void DpllSolver::reserve_vars(int n)
{
    const size_t count = index(std::max(n, 0));
    values_.reserve(2 * count);
    vardata_.reserve(count);
    trail_.reserve(count);
    watches_.reserve(2 * count);
    activity_.reserve(count);
    polarity_.reserve(count);
    forced_phase_.reserve(count);
    decision_.reserve(count);
    seen_.reserve(count);
    problem_var_.reserve(count);
    proxies_.reserve(count);
}

bool DpllSolver::make_proxy(const Term_* t, int* var)
{
    *var = proxy_for_term(t);
    if (*var >= 0) {
        return false;
    }
    *var = make_var();
    proxies_[index(*var)] = t;
    proxy_vars_.set(t, *var);
    if (log_on(4)) {
        (*logger_)(log_section_) << loglevel(4) << log_prefix_ << "proxied term: " << t->to_str()
                                 << ", with var: " << *var << EndLog;
    }
    tell_theory(t, *var);
    return true;
}

/// What a theory looks at must stay.
void DpllSolver::tell_theory(const Term_* t, int var)
{
    if (!theory_manager_) {
        return;
    }
    theory_manager_->tell_atom(t, var);
    if (preprocessor_ && !theory_manager_->boolean_vars().get(index(var))) {
        preprocessor_->set_frozen(var, true);
    }
}

int DpllSolver::proxy_for_term(const Term_* t) const
{
    return proxy_vars_.find(t);
}

const Term_* DpllSolver::term_for_proxy(int var) const
{
    return 0 <= var && var < num_vars() ? proxies_[index(var)] : nullptr;
}

void DpllSolver::unproxy(int var)
{
    const Term_*& t = proxies_[index(var)];
    if (t) {
        proxy_vars_.erase(t);
        t = nullptr;
    }
}

void DpllSolver::add_preferred_for_branching(int var)
{
    if (std::find(preferred_.begin(), preferred_.end(), var) == preferred_.end()) {
        preferred_.push_back(var);
        set_frozen(var, true);
    }
}

void DpllSolver::clear_preferred_for_branching()
{
    for (int var : preferred_) {
        forced_phase_[index(var)] = l_Undef;
    }
    preferred_.clear();
}

void DpllSolver::set_forced_phase(int var, lbool phase)
{
    forced_phase_[index(var)] = phase;
}

void DpllSolver::set_polarity(int var, lbool value)
{
    TARQ_ASSERT(!value.is_undef());
    polarity_[index(var)] = value.raw();
}

void DpllSolver::set_problem_var(int var, bool b)
{
    if (b && !problem_var_[index(var)] && theory_manager_) {
        theory_manager_->tell_problem_atom(proxies_[index(var)], var);
    }
    problem_var_[index(var)] = static_cast<uint8_t>(b);
    if (b) {
        set_decision_var(var, true);
    }
}

bool DpllSolver::is_problem_var(int var) const
{
    return problem_var_[index(var)] != 0;
}

void DpllSolver::set_decision_var(int var, bool b)
{
    std::vector<int> todo(1, var);
    while (!todo.empty()) {
        const int v = todo.back();
        todo.pop_back();
        if ((decision_[index(v)] != 0) == b) {
            continue; // its dependents agree with it; also ends cycles
        }
        decision_[index(v)] = static_cast<uint8_t>(b);
        if (b) {
            insert_var_order(v);
        }
        for (const auto& [dependent, dep] : decision_deps_) {
            if (dep == v) {
                todo.push_back(dependent);
            }
        }
    }
}

void DpllSolver::set_decision_var_dep(int var, int dep)
{
    decision_deps_.emplace_back(var, dep);
    set_decision_var(var, is_decision_var(dep));
}

void DpllSolver::set_frozen(int var, bool frozen)
{
    if (preprocessor_) {
        preprocessor_->set_frozen(var, frozen);
    }
}

lbool DpllSolver::get_model_value(int var) const
{
    return 0 <= var && index(var) < model_.size() ? model_[index(var)] : l_Undef;
}

void DpllSolver::get_full_assignment(std::vector<lbool>& out) const
{
    out.resize(index(num_vars()));
    for (int var = 0; var < num_vars(); ++var) {
        out[index(var)] = value(var);
    }
    if (preprocessor_) {
        preprocessor_->extend_model(out);
    }
}

bool DpllSolver::is_eliminated(int var) const
{
    return preprocessor_ && preprocessor_->has_been_eliminated(var);
}

// -- Trail

void DpllSolver::unchecked_enqueue(Lit l, Clause* reason)
{
    TARQ_ASSERT(value(l).is_undef());
    TARQ_ASSERT(!is_eliminated(l.var()));
    values_[index(l.index())] = l_True;
    values_[index((~l).index())] = l_False;
    vardata_[index(l.var())] = {reason, decision_level(), static_cast<int>(trail_size_)};
    trail_[trail_size_++] = l;
}

void DpllSolver::new_decision_level()
{
    if (theory_manager_) {
        theory_manager_->new_decision_level();
    }
    theory_head_lim_.push_back(theory_head_);
    trail_lim_.push_back(trail_size_);
}

void DpllSolver::undo_trail_entry(Lit l, bool save_phase)
{
    const int var = l.var();
    uint8_t& polarity = polarity_[index(var)];
    if (save_phase) {
        if (polarity == phase_invalidated) {
            polarity = config_.branching_initial_phase == 1 ? l_True.raw() : l_False.raw();
        } else {
            polarity = values_[index(var) * 2].raw();
        }
    }
    values_[index(var) * 2] = l_Undef;
    values_[index(var) * 2 + 1] = l_Undef;
    vardata_[index(var)] = {nullptr, -1, -1};
    insert_var_order(var);
}

void DpllSolver::cancel_until(int level)
{
    const bool above = level < decision_level();
    if (above) {
        theory_head_ = theory_head_lim_[index(level)];
    }
    if (theory_manager_) {
        theory_manager_->cancel_until(level);
    }
    if (!above) {
        return;
    }
    const size_t start = trail_lim_[index(level)];
    const size_t last_level = trail_lim_.back();
    const int mode = config_.branching_cache_phase;
    while (trail_size_ > start) {
        --trail_size_;
        undo_trail_entry(trail_[trail_size_], mode == 2 || (mode == 1 && trail_size_ < last_level));
    }
    qhead_ = std::min(qhead_, start);
    trail_lim_.resize(index(level));
    theory_head_lim_.resize(index(level));
    put_back_ghost_vars();
}

void DpllSolver::insert_var_order(int var)
{
    if (decision_[index(var)] && !order_heap_.contains(var) && !is_eliminated(var)) {
        order_heap_.insert(var);
    }
}

void DpllSolver::put_back_ghost_vars()
{
    for (int var : ghost_vars_) {
        insert_var_order(var);
    }
    ghost_vars_.clear();
}

// -- Diagnostics

void DpllSolver::set_logger(Logger* logger, const std::string& section, const std::string& prefix)
{
    logger_ = logger;
    log_section_ = section;
    log_prefix_ = prefix;
}

bool DpllSolver::log_on(int level) const
{
    return logger_ && logger_->get_level() >= level && logger_->enabled(level, log_section_);
}

void DpllSolver::log_clause(int level, const char* text, const Lit* first, const Lit* last) const
{
    if (!log_on(level)) {
        return;
    }
    Logger& log = (*logger_)(log_section_);
    log << loglevel(level) << log_prefix_ << text;
    for (; first != last; ++first) {
        log << (first->sign() ? " -" : " ") << first->var() + 1;
    }
    log << EndLog;
}

void DpllSolver::on_learnt(const std::vector<Lit>&) {}

} // namespace tarq
