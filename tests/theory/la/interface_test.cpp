// LaSolverInterface as the theory manager uses it: atoms, splits, levels, equalities of other
// solvers, delays, retraction; and the mappers under it.
#include "base/configuration.h"
#include "encoding/polaritychecker.h"
#include "terms/termmanager.h"
#include "theory/la/lasolverinterface.h"
#include "theory/theoryeq.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace tarq;

namespace {

/// An equality with an explanation of one literal.
class ExplainedEq : public TheoryEq {
public:
    ExplainedEq(const Term_* a, const Term_* b, TheoryLit reason) : TheoryEq(a, b), reason_(reason)
    {
    }
    bool explain(std::vector<TheoryLit>& reasons) override
    {
        reasons.push_back(reason_);
        return true;
    }
    TheoryEq* new_copy() const override { return new ExplainedEq(*this); }

private:
    TheoryLit reason_;
};

class LaInterface : public ::testing::Test {
protected:
    LaInterface()
    {
        for (const char* name : {"x", "y", "z"}) {
            vars.push_back(tm.make_constant(tm.make_symbol(name, tm.get_real_type())));
        }
        x = vars[0];
        y = vars[1];
        z = vars[2];
        p = tm.make_constant(tm.make_symbol("p", tm.get_bool_type()));
        f = tm.make_symbol("f", tm.get_function_type({tm.get_real_type()}, tm.get_real_type()));
    }

    void start()
    {
        la = std::make_unique<LaSolverInterface>(config.theory, &tm);
        la->set_polarity_checker(&polarity);
    }
    const Term_* num(int n) { return tm.make_number(QNumber(n)); }
    const Term_* app(const Term_* t)
    {
        const Term_* args[] = {t};
        return tm.make_uninterpreted_function(f, args);
    }
    const Term_* told(const Term_* atom)
    {
        const TellAtomResult r = la->tell_atom(atom);
        EXPECT_TRUE(r.owned && r.interested);
        return atom;
    }
    const Term_* leq(const Term_* a, const Term_* b) { return told(tm.make_leq(a, b)); }
    const Term_* eq(const Term_* a, const Term_* b) { return told(tm.make_equal(a, b)); }
    void assume(const Term_* atom, bool positive = true)
    {
        EXPECT_TRUE(la->assume(TheoryLit(atom, !positive)));
    }
    std::vector<TheoryLit> conflict()
    {
        std::vector<TheoryLit> out;
        la->get_conflict(out);
        std::sort(out.begin(), out.end());
        return out;
    }
    static std::vector<TheoryLit> sorted(std::vector<TheoryLit> lits)
    {
        std::sort(lits.begin(), lits.end());
        return lits;
    }
    std::vector<TheoryLit> implied()
    {
        std::vector<TheoryLit> out;
        for (TheoryLit l = la->get_next_implied(); !(l == tlit_Undef); l = la->get_next_implied()) {
            out.push_back(l);
        }
        return sorted(out);
    }

    Configuration config;
    TermManager tm;
    PolarityChecker polarity{&tm};
    std::unique_ptr<LaSolverInterface> la;
    std::vector<const Term_*> vars;
    const Term_* x;
    const Term_* y;
    const Term_* z;
    const Term_* p;
    const Symbol* f;
};

} // namespace

TEST_F(LaInterface, forms_and_their_negations_share_a_row)
{
    start();
    leq(tm.make_plus(x, y), num(3));
    leq(num(-5), tm.make_plus(x, y));
    leq(tm.make_plus(tm.make_times(num(2), x), tm.make_times(num(2), y)), num(7));
    leq(tm.make_times(num(-3), z), num(7)); // a bound on z itself
    EXPECT_EQ(la->solver().tableau().num_rows(), 1);
}

TEST_F(LaInterface, a_big_common_factor_is_gone_from_rows_and_bounds)
{
    start();
    const QNumber big = QNumber::from_str("36893488147419103233");
    const auto times = [&](int n, const Term_* t) {
        return tm.make_times(tm.make_number(big * QNumber(n)), t);
    };
    leq(tm.make_plus(times(1, x), times(2, y)), times(5, num(1)));
    leq(tm.make_plus(x, tm.make_times(num(2), y)), num(3));
    const la::Tableau& t = la->solver().tableau();
    ASSERT_EQ(t.num_rows(), 1);
    t.for_each_row([](const la::Row& row) {
        EXPECT_TRUE(std::all_of(row.terms().begin(), row.terms().end(),
                                [](const la::Row::Term& u) { return u.coeff.is_small(); }));
    });
    EXPECT_TRUE(la->solver().get_constraint(1).bound.real().is_small());
    EXPECT_EQ(la->solver().get_constraint(1).bound.real(), 5);
}

