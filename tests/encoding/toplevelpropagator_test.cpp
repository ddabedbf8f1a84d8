// What the propagator takes out, what it keeps, and that both are undone with their backtrack
// points.
#include "encoding/toplevelpropagator.h"

#include "terms/stdtermsimplifier.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace tarq::test {
namespace {

class PropagatorTest : public ::testing::Test {
protected:
    PropagatorTest() : simplifier(&tm)
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
        make(false);
        integer = tm.get_int_type();
        real = tm.get_real_type();
        boolean = tm.get_bool_type();
        sort = tm.get_simple_type("U");
        x = constant("x", integer);
        y = constant("y", integer);
        z = constant("z", integer);
        p = constant("p", boolean);
        q = constant("q", boolean);
    }

    void make(bool keep_partial)
    {
        stack = std::make_unique<RewriteStack>();
        tp = std::make_unique<ToplevelPropagator>(&tm, stack.get(), keep_partial, true);
    }
    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    const Term_* num(const QNumber& n) { return tm.make_number(n); }
    const Term_* eq(const Term_* a, const Term_* b) { return tm.make_equal(a, b); }
    const Term_* plus(const Term_* a, const Term_* b) { return tm.make_plus(a, b); }
    const Term_* land(const Term_* a, const Term_* b) { return tm.make_and(a, b); }
    const Term_* run(const Term_* f) { return (*tp)(f, 0); }
    void push()
    {
        stack->push_backtrack_point();
        tp->push_backtrack_point();
    }
    void pop()
    {
        stack->pop_backtrack_point();
        tp->pop_backtrack_point();
    }

    TermManager tm;
    StdTermSimplifier simplifier;
    std::unique_ptr<RewriteStack> stack;
    std::unique_ptr<ToplevelPropagator> tp;
    const DataType *integer, *real, *boolean, *sort;
    const Term_ *x, *y, *z, *p, *q;
};

TEST_F(PropagatorTest, an_equation_removes_its_constant_from_this_formula_and_later_ones)
{
    const Term_* small = tm.make_leq(x, num(3));
    EXPECT_EQ(run(land(eq(x, plus(y, num(1))), small)), tm.make_leq(y, num(2)));
    EXPECT_EQ(run(tm.make_leq(num(0), x)), tm.make_leq(num(-1), y));
    ASSERT_FALSE(stack->empty());
    EXPECT_EQ(stack->begin()->src(), x);
    EXPECT_TRUE(tm.is_true(eq(tp->get_substitution(x), plus(y, num(1)))));
    EXPECT_EQ(tp->get_substitution(y), nullptr);
}

TEST_F(PropagatorTest, facts_about_booleans)
{
    const Term_* f = land(p, tm.make_or(tm.make_not(p), q));
    EXPECT_TRUE(tm.is_true(run(f)));
    EXPECT_TRUE(tm.is_true(tp->get_substitution(q)));
    EXPECT_TRUE(tm.is_false(run(tm.make_not(q))));
    make(false);
    const Term_* r = constant("r", boolean);
    const Term_* iffs = land(tm.make_iff(p, q), tm.make_not(tm.make_iff(q, r)));
    const Term_* rest = run(land(iffs, tm.make_or(p, r)));
    EXPECT_TRUE(tm.is_true(rest)) << rest->to_str() << ": p or not p";
    EXPECT_TRUE(tp->is_substituted(p) && tp->is_substituted(q) != tp->is_substituted(r));
}

