// Exported functions: term queries, walks and rewrites.
#include "api/frame.h"

#include "terms/numbers.h"
#include "terms/termvisitor.h"

using namespace tarq::api;
using tarq::SymbolTag;
using tarq::Term_;
using tarq::TermManager;

namespace {

// A term is a graph, whose text can be exponentially larger than itself.
constexpr size_t MAX_REPR = size_t(1) << 24;

/// A predicate on a term; an error handle satisfies none.
template <class Body>
int test_term(tarq_env e, tarq_term t, Body&& body) noexcept
{
    return frame(e, 0, [&](EnvWrapper& w) -> int {
        return t.repr && body(w.tm(), static_cast<const Term_*>(t.repr));
    });
}

/// Reads something off a term; `failure` for an error handle.
template <class R, class Body>
R read_term(tarq_term t, R failure, Body&& body) noexcept
{
    return frame_without_env(failure, [&] { return body(*unwrap(t)); });
}

/// Calls the caller's function.
class CTermVisitorCallback {
public:
    CTermVisitorCallback(tarq_env e, tarq_visit_term_callback func, void* user_data)
        : env_(e), func_(func), user_data_(user_data)
    {
    }

    tarq::VisitResult visit(const Term_* t, bool pre)
    {
        switch (func_(env_, wrap(t), pre, user_data_)) {
        case TARQ_VISIT_PROCESS:
            return tarq::VisitResult::PROCESS;
        case TARQ_VISIT_SKIP:
            return tarq::VisitResult::SKIP;
        default:
            return tarq::VisitResult::ABORT;
        }
    }

private:
    tarq_env env_;
    tarq_visit_term_callback func_;
    void* user_data_;
};

/// Lends the marks of the environment to a walk and takes them back on every way out.
class MarksLoan {
public:
    explicit MarksLoan(EnvWrapper& w) : w_(w), granted_(w.visit_marks_free)
    {
        w_.visit_marks_free = false;
    }
    ~MarksLoan()
    {
        if (granted_) {
            w_.visit_marks_free = true;
        }
    }
    MarksLoan(const MarksLoan&) = delete;
    MarksLoan& operator=(const MarksLoan&) = delete;

    tarq::BitVector& marks() { return granted_ ? w_.visit_marks : own_; }

private:
    EnvWrapper& w_;
    bool granted_;
    tarq::BitVector own_;
};

} // namespace

// Parts of a term

size_t tarq_term_id(tarq_term t)
{
    return read_term(t, size_t(0), [](const Term_& x) { return x.get_id(); });
}

size_t tarq_term_arity(tarq_term t)
{
    return read_term(t, size_t(0), [](const Term_& x) { return x.arity(); });
}

tarq_term tarq_term_get_arg(tarq_term t, size_t n)
{
    return read_term(t, error_term,
                     [&](const Term_& x) { return n < x.arity() ? wrap(x.child(n)) : error_term; });
}

tarq_type tarq_term_get_type(tarq_term t)
{
    return read_term(t, error_type, [](const Term_& x) { return wrap(TermManager::get_type(&x)); });
}

char* tarq_term_repr(tarq_term t)
{
    return read_term<char*>(t, nullptr,
                            [](const Term_& x) { return copy_text(x.to_str(MAX_REPR)); });
}

int tarq_term_to_number(tarq_env e, tarq_term t, mpq_t out)
{
    tarq::QNumber value;
    if (!test_term(e, t,
                   [&](TermManager& tm, const Term_* x) { return tm.is_number(x, &value); })) {
        return -1;
    }
    return frame_without_env(-1, [&] {
        mpq_set(out, value.to_mpq().get_mpq_t());
        return 0;
    });
}

// Predicates

