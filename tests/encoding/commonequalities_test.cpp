// Equalities that hold in every case of a disjunction.
#include "encoding/commonequalities.h"
#include "terms/stdtermsimplifier.h"

#include <gtest/gtest.h>

using namespace tarq;

namespace {

class CommonEqualitiesTest : public ::testing::Test {
protected:
    CommonEqualitiesTest() : simplifier_(&tm_)
    {
        tm_.set_simplifier(&simplifier_);
        tm_.set_simplify(true);
    }
    const Term_* u(const std::string& name) { return constant(name, tm_.get_simple_type("U")); }
    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm_.make_constant(tm_.make_symbol(name, type));
    }
    const Term_* eq(const Term_* a, const Term_* b) { return tm_.make_equal(a, b); }
    const Term_* both(const Term_* a, const Term_* b) { return tm_.make_and(a, b); }
    const Term_* either(const Term_* a, const Term_* b) { return tm_.make_or(a, b); }

    TermManager tm_;
    StdTermSimplifier simplifier_;
};

TEST_F(CommonEqualitiesTest, both_sides_of_a_diamond_join_its_ends)
{
    const Term_* x = u("x");
    const Term_* y = u("y");
    const Term_* z = u("z");
    const Term_* w = u("w");
    const Term_* diamond = either(both(eq(x, y), eq(y, w)), both(eq(x, z), eq(z, w)));
    EXPECT_EQ(both(diamond, eq(x, w)), add_common_equalities(&tm_, diamond));
    // in one conjunct of many, with a third case that joins more
    const Term_* more = either(diamond, both(both(eq(x, y), eq(y, z)), eq(z, w)));
    const Term_* f = both(eq(x, u("v")), more);
    EXPECT_EQ(both(f, eq(x, w)), add_common_equalities(&tm_, f));
}

TEST_F(CommonEqualitiesTest, nothing_is_added_that_fails_in_some_case)
{
    const Term_* x = u("x");
    const Term_* y = u("y");
    const Term_* z = u("z");
    const Term_* q = constant("q", tm_.get_bool_type());
    for (const Term_* f : {either(eq(x, y), eq(y, z)), either(both(eq(x, y), eq(y, z)), q),
                           either(both(eq(x, y), q), tm_.make_not(eq(x, y))),
                           tm_.make_not(either(both(eq(x, y), eq(y, z)), eq(x, z)))}) {
        EXPECT_EQ(f, add_common_equalities(&tm_, f));
    }
    // arithmetic is left to its own solver
    const Term_* i = constant("i", tm_.get_int_type());
    const Term_* j = constant("j", tm_.get_int_type());
    const Term_* k = constant("k", tm_.get_int_type());
    const Term_* f = either(both(eq(i, j), eq(j, k)), both(eq(i, k), q));
    EXPECT_EQ(f, add_common_equalities(&tm_, f));
}

} // namespace
