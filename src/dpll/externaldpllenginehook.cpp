#include "dpll/externaldpllenginehook.h"

#include "base/logger.h"
#include "base/terminationtest.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/ghostfilter.h"

#include <algorithm>
#include <utility>

namespace tarq {

using dpll::Lit;
using dpll::lit_Undef;

namespace {

constexpr unsigned poll_reports = 1000;

int max_var(const std::vector<Lit>& lits)
{
    int result = 0;
    for (Lit l : lits) {
        result = std::max(result, l.var());
    }
    return result;
}

} // namespace

// -- Reports, as the interface knows them

namespace dpll {

void DpllCallbackEvents::inform_hook_of_assignment(int lit)
{
    hook_->inform_hook_of_assignment(lit);
}
void DpllCallbackEvents::inform_hook_of_new_level()
{
    hook_->inform_hook_of_new_level();
}
void DpllCallbackEvents::inform_hook_of_backtrack(int level)
{
    hook_->inform_hook_of_backtrack(level);
}
int DpllCallbackEvents::no_conflict_ater_bcp(std::vector<int>& out)
{
    return hook_->no_conflict_ater_bcp(out);
}
int DpllCallbackEvents::model_found(std::vector<int>& out)
{
    return hook_->model_found(out);
}
void DpllCallbackEvents::ask_hook_for_theory_reason(int lit, std::vector<int>& out)
{
    hook_->ask_hook_for_theory_reason(lit, out);
}

} // namespace dpll

// -- Construction, variables

/// The engine's own preprocessor and ghost filter work on clauses that are not here.
ExternalDpllEngineHook::ExternalDpllEngineHook(const Configuration::Dpll& config, TermManager* tm,
                                               dpll::ExternalDpllInterface* interface)
    : DpllSolver(config, tm), interface_(interface), events_(this)
{
    if (config.parent->proof_generation) {
        throw Exception("proof generation is not compatible with external SAT solvers");
    }
    preprocessor_.reset();
    ghost_filter_.reset();
    interface_->set_callback_sink(&events_);
}

void ExternalDpllEngineHook::announce_var(int var)
{
    interface_->new_var(true, true);
    interface_->set_frozen(var + 1, true);
    frozen_.push_back(1);
    new_vars_in_callback_ = new_vars_in_callback_ || in_callback_;
}

int ExternalDpllEngineHook::new_var()
{
    const int var = make_var();
    announce_var(var);
    tell_theory(nullptr, var);
    return var;
}

bool ExternalDpllEngineHook::make_proxy(const Term_* t, int* var)
{
    *var = proxy_for_term(t);
    if (*var >= 0) {
        return false;
    }
    *var = make_var();
    announce_var(*var);
    proxies_[index(*var)] = t;
    proxy_vars_.set(t, *var);
    tell_theory(t, *var); // it may send clauses with the variable
    return true;
}

void ExternalDpllEngineHook::set_frozen(int var, bool frozen)
{
    if ((frozen_[index(var)] != 0) != frozen) {
        frozen_[index(var)] = static_cast<uint8_t>(frozen);
        interface_->set_frozen(var + 1, frozen);
    }
}

Lit ExternalDpllEngineHook::to_internal(int lit) const
{
    const int64_t v = lit;
    if (v == 0 || std::abs(v) > num_vars()) {
        throw error("external SAT solver reported an unknown literal");
    }
    return Lit(static_cast<int>(std::abs(v)) - 1, lit < 0);
}

// -- Clauses

dpll::Clause* ExternalDpllEngineHook::add_clause_inplace(std::vector<Lit>& lits, bool, bool ghost)
{
    if (log_on(4)) {
        log_clause(4, "adding clause: ", lits.data(), lits.data() + lits.size());
    }
    if (!btpoints_.empty()) {
        lits.push_back(~btpoints_.back());
    }
    send_clause(lits, ghost);
    return nullptr;
}

/// Sends the clause with those literals first that stay unassigned the longest when the foreign
/// engine goes back.
void ExternalDpllEngineHook::send_clause(std::vector<Lit>& lits, bool ghost)
{
    const auto rank = [this](Lit l) {
        return value(l).is_undef() ? 0 : value(l).is_false() ? 1 : 2;
    };
    std::sort(lits.begin(), lits.end(), [&](Lit a, Lit b) {
        const int rank_a = rank(a);
        const int rank_b = rank(b);
        if (rank_a != rank_b) {
            return rank_a < rank_b;
        }
        const int pos_a = trail_pos(a.var());
        const int pos_b = trail_pos(b.var());
        return pos_a != pos_b ? pos_a > pos_b : a < b;
    });
    external_.clear();
    bool rest_false = true;
    for (size_t i = 0; i < lits.size(); ++i) {
        external_.push_back(to_external(lits[i]));
        rest_false = rest_false && (i == 0 || value(lits[i]).is_false());
    }
    if (in_callback_ && rest_false) {
        const bool conflicts = lits.empty() || value(lits[0]).is_false();
        if (conflicts || lits.size() == 1 ||
            (value(lits[0]).is_undef() && level(lits[1].var()) < decision_level())) {
            interface_->fiver_reset();
        }
    }
    interface_->add_clause(external_, ghost, in_callback_);
}

void ExternalDpllEngineHook::remove_clauses_containing(int var)
{
    if (log_on(4)) {
        (*logger_)(log_section_) << loglevel(4) << log_prefix_
                                 << "removing clauses containing: " << var << " ==> " << var + 1
                                 << EndLog;
    }
    interface_->remove_clauses_containing(var + 1);
}

// -- Solving

bool ExternalDpllEngineHook::solve(const std::vector<Lit>& assumptions, bool)
{
    conflict_.clear();
    external_conflict_.clear();
    ++stats_.checks;
    cancel_until(0);
    backtrack_to_ = -1;
    pending_assignments_.clear();
    reasons_.clear();
    model_stands_ = in_callback_ = false;
    stopped_by_ = nullptr;
    if (termination_test_) {
        (*termination_test_)();
    }

    std::vector<int> external;
    for (Lit b : btpoints_) {
        external.push_back(to_external(b));
    }
    std::vector<int> thawed; // frozen for this solve only
    for (Lit a : assumptions) {
        external.push_back(to_external(a));
        if (!frozen_[index(a.var())]) {
            thawed.push_back(a.var());
            set_frozen(a.var(), true);
        }
    }
    bool satisfiable = false;
    try {
        satisfiable = interface_->solve(external, external_conflict_);
    } catch (...) {
        cancel_until(0);
        if (stopped_by_) {
            std::rethrow_exception(std::exchange(stopped_by_, nullptr));
        }
        throw;
    }
    for (int var : thawed) {
        set_frozen(var, false);
    }
    if (stopped_by_) {
        cancel_until(0);
        std::rethrow_exception(std::exchange(stopped_by_, nullptr));
    }
    if (!satisfiable) {
        find_failed_assumptions(assumptions);
    } else if (!model_stands_ && has_theory_vars()) {
        cancel_until(0);
        throw error("external SAT solver reported a model that no theory has seen");
    } else {
        build_model();
    }
    cancel_until(0);
    return satisfiable;
}

void ExternalDpllEngineHook::find_failed_assumptions(const std::vector<Lit>& assumptions)
{
    std::sort(external_conflict_.begin(), external_conflict_.end());
    const auto failed = [this](int lit) {
        return std::binary_search(external_conflict_.begin(), external_conflict_.end(), lit);
    };
    for (Lit a : assumptions) {
        const bool is_new = std::find(conflict_.begin(), conflict_.end(), ~a) == conflict_.end();
        if (is_new && (failed(to_external(a)) || failed(to_external(~a)))) {
            conflict_.push_back(~a);
        }
    }
}

bool ExternalDpllEngineHook::has_theory_vars() const
{
    if (!theory_manager_) {
        return false;
    }
    const BitVector& ignored = theory_manager_->boolean_vars();
    for (int var = 0; var < num_vars(); ++var) {
        if (!ignored.get(index(var))) {
            return true;
        }
    }
    return false;
}

void ExternalDpllEngineHook::build_model()
{
    model_.resize(index(num_vars()));
    for (int var = 0; var < num_vars(); ++var) {
        const int v = interface_->model_value(var + 1);
        model_[index(var)] = v > 0 ? l_True : v < 0 ? l_False : l_Undef;
    }
}

// -- Backtrack points

int ExternalDpllEngineHook::push_backtrack_point()
{
    cancel_until(0);
    const int var = new_var();
    btpoints_.push_back(Lit(var));
    btpoint_vars_.insert(var);
    btpoint_dep_marks_.push_back(decision_deps_.size());
    btpoint_tlemma_marks_.push_back(stored_tlemmas_.size());
    lemmas_under_.emplace_back();
    if (theory_manager_) {
        theory_manager_->push_backtrack_point();
    }
    return var;
}

void ExternalDpllEngineHook::pop_backtrack_point()
{
    if (btpoints_.empty()) {
        throw error("no backtrack points to pop");
    }
    cancel_until(0);
    interface_->fiver_reset();
    const int point = btpoints_.back().var();
    remove_clauses_containing(point);
    for (unsigned id : lemmas_under_.back()) {
        theory_manager_->retract_lemma(id);
    }
    lemmas_under_.pop_back();
    release_tlemmas(btpoints_.back());
    undo_decision_deps();
    for (int var = num_vars() - 1; var >= point; --var) {
        if (const Term_* t = term_for_proxy(var)) {
            if (theory_manager_) {
                theory_manager_->retract_atom(t, var);
            }
            unproxy(var);
            problem_var_[index(var)] = 0;
        }
        if (decision_[index(var)]) {
            decision_[index(var)] = 0;
            order_heap_.remove(var);
            interface_->set_decision_var(var + 1, false);
        }
    }
    preferred_.erase(
        std::remove_if(preferred_.begin(), preferred_.end(), [point](int v) { return v >= point; }),
        preferred_.end());
    btpoint_vars_.erase(point);
    btpoints_.pop_back();
    if (theory_manager_) {
        theory_manager_->pop_backtrack_point();
    }
}

// -- The mirror

/// Between the reports that carry answers the mirror may be changed at once.
class ExternalDpllEngineHook::CallbackScope {
public:
    explicit CallbackScope(ExternalDpllEngineHook* hook) : hook_(hook)
    {
        hook_->in_callback_ = true;
        hook_->new_vars_in_callback_ = false;
    }
    ~CallbackScope()
    {
        hook_->in_callback_ = false;
        hook_->new_vars_in_callback_ = false;
    }
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

private:
    ExternalDpllEngineHook* hook_;
};

/// Runs the body of a report. What it throws also ends the solve, whatever the foreign engine does.
template <class Body>
auto ExternalDpllEngineHook::report(Body&& body)
{
    if (stopped_by_) {
        throw error("external SAT solver went on after a failure");
    }
    try {
        return body();
    } catch (...) {
        stopped_by_ = std::current_exception();
        throw;
    }
}

void ExternalDpllEngineHook::poll()
{
    if (++unpolled_ >= poll_reports) {
        unpolled_ = 0;
        if (termination_test_) {
            (*termination_test_)();
        }
    }
}

void ExternalDpllEngineHook::assign(Lit l)
{
    model_stands_ = false;
    if (value(l).is_false()) {
        throw error("external SAT solver reported both values of a variable");
    }
    if (value(l).is_undef()) {
        unchecked_enqueue(l, nullptr);
    }
}

void ExternalDpllEngineHook::inform_hook_of_assignment(int lit)
{
    report([&] {
        poll();
        const Lit l = to_internal(lit);
        if (backtrack_to_ >= 0) {
            pending_assignments_.push_back(l);
        } else {
            assign(l);
        }
    });
}

void ExternalDpllEngineHook::inform_hook_of_new_level()
{
    report([&] {
        if (in_callback_) {
            throw error("external SAT solver opened a level during a report");
        }
        new_decision_level();
    });
}

void ExternalDpllEngineHook::inform_hook_of_backtrack(int level)
{
    report([&] {
        if (level < 0) {
            throw error("external SAT solver went back to a negative level");
        }
        if (log_on(3)) {
            (*logger_)(log_section_)
                << loglevel(3) << log_prefix_ << "Recieved a safe_cancel_unit request to: " << level
                << " level_to_go_back_to_:" << backtrack_to_ << " d:" << decision_level() << EndLog;
        }
        model_stands_ = false;
        if (!in_callback_) {
            cancel_until(level);
        } else if (backtrack_to_ < 0 || level < backtrack_to_) {
            backtrack_to_ = level;
            pending_assignments_.clear();
        }
    });
}

// -- Answers

int ExternalDpllEngineHook::no_conflict_ater_bcp(std::vector<int>& out)
{
    return report([&] { return answer_bcp(out); });
}

int ExternalDpllEngineHook::model_found(std::vector<int>& out)
{
    return report([&] { return answer_model(out); });
}

void ExternalDpllEngineHook::ask_hook_for_theory_reason(int lit, std::vector<int>& out)
{
    report([&] {
        out.clear();
        take_reason(to_internal(lit), out);
    });
}

/// Runs the body of an answer, and then what had to wait for it.
template <class Body>
int ExternalDpllEngineHook::answer(Body&& body)
{
    int result;
    {
        const CallbackScope scope(this);
        result = body();
    }
    if (backtrack_to_ >= 0) {
        cancel_until(std::exchange(backtrack_to_, -1));
        for (Lit l : pending_assignments_) {
            assign(l);
        }
        pending_assignments_.clear();
    }
    return result;
}

int ExternalDpllEngineHook::answer_bcp(std::vector<int>& out)
{
    out.clear();
    if (!theory_manager_) {
        return 2;
    }
    return answer([&] {
        check_theory(true);
        if (backtrack_to_ >= 0) {
            return 1;
        }
        if (theory_manager_->conflict()) {
            take_conflict(out);
            return 0;
        }
        const bool lemmas = add_theory_lemmas() == 0;
        return lemmas || enqueue_theory_implications() || backtrack_to_ >= 0 ? 1 : 2;
    });
}

int ExternalDpllEngineHook::answer_model(std::vector<int>& out)
{
    out.clear();
    if (!theory_manager_) {
        model_stands_ = true;
        return 2;
    }
    const int result = answer([&] {
        for (const bool again : {false, true}) {
            check_theory(false);
            if (backtrack_to_ >= 0) {
                return 1;
            }
            if (theory_manager_->conflict()) {
                take_conflict(out);
                return 0;
            }
            if (add_theory_lemmas() == 0 || enqueue_theory_implications()) {
                return 1;
            }
            if (!again && (theory_manager_->boolean_model_found() >= 0 || new_vars_in_callback_)) {
                return 1;
            }
        }
        return backtrack_to_ >= 0 || new_vars_in_callback_ ? 1 : 2;
    });
    model_stands_ = result == 2;
    if (model_stands_ && config_.parent->model_generation) {
        theory_manager_->build_model();
    }
    return result;
}

void ExternalDpllEngineHook::check_theory(bool approx)
{
    run_theory_check(approx, false);
}

/// Guards theory_lits_ by the point that was newest when the youngest atom was made, provided that
/// the point has been reported: the clause must be false, or unit.
void ExternalDpllEngineHook::add_false_guard()
{
    const size_t n = theory_lits_.size();
    add_guard(theory_lits_, max_var(theory_lits_));
    if (theory_lits_.size() > n && !value(theory_lits_.back()).is_false()) {
        theory_lits_.pop_back();
    }
    sort_and_clean(theory_lits_);
}

/// Under dpll.store_tlemmas a copy stays here until the pop of the point that the clause depends on.
void ExternalDpllEngineHook::store_tlemma(const std::vector<Lit>& lits)
{
    if (config_.store_tlemmas) {
        stored_tlemmas_.push_back(make_detached_clause(lits));
    }
}

void ExternalDpllEngineHook::take_conflict(std::vector<int>& out)
{
    ++stats_.conflicts;
    ++stats_.theory_conflicts;
    theory_lits_.clear();
    theory_manager_->get_conflict(theory_lits_);
    for (Lit& l : theory_lits_) {
        TARQ_ASSERT(value(l).is_true());
        l = ~l;
    }
    add_false_guard();
    store_tlemma(theory_lits_);
    log_clause(3, "T-Conflict: ", theory_lits_.data(), theory_lits_.data() + theory_lits_.size());
    for (Lit l : theory_lits_) {
        out.push_back(to_external(l));
    }
}

void ExternalDpllEngineHook::take_reason(Lit l, std::vector<int>& out)
{
    const auto known = reasons_.find(l.index());
    if (known != reasons_.end()) {
        out = known->second;
        return;
    }
    if (!theory_manager_) {
        throw error("external SAT solver asked for the reason of a literal that has none");
    }
    theory_lits_.clear();
    theory_manager_->get_explanation(l, true, theory_lits_);
    finish_reason(l, out);
}

/// Makes the clause of an explanation that is in theory_lits_.
void ExternalDpllEngineHook::finish_reason(Lit l, std::vector<int>& out)
{
    for (Lit& e : theory_lits_) {
        e = ~e;
    }
    theory_lits_.push_back(l);
    add_false_guard();
    store_tlemma(theory_lits_);
    for (Lit x : theory_lits_) {
        out.push_back(to_external(x));
    }
}

bool ExternalDpllEngineHook::enqueue_theory_implications()
{
    if (!theory_manager_ || decision_level() < num_backtrack_points()) {
        return false;
    }
    bool any = false;
    for (Lit l = theory_manager_->get_next_implied(); l != lit_Undef;
         l = theory_manager_->get_next_implied()) {
        if (is_assigned(l.var())) {
            continue;
        }
        reasons_.erase(l.index());
        theory_lits_.clear();
        if (theory_manager_->get_explanation(l, false, theory_lits_)) {
            std::vector<int> reason;
            finish_reason(l, reason);
            reasons_[l.index()] = std::move(reason);
        } else {
            ++stats_.lazily_explained_theory_propagations;
        }
        if (log_on(4)) {
            (*logger_)(log_section_) << loglevel(4) << log_prefix_
                                     << "Passing down assigment l:" << to_external(l) << EndLog;
        }
        interface_->enqueue_assignment(to_external(l));
        ++stats_.theory_propagations;
        any = true;
    }
    return any;
}

/// A lemma is guarded by what its youngest atom depends on and by nothing more: the theories count
/// on it for as long as the atoms live.
int ExternalDpllEngineHook::add_theory_lemmas()
{
    bool any = false;
    while (theory_manager_ && theory_manager_->has_lemmas()) {
        any = true;
        bool keep = true;
        bool permanent = true;
        std::vector<Lit> lemma;
        const unsigned id = theory_manager_->get_lemma(lemma, &keep, &permanent);
        const size_t n = lemma.size();
        add_guard(lemma, max_var(lemma));
        const Lit guard = lemma.size() > n ? lemma.back() : lit_Undef;
        if (!sort_and_clean(lemma)) { // says nothing
            if (id != 0) {
                theory_manager_->retract_lemma(id);
            }
            continue;
        }
        if (id != 0 && guard != lit_Undef) {
            const auto at = std::find(btpoints_.begin(), btpoints_.end(), ~guard);
            lemmas_under_[static_cast<size_t>(at - btpoints_.begin())].push_back(id);
        }
        store_tlemma(lemma);
        send_clause(lemma, keep);
    }
    return any ? 0 : 2;
}

} // namespace tarq