TEST_F(LaInterface, a_conflict_names_the_assumed_literals)
{
    start();
    const Term_* a = leq(x, y);
    const Term_* b = leq(y, z);
    const Term_* c = leq(x, tm.make_plus(z, num(1)));
    la->new_decision_level();
    assume(a);
    assume(b);
    EXPECT_TRUE(la->check(true));
    la->new_decision_level();
    assume(c, false);
    EXPECT_FALSE(la->check(true));
    EXPECT_EQ(conflict(), sorted({TheoryLit(a, false), TheoryLit(b, false), TheoryLit(c, true)}));
    la->cancel_until(1);
    EXPECT_TRUE(la->check(false));
}

TEST_F(LaInterface, an_atom_without_variables_is_a_unit_lemma)
{
    start();
    const Term_* a = leq(tm.make_plus(x, num(1)), x);
    assume(a); // the lemma will say no; until then it is no constraint
    EXPECT_TRUE(la->check(true));
    ASSERT_TRUE(la->has_lemmas());
    std::vector<TheoryLit> clause;
    const LemmaInfo info = la->get_lemma(clause);
    EXPECT_EQ(clause, (std::vector<TheoryLit>{TheoryLit(a, true)}));
    EXPECT_EQ(info.flags, 0U);
    EXPECT_FALSE(la->has_lemmas());
}

TEST_F(LaInterface, an_equality_is_split_by_a_lemma_over_two_inequalities)
{
    start();
    const Term_* e = eq(x, y);
    EXPECT_TRUE(la->check(true));
    ASSERT_TRUE(la->has_lemmas());
    std::vector<TheoryLit> clause;
    const LemmaInfo info = la->get_lemma(clause);
    ASSERT_EQ(clause.size(), 3U);
    EXPECT_EQ(clause[0], TheoryLit(e, false));
    EXPECT_TRUE(clause[1].is_neg() && clause[2].is_neg());
    EXPECT_EQ(info.flags, 15U);
    EXPECT_EQ(info.dep_atom, e);
    EXPECT_FALSE(la->has_lemmas());
    const Term_* below = told(clause[1].get_term());
    const Term_* above = told(clause[2].get_term());
    assume(e);
    EXPECT_TRUE(la->check(true));
    EXPECT_EQ(implied(), sorted({TheoryLit(below, false), TheoryLit(above, false)}));
    la->retract_lemma(info.id); // the clause is dropped while the atom lives: split anew
    EXPECT_TRUE(la->has_lemmas());
    la->retract_atom(above);
    la->retract_atom(below);
}

TEST_F(LaInterface, a_pure_equality_is_split_only_when_its_negation_comes_to_matter)
{
    start();
    const Term_* e = tm.make_equal(x, y);
    polarity.add_formula(tm.make_or(e, p));
    told(e);
    assume(e, false);
    EXPECT_TRUE(la->check(false));
    EXPECT_FALSE(la->has_lemmas());
    polarity.add_literal(e, true);
    EXPECT_TRUE(la->check(false));
    EXPECT_TRUE(la->has_lemmas());
}

TEST_F(LaInterface, without_splits_a_false_equality_is_a_disequality)
{
    config.theory.la.split_rat_eq = false;
    start();
    const Term_* e = eq(x, num(2));
    const Term_* low = leq(num(2), x);
    const Term_* high = leq(x, num(2));
    assume(e, false);
    assume(low);
    EXPECT_TRUE(la->check(false));
    EXPECT_FALSE(la->has_lemmas());
    assume(high);
    EXPECT_TRUE(la->check(true));
    EXPECT_FALSE(la->check(false));
    EXPECT_EQ(conflict(),
              sorted({TheoryLit(e, true), TheoryLit(low, false), TheoryLit(high, false)}));
}

