/* The smallest use of the library: is there a way to have either a or b, but not both, and not a?
 */
#include <stdio.h>
#include <tarq.h>

int main(void)
{
    tarq_config config = tarq_create_config();
    tarq_env env = tarq_create_env(config);
    tarq_term problem = tarq_from_smtlib2(
        env, "(declare-const a Bool) (declare-const b Bool) (assert (xor a b)) (assert (not a))");
    tarq_assert_formula(env, problem);
    printf("%s\n", tarq_solve(env) == TARQ_SAT ? "sat" : "not sat");
    tarq_destroy_env(env);
    tarq_destroy_config(config);
    return 0;
}
