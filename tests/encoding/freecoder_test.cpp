// Which terms the free coder replaces, and what comes back when their constants turn up again.
#include "encoding/freecoder.h"

#include "terms/stdtermsimplifier.h"

#include <gtest/gtest.h>

#include <string>

namespace tarq::test {
namespace {

class FreeCoderTest : public ::testing::Test {
protected:
    FreeCoderTest() : simplifier(&tm), coder(&tm, &rewrites)
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
        word = tm.get_bv_type(4);
        for (const char* name : {"x", "y", "z", "w"}) {
            words.push_back(constant(name, word));
        }
        p = constant("p", tm.get_bool_type());
        x = words[0];
        y = words[1];
        z = words[2];
    }

    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    const Term_* num(long n) { return tm.make_bv_number(n, 4); }

    /// One session.
    const Term_* code(const Term_* f)
    {
        coder.open_session();
        f = coder(f);
        coder.close_session(&side);
        return f;
    }
    void push()
    {
        rewrites.push_backtrack_point();
        coder.push_backtrack_point();
    }
    void pop()
    {
        rewrites.pop_backtrack_point();
        coder.pop_backtrack_point();
    }
    size_t active_steps() const
    {
        size_t n = 0;
        for (const RewriteStep& step : rewrites) {
            n += step.is_active();
        }
        return n;
    }

    TermManager tm;
    StdTermSimplifier simplifier;
    RewriteStack rewrites;
    FreeCoder coder;
    const DataType* word;
    TermVector words;
    const Term_ *x, *y, *z, *p;
    const Term_* side = nullptr;
};

TEST_F(FreeCoderTest, what_one_occurrence_of_a_constant_decides_becomes_a_proxy)
{
    // x + y*z takes any value whatever y and z are; so then does the comparison
    const Term_* sum = tm.make_bv_add(x, tm.make_bv_mul(y, z));
    const Term_* result = code(tm.make_or(p, tm.make_and(tm.make_equal(sum, y), p)));
    ASSERT_TRUE(tm.is_or(result));
    EXPECT_EQ(active_steps(), 2u) << "the sum and the equality";
    EXPECT_TRUE(tm.is_true(side));
    for (const RewriteStep& step : rewrites) {
        EXPECT_TRUE(step.is_adhoc());
        EXPECT_TRUE(tm.is_constant(step.src()));
        EXPECT_TRUE(coder.is_proxy_for_unconstrained_term(step.src()));
    }
    EXPECT_EQ(coder.get_term((*rewrites.begin()).src()), sum);
    EXPECT_EQ(coder.get_eliminating_proxy(x), (*rewrites.begin()).src());
    EXPECT_EQ(coder.get_eliminating_proxy(y), nullptr);
}

TEST_F(FreeCoderTest, two_occurrences_are_not_free)
{
    const Term_* f = tm.make_bv_ult(tm.make_bv_add(x, y), tm.make_bv_add(x, tm.make_bv_mul(y, y)));
    EXPECT_EQ(code(f), f);
    const Term_* square = tm.make_equal(tm.make_bv_mul(z, z), num(3));
    EXPECT_EQ(code(square), square);
}

TEST_F(FreeCoderTest, decided_comparisons_and_even_factors_stay)
{
    // none of these can be both true and false
    for (const Term_* f :
         {tm.make_bv_ult(x, num(0)), tm.make_bv_ult(num(15), x), tm.make_bv_ule(num(0), x),
          tm.make_bv_ule(x, num(15)), tm.make_bv_slt(x, num(8)), tm.make_bv_sle(x, num(7))}) {
        push();
        EXPECT_EQ(code(tm.make_or(f, p)), tm.make_or(f, p)) << f->to_str();
        pop();
    }
    const Term_* even = tm.make_bv_mul(num(6), x);
    const Term_* f = tm.make_bv_ult(even, tm.make_bv_mul(y, y));
    EXPECT_EQ(code(f), f);
}

TEST_F(FreeCoderTest, an_array_write_needs_the_array_and_the_element)
{
    const Term_* a = constant("a", tm.get_array_type(word, word));
    const Term_* b = constant("b", tm.get_array_type(word, word));
    const Term_* index_only = tm.make_equal(tm.make_array_write(a, x, num(1)), b);
    EXPECT_EQ(code(index_only), index_only);
    const Term_* c = constant("c", tm.get_array_type(word, word));
    const Term_* written = tm.make_array_write(c, x, y);
    const Term_* result = code(tm.make_equal(written, b));
    ASSERT_TRUE(tm.is_equal(result));
    EXPECT_EQ(active_steps(), 1u);
    EXPECT_EQ((*rewrites.begin()).dst(), written);
}

TEST_F(FreeCoderTest, a_constant_that_returns_brings_its_definition)
{
    const Term_* sum = tm.make_bv_add(x, tm.make_bv_mul(y, y));
    const Term_* f = tm.make_bv_ult(sum, tm.make_bv_mul(y, tm.make_bv_mul(z, z)));
    push();
    EXPECT_NE(code(f), f);
    const Term_* proxy = coder.get_eliminating_proxy(x);
    ASSERT_TRUE(proxy);
    // the same term again needs no x
    const Term_* again = code(tm.make_equal(sum, y));
    EXPECT_EQ(again, tm.make_equal(proxy, y));
    EXPECT_TRUE(tm.is_true(side));
    push();
    const Term_* other = tm.make_bv_ult(x, y);
    EXPECT_EQ(code(other), other);
    EXPECT_EQ(side, tm.make_equal(proxy, sum));
    EXPECT_EQ(active_steps(), 0u);
    EXPECT_FALSE(coder.is_proxy_for_unconstrained_term(proxy));
    pop();
    EXPECT_TRUE(coder.is_proxy_for_unconstrained_term(proxy));
    EXPECT_EQ(coder.get_eliminating_proxy(x), proxy);
    pop();
    EXPECT_FALSE(coder.is_proxy_for_unconstrained_term(proxy));
    EXPECT_FALSE(coder.has_seen(x));
}

TEST_F(FreeCoderTest, definitions_return_outwards)
{
    // x is inside a proxy that is inside a proxy
    const Term_* inner = tm.make_bv_add(x, tm.make_bv_mul(y, y));
    const Term_* outer = tm.make_bv_xor(inner, tm.make_bv_mul(z, z));
    code(tm.make_bv_ult(outer, tm.make_bv_mul(y, z)));
    const Term_* p1 = coder.get_eliminating_proxy(x);
    ASSERT_TRUE(p1);
    const Term_* p2 = coder.get_eliminating_proxy(p1);
    ASSERT_TRUE(p2);
    const Term_* definitions = coder.restore(tm.make_bv_not(x));
    ASSERT_TRUE(tm.is_and(definitions));
    EXPECT_FALSE(coder.get_eliminating_proxy(x));
    EXPECT_FALSE(coder.get_eliminating_proxy(p1));
    EXPECT_TRUE(tm.is_true(coder.restore(x))) << "once is enough";
    const Term_* formula = tm.make_true();
    coder.restore_unconstraint_formula_for_proxy(p2, &formula);
    EXPECT_TRUE(tm.is_true(formula));
}

} // namespace
} // namespace tarq::test
