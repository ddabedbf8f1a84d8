// Symmetry breaking: what it is for, and against an environment without it on random formulas that
// are symmetric in some constants, in all but a little, or not at all.
#include "encoding/symmetrybreaker.h"
#include "envfixture.h"

#include <algorithm>
#include <random>

namespace tarq::test {
namespace {

class SymmetryTest : public EnvTest {
protected:
    void use(bool breaking)
    {
        config.preprocessor.symmetry_breaking = breaking;
        config.model_generation = true;
        make();
        sort_ = tm->get_simple_type("U");
        f_ = tm->make_symbol("f", tm->get_function_type({sort_}, sort_));
    }

    const Term_* u(const std::string& name)
    {
        return tm->make_constant(tm->make_symbol(name, sort_));
    }
    const Term_* f(const Term_* t) { return tm->make_uninterpreted_function(f_, TermVector{t}); }
    TermVector constants(const std::string& prefix, size_t n)
    {
        TermVector out;
        for (size_t i = 0; i < n; ++i) {
            out.push_back(u(prefix + std::to_string(i)));
        }
        return out;
    }
    const Term_* one_of(const Term_* t, TermArgs values)
    {
        const Term_* clause = tm->make_false();
        for (const Term_* v : values) {
            clause = tm->make_or(clause, tm->make_equal(t, v));
        }
        return clause;
    }

    /// Each of the pigeons has one of the holes.
    void assert_pigeons(size_t pigeons, size_t holes)
    {
        const TermVector p = constants("x", pigeons);
        const TermVector h = constants("h", holes);
        for (size_t i = 0; i < pigeons; ++i) {
            env->assert_formula(one_of(f(p[i]), h));
            for (size_t k = 0; k < i; ++k) {
                env->assert_formula(no(tm->make_equal(f(p[i]), f(p[k]))));
            }
        }
    }

    const DataType* sort_ = nullptr;
    const Symbol* f_ = nullptr;
};

TEST_F(SymmetryTest, pigeons_need_no_search_and_the_constraints_are_gone_after_the_check)
{
    use(true);
    assert_pigeons(15, 15);
    env->push_backtrack_point();
    const Term_* last = f(u("x15"));
    env->assert_formula(one_of(last, constants("h", 15)));
    for (const Term_* p : constants("x", 15)) {
        env->assert_formula(no(tm->make_equal(last, f(p))));
    }
    EXPECT_EQ(0, env->check()); // hours without symmetry breaking
    EXPECT_TRUE(core().empty());
    EXPECT_EQ(0, env->check());
    env->pop_backtrack_point();
    EXPECT_EQ(1, env->check());
    // any pigeon may have any hole
    for (size_t i : {0, 14}) {
        env->push_backtrack_point();
        env->assert_formula(tm->make_equal(f(u("x0")), u("h" + std::to_string(i))));
        env->assert_formula(tm->make_equal(f(u("x14")), u("h" + std::to_string(14 - i))));
        EXPECT_EQ(1, env->check());
        env->pop_backtrack_point();
    }
}

/// Formulas over c0 ... c3, the elements d and e, and values of f: clauses come with all their
/// images under permutations of the c's, except that a few may be left out.
class RandomSymmetric {
public:
    RandomSymmetric(TermManager* tm, TermArgs constants, TermArgs others, const Symbol* f,
                    uint64_t seed)
        : tm_(tm), constants_(constants.begin(), constants.end()), rng_(seed)
    {
        const auto add_with_value = [&](const Term_* t) {
            terms_.push_back(t);
            terms_.push_back(tm->make_uninterpreted_function(f, TermVector{t}));
        };
        std::for_each(constants.begin(), constants.end(), add_with_value);
        std::for_each(others.begin(), others.end(), add_with_value);
        others_.assign(others.begin(), others.end());
    }

