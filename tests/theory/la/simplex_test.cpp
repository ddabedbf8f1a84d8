// la::Solver against Fourier-Motzkin elimination: answers, conflicts, implications and models under
// random pushes and pops, tells and retractions.
#include "fmoracle.h"
#include "theory/la/referencesimplex.h"
#include "theory/la/solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

using namespace tarq;
using namespace tarq::la;
using tarq::test::fm_satisfiable;
using tarq::test::Inequality;

namespace {

DNumber num(int real, int delta = 0)
{
    return DNumber(QNumber(real), QNumber(delta));
}

Equation slack_row(int slack, const std::vector<QNumber>& coeffs)
{
    Equation e;
    for (size_t i = 0; i < coeffs.size(); ++i) {
        e.add_var(static_cast<int>(i) + 1, coeffs[i]);
    }
    e.add_var(slack, QNumber(-1));
    e.change_basic_var(slack);
    return e;
}

} // namespace

TEST(Simplex, a_bound_above_the_other_one_is_a_conflict_of_two_without_pivots)
{
    Solver s;
    s.tell_upper_bound(1, 1, num(3));
    s.tell_lower_bound(2, 1, num(5));
    s.tell_upper_bound(3, 1, num(3));
    EXPECT_TRUE(s.push_constraint(1));
    EXPECT_TRUE(s.push_constraint(3)); // changes nothing, and still takes a place
    EXPECT_FALSE(s.push_constraint(2));
    EXPECT_EQ(s.conflict(), (std::vector<int>{1, 2}));
    EXPECT_FALSE(s.check(true));
    EXPECT_EQ(s.stats().pivots, 0U);
    EXPECT_EQ(s.pop_constraint(), 2);
    EXPECT_TRUE(s.check(true));
    EXPECT_EQ(s.pop_constraint(), 3);
    EXPECT_EQ(s.upper_bound(1), num(3));
    EXPECT_EQ(s.pop_constraint(), 1);
    EXPECT_TRUE(s.upper_bound(1).is_inf());
}

TEST(Simplex, a_repair_moves_a_variable_that_takes_no_other_beyond_its_bound)
{
    // 3 = 1 + 2 has to rise. Moving 1 would take 4 = 1 - 2 above its bound, moving 2 would not,
    // though its column is longer.
    Solver s;
    s.tell_equation(slack_row(3, {QNumber(1), QNumber(1)}));
    s.tell_equation(slack_row(4, {QNumber(1), QNumber(-1)}));
    s.tell_equation(slack_row(5, {QNumber(0), QNumber(1)}));
    s.tell_upper_bound(1, 1, num(9));
    s.tell_upper_bound(2, 2, num(9));
    s.tell_lower_bound(3, 3, num(4));
    s.tell_upper_bound(4, 4, num(0));
    s.tell_upper_bound(5, 5, num(9));
    ASSERT_TRUE(s.push_constraint(4));
    ASSERT_TRUE(s.check(true));
    ASSERT_TRUE(s.push_constraint(3));
    EXPECT_TRUE(s.check(true));
    EXPECT_EQ(s.stats().pivots, 1U);
    DNumber value;
    ASSERT_TRUE(s.get_abstract_value(2, &value));
    EXPECT_EQ(value, num(4));
}

TEST(Simplex, a_conflict_outlives_pops_of_later_pushes)
{
    Solver s;
    s.tell_upper_bound(1, 1, num(3));
    s.tell_equal_bound(2, 1, num(5)); // fails in its first half
    s.tell_upper_bound(3, 2, num(0));
    EXPECT_TRUE(s.push_constraint(1));
    EXPECT_FALSE(s.push_constraint(2));
    EXPECT_FALSE(s.push_constraint(3));
    s.pop_constraint();
    EXPECT_FALSE(s.check(false));
    EXPECT_EQ(s.pop_constraint(), 2);
    EXPECT_TRUE(s.check(false));
    EXPECT_EQ(s.num_pushed(), 1U);
}