// TABLE(name, tag of the head symbol)
#define TARQ_TAG_TESTS(X)                                                                          \
    X(and, AND)                                                                                    \
    X(or, OR)                                                                                      \
    X(not, NOT)                                                                                    \
    X(iff, IFF)                                                                                    \
    X(true, TRUE)                                                                                  \
    X(false, FALSE)                                                                                \
    X(term_ite, ITE)                                                                               \
    X(equal, EQ)                                                                                   \
    X(leq, LEQ)                                                                                    \
    X(plus, PLUS)                                                                                  \
    X(times, TIMES)                                                                                \
    X(divide, DIVIDE)                                                                              \
    X(floor, FLOOR)                                                                                \
    X(pi, PI)                                                                                      \
    X(exp, EXP)                                                                                    \
    X(sin, SIN)                                                                                    \
    X(log, LOG)                                                                                    \
    X(pow, POW)                                                                                    \
    X(asin, ASIN)                                                                                  \
    X(array_read, ARRAY_READ)                                                                      \
    X(array_write, ARRAY_WRITE)                                                                    \
    X(array_const, ARRAY_CONST)                                                                    \
    X(bv_concat, BV_CONCAT)                                                                        \
    X(bv_or, BV_OR)                                                                                \
    X(bv_xor, BV_XOR)                                                                              \
    X(bv_and, BV_AND)                                                                              \
    X(bv_not, BV_NOT)                                                                              \
    X(bv_lshl, BV_LSHL)                                                                            \
    X(bv_lshr, BV_LSHR)                                                                            \
    X(bv_ashr, BV_ASHR)                                                                            \
    X(bv_plus, BV_ADD)                                                                             \
    X(bv_minus, BV_SUB)                                                                            \
    X(bv_neg, BV_NEG)                                                                              \
    X(bv_times, BV_MUL)                                                                            \
    X(bv_udiv, BV_UDIV)                                                                            \
    X(bv_urem, BV_UREM)                                                                            \
    X(bv_sdiv, BV_SDIV)                                                                            \
    X(bv_srem, BV_SREM)                                                                            \
    X(bv_ult, BV_ULT)                                                                              \
    X(bv_uleq, BV_ULE)                                                                             \
    X(bv_slt, BV_SLT)                                                                              \
    X(bv_sleq, BV_SLE)                                                                             \
    X(bv_comp, BV_COMP)                                                                            \
    X(int_to_bv, INT_TO_BV)                                                                        \
    X(int_from_ubv, INT_FROM_UBV)                                                                  \
    X(int_from_sbv, INT_FROM_SBV)                                                                  \
    X(fp_equal, FP_EQ)                                                                             \
    X(fp_lt, FP_LT)                                                                                \
    X(fp_leq, FP_LE)                                                                               \
    X(fp_neg, FP_NEG)                                                                              \
    X(fp_plus, FP_ADD)                                                                             \
    X(fp_minus, FP_SUB)                                                                            \
    X(fp_times, FP_MUL)                                                                            \
    X(fp_div, FP_DIV)                                                                              \
    X(fp_sqrt, FP_SQRT)                                                                            \
    X(fp_min, FP_MIN)                                                                              \
    X(fp_max, FP_MAX)                                                                              \
    X(fp_round_to_int, FP_ROUND_TO_INT)                                                            \
    X(fp_abs, FP_ABS)                                                                              \
    X(fp_cast, FP_CAST)                                                                            \
    X(fp_to_bv, FP_TO_BV)                                                                          \
    X(fp_from_sbv, FP_FROM_SBV)                                                                    \
    X(fp_from_ubv, FP_FROM_UBV)                                                                    \
    X(fp_as_ieeebv, FP_AS_IEEEBV)                                                                  \
    X(fp_from_ieeebv, FP_FROM_IEEEBV)                                                              \
    X(fp_isnan, FP_ISNAN)                                                                          \
    X(fp_isinf, FP_ISINF)                                                                          \
    X(fp_iszero, FP_ISZERO)                                                                        \
    X(fp_issubnormal, FP_ISSUBNORMAL)                                                              \
    X(fp_isnormal, FP_ISNORMAL)                                                                    \
    X(fp_isneg, FP_ISNEG)                                                                          \
    X(fp_ispos, FP_ISPOS)

// TABLE(name, test of TermManager)
#define TARQ_MANAGER_TESTS(X)                                                                      \
    X(number, is_number)                                                                           \
    X(constant, is_constant)                                                                       \
    X(boolean_constant, is_boolean_constant)                                                       \
    X(atom, is_boolean_atom)                                                                       \
    X(variable, is_variable)                                                                       \
    X(uf, is_uninterpreted_function)                                                               \
    X(quantifier, is_quantifier)