    TermVector formulas()
    {
        TermVector out;
        for (size_t n = 1 + below(5); n > 0; --n) {
            const Term_* clause = below(3) ? any_clause() : cover();
            add_images(clause, &out);
        }
        if (below(4) == 0) {
            out.push_back(any_clause());
        }
        if (below(8) == 0) {
            out.erase(out.begin() + static_cast<long>(below(out.size())));
        }
        std::shuffle(out.begin(), out.end(), rng_);
        return out;
    }
    const Term_* any_clause()
    {
        const Term_* clause = tm_->make_false();
        for (size_t n = 1 + below(3); n > 0; --n) {
            const Term_* e = tm_->make_equal(term(), term());
            clause = tm_->make_or(clause, below(3) ? tm_->make_not(e) : e);
        }
        return clause;
    }

private:
    size_t below(size_t n) { return rng_() % n; }
    const Term_* term() { return terms_[below(terms_.size())]; }

    const Term_* cover()
    {
        const Term_* t = terms_[1 + 2 * below(terms_.size() / 2)];
        const Term_* clause = tm_->make_false();
        for (const Term_* c : constants_) {
            clause = tm_->make_or(clause, tm_->make_equal(t, c));
        }
        return below(3) ? clause : tm_->make_or(clause, tm_->make_equal(t, others_.front()));
    }

    void add_images(const Term_* clause, TermVector* out)
    {
        TermVector image = constants_;
        do {
            TermMap map;
            for (size_t i = 0; i < image.size(); ++i) {
                map[constants_[i]] = image[i];
            }
            out->push_back(tm_->substitute(clause, map));
        } while (std::next_permutation(image.begin(), image.end(), term_lt()));
    }

    TermManager* tm_;
    TermVector constants_, others_, terms_;
    std::mt19937_64 rng_;
};

TEST_F(SymmetryTest, random_formulas_have_the_same_answers_as_without)
{
    size_t broken = 0, unsat_broken = 0;
    for (uint64_t seed = 1; seed <= 600 && !HasFailure(); ++seed) {
        use(true);
        Configuration plain_config;
        Environment plain(&plain_config, tm);
        TermVector c = constants("c", 4);
        std::sort(c.begin(), c.end(), term_lt());
        RandomSymmetric random(tm, c, constants("d", 2), f_, seed);
        TermVector all = random.formulas();
        const Term_* constraints = SymmetryBreaker(tm)(all);
        for (const Term_* t : all) {
            env->assert_formula(t);
            plain.assert_formula(t);
        }
        for (int round = 0; round < 3; ++round) {
            const int expected = plain.check();
            ASSERT_EQ(expected, env->check()) << "seed " << seed;
            if (round == 0) {
                broken += !tm->is_true(constraints);
                unsat_broken += !tm->is_true(constraints) && expected == 0;
            }
            for (const Term_* t : all) {
                ASSERT_TRUE(!expected || tm->is_true(env->get_model_value(t))) << "seed " << seed;
            }
            all.push_back(
                random.any_clause()); // what the first check saw need not be symmetric now
            env->assert_formula(all.back());
            plain.assert_formula(all.back());
        }
    }
    EXPECT_GT(broken, 150u);
    EXPECT_GT(unsat_broken, 20u);
}

TEST_F(SymmetryTest, a_constraint_keeps_terms_outside_the_set_and_counts_constants_in_terms)
{
    use(false);
    const TermVector c = constants("c", 3);
    const Term_* d = u("d");
    TermVector values = c;
    values.push_back(d);
    // of f(c0), f(c1), f(c2), each in {c0, c1, c2, d}, the first may be told by its own constant
    TermVector all;
    for (const Term_* x : c) {
        all.push_back(one_of(f(x), values));
    }
    EXPECT_EQ(SymmetryBreaker(tm)(all), one_of(f(c[0]), TermVector{c[0], c[1], d}));
    // g(d) has no such constant, and nothing is symmetric once one of the three has a property
    TermVector more{one_of(f(d), values)};
    EXPECT_EQ(SymmetryBreaker(tm)(more), one_of(f(d), TermVector{c[0], d}));
    more.push_back(no(tm->make_equal(f(f(d)), c[1])));
    EXPECT_EQ(SymmetryBreaker(tm)(more), one_of(f(d), TermVector{c[0], d, c[1]}));
    more.push_back(no(tm->make_equal(c[0], f(c[2]))));
    EXPECT_EQ(SymmetryBreaker(tm)(more), tm->make_true());
}

} // namespace
} // namespace tarq::test
