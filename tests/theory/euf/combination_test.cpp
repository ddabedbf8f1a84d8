// EUF together with another solver: terms that both see, the equalities on which they have to
// agree, and the lemmas of EUF itself.
#include "dpll/dpllsolver.h"
#include "encoding/polaritychecker.h"
#include "theory/checkedtheorysolver.h"
#include "theory/euf/eufsolverinterface.h"
#include "theory/iesimplifier.h"
#include "theory/theorymanager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

using namespace tarq;
using dpll::Lit;

namespace {

/// Owns Int terms and decides nothing: terms have the values that the test gives them.
class Values : public TheorySolver {
public:
    explicit Values(TermManager* tm) : TheorySolver(tm) {}
    const char* get_name() const override { return "values"; }
    TellAtomResult tell_atom(const Term_* atom) override
    {
        const bool mine = tm_->is_leq(atom) || tm_->is_equal(atom);
        return {mine, mine};
    }
    void retract_atom(const Term_*) override {}
    bool has_lemmas() override { return !lemma.empty(); }
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override
    {
        clause.swap(lemma);
        return lemma_info;
    }
    bool is_alien(const Term_* t) override
    {
        if (tm_->is_equal(t)) {
            return is_alien(t->child(0)) || is_alien(t->child(1));
        }
        return !tm_->is_leq(t) && !tm_->is_constant(t);
    }
    void build_abstract_model() override { ++abstract_models; }
    lbool equal_in_model(const Term_* a, const Term_* b) override
    {
        if (!values.count(a) || !values.count(b)) {
            return l_Undef;
        }
        return values[a] == values[b] ? l_True : l_False;
    }
    const Term_* get_model_value(const Term_* t) override
    {
        return values.count(t) ? tm_->make_number(QNumber(values[t])) : nullptr;
    }
    void notify_interface_term(const Term_* t) override { shared.insert(t); }
    void retract_interface_term(const Term_* t) override { shared.erase(t); }
    bool is_interesting_interface_equality(const Term_*, const Term_*) override
    {
        return interesting;
    }
    bool assume(TheoryLit) override { return true; }
    bool assume(TheoryEq* eq) override
    {
        received.push_back({eq->left, eq->right});
        std::vector<TheoryLit> reasons;
        EXPECT_TRUE(eq->explain(reasons));
        return true;
    }

    std::map<const Term_*, int, term_lt> values;
    std::set<const Term_*, term_lt> shared;
    std::vector<std::pair<const Term_*, const Term_*>> received;
    std::vector<TheoryLit> lemma;
    LemmaInfo lemma_info;
    bool interesting = false;
    int abstract_models = 0;
};

class CombinationTest : public ::testing::Test {
protected:
    void start()
    {
        engine_ = std::make_unique<DpllSolver>(config_.dpll, &tm_);
        polarity_ = std::make_unique<PolarityChecker>(&tm_);
        manager_ = std::make_unique<TheoryManager>(config_.theory, &tm_, engine_.get());
        auto euf = std::make_unique<EufSolverInterface>(config_.theory.euf, &tm_);
        euf_ = euf.get();
        manager_->add_euf_solver(std::make_unique<CheckedTheorySolver>(&tm_, std::move(euf), true),
                                 euf_);
        auto values = std::make_unique<Values>(&tm_);
        values_ = values.get();
        manager_->add_solver(TheoryManager::LA,
                             std::make_unique<CheckedTheorySolver>(&tm_, std::move(values)));
        manager_->start();
        manager_->set_polarity_checker(polarity_.get());
        engine_->set_theory_manager(manager_.get());
    }
    const Term_* constant(const std::string& name)
    {
        return tm_.make_constant(tm_.make_symbol(name, tm_.get_int_type()));
    }
    const Term_* apply(const std::string& name, TermVector args, const DataType* result)
    {
        const TypeVector types(args.size(), tm_.get_int_type());
        return tm_.make_uninterpreted_function(
            tm_.make_symbol(name, tm_.get_function_type(types, result)), args);
    }
    const Term_* p(const Term_* t) { return apply("p", {t}, tm_.get_bool_type()); }
    const Term_* q(const Term_* t) { return apply("q", {t}, tm_.get_bool_type()); }
    const Term_* f(const Term_* t) { return apply("f", {t}, tm_.get_int_type()); }
    const Term_* eq(const Term_* a, const Term_* b) { return make_interface_equality(&tm_, a, b); }
    Lit lit(const Term_* atom, bool neg = false)
    {
        int var;
        engine_->make_proxy(atom, &var);
        return Lit(var, neg);
    }
    void add(std::vector<Lit> clause) { engine_->add_clause(clause); }
    int proxy(const Term_* a, const Term_* b) { return engine_->proxy_for_term(eq(a, b)); }

