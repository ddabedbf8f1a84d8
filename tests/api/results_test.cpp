// Unsat cores and enumerations of models through the exported interface.
#include <tarq.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

class ApiResultsTest : public ::testing::Test {
protected:
    /// core_mode  the value of unsat_core_generation
    void make(const char* core_mode)
    {
        tarq_destroy_env(e);
        tarq_config cfg = tarq_create_config();
        EXPECT_EQ(tarq_set_option(cfg, "unsat_core_generation", core_mode), 0);
        e = tarq_create_env(cfg);
        tarq_destroy_config(cfg);
        p = constant("p");
        q = constant("q");
    }
    ~ApiResultsTest() override { tarq_destroy_env(e); }

    tarq_term constant(const char* name)
    {
        return tarq_make_constant(e, tarq_declare_function(e, name, tarq_get_bool_type(e)));
    }
    std::string message() { return tarq_last_error_message(e); }
    std::vector<void*> take(tarq_term* terms, size_t size)
    {
        std::vector<void*> out;
        for (size_t i = 0; terms && i < size; ++i) {
            out.push_back(terms[i].repr);
        }
        tarq_free(terms);
        return out;
    }

    tarq_env e{nullptr};
    tarq_term p{nullptr}, q{nullptr};
};

TEST_F(ApiResultsTest, cores_are_fresh_arrays_of_the_formulas)
{
    make("0");
    size_t size = 7;
    EXPECT_EQ(tarq_get_unsat_core(e, &size), nullptr);
    EXPECT_EQ(message(), "unsat core generation not enabled");
    make("3");
    const tarq_term not_p = tarq_make_not(e, p);
    for (tarq_term t : {q, p, not_p}) {
        EXPECT_EQ(tarq_get_unsat_core(e, &size), nullptr);
        ASSERT_EQ(tarq_assert_formula(e, t), 0);
    }
    EXPECT_EQ(size, 7U);
    ASSERT_EQ(tarq_solve(e), TARQ_UNSAT);
    tarq_term* core = tarq_get_unsat_core(e, &size);
    const std::vector<void*> found = take(core, size);
    EXPECT_EQ(found.size(), 2U);
    EXPECT_EQ(std::count(found.begin(), found.end(), q.repr), 0);
    tarq_term* none = tarq_get_unsat_assumptions(e, &size);
    EXPECT_NE(none, nullptr);
    EXPECT_EQ(take(none, size).size(), 0U);
}

struct Question {
    std::vector<int> clauses;
    size_t size = 0;
    std::vector<int> answer;
    size_t out_size = 0;
    int result = 0;
};

int answer(int* clauses, int* core, size_t* size, void* user_data)
{
    auto* q = static_cast<Question*>(user_data);
    q->size = *size;
    q->clauses.clear();
    for (size_t left = *size; left > 0; left -= *clauses++ == 0) {
        q->clauses.push_back(*clauses);
    }
    std::copy(q->answer.begin(), q->answer.end(), core);
    *size = q->out_size;
    return q->result;
}

TEST_F(ApiResultsTest, the_callers_function_finds_cores_of_clauses)
{
    make("3");
    size_t size = 0;
    Question question;
    EXPECT_EQ(tarq_get_unsat_core_ext(e, &size, nullptr, nullptr), nullptr);
    EXPECT_EQ(message(), "null callback argument");
    make("2");
    const tarq_term clause = tarq_make_or(e, tarq_make_not(e, p), q);
    for (tarq_term t : {p, clause, tarq_make_not(e, q), constant("r")}) {
        ASSERT_EQ(tarq_assert_formula(e, t), 0);
    }
    ASSERT_EQ(tarq_solve(e), TARQ_UNSAT);
    const char* failure = "failure in computing unsat core with external extractor";
    question.result = 1;
    EXPECT_EQ(tarq_get_unsat_core_ext(e, &size, answer, &question), nullptr);
    EXPECT_EQ(message(), failure);
    EXPECT_EQ(question.clauses, (std::vector<int>{1, 0, -1, 2, 0, -2, 0, 3, 0}));
    question.result = 0;
    question.out_size = question.size + 1;
    EXPECT_EQ(tarq_get_unsat_core_ext(e, &size, answer, &question), nullptr);
    question.answer = {0, -1};
    question.out_size = 2;
    EXPECT_EQ(tarq_get_unsat_core_ext(e, &size, answer, &question), nullptr);
    EXPECT_EQ(message(), failure);
    EXPECT_EQ(tarq_get_unsat_core(e, &size), nullptr) << "the function is asked for one call only";
    EXPECT_EQ(message(), "no unsatisfiability proof, impossible to compute unsat core");
    question.answer = {0, 1, 2};
    question.out_size = 3;
    tarq_term* core = tarq_get_unsat_core_ext(e, &size, answer, &question);
    const std::vector<void*> found = take(core, size);
    EXPECT_EQ(found.size(), 3U);
    EXPECT_EQ(std::count(found.begin(), found.end(), clause.repr), 1);
}

struct Models {
    tarq_env e;
    std::vector<std::vector<std::string>> found;
    size_t limit;
};

int collect(tarq_term* model, int size, void* user_data)
{
    auto* m = static_cast<Models*>(user_data);
    m->found.emplace_back();
    for (int i = 0; i < size; ++i) {
        char* text = tarq_term_repr(model[i]);
        m->found.back().push_back(text);
        tarq_free(text);
    }
    return m->found.size() < m->limit;
}

TEST_F(ApiResultsTest, models_are_enumerated_until_the_callback_stops)
{
    make("0");
    Models models{e, {}, 100};
    EXPECT_EQ(tarq_all_sat(e, nullptr, 0, collect, &models), -2);
    EXPECT_EQ(tarq_all_sat(e, nullptr, 0, nullptr, &models), -1);
    EXPECT_EQ(message(), "null callback argument");
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_or(e, p, q)), 0);
    ASSERT_EQ(tarq_push_backtrack_point(e), 0);
    const tarq_term both[] = {p, q};
    EXPECT_EQ(tarq_all_sat(e, both, 2, collect, &models), 3);
    EXPECT_EQ(models.found.size(), 3U);
    EXPECT_EQ(models.found[0].size(), 2U);
    EXPECT_EQ(tarq_solve(e), TARQ_UNSAT);
    ASSERT_EQ(tarq_pop_backtrack_point(e), 0);
    const tarq_term negated = tarq_make_not(e, p);
    EXPECT_EQ(tarq_all_sat(e, &negated, 1, collect, &models), -1);
    EXPECT_EQ(message(), "allsat important symbols might only be Boolean constants");
    models = {e, {}, 1};
    EXPECT_EQ(tarq_all_sat(e, &p, 1, collect, &models), -1);
    EXPECT_EQ(message(), "AllSat hook returned false, aborting");
    EXPECT_EQ(models.found.size(), 1U);
    EXPECT_EQ(tarq_solve(e), TARQ_SAT);
}

} // namespace