TEST(Simplex, a_disequality_on_a_fixed_variable_names_the_bounds_and_itself)
{
    Solver s;
    s.tell_upper_bound(1, 1, num(2));
    s.tell_lower_bound(2, 1, num(2));
    s.tell_diseq_bound(3, 1, num(2));
    s.push_constraint(1);
    s.push_constraint(3);
    EXPECT_TRUE(s.check(false));
    s.push_constraint(2);
    EXPECT_TRUE(s.check(true)); // left alone
    EXPECT_FALSE(s.check(false));
    EXPECT_EQ(s.conflict(), (std::vector<int>{1, 2, 3}));
}

TEST(Simplex, a_pushed_bound_implies_weaker_told_ones_until_it_is_popped)
{
    Solver s;
    s.tell_upper_bound(1, 1, num(3));
    s.tell_upper_bound(2, 1, num(5));
    s.tell_diseq_bound(3, 1, num(4));
    s.tell_lower_bound(4, 1, num(3));
    s.tell_equal_bound(5, 1, num(3));
    s.push_constraint(1);
    EXPECT_EQ(s.get_next_implied(), 2);
    EXPECT_EQ(s.get_next_implied(), 3);
    EXPECT_EQ(s.get_next_implied(), 0);
    std::vector<int> reasons;
    s.get_explanation(3, reasons);
    EXPECT_EQ(reasons, (std::vector<int>{1}));
    s.push_constraint(4);
    EXPECT_EQ(s.get_next_implied(), 5);
    reasons.clear();
    s.get_explanation(5, reasons);
    std::sort(reasons.begin(), reasons.end());
    EXPECT_EQ(reasons, (std::vector<int>{1, 4}));
    s.pop_constraint();
    EXPECT_FALSE(s.is_implied(5));
    EXPECT_TRUE(s.is_implied(2));
    s.pop_constraint();
    EXPECT_FALSE(s.is_implied(2));
}

TEST(Simplex, the_model_keeps_strictness_disequalities_and_forms_off_zero)
{
    Solver s;
    s.tell_lower_bound(1, 1, num(4, 1)); // x > 4
    s.tell_diseq_bound(2, 1, num(5));    // what delta 1 would give
    s.tell_upper_bound(3, 2, num(1, -1));
    s.tell_lower_bound(4, 2, num(0, 1));
    for (int c = 1; c <= 4; ++c) {
        s.push_constraint(c);
    }
    ASSERT_TRUE(s.check(false));
    Equation form; // 2x - 9, which delta 1/2 would make 0
    form.add_var(1, QNumber(2));
    form.add_const(QNumber(-9));
    s.build_model({form});
    QNumber x, y;
    ASSERT_TRUE(s.get_value(1, &x) && s.get_value(2, &y));
    EXPECT_GT(x, QNumber(4));
    EXPECT_FALSE(x == 5);
    EXPECT_FALSE(x == QNumber(9, 2));
    EXPECT_TRUE(y > QNumber(0) && y < QNumber(1));
}

TEST(Simplex, values_of_shared_variables_are_spread)
{
    Solver s;
    for (int v = 1; v <= 4; ++v) {
        s.add_interface_var(v);
    }
    s.tell_equation(slack_row(5, {QNumber(1), QNumber(-1), QNumber(0), QNumber(0)}));
    s.tell_equal_bound(1, 5, num(0)); // x1 = x2
    s.tell_upper_bound(2, 3, num(0));
    s.tell_lower_bound(3, 3, num(-10));
    s.tell_diseq_bound(4, 4, num(1));
    for (int c = 1; c <= 4; ++c) {
        s.push_constraint(c);
    }
    ASSERT_TRUE(s.check(false));
    s.do_model_mutation([](int) { return false; });
    EXPECT_TRUE(s.check_invariants() && s.values_satisfy_all(true));
    std::vector<DNumber> value(5);
    for (int v = 1; v <= 4; ++v) {
        ASSERT_TRUE(s.get_abstract_value(v, &value[static_cast<size_t>(v)]));
    }
    EXPECT_EQ(value[1], value[2]);
    EXPECT_FALSE(value[1] == value[3] || value[3] == value[4] || value[1] == value[4]);
}

