// The preprocessing rules and the engine that runs them: what becomes of arrays, products and
// conjunctions, and what must be left alone.
#include "encoding/normrules.h"

#include "base/configuration.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"
#include "terms/termnormalizer.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace tarq {
namespace {

class NormRules : public ::testing::Test {
protected:
    NormRules()
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
    }

    /// What a new normalizer with these bits of `preprocessor.simplification` makes of the term.
    const Term_* run(int bits, const Term_* t, int div_by_zero_mode = 0)
    {
        TermNormalizer n(&tm);
        Configuration config;
        config.preprocessor.simplification = bits;
        config.theory.bv.div_by_zero_mode = div_by_zero_mode;
        register_preprocessing_normalizations(config, &n);
        return n(t);
    }

    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    const Term_* boolean(const std::string& name) { return constant(name, tm.get_bool_type()); }
    const Term_* integer(const std::string& name) { return constant(name, tm.get_int_type()); }
    const Term_* word(const std::string& name) { return constant(name, tm.get_bv_type(8)); }
    const Term_* number(long n) { return tm.make_number(QNumber(n)); }
    const Term_* bv(long value) { return tm.make_bv_number(QNumber(value), 8); }
    /// The product from left to right.
    const Term_* product(const std::vector<const Term_*>& factors)
    {
        const Term_* t = factors[0];
        for (size_t i = 1; i < factors.size(); ++i) {
            t = tm.make_times(t, factors[i]);
        }
        return t;
    }

    static std::string text(const Term_* t)
    {
        std::string s = t->to_str();
        std::erase(s, '`');
        return s;
    }

    TermManager tm;
    StdTermSimplifier simplifier{&tm};
};

TEST_F(NormRules, each_bit_switches_its_rules)
{
    const Term_* x = word("x");
    const Term_* p = boolean("p");
    const Term_* t = tm.make_bv_neg(tm.make_term_ite(p, x, bv(1)));
    EXPECT_EQ(run(0 + 1 + 4 + 8 + 16, t), t);
    EXPECT_EQ(text(run(2, t)), "(ite_<BitVec, 8> p (bvneg_8 x) 255_8)");
}

TEST_F(NormRules, division_by_zero_has_a_value_in_one_mode_only)
{
    const Term_* x = word("x");
    const Term_* zero = bv(0);
    EXPECT_EQ(run(2, tm.make_bv_udiv(x, zero)), bv(255));
    EXPECT_EQ(run(2, tm.make_bv_urem(x, zero)), x);
    EXPECT_EQ(run(2, tm.make_bv_urem(x, x)), zero);
    for (const Term_* t :
         {tm.make_bv_udiv(x, zero), tm.make_bv_urem(x, zero), tm.make_bv_urem(x, x),
          tm.make_bv_sdiv(x, x), tm.make_bv_srem(x, x), tm.make_bv_srem(zero, x)}) {
        EXPECT_EQ(run(2, t, 1), t) << text(t);
    }
}

// Arrays.

class ArrayRules : public NormRules {
protected:
    const DataType* type = tm.get_array_type(tm.get_bv_type(8), tm.get_bv_type(8));
    const Term_* a = constant("a", type);
    const Term_* b = constant("b", type);

    const Term_* write(const Term_* array, const Term_* i, const Term_* v)
    {
        return tm.make_array_write(array, i, v);
    }
    const Term_* read(const Term_* array, const Term_* i) { return tm.make_array_read(array, i); }
};

TEST_F(ArrayRules, a_covered_write_goes_and_others_stay)
{
    const Term_* x = word("x");
    const Term_* w = write(write(write(a, bv(1), x), bv(2), x), bv(1), bv(9));
    const Term_* chain = write(write(a, bv(2), x), bv(1), bv(9));
    EXPECT_EQ(run(4, tm.make_equal(w, b)), tm.make_equal(chain, b));
    const Term_* more = write(write(write(a, bv(3), x), bv(2), x), bv(1), bv(9));
    EXPECT_EQ(run(4, tm.make_equal(write(more, bv(3), bv(4)), b)),
              tm.make_equal(write(chain, bv(3), bv(4)), b));
    EXPECT_EQ(run(4, tm.make_equal(more, b)), tm.make_equal(more, b));
    // an index that may or may not be covered is none
    const Term_* i = word("i");
    const Term_* open = write(write(a, i, x), bv(1), bv(9));
    EXPECT_EQ(run(4, tm.make_equal(open, b)), tm.make_equal(open, b));
    // the same for arguments and branches
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({type}, tm.get_bool_type()));
    const auto apply = [&](const Term_* t) {
        return tm.make_uninterpreted_function(f, std::vector{t});
    };
    EXPECT_EQ(run(4, apply(w)), apply(chain));
    const Term_* p = boolean("p");
    EXPECT_EQ(run(4, apply(tm.make_term_ite(p, w, b))), apply(tm.make_term_ite(p, chain, b)));
}

