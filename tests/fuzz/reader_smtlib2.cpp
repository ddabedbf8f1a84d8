// A target for libFuzzer: any bytes as an SMT-LIB 2 script. Reading gives a term or a message, the
// environment stays usable, and what is printed for the term can be read again.
#include "tarq.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

struct Env {
    tarq_config config = tarq_create_config();
    tarq_env env = tarq_create_env(config);
    Env() = default;
    ~Env()
    {
        tarq_destroy_env(env);
        tarq_destroy_config(config);
    }
    Env(const Env&) = delete;
    Env& operator=(const Env&) = delete;
};

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(data, data + size);
    const Env first;
    const tarq_term term = tarq_from_smtlib2(first.env, text.c_str());
    if (TARQ_ERROR_TERM(term)) {
        require(*tarq_last_error_message(first.env) != '\0');
        require(!TARQ_ERROR_TERM(tarq_from_string(first.env, "(=> true (not false))")));
        return 0;
    }
    const std::unique_ptr<char, void (*)(void*)> printed(tarq_to_smtlib2(first.env, term),
                                                         tarq_free);
    require(printed != nullptr);
    const Env second;
    require(!TARQ_ERROR_TERM(tarq_from_smtlib2(second.env, printed.get())));
    return 0;
}
