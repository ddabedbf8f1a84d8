// Solvers, atoms, literals, checks and lemmas.
#include "theory/theorymanager.h"

#include "base/logger.h"
#include "base/scopedvalue.h"
#include "base/terminationtest.h"
#include "dpll/dpllsolver.h"
#include "encoding/polaritychecker.h"
#include "theory/equalityclasses.h"
#include "theory/theoryeqpropagator.h"

#include <algorithm>
#include <cstring>

namespace tarq {

using dpll::Lit;
using dpll::lit_Undef;

TheoryManager::TheoryManager(const Configuration::Theory& config, TermManager* tm,
                             DpllSolver* engine)
    : config_(config), tm_(tm), engine_(engine)
{
}

TheoryManager::~TheoryManager() = default;

void TheoryManager::add_solver(SolverIndex index, std::unique_ptr<TheorySolver> solver)
{
    solvers_[index] = std::move(solver);
}

void TheoryManager::add_euf_solver(std::unique_ptr<TheorySolver> solver, EqualityClasses* classes)
{
    solvers_[EUF] = std::move(solver);
    classes_ = classes;
}

void TheoryManager::start()
{
    active_.clear();
    for (size_t i = 0; i < NUM_SOLVERS; ++i) {
        if (solvers_[i]) {
            active_.push_back(i);
        }
    }
    if (config_.eq_propagation) {
        eq_propagator_ = std::make_unique<TheoryEqPropagator>();
        for (size_t i : active_) {
            solvers_[i]->set_eq_propagator(eq_propagator_.get());
            eq_propagator_->subscribe(solvers_[i].get());
        }
    }
    if (classes_ && solvers_[ARR]) {
        classes_->add_dyn_ack_tag(SymbolTag::ARRAY_READ);
    }
}

TheorySolver* TheoryManager::get_tsolver(const char* name) const
{
    for (size_t i : active_) {
        if (std::strcmp(solvers_[i]->get_name(), name) == 0) {
            return solvers_[i].get();
        }
    }
    return nullptr;
}

void TheoryManager::set_logger(Logger* logger)
{
    logger_ = logger;
    for (size_t i : active_) {
        solvers_[i]->set_logger(logger);
    }
}

void TheoryManager::set_termination_test(const TerminationTest* test)
{
    termination_test_ = test;
    for (size_t i : active_) {
        solvers_[i]->set_termination_test(test);
    }
}

void TheoryManager::set_polarity_checker(PolarityChecker* polarity)
{
    polarity_ = polarity;
    for (size_t i : active_) {
        solvers_[i]->set_polarity_checker(polarity);
    }
}

// Atoms

void TheoryManager::tell_atom(const Term_* t, int var)
{
    const auto v = static_cast<size_t>(var);
    if (v >= atom_solvers_.size()) {
        const size_t size = std::max(v + 1, 2 * atom_solvers_.size());
        atom_solvers_.resize(size, 0);
        implied_by_.resize(2 * size, 0);
        boolean_vars_.grow(size);
        no_tcomb_vars_.grow(size);
    }
    const bool is_atom = t && tm_->is_boolean_atom(t) && !tm_->is_boolean_constant(t);
    boolean_vars_.set(v, !is_atom);
    atom_solvers_[v] = 0;
    no_tcomb_vars_.set(v, false);
    if (!is_atom) {
        return;
    }
    combination_undo_.push_back({CombinationUndo::ATOM, var, t, nullptr});
    for (size_t i : active_) {
        if (solvers_[i]->tell_atom(t).interested) {
            atom_solvers_[v] |= static_cast<SolverMask>(1U << i);
        }
    }
    if (!detection_suspended_) {
        update_interface_terms(t);
    }
}

/// An atom that a lemma brought up takes part in the combination once the problem itself uses it.
/// What is found goes on top of the undo stack: it leaves no later than the scope that uses the
/// atom.
void TheoryManager::tell_problem_atom(const Term_* t, int var)
{
    const auto v = static_cast<size_t>(var);
    if (!boolean_vars_.get(v) && no_tcomb_vars_.get(v) && !detection_suspended_) {
        no_tcomb_vars_.unset(v);
        update_interface_terms(t);
    }
}

void TheoryManager::retract_atom(const Term_* t, int var)
{
    const auto v = static_cast<size_t>(var);
    if (boolean_vars_.get(v)) {
        return;
    }
    for (size_t i : active_) {
        if (i == EUF || (atom_solvers_[v] >> i & 1)) {
            solvers_[i]->retract_atom(t);
        }
    }
    undo_theory_combination_info(var);
    boolean_vars_.set(v);
    terms_changed_ = true;
}

// Levels

void TheoryManager::new_decision_level()
{
    for (size_t i : active_) {
        solvers_[i]->new_decision_level();
    }
    ++level_;
}

void TheoryManager::cancel_until(int level)
{
    conflict_solver_ = NO_SOLVER;
    if (level >= level_) {
        return;
    }
    // Equalities found on the way wait until all solvers are at the new level.
    if (eq_propagator_) {
        eq_propagator_->hold();
    }
    for (size_t i : active_) {
        solvers_[i]->cancel_until(level);
    }
    level_ = level;
    while (!kept_back_.empty() && kept_back_.back().level > level) {
        kept_back_.pop_back();
    }
    if (eq_propagator_) {
        eq_propagator_->flush();
    }
}

void TheoryManager::push_backtrack_point()
{
    for (size_t i : active_) {
        solvers_[i]->push_backtrack_point();
    }
}

void TheoryManager::pop_backtrack_point()
{
    for (size_t i : active_) {
        solvers_[i]->pop_backtrack_point();
    }
}

// Literals

/// Whether the theories can do without the literal. By the pure literal rule: the formula is
/// satisfied at least as well when the atom has the other value. Or as a ghost: no clause needs it.
bool TheoryManager::is_filtered(Lit lit) const
{
    if (level_ == 0) {
        return false;
    }
    if (engine_->is_ghost_of_theory(lit)) {
        return true;
    }
    if (!config_.pure_literal_filtering || !polarity_) {
        return false;
    }
    const int polarity = (*polarity_)(engine_->term_for_proxy(lit.var()));
    return lit.sign() ? polarity == 2 : polarity == 1;
}

void TheoryManager::do_assume(Lit lit, bool filter)
{
    if (conflict()) {
        return;
    }
    if (filter && is_filtered(lit)) {
        kept_back_.push_back({lit, level_});
        return;
    }
    const SolverMask mask = atom_solvers_[static_cast<size_t>(lit.var())];
    const TheoryLit l(engine_->term_for_proxy(lit.var()), lit.sign());
    for (size_t i : active_) {
        if ((mask >> i & 1) && !solvers_[i]->assume(l)) {
            ++stats_[i].conflicts;
            conflict_solver_ = i;
            return;
        }
    }
}

/// Where to go back to so that the theories get what they were spared before a lemma brought the
/// atom with the other sign; -1 if there is nothing of the kind.
int TheoryManager::level_below_needed_literals() const
{
    int result = -1;
    for (const KeptBack& k : kept_back_) {
        if (!is_filtered(k.lit)) {
            const int level = engine_->level(k.lit.var()) - 1;
            result = result < 0 ? level : std::min(result, level);
        }
    }
    return result;
}

void TheoryManager::check(bool approx)
{
    implied_cursor_ = 0;
    for (size_t i : active_) {
        if (conflict()) {
            return;
        }
        ++stats_[i].calls;
        stats_[i].complete_calls += static_cast<uint64_t>(!approx);
        if (!solvers_[i]->check(approx)) {
            ++stats_[i].conflicts;
            conflict_solver_ = i;
        }
    }
}

Lit TheoryManager::to_lit(TheoryLit l) const
{
    const int var = engine_->proxy_for_term(l.get_term());
    TARQ_ASSERT(var >= 0);
    return Lit(var, l.is_neg());
}

void TheoryManager::to_lits(const std::vector<TheoryLit>& in, std::vector<Lit>& out) const
{
    for (TheoryLit l : in) {
        out.push_back(to_lit(l));
    }
}

void TheoryManager::log_literals(const char* text, const std::vector<TheoryLit>& lits)
{
    if (!logger_ || !logger_->enabled(4, "TMANAGER")) {
        return;
    }
    Logger& log = (*logger_)("TMANAGER");
    log << loglevel(4) << "TMANAGER - " << text;
    for (TheoryLit l : lits) {
        log << (l.is_neg() ? " -" : " ") << l.get_term()->to_shallow_str();
    }
    log << EndLog;
}

void TheoryManager::get_conflict(std::vector<Lit>& out)
{
    tlits_.clear();
    solvers_[conflict_solver_]->get_conflict(tlits_);
    log_literals("Conflict:", tlits_);
    dump_tlemma(tlit_Undef, tlits_, false);
    to_lits(tlits_, out);
}

Lit TheoryManager::get_next_implied()
{
    while (implied_cursor_ < active_.size()) {
        const size_t i = active_[implied_cursor_];
        const TheoryLit l = solvers_[i]->get_next_implied();
        if (l == tlit_Undef) {
            ++implied_cursor_;
            continue;
        }
        const int var = engine_->proxy_for_term(l.get_term());
        if (var < 0 || !engine_->value(var).is_undef()) {
            continue;
        }
        const Lit lit(var, l.is_neg());
        if (is_filtered(lit)) {
            continue;
        }
        ++stats_[i].implications;
        implied_by_[static_cast<size_t>(lit.index())] = static_cast<uint8_t>(i);
        return lit;
    }
    return lit_Undef;
}

bool TheoryManager::get_explanation(Lit lit, bool required, std::vector<Lit>& out)
{
    const size_t i = implied_by_[static_cast<size_t>(lit.index())];
    tlits_.clear();
    const TheoryLit l(engine_->term_for_proxy(lit.var()), lit.sign());
    if (!solvers_[i]->get_explanation(l, required, tlits_)) {
        return false;
    }
    ++stats_[i].explanations;
    dump_tlemma(l, tlits_, false);
    to_lits(tlits_, out);
    return true;
}

// Lemmas

bool TheoryManager::has_lemmas()
{
    for (size_t i : active_) {
        if (solvers_[i]->has_lemmas()) {
            lemma_solver_ = solvers_[i].get();
            return true;
        }
    }
    lemma_solver_ = nullptr;
    return false;
}

/// The variable of a lemma's atom, with the marks of the lemma's flags if it is new.
int TheoryManager::proxy_of_lemma_atom(TheoryLit l, const LemmaInfo& info, int dep_var)
{
    if (polarity_) {
        polarity_->add_literal(l.get_term(), l.is_neg());
    }
    int var;
    if (engine_->make_proxy(l.get_term(), &var)) {
        if (info.flags & LEMMA_NO_TCOMB) {
            no_tcomb_vars_.set(static_cast<size_t>(var));
        }
        if ((info.flags & LEMMA_HAS_DEP) && dep_var >= 0) {
            engine_->set_decision_var_dep(var, dep_var);
        }
        if ((info.flags & LEMMA_PROBLEM_VARS) && config_.parent->model_generation) {
            engine_->set_problem_var(var, true);
        }
    }
    return var;
}

unsigned TheoryManager::get_lemma(std::vector<Lit>& out, bool* keep, bool* permanent)
{
    if (free_lemma_ids_.empty()) {
        lemmas_.push_back({nullptr, nullptr});
        free_lemma_ids_.push_back(static_cast<unsigned>(lemmas_.size()));
    }
    const unsigned id = free_lemma_ids_.back();
    free_lemma_ids_.pop_back();
    std::vector<TheoryLit> clause;
    const LemmaInfo info = lemma_solver_->get_lemma(clause);
    lemmas_[id - 1] = {lemma_solver_, info.id};
    *keep = (info.flags & LEMMA_KEEP) != 0;
    *permanent = *keep && !(info.flags & LEMMA_REMOVABLE);
    const int dep_var = info.flags & LEMMA_HAS_DEP ? engine_->proxy_for_term(info.dep_atom) : -1;
    log_literals("Lemma:", clause);
    dump_tlemma(tlit_Undef, clause, true);
    const ScopedValue<bool> suspension(&detection_suspended_, info.flags & LEMMA_NO_TCOMB);
    for (TheoryLit l : clause) {
        out.emplace_back(proxy_of_lemma_atom(l, info, dep_var), l.is_neg());
    }
    return id;
}

void TheoryManager::retract_lemma(unsigned id)
{
    const TLemmaInfo info = lemmas_[id - 1];
    lemmas_[id - 1] = {nullptr, nullptr};
    free_lemma_ids_.push_back(id);
    if (info.solver && info.id) {
        info.solver->retract_lemma(info.id);
    }
}

/// Hands out the conjunction that has to be unsatisfiable.
/// head       an implied literal, or undefined
/// as_clause  whether the literals are those of a clause
void TheoryManager::dump_tlemma(TheoryLit head, const std::vector<TheoryLit>& lits, bool as_clause)
{
    if (!lemma_dump_) {
        return;
    }
    const auto formula = [this](TheoryLit l, bool negate) {
        return l.is_neg() != negate ? tm_->make_not(l.get_term()) : l.get_term();
    };
    const Term_* f = head == tlit_Undef ? tm_->make_true() : formula(head, true);
    for (TheoryLit l : lits) {
        f = tm_->make_and(f, formula(l, as_clause));
    }
    lemma_dump_->dump(f);
}

// Counters

std::vector<TheoryManager::StatsGroup> TheoryManager::get_stats() const
{
    std::vector<StatsGroup> out;
    out.push_back({"theory-combination",
                   {{"necessary interface equalities", std::to_string(num_necessary_equalities_)},
                    {"extra interface equalities", std::to_string(num_extra_equalities_)}}});
    for (size_t i : active_) {
        const TSBasicStats& s = stats_[i];
        out.push_back({solvers_[i]->get_name(),
                       {{"total calls", std::to_string(s.calls)},
                        {"complete calls", std::to_string(s.complete_calls)},
                        {"conflicts", std::to_string(s.conflicts)},
                        {"implications", std::to_string(s.implications)},
                        {"explanations", std::to_string(s.explanations)}}});
        for (auto& row : solvers_[i]->get_stats()) {
            out.back().second.push_back(std::move(row));
        }
    }
    return out;
}

} // namespace tarq
