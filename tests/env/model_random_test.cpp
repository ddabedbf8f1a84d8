// Random sequences of assertions, backtrack points and checks over the theories that are there: an
// environment with preprocessing options drawn at random answers as one without any preprocessing,
// and its models satisfy what was asserted, as it was asserted.
#include "env/environment.h"
#include "results/modelstore.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace tarq::test {
namespace {

/// Number of sequences; TARQ_MODEL_RUNS sets it for a long run.
size_t num_runs()
{
    const char* env = std::getenv("TARQ_MODEL_RUNS");
    return env ? std::strtoul(env, nullptr, 10) : 250;
}

class RandomFormulas {
public:
    RandomFormulas(TermManager& tm, uint64_t seed) : tm_(tm), rng_(seed)
    {
        const DataType* sort = tm.get_simple_type("U");
        const DataType* number = tm.get_real_type();
        for (int i = 0; i < 4; ++i) {
            const std::string n = std::to_string(i);
            bools_.push_back(constant("b" + n, tm.get_bool_type()));
            elements_.push_back(constant("u" + n, sort));
            numbers_.push_back(constant("r" + n, number));
        }
        // of these there are many, so that some occur once
        for (size_t width = 1; width <= MAX_WIDTH; ++width) {
            const DataType* word = tm.get_bv_type(width);
            words_.emplace_back();
            arrays_.emplace_back();
            for (int i = 0; i < 12; ++i) {
                const std::string n = std::to_string(width) + "_" + std::to_string(i);
                words_.back().push_back(constant("w" + n, word));
                arrays_.back().push_back(
                    constant("a" + n, tm.get_array_type(tm.get_bv_type(2), word)));
            }
        }
        f_ = tm.make_symbol("f", tm.get_function_type({sort, sort}, sort));
        g_ = tm.make_symbol("g", tm.get_function_type({sort}, number));
        p_ = tm.make_symbol("p", tm.get_function_type({sort}, tm.get_bool_type()));
    }

    size_t below(size_t n) { return rng_() % n; }

    const Term_* formula(int depth)
    {
        if (depth == 0 || below(6) == 0) {
            return atom();
        }
        const Term_* a = formula(depth - 1);
        if (below(4) == 0) {
            return tm_.make_not(a);
        }
        const Term_* b = formula(depth - 1);
        switch (below(3)) {
        case 0:
            return tm_.make_and(a, b);
        case 1:
            return tm_.make_or(a, b);
        default:
            return tm_.make_iff(a, b);
        }
    }

    /// An atom, often an equation that defines something.
    const Term_* atom()
    {
        switch (below(8)) {
        case 6:
        case 7:
            return word_atom();
        case 0: {
            const Term_* u = element(1);
            return tm_.make_uninterpreted_function(p_, TermArgs(&u, 1));
        }
        case 1: {
            const Term_* a = element(2);
            return tm_.make_equal(a, element(2));
        }
        case 2: {
            const Term_* a = number(2);
            return tm_.make_equal(a, number(1));
        }
        case 3: {
            const Term_* a = number(2);
            return tm_.make_leq(a, number(1));
        }
        default:
            return bools_[below(bools_.size())];
        }
    }

    const Term_* word_atom()
    {
        const size_t width = 1 + below(MAX_WIDTH);
        const Term_* a = word(width, 2);
        const Term_* b = word(width, 2);
        switch (below(6)) {
        case 0:
            return tm_.make_bv_ult(a, b);
        case 1:
            return tm_.make_bv_ule(a, b);
        case 2:
            return tm_.make_bv_slt(a, b);
        case 3:
            return tm_.make_bv_sle(a, b);
        default:
            return tm_.make_equal(a, b);
        }
    }

