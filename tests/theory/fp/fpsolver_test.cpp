// The lazy and the eager solver below a SAT engine: answers, models, equalities of another solver,
// backtrack points, and the link to bit-vectors.
#include "terms/ieeefloat.h"
#include "terms/stdtermsimplifier.h"
#include "theory/bv/solverharness.h"
#include "theory/fp/fpbvdpllcombination.h"
#include "theory/fp/fpsolverinterface.h"

#include <gtest/gtest.h>

#include <tuple>

namespace tarq::fp {
namespace {

using Harness = bv::SolverHarness<FPSolverInterface>;

/// mode of the solver, bit-blasting mode
class FpSolverTest : public testing::TestWithParam<std::tuple<int, int>> {
protected:
    FpSolverTest()
    {
        config_.model_generation = true;
        config_.theory.fp.mode = std::get<0>(GetParam());
        config_.theory.fp.bit_blast_mode = std::get<1>(GetParam());
        tm_.set_simplifier(&folding_);
    }

    const Term_* make(const char* name, const DataType* type)
    {
        return tm_.make_constant(tm_.make_symbol(name, type));
    }
    const Term_* make_float(const char* name) { return make(name, tm_.get_fp_type(5, 10)); }
    const Term_* value(const char* text)
    {
        return tm_.make_fp_rat_number(QNumber::from_str(text), 5, 10, tm_.make_fprounding_even());
    }

