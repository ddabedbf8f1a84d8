/* Stopping a search: a termination test that gives up after a number of questions, and the further
 * use of the environment afterwards. */
#include <stdio.h>
#include <tarq.h>

enum { PIGEONS = 11, HOLES = 10 };

static int questions_left;

static int stop(void* user_data)
{
    (void)user_data;
    return questions_left-- <= 0;
}

int main(void)
{
    tarq_config config = tarq_create_config();
    tarq_env env = tarq_create_env(config);
    tarq_destroy_config(config);
    tarq_set_termination_test(env, stop, NULL);

    /* More pigeons than holes, and no two of them in one hole: beyond the reach of resolution. */
    tarq_term in[PIGEONS][HOLES];
    char name[32];
    for (int p = 0; p < PIGEONS; ++p) {
        tarq_term somewhere = tarq_make_false(env);
        for (int h = 0; h < HOLES; ++h) {
            snprintf(name, sizeof(name), "p%dh%d", p, h);
            in[p][h] =
                tarq_make_constant(env, tarq_declare_function(env, name, tarq_get_bool_type(env)));
            somewhere = tarq_make_or(env, somewhere, in[p][h]);
            for (int q = 0; q < p; ++q) {
                tarq_term both = tarq_make_and(env, in[p][h], in[q][h]);
                tarq_assert_formula(env, tarq_make_not(env, both));
            }
        }
        if (p == PIGEONS - 1) {
            tarq_push_backtrack_point(env);
        }
        tarq_assert_formula(env, somewhere);
    }

    questions_left = 3;
    tarq_result result = tarq_solve(env);
    printf("%s: %s\n", result == TARQ_UNKNOWN ? "stopped" : "decided",
           result == TARQ_UNKNOWN ? tarq_last_error_message(env) : "");

    /* Without the last pigeon it is easy, and what was stopped leaves no trace. */
    tarq_pop_backtrack_point(env);
    questions_left = 1000000;
    printf("one pigeon less: %s\n", tarq_solve(env) == TARQ_SAT ? "fits" : "does not fit");
    tarq_destroy_env(env);
    return 0;
}
