// Exported functions: term constructors. The regular ones are rows of the tables below.
#include "api/frame.h"

#include "terms/numbers.h"

using namespace tarq::api;
using tarq::QNumber;
using tarq::Term_;
using tarq::TermManager;

namespace {

/// The frame of a constructor.
template <class Body>
tarq_term make(tarq_env e, Body&& body) noexcept
{
    return frame(e, error_term, [&](EnvWrapper& w) { return wrap(body(w.tm())); });
}

/// The arguments of an application: as many as the arity, or fewer when an error handle ends them.
tarq::TermVector read_arguments(const tarq::Symbol* symbol, const tarq_term args[])
{
    tarq::TermVector out;
    for (size_t i = 0; args && i < symbol->arity() && args[i].repr; ++i) {
        out.push_back(unwrap(args[i]));
    }
    return out;
}

QNumber read_mpz(mpz_srcptr value)
{
    return QNumber(mpz_class(value));
}

/// Reads a bit-vector's value: digits of the base only.
QNumber read_digits(const char* text, size_t base)
{
    const std::string s = text_arg(text);
    const char* digits = base == 2 ? "01" : base == 10 ? "0123456789" : "0123456789abcdefABCDEF";
    if ((base != 2 && base != 10 && base != 16) || s.empty() ||
        s.find_first_not_of(digits) != std::string::npos) {
        throw tarq::make_error<tarq::Exception>("bad bit-vector number in base ", base, ": ", s);
    }
    return QNumber(mpz_class(s, static_cast<int>(base)));
}

} // namespace

// TABLE(name, operation of TermManager)
#define TARQ_CONSTANTS(X)                                                                          \
    X(true, make_true)                                                                             \
    X(false, make_false)                                                                           \
    X(pi, make_pi)                                                                                 \
    X(fp_roundingmode_nearest_even, make_fprounding_even)                                          \
    X(fp_roundingmode_zero, make_fprounding_zero)                                                  \
    X(fp_roundingmode_plus_inf, make_fprounding_plus_inf)                                          \
    X(fp_roundingmode_minus_inf, make_fprounding_minus_inf)

#define TARQ_UNARY(X)                                                                              \
    X(not, make_not)                                                                               \
    X(floor, make_floor)                                                                           \
    X(exp, make_exp)                                                                               \
    X(sin, make_sin)                                                                               \
    X(log, make_log)                                                                               \
    X(asin, make_asin)                                                                             \
    X(bv_not, make_bv_not)                                                                         \
    X(bv_neg, make_bv_neg)                                                                         \
    X(int_from_ubv, make_int_from_ubv)                                                             \
    X(int_from_sbv, make_int_from_sbv)                                                             \
    X(fp_neg, make_fp_neg)                                                                         \
    X(fp_abs, make_fp_abs)                                                                         \
    X(fp_as_ieeebv, make_fp_as_ieeebv)                                                             \
    X(fp_isnan, make_fp_isnan)                                                                     \
    X(fp_isinf, make_fp_isinf)                                                                     \
    X(fp_iszero, make_fp_iszero)                                                                   \
    X(fp_issubnormal, make_fp_issubnormal)                                                         \
    X(fp_isnormal, make_fp_isnormal)                                                               \
    X(fp_isneg, make_fp_isneg)                                                                     \
    X(fp_ispos, make_fp_ispos)

// The second argument of a quantifier is its body, of the rounded operations the operand.
#define TARQ_BINARY(X)                                                                             \
    X(and, make_and)                                                                               \
    X(or, make_or)                                                                                 \
    X(iff, make_iff)                                                                               \
    X(equal, make_equal)                                                                           \
    X(leq, make_leq)                                                                               \
    X(plus, make_plus)                                                                             \
    X(times, make_times)                                                                           \
    X(divide, make_divide)                                                                         \
    X(pow, make_pow)                                                                               \
    X(forall, make_forall)                                                                         \
    X(exists, make_exists)                                                                         \
    X(array_read, make_array_read)                                                                 \
    X(bv_concat, make_bv_concat)                                                                   \
    X(bv_or, make_bv_or)                                                                           \
    X(bv_xor, make_bv_xor)                                                                         \
    X(bv_and, make_bv_and)                                                                         \
    X(bv_lshl, make_bv_lshl)                                                                       \
    X(bv_lshr, make_bv_lshr)                                                                       \
    X(bv_ashr, make_bv_ashr)                                                                       \
    X(bv_plus, make_bv_add)                                                                        \
    X(bv_minus, make_bv_sub)                                                                       \
    X(bv_times, make_bv_mul)                                                                       \
    X(bv_udiv, make_bv_udiv)                                                                       \
    X(bv_urem, make_bv_urem)                                                                       \
    X(bv_sdiv, make_bv_sdiv)                                                                       \
    X(bv_srem, make_bv_srem)                                                                       \
    X(bv_ult, make_bv_ult)                                                                         \
    X(bv_uleq, make_bv_ule)                                                                        \
    X(bv_slt, make_bv_slt)                                                                         \
    X(bv_sleq, make_bv_sle)                                                                        \
    X(bv_comp, make_bv_comp)                                                                       \
    X(fp_equal, make_fp_equal)                                                                     \
    X(fp_lt, make_fp_lt)                                                                           \
    X(fp_leq, make_fp_le)                                                                          \
    X(fp_min, make_fp_min)                                                                         \
    X(fp_max, make_fp_max)                                                                         \
    X(fp_sqrt, make_fp_sqrt)                                                                       \
    X(fp_round_to_int, make_fp_round_to_int)

