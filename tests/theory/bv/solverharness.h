// A theory side with one solver, and a source of equalities that stands in for another solver.
#pragma once

#include "base/configuration.h"
#include "dpll/dpllsolver.h"
#include "dpll/theoryhook.h"
#include "terms/termmanager.h"
#include "theory/bv/bvsolverinterface.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <vector>

namespace tarq::bv {

/// Drives one solver as the contract says. Boolean constants can be made to announce an equality of
/// two words while they are true.
template <class Solver = BVSolverInterface>
class SolverHarness : public dpll::TheoryHook {
public:
    SolverHarness(TermManager* tm, const Configuration& config)
        : SolverHarness(tm, config, config.theory.bv)
    {
    }
    /// options  the group of the solver's theory in `config`
    template <class Options>
    SolverHarness(TermManager* tm, const Configuration& config, const Options& options)
        : tm_(tm), engine_(config.dpll, tm), solver_(tm, options, &engine_)
    {
        engine_.set_theory_manager(this);
    }

    DpllSolver& engine() { return engine_; }
    Solver& solver() { return solver_; }

    /// From now on the equality is announced whenever `constant` is true.
    void announce(const Term_* constant, const Term_* a, const Term_* b)
    {
        announced_[constant] = {a, b};
        for (const Term_* t : {a, b}) {
            solver_.notify_interface_term(t);
        }
    }
    dpll::Lit literal(const Term_* t, bool negated)
    {
        int var = -1;
        engine_.make_proxy(t, &var);
        return dpll::Lit(var, negated);
    }
    void add_clause(std::vector<dpll::Lit> lits) { engine_.add_clause(lits); }
    /// The values when the last solve was satisfiable.
    const Term_* value(const Term_* t) { return solver_.get_model_value(t); }

    uint64_t num_conflicts = 0;
    uint64_t num_implied = 0;

    // dpll::TheoryHook
    void tell_atom(const Term_* t, int var) override
    {
        boolean_.grow(static_cast<size_t>(var) + 1);
        interested_.resize(std::max(interested_.size(), static_cast<size_t>(var) + 1));
        boolean_.set(static_cast<size_t>(var));
        interested_[static_cast<size_t>(var)] = false;
        if (!t) {
            return;
        }
        if (announced_.count(t) != 0) {
            boolean_.unset(static_cast<size_t>(var));
        } else if (!tm_->is_boolean_constant(t)) {
            const bool wanted = solver_.tell_atom(t).interested;
            interested_[static_cast<size_t>(var)] = wanted;
            boolean_.set(static_cast<size_t>(var), !wanted);
        }
    }
    void retract_atom(const Term_* t, int var) override
    {
        if (t && interested_[static_cast<size_t>(var)]) {
            solver_.retract_atom(t);
        }
    }
    const BitVector& boolean_vars() const override { return boolean_; }
    void new_decision_level() override { solver_.new_decision_level(); }
    void cancel_until(int level) override
    {
        conflict_ = false;
        solver_.cancel_until(level);
    }
    void push_backtrack_point() override { solver_.push_backtrack_point(); }
    void pop_backtrack_point() override { solver_.pop_backtrack_point(); }
    void do_assume(dpll::Lit lit, bool) override
    {
        const Term_* t = engine_.term_for_proxy(lit.var());
        const auto eq = announced_.find(t);
        if (eq == announced_.end()) {
            conflict_ = conflict_ || !solver_.assume(TheoryLit(t, lit.sign() != 0));
        } else if (lit.sign() == 0) {
            Announcement a(eq->second.first, eq->second.second, t);
            conflict_ = conflict_ || !solver_.assume(&a);
        }
    }
    void check_approx() override { conflict_ = conflict_ || !solver_.check(true); }
    void check_complete() override { conflict_ = conflict_ || !solver_.check(false); }
    bool conflict() const override { return conflict_; }
    void get_conflict(std::vector<dpll::Lit>& out) override
    {
        ++num_conflicts;
        std::vector<TheoryLit> lits;
        solver_.get_conflict(lits);
        translate(lits, out);
    }
    dpll::Lit get_next_implied() override
    {
        for (TheoryLit l = solver_.get_next_implied(); !l.is_undef();
             l = solver_.get_next_implied()) {
            const dpll::Lit lit = to_lit(l);
            if (engine_.value(lit).is_undef()) {
                ++num_implied;
                return lit;
            }
        }
        return dpll::lit_Undef;
    }
    bool get_explanation(dpll::Lit lit, bool required, std::vector<dpll::Lit>& out) override
    {
        std::vector<TheoryLit> lits;
        const TheoryLit l(engine_.term_for_proxy(lit.var()), lit.sign() != 0);
        if (!solver_.get_explanation(l, required, lits)) {
            EXPECT_FALSE(required);
            return false;
        }
        translate(lits, out);
        return true;
    }
    bool has_lemmas() override { return solver_.has_lemmas(); }
    unsigned get_lemma(std::vector<dpll::Lit>&, bool*, bool*) override { return 0; }
    void retract_lemma(unsigned) override {}
    int boolean_model_found() override { return -1; }
    void build_model() override { solver_.build_model(); }

private:
    class Announcement : public TheoryEq {
    public:
        Announcement(const Term_* a, const Term_* b, const Term_* reason)
            : TheoryEq(a, b), reason_(reason)
        {
        }
        bool explain(std::vector<TheoryLit>& reasons) override
        {
            reasons.push_back(TheoryLit(reason_, false));
            return true;
        }
        TheoryEq* new_copy() const override { return new Announcement(*this); }
        void destroy() override { delete this; }

    private:
        const Term_* reason_;
    };

    dpll::Lit to_lit(TheoryLit l) const
    {
        const int var = engine_.proxy_for_term(l.get_term());
        EXPECT_GE(var, 0) << "a literal without variable";
        return dpll::Lit(var, l.is_neg());
    }
    /// All literals of a reason must be true, in the conflict as well.
    void translate(const std::vector<TheoryLit>& lits, std::vector<dpll::Lit>& out) const
    {
        for (TheoryLit l : lits) {
            EXPECT_TRUE(engine_.value(to_lit(l)).is_true());
            out.push_back(to_lit(l));
        }
    }

    TermManager* tm_;
    DpllSolver engine_;
    Solver solver_;
    std::map<const Term_*, std::pair<const Term_*, const Term_*>> announced_;
    BitVector boolean_;
    std::vector<bool> interested_;
    bool conflict_ = false;
};

} // namespace tarq::bv
