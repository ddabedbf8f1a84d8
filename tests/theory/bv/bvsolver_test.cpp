// The eager and the lazy solver below a SAT engine: answers against enumeration, equalities of
// another solver, backtrack points, models.
#include "bvtestsupport.h"
#include "solverharness.h"
#include "terms/stdtermsimplifier.h"
#include "theory/bv/wordclausifierinterface.h"

#include <gtest/gtest.h>

#include <random>
#include <tuple>

namespace tarq::bv {
namespace {

/// eager, bit-blasting mode, delayed equalities
using Mode = std::tuple<bool, int, bool>;

class BvSolverTest : public testing::TestWithParam<Mode> {
protected:
    BvSolverTest()
    {
        config_.model_generation = true;
        config_.theory.bv.eager = std::get<0>(GetParam());
        config_.theory.bv.bit_blast_mode = std::get<1>(GetParam());
        config_.theory.bv.delay_propagated_eqs = std::get<2>(GetParam());
        tm_.set_simplifier(&folding_);
    }

    const Term_* word(const std::string& name, unsigned width)
    {
        return tm_.make_constant(tm_.make_symbol(name, tm_.get_bv_type(width)));
    }
    const Term_* boolean(const std::string& name)
    {
        return tm_.make_constant(tm_.make_symbol(name, tm_.get_bool_type()));
    }
    const Term_* number(unsigned long value, unsigned width)
    {
        return tm_.make_bv_number(QNumber(value), width);
    }
    /// The value of `t` where words[i] has values[i], folded by the construction of terms.
    const Term_* fold(const Term_* t, const TermVector& words, const TermVector& values)
    {
        const auto found = std::find(words.begin(), words.end(), t);
        if (found != words.end()) {
            return values[static_cast<size_t>(found - words.begin())];
        }
        TermVector args;
        for (const Term_* c : t->children()) {
            args.push_back(fold(c, words, values));
        }
        tm_.set_simplify(true);
        const Term_* v = tm_.make_term(t->get_symbol(), args);
        tm_.set_simplify(false);
        return v;
    }

