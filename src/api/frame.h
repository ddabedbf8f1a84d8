// What every exported function stands on: the objects behind the handles, their unpacking, and the
// barrier that no exception passes.
#pragma once

#include "api/cexternaldpllinterface.h"
#include "base/bitvector.h"
#include "base/configurationsetter.h"
#include "base/exception.h"
#include "base/terminationtest.h"
#include "env/environment.h"
#include "tarq.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace tarq::api {

/// The caller's function as a termination test.
class CTerminationTest : public TerminationTest {
public:
    void set(tarq_termination_test func, void* user_data)
    {
        func_ = func;
        user_data_ = user_data;
    }
    void operator()() const override
    {
        if (func_ && func_(user_data_)) {
            throw terminated("user-requested termination");
        }
    }

private:
    tarq_termination_test func_ = nullptr;
    void* user_data_ = nullptr;
};

/// Behind tarq_config. Options stay in the setter; `config` is filled when an environment is made.
struct ConfigWrapper {
    ConfigWrapper() { setter.initialize_options(); }

    Configuration config;
    ConfigurationSetter setter;
};

/// Behind tarq_env.
struct EnvWrapper {
    std::string last_error;
    CTerminationTest termination_test;
    std::unique_ptr<CExternalDpllInterface> external_engine; // null before one was set
    BitVector visit_marks; // of tarq_visit_term; a walk inside a walk uses marks of its own
    bool visit_marks_free = true;
    std::unique_ptr<Environment> env; // last: it goes before what it borrows

    TermManager& tm() { return *env->get_term_manager(); }

    /// Remembers the text of a failure; without memory for it the older text stays.
    void fail(const char* msg) noexcept
    {
        try {
            last_error = msg;
        } catch (...) {
        }
    }
};

inline EnvWrapper* wrapper(tarq_env e)
{
    return static_cast<EnvWrapper*>(e.repr);
}

// The exception barrier

/// Runs `body` and returns its result; on any exception reports the text to `fail` and returns
/// `failure`.
template <class R, class Body, class Fail>
R guarded(R failure, Body&& body, Fail&& fail) noexcept
{
    try {
        return body();
    } catch (const Exception& ex) {
        fail(ex.get_msg().c_str());
    } catch (const std::bad_alloc&) {
        fail("out of memory");
    } catch (const std::exception& ex) {
        fail(ex.what());
    } catch (...) {
        fail("unknown error");
    }
    return failure;
}

/// The frame of a function that has an environment: `body` gets its wrapper.
template <class R, class Body>
R frame(tarq_env e, R failure, Body&& body) noexcept
{
    EnvWrapper* w = wrapper(e);
    if (!w) {
        return failure;
    }
    return guarded(
        failure, [&]() -> R { return body(*w); }, [&](const char* msg) { w->fail(msg); });
}

/// The frame of a function without an environment, which can report the failure only.
template <class R, class Body>
R frame_without_env(R failure, Body&& body) noexcept
{
    return guarded(
        failure, [&]() -> R { return body(); }, [](const char*) {});
}

// Handles. Inside, terms, symbols and types are const; `repr` is not, because the handles are
// those of a C interface. Nobody writes through it.

inline tarq_term wrap(const Term_* t)
{
    return tarq_term{const_cast<Term_*>(t)};
}
inline tarq_decl wrap(const Symbol* s)
{
    return tarq_decl{const_cast<Symbol*>(s)};
}
inline tarq_type wrap(const DataType* t)
{
    return tarq_type{const_cast<DataType*>(t)};
}

inline const Term_* unwrap(tarq_term t)
{
    if (!t.repr) {
        throw make_error<Exception>("null term handle");
    }
    return static_cast<const Term_*>(t.repr);
}
inline const Symbol* unwrap(tarq_decl d)
{
    if (!d.repr) {
        throw make_error<Exception>("null declaration handle");
    }
    return static_cast<const Symbol*>(d.repr);
}
inline const DataType* unwrap(tarq_type t)
{
    if (!t.repr) {
        throw make_error<Exception>("null type handle");
    }
    return static_cast<const DataType*>(t.repr);
}
inline const char* text_arg(const char* s)
{
    if (!s) {
        throw make_error<Exception>("null string argument");
    }
    return s;
}

/// The terms of a caller's array, which may be null when `n` is 0.
inline TermVector unwrap_array(const tarq_term* terms, size_t n)
{
    if (!terms && n > 0) {
        throw make_error<Exception>("null array argument");
    }
    TermVector out;
    out.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        out.push_back(unwrap(terms[i]));
    }
    return out;
}

inline constexpr tarq_term error_term{nullptr};
inline constexpr tarq_decl error_decl{nullptr};
inline constexpr tarq_type error_type{nullptr};
inline constexpr tarq_env error_env{nullptr};
inline constexpr tarq_config error_config{nullptr};
inline constexpr tarq_model error_model{nullptr};
inline constexpr tarq_model_iterator error_model_iterator{nullptr};

// Blocks for the caller

/// A block that the caller frees with tarq_free; never null.
/// throws  Exception "malloc() failed"
inline void* tarq_malloc(size_t size)
{
    void* mem = std::malloc(size ? size : 1);
    if (!mem) {
        throw make_error<Exception>("malloc() failed");
    }
    return mem;
}

struct Free {
    void operator()(void* mem) const { std::free(mem); }
};
/// Owns a block until it is handed out.
template <class T>
using Block = std::unique_ptr<T, Free>;

inline char* copy_text(const std::string& s)
{
    char* out = static_cast<char*>(tarq_malloc(s.size() + 1));
    std::memcpy(out, s.c_str(), s.size() + 1);
    return out;
}

inline Block<tarq_term> copy_terms(TermArgs terms)
{
    Block<tarq_term> out(static_cast<tarq_term*>(tarq_malloc(terms.size() * sizeof(tarq_term))));
    for (size_t i = 0; i < terms.size(); ++i) {
        out.get()[i] = wrap(terms[i]);
    }
    return out;
}

} // namespace tarq::api