    const Term_* word(size_t width, int depth)
    {
        if (depth == 0 || below(5) == 0) {
            return below(4) == 0 ? tm_.make_bv_number(long(below(size_t(1) << width)), width)
                                 : any(words_[width - 1]);
        }
        const Term_* a = word(width, depth - 1);
        switch (below(18)) {
        case 0:
            return tm_.make_bv_not(a);
        case 1:
            return tm_.make_bv_neg(a);
        case 2:
            return tm_.make_bv_rotate_left(1, a);
        case 3:
            return tm_.make_bv_extract(width, 1, word_above(width, a, depth - 1));
        case 4:
            return tm_.make_array_read(any(arrays_[width - 1]), word(2, depth - 1));
        case 5: {
            const Term_* i = word(2, depth - 1);
            const Term_* written = tm_.make_array_write(any(arrays_[width - 1]), i, a);
            return tm_.make_array_read(written, word(2, depth - 1));
        }
        default:
            break;
        }
        const Term_* b = word(width, depth - 1);
        switch (below(13)) {
        case 0:
            return tm_.make_bv_and(a, b);
        case 1:
            return tm_.make_bv_or(a, b);
        case 2:
            return tm_.make_bv_xor(a, b);
        case 3:
            return tm_.make_bv_add(a, b);
        case 4:
            return tm_.make_bv_sub(a, b);
        case 5:
            return tm_.make_bv_mul(a, b);
        case 6:
            return tm_.make_bv_udiv(a, b);
        case 7:
            return tm_.make_bv_sdiv(a, b);
        case 8:
            return tm_.make_bv_lshl(a, b);
        case 9:
            return tm_.make_bv_lshr(a, b);
        case 10:
            return tm_.make_bv_ashr(a, b);
        case 11: {
            const Term_* bit = tm_.make_bv_comp(a, b);
            return width == 1 ? bit : tm_.make_bv_zero_extend(width - 1, bit);
        }
        default:
            return tm_.make_term_ite(formula(1), a, b);
        }
    }

    const Term_* element(int depth)
    {
        if (depth == 0 || below(2) == 0) {
            return elements_[below(elements_.size())];
        }
        const Term_* a = element(depth - 1);
        const Term_* b = element(depth - 1);
        if (below(3) == 0) {
            return tm_.make_term_ite(bools_[below(bools_.size())], a, b);
        }
        const Term_* args[] = {a, b};
        return tm_.make_uninterpreted_function(f_, args);
    }

    const Term_* number(int depth)
    {
        if (depth == 0 || below(3) == 0) {
            return below(4) == 0 ? tm_.make_number(QNumber(long(below(7)) - 3, 1 + long(below(2))))
                                 : numbers_[below(numbers_.size())];
        }
        const Term_* a = number(depth - 1);
        switch (below(5)) {
        case 0: {
            const Term_* c = formula(1);
            return tm_.make_term_ite(c, a, number(depth - 1));
        }
        case 1: {
            const Term_* u = element(1);
            return tm_.make_uninterpreted_function(g_, TermArgs(&u, 1));
        }
        case 2:
            return tm_.make_times(tm_.make_number(long(below(5)) - 2), a);
        default:
            return tm_.make_plus(a, number(depth - 1));
        }
    }

    const Term_* assumption() { return atom(); }

private:
    static constexpr size_t MAX_WIDTH = 3;

    const Term_* any(const TermVector& terms) { return terms[below(terms.size())]; }
    /// A word of one bit more.
    const Term_* word_above(size_t width, const Term_* a, int depth)
    {
        return width < MAX_WIDTH ? word(width + 1, depth) : tm_.make_bv_concat(word(1, depth), a);
    }
    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm_.make_constant(tm_.make_symbol(name, type));
    }

    TermManager& tm_;
    std::mt19937_64 rng_;
    TermVector bools_, elements_, numbers_;
    std::vector<TermVector> words_, arrays_; // by width of a word or element, less 1
    const Symbol *f_, *g_, *p_;
};

void draw_options(RandomFormulas& random, Configuration* config)
{
    config->model_generation = true;
    config->preprocessor.toplevel_propagation = random.below(4) != 0;
    config->preprocessor.toplevel_propagation_limit = static_cast<int>(random.below(3));
    config->preprocessor.simplification = static_cast<int>(random.below(32));
    config->preprocessor.ite_minimization = random.below(2) != 0;
    config->preprocessor.ite_minimization_call_limit = static_cast<int>(random.below(10));
    config->preprocessor.partial_nnf_conversion = random.below(2) != 0;
    config->preprocessor.full_cnf_conversion = random.below(2) != 0;
    config->preprocessor.free_input_propagation = random.below(2) != 0;
    config->preprocessor.symmetry_breaking = random.below(2) != 0;
    config->shallow_incrementality = random.below(4) == 0;
    config->dpll.ghost_filtering = random.below(4) == 0;
    config->dpll.minimize_model = random.below(4) == 0;
}

