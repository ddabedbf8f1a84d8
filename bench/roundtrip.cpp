// Prints what scripts assert, reads the text again, and compares the terms.
//
//   roundtrip [--out FOLDER] FILE...
//   roundtrip --shared N
//
// For each script: the conjunction of its assertions is printed with bindings, with definitions and
// alone; each text has to read as the same term. With --out the first two are written there. With
// --shared a graph of N shared nodes is printed with definitions; its size per node is shown.
// Prints one line per script: ok, DIFFERENT or an error, with its name.
#include "tarq.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Printed {
    explicit Printed(char* text) : text(text) {}
    ~Printed() { tarq_free(text); }
    Printed(const Printed&) = delete;
    Printed& operator=(const Printed&) = delete;
    char* text;
};

bool write_file(const std::string& path, const char* text)
{
    FILE* f = std::fopen(path.c_str(), "w");
    if (!f) {
        return false;
    }
    const bool ok = std::fputs(text, f) >= 0;
    return std::fclose(f) == 0 && ok;
}

/// Returns whether everything came back.
bool check(const char* path, const char* out)
{
    tarq_config config = tarq_create_config();
    tarq_set_option(config, "allow_bool_function_args", "true");
    tarq_env env = tarq_create_env(config);
    FILE* f = std::fopen(path, "r");
    const tarq_term term = f ? tarq_from_smtlib2_file(env, f) : tarq_term{nullptr};
    if (f) {
        std::fclose(f);
    }
    std::string verdict = "ok";
    if (!term.repr) {
        verdict = std::string("unread: ") + tarq_last_error_message(env);
    }
    const char* kinds[] = {"let", "define", "term"};
    for (int kind = 0; kind < 3 && verdict == "ok"; ++kind) {
        const Printed p(kind == 2 ? tarq_to_smtlib2_term(env, term)
                                  : tarq_to_smtlib2_ext(env, term, "ALL", kind));
        if (!p.text) {
            verdict = std::string("unprinted: ") + tarq_last_error_message(env);
            break;
        }
        const tarq_term again =
            kind == 2 ? tarq_from_string(env, p.text) : tarq_from_smtlib2(env, p.text);
        if (!again.repr) {
            verdict = std::string(kinds[kind]) + " unread: " + tarq_last_error_message(env);
        } else if (again.repr != term.repr) {
            verdict = std::string("DIFFERENT: ") + kinds[kind];
        }
        if (out && kind < 2) {
            const char* name = std::strrchr(path, '/');
            const std::string target =
                std::string(out) + "/" + kinds[kind] + "_" + (name ? name + 1 : path);
            if (!write_file(target, (std::string(p.text) + "(check-sat)\n").c_str())) {
                verdict = "unwritten: " + target;
            }
        }
    }
    std::printf("%s %s\n", verdict.c_str(), path);
    tarq_destroy_env(env);
    tarq_destroy_config(config);
    return verdict == "ok";
}

/// x0 + x0 is x1, and so on: as a tree it has 2^n leaves.
bool print_shared(long n)
{
    tarq_config config = tarq_create_config();
    tarq_env env = tarq_create_env(config);
    const tarq_type word = tarq_get_bv_type(env, 32);
    tarq_term x = tarq_make_constant(env, tarq_declare_function(env, "x", word));
    const tarq_term y = tarq_make_constant(env, tarq_declare_function(env, "y", word));
    for (long i = 0; i < n; ++i) {
        x = tarq_make_bv_xor(env, tarq_make_bv_and(env, x, y), tarq_make_bv_or(env, y, x));
        x = tarq_make_bv_plus(env, x, tarq_make_bv_not(env, x));
    }
    const tarq_term f = tarq_make_equal(env, x, y);
    const Printed p(tarq_to_smtlib2_ext(env, f, nullptr, 1));
    const tarq_term again = p.text ? tarq_from_smtlib2(env, p.text) : tarq_term{nullptr};
    const bool ok = again.repr == f.repr;
    const size_t size = p.text ? std::strlen(p.text) : 0;
    std::printf("%s shared nodes %ld characters %zu per node %.1f\n", ok ? "ok" : "DIFFERENT",
                2 * n, size, static_cast<double>(size) / static_cast<double>(2 * n));
    tarq_destroy_env(env);
    tarq_destroy_config(config);
    return ok;
}

} // namespace

int main(int argc, char** argv)
{
    bool ok = true;
    const char* out = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--out") && i + 1 < argc) {
            out = argv[++i];
        } else if (!std::strcmp(argv[i], "--shared") && i + 1 < argc) {
            ok = print_shared(std::atol(argv[++i]) / 2) && ok;
        } else {
            ok = check(argv[i], out) && ok;
        }
        std::fflush(stdout);
    }
    return ok ? 0 : 1;
}
