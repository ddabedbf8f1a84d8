// DiophantineSystem: small systems by hand, and random ones with certificates: the combination that
// proves a system unsolvable is computed anew from the equations, and a solution of a solvable one
// is put into them.
#include "theory/la/diophantine.h"

#include "base/terminationtest.h"

#include <gtest/gtest.h>

#include <cstdlib>
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
    s.apply_substitution(e, false);
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

enum class Kind {
    PLANTED,  // there is a solution
    RANDOM,   // the constants are free
    MODULUS,  // the last equation is a combination of the others, but for multiples of a number
    DEPENDENT // the last equation is a combination of the others, but for its constant
};

struct Size {
    int num_vars;
    int num_equations;
    long range;  // of the coefficients
    int one_in;  // of the variables is in an equation, on average
    long factor; // of all coefficients, but not of the constants; the modulus for MODULUS
    Kind kind;
};

class RandomSystem {
public:
    RandomSystem(const Size& size, std::mt19937_64& rng) : size_(size), rng_(rng)
    {
        for (int v = 0; v <= size.num_vars; ++v) {
            hidden_.emplace_back(draw(20));
        }
        for (int i = 1; i <= size.num_equations; ++i) {
            const bool last = i == size.num_equations && i > 1;
            const bool special = size.kind == Kind::MODULUS || size.kind == Kind::DEPENDENT;
            given.push_back(last && special ? contradiction() : equation());
        }
    }

    std::vector<la::Equation> given;

private:
    long draw(long range)
    {
        return static_cast<long>(rng_() % static_cast<unsigned long>(2 * range + 1)) - range;
    }

    la::Equation equation()
    {
        la::Equation e;
        QNumber sum;
        const QNumber factor(size_.kind == Kind::MODULUS ? 1 : size_.factor);
        for (int v = 1; v <= size_.num_vars; ++v) {
            if (rng_() % static_cast<unsigned>(size_.one_in) == 0) {
                const QNumber c = QNumber(draw(size_.range)) * factor;
                e.add_var(v, c);
                sum += c * hidden_[static_cast<size_t>(v)];
            }
        }
        e.add_const(size_.kind == Kind::RANDOM ? QNumber(draw(size_.range)) : sum.neg());
        return e;
    }

    la::Equation contradiction()
    {
        la::Equation e;
        la::Equation::Terms scratch;
        for (const la::Equation& g : given) {
            const QNumber c(2 * draw(2) + 1);
            add_multiple(e, g, c, scratch);
        }
        e.add_const(1);
        if (size_.kind == Kind::MODULUS) {
            for (int v = 1; v <= size_.num_vars; ++v) {
                const QNumber c = QNumber(draw(1000)) * QNumber(size_.factor);
                e.add_var(v, c);
                e.add_const(c.neg() * hidden_[static_cast<size_t>(v)]);
            }
        }
        return e;
    }

    Size size_;
    std::mt19937_64& rng_;
    std::vector<QNumber> hidden_;
};

