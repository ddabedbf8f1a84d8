// DiophantineSystem: small systems by hand, and random ones with certificates: the combination that
// proves a system unsolvable is computed anew from the equations, and a solution of a solvable one
// is put into them.
#include "theory/la/diophantine.h"

#include "base/terminationtest.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace tarq::laz {
namespace {

/// constant + sum of coefficient * variable = 0
la::Equation form(const QNumber& constant, std::initializer_list<std::pair<int, QNumber>> terms)
{
    la::Equation e;
    e.add_const(constant);
    for (const auto& [var, coeff] : terms) {
        e.add_var(var, coeff);
    }
    return e;
}

/// The sum that the certificate names: its coefficients must have a common divisor, after scaling
/// to whole ones, that does not divide its constant.
void expect_refutation(const std::vector<la::Equation>& given, const Equation& unsat)
{
    la::Equation sum;
    la::Equation::Terms scratch;
    QNumber scale(1);
    for (const la::VarCoeff& t : unsat.sources.terms()) {
        ASSERT_LE(static_cast<size_t>(t.var), given.size());
        add_multiple(sum, given[static_cast<size_t>(t.var) - 1], t.coeff, scratch);
    }
    for (const la::VarCoeff& t : sum.terms()) {
        ASSERT_LT(t.var, DiophantineSystem::FIRST_FRESH);
        scale = lcm(scale, t.coeff.get_den());
    }
    sum.mult(scale);
    if (sum.empty()) {
        EXPECT_FALSE(sum.constant().is_zero());
    } else {
        EXPECT_FALSE((sum.constant() / coefficient_gcd(sum)).is_int()) << sum.to_str();
    }
}

/// The value of a form with free and fresh variables at 0, or at small numbers.
QNumber value_of(const DiophantineSystem& s, const la::Equation& f, int shift)
{
    Equation e;
    e.form = f;
    s.apply_substitution(e);
    QNumber v = e.form.constant();
    for (const la::VarCoeff& t : e.form.terms()) {
        EXPECT_FALSE(s.has_substitution(t.var));
        EXPECT_TRUE(t.coeff.is_int());
        v += t.coeff * QNumber((t.var % 7 * shift) % 7);
    }
    return v;
}

/// Whole values for all variables up to `num_vars` from the solved form.
void expect_solution(const DiophantineSystem& s, const std::vector<la::Equation>& given,
                     int num_vars)
{
    for (int shift : {0, 1, 3}) {
        std::vector<QNumber> values(static_cast<size_t>(num_vars) + 1);
        for (int v = 1; v <= num_vars; ++v) {
            values[static_cast<size_t>(v)] = value_of(s, form(0, {{v, 1}}), shift);
            EXPECT_TRUE(values[static_cast<size_t>(v)].is_int());
        }
        for (const la::Equation& e : given) {
            QNumber sum = e.constant();
            for (const la::VarCoeff& t : e.terms()) {
                sum += t.coeff * values[static_cast<size_t>(t.var)];
            }
            EXPECT_TRUE(sum.is_zero()) << e.to_str();
        }
    }
}

TEST(Diophantine, small_systems)
{
    DiophantineSystem s;
    EXPECT_FALSE(s.add_equation(1, form(-1, {{1, 2}, {2, 4}}))); // no parity fits
    EXPECT_EQ(s.unsat_equation().sources.get_coefficient(1), QNumber(1, 1));
    s.pop_equation();
    EXPECT_TRUE(s.is_sat());
    EXPECT_TRUE(s.add_equation(1, form(0, {{1, 1}, {2, -1}})));
    EXPECT_NE(s.has_substitution(1), s.has_substitution(2));
    EXPECT_TRUE(s.add_equation(2, form(0, {{1, QNumber(1, 2)}, {2, QNumber(-1, 2)}}))); // again
    EXPECT_FALSE(s.add_equation(3, form(-3, {{1, 1}, {2, 1}}))); // twice one number is not 3
    expect_refutation({form(0, {{1, 1}, {2, -1}}),
                       form(0, {{1, QNumber(1, 2)}, {2, QNumber(-1, 2)}}),
                       form(-3, {{1, 1}, {2, 1}})},
                      s.unsat_equation());
    s.pop_equation();
    s.pop_equation();
    s.pop_equation();
    EXPECT_FALSE(s.has_substitution(1) || s.has_substitution(2));
    EXPECT_FALSE(s.add_equation(1, form(5, {})));
}

TEST(Diophantine, what_a_bound_rests_on_is_named)
{
    // x - 2y = 0 and x + 4z = 6 give y = 3 - 2z only together
    DiophantineSystem s;
    ASSERT_TRUE(s.add_equation(7, form(0, {{1, 1}, {2, -2}})));
    ASSERT_TRUE(s.add_equation(9, form(-6, {{1, 1}, {3, 4}})));
    Equation y;
    y.form = form(0, {{2, 1}, {3, 2}}); // 3 in every solution
    EXPECT_TRUE(s.apply_substitution(y));
    EXPECT_TRUE(y.form.empty());
    EXPECT_EQ(y.form.constant(), QNumber(3));
    EXPECT_FALSE(y.sources.get_coefficient(7).is_zero());
    EXPECT_FALSE(y.sources.get_coefficient(9).is_zero());
}

struct Size {
    int num_vars;
    int num_equations;
    long range;   // of the coefficients
    int one_in;   // of the variables is in an equation, on average
    long factor;  // of all coefficients, but not of the constants
    bool planted; // there is a solution
};

/// Solves a random system up to its first contradiction, and checks what comes out. Returns whether
/// it is solvable.
bool solve_random_system(const Size& size, std::mt19937_64& rng)
{
    const auto draw = [&rng](long range) {
        return static_cast<long>(rng() % static_cast<unsigned long>(2 * range + 1)) - range;
    };
    std::vector<QNumber> hidden;
    for (int v = 0; v <= size.num_vars; ++v) {
        hidden.emplace_back(draw(20));
    }
    std::vector<la::Equation> given;
    DiophantineSystem s;
    bool sat = true;
    for (int i = 0; i < size.num_equations && sat; ++i) {
        la::Equation e;
        QNumber sum;
        for (int v = 1; v <= size.num_vars; ++v) {
            if (rng() % static_cast<unsigned>(size.one_in) == 0) {
                const QNumber c(draw(size.range) * size.factor);
                e.add_var(v, c);
                sum += c * hidden[static_cast<size_t>(v)];
            }
        }
        e.add_const(size.planted ? sum.neg() : QNumber(draw(size.range)));
        given.push_back(e);
        sat = s.add_equation(i + 1, e);
    }
    if (!sat) {
        EXPECT_FALSE(size.planted) << "the system has a solution";
        expect_refutation(given, s.unsat_equation());
        s.pop_equation();
        given.pop_back();
    }
    expect_solution(s, given, size.num_vars);
    return sat;
}

TEST(Diophantine, random_systems_have_certificates)
{
    std::mt19937_64 rng(3);
    int num_solved = 0;
    for (int round = 0; round < 600; ++round) {
        const int num_vars = 2 + static_cast<int>(rng() % 12);
        const int num_equations = 1 + static_cast<int>(rng() % 8);
        const long range = round % 3 == 0 ? 1000000000 : round % 3 == 1 ? 40 : 4;
        num_solved += solve_random_system(
            {num_vars, num_equations, range, 2, round % 5 == 0 ? 6 : 1, round % 2 == 0}, rng);
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_GT(num_solved, 300);
    EXPECT_LT(num_solved, 500);
}

TEST(Diophantine, large_systems_have_certificates)
{
    std::mt19937_64 rng(4);
    int num_solved = 0;
    int round = 0;
    for (const int n : {10, 20, 40}) {
        for (const bool planted : {true, false}) {
            for (const int surplus : {1, 8}) { // variables more than equations
                num_solved +=
                    solve_random_system({n + surplus, n, 1000000000, (n + 3) / 3, 1, planted}, rng);
                ASSERT_FALSE(HasFailure()) << "round " << round;
                ++round;
            }
        }
    }
    EXPECT_GE(num_solved, round / 2);
    EXPECT_LT(num_solved, round);
}

TEST(Diophantine, a_stop_takes_the_equation_back)
{
    class Stop : public TerminationTest {
    public:
        void operator()() const override { throw terminated("stop"); }
    } stop;
    DiophantineSystem s;
    s.set_termination_test(&stop);
    EXPECT_THROW(s.add_equation(1, form(-1, {{1, 3}, {2, 5}})), TerminationTest::terminated);
    EXPECT_EQ(s.size(), 0u);
    s.set_termination_test(nullptr);
    EXPECT_TRUE(s.add_equation(1, form(-1, {{1, 3}, {2, 5}})));
}

} // namespace
} // namespace tarq::laz
