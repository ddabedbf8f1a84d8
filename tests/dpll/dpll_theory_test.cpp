// The engine together with a theory: conflicts, implications explained at once or late, lemmas with
// and without new atoms, all under backtrack points, against brute force over atoms and
// constraints.
#include "testsupport.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

using namespace tarq;
using namespace tarq::test;

namespace {

class Interrupt : public Exception {
public:
    using Exception::Exception;
};

/// Over some of its literals: an even number is true, or at most `bound` are.
struct Constraint {
    bool is_parity;
    size_t bound;
    std::vector<Lit> lits;

    bool holds(const std::function<bool(Lit)>& is_true) const
    {
        const auto n = static_cast<size_t>(std::count_if(lits.begin(), lits.end(), is_true));
        return is_parity ? n % 2 == 0 : n <= bound;
    }
};

/// Parity and cardinality constraints over the atoms it is told, plus definitions that it makes up
/// in lemmas. What it answers with, and how lazily, is random; the protocol of the engine is
/// checked.
class ToyTheory : public dpll::TheoryHook {
public:
    ToyTheory(uint64_t seed, bool gives_lemmas) : rng_(seed), gives_lemmas_(gives_lemmas) {}
    ~ToyTheory() override { EXPECT_TRUE(levels_.empty()); }

    DpllSolver* solver = nullptr;
    bool next_is_atom = false; // what the next new variable is
    std::vector<Constraint> constraints;
    int interrupt_after = -1; // calls, until one throws

    void tell_atom(const Term_* t, int var) override
    {
        EXPECT_EQ(nullptr, t);
        EXPECT_EQ(static_cast<size_t>(var), is_atom_.size());
        is_atom_.push_back(next_is_atom);
        boolean_.grow(static_cast<size_t>(var) + 1);
        boolean_.set(static_cast<size_t>(var), !next_is_atom);
        values_.push_back(l_Undef);
    }

    void retract_atom(const Term_*, int var) override
    {
        EXPECT_EQ(static_cast<size_t>(var) + 1, is_atom_.size());
        EXPECT_TRUE(values_.back().is_undef());
        is_atom_.pop_back();
        values_.pop_back();
        const auto over_it = [var](const std::vector<Lit>& lits) {
            return std::any_of(lits.begin(), lits.end(), [var](Lit l) { return l.var() == var; });
        };
        // Clauses over older atoms stay, so what a bound says about those must stay too.
        for (Constraint& c : constraints) {
            if (!c.is_parity) {
                std::erase_if(c.lits, [var](Lit l) { return l.var() == var; });
            }
        }
        std::erase_if(constraints,
                      [&](const Constraint& c) { return c.lits.empty() || over_it(c.lits); });
        std::erase_if(lemmas_, over_it);
        std::erase_if(explanations_, [&](const auto& e) { return e.first >= 2 * var; });
    }

    const BitVector& boolean_vars() const override { return boolean_; }

    void new_decision_level() override { levels_.push_back(told_.size()); }

    void cancel_until(int level) override
    {
        conflict_.clear();
        in_conflict_ = false;
        implied_.clear();
        if (static_cast<size_t>(level) >= levels_.size()) {
            return;
        }
        while (told_.size() > levels_[static_cast<size_t>(level)]) {
            values_[static_cast<size_t>(told_.back().var())] = l_Undef;
            told_.pop_back();
        }
        levels_.resize(static_cast<size_t>(level));
    }

    void push_backtrack_point() override { ++points_; }
    void pop_backtrack_point() override { EXPECT_GE(--points_, 0); }

    void do_assume(Lit l, bool) override
    {
        EXPECT_TRUE(is_atom_[static_cast<size_t>(l.var())]);
        EXPECT_TRUE(solver->value(l).is_true());
        EXPECT_EQ(levels_.size(), static_cast<size_t>(solver->decision_level()));
        if (in_conflict_) {
            return;
        }
        EXPECT_TRUE(values_[static_cast<size_t>(l.var())].is_undef());
        values_[static_cast<size_t>(l.var())] = lbool::from_bool(!l.sign());
        told_.push_back(l);
        count_call();
    }

