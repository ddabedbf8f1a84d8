// Numbers, forms, variable sets and the tableau under the simplex.
#include "theory/la/dnumber.h"
#include "theory/la/equation.h"
#include "theory/la/tableau.h"
#include "theory/la/varsets.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

using namespace tarq;
using namespace tarq::la;

namespace {

Equation form(const std::vector<std::pair<int, int>>& terms)
{
    Equation e;
    for (auto [v, a] : terms) {
        e.add_var(v, QNumber(a));
    }
    return e;
}

Equation row(int basic, const std::vector<std::pair<int, int>>& terms)
{
    Equation e = form(terms);
    e.add_var(basic, QNumber(-1));
    e.change_basic_var(basic);
    return e;
}

} // namespace

TEST(DNumber, infinities_stand_outside_of_all_numbers)
{
    const DNumber big(QNumber(1000000), QNumber(5));
    EXPECT_EQ(cmp(DNumber::plus_inf, big), 1);
    EXPECT_EQ(cmp(DNumber::minus_inf, big.real().is_neg() ? big : DNumber(QNumber(-7))), -1);
    EXPECT_EQ(cmp(DNumber::plus_inf, DNumber::minus_inf), 1);
    EXPECT_EQ(cmp(DNumber::plus_inf, DNumber::plus_inf), 0);
    EXPECT_EQ((DNumber::plus_inf * QNumber(-2)), DNumber::plus_inf);
    EXPECT_EQ((big - DNumber::plus_inf), DNumber::plus_inf);
    EXPECT_EQ((DNumber::minus_inf + DNumber::plus_inf), DNumber::minus_inf);
}

TEST(DNumber, the_delta_decides_between_equal_real_parts_and_in_rounding)
{
    EXPECT_LT(DNumber(QNumber(3), QNumber(-1)), DNumber(QNumber(3)));
    EXPECT_LT(DNumber(QNumber(3), QNumber(7)), DNumber(QNumber(7, 2), QNumber(-9)));
    EXPECT_EQ(DNumber(QNumber(3), QNumber(-1)).floor(), 2);
    EXPECT_EQ(DNumber(QNumber(3), QNumber(1)).floor(), 3);
    EXPECT_EQ(DNumber(QNumber(7, 2), QNumber(-1)).floor(), 3);
    EXPECT_EQ(DNumber(QNumber(3), QNumber(1)).ceil(), 4);
    EXPECT_EQ(DNumber(QNumber(3), QNumber(-1)).ceil(), 3);
    DNumber x(QNumber(1), QNumber(2));
    x.add_mult(DNumber(QNumber(3), QNumber(-1)), QNumber(2));
    EXPECT_EQ(x, DNumber(QNumber(7)));
}

TEST(Equation, sums_stay_sorted_and_without_zeros)
{
    Equation e = form({{5, 2}, {1, 3}, {9, -1}, {5, -2}});
    ASSERT_EQ(e.size(), 2U);
    EXPECT_EQ(e.terms()[0].var, 1);
    EXPECT_TRUE(e.get_coefficient(5).is_zero());
    EXPECT_FALSE(e.is_simple());
    EXPECT_TRUE(form({{4, -1}}).is_simple());
    EXPECT_FALSE(form({{4, 2}}).is_simple());
    Equation r = row(9, {{1, 4}, {2, 1}});
    r.change_basic_var(1);
    EXPECT_EQ(r.get_coefficient(1), -1);
    EXPECT_EQ(r.get_coefficient(9), QNumber(1, 4));
    EXPECT_EQ(r.get_coefficient(2), QNumber(-1, 4));
}

TEST(VarSparseSet, agrees_with_a_model)
{
    std::mt19937 rng(7);
    VarSparseSet sparse;
    std::set<int> model;
    for (int step = 0; step < 20000; ++step) {
        const int v = 1 + static_cast<int>(rng() % 60);
        if (rng() % 3 == 0 || (step / 500) % 2 == 0) {
            sparse.erase(v);
            model.erase(v);
        } else {
            sparse.insert(v);
            model.insert(v);
        }
        ASSERT_EQ(sparse.size(), model.size());
        ASSERT_EQ(std::set<int>(sparse.begin(), sparse.end()), model);
    }
}

TEST(Tableau, a_pivot_frees_all_other_rows_of_the_entering_variable)
{
    Tableau t;
    std::vector<int> back;
    t.add_equation(row(10, {{1, 1}, {2, 2}}), &back);
    t.add_equation(row(11, {{1, 3}, {3, -1}}), &back);
    t.pivot(10, 1);
    EXPECT_TRUE(t.is_basic(1));
    EXPECT_FALSE(t.is_basic(10));
    EXPECT_EQ(t.row(1).get_coefficient(1), -1);
    EXPECT_TRUE(t.row(11).get_coefficient(1).is_zero());
    EXPECT_EQ(t.row(11).get_coefficient(2), -6);
    EXPECT_EQ(t.row(11).get_coefficient(10), 3);
    EXPECT_TRUE(t.check_invariants());
}