TEST_F(LaInterface, explanations_come_late_when_they_are_long)
{
    config.theory.la.lazy_expl_threshold = 1;
    start();
    const Term_* a = leq(x, num(1));
    const Term_* b = leq(y, num(1));
    const Term_* sum = leq(tm.make_plus(x, y), num(3));
    assume(a);
    assume(b);
    EXPECT_TRUE(la->check(true));
    EXPECT_EQ(implied(), (std::vector<TheoryLit>{TheoryLit(sum, false)}));
    std::vector<TheoryLit> reasons;
    EXPECT_FALSE(la->get_explanation(TheoryLit(sum, false), false, reasons));
    EXPECT_TRUE(la->get_explanation(TheoryLit(sum, false), true, reasons));
    EXPECT_EQ(sorted(reasons), sorted({TheoryLit(a, false), TheoryLit(b, false)}));
}

TEST_F(LaInterface, an_implication_is_announced_again_after_a_backjump_that_keeps_its_reasons)
{
    start();
    const Term_* a = leq(x, num(1));
    const Term_* b = leq(x, num(3));
    la->new_decision_level();
    assume(a);
    la->new_decision_level(); // pushes it into the level that closes
    EXPECT_TRUE(la->check(true));
    EXPECT_EQ(implied(), (std::vector<TheoryLit>{TheoryLit(b, false)}));
    la->cancel_until(1);
    EXPECT_TRUE(la->check(true));
    EXPECT_EQ(implied(), (std::vector<TheoryLit>{TheoryLit(b, false)}));
    la->cancel_until(0);
    EXPECT_TRUE(la->check(true));
    EXPECT_TRUE(implied().empty());
}

TEST_F(LaInterface, equalities_of_other_solvers_stay_with_the_level_they_came_at)
{
    start();
    const Term_* a = leq(app(x), num(3));
    const Term_* b = leq(num(5), app(y));
    assume(a);
    assume(b);
    la->new_decision_level();
    ExplainedEq e(app(x), app(y), TheoryLit(p, false));
    la->assume(&e);
    la->new_decision_level();
    EXPECT_FALSE(la->check(true));
    EXPECT_EQ(conflict(), sorted({TheoryLit(a, false), TheoryLit(b, false), TheoryLit(p, false)}));
    la->cancel_until(1); // level 1 keeps the equality
    EXPECT_FALSE(la->check(true));
    la->cancel_until(0);
    EXPECT_TRUE(la->check(false));
    la->new_decision_level();
    la->assume(&e); // the same again
    EXPECT_FALSE(la->check(true));
    la->cancel_until(0);
    ExplainedEq impossible(num(1), num(2), TheoryLit(p, true));
    la->new_decision_level();
    EXPECT_FALSE(la->assume(&impossible));
    EXPECT_FALSE(la->check(true));
    EXPECT_EQ(conflict(), (std::vector<TheoryLit>{TheoryLit(p, true)}));
    la->cancel_until(0);
    EXPECT_TRUE(la->check(false));
}

TEST_F(LaInterface, a_cancel_to_the_present_level_drops_nothing)
{
    start();
    const Term_* a = leq(app(x), num(3));
    const Term_* b = leq(num(5), app(y));
    assume(a);
    assume(b);
    EXPECT_TRUE(la->check(true));
    la->new_decision_level();
    la->cancel_until(0);
    ExplainedEq e(app(x), app(y), TheoryLit(p, false));
    la->assume(&e); // as it comes after a cancel, when the equality solver settles
    la->cancel_until(0);
    EXPECT_FALSE(la->check(true));
}

TEST_F(LaInterface, delayed_equalities_wait_for_a_complete_check)
{
    config.theory.la.delay_alien = true;
    start();
    const Term_* e = eq(app(x), y);
    const Term_* low = leq(num(1), tm.make_plus(y, tm.make_times(num(-1), app(x))));
    la->new_decision_level();
    assume(e);
    assume(low);
    EXPECT_TRUE(la->check(true));
    EXPECT_FALSE(la->check(false));
    EXPECT_EQ(conflict(), sorted({TheoryLit(e, false), TheoryLit(low, false)}));
    la->cancel_until(0);
    EXPECT_TRUE(la->check(false));
    EXPECT_EQ(la->solver().num_pushed(), 0U);
}

