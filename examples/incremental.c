/* Backtrack points, assumptions, options and errors: schedules three talks in two slots and asks
 * what stands in the way of further wishes. */
#include <stdio.h>
#include <stdlib.h>
#include <tarq.h>

static tarq_term constant(tarq_env env, const char* name)
{
    return tarq_make_constant(env, tarq_declare_function(env, name, tarq_get_bool_type(env)));
}

static const char* answer(tarq_result result)
{
    return result == TARQ_SAT ? "possible" : result == TARQ_UNSAT ? "impossible" : "unknown";
}

int main(void)
{
    tarq_config config = tarq_create_config();
    if (tarq_set_option(config, "dpll.restart_strategy", "1") != 0) {
        return 1;
    }
    tarq_env env = tarq_create_env(config);
    tarq_destroy_config(config);

    /* Each constant says that a talk is in the first slot; its negation means the second one. */
    tarq_term ann = constant(env, "ann"), bob = constant(env, "bob"), eve = constant(env, "eve");
    /* Ann and Bob share an audience, and so do Bob and Eve. */
    tarq_assert_formula(env, tarq_make_not(env, tarq_make_iff(env, ann, bob)));
    tarq_assert_formula(env, tarq_make_not(env, tarq_make_iff(env, bob, eve)));
    printf("as it stands: %s\n", answer(tarq_solve(env)));

    tarq_push_backtrack_point(env);
    tarq_assert_formula(env, tarq_make_not(env, tarq_make_iff(env, ann, eve)));
    printf("Ann and Eve apart too: %s\n", answer(tarq_solve(env)));
    tarq_pop_backtrack_point(env);

    tarq_term wishes[2] = {ann, tarq_make_not(env, eve)};
    printf("Ann first, Eve second: %s\n", answer(tarq_solve_with_assumptions(env, wishes, 2)));
    size_t size = 0;
    tarq_term* reasons = tarq_get_unsat_assumptions(env, &size);
    printf("wishes in conflict: %zu\n", size);
    tarq_free(reasons);

    /* A misuse gives an error value and a message; the environment stays as it was. */
    tarq_term wrong = tarq_from_smtlib2(env, "(assert (and ann carol))");
    if (TARQ_ERROR_TERM(wrong)) {
        printf("error: %s\n", tarq_last_error_message(env));
    }
    printf("as it stands: %s\n", answer(tarq_solve(env)));
    tarq_destroy_env(env);
    return 0;
}