// TABLE(name, the rounding mode's constructor)
#define TARQ_ROUNDING_TESTS(X)                                                                     \
    X(fp_roundingmode_nearest_even, make_fprounding_even)                                          \
    X(fp_roundingmode_zero, make_fprounding_zero)                                                  \
    X(fp_roundingmode_plus_inf, make_fprounding_plus_inf)                                          \
    X(fp_roundingmode_minus_inf, make_fprounding_minus_inf)

#define TARQ_AMOUNT_TESTS(X)                                                                       \
    X(bv_zext, is_bv_zext)                                                                         \
    X(bv_sext, is_bv_sext)                                                                         \
    X(bv_rol, is_bv_rol)                                                                           \
    X(bv_ror, is_bv_ror)

#define TARQ_DEFINE(name, tag)                                                                     \
    int tarq_term_is_##name(tarq_env e, tarq_term t)                                               \
    {                                                                                              \
        return test_term(e, t, [](TermManager& tm, const Term_* x) {                               \
            return tm.get_tag(x) == SymbolTag::tag;                                                \
        });                                                                                        \
    }
TARQ_TAG_TESTS(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, test)                                                                    \
    int tarq_term_is_##name(tarq_env e, tarq_term t)                                               \
    {                                                                                              \
        return test_term(e, t, [](TermManager& tm, const Term_* x) { return tm.test(x); });        \
    }
TARQ_MANAGER_TESTS(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, op)                                                                      \
    int tarq_term_is_##name(tarq_env e, tarq_term t)                                               \
    {                                                                                              \
        return test_term(e, t, [](TermManager& tm, const Term_* x) { return x == tm.op(); });      \
    }
TARQ_ROUNDING_TESTS(TARQ_DEFINE)
#undef TARQ_DEFINE

#define TARQ_DEFINE(name, test)                                                                    \
    int tarq_term_is_##name(tarq_env e, tarq_term t, size_t* out_amount)                           \
    {                                                                                              \
        return test_term(e, t,                                                                     \
                         [&](TermManager& tm, const Term_* x) { return tm.test(x, out_amount); }); \
    }
TARQ_AMOUNT_TESTS(TARQ_DEFINE)
#undef TARQ_DEFINE

int tarq_term_is_bv_extract(tarq_env e, tarq_term t, size_t* out_msb, size_t* out_lsb)
{
    return test_term(e, t, [&](TermManager& tm, const Term_* x) {
        return tm.is_bv_extract(x, out_msb, out_lsb);
    });
}

int tarq_term_is_int_modular_congruence(tarq_env e, tarq_term t, mpz_ptr out_modulus)
{
    return frame(e, -1, [&](EnvWrapper& w) -> int {
        tarq::QNumber modulus;
        if (!t.repr || !w.tm().is_int_modular_congruence(unwrap(t), &modulus)) {
            return 0;
        }
        if (out_modulus) {
            mpz_set(out_modulus, modulus.to_mpq().get_num_mpz_t());
        }
        return 1;
    });
}

// Walks and rewrites

int tarq_visit_term(tarq_env e, tarq_term t, tarq_visit_term_callback func, void* user_data)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        const Term_* root = unwrap(t);
        if (!func) {
            throw tarq::make_error<tarq::Exception>("null callback");
        }
        MarksLoan loan(w);
        CTermVisitorCallback callback(e, func, user_data);
        tarq::TermVisitor<CTermVisitorCallback> visitor(loan.marks(), callback);
        visitor.visit(root);
        return 0;
    });
}

tarq_term tarq_apply_substitution(tarq_env e, tarq_term t, const tarq_term* from,
                                  const tarq_term* to, size_t n)
{
    return frame(e, error_term, [&](EnvWrapper& w) {
        tarq::TermVector keys = unwrap_array(from, n);
        tarq::TermVector values = unwrap_array(to, n);
        return wrap(w.env->apply_substitution(unwrap(t), keys, values));
    });
}

tarq_term tarq_simplify(tarq_env e, tarq_term t, const tarq_term* to_protect, size_t num_to_protect,
                        int toplevel)
{
    return frame(e, error_term, [&](EnvWrapper& w) {
        const tarq::TermVector protect = unwrap_array(to_protect, num_to_protect);
        return wrap(w.env->simplify(unwrap(t), protect, toplevel != 0));
    });
}

tarq_term tarq_to_nnf(tarq_env e, tarq_term t)
{
    return frame(e, error_term, [&](EnvWrapper& w) { return wrap(w.env->to_nnf(unwrap(t))); });
}