TEST_F(PropagatorTest, what_would_depend_on_itself_stays)
{
    const Term_* u = constant("u", sort);
    const Term_* v = constant("v", sort);
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({sort}, sort));
    const Term_* fu = tm.make_uninterpreted_function(f, TermArgs(&u, 1));
    const Term_* fv = tm.make_uninterpreted_function(f, TermArgs(&v, 1));
    EXPECT_EQ(run(eq(u, fu)), eq(u, fu));
    EXPECT_FALSE(tp->is_substituted(u));
    // two that need each other: one goes
    make(false);
    const Term_* rest = run(land(eq(u, fv), eq(v, fu)));
    EXPECT_FALSE(tm.is_true(rest));
    EXPECT_NE(tp->is_substituted(u), tp->is_substituted(v));
    // an integer that is its own successor
    make(false);
    EXPECT_EQ(run(eq(x, y)), tm.make_true());
    EXPECT_TRUE(tm.is_false(run(eq(y, plus(x, num(1))))));
    // x + g(x) = 3
    make(false);
    const Symbol* g = tm.make_symbol("g", tm.get_function_type({integer}, integer));
    const Term_* gx = tm.make_uninterpreted_function(g, TermArgs(&x, 1));
    const Term_* sum = eq(plus(x, gx), num(3));
    EXPECT_EQ(run(sum), sum);
    // p is not (p and q)
    make(false);
    const Term_* differ = tm.make_not(tm.make_iff(p, land(p, q)));
    EXPECT_EQ(run(differ), differ);
}

TEST_F(PropagatorTest, an_integer_never_stands_for_a_real)
{
    const Term_* r = constant("r", real);
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({integer}, real));
    const Term_* zero = num(0);
    const Term_* f0 = tm.make_uninterpreted_function(f, TermArgs(&zero, 1));
    const Term_* fact = eq(x, f0);
    EXPECT_EQ(run(fact), fact);
    EXPECT_TRUE(tm.is_true(run(eq(r, y)))) << "the other way round is fine";
    EXPECT_TRUE(tp->is_substituted(r));
    tp->set_protected(constant("s", real));
    const Term_* with_s = eq(z, constant("s", real));
    EXPECT_EQ(run(with_s), with_s);
    const Term_* half = tm.make_times(num(QNumber(1, 2)), constant("w", integer));
    run(eq(x, half));
    EXPECT_FALSE(tp->is_substituted(x));
}

TEST_F(PropagatorTest, the_first_definition_of_a_constant_counts)
{
    const Term_* rest = run(land(eq(x, plus(y, num(1))), eq(x, plus(z, num(2)))));
    EXPECT_TRUE(tm.is_true(rest)) << "y goes as well, in the next round: " << rest->to_str();
    size_t steps = 0;
    for (const RewriteStep& step : *stack) {
        EXPECT_NE(step.dst(), nullptr);
        ++steps;
    }
    EXPECT_EQ(steps, 2u);
}

TEST_F(PropagatorTest, a_constant_of_an_earlier_formula_keeps_its_definition)
{
    const Term_* early = tm.make_or(p, tm.make_leq(x, num(3)));
    EXPECT_EQ(run(early), early);
    const Term_* definition = eq(x, plus(y, num(1)));
    EXPECT_EQ(run(definition), definition);
    EXPECT_TRUE(tp->is_substituted(x));
    // and its definition follows what becomes of y
    EXPECT_EQ(run(eq(y, num(7))), eq(y, num(7)));
    EXPECT_EQ(tp->get_substitution(x), num(8));
}

TEST_F(PropagatorTest, pops_bring_constants_back)
{
    push();
    EXPECT_TRUE(tm.is_true(run(eq(x, num(5)))));
    push();
    EXPECT_TRUE(tm.is_true(run(eq(y, plus(z, num(1))))));
    pop();
    EXPECT_FALSE(tp->is_substituted(y));
    EXPECT_TRUE(tp->is_substituted(x));
    const Term_* f = tm.make_leq(y, num(0));
    EXPECT_EQ(run(f), f);
    pop();
    EXPECT_FALSE(tp->is_substituted(x));
    EXPECT_TRUE(tm.is_true(run(eq(y, num(0))))) << "y is in no formula that is left";
    EXPECT_TRUE(stack->begin()->src() == y);
}

TEST_F(PropagatorTest, protected_constants_stay)
{
    tp->set_protected(x);
    EXPECT_TRUE(tm.is_true(run(eq(x, y)))) << "y goes instead";
    EXPECT_FALSE(tp->is_substituted(x));
    tp->set_protected(p);
    EXPECT_EQ(run(p), p);
}

