#include "theory/bv/lazybvsolver.h"

#include "theory/bv/eagerbvsolver.h"

namespace tarq::bv::lazy {

void LazyClauseSink::add_clause()
{
    if (take_clause(&lits_)) {
        ++num_clauses;
        engine_->add_clause(lits_);
    }
}

void AtomMap::add_atom(const Term_* atom, BvLit bit)
{
    bits_[atom] = bit;
    trail_.push_back(atom);
}

BvLit AtomMap::bit_of(TheoryLit l) const
{
    const auto found = bits_.find(l.get_term());
    TARQ_ASSERT(found != bits_.end());
    return l.is_neg() ? -found->second : found->second;
}

void AtomMap::pop_backtrack_point()
{
    while (trail_.size() > marks_.back()) {
        bits_.erase(trail_.back());
        trail_.pop_back();
    }
    marks_.pop_back();
}

LazyBVSolver::LazyBVSolver(TermManager* tm, const Configuration::Theory::Bv& options,
                           WordClausifierInterface::Ites ites)
    : TheorySolver(tm), options_(options), inner_config_(options),
      inner_(inner_config_.dpll, nullptr), sink_(&inner_),
      words_(WordClausifierInterface::make(tm, options, ites)), model_(tm, words_.get(), options)
{
}

void LazyBVSolver::set_logger(Logger* logger)
{
    TheorySolver::set_logger(logger);
    words_->set_logger(logger);
    inner_.set_logger(logger, "BV", "BV: ");
}

void LazyBVSolver::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    words_->set_termination_test(test);
    inner_.set_termination_test(test);
}

TellAtomResult LazyBVSolver::tell_atom(const Term_* atom)
{
    if (!handle_boolean_connectives_ && !eager::EagerBVSolver::should_handle(*tm_, atom)) {
        return {};
    }
    if (!atoms_.contains(atom)) {
        atoms_.add_atom(atom, words_->bit_blast(atom, &sink_));
    }
    return {true, true};
}

void LazyBVSolver::tell_unlabeled_atom(const Term_* f)
{
    sink_.clause(words_->bit_blast(f, &sink_));
}

void LazyBVSolver::notify_interface_term(const Term_* t)
{
    if (tm_->is_bv_type(TermManager::get_type(t))) {
        ++num_interface_terms_;
        words_->notify_interface_term(t, &sink_);
    }
}

void LazyBVSolver::retract_interface_term(const Term_* t)
{
    if (tm_->is_bv_type(TermManager::get_type(t))) {
        TARQ_ASSERT(num_interface_terms_ > 0);
        --num_interface_terms_;
    }
}

// Backtracking

void LazyBVSolver::new_decision_level()
{
    trail_.new_decision_level();
}

void LazyBVSolver::cancel_until(int level)
{
    conflict_literals_.clear();
    conflict_equalities_.clear();
    trail_.cancel_until(level);
}

void LazyBVSolver::push_backtrack_point()
{
    atoms_.push_backtrack_point();
    words_->push_backtrack_point();
    inner_.push_backtrack_point();
    equality_marks_.push_back(equality_trail_.size());
}

void LazyBVSolver::pop_backtrack_point()
{
    while (equality_trail_.size() > equality_marks_.back()) {
        equality_bits_.erase(equality_trail_.back());
        equality_trail_.pop_back();
    }
    equality_marks_.pop_back();
    inner_.pop_backtrack_point();
    words_->pop_backtrack_point();
    atoms_.pop_backtrack_point();
}

// Checking

bool LazyBVSolver::assume(TheoryLit l)
{
    trail_.push(l);
    return true;
}

bool LazyBVSolver::assume(TheoryEq* eq)
{
    if (tm_->is_bv_type(TermManager::get_type(eq->left))) {
        trail_.push(*eq);
    }
    return true;
}

/// Makes the trail the assumptions. Returns false if one of its literals alone is impossible.
bool LazyBVSolver::add_literals()
{
    for (const TheoryLit l : trail_.literals()) {
        const BvLit bit = atoms_.bit_of(l);
        if (bit.is_false()) {
            conflict_literals_.assign(1, l);
            return false;
        }
        if (!bit.is_true()) {
            const dpll::Lit s = bit.to_sat();
            literal_of_[s.index()] = l;
            assumptions_.push_back(s);
        }
    }
    return true;
}