#define TARQ_TERNARY(X)                                                                            \
    X(term_ite, make_term_ite)                                                                     \
    X(array_write, make_array_write)                                                               \
    X(fp_plus, make_fp_add)                                                                        \
    X(fp_minus, make_fp_sub)                                                                       \
    X(fp_times, make_fp_mul)                                                                       \
    X(fp_div, make_fp_div)

// An index of one bit count and a term.
#define TARQ_INDEXED(X)                                                                            \
    X(bv_rol, make_bv_rotate_left)                                                                 \
    X(bv_ror, make_bv_rotate_right)                                                                \
    X(bv_zext, make_bv_zero_extend)                                                                \
    X(bv_sext, make_bv_sign_extend)                                                                \
    X(int_to_bv, make_int_to_bv)

// A format, a rounding mode and a term.
#define TARQ_FP_CONVERSIONS(X)                                                                     \
    X(fp_cast, make_fp_cast)                                                                       \
    X(fp_from_sbv, make_fp_from_sbv)                                                               \
    X(fp_from_ubv, make_fp_from_ubv)

#define TARQ_FP_SPECIALS(X)                                                                        \
    X(fp_plus_inf, make_fp_plus_inf)                                                               \
    X(fp_minus_inf, make_fp_minus_inf)                                                             \
    X(fp_nan, make_fp_nan)

#define TARQ_DEFINE(name, op)                                                                      \
    tarq_term tarq_make_##name(tarq_env e)                                                         \
    {                                                                                              \
        return make(e, [](TermManager& tm) { return tm.op(); });                                   \
    }
TARQ_CONSTANTS(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, op)                                                                      \
    tarq_term tarq_make_##name(tarq_env e, tarq_term t)                                            \
    {                                                                                              \
        return make(e, [&](TermManager& tm) { return tm.op(unwrap(t)); });                         \
    }
TARQ_UNARY(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, op)                                                                      \
    tarq_term tarq_make_##name(tarq_env e, tarq_term t1, tarq_term t2)                             \
    {                                                                                              \
        return make(e, [&](TermManager& tm) { return tm.op(unwrap(t1), unwrap(t2)); });            \
    }
TARQ_BINARY(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, op)                                                                      \
    tarq_term tarq_make_##name(tarq_env e, tarq_term t1, tarq_term t2, tarq_term t3)               \
    {                                                                                              \
        return make(e,                                                                             \
                    [&](TermManager& tm) { return tm.op(unwrap(t1), unwrap(t2), unwrap(t3)); });   \
    }
TARQ_TERNARY(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, op)                                                                      \
    tarq_term tarq_make_##name(tarq_env e, size_t amount, tarq_term t)                             \
    {                                                                                              \
        return make(e, [&](TermManager& tm) { return tm.op(amount, unwrap(t)); });                 \
    }
TARQ_INDEXED(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, op)                                                                      \
    tarq_term tarq_make_##name(tarq_env e, size_t exp_width, size_t mant_width,                    \
                               tarq_term rounding, tarq_term t)                                    \
    {                                                                                              \
        return make(e, [&](TermManager& tm) {                                                      \
            return tm.op(exp_width, mant_width, unwrap(rounding), unwrap(t));                      \
        });                                                                                        \
    }
TARQ_FP_CONVERSIONS(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, op)                                                                      \
    tarq_term tarq_make_##name(tarq_env e, size_t exp_width, size_t mant_width)                    \
    {                                                                                              \
        return make(e, [&](TermManager& tm) { return tm.op(exp_width, mant_width); });             \
    }
TARQ_FP_SPECIALS(TARQ_DEFINE)
#undef TARQ_DEFINE

tarq_term tarq_make_eq(tarq_env e, tarq_term t1, tarq_term t2)
{
    return make(e, [&](TermManager& tm) {
        const Term_* a = unwrap(t1);
        const Term_* b = unwrap(t2);
        return tm.get_type(a) == tm.get_bool_type() ? tm.make_iff(a, b) : tm.make_equal(a, b);
    });
}

// Numbers