    void check_approx() override
    {
        if (rng_.chance(60)) {
            check(true);
        }
    }
    void check_complete() override { check(false); }

    bool conflict() const override { return in_conflict_; }
    void get_conflict(std::vector<Lit>& out) override
    {
        EXPECT_TRUE(in_conflict_);
        out.insert(out.end(), conflict_.begin(), conflict_.end());
        if (!conflict_.empty() && rng_.chance(20)) {
            out.push_back(conflict_.front()); // repeated literals are legal
        }
    }

    Lit get_next_implied() override
    {
        while (!implied_.empty()) {
            const Lit l = implied_.back();
            implied_.pop_back();
            if (solver->value(l).is_undef()) {
                return l;
            }
        }
        return dpll::lit_Undef;
    }

    bool get_explanation(Lit l, bool required, std::vector<Lit>& out) override
    {
        count_call();
        const auto it = explanations_.find(l.index());
        EXPECT_NE(it, explanations_.end());
        if (!required && rng_.chance(60)) {
            return false;
        }
        out.insert(out.end(), it->second.begin(), it->second.end());
        return true;
    }

    bool has_lemmas() override { return !lemmas_.empty(); }
    unsigned get_lemma(std::vector<Lit>& out, bool* keep, bool* permanent) override
    {
        count_call();
        std::vector<Lit> lemma = lemmas_.back();
        lemmas_.pop_back();
        out.insert(out.end(), lemma.begin(), lemma.end());
        *keep = rng_.chance(50);
        *permanent = *keep && rng_.chance(50);
        if (rng_.chance(30)) {
            return 0;
        }
        live_ids_.insert(++last_id_);
        return last_id_;
    }
    void retract_lemma(unsigned id) override { EXPECT_EQ(1U, live_ids_.erase(id)); }

    int boolean_model_found() override
    {
        if (gives_lemmas_ && definitions_ < 4 && rng_.chance(50)) {
            define_atom();
            return rng_.range(0, solver->decision_level() + 1);
        }
        return -1;
    }
    void build_model() override { ++models; }
    int models = 0;

private:
    void count_call()
    {
        if (interrupt_after >= 0 && --interrupt_after < 0) {
            throw Interrupt("interrupted");
        }
    }

    lbool value(Lit l) const { return values_[static_cast<size_t>(l.var())] ^ l.sign(); }

    void check(bool approx)
    {
        implied_.clear();
        for (const Constraint& c : constraints) {
            if (!in_conflict_) {
                check(c);
            }
        }
        if (gives_lemmas_ && approx && definitions_ < 4 && rng_.chance(2)) {
            define_atom();
        }
    }

    void check(const Constraint& c)
    {
        std::vector<Lit> yes, known, open;
        for (Lit l : c.lits) {
            const lbool v = value(l);
            if (v.is_undef()) {
                open.push_back(l);
            } else {
                known.push_back(v.is_true() ? l : ~l);
                if (v.is_true()) {
                    yes.push_back(l);
                }
            }
        }
        if (c.is_parity) {
            if (open.empty() && yes.size() % 2 != 0) {
                refuse(known);
            } else if (open.size() == 1) {
                imply(open[0] ^ static_cast<int>(yes.size() % 2 == 0), known);
            }
        } else if (yes.size() > c.bound) {
            refuse(yes);
        } else if (yes.size() == c.bound) {
            for (Lit l : open) {
                imply(~l, yes);
            }
        }
    }

    void imply(Lit l, const std::vector<Lit>& why)
    {
        if (rng_.chance(70) && solver->value(l).is_undef()) {
            implied_.push_back(l);
            explanations_[l.index()] = why;
        }
    }

    /// As a conflict, or as a lemma that says the same, perhaps with the odd literal twice.
    void refuse(const std::vector<Lit>& lits)
    {
        if (!gives_lemmas_ || rng_.chance(60)) {
            in_conflict_ = true;
            conflict_ = lits;
            return;
        }
        std::vector<Lit> lemma;
        for (Lit l : lits) {
            lemma.push_back(~l);
        }
        if (!lemma.empty() && rng_.chance(20)) {
            lemma.push_back(lemma.front());
        }
        lemmas_.push_back(lemma);
        if (!lemma.empty() && rng_.chance(10)) {
            lemmas_.push_back({lemma.front(), ~lemma.front()}); // says nothing
        }
    }

