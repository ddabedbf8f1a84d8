// Unsat cores of both kinds against truth tables, and which check a core belongs to.
#include "envfixture.h"

#include "dpll/allsathook.h"
#include "dpll/dpllsolver.h"
#include "results/unsatcorestore.h"

namespace tarq::test {
namespace {

constexpr const char* NO_PROOF = "no unsatisfiability proof, impossible to compute unsat core";

/// Finds cores of clauses by a search of its own, which assumes them one by one.
class Extractor : public BooleanUnsatCoreExtractor {
public:
    bool operator()(const std::vector<std::vector<int>>& clauses,
                    std::vector<size_t>& core) override
    {
        if (fails) {
            return false;
        }
        Configuration config;
        DpllSolver solver(config.dpll, nullptr);
        std::vector<dpll::Lit> labels;
        for (size_t i = 0; i < clauses.size(); ++i) {
            labels.emplace_back(solver.new_var());
        }
        for (size_t i = 0; i < clauses.size(); ++i) {
            std::vector<dpll::Lit> lits{~labels[i]};
            for (int l : clauses[i]) {
                const int var = static_cast<int>(labels.size()) + std::abs(l) - 1;
                while (solver.num_vars() <= var) {
                    solver.new_var();
                }
                lits.emplace_back(var, l < 0);
            }
            solver.add_clause(lits);
        }
        if (solver.solve(labels)) {
            return false;
        }
        for (dpll::Lit l : solver.get_conflict()) {
            core.push_back(static_cast<size_t>(l.var()));
        }
        return true;
    }

    bool fails = false;
};

class UnsatCoreTest : public EnvTest {
protected:
    void make_mode(int mode)
    {
        config.unsat_core_generation = mode;
        config.dpll.store_tlemmas = mode == 2;
        make();
        if (mode == 2) {
            env->set_external_core_extractor(&extractor);
        }
    }
    size_t random(size_t n) { return formulas->rng() % n; }

    TermVector unsat_core()
    {
        TermVector out;
        for (auto it = env->unsat_core_begin(); it != env->unsat_core_end(); ++it) {
            out.push_back(*it);
        }
        std::sort(out.begin(), out.end(), term_lt());
        return out;
    }
    std::string core_error()
    {
        return error_of([&] { unsat_core(); });
    }
    static TermVector sorted(TermVector terms)
    {
        std::sort(terms.begin(), terms.end(), term_lt());
        return terms;
    }

