// A target for libFuzzer: any bytes as a text of options. They are refused when an environment is
// made, or that environment solves a trivial problem, save where one of them keeps it from solving.
#include "tarq.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(data, data + size);
    const tarq_config config = tarq_parse_config(text.c_str());
    const tarq_env env = tarq_create_env(config);
    if (!TARQ_ERROR_ENV(env)) {
        tarq_assert_formula(
            env, tarq_from_smtlib2(env, "(declare-fun a () Bool) (declare-fun b () Bool)"
                                        "(assert (or a b)) (assert (xor a b)) (assert (= a b))"));
        const tarq_result result = tarq_solve(env);
        const bool may_be_disabled = text.find("debug.solver_enabled") != std::string::npos;
        if (result != TARQ_UNSAT && !(result == TARQ_UNKNOWN && may_be_disabled)) {
            std::abort();
        }
    }
    tarq_destroy_env(env);
    tarq_destroy_config(config);
    return 0;
}