TEST_F(ArrayRules, writes_at_one_place_compare_by_their_elements)
{
    const Term_* x = word("x");
    const Term_* y = word("y");
    const Term_* i = word("i");
    EXPECT_EQ(run(4, tm.make_equal(write(a, i, x), write(a, i, y))), tm.make_equal(x, y));
    // branches are arrays and stay arrays
    const Term_* ite = tm.make_term_ite(boolean("p"), write(a, i, x), write(a, i, y));
    EXPECT_EQ(run(4, tm.make_equal(ite, b)), tm.make_equal(ite, b));
}

TEST_F(ArrayRules, reads_pass_writes_whose_index_is_known)
{
    const Term_* x = word("x");
    const Term_* i = word("i");
    const Term_* w = write(write(a, bv(1), x), bv(2), bv(7));
    EXPECT_EQ(run(4, read(w, bv(1))), x);
    EXPECT_EQ(run(4, read(w, bv(3))), read(a, bv(3)));
    // any index: a chain of conditions
    EXPECT_EQ(run(4, read(write(a, bv(1), x), i)),
              tm.make_term_ite(tm.make_equal(i, bv(1)), x, read(a, i)));
    // below a symbolic index nothing is known
    const Term_* open = read(write(a, i, x), bv(3));
    EXPECT_EQ(run(4, open), open);
    const Term_* through = tm.make_term_ite(boolean("p"), w, a);
    EXPECT_EQ(run(4, read(through, bv(2))), tm.make_term_ite(boolean("p"), bv(7), read(a, bv(2))));
}

TEST_F(ArrayRules, bit_vector_and_product_rules_leave_arrays_alone)
{
    const Term_* t = tm.make_equal(a, b);
    EXPECT_EQ(TermNormalizer::group_of(&tm, t), TermNormalizer::norm_group::ARRAY);
    EXPECT_EQ(run(2 + 16, t), t);
}

// Products.

TEST_F(NormRules, products_of_the_same_factors_are_one_term)
{
    const Term_* x = integer("x");
    const Term_* y = integer("y");
    const Term_* z = integer("z");
    const auto atom = [&](const Term_* t) { return tm.make_leq(t, number(7)); };
    const Term_* square = tm.make_times(x, x);
    EXPECT_EQ(run(16, atom(product({x, x, y}))), atom(tm.make_times(y, square)));
    EXPECT_EQ(run(16, atom(product({x, y, x}))), atom(tm.make_times(y, square)));
    EXPECT_EQ(run(16, atom(product({x, y, z}))), run(16, atom(product({z, y, x}))));
    EXPECT_EQ(run(16, atom(product({x, x, x}))), atom(tm.make_times(x, square)));
    EXPECT_EQ(run(16, atom(product({number(2), x, number(3), y}))),
              run(16, tm.make_leq(tm.make_times(x, y), number(1))));
    // under functions too
    const Symbol* f =
        tm.make_symbol("f", tm.get_function_type({tm.get_int_type()}, tm.get_int_type()));
    const auto apply = [&](const Term_* t) {
        return tm.make_uninterpreted_function(f, std::vector{t});
    };
    EXPECT_EQ(run(16, atom(apply(product({z, x, y})))), run(16, atom(apply(product({y, z, x})))));
}

TEST_F(NormRules, products_of_sums_are_distributed_up_to_a_bound)
{
    const Term_* x = integer("x");
    const Term_* y = integer("y");
    const Term_* sum = tm.make_plus(x, y);
    const auto atom = [&](const Term_* t) { return tm.make_leq(t, number(7)); };
    const Term_* squares = tm.make_plus(tm.make_times(x, x), tm.make_times(y, y));
    const Term_* expected =
        atom(tm.make_plus(squares, tm.make_times(number(2), tm.make_times(x, y))));
    EXPECT_EQ(run(16, atom(tm.make_times(sum, sum))), run(16, expected));
    // (x + y)^64 would have 2^64 summands
    const Term_* power = sum;
    for (int i = 0; i < 6; ++i) {
        power = tm.make_times(power, power);
    }
    run(16, atom(power));
    EXPECT_LT(tm.get_bank().size(), 100000u);
}

// Conjunctions.

TEST_F(NormRules, contradicting_conjuncts_make_false)
{
    const Term_* p = boolean("p");
    const Term_* q = boolean("q");
    const Term_* r = boolean("r");
    EXPECT_EQ(run(8, tm.make_and(tm.make_and(p, q), tm.make_and(r, tm.make_not(p)))),
              tm.make_false());
    // the negation of a conjunction is one conjunct: what is below it need not be false
    const Term_* t = tm.make_and(tm.make_and(p, r), tm.make_not(tm.make_and(p, q)));
    EXPECT_EQ(run(8, t), t);
    const Term_* both =
        tm.make_and(tm.make_and(r, tm.make_and(p, q)), tm.make_not(tm.make_and(p, q)));
    EXPECT_EQ(run(8, both), tm.make_false());
    EXPECT_EQ(run(4, tm.make_and(tm.make_and(p, q), tm.make_not(p))),
              tm.make_and(tm.make_and(p, q), tm.make_not(p)));
}