    Configuration config_;
    TermManager tm_;
    StdTermSimplifier folding_{&tm_};
};

TEST_P(BvSolverTest, sat_and_unsat_with_a_model)
{
    const Term_* x = word("x", 8);
    const Term_* y = word("y", 8);
    SolverHarness<> h(&tm_, config_);
    const Term_* product = tm_.make_equal(tm_.make_bv_mul(x, y), number(143, 8));
    h.add_clause({h.literal(product, false)});
    h.add_clause({h.literal(tm_.make_bv_ult(number(1, 8), x), false)});
    h.add_clause({h.literal(tm_.make_bv_ult(x, number(12, 8)), false)});
    ASSERT_TRUE(h.engine().solve());
    EXPECT_TRUE(tm_.is_true(fold(product, {x, y}, {h.value(x), h.value(y)})));
    EXPECT_EQ(h.value(tm_.make_bv_add(x, y)),
              fold(tm_.make_bv_add(x, y), {x, y}, {h.value(x), h.value(y)}))
        << "a term that was never blasted is computed from its arguments";
    h.add_clause({h.literal(tm_.make_equal(tm_.make_bv_extract(0, 0, x), number(0, 1)), false)});
    EXPECT_FALSE(h.engine().solve()) << "an odd product has odd factors";
}

TEST_P(BvSolverTest, constant_and_repeated_atoms)
{
    const Term_* x = word("x", 4);
    const Term_* folded = tm_.make_bv_ult(x, number(0, 4)); // never
    const Term_* always = tm_.make_bv_ule(number(0, 4), x);
    SolverHarness<> h(&tm_, config_);
    const dpll::Lit never = h.literal(folded, false);
    const dpll::Lit sure = h.literal(always, false);
    EXPECT_TRUE(h.engine().solve({~never, sure}));
    EXPECT_FALSE(h.engine().solve({never}));
    EXPECT_FALSE(h.engine().solve({~sure}));
    // two atoms with one circuit
    const Term_* y = word("y", 4);
    const dpll::Lit xy = h.literal(tm_.make_equal(x, y), false);
    const dpll::Lit yx = h.literal(
        tm_.make_equal(tm_.make_bv_not(tm_.make_bv_not(y)), tm_.make_bv_not(tm_.make_bv_not(x))),
        false);
    EXPECT_FALSE(h.engine().solve({xy, ~yx}));
    EXPECT_FALSE(h.engine().solve({~xy, yx}));
    EXPECT_TRUE(h.engine().solve({xy, yx}));
}

TEST_P(BvSolverTest, words_do_not_survive_their_scope)
{
    const Term_* x = word("x", 3);
    SolverHarness<> h(&tm_, config_);
    h.add_clause({h.literal(tm_.make_bv_ult(x, number(3, 3)), false)});
    const Term_* above = tm_.make_bv_ult(number(1, 3), tm_.make_bv_mul(x, x));
    for (int round = 0; round < 3; ++round) {
        h.engine().push_backtrack_point();
        h.add_clause({h.literal(above, false)});
        ASSERT_TRUE(h.engine().solve());
        EXPECT_EQ(h.value(x), number(2, 3)) << "the atom means the same in each scope";
        h.engine().push_backtrack_point();
        h.add_clause({h.literal(tm_.make_equal(tm_.make_bv_mul(x, x), number(1, 3)), false)});
        EXPECT_FALSE(h.engine().solve());
        h.engine().pop_backtrack_point();
        EXPECT_TRUE(h.engine().solve());
        h.engine().pop_backtrack_point();
    }
    h.add_clause({h.literal(tm_.make_equal(x, number(0, 3)), false)});
    EXPECT_TRUE(h.engine().solve());
}

TEST_P(BvSolverTest, unsupported_terms_are_named)
{
    const Term_* f = tm_.make_constant(tm_.make_symbol("f", tm_.get_fp_type(3, 4)));
    const Term_* atom = tm_.make_equal(tm_.make_fp_as_ieeebv(f), number(1, 8));
    SolverHarness<> h(&tm_, config_);
    try {
        h.literal(atom, false);
        FAIL();
    } catch (const WordClausifierInterface::error& e) {
        EXPECT_EQ(e.get_msg().rfind("not supported: ", 0), 0u) << e.get_msg();
    }
}

TEST_P(BvSolverTest, an_announced_equality_of_different_numbers_is_a_conflict)
{
    const Term_* p = boolean("p");
    SolverHarness<> h(&tm_, config_);
    const Term_* x = word("x", 4);
    h.literal(tm_.make_equal(x, number(1, 4)), false);
    h.announce(p, number(1, 4), number(2, 4));
    const dpll::Lit l = h.literal(p, false);
    EXPECT_FALSE(h.engine().solve({l}));
    EXPECT_TRUE(h.engine().solve({~l}));
}

/// Chains through terms that no atom holds must connect those at their ends.
TEST_P(BvSolverTest, announced_equalities_chain_through_unknown_terms)
{
    const Term_* x = word("x", 4);
    const Term_* y = word("y", 4);
    const Term_* u = word("u", 4);
    const Term_* v = word("v", 4);
    SolverHarness<> h(&tm_, config_);
    std::vector<dpll::Lit> all;
    all.push_back(h.literal(tm_.make_bv_ult(x, y), false));
    const std::pair<const Term_*, const Term_*> chain[] = {{u, v}, {x, u}, {v, y}};
    for (size_t i = 0; i < 3; ++i) {
        const Term_* p = boolean("p" + std::to_string(i));
        h.announce(p, chain[i].first, chain[i].second);
        all.push_back(h.literal(p, false));
    }
    EXPECT_FALSE(h.engine().solve(all));
    EXPECT_EQ(h.engine().get_conflict().size(), 4u);
    all.pop_back();
    EXPECT_TRUE(h.engine().solve(all));
}

/// Random clauses over atoms, Boolean constants and constants that announce equalities, with
/// scopes; the oracle tries all values of the words and decides the rest by an engine without
/// theories.
TEST_P(BvSolverTest, random_problems_agree_with_enumeration)
{
    std::mt19937 random(static_cast<unsigned>(std::get<1>(GetParam())) + 17);
    const auto ops = all_operators();
    uint64_t implied = 0, conflicts = 0;
    int num_sat = 0, num_unsat = 0;
    for (int round = 0; round < 120; ++round) {
        const unsigned w = 2;
        TermVector words;
        for (int i = 0; i < 3; ++i) {
            words.push_back(word("w" + std::to_string(i), w));
        }
        TermVector pool = words;
        for (int i = 0; i < 4; ++i) {
            pool.push_back(number(random() % 4, w));
            // those with a word as result that always fold: no divisions
            const size_t choice = random() % 11;
            const Operator& op = ops[choice < 8 ? choice : choice + 4];
            pool.push_back(
                op.make(tm_, pool[random() % pool.size()], pool[random() % pool.size()]));
        }
        SolverHarness<> h(&tm_, config_);
        // an atom, or an announcing constant with its equality
        std::vector<std::pair<const Term_*, const Term_*>> items;
        for (int i = 0; i < 8; ++i) {
            const Term_* a = pool[random() % pool.size()];
            const Term_* b = pool[random() % pool.size()];
            if (i < 4) {
                const Term_* p = boolean("e" + std::to_string(i));
                h.announce(p, a, b);
                items.emplace_back(p, tm_.make_equal(a, b));
            } else {
                items.emplace_back(ops[16 + random() % 5].make(tm_, a, b), nullptr);
            }
        }
        std::vector<std::vector<std::vector<std::pair<size_t, bool>>>> scopes(1);
        const auto check = [&] {
            bool expected = false;
            for (unsigned values = 0; values < 64 && !expected; ++values) {
                TermVector v;
                for (unsigned i = 0; i < 3; ++i) {
                    v.push_back(number(values >> (2 * i) & 3, w));
                }
                // an announcing constant may be true only where its equality holds, and false
                // always
                std::vector<int> fixed;
                for (const auto& [atom, eq] : items) {
                    const bool holds = tm_.is_true(fold(eq ? eq : atom, words, v));
                    fixed.push_back(eq ? (holds ? 2 : 0) : static_cast<int>(holds));
                }
                expected = true;
                for (unsigned free = 0; free < 16; ++free) {
                    expected = true;
                    for (const auto& scope : scopes) {
                        for (const auto& clause : scope) {
                            bool some = false;
                            for (const auto& [item, negated] : clause) {
                                const bool value =
                                    fixed[item] == 2 ? (free >> item & 1) != 0 : fixed[item] == 1;
                                some = some || value != negated;
                            }
                            expected = expected && some;
                        }
                    }
                    if (expected) {
                        break;
                    }
                }
            }
            ASSERT_EQ(h.engine().solve(), expected) << "round " << round;
            ++(expected ? num_sat : num_unsat);
            if (expected) {
                TermVector v;
                for (const Term_* t : words) {
                    const Term_* value = h.value(t);
                    v.push_back(value ? value : number(0, w)); // no value: nobody mentions it
                }
                for (const auto& [atom, eq] : items) {
                    const int var = h.engine().proxy_for_term(atom);
                    const lbool value = var < 0 ? l_Undef : h.engine().get_model_value(var);
                    const bool holds = tm_.is_true(fold(eq ? eq : atom, words, v));
                    if (!value.is_undef() && (!eq || value == l_True)) {
                        ASSERT_EQ(value == l_True, holds)
                            << "round " << round << ": " << (eq ? eq : atom)->to_str() << " under "
                            << v[0]->to_str() << " " << v[1]->to_str() << " " << v[2]->to_str();
                    }
                }
            }
        };
        for (int step = 0; step < 12; ++step) {
            const unsigned what = random() % 8;
            if (what == 0) {
                h.engine().push_backtrack_point();
                scopes.emplace_back();
            } else if (what == 1 && scopes.size() > 1) {
                h.engine().pop_backtrack_point();
                scopes.pop_back();
            } else {
                std::vector<std::pair<size_t, bool>> clause;
                std::vector<dpll::Lit> lits;
                for (unsigned i = 1 + random() % 3; i-- > 0;) {
                    const size_t item = random() % items.size();
                    // mostly true: announced equalities come up, and bind
                    clause.emplace_back(item, random() % 3 == 0);
                    lits.push_back(h.literal(items[item].first, clause.back().second));
                }
                scopes.back().push_back(clause);
                h.add_clause(lits);
            }
            if (step % 3 == 2) {
                check();
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
        implied += h.num_implied;
        conflicts += h.num_conflicts;
    }
    EXPECT_GT(num_sat, 50);
    EXPECT_GT(num_unsat, 50);
    EXPECT_GT(implied + conflicts, 100u) << "the equalities take no part";
}

INSTANTIATE_TEST_SUITE_P(Modes, BvSolverTest,
                         testing::Combine(testing::Bool(), testing::Values(0, 1, 2),
                                          testing::Bool()),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param) ? "eager" : "lazy") +
                                    std::to_string(std::get<1>(info.param)) +
                                    (std::get<2>(info.param) ? "_delayed" : "_at_once");
                         });

} // namespace
} // namespace tarq::bv
