// Equalities of reals as pairs of inequalities.
#include "encoding/realequalities.h"

#include <gtest/gtest.h>

using namespace tarq;

namespace {

class RealEqualities : public ::testing::Test {
protected:
    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    const Term_* both(const Term_* a, const Term_* b)
    {
        return tm.make_and(tm.make_leq(a, b), tm.make_leq(b, a));
    }

    TermManager tm;
    const Term_* x = constant("x", tm.get_real_type());
    const Term_* y = constant("y", tm.get_real_type());
    const Term_* p = constant("p", tm.get_bool_type());
    const Term_* one = tm.make_number(QNumber(1));
};

} // namespace

TEST_F(RealEqualities, only_equalities_of_reals_become_inequalities)
{
    const Term_* i = constant("i", tm.get_int_type());
    const DataType* sort = tm.get_simple_type("U");
    EXPECT_EQ(as_inequalities(&tm, tm.make_equal(x, y)), both(x, y));
    EXPECT_EQ(as_inequalities(&tm, tm.make_equal(x, one)), both(x, one)); // 1 is of type Int
    EXPECT_EQ(as_inequalities(&tm, tm.make_equal(i, one)), nullptr);
    EXPECT_EQ(as_inequalities(&tm, tm.make_equal(constant("u", sort), constant("v", sort))),
              nullptr);
    EXPECT_EQ(as_inequalities(&tm, tm.make_leq(x, y)), nullptr);
}

TEST_F(RealEqualities, connectives_stay_and_shared_nodes_are_done_once)
{
    const Term_* e = tm.make_equal(x, y);
    const Term_* plain = tm.make_or(p, tm.make_leq(x, y));
    EXPECT_EQ(split_real_equalities(&tm, plain), plain);
    const Term_* f = tm.make_iff(tm.make_not(tm.make_or(p, e)), plain);
    EXPECT_EQ(split_real_equalities(&tm, f),
              tm.make_iff(tm.make_not(tm.make_or(p, both(x, y))), plain));
    const Term_* tower = e; // 2^60 paths
    const Term_* expected = both(x, y);
    for (int n = 0; n < 60; ++n) {
        tower = tm.make_iff(tower, tower);
        expected = tm.make_iff(expected, expected);
    }
    EXPECT_EQ(split_real_equalities(&tm, tower), expected);
    const Term_* chain = e;
    for (int n = 0; n < 100000; ++n) {
        chain = tm.make_or(p, tm.make_not(chain));
    }
    EXPECT_NE(split_real_equalities(&tm, chain), chain);
}