/// One sequence on two environments.
class Sequence {
public:
    explicit Sequence(uint64_t seed) : seed_(seed)
    {
        Configuration plain;
        plain.preprocessor.toplevel_propagation = false;
        plain.preprocessor.simplification = 0;
        plain_ = std::make_unique<Environment>(&plain);
        TermManager& tm = *plain_->get_term_manager();
        random_ = std::make_unique<RandomFormulas>(tm, seed);
        Configuration drawn;
        draw_options(*random_, &drawn);
        drawn_ = std::make_unique<Environment>(&drawn, &tm);
    }

    void run()
    {
        for (int step = 0; step < 14 && !::testing::Test::HasFailure(); ++step) {
            switch (random_->below(8)) {
            case 0:
                plain_->push_backtrack_point();
                drawn_->push_backtrack_point();
                break;
            case 1:
                if (plain_->num_backtrack_points() > 0) {
                    plain_->pop_backtrack_point();
                    drawn_->pop_backtrack_point();
                }
                break;
            case 2:
            case 3:
                check({});
                break;
            case 4:
                check_assuming();
                break;
            default: {
                const Term_* f = random_->formula(3);
                plain_->assert_formula(f);
                drawn_->assert_formula(f);
                break;
            }
            }
        }
        check({});
    }

    size_t models = 0;
    size_t refutations = 0;

private:
    void check_assuming()
    {
        std::vector<TheoryLit> lits;
        for (size_t n = 1 + random_->below(3); n > 0; --n) {
            const Term_* t = random_->assumption();
            const bool is_literal = plain_->get_term_manager()->is_boolean_atom(t);
            if (is_literal) {
                lits.emplace_back(t, random_->below(2) != 0);
            }
        }
        check(lits);
    }

    void check(const std::vector<TheoryLit>& lits)
    {
        TermManager* tm = plain_->get_term_manager();
        const int expected = plain_->check_with_assumptions(lits);
        const int result = lits.empty() ? drawn_->check() : drawn_->check_with_assumptions(lits);
        ASSERT_EQ(result, expected) << "seed " << seed_;
        if (result == 0) {
            ++refutations;
            return;
        }
        ++models;
        TermVector formulas;
        drawn_->get_asserted_formulas(&formulas);
        for (TheoryLit l : lits) {
            formulas.push_back(l.is_neg() ? tm->make_not(l.get_term()) : l.get_term());
        }
        for (const Term_* f : formulas) {
            ASSERT_TRUE(tm->is_true(drawn_->get_model_value(f)))
                << "seed " << seed_ << ": " << f->to_str(2000);
        }
    }

    uint64_t seed_;
    std::unique_ptr<Environment> plain_; // owns the terms, so it goes last
    std::unique_ptr<RandomFormulas> random_;
    std::unique_ptr<Environment> drawn_;
};

TEST(ModelRandom, preprocessing_changes_no_answer_and_models_satisfy_the_formulas)
{
    size_t models = 0;
    size_t refutations = 0;
    const char* only = std::getenv("TARQ_MODEL_SEED");
    const uint64_t first = only ? std::strtoul(only, nullptr, 10) : 1;
    for (uint64_t seed = first; seed < first + (only ? 1 : num_runs()); ++seed) {
        Sequence sequence(seed);
        try {
            sequence.run();
        } catch (const std::exception& e) {
            ADD_FAILURE() << "seed " << seed << ": " << e.what();
        }
        models += sequence.models;
        refutations += sequence.refutations;
        if (::testing::Test::HasFailure()) {
            break;
        }
    }
    if (!only) {
        EXPECT_GT(models, num_runs() / 2);
        EXPECT_GT(refutations, num_runs() / 10);
    }
}

} // namespace
} // namespace tarq::test