tarq_term tarq_make_number(tarq_env e, const char* num_rep)
{
    return make(
        e, [&](TermManager& tm) { return tm.make_number(QNumber::from_str(text_arg(num_rep))); });
}

tarq_term tarq_make_int_number(tarq_env e, int value)
{
    return make(e, [&](TermManager& tm) { return tm.make_number(QNumber(value)); });
}

tarq_term tarq_make_mpq_number(tarq_env e, mpq_srcptr value)
{
    return make(e, [&](TermManager& tm) {
        if (mpz_sgn(mpq_denref(value)) == 0) {
            throw tarq::make_error<tarq::Exception>("a number with denominator 0");
        }
        return tm.make_number(QNumber(mpq_numref(value), mpq_denref(value), true));
    });
}

tarq_term tarq_make_bv_number(tarq_env e, const char* num_rep, size_t width, size_t base)
{
    return make(
        e, [&](TermManager& tm) { return tm.make_bv_number(read_digits(num_rep, base), width); });
}

tarq_term tarq_make_bv_int_number(tarq_env e, int value, size_t width)
{
    return make(e, [&](TermManager& tm) { return tm.make_bv_number(QNumber(value), width); });
}

tarq_term tarq_make_bv_mpz_number(tarq_env e, mpz_srcptr value, size_t width)
{
    return make(e, [&](TermManager& tm) { return tm.make_bv_number(read_mpz(value), width); });
}

tarq_term tarq_make_fp_rat_number(tarq_env e, const char* num_rep, size_t exp_width,
                                  size_t mant_width, tarq_term rounding)
{
    return make(e, [&](TermManager& tm) {
        QNumber q = QNumber::from_str(text_arg(num_rep));
        return tm.make_fp_rat_number(q, exp_width, mant_width, unwrap(rounding));
    });
}

tarq_term tarq_make_fp_bits_number(tarq_env e, const char* bits, size_t exp_width,
                                   size_t mant_width)
{
    return make(e, [&](TermManager& tm) {
        return tm.make_fp_bits_number(read_digits(bits, 10), exp_width, mant_width);
    });
}

// Symbols and the irregular rest

tarq_term tarq_make_constant(tarq_env e, tarq_decl d)
{
    return make(e, [&](TermManager& tm) { return tm.make_constant(unwrap(d)); });
}

tarq_term tarq_make_uf(tarq_env e, tarq_decl func, const tarq_term args[])
{
    return make(e, [&](TermManager& tm) {
        const tarq::Symbol* symbol = unwrap(func);
        return tm.make_uninterpreted_function(symbol, read_arguments(symbol, args));
    });
}

tarq_term tarq_make_term(tarq_env e, tarq_decl d, const tarq_term args[])
{
    return make(e, [&](TermManager& tm) {
        const tarq::Symbol* symbol = unwrap(d);
        return tm.make_term(symbol, read_arguments(symbol, args));
    });
}

tarq_term tarq_make_variable(tarq_env e, const char* name, tarq_type type)
{
    return make(
        e, [&](TermManager& tm) { return tm.make_named_variable(text_arg(name), unwrap(type)); });
}

tarq_term tarq_make_copy_from(tarq_env e, tarq_term t, tarq_env src)
{
    return make(e, [&](TermManager& tm) {
        if (!src.repr) {
            throw tarq::make_error<tarq::Exception>("null environment handle");
        }
        const TermManager& from = wrapper(src)->tm();
        return &from == &tm ? unwrap(t) : tm.copy_term(&from, unwrap(t));
    });
}

tarq_term tarq_make_array_const(tarq_env e, tarq_type arrtp, tarq_term elem)
{
    return make(e,
                [&](TermManager& tm) { return tm.make_array_const(unwrap(arrtp), unwrap(elem)); });
}

tarq_term tarq_make_int_modular_congruence(tarq_env e, mpz_srcptr modulus, tarq_term t1,
                                           tarq_term t2)
{
    return make(e, [&](TermManager& tm) {
        return tm.make_int_modular_congruence(read_mpz(modulus), unwrap(t1), unwrap(t2));
    });
}

tarq_term tarq_make_bv_extract(tarq_env e, size_t msb, size_t lsb, tarq_term t)
{
    return make(e, [&](TermManager& tm) { return tm.make_bv_extract(msb, lsb, unwrap(t)); });
}

tarq_term tarq_make_fp_to_bv(tarq_env e, size_t width, tarq_term rounding, tarq_term t)
{
    return make(
        e, [&](TermManager& tm) { return tm.make_fp_to_bv(width, unwrap(rounding), unwrap(t)); });
}

tarq_term tarq_make_fp_from_ieeebv(tarq_env e, size_t exp_width, size_t mant_width, tarq_term t)
{
    return make(e, [&](TermManager& tm) {
        return tm.make_fp_from_ieeebv(exp_width, mant_width, unwrap(t));
    });
}