    /// A new atom for the conjunction of two old ones, by three lemmas.
    void define_atom()
    {
        std::vector<int> atoms;
        for (size_t v = 0; v < is_atom_.size(); ++v) {
            if (is_atom_[v]) {
                atoms.push_back(static_cast<int>(v));
            }
        }
        if (atoms.empty()) {
            return;
        }
        ++definitions_;
        const Lit a(rng_.pick(atoms), rng_.chance(50)), b(rng_.pick(atoms), rng_.chance(50));
        next_is_atom = rng_.chance(50);
        const Lit t(solver->new_var());
        lemmas_.push_back({~t, a});
        lemmas_.push_back({~t, b});
        lemmas_.push_back({t, ~a, ~b});
    }

    Rng rng_;
    bool gives_lemmas_;
    std::vector<bool> is_atom_;
    std::vector<lbool> values_;
    BitVector boolean_;
    std::vector<Lit> told_;
    std::vector<size_t> levels_;
    int points_ = 0;
    bool in_conflict_ = false;
    std::vector<Lit> conflict_;
    std::vector<Lit> implied_;
    std::map<int, std::vector<Lit>> explanations_;
    Clauses lemmas_;
    std::set<unsigned> live_ids_;
    unsigned last_id_ = 0;
    int definitions_ = 0;
};

class TheorySession {
public:
    TheorySession(uint64_t seed, int restart_strategy) : rng_(seed), theory_(seed, rng_.chance(60))
    {
        randomize(config_, rng_, restart_strategy);
        config_.model_generation = true;
        solver_ = std::make_unique<TestSolver>(config_.dpll, nullptr);
        theory_.solver = solver_.get();
        solver_->set_theory_manager(&theory_);
        grow(rng_.range(3, 6));
    }
    ~TheorySession() { solver_->cancel_until(0); }

    void run(int steps)
    {
        for (int i = 0; i < steps && !testing::Test::HasFailure() && solver_->unsat_level() != 0;
             ++i) {
            const int what = rng_.range(0, 99);
            if (what < 15 && vars_.size() < 11) {
                grow(rng_.range(1, 2));
            } else if (what < 45) {
                for (int n = rng_.range(1, 4); n > 0; --n) {
                    clauses_.push_back(rng_.chance(1) ? std::vector<Lit>()
                                                      : random_clause(rng_, vars_, 4));
                    add(*solver_, clauses_.back());
                }
            } else if (what < 58 && marks_.size() < 4) {
                theory_.next_is_atom = false;
                marks_.push_back({vars_.size(), clauses_.size(), solver_->num_vars()});
                solver_->push_backtrack_point();
            } else if (what < 71 && !marks_.empty()) {
                solver_->pop_backtrack_point();
                vars_.resize(marks_.back().vars);
                clauses_.resize(marks_.back().clauses);
                EXPECT_EQ(marks_.back().engine_vars, solver_->num_vars());
                marks_.pop_back();
            } else {
                check();
            }
        }
    }

private:
    void grow(int n)
    {
        for (; n > 0; --n) {
            theory_.next_is_atom = rng_.chance(80);
            const int v = solver_->new_var();
            vars_.push_back(v);
            if (theory_.next_is_atom) {
                atoms_.push_back(v);
            }
        }
        std::erase_if(atoms_, [&](int a) {
            return std::find(vars_.begin(), vars_.end(), a) == vars_.end() || !is_atom_now(a);
        });
        if (atoms_.size() >= 3 && theory_.constraints.size() < 6 && vars_.back() == atoms_.back()) {
            Constraint c{
                rng_.chance(50), static_cast<size_t>(rng_.range(1, 2)), {Lit(atoms_.back())}};
            for (int k = rng_.range(1, 3); k > 0; --k) {
                const int v = rng_.pick(atoms_);
                if (std::none_of(c.lits.begin(), c.lits.end(),
                                 [v](Lit l) { return l.var() == v; })) {
                    c.lits.emplace_back(v, rng_.chance(50));
                }
            }
            theory_.constraints.push_back(c);
        }
    }
    bool is_atom_now(int v) const { return !theory_.boolean_vars().get(static_cast<size_t>(v)); }