TEST_F(NormRules, two_bounds_that_meet_make_an_equality)
{
    const Term_* x = integer("x");
    const Term_* y = integer("y");
    const Term_* p = boolean("p");
    const Term_* below = tm.make_leq(x, y);
    const Term_* above = tm.make_leq(y, x);
    EXPECT_EQ(run(8, tm.make_and(tm.make_and(below, above), p)),
              tm.make_and(tm.make_equal(x, y), p));
    EXPECT_EQ(run(8, tm.make_and(below, p)), tm.make_and(below, p));
    // a bound that is used up is not used again
    const Term_* third = tm.make_leq(x, number(3));
    const Term_* t = run(8, tm.make_and(tm.make_and(below, third), tm.make_and(p, above)));
    EXPECT_NE(text(t).find("(=_int x y)"), std::string::npos) << text(t);
    EXPECT_NE(text(t).find("(<=_int x 3)"), std::string::npos) << text(t);
    EXPECT_EQ(text(t).find("(<=_int x y)"), std::string::npos) << text(t);
    EXPECT_TRUE(tm.get_simplify());
    EXPECT_TRUE(tm.get_typecheck());
}

TEST_F(NormRules, global_rules_see_what_the_walk_made)
{
    // p and -(ite p' ...) ...: the second conjunct becomes the negation of the first by a rule only
    const Term_* x = word("x");
    const Term_* c =
        tm.make_equal(tm.make_bv_concat(x, word("y")), tm.make_bv_number(QNumber(5), 16));
    const Term_* p = boolean("p");
    const Term_* not_x_zero = tm.make_not(tm.make_equal(x, bv(0)));
    EXPECT_EQ(run(2 + 8, tm.make_and(tm.make_and(p, not_x_zero), c)), tm.make_false());
}

// The engine.

/// Turns constants into others by name.
class Renaming : public TermNormalizer::norm_fun {
public:
    explicit Renaming(std::function<const Term_*(const Term_*)> f) : f_(std::move(f)) {}
    SymbolTag::tag get_applicant() const override { return SymbolTag::NOT; }
    std::string get_signature() const override { return "renaming"; }
    bool operator()(TermManager*, const Term_* t, const Term_** out) const override
    {
        *out = f_(t);
        return *out != nullptr;
    }

private:
    std::function<const Term_*(const Term_*)> f_;
};

TEST_F(NormRules, the_first_rule_that_changes_the_term_wins)
{
    const Term_* p = boolean("p");
    const Term_* q = boolean("q");
    const Term_* r = boolean("r");
    TermNormalizer n(&tm);
    n.register_rule(std::make_unique<Renaming>([](const Term_* t) { return t; }));
    n.register_rule(std::make_unique<Renaming>(
        [&](const Term_* t) { return t->child(0) == p ? tm.make_not(q) : nullptr; }));
    n.register_rule(std::make_unique<Renaming>(
        [&](const Term_* t) { return t->child(0) == r ? nullptr : tm.make_not(r); }));
    std::ostringstream out;
    Logger logger(&out);
    logger.set_level(3);
    n.set_logger(&logger);
    EXPECT_EQ(n(tm.make_and(tm.make_not(p), q)), tm.make_and(tm.make_not(r), q)) << "to the end";
    EXPECT_EQ(n(tm.make_not(r)), tm.make_not(r));
    EXPECT_NE(out.str().find("TermNormalizer - normalizing with renaming"), std::string::npos);
}

TEST_F(NormRules, an_exception_ends_the_session_and_leaves_the_normalizer_usable)
{
    struct Session : TermNormalizer::session_fun {
        explicit Session(int* o) : open(o) {}
        void begin() override { ++*open; }
        void end() override { --*open; }
        int* open;
    };
    const Term_* p = boolean("p");
    const Term_* q = boolean("q");
    bool failing = true;
    int open = 0;
    TermNormalizer n(&tm);
    n.register_session_handler(std::make_unique<Session>(&open));
    n.register_rule(std::make_unique<Renaming>([&](const Term_*) -> const Term_* {
        EXPECT_EQ(open, 1);
        if (failing) {
            throw TermManager::error("no");
        }
        return q;
    }));
    EXPECT_THROW(n(tm.make_not(p)), TermManager::error);
    EXPECT_EQ(open, 0);
    failing = false;
    EXPECT_EQ(n(tm.make_not(p)), q);
}

TEST_F(NormRules, deep_terms_do_not_exhaust_the_stack)
{
    const Term_* x = word("x");
    const Term_* t = x;
    for (int i = 0; i < 20000; ++i) {
        t = tm.make_bv_xor(tm.make_term_ite(boolean("p" + std::to_string(i % 50)), t, bv(i % 256)),
                           word("y" + std::to_string(i % 50)));
    }
    // the extraction goes down to the bottom, by the rule for ITE here and by others at
    // construction
    const Term_* r =
        run(31, tm.make_equal(tm.make_bv_extract(3, 1, t), tm.make_bv_extract(6, 4, x)));
    EXPECT_EQ(tm.get_tag(r), SymbolTag::EQ);
}

} // namespace
} // namespace tarq