TEST_F(PropagatorTest, partial_functions_are_applied_but_kept_for_models)
{
    make(true);
    const Term_* r = constant("r", real);
    const Term_* s = constant("s", real);
    const Term_* t = constant("t", real);
    const Term_* quotient = tm.make_divide(s, t);
    const Term_* rest = run(land(eq(r, quotient), tm.make_leq(r, num(1))));
    EXPECT_EQ(rest, land(tm.make_leq(quotient, num(1)), eq(r, quotient)));
    EXPECT_FALSE(tp->is_substituted(r));
    EXPECT_TRUE(stack->empty());
}

TEST_F(PropagatorTest, bit_vector_patterns)
{
    const Term_* v = constant("v", tm.get_bv_type(4));
    const Term_* w = constant("w", tm.get_bv_type(4));
    const Term_* b = constant("b", tm.get_bv_type(1));
    const Term_* five = tm.make_bv_number(5, 8);
    EXPECT_TRUE(tm.is_true(run(eq(tm.make_bv_zero_extend(4, v), five))));
    EXPECT_EQ(tp->get_substitution(v), tm.make_bv_number(5, 4));
    EXPECT_TRUE(tm.is_true(run(tm.make_not(eq(b, tm.make_bv_number(1, 1))))));
    EXPECT_EQ(tp->get_substitution(b), tm.make_bv_number(0, 1));
    run(eq(tm.make_bv_extract(2, 1, w), tm.make_bv_number(2, 2)));
    ASSERT_TRUE(tp->is_substituted(w));
    const Term_* bits = tm.make_bv_extract(2, 1, tp->get_substitution(w));
    EXPECT_EQ(bits, tm.make_bv_number(2, 2));
    // a number that does not fit
    make(false);
    EXPECT_TRUE(tm.is_false(run(eq(tm.make_bv_zero_extend(4, v), tm.make_bv_number(99, 8)))));
    // bits that are defined by others of the same constant
    make(false);
    run(eq(tm.make_bv_extract(1, 0, w), tm.make_bv_extract(3, 2, w)));
    EXPECT_FALSE(tp->is_substituted(w));
}

TEST_F(PropagatorTest, the_number_of_rounds_can_be_limited)
{
    const Term_* f = land(p, land(tm.make_or(tm.make_not(p), q), tm.make_or(q, x == y ? p : q)));
    const Term_* chain = land(
        p, tm.make_or(tm.make_not(p), land(q, tm.make_or(tm.make_not(q), constant("r", boolean)))));
    EXPECT_TRUE(tm.is_true(run(f)));
    make(false);
    const Term_* once = (*tp)(chain, 1);
    EXPECT_FALSE(tm.is_true(once));
    EXPECT_FALSE(tp->is_substituted(q));
}

TEST_F(PropagatorTest, long_chains_of_definitions_and_facts_take_linear_time)
{
    // x0 = 0, x1 = x0 + x0, x2 = x1 + x1, ...: the values are numbers, not trees
    const size_t n = 2000;
    TermVector xs;
    TermVector equations;
    for (size_t i = 0; i < n; ++i) {
        xs.push_back(constant("x" + std::to_string(i), integer));
        equations.push_back(i == 0 ? eq(xs[0], y) : eq(xs[i], plus(xs[i - 1], xs[i - 1])));
    }
    const Term_* f = tm.make_true();
    for (size_t i = n; i-- > 0;) {
        f = land(f, equations[i]);
    }
    EXPECT_TRUE(tm.is_true(run(f)));
    EXPECT_TRUE(tp->is_substituted(xs[n - 1]) || tp->is_substituted(y));
    // p0, p0 -> p1, p1 -> p2, ...
    make(false);
    const Term_* facts = constant("p0", boolean);
    for (size_t i = 1; i < 50000; ++i) {
        const Term_* a = constant("p" + std::to_string(i - 1), boolean);
        const Term_* b = constant("p" + std::to_string(i), boolean);
        facts = land(facts, tm.make_or(tm.make_not(a), b));
    }
    const Term_* rest = run(facts);
    EXPECT_FALSE(tm.is_false(rest));
}

} // namespace
} // namespace tarq::test
