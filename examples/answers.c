/* Models, values, cores and enumeration: who carries which of two boxes. */
#include <stdio.h>
#include <tarq.h>

/* Asserts a formula given as text over what is declared; returns it. */
static tarq_term demand(tarq_env env, const char* text)
{
    tarq_term t = tarq_from_string(env, text);
    if (TARQ_ERROR_TERM(t) || tarq_assert_formula(env, t) != 0) {
        printf("error: %s\n", tarq_last_error_message(env));
    }
    return t;
}

static void print_term(const char* before, tarq_term t, const char* after)
{
    char* text = tarq_term_repr(t);
    printf("%s%s%s", before, text, after);
    tarq_free(text);
}

static int print_choice(tarq_term* model, int size, void* user_data)
{
    (void)user_data;
    for (int i = 0; i < size; ++i) {
        print_term(i ? " and " : "choice: ", model[i], i + 1 < size ? "" : "\n");
    }
    return 1; /* go on */
}

int main(void)
{
    tarq_config config = tarq_create_config();
    tarq_set_option(config, "model_generation", "true");
    tarq_set_option(config, "unsat_core_generation", "3");
    tarq_env env = tarq_create_env(config);
    tarq_destroy_config(config);

    tarq_declare_function(env, "ann", tarq_get_integer_type(env));
    tarq_declare_function(env, "bob", tarq_get_integer_type(env));
    tarq_declare_function(env, "lift", tarq_get_bool_type(env));
    demand(env, "(= (+ ann bob) 30)");
    demand(env, "(and (<= 0 ann) (<= ann (ite lift 25 12)))");
    demand(env, "(and (<= 0 bob) (<= bob 18))");

    /* A model, as long as it is kept, gives the value of any term. */
    if (tarq_solve(env) == TARQ_SAT) {
        tarq_model model = tarq_get_model(env);
        tarq_term total = tarq_from_string(env, "(* 2 (+ ann bob))");
        print_term("twice the load: ", tarq_model_eval(model, total), "\n");
        tarq_destroy_model(model);
    }

    /* Models told are excluded, so that is done above a backtrack point. */
    tarq_push_backtrack_point(env);
    tarq_declare_function(env, "light", tarq_get_bool_type(env));
    demand(env, "(= light (<= ann 12))");
    tarq_term important[2] = {tarq_from_string(env, "lift"), tarq_from_string(env, "light")};
    printf("%d choices\n", tarq_all_sat(env, important, 2, print_choice, NULL));
    tarq_pop_backtrack_point(env);

    demand(env, "(distinct ann 12)");
    demand(env, "(not lift)");
    demand(env, "(< bob 20)");
    if (tarq_solve(env) == TARQ_UNSAT) {
        size_t size = 0;
        tarq_term* core = tarq_get_unsat_core(env, &size);
        for (size_t i = 0; i < size; ++i) {
            print_term("because of ", core[i], "\n");
        }
        tarq_free(core);
    }
    tarq_destroy_env(env);
    return 0;
}
