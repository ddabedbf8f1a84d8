#include "apimisuse.h"

namespace tarq::fuzz {

namespace {

constexpr tarq_term no_term{nullptr};

/// Whether no environment comes from a configuration with this option.
bool refuses_option(const char* name, const char* value, tarq_env sibling)
{
    const tarq_config c = tarq_create_config();
    const bool set = tarq_set_option(c, name, value) == 0;
    const tarq_env e = !set           ? tarq_env{nullptr}
                       : sibling.repr ? tarq_create_shared_env(c, sibling)
                                      : tarq_create_env(c);
    tarq_destroy_env(e);
    tarq_destroy_config(c);
    return TARQ_ERROR_ENV(e);
}

bool refuses_script(tarq_env e, const char* text)
{
    size_t n = 0;
    char** names = nullptr;
    tarq_term* terms = nullptr;
    return TARQ_ERROR_TERM(tarq_from_smtlib2(e, text)) &&
           tarq_named_list_from_smtlib2(e, text, &n, &names, &terms) == -1 &&
           tarq_annotated_list_from_smtlib2(e, text, &n, &terms, &names) == -1;
}

bool refuses_circuit(tarq_env e, bool (*call)(tarq_aig_manager m))
{
    const tarq_aig_manager m = tarq_create_aig_manager(e);
    const bool refused = call(m);
    tarq_destroy_aig_manager(m);
    return refused;
}

} // namespace

const std::vector<Misuse>& misuses()
{
    using E = tarq_env;
    using T = tarq_term;
    static const std::vector<Misuse> table = {
        {"and with nothing", true,
         [](E e, T t) { return TARQ_ERROR_TERM(tarq_make_and(e, t, no_term)); }},
        {"assertion of nothing", true,
         [](E e, T) { return tarq_assert_formula(e, no_term) == -1; }},
        {"assumption of nothing", true,
         [](E e, T) { return tarq_solve_with_assumptions(e, &no_term, 1) == TARQ_UNKNOWN; }},
        {"assumptions without an array", true,
         [](E e, T) { return tarq_solve_with_assumptions(e, nullptr, 3) == TARQ_UNKNOWN; }},
        {"substitution by nothing", true,
         [](E e, T t) { return TARQ_ERROR_TERM(tarq_apply_substitution(e, t, &t, &no_term, 1)); }},
        {"simplification of nothing", true,
         [](E e, T) { return TARQ_ERROR_TERM(tarq_simplify(e, no_term, nullptr, 0, 1)); }},
        {"walk without a callback", true,
         [](E e, T t) { return tarq_visit_term(e, t, nullptr, nullptr) == -1; }},
        {"collection with nothing", true, [](E e, T) { return tarq_gc_env(e, &no_term, 1) == -1; }},
        {"enumeration without a callback", true,
         [](E e, T) { return tarq_all_sat(e, nullptr, 0, nullptr, nullptr) == -1; }},
        {"diversification without a callback", true,
         [](E e, T t) { return tarq_solve_diversify(e, &t, 1, nullptr, nullptr) == -1; }},
        {"core without an extractor", true,
         [](E e, T) {
             size_t n = 0;
             return tarq_get_unsat_core_ext(e, &n, nullptr, nullptr) == nullptr;
         }},
        {"value of nothing", true,
         [](E e, T) { return TARQ_ERROR_TERM(tarq_get_model_value(e, no_term)); }},
        {"evaluation without a model", false,
         [](E, T t) { return TARQ_ERROR_TERM(tarq_model_eval(tarq_model{nullptr}, t)); }},
        {"half a term as text", true,
         [](E e, T) { return TARQ_ERROR_TERM(tarq_from_string(e, "(and true")); }},
        {"unknown symbol as text", true,
         [](E e, T) { return TARQ_ERROR_TERM(tarq_from_string(e, "(no-such-symbol 1)")); }},
        {"wrong types as text", true,
         [](E e, T) { return TARQ_ERROR_TERM(tarq_from_string(e, "(bvadd #b0 #b00)")); }},
        {"script with pop", true, [](E e, T) { return refuses_script(e, "(assert true)(pop 1)"); }},
        {"cut script", true,
         [](E e, T) { return refuses_script(e, "(declare-fun zz () Bool)(assert (! zz :named"); }},
        {"no number", true, [](E e, T) { return TARQ_ERROR_TERM(tarq_make_number(e, "1/0")); }},
        {"word that does not fit", true,
         [](E e, T) { return TARQ_ERROR_TERM(tarq_make_bv_number(e, "16", 4, 10)); }},
        {"float of too many bits", true,
         [](E e, T) { return TARQ_ERROR_TERM(tarq_make_fp_bits_number(e, "64", 2, 3)); }},
        {"format too small", true,
         [](E e, T) { return TARQ_ERROR_TYPE(tarq_get_fp_type(e, 1, 1)); }},
        {"name of another type", true,
         [](E e, T) {
             tarq_declare_function(e, "taken", tarq_get_bool_type(e));
             return TARQ_ERROR_DECL(tarq_declare_function(e, "taken", tarq_get_integer_type(e)));
         }},
        {"bad name", true,
         [](E e, T) {
             return TARQ_ERROR_DECL(tarq_declare_function(e, "", tarq_get_bool_type(e)));
         }},
        {"forall over no variable", true,
         [](E e, T) {
             const T t = tarq_make_true(e);
             return TARQ_ERROR_TERM(tarq_make_forall(e, t, t));
         }},
        {"constant array of no array type", true,
         [](E e, T t) {
             return TARQ_ERROR_TERM(tarq_make_array_const(e, tarq_get_bool_type(e), t));
         }},
        {"copy from nowhere", true,
         [](E e, T t) { return TARQ_ERROR_TERM(tarq_make_copy_from(e, t, E{nullptr})); }},
        {"circuit of nothing", true,
         [](E e, T) {
             return refuses_circuit(e, [](tarq_aig_manager m) {
                 size_t n = 0;
                 return tarq_aig_encode(m, no_term, &n) == nullptr;
             });
         }},
        {"gate of nothing", true,
         [](E e, T) {
             return refuses_circuit(e, [](tarq_aig_manager m) {
                 return tarq_aig_and(m, tarq_aig_true(m), tarq_aig_null()).repr == 0;
             });
         }},
        {"gate of another circuit", true,
         [](E e, T) {
             return refuses_circuit(e, [](tarq_aig_manager m) {
                 return tarq_aig_not(m, tarq_aig{1000000}).repr == 0;
             });
         }},
        {"input of a variable", true,
         [](E e, T) {
             return refuses_circuit(e, [](tarq_aig_manager m) {
                 return tarq_aig_get_left(m, tarq_aig_var(m, 3)).repr == 0;
             });
         }},
        {"unknown option", false, [](E e, T) { return refuses_option("no.such", "1", e); }},
        {"option of another type", false,
         [](E e, T) { return refuses_option("dpll.restart_strategy", "maybe", e); }},
        {"option out of range", false,
         [](E e, T) { return refuses_option("dpll.restart_strategy", "4", e); }},
        {"option of later versions", false,
         [](E, T) { return refuses_option("interpolation", "true", E{nullptr}); }},
        {"no environment", false,
         [](E, T t) {
             const E none{nullptr};
             return tarq_solve(none) == TARQ_UNKNOWN && tarq_assert_formula(none, t) == -1 &&
                    TARQ_ERROR_TERM(tarq_make_not(none, t)) &&
                    TARQ_ERROR_MODEL(tarq_get_model(none));
         }},
    };
    return table;
}

} // namespace tarq::fuzz