    Configuration config_;
    TermManager tm_;
    StdTermSimplifier folding_{&tm_};
};

TEST_P(FpSolverTest, a_model_satisfies_the_atoms)
{
    const Term_* x = make_float("x");
    const Term_* y = make_float("y");
    const Term_* rm = make("rm", tm_.get_rounding_type());
    Harness h(&tm_, config_, config_.theory.fp);
    // 1/3 differs by mode, and only upwards it is more than that
    const Term_* third = tm_.make_fp_div(rm, x, y);
    h.add_clause({h.literal(tm_.make_equal(x, value("1")), false)});
    h.add_clause({h.literal(tm_.make_equal(y, value("3")), false)});
    h.add_clause({h.literal(tm_.make_fp_lt(value("1365/4096"), third), false)});
    ASSERT_TRUE(h.engine().solve());
    EXPECT_EQ(h.value(x), value("1"));
    EXPECT_EQ(h.value(rm), tm_.make_fprounding_plus_inf());
    tm_.set_simplify(true);
    EXPECT_EQ(h.value(third), tm_.make_fp_div(h.value(rm), h.value(x), h.value(y)));
    EXPECT_EQ(h.value(make_float("z")), nullptr) << "in no atom";
    tm_.set_simplify(false);
    h.add_clause({h.literal(tm_.make_equal(rm, tm_.make_fprounding_even()), false)});
    EXPECT_FALSE(h.engine().solve());
}

TEST_P(FpSolverTest, constants_have_one_nan_after_every_pop)
{
    const Term_* x = make_float("x");
    Harness h(&tm_, config_, config_.theory.fp);
    const Term_* nan = tm_.make_fp_nan(5, 10);
    h.literal(tm_.make_fp_isinf(x), false); // told below, by the lazy solver encoded above
    for (int round = 0; round < 3; ++round) {
        h.engine().push_backtrack_point();
        h.add_clause({h.literal(tm_.make_fp_isnan(x), false)});
        ASSERT_TRUE(h.engine().solve());
        EXPECT_EQ(h.value(x), nan);
        h.engine().push_backtrack_point();
        h.add_clause({h.literal(tm_.make_equal(x, nan), true)});
        EXPECT_FALSE(h.engine().solve()) << "round " << round;
        h.engine().pop_backtrack_point();
        h.engine().pop_backtrack_point();
    }
    h.add_clause({h.literal(tm_.make_fp_isinf(x), false)});
    h.add_clause({h.literal(tm_.make_fp_isnan(x), true)});
    ASSERT_TRUE(h.engine().solve());
    EXPECT_EQ(h.value(tm_.make_fp_isinf(x)), nullptr) << "no term of this theory's sorts";
}

TEST_P(FpSolverTest, atoms_of_one_encoding_do_not_get_mixed_up)
{
    const Term_* x = make_float("x");
    const Term_* y = make_float("y");
    Harness h(&tm_, config_, config_.theory.fp);
    // one word of their own each, and one pair with the same or opposite encodings
    const Term_* up = tm_.make_fp_equal(x, y);
    const Term_* down = tm_.make_fp_equal(y, x);
    const Term_* negative = tm_.make_fp_isneg(x);
    const Term_* positive = tm_.make_fp_ispos(x);
    h.add_clause({h.literal(up, false), h.literal(down, false)});
    h.add_clause({h.literal(up, true), h.literal(down, true)});
    EXPECT_FALSE(h.engine().solve()) << "both or neither";
    Harness g(&tm_, config_, config_.theory.fp);
    g.add_clause({g.literal(negative, true)});
    g.add_clause({g.literal(positive, true)});
    ASSERT_TRUE(g.engine().solve());
    EXPECT_EQ(g.value(x), tm_.make_fp_nan(5, 10));
}

TEST_P(FpSolverTest, equalities_of_others_count)
{
    const Term_* p = make("p", tm_.get_bool_type());
    const Term_* q = make("q", tm_.get_bool_type());
    const Term_* x = make_float("x");
    const Term_* y = make_float("y");
    const Term_* z = make_float("z");
    const Term_* a = make("a", tm_.get_rounding_type());
    const Term_* b = make("b", tm_.get_rounding_type());
    Harness h(&tm_, config_, config_.theory.fp);
    h.announce(p, x, y);
    h.announce(q, a, b);
    const Term_* up = tm_.make_equal(tm_.make_fp_add(a, z, value("1/3")), x);
    const Term_* down = tm_.make_equal(tm_.make_fp_add(b, z, value("1/3")), y);
    const Term_* different = tm_.make_fp_lt(x, y);
    h.add_clause({h.literal(up, false)});
    h.add_clause({h.literal(down, false)});
    h.add_clause({h.literal(different, false)});
    h.literal(p, false);
    ASSERT_TRUE(h.engine().solve());
    EXPECT_NE(h.value(a), h.value(b));
    EXPECT_EQ(h.solver().equal_in_model(x, y), l_False);
    EXPECT_FALSE(h.engine().solve({h.literal(p, false)})) << "a number is not below itself";
    EXPECT_FALSE(h.engine().solve({h.literal(q, false)})) << "one mode gives one sum";
    EXPECT_TRUE(h.engine().solve());
}

INSTANTIATE_TEST_SUITE_P(Modes, FpSolverTest,
                         testing::Combine(testing::Values(0, 1), testing::Values(0, 1, 2)));

/// The message of what is thrown.
template <class F>
std::string error_of(F f)
{
    try {
        f();
    } catch (const Exception& e) {
        return e.what();
    }
    return "";
}

TEST(FpSolverErrorTest, what_is_not_supported_says_so)
{
    TermManager tm;
    Configuration config;
    const Term_* x = tm.make_constant(tm.make_symbol("x", tm.get_fp_type(5, 10)));
    const Term_* b = tm.make_constant(tm.make_symbol("b", tm.get_bv_type(16)));
    const Term_* crossing = tm.make_fp_isnan(tm.make_fp_from_ieeebv(5, 10, b));
    const char* off = "FP<->BV combination unsupported by the current configuration";
    {
        Harness h(&tm, config, config.theory.fp);
        EXPECT_EQ(error_of([&] { h.literal(crossing, false); }), off);
    }
    FpBvDpllCombination link(&tm, false);
    EXPECT_EQ(error_of([&] { link.tell_term(b); }), off);
    config.theory.fp.mode = 0;
    Harness lazy(&tm, config, config.theory.fp);
    EXPECT_EQ(error_of([&] { lazy.solver().set_fp_bv_combination(&link); }),
              "Lazy FPBV solver doesn't support FP<->BV combination");
    std::vector<bv::BvLit> bits;
    EXPECT_EQ(error_of([&] { lazy.solver().fp_bv_comb_get_bits(x, &bits); }), "unsupported");
    config.theory.bv.eager = false;
    DpllSolver engine(config.dpll, &tm);
    BVSolverInterface words(&tm, config.theory.bv, &engine);
    EXPECT_EQ(error_of([&] { words.fp_bv_comb_notify_tell(b); }), "unsupported");
    config.theory.fp.mode = 1;
    config.proof_generation = true;
    Harness proofs(&tm, config, config.theory.fp);
    EXPECT_EQ(error_of([&] { proofs.literal(tm.make_fp_isnan(x), false); }),
              "eager fp solver does not support proof generation");
    config.theory.fp.mode = 2;
    EXPECT_EQ(error_of([&] { FPSolverInterface(&tm, config.theory.fp, &engine); }),
              "unknown mode of the FP solver");
}

} // namespace
} // namespace tarq::fp
