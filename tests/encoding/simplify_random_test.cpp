// Random terms over every operator keep their values: through construction-time simplification, the
// standard rules run over whole terms, and the preprocessing rules.
#include "encoding/normrules.h"

#include "base/configuration.h"
#include "encoding/termiteencoder.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termeval.h"
#include "terms/termgen.h"
#include "terms/termmanager.h"
#include "terms/termnormalizer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace tarq::test {
namespace {

/// Number of terms; TARQ_SIMPLIFY_TERMS sets it for a long run.
size_t num_terms()
{
    const char* env = std::getenv("TARQ_SIMPLIFY_TERMS");
    return env ? std::strtoul(env, nullptr, 10) : 4000;
}

constexpr size_t TERMS_PER_ROUND = 100;

class RandomRound {
public:
    RandomRound(uint64_t seed)
        : simplifier_(&tm_), standard_(&tm_), rules_(&tm_), again_(&tm_), ites_(&tm_, true, 0, true)
    {
        tm_.set_simplifier(&simplifier_);
        tm_.set_simplify(true);
        for (const auto& rule : standard_term_rules()) {
            standard_.register_rule(rule.get());
        }
        Configuration config;
        config.preprocessor.simplification = 30;
        // a division by zero has its usual value, or is some function of the dividend
        config.theory.bv.div_by_zero_mode = static_cast<int>(seed % 2);
        register_preprocessing_normalizations(config, &rules_);
        register_preprocessing_normalizations(config, &again_);
        for (uint64_t i = 0; i < 4; ++i) {
            worlds_.emplace_back(tm_, seed * 4 + i, seed % 2 == 1);
        }
        seed_ = seed;
    }

    void run()
    {
        TermGenerator generator(tm_, seed_);
        for (size_t i = 0; i < TERMS_PER_ROUND && !::testing::Test::HasFailure(); ++i) {
            const TermPair t = generator.next();
            if (!is_small(t.raw)) {
                generator.drop_last();
                continue;
            }
            compare("construction", t.raw, t.simplified);
            compare("the standard rules", t.raw, standard_(t.raw));
            compare("the preprocessing rules", t.raw, rules_(t.raw));
            compare("the rules on term-ITEs", t.raw, ites_.simplify(t.raw));
            const Term_* normal = rules_(t.simplified);
            compare("the preprocessing rules on what construction gave", t.raw, normal);
            EXPECT_EQ(again_(normal), normal)
                << "seed " << seed_ << ": a second run changes the term\nfrom "
                << t.simplified->to_str(2000) << "\nvia " << normal->to_str(2000) << "\nto "
                << again_(normal)->to_str(2000);
        }
    }

private:
    /// Whether the value of an arithmetic term is of a size that products of it can be tried.
    bool is_small(const Term_* t)
    {
        for (Interpretation& world : worlds_) {
            const Value& v = world(t);
            if (mpz_sizeinbase(v.number.get_num_mpz_t(), 2) > 500 ||
                mpz_sizeinbase(v.number.get_den_mpz_t(), 2) > 500) {
                return false;
            }
        }
        return true;
    }

    void compare(const char* what, const Term_* from, const Term_* to)
    {
        const DataType* type = TermManager::get_type(from);
        EXPECT_TRUE(tm_.is_subtype(TermManager::get_type(to), type)) << what;
        for (Interpretation& world : worlds_) {
            if (!(world(from) == world(to))) {
                ADD_FAILURE() << "seed " << seed_ << ": " << what << " changed the value of\n"
                              << from->to_str(4000) << "\nto that of\n"
                              << to->to_str(4000);
                return;
            }
        }
    }

    TermManager tm_;
    StdTermSimplifier simplifier_;
    TermNormalizer standard_, rules_, again_;
    TermIteEncoder ites_;
    std::vector<Interpretation> worlds_;
    uint64_t seed_ = 0;
};

TEST(SimplifyRandom, terms_keep_their_values_and_normal_forms_are_stable)
{
    for (size_t i = 0; i * TERMS_PER_ROUND < num_terms() && !HasFailure(); ++i) {
        RandomRound(i + 1).run();
    }
}

} // namespace
} // namespace tarq::test
