/* And-inverter graphs: the circuit of a comparison of words, and the same as AIGER text. */
#include <stdio.h>
#include <tarq.h>

int main(void)
{
    tarq_config config = tarq_create_default_config("QF_BV");
    tarq_env env = tarq_create_env(config);
    tarq_destroy_config(config);
    tarq_aig_manager graphs = tarq_create_aig_manager(env);
    tarq_type pair = tarq_get_bv_type(env, 2);
    tarq_term a = tarq_make_constant(env, tarq_declare_function(env, "a", pair));
    tarq_term b = tarq_make_constant(env, tarq_declare_function(env, "b", pair));

    size_t width = 0;
    tarq_aig* sum = tarq_aig_encode(graphs, tarq_make_bv_plus(env, a, b), &width);
    printf("a sum has %zu bits\n", width);
    char* text = tarq_aig_to_aiger(graphs, sum[0]);
    printf("the lowest one:\n%s", text);
    tarq_free(text);

    /* Equal circuits are one node, however they were built. */
    tarq_aig* other = tarq_aig_encode(graphs, tarq_make_bv_plus(env, b, a), &width);
    printf("the other order: %s\n",
           tarq_aig_id(sum[1]) == tarq_aig_id(other[1]) ? "the same gate" : "another");
    tarq_free(other);
    tarq_free(sum);
    tarq_destroy_aig_manager(graphs);
    tarq_destroy_env(env);
    return 0;
}