    void check()
    {
        std::vector<Lit> assumptions;
        for (int n = rng_.chance(50) ? rng_.range(1, 3) : 0; n > 0; --n) {
            assumptions.emplace_back(rng_.pick(vars_), rng_.chance(50));
        }
        if (rng_.chance(20)) {
            theory_.interrupt_after = rng_.range(0, 30);
            try {
                solver_->solve(assumptions);
            } catch (const Interrupt&) {
                EXPECT_LE(solver_->decision_level(), solver_->num_backtrack_points());
            }
            theory_.interrupt_after = -1;
        }
        const auto constraints_hold = [&](const std::function<bool(Lit)>& is_true) {
            return std::all_of(theory_.constraints.begin(), theory_.constraints.end(),
                               [&](const Constraint& c) { return c.holds(is_true); });
        };
        const bool expected = brute_force(vars_, clauses_, assumptions, constraints_hold);
        const int models_before = theory_.models;
        ASSERT_EQ(expected, solver_->solve(assumptions));
        ASSERT_TRUE(solver_->check_invariants());
        EXPECT_EQ(models_before + static_cast<int>(expected), theory_.models);
        if (expected) {
            const auto is_true = [&](Lit l) { return is_true_in_model(*solver_, l); };
            for (const auto& c : clauses_) {
                EXPECT_TRUE(satisfies(c, is_true));
            }
            EXPECT_TRUE(std::all_of(assumptions.begin(), assumptions.end(), is_true));
            // The theory has a say in the values that the model leaves open.
            std::vector<Lit> model;
            for (int var : vars_) {
                if (const lbool v = solver_->get_model_value(var); !v.is_undef()) {
                    model.emplace_back(var, v.is_false());
                }
            }
            EXPECT_TRUE(brute_force(vars_, clauses_, model, constraints_hold));
        } else {
            std::vector<Lit> core;
            for (Lit l : solver_->get_conflict()) {
                core.push_back(~l);
                EXPECT_NE(std::find(assumptions.begin(), assumptions.end(), ~l), assumptions.end());
            }
            EXPECT_FALSE(brute_force(vars_, clauses_, core, constraints_hold));
        }
    }

    struct Mark {
        size_t vars;
        size_t clauses;
        int engine_vars;
    };
    Rng rng_;
    ToyTheory theory_;
    Configuration config_;
    std::unique_ptr<TestSolver> solver_;
    std::vector<int> vars_;
    std::vector<int> atoms_;
    Clauses clauses_;
    std::vector<Mark> marks_;
};

class WithTheory : public testing::TestWithParam<int> {};

TEST_P(WithTheory, sessions_agree_with_brute_force)
{
    for (uint64_t seed = 1; seed <= 120 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        TheorySession(seed, GetParam()).run(60);
    }
}

INSTANTIATE_TEST_SUITE_P(Restarts, WithTheory, testing::Values(0, 1, 2, 3));

/// Answers from a script instead of thinking.
class ScriptedTheory : public dpll::TheoryHook {
public:
    void tell_atom(const Term_*, int var) override { boolean.grow(static_cast<size_t>(var) + 1); }
    void retract_atom(const Term_*, int) override {}
    const BitVector& boolean_vars() const override { return boolean; }
    void new_decision_level() override {}
    void cancel_until(int) override { in_conflict = false; }
    void push_backtrack_point() override {}
    void pop_backtrack_point() override {}
    void do_assume(Lit, bool) override {}
    void check_approx() override {}
    void check_complete() override
    {
        in_conflict = !conflicts.empty();
        lemmas.insert(lemmas.end(), late_lemmas.begin(), late_lemmas.end());
        late_lemmas.clear();
    }
    bool conflict() const override { return in_conflict; }
    void get_conflict(std::vector<Lit>& out) override
    {
        out = conflicts.back();
        conflicts.pop_back();
    }
    Lit get_next_implied() override { return dpll::lit_Undef; }
    bool get_explanation(Lit, bool, std::vector<Lit>&) override { return false; }
    bool has_lemmas() override { return !lemmas.empty(); }
    unsigned get_lemma(std::vector<Lit>& out, bool* keep, bool* permanent) override
    {
        out = lemmas.back();
        lemmas.pop_back();
        *keep = *permanent = false;
        return ++last_id;
    }
    void retract_lemma(unsigned id) override { retracted.push_back(id); }
    int boolean_model_found() override { return -1; }
    void build_model() override {}