namespace {

/// A solver with a shadow: the same constraints as inequalities over the problem variables.
class RandomRun {
public:
    explicit RandomRun(unsigned seed)
        : rng_(seed), num_vars_(2 + static_cast<int>(below(2))), big_(below(6) == 0)
    {
        solver_.set_deduction_level(static_cast<int>(below(3)));
        solver_.set_eliminate_unconstrained(below(3) != 0);
        solver_.set_pivoting_threshold(static_cast<int>(below(3)) * 2);
        use_diseqs_ = below(2) == 0;
        next_var_ = num_vars_ + 1;
        while (below(12) != 0 && forms_.size() < 4) {
            add_form();
        }
        for (int i = 0; i < 8; ++i) {
            tell();
        }
    }

    void run()
    {
        for (int step = 0; step < 60; ++step) {
            const unsigned what = below(20);
            if (what < 8 && pushed_.size() < 7) {
                push();
            } else if (what < 12) {
                for (size_t n = below(4); n > 0 && !pushed_.empty(); --n) {
                    ASSERT_EQ(solver_.pop_constraint(), pushed_.back());
                    pushed_.pop_back();
                }
            } else if (what < 13 && constraints_.size() < 14) {
                tell();
            } else if (what < 14) {
                retract();
            } else if (what < 15) {
                solver_.add_interface_var(1 + static_cast<int>(below(num_vars_)));
            } else {
                check(below(2) == 0);
            }
            ASSERT_EQ(solver_.num_pushed(), pushed_.size());
            if (::testing::Test::HasFatalFailure()) {
                return;
            }
        }
    }

private:
    struct Told {
        int slack; // or a problem variable
        BoundKind kind;
        QNumber bound;
        bool strict;
    };

    unsigned below(int n) { return rng_() % static_cast<unsigned>(n); }
    QNumber random_coeff()
    {
        QNumber q(static_cast<int>(below(7)) - 3);
        if (big_ && below(3) == 0) {
            q *= QNumber::from_str("123456789012345678901234567890/7");
        }
        return q;
    }

    void add_form()
    {
        std::vector<QNumber> coeffs;
        int nonzero = 0;
        for (int v = 0; v < num_vars_; ++v) {
            coeffs.push_back(random_coeff());
            nonzero += !coeffs.back().is_zero();
        }
        if (nonzero < 2) {
            return;
        }
        const int slack = next_var_++;
        forms_[slack] = coeffs;
        solver_.tell_equation(slack_row(slack, coeffs));
    }

    void tell()
    {
        if (forms_.size() < 6 && below(4) == 0) {
            add_form();
        }
        Told t;
        t.slack = 1 + static_cast<int>(below(num_vars_));
        if (!forms_.empty() && below(3) != 0) {
            auto it = forms_.begin();
            std::advance(it, below(static_cast<int>(forms_.size())));
            t.slack = it->first;
        }
        const BoundKind kinds[] = {BoundKind::LOWER, BoundKind::UPPER, BoundKind::EQUAL,
                                   BoundKind::DISEQUAL};
        t.kind = kinds[below(use_diseqs_ ? 4 : 3)];
        t.bound = QNumber(static_cast<int>(below(9)) - 4);
        t.strict = below(3) == 0 && (t.kind == BoundKind::LOWER || t.kind == BoundKind::UPPER);
        const int c = next_constraint_++;
        constraints_[c] = t;
        const DNumber b(t.bound, QNumber(!t.strict ? 0 : t.kind == BoundKind::LOWER ? 1 : -1));
        switch (t.kind) {
        case BoundKind::LOWER:
            solver_.tell_lower_bound(c, t.slack, b);
            break;
        case BoundKind::UPPER:
            solver_.tell_upper_bound(c, t.slack, b);
            break;
        case BoundKind::EQUAL:
            solver_.tell_equal_bound(c, t.slack, b);
            break;
        case BoundKind::DISEQUAL:
            solver_.tell_diseq_bound(c, t.slack, b);
            break;
        }
    }

    void push()
    {
        auto it = constraints_.begin();
        std::advance(it, below(static_cast<int>(constraints_.size())));
        pushed_.push_back(it->first);
        const bool was_ok = !solver_.is_inconsistent();
        if (!solver_.push_constraint(it->first) && was_ok) {
            check(true);
        }
    }