    Extractor extractor;
};

/// Checks, under some assumptions at times, and has the truth tables judge the core.
TEST_F(UnsatCoreTest, cores_are_unsatisfiable_asserted_formulas)
{
    size_t smaller = 0;
    for (int round = 0; round < 200; ++round) {
        config.shallow_incrementality = round % 3 == 0;
        config.preprocessor.full_cnf_conversion = round % 5 == 1;
        config.dpll.preprocessor.mode = round % 4 == 3 ? 1 : 0;
        config.dpll.ghost_filtering = round % 7 == 3;
        make_mode(round % 2 ? 3 : 2);
        formulas->rng.seed(static_cast<uint64_t>(round));
        std::vector<TermVector> levels(1);
        for (int step = 0; step < 50; ++step) {
            SCOPED_TRACE(std::to_string(round) + ", step " + std::to_string(step));
            const size_t what = random(10);
            if (what < 5) {
                levels.back().push_back(formulas->random(1 + static_cast<int>(random(3))));
                env->assert_formula(levels.back().back());
                continue;
            }
            if (what == 5) {
                env->push_backtrack_point();
                levels.emplace_back();
                continue;
            }
            if (what == 6 && levels.size() > 1) {
                env->pop_backtrack_point();
                levels.pop_back();
                continue;
            }
            std::vector<TheoryLit> lits;
            for (size_t n = random(3); n > 0; --n) {
                lits.emplace_back(p(random(6)), random(2) == 0);
            }
            if ((lits.empty() ? env->check() : check(lits)) == 1) {
                ASSERT_EQ(core_error(), NO_PROOF);
                continue;
            }
            TermSet asserted;
            for (const TermVector& level : levels) {
                for (const Term_* t : level) {
                    asserted.insert(t);
                }
            }
            uint64_t table = ~uint64_t{0};
            const TermVector found = unsat_core();
            for (const Term_* t : found) {
                ASSERT_TRUE(asserted.contains(t));
                table &= formulas->table(t);
            }
            for (TheoryLit l : core()) {
                const uint64_t t = formulas->table(l.get_term());
                table &= l.is_neg() ? ~t : t;
            }
            ASSERT_EQ(table, 0U);
            smaller += static_cast<size_t>(found.size() < asserted.size());
        }
    }
    EXPECT_GT(smaller, 1000U);
}

TEST_F(UnsatCoreTest, theories_have_a_part_in_cores)
{
    for (int mode : {2, 3}) {
        make_mode(mode);
        const DataType* word = tm->get_bv_type(4);
        const auto constant_of = [&](const char* name, const DataType* type) {
            return tm->make_constant(tm->make_symbol(name, type));
        };
        const Term_* x = constant_of("x", tm->get_real_type());
        const Term_* y = constant_of("y", tm->get_real_type());
        const Term_* a = constant_of("a", word);
        const Term_* b = constant_of("b", word);
        const Term_* zero = tm->make_number(0);
        const TermVector arithmetic{no(tm->make_leq(zero, x)), tm->make_leq(zero, y),
                                    tm->make_or(p(0), tm->make_leq(y, x)), no(p(0))};
        const TermVector words{tm->make_bv_ult(a, b), tm->make_bv_ult(b, a)};
        env->assert_formula(tm->make_or(p(1), p(2)));
        for (const TermVector& contradiction : {arithmetic, words}) {
            env->push_backtrack_point();
            for (const Term_* t : contradiction) {
                EXPECT_EQ(env->check(), 1);
                env->assert_formula(t);
            }
            EXPECT_EQ(env->check(), 0);
            EXPECT_EQ(unsat_core(), sorted(contradiction));
            env->pop_backtrack_point();
        }
    }
}

TEST_F(UnsatCoreTest, a_core_belongs_to_the_last_check)
{
    for (bool shallow : {false, true}) {
        for (int mode : {2, 3}) {
            config.shallow_incrementality = shallow;
            make_mode(mode);
            EXPECT_EQ(core_error(), NO_PROOF) << "no check yet";
            const Term_* a = tm->make_or(no(p(0)), p(2));
            const Term_* b = tm->make_or(no(p(1)), p(2));
            env->assert_formula(a);
            env->assert_formula(b);
            env->assert_formula(no(p(2)));
            EXPECT_EQ(check({pos(p(0))}), 0);
            EXPECT_EQ(unsat_core(), sorted({a, no(p(2))}));
            EXPECT_EQ(check({pos(p(1))}), 0);
            EXPECT_EQ(unsat_core(), sorted({b, no(p(2))}));
            env->push_backtrack_point();
            env->assert_formula(p(1));
            EXPECT_EQ(env->check(), 0);
            const TermVector expected = sorted({b, no(p(2)), p(1)});
            EXPECT_EQ(unsat_core(), expected);
            EXPECT_EQ(check({pos(p(0))}), 0); // answered without a search
            EXPECT_EQ(unsat_core(), expected);
            env->assert_formula(no(p(1))); // not looked at yet
            EXPECT_EQ(unsat_core(), expected);
            env->push_backtrack_point();
            EXPECT_EQ(env->check(), 0);
            env->pop_backtrack_point();
            EXPECT_EQ(unsat_core(), expected) << "nothing that it needs was popped";
            env->pop_backtrack_point();
            EXPECT_EQ(core_error(), NO_PROOF);
            EXPECT_EQ(env->check(), 1);
            EXPECT_EQ(core_error(), NO_PROOF);
        }
    }
}

TEST_F(UnsatCoreTest, a_formula_that_is_false_is_a_core_until_it_is_popped)
{
    for (int mode : {2, 3}) {
        make_mode(mode);
        extractor.fails = true; // nobody is asked
        env->push_backtrack_point();
        env->assert_formula(p(1));
        env->assert_formula(tm->make_false());
        EXPECT_EQ(env->check(), 0);
        EXPECT_EQ(env->get_raw_stats().sat_checks, 0U);
        EXPECT_EQ(unsat_core(), TermVector{tm->make_false()});
        env->pop_backtrack_point();
        extractor.fails = false;
        env->assert_formula(p(0));
        env->assert_formula(p(0)); // twice: once in the core
        env->assert_formula(no(p(0)));
        EXPECT_EQ(env->check(), 0);
        EXPECT_EQ(unsat_core(), sorted({p(0), no(p(0))}));
    }
}

TEST_F(UnsatCoreTest, says_why_there_is_none)
{
    EXPECT_EQ(core_error(), "unsat core generation not enabled");
    EXPECT_EQ(error_of([&] { env->set_external_core_extractor(&extractor); }),
              "unsat core generation not enabled");
    Configuration by_proof;
    by_proof.unsat_core_generation = 1;
    EXPECT_EQ(error_of([&] { Environment e(&by_proof); }),
              "option `unsat_core_generation=1' is not supported");

    make_mode(2);
    env->assert_formula(p(0));
    env->assert_formula(no(p(0)));
    EXPECT_EQ(env->check(), 0);
    env->set_external_core_extractor(nullptr);
    EXPECT_EQ(core_error(), NO_PROOF);
    extractor.fails = true;
    env->set_external_core_extractor(&extractor);
    EXPECT_EQ(core_error(), "failure in computing unsat core with external extractor");
    extractor.fails = false;
    EXPECT_EQ(unsat_core().size(), 2U) << "a failure is not remembered as a core";

    // Excluded models are no formula that a core could name.
    make_mode(3);
    env->assert_formula(p(0));
    env->push_backtrack_point();
    AllSatModelFoundHook silent;
    EXPECT_EQ(env->allsat(silent, TermVector{p(0)}), 1);
    EXPECT_EQ(env->check(), 0);
    EXPECT_EQ(core_error(), "no unsat core: models were excluded by an enumeration");
    env->pop_backtrack_point();
    env->assert_formula(no(p(0)));
    EXPECT_EQ(env->check(), 0);
    EXPECT_EQ(unsat_core().size(), 2U);
}

TEST_F(UnsatCoreTest, diversified_models_satisfy_the_labelled_formulas)
{
    config.model_generation = true;
    make_mode(3);
    env->assert_formula(tm->make_or(p(0), p(1)));
    class Count : public Environment::ModelFoundHook {
    public:
        bool operator()(ModelStore*) override { return true; }
    } hook;
    EXPECT_EQ(env->diversify(hook, TermVector{p(0), p(1)}), 3);
}

} // namespace
} // namespace tarq::test