TEST_F(LaInterface, an_equality_fragment_enters_the_simplex_with_its_levels)
{
    config.theory.la.detect_euf_fragment = true;
    start();
    const Term_* e1 = eq(x, num(1));
    const Term_* e2 = eq(y, num(2));
    la->new_decision_level();
    assume(e1);
    la->new_decision_level();
    assume(e2);
    EXPECT_TRUE(la->check(false));
    EXPECT_EQ(la->solver().num_pushed(), 0U);
    const Term_* sum = leq(tm.make_plus(x, y), num(2)); // ends it
    EXPECT_EQ(la->solver().num_pushed(), 2U);
    assume(sum);
    EXPECT_FALSE(la->check(true));
    la->cancel_until(1);
    EXPECT_EQ(la->solver().num_pushed(), 1U);
    EXPECT_TRUE(la->check(false));
    la->cancel_until(0);
    EXPECT_EQ(la->solver().num_pushed(), 0U);
}

TEST_F(LaInterface, retraction_gives_rows_and_numbers_back)
{
    start();
    const Term_* keep = leq(tm.make_plus(x, y), num(3));
    for (int round = 0; round < 20; ++round) {
        la->push_backtrack_point();
        la->new_decision_level();
        const Term_* a = leq(tm.make_plus(y, tm.make_times(num(2), z)), num(round));
        const Term_* b = eq(tm.make_plus(x, tm.make_times(num(3), z)), num(round));
        ExplainedEq e(z, app(x), TheoryLit(p, false));
        assume(keep);
        assume(a);
        assume(b);
        la->assume(&e);
        EXPECT_TRUE(la->check(false));
        la->cancel_until(0);
        la->retract_atom(b);
        la->retract_atom(a);
        la->pop_backtrack_point();
        EXPECT_FALSE(la->has_lemmas());
        EXPECT_EQ(la->solver().num_pushed(), 0U);
        EXPECT_LE(la->solver().tableau().num_rows(), 1);
        EXPECT_TRUE(la->solver().check_invariants());
    }
    assume(keep);
    EXPECT_TRUE(la->check(false));
}

TEST_F(LaInterface, shared_terms_get_values_that_agree_with_the_answers_about_them)
{
    start();
    const Term_* sum = tm.make_plus(x, num(1));
    const Term_* a = leq(y, x);
    const Term_* strict = leq(sum, z); // false: z < x + 1
    for (const Term_* t : {x, y, z, sum, app(x)}) {
        la->notify_interface_term(t);
    }
    assume(a);
    assume(strict, false);
    EXPECT_TRUE(la->check(false));
    la->build_abstract_model();
    const std::vector<const Term_*> terms = {x, y, z, sum, app(x)};
    std::vector<lbool> equal;
    for (const Term_* s : terms) {
        for (const Term_* t : terms) {
            equal.push_back(la->equal_in_model(s, t));
        }
    }
    la->build_model();
    size_t i = 0;
    for (const Term_* s : terms) {
        for (const Term_* t : terms) {
            const bool same = la->get_model_value(s) == la->get_model_value(t);
            EXPECT_EQ(equal[i++], lbool::from_bool(same));
        }
    }
    EXPECT_EQ(la->equal_in_model(x, p), l_Undef);
    QNumber vx, vs;
    ASSERT_TRUE(tm.is_arith_number(la->get_model_value(x), &vx));
    ASSERT_TRUE(tm.is_arith_number(la->get_model_value(sum), &vs));
    EXPECT_EQ(vs, vx + QNumber(1));
}

TEST_F(LaInterface, foreign_terms_are_told_apart)
{
    start();
    EXPECT_FALSE(la->tell_atom(p).interested);
    EXPECT_FALSE(la->is_alien(x));
    EXPECT_TRUE(la->is_alien(app(x)));
    EXPECT_FALSE(la->is_alien(tm.make_plus(x, app(x))));
    EXPECT_TRUE(la->is_alien(tm.make_equal(app(x), y)));
    EXPECT_FALSE(la->is_alien(tm.make_equal(x, y)));
    EXPECT_TRUE(la->is_interesting_interface_equality(app(x), num(3)));
    EXPECT_FALSE(la->is_interesting_interface_equality(app(x), y));
}