    /// Drops a constraint that is not pushed, and its form with the last one. The numbers of the
    /// form's variable are used anew by the next one.
    void retract()
    {
        auto it = constraints_.begin();
        std::advance(it, below(static_cast<int>(constraints_.size())));
        const int c = it->first;
        if (constraints_.size() < 3 ||
            std::find(pushed_.begin(), pushed_.end(), c) != pushed_.end()) {
            return;
        }
        const int slack = it->second.slack;
        solver_.retract_bound(c);
        constraints_.erase(it);
        const bool used = std::any_of(constraints_.begin(), constraints_.end(),
                                      [&](const auto& e) { return e.second.slack == slack; });
        if (slack > num_vars_ && !used) {
            solver_.retract_variable(slack);
            forms_.erase(slack);
            if (slack + 1 == next_var_) {
                --next_var_;
            }
        }
    }

    Inequality inequality(const Told& t, bool upper) const
    {
        Inequality q;
        if (t.slack <= num_vars_) {
            q.coeffs.assign(static_cast<size_t>(num_vars_), QNumber());
            q.coeffs[static_cast<size_t>(t.slack) - 1] = QNumber(1);
        } else {
            q.coeffs = forms_.at(t.slack);
        }
        q.bound = t.bound;
        if (!upper) {
            q = q.negation();
        }
        q.strict = t.strict;
        return q;
    }

    /// Appends the inequalities of a constraint or of its negation to each system; a disequality
    /// doubles the systems.
    void add(std::vector<std::vector<Inequality>>& systems, const Told& t, bool negated) const
    {
        const bool split =
            (t.kind == BoundKind::DISEQUAL) != (negated && t.kind == BoundKind::EQUAL);
        std::vector<std::vector<Inequality>> result;
        for (auto& s : systems) {
            for (const bool upper : {false, true}) {
                if ((t.kind == BoundKind::LOWER && upper) ||
                    (t.kind == BoundKind::UPPER && !upper)) {
                    continue;
                }
                Inequality q = inequality(t, upper);
                const bool is_diseq = t.kind == BoundKind::DISEQUAL;
                if (t.kind == BoundKind::LOWER || t.kind == BoundKind::UPPER) {
                    result.push_back(s);
                    result.back().push_back(negated ? q.negation() : q);
                } else if (is_diseq != negated) {
                    q.strict = true; // one side each
                    result.push_back(s);
                    result.back().push_back(q);
                } else {
                    s.push_back(q);
                }
            }
            if (!split && (t.kind == BoundKind::EQUAL || t.kind == BoundKind::DISEQUAL)) {
                result.push_back(s);
            }
            if (negated && t.kind == BoundKind::DISEQUAL && split) {
                result.push_back(s);
            }
        }
        systems = std::move(result);
    }

    bool satisfiable(const std::vector<int>& constraints, int negated = 0) const
    {
        std::vector<std::vector<Inequality>> systems(1);
        for (int c : constraints) {
            add(systems, constraints_.at(c), false);
        }
        if (negated != 0) {
            add(systems, constraints_.at(negated), true);
        }
        return std::any_of(systems.begin(), systems.end(),
                           [](const auto& s) { return fm_satisfiable(s); });
    }

    void check(bool approx)
    {
        const bool ok = solver_.check(approx);
        ASSERT_TRUE(solver_.check_invariants());
        std::vector<int> relevant = pushed_;
        if (ok && approx) {
            relevant.erase(std::remove_if(relevant.begin(), relevant.end(),
                                          [&](int c) {
                                              return constraints_.at(c).kind == BoundKind::DISEQUAL;
                                          }),
                           relevant.end());
        }
        ASSERT_TRUE(!ok || satisfiable(relevant));
        if (!ok) {
            for (int c : solver_.conflict()) {
                ASSERT_TRUE(std::find(pushed_.begin(), pushed_.end(), c) != pushed_.end());
            }
            ASSERT_FALSE(satisfiable(solver_.conflict()));
            return;
        }
        while (const int c = solver_.get_next_implied()) {
            if (!solver_.is_implied(c)) {
                continue;
            }
            std::vector<int> reasons;
            solver_.get_explanation(c, reasons);
            for (int r : reasons) {
                ASSERT_TRUE(std::find(pushed_.begin(), pushed_.end(), r) != pushed_.end());
            }
            ASSERT_FALSE(satisfiable(reasons, c));
        }
        if (approx) {
            return;
        }
        if (below(2) == 0) {
            solver_.do_model_mutation([](int) { return false; });
            ASSERT_TRUE(solver_.check_invariants() && solver_.values_satisfy_all(true));
        }
        solver_.build_model({});
        std::vector<QNumber> x(static_cast<size_t>(num_vars_));
        for (int v = 1; v <= num_vars_; ++v) {
            solver_.get_value(v, &x[static_cast<size_t>(v) - 1]); // 0 if nothing mentions it
        }
        for (int c : pushed_) {
            const Told& t = constraints_.at(c);
            const bool low = inequality(t, false).holds(x);
            const bool high = inequality(t, true).holds(x);
            ASSERT_TRUE(t.kind == BoundKind::LOWER   ? low
                        : t.kind == BoundKind::UPPER ? high
                        : t.kind == BoundKind::EQUAL ? low && high
                                                     : !(low && high));
        }
    }