/// A bit that implies the equality, with its clauses; l_false when the sides differ in a bit.
BvLit LazyBVSolver::bit_of_equality(const TheoryEq& eq)
{
    const TermPair sides(eq.left, eq.right);
    const auto known = equality_bits_.find(sides);
    if (known != equality_bits_.end()) {
        return known->second;
    }
    BvLit bit = sink_.new_atom();
    if (!words_->bit_blast_theory_eq(bit, eq.left, eq.right, &sink_)) {
        bit = l_false;
    }
    equality_bits_[sides] = bit;
    equality_trail_.push_back(sides);
    return bit;
}

/// Adds the equalities that concern words to the assumptions; one may link others to words, hence
/// the repetition. Returns false if one alone is impossible.
bool LazyBVSolver::add_equalities()
{
    const std::vector<TheoryEq*>& equalities = trail_.equalities();
    std::vector<bool> added(equalities.size(), false);
    for (bool grown = num_interface_terms_ > 0; grown;) {
        grown = false;
        for (uint32_t e = 0; e < equalities.size(); ++e) {
            const TheoryEq& eq = *equalities[e];
            const bool left = words_->is_cached(eq.left);
            const bool right = words_->is_cached(eq.right);
            if (added[e] || (!left && !right)) {
                continue;
            }
            added[e] = true;
            grown = grown || !left || !right;
            const BvLit bit = bit_of_equality(eq);
            if (bit.is_false()) {
                conflict_equalities_.assign(1, e);
                return false;
            }
            equality_of_[bit.to_sat().index()] = e;
            assumptions_.push_back(bit.to_sat());
        }
    }
    return true;
}

bool LazyBVSolver::solve()
{
    if (inner_.solve(assumptions_)) {
        return true;
    }
    for (const dpll::Lit l : inner_.get_conflict()) {
        const int assumption = (~l).index();
        const auto literal = literal_of_.find(assumption);
        if (literal != literal_of_.end()) {
            conflict_literals_.push_back(literal->second);
        } else {
            conflict_equalities_.push_back(equality_of_.find(assumption)->second);
        }
    }
    return false;
}

bool LazyBVSolver::check(bool approx)
{
    if (approx) {
        return true;
    }
    assumptions_.clear();
    literal_of_.clear();
    equality_of_.clear();
    conflict_literals_.clear();
    conflict_equalities_.clear();
    if (!add_literals()) {
        return false;
    }
    // the literals of the engine first: their conflicts need no explanations of others
    if (options_.delay_propagated_eqs && !solve()) {
        return false;
    }
    const size_t before = assumptions_.size();
    if (!add_equalities()) {
        return false;
    }
    return (options_.delay_propagated_eqs && assumptions_.size() == before) || solve();
}

void LazyBVSolver::get_conflict(std::vector<TheoryLit>& out)
{
    out.insert(out.end(), conflict_literals_.begin(), conflict_literals_.end());
    for (const uint32_t e : conflict_equalities_) {
        trail_.equalities()[e]->explain(out);
    }
}

// Models

void LazyBVSolver::build_abstract_model()
{
    model_.set_assignment(inner_.num_vars(),
                          [this](int v) { return inner_.get_model_value(v) == l_True; });
}

lbool LazyBVSolver::equal_in_model(const Term_* a, const Term_* b)
{
    const Term_* x = model_(a, true);
    const Term_* y = model_(b, true);
    if (!x || !y) {
        return l_Undef;
    }
    return x == y ? l_True : l_False;
}

std::vector<std::pair<std::string, std::string>> LazyBVSolver::get_stats() const
{
    const DpllSolver::Stats& s = inner_.get_stats();
    return {{"num sat vars", std::to_string(inner_.num_vars())},
            {"num sat clauses", std::to_string(sink_.num_clauses)},
            {"dpll restarts", std::to_string(s.restarts)},
            {"dpll decisions", std::to_string(s.decisions)},
            {"dpll propagations", std::to_string(s.propagations)},
            {"dpll conflicts", std::to_string(s.conflicts)}};
}

} // namespace tarq::bv::lazy
