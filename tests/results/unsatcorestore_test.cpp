// The clauses that an extractor gets, and which formulas its answer stands for.
#include "results/unsatcorestore.h"

#include "base/configuration.h"
#include "dpll/dpllsolver.h"

#include <gtest/gtest.h>

namespace tarq {
namespace {

using dpll::Lit;

class FixedExtractor : public BooleanUnsatCoreExtractor {
public:
    bool operator()(const std::vector<std::vector<int>>& clauses,
                    std::vector<size_t>& core) override
    {
        seen = clauses;
        core = answer;
        return true;
    }

    std::vector<std::vector<int>> seen;
    std::vector<size_t> answer;
};

class UnsatCoreStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        config.unsat_core_generation = 2;
        config.dpll.store_tlemmas = true;
        solver = std::make_unique<DpllSolver>(config.dpll, &tm);
        store = std::make_unique<UnsatCoreStore>(config, &tm, solver.get());
        store->set_external_core_extractor(&extractor);
        for (const char* name : {"f", "g", "h"}) {
            formulas.push_back(tm.make_constant(tm.make_symbol(name, tm.get_bool_type())));
        }
        a = Lit(solver->new_var());
        b = Lit(solver->new_var());
    }
    void add(size_t formula, std::vector<Lit> lits)
    {
        store->add_formula(formulas[formula], formulas[formula]);
        add_definition(std::move(lits));
    }
    /// The engine makes no object for a unit, or what is satisfied: then a copy goes on record.
    void add_definition(std::vector<Lit> lits)
    {
        dpll::Clause* copy = solver->make_detached_clause(lits);
        dpll::Clause* c = solver->add_clause_inplace(lits, false, true);
        store->add_clause(c ? c : copy);
        solver->release_clause(copy);
    }
    TermVector core()
    {
        const auto begin = store->begin();
        return TermVector(begin, store->end());
    }

    TermManager tm;
    Configuration config;
    std::unique_ptr<DpllSolver> solver;
    std::unique_ptr<UnsatCoreStore> store;
    FixedExtractor extractor;
    TermVector formulas;
    Lit a, b;
};

TEST_F(UnsatCoreStoreTest, clauses_come_sorted_numbered_and_without_guards)
{
    add(0, {b, a});
    solver->push_backtrack_point();
    store->push_backtrack_point();
    add(1, {~b});
    add(2, {~a, b});
    store->set_defining(true);
    add_definition({~a});
    store->set_defining(false);
    solver->keep_axiom({b});
    EXPECT_FALSE(solver->solve());
    store->tell_unsat();
    extractor.answer = {0, 1, 2};
    // by content: a b, -a, -a b, b, -b
    EXPECT_EQ(core(), (TermVector{formulas[0], formulas[2]}));
    EXPECT_EQ(extractor.seen, (std::vector<std::vector<int>>{{1, 2}, {-1}, {-1, 2}, {2}, {-2}}));

    solver->pop_backtrack_point();
    store->pop_backtrack_point(false);
    store->forget_refutation();
    EXPECT_THROW(core(), UnsatCoreStore::error);
    add(1, {~a});
    EXPECT_FALSE(solver->solve({~b}));
    store->tell_unsat();
    extractor.answer = {1};
    EXPECT_EQ(core(), TermVector{formulas[1]});
    EXPECT_EQ(extractor.seen, (std::vector<std::vector<int>>{{1, 2}, {-1}, {-2}}))
        << "the failed assumption takes part";
}

TEST_F(UnsatCoreStoreTest, an_index_without_a_clause_is_a_failure)
{
    add(0, {a});
    add(1, {~a});
    EXPECT_FALSE(solver->solve());
    store->tell_unsat();
    extractor.answer = {0, 2};
    EXPECT_THROW(core(), UnsatCoreStore::error);
    extractor.answer = {0, 1};
    EXPECT_EQ(core().size(), 2U);
}

} // namespace
} // namespace tarq