/// Solves a random system up to its first contradiction, and checks what comes out. Returns whether
/// it is solvable.
bool solve_random_system(const Size& size, std::mt19937_64& rng)
{
    std::vector<la::Equation> given = RandomSystem(size, rng).given;
    DiophantineSystem s;
    size_t added = 0;
    bool sat = true;
    while (sat && added < given.size()) {
        sat = s.add_equation(static_cast<int>(added) + 1, given[added]);
        ++added;
    }
    given.resize(added);
    EXPECT_FALSE(size.kind == Kind::PLANTED && !sat) << "the system has a solution";
    EXPECT_FALSE(size.kind == Kind::MODULUS && sat) << "the system has no solution";
    EXPECT_FALSE(size.kind == Kind::DEPENDENT && sat) << "the system has no solution";
    if (!sat) {
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
        num_solved +=
            solve_random_system({num_vars, num_equations, range, 2, round % 5 == 0 ? 6 : 1,
                                 round % 2 == 0 ? Kind::PLANTED : Kind::RANDOM},
                                rng);
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_GT(num_solved, 300);
    EXPECT_LT(num_solved, 500);
}

/// All kinds of systems: with as many variables as equations, with more and with fewer, dense and
/// sparse, with large numbers and with small ones, contradictions by small and by large moduli.
/// Up to 40 equations, or up to 200 with TARQ_EQUATIONS set to that.
TEST(Diophantine, large_systems_have_certificates)
{
    std::mt19937_64 rng(4);
    const char* most = std::getenv("TARQ_EQUATIONS");
    const int limit = most ? std::atoi(most) : 40;
    for (const int n : {10, 20, 40, 70, 100, 150, 200}) {
        if (n > limit) {
            break;
        }
        const long large = 1000000000;
        const Size sizes[] = {
            {n, n, large, 1, 1, Kind::RANDOM},
            {n + 1, n, large, 1, 1, Kind::PLANTED},
            {n + n / 4, n, large, 1, 2, Kind::MODULUS},
            {n + n / 4, n, large, 1, 999983, Kind::MODULUS},
            {n - n / 5, n, large, 1, 1, Kind::DEPENDENT},
            {n - n / 5, n, large, 1, 1, Kind::PLANTED},
            {n + n / 4, n, large, (n + 3) / 4, 1, Kind::PLANTED},
            {n + n / 4, n, large, (n + 3) / 4, 6, Kind::MODULUS},
            {n + n / 4, n, 10, 1, 1, Kind::PLANTED},
            {n, n, 10, (n + 3) / 4, 15, Kind::RANDOM},
        };
        for (const Size& size : sizes) {
            solve_random_system(size, rng);
            ASSERT_FALSE(HasFailure()) << n << " equations, kind " << static_cast<int>(size.kind);
        }
    }
}

/// A stack of equations that goes up and down answers like one that only went up.
TEST(Diophantine, pops_take_back_exactly)
{
    std::mt19937_64 rng(5);
    for (const int one_in : {1, 3, 6}) {
        const int n = 14;
        const Size size{n, n, 1000000, one_in, 4, one_in == 1 ? Kind::MODULUS : Kind::RANDOM};
        const std::vector<la::Equation> given = RandomSystem(size, rng).given;
        DiophantineSystem s;
        for (int step = 0; step < 120; ++step) {
            const bool up = s.is_sat() && s.size() < given.size() && rng() % 3 != 0;
            for (size_t k = 1 + rng() % 4; k > 0 && !up && s.size() > 0; --k) {
                s.pop_equation();
            }
            if (up) {
                s.add_equation(static_cast<int>(s.size()) + 1, given[s.size()]);
            }
            DiophantineSystem straight;
            for (size_t i = 0; i < s.size(); ++i) {
                straight.add_equation(static_cast<int>(i) + 1, given[i]);
            }
            ASSERT_EQ(s.is_sat(), straight.is_sat());
            for (int v = 1; v <= n && s.is_sat(); ++v) {
                Equation a{form(0, {{v, 1}, {n + 1, QNumber(1, 2)}}), {}};
                Equation b = a;
                s.apply_substitution(a);
                straight.apply_substitution(b);
                const QNumber gcd_a = coefficient_gcd(a.form);
                EXPECT_EQ(gcd_a, coefficient_gcd(b.form));
                const QNumber shift = a.form.constant() - b.form.constant();
                EXPECT_TRUE((shift / gcd_a).is_int()) << "a value is allowed by one of them only";
                EXPECT_EQ(a.sources.empty(), b.sources.empty());
            }
        }
    }
}

/// What is said of a sum names all the equations that it needs: with those alone the same holds.
TEST(Diophantine, sources_suffice)
{
    std::mt19937_64 rng(6);
    size_t num_named = 0;
    for (int round = 0; round < 60; ++round) {
        const int n = 9;
        const Size size{n, n - 2, round % 2 == 0 ? 100000000 : 60, 1 + round % 4, 1, Kind::PLANTED};
        const std::vector<la::Equation> given = RandomSystem(size, rng).given;
        DiophantineSystem all;
        for (size_t i = 0; i < given.size(); ++i) {
            ASSERT_TRUE(all.add_equation(static_cast<int>(i) + 1, given[i]));
        }
        for (int v = 1; v <= n; ++v) {
            Equation e{form(0, {{v, 6}}), {}};
            all.apply_substitution(e);
            const QNumber step = coefficient_gcd(e.form);
            DiophantineSystem some;
            for (const la::VarCoeff& t : e.sources.terms()) {
                ASSERT_TRUE(some.add_equation(t.var, given[static_cast<size_t>(t.var) - 1]));
                ++num_named;
            }
            Equation f{form(0, {{v, 6}}), {}};
            some.apply_substitution(f);
            const QNumber step_of_some = coefficient_gcd(f.form);
            EXPECT_TRUE(step.is_zero() ? step_of_some.is_zero() : (step_of_some / step).is_int());
            const QNumber shift = f.form.constant() - e.form.constant();
            EXPECT_TRUE(step.is_zero() ? shift.is_zero() : (shift / step).is_int());
        }
    }
    EXPECT_GT(num_named, 1000u);
}

/// Solutions near given values: exactly those, where they are a solution.
TEST(Diophantine, the_nearest_solution_of_a_solution_is_itself)
{
    std::mt19937_64 rng(7);
    for (const long range : {4L, 1000L, 1000000000L}) {
        const int n = 12;
        DiophantineSystem s;
        std::vector<QNumber> hidden;
        for (int v = 0; v <= n; ++v) {
            hidden.emplace_back(static_cast<long>(rng() % 1000) - 500);
        }
        std::vector<la::Equation> given;
        for (int i = 1; i < n; ++i) {
            la::Equation e;
            for (int v = 1; v <= n; ++v) {
                const QNumber c(static_cast<long>(rng() % static_cast<unsigned long>(range)) -
                                range / 2);
                e.add_var(v, c);
                e.add_const(c.neg() * hidden[static_cast<size_t>(v)]);
            }
            ASSERT_TRUE(s.add_equation(i, e));
            given.push_back(e);
        }
        for (const QNumber& off : {QNumber(0), QNumber(1, 1000), QNumber(7, 2)}) {
            hsh::HashMap<int, la::DNumber> point;
            s.solve_near([&](int v) { return la::DNumber(hidden[static_cast<size_t>(v)] + off); },
                         point);
            for (const la::Equation& e : given) {
                la::DNumber sum(e.constant());
                for (const la::VarCoeff& t : e.terms()) {
                    EXPECT_TRUE(point[t.var].is_int());
                    sum.add_mult(point[t.var], t.coeff);
                }
                EXPECT_EQ(sum, la::DNumber::zero);
            }
            for (int v = 1; v <= n && off.is_zero(); ++v) {
                EXPECT_EQ(point[v], la::DNumber(hidden[static_cast<size_t>(v)]));
            }
        }
    }
}

TEST(Diophantine, a_stop_takes_the_equation_back)
{
    class Stop : public TerminationTest {
    public:
        void operator()() const override
        {
            if (left-- == 0) {
                throw terminated("stop");
            }
        }
        mutable int left = 0;
    } stop;
    for (const long large : {1L, 1000000L}) { // by elimination, and in a lattice
        DiophantineSystem s;
        ASSERT_TRUE(s.add_equation(1, form(-1, {{1, 3 * large + 1}, {2, 5}, {3, large + 7}})));
        s.set_termination_test(&stop);
        const la::Equation second = form(-2, {{1, 4}, {2, 7 * large}, {3, 9}, {4, 11 * large}});
        int num_stops = 0;
        for (int polls = 0;; ++polls) {
            stop.left = polls;
            try {
                s.add_equation(2, second);
                break;
            } catch (const TerminationTest::terminated&) {
                ++num_stops;
                EXPECT_EQ(s.size(), 1u);
            }
        }
        EXPECT_GE(num_stops, large == 1 ? 1 : 3);
        s.set_termination_test(nullptr);
        DiophantineSystem fresh;
        fresh.add_equation(1, form(-1, {{1, 3 * large + 1}, {2, 5}, {3, large + 7}}));
        fresh.add_equation(2, second);
        for (int v = 1; v <= 4; ++v) {
            EXPECT_EQ(value_of(s, form(0, {{v, 1}}), 1), value_of(fresh, form(0, {{v, 1}}), 1));
        }
    }
}

} // namespace
} // namespace tarq::laz