    BitVector boolean;
    bool in_conflict = false;
    Clauses conflicts, lemmas, late_lemmas;
    unsigned last_id = 0;
    std::vector<unsigned> retracted;
};

class Scripted : public testing::Test {
protected:
    Scripted() : s(config.dpll, nullptr)
    {
        s.set_theory_manager(&theory);
        x = Lit(s.new_var());
        y = Lit(s.new_var());
    }
    Configuration config;
    ScriptedTheory theory;
    TestSolver s;
    Lit x, y;
};

TEST_F(Scripted, empty_lemma_or_conflict_is_a_contradiction_for_good)
{
    theory.lemmas = {{}};
    s.push_backtrack_point();
    EXPECT_FALSE(s.solve());
    EXPECT_EQ(0, s.unsat_level());
    EXPECT_EQ(std::vector<unsigned>({1}), theory.retracted);

    TestSolver other(config.dpll, nullptr);
    ScriptedTheory conflicting;
    conflicting.conflicts = {{}};
    other.set_theory_manager(&conflicting);
    other.new_var();
    EXPECT_FALSE(other.solve());
    EXPECT_EQ(0, other.unsat_level());
}

TEST_F(Scripted, lemmas_that_say_nothing_are_retired)
{
    theory.lemmas = {{x, y, ~x}, {y, y}};
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.get_model_value(y.var()).is_true());
    EXPECT_EQ(std::vector<unsigned>({2}), theory.retracted);
}

/// Units among the learnt clauses, which are ordered by reductions with all others, and a unit
/// conflict.
TEST_F(Scripted, unit_lemmas_and_unit_conflicts_hold_at_level_zero)
{
    config.dpll.reduce_base_min = 1;
    config.dpll.reduce_step_min = 1;
    new_vars(s, 20);
    for (auto c : pigeonhole(4)) {
        std::for_each(c.begin(), c.end(), [](Lit& l) { l = Lit(l.var() + 2, l.sign()); });
        add(s, c);
        if (s.num_clauses() > 40) {
            break; // satisfiable, with a few conflicts on the way
        }
    }
    for (int i = 0; i < 3; ++i) {
        theory.late_lemmas.push_back({Lit(2 + 5 * i, true)});
    }
    theory.conflicts = {{~x}};
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.value(x).is_true());
    EXPECT_TRUE(s.value(Lit(7)).is_false());
    s.remove_learnt_clauses();
    EXPECT_TRUE(s.check_invariants());
    EXPECT_FALSE(s.solve({Lit(12)}));
    EXPECT_EQ(std::vector<Lit>({~Lit(12)}), s.get_conflict());
}

TEST_F(Scripted, stored_lemmas_live_as_long_as_their_point)
{
    config.dpll.store_tlemmas = true;
    theory.lemmas = {{x, y}};
    EXPECT_TRUE(s.solve());
    s.push_backtrack_point();
    const Lit z(s.new_var());
    theory.lemmas = {{x, z}, {~x, y}};
    EXPECT_TRUE(s.solve());
    s.remove_learnt_clauses();
    EXPECT_EQ(3U, s.get_theory_lemmas().size());
    s.pop_backtrack_point();
    EXPECT_EQ(2U, s.get_theory_lemmas().size());
    for (const dpll::Clause* c : s.get_theory_lemmas()) {
        EXPECT_EQ(2U, c->size());
    }
}

} // namespace