    TermManager tm_;
    Configuration config_;
    std::unique_ptr<DpllSolver> engine_;
    std::unique_ptr<PolarityChecker> polarity_;
    std::unique_ptr<TheoryManager> manager_;
    EufSolverInterface* euf_ = nullptr;
    Values* values_ = nullptr;
};

TEST_F(CombinationTest, shared_terms_are_found_and_forgotten_with_their_atoms)
{
    start();
    const Term_* x = constant("x");
    const Term_* y = constant("y");
    const Term_* z = constant("z");
    lit(p(x));
    EXPECT_TRUE(values_->shared.empty());
    engine_->push_backtrack_point();
    lit(tm_.make_leq(x, y)); // x is seen by both now, y is not
    EXPECT_EQ(1U, values_->shared.count(x));
    EXPECT_EQ(0U, values_->shared.count(y));
    lit(eq(y, z));
    lit(p(z)); // and so are z and, through the equality, y
    EXPECT_EQ(1U, values_->shared.count(z));
    EXPECT_EQ(1U, values_->shared.count(y));
    lit(tm_.make_leq(f(z), y)); // an argument that is no term of the other solver
    EXPECT_EQ(1U, values_->shared.count(f(z)));
    engine_->pop_backtrack_point();
    EXPECT_TRUE(values_->shared.empty());
    EXPECT_TRUE(manager_->get_interface_terms().empty());
}

/// Three constants of one value, two of which stand as arguments of p and one of q.
class InterfaceEqualityTest : public CombinationTest {
protected:
    void pose()
    {
        start();
        x_ = constant("x");
        y_ = constant("y");
        z_ = constant("z");
        add({lit(p(x_))});
        add({lit(p(y_), true)});
        add({lit(q(z_))});
        for (const Term_* t : {x_, y_, z_}) {
            lit(tm_.make_leq(t, constant("w")));
            values_->values[t] = 5;
        }
    }
    const Term_* x_ = nullptr;
    const Term_* y_ = nullptr;
    const Term_* z_ = nullptr;
};

TEST_F(InterfaceEqualityTest, only_terms_at_one_position_of_a_function_are_compared)
{
    pose();
    EXPECT_TRUE(engine_->solve());
    EXPECT_LE(0, proxy(x_, y_));
    EXPECT_GT(0, proxy(x_, z_));
    EXPECT_TRUE(engine_->get_model_value(proxy(x_, y_)).is_false());
}

TEST_F(InterfaceEqualityTest, without_the_filter_all_pairs_are)
{
    config_.theory.pairwise_interface_eq = false;
    config_.theory.interface_eq_batch_size = 0;
    pose();
    EXPECT_TRUE(engine_->solve());
    EXPECT_LE(0, proxy(x_, y_));
    EXPECT_LE(0, proxy(x_, z_));
    EXPECT_LE(0, proxy(y_, z_));
    EXPECT_EQ("3", manager_->get_stats()[0].second[0].second);
}

TEST_F(InterfaceEqualityTest, values_that_differ_need_no_equality)
{
    pose();
    values_->values[y_] = 6;
    EXPECT_TRUE(engine_->solve());
    EXPECT_LT(0, values_->abstract_models);
    EXPECT_GT(0, proxy(x_, y_));
}

TEST_F(InterfaceEqualityTest, policy_3_makes_none_and_policy_1_makes_all_at_once)
{
    config_.theory.interface_eq_policy = 3;
    pose();
    EXPECT_TRUE(engine_->solve());
    EXPECT_GT(0, proxy(x_, y_));
    EXPECT_EQ(0, values_->abstract_models);

    config_.theory.interface_eq_policy = 1;
    pose();
    EXPECT_TRUE(engine_->solve());
    EXPECT_LE(0, proxy(x_, z_));
    EXPECT_FALSE(engine_->is_decision_var(proxy(x_, z_)));
    // extra at first, but this one turned out to be necessary
    EXPECT_TRUE(engine_->is_decision_var(proxy(x_, y_)));
    EXPECT_FALSE(engine_->get_model_value(proxy(x_, y_)).is_undef());
}

TEST_F(InterfaceEqualityTest, policy_2_asks_the_solvers_once_for_each_set_of_terms)
{
    pose();
    values_->interesting = true;
    EXPECT_TRUE(engine_->solve());
    EXPECT_LE(0, proxy(x_, z_));
    EXPECT_EQ("3", manager_->get_stats()[0].second[1].second);
    EXPECT_TRUE(engine_->solve());
    EXPECT_EQ("3", manager_->get_stats()[0].second[1].second);
}

TEST_F(InterfaceEqualityTest, a_batch_ends_one_above_its_limit)
{
    config_.theory.pairwise_interface_eq = false;
    config_.theory.interface_eq_batch_size = 1;
    pose();
    ASSERT_TRUE(engine_->solve());
    // x and z are then equal in EUF, so the third pair is decided
    EXPECT_EQ("2", manager_->get_stats()[0].second[0].second);
}

TEST_F(InterfaceEqualityTest, more_than_500_terms_are_compared_by_value)
{
    start();
    TermVector terms;
    for (int i = 0; i < 510; ++i) {
        terms.push_back(constant("t" + std::to_string(i)));
        lit(p(terms.back()));
        lit(tm_.make_leq(terms.back(), terms.front()));
        values_->values[terms.back()] = i;
    }
    values_->values[terms[7]] = 400;
    EXPECT_TRUE(engine_->solve());
    EXPECT_EQ("1", manager_->get_stats()[0].second[0].second);
    EXPECT_LE(0, proxy(terms[7], terms[400]));
}

TEST_F(InterfaceEqualityTest, equalities_that_congruence_makes_reach_the_other_solver)
{
    start();
    const Term_* x = constant("x");
    const Term_* y = constant("y");
    lit(tm_.make_leq(f(x), y));
    lit(tm_.make_leq(f(y), y));
    add({lit(eq(x, y))});
    values_->values[x] = values_->values[y] = 1;
    EXPECT_TRUE(engine_->solve());
    EXPECT_TRUE(std::find(values_->received.begin(), values_->received.end(),
                          std::pair(f(x), f(y))) != values_->received.end());

    // sides of equalities with constants are no shared terms, but the other solver sees them
    config_.theory.interface_eq_policy = 3;
    start();
    lit(eq(y, f(x)));
    lit(eq(constant("z"), f(y)));
    add({lit(eq(x, y))});
    EXPECT_TRUE(engine_->solve());
    EXPECT_TRUE(manager_->get_interface_terms().empty());
    EXPECT_EQ(1U, values_->received.size());
    config_.theory.interface_eq_policy = 2;

    config_.theory.eq_propagation = false;
    start();
    lit(tm_.make_leq(f(x), y));
    lit(tm_.make_leq(f(y), y));
    add({lit(eq(x, y))});
    values_->values = {{x, 1}, {y, 1}, {f(x), 2}, {f(y), 3}};
    EXPECT_TRUE(engine_->solve());
    EXPECT_TRUE(values_->received.empty());
    EXPECT_LE(0, proxy(f(x), f(y))); // equal in EUF, and different here
}

/// Counts of lemmas made under the options, for a problem that needs the congruence of f over and
/// over.
class DynAckTest : public CombinationTest {
protected:
    std::string lemmas()
    {
        start();
        const Term_* x = constant("x");
        const Term_* y = constant("y");
        // each of four ways to make x and y equal contradicts f(x) != f(y)
        add({lit(eq(f(x), f(y)), true)});
        std::vector<Lit> ways;
        for (int i = 0; i < 4; ++i) {
            const Term_* z = constant("z" + std::to_string(i));
            const Lit way = lit(
                tm_.make_constant(tm_.make_symbol("way" + std::to_string(i), tm_.get_bool_type())));
            ways.push_back(way);
            add({~way, lit(eq(x, z))});
            add({~way, lit(eq(z, y))});
        }
        add(ways);
        EXPECT_FALSE(engine_->solve());
        for (const auto& [name, value] : euf_->get_stats()) {
            if (name == "dynamic ackermann lemmas generated") {
                return value;
            }
        }
        return "";
    }
};

TEST_F(DynAckTest, a_pair_gets_one_lemma_at_the_threshold)
{
    EXPECT_EQ("0", lemmas());
    for (int mode : {1, 2}) {
        config_.theory.euf.dyn_ack = mode;
        config_.theory.euf.dyn_ack_limit = 0; // no limit
        config_.theory.euf.dyn_ack_threshold = 1;
        EXPECT_EQ("1", lemmas());
        config_.theory.euf.dyn_ack_threshold = 100;
        EXPECT_EQ("0", lemmas());
    }
}

TEST_F(CombinationTest, atoms_of_lemmas_share_terms_once_the_problem_uses_them)
{
    start();
    const Term_* x = constant("x");
    const Term_* y = constant("y");
    lit(p(x));
    LemmaInfo info;
    info.flags = LEMMA_NO_TCOMB;
    values_->lemma = {TheoryLit(tm_.make_leq(x, y), false)};
    values_->lemma_info = info;
    EXPECT_TRUE(engine_->solve());
    EXPECT_TRUE(values_->shared.empty());
    engine_->set_problem_var(engine_->proxy_for_term(tm_.make_leq(x, y)), true);
    EXPECT_EQ(1U, values_->shared.count(x));
}

TEST_F(CombinationTest, models_take_values_from_the_solver_that_has_them)
{
    config_.model_generation = true;
    start();
    const Term_* x = constant("x");
    const Term_* y = constant("y");
    const Term_* u = tm_.make_constant(tm_.make_symbol("u", tm_.get_simple_type("U")));
    const Term_* v = tm_.make_constant(tm_.make_symbol("v", tm_.get_simple_type("U")));
    add({lit(eq(f(x), y))});
    add({lit(tm_.make_leq(x, y))});
    add({lit(eq(u, v))});
    values_->values = {{x, 1}, {y, 2}};
    ASSERT_TRUE(engine_->solve());
    EXPECT_EQ(tm_.make_number(QNumber(1)), manager_->get_model_value(x));
    EXPECT_EQ(tm_.make_number(QNumber(2)), manager_->get_model_value(y));
    EXPECT_EQ(tm_.make_number(QNumber(2)), manager_->get_model_value(f(x)));
    EXPECT_EQ(manager_->get_model_value(u), manager_->get_model_value(v));
    EXPECT_EQ(nullptr, manager_->get_model_value(constant("w")));
}

} // namespace