TEST(Tableau, coefficients_are_small_again_once_a_big_factor_cancels)
{
    const QNumber big = QNumber::from_str("36893488147419103233");
    Tableau t;
    std::vector<int> changed;
    for (int slack : {3, 4}) { // 3 = big * (1 + 2), 4 = big * (1 + 3 * 2)
        Equation e;
        e.add_var(1, big);
        e.add_var(2, slack == 3 ? big : big * QNumber(3));
        e.add_var(slack, QNumber(-1));
        e.change_basic_var(slack);
        t.add_equation(e, &changed);
    }
    t.pivot(3, 1);
    EXPECT_FALSE(t.row(1).get_coefficient(3).is_small());
    EXPECT_TRUE(t.row(1).get_coefficient(2).is_small()); // 1 = 3 / big - 2
    EXPECT_TRUE(t.row(4).get_coefficient(3).is_small()); // 4 = 3 + 2 * big * 2
    t.pivot(4, 2);
    EXPECT_EQ(t.row(2).get_coefficient(4), QNumber(1) / (QNumber(2) * big));
    EXPECT_FALSE(t.row(1).get_coefficient(3).is_small());
    t.pivot(2, 3);
    EXPECT_TRUE(t.row(3).get_coefficient(4).is_small()); // 3 = 4 - 2 * big * 2
    DNumber value{big};
    value /= big;
    EXPECT_TRUE(value.real().is_small());
    value.add_mult(DNumber(QNumber(1) / big), big);
    EXPECT_TRUE(value.real().is_small());
    EXPECT_EQ(value, DNumber(QNumber(2)));
}

TEST(Tableau, an_eliminated_variable_comes_back_with_all_that_its_row_needs)
{
    Tableau t;
    std::vector<int> back;
    t.add_equation(row(10, {{1, 1}, {2, 1}}), &back);
    t.add_equation(row(11, {{1, 1}, {3, 1}}), &back);
    t.add_equation(row(12, {{2, 1}, {3, -1}}), &back);
    t.eliminate_variables({1, 2, 3});
    EXPECT_TRUE(t.is_eliminated(1) && t.is_eliminated(2));
    EXPECT_EQ(t.num_rows(), 1);
    t.add_equation(row(13, {{1, 5}, {4, 1}}), &back);
    EXPECT_FALSE(t.is_eliminated(1));
    EXPECT_TRUE(t.check_invariants());
    // the first variable's row mentioned the second one
    EXPECT_EQ(back.back(), 1);
}

// The solution space, known by the told equations, must not change by any operation. Values are
// chosen for the problem variables; each row has to agree with them.
TEST(Tableau, random_operations_keep_the_solutions)
{
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::mt19937 rng(seed);
        const int num_vars = 3 + static_cast<int>(rng() % 6);
        std::map<int, QNumber> values;
        for (int v = 1; v <= num_vars; ++v) {
            values[v] = QNumber(static_cast<int>(rng() % 41) - 20, 1 + rng() % 3);
        }
        Tableau t;
        std::vector<int> back;
        int next = num_vars + 1;
        std::vector<int> slacks;
        const auto check = [&] {
            ASSERT_TRUE(t.check_invariants());
            t.for_each_row([&](const Row& e) {
                QNumber sum;
                for (const Row::Term& c : e.terms()) {
                    sum += c.coeff * values[c.var];
                }
                ASSERT_TRUE(sum.is_zero()) << seed;
            });
        };
        for (int step = 0; step < 40; ++step) {
            const unsigned what = rng() % 8;
            if (what < 3) {
                Equation e;
                for (int v = 1; v <= num_vars; ++v) {
                    if (rng() % 2 == 0) {
                        e.add_var(v, QNumber(static_cast<int>(rng() % 7) - 3));
                    }
                }
                if (e.empty()) {
                    continue;
                }
                QNumber sum;
                for (const VarCoeff& c : e.terms()) {
                    sum += c.coeff * values[c.var];
                }
                values[next] = sum;
                e.add_var(next, QNumber(-1));
                e.change_basic_var(next);
                slacks.push_back(next++);
                t.add_equation(e, &back);
            } else if (what < 6) {
                std::vector<int> basics;
                t.for_each_row([&](const Row& e) { basics.push_back(e.row_var()); });
                if (basics.empty()) {
                    continue;
                }
                const int x = basics[rng() % basics.size()];
                const auto& terms = t.row(x).terms();
                const int y = terms[rng() % terms.size()].var;
                if (y != x) {
                    t.pivot(x, y);
                }
            } else if (what == 6 && step > 10) {
                const int v = 1 + static_cast<int>(rng() % static_cast<unsigned>(num_vars));
                if (t.is_eliminated(v)) {
                    t.uneliminate(v, &back);
                } else {
                    t.eliminate_variables({v});
                }
            } else if (what == 7 && !slacks.empty()) {
                const int s = slacks[rng() % slacks.size()];
                slacks.erase(std::find(slacks.begin(), slacks.end(), s));
                std::vector<int> users;
                t.eliminated_users(s, &users);
                for (int u : users) {
                    if (t.is_eliminated(u)) {
                        t.uneliminate(u, &back);
                    }
                }
                t.remove_variable(s);
                EXPECT_TRUE(!t.is_basic(s) && t.column(s).empty());
            }
            check();
        }
        for (int v = 1; v <= num_vars; ++v) {
            if (t.is_eliminated(v)) {
                t.uneliminate(v, &back);
            }
        }
        check();
        EXPECT_EQ(static_cast<size_t>(t.num_rows()), slacks.size());
    }
}