    std::mt19937 rng_;
    int num_vars_;
    bool big_;
    bool use_diseqs_ = true;
    Solver solver_;
    std::map<int, std::vector<QNumber>> forms_;
    std::map<int, Told> constraints_;
    std::vector<int> pushed_;
    int next_var_ = 0;
    int next_constraint_ = 1;
};

} // namespace

TEST(Simplex, agrees_with_elimination_on_random_runs)
{
    for (unsigned seed = 0; seed < 1500; ++seed) {
        SCOPED_TRACE(seed);
        RandomRun run(seed);
        run.run();
        if (HasFatalFailure()) {
            return;
        }
    }
}

// The checker of conflicts and implications must itself be right.
TEST(Simplex, the_reference_agrees_with_elimination)
{
    std::mt19937 rng(11);
    const auto draw = [&rng](int range) {
        return static_cast<long>(rng() % static_cast<unsigned>(2 * range + 1)) - range;
    };
    int num_satisfiable = 0;
    constexpr int ROUNDS = 400;
    for (int round = 0; round < ROUNDS; ++round) {
        std::vector<ReferenceRange> ranges(1 + rng() % 5);
        // all combinations of the sides of holes, as inequalities
        std::vector<std::vector<Inequality>> systems(1);
        for (ReferenceRange& r : ranges) {
            std::vector<QNumber> coeffs(3);
            for (size_t v = 0; v < coeffs.size(); ++v) {
                coeffs[v] = rng() % 3 ? draw(3) : 0;
                r.form.add_var(static_cast<int>(v) + 1, coeffs[v]);
            }
            const auto side = [&](bool upper, long bound, bool strict) {
                Inequality i{coeffs, QNumber(bound), strict};
                if (!upper) {
                    for (QNumber& c : i.coeffs) {
                        c.self_neg();
                    }
                    i.bound.self_neg();
                }
                return i;
            };
            const auto add = [&](const Inequality& i) {
                for (auto& s : systems) {
                    s.push_back(i);
                }
            };
            if (rng() % 3 != 0) {
                const long bound = draw(4);
                const bool strict = rng() % 3 == 0;
                r.upper = DNumber(QNumber(bound), QNumber(strict ? -1 : 0));
                add(side(true, bound, strict));
            }
            if (rng() % 3 != 0) {
                const long bound = draw(4);
                const bool strict = rng() % 3 == 0;
                r.lower = DNumber(QNumber(bound), QNumber(strict ? 1 : 0));
                add(side(false, bound, strict));
            }
            if (rng() % 3 == 0) {
                const long hole = draw(2);
                r.holes.push_back(DNumber(QNumber(hole)));
                const size_t half = systems.size();
                const auto copies = systems;
                systems.insert(systems.end(), copies.begin(), copies.end());
                for (size_t i = 0; i < systems.size(); ++i) {
                    systems[i].push_back(side(i < half, hole, true));
                }
            }
        }
        const bool expected = std::any_of(systems.begin(), systems.end(),
                                          [](const auto& s) { return fm_satisfiable(s); });
        num_satisfiable += expected;
        EXPECT_EQ(is_satisfiable(ranges), expected) << "round " << round;
    }
    EXPECT_GT(num_satisfiable, ROUNDS / 5);
    EXPECT_LT(num_satisfiable, ROUNDS * 4 / 5);
}
