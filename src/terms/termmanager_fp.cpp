// The constructors of the floating-point families: the format is read off an argument's type.
#include "terms/termmanager.h"

#include "terms/termtext.h"

namespace tarq {

bool TermManager::is_fprounding(const Term_* t, int* mode) const
{
    for (size_t i = 0; i < rounding_terms_.size(); ++i) {
        if (t == rounding_terms_[i]) {
            if (mode) {
                *mode = static_cast<int>(i);
            }
            return true;
        }
    }
    return false;
}

SymbolIndices TermManager::fp_format(const Term_* t) const
{
    SymbolIndices indices;
    if (!is_fp_type(get_type(t), &indices.n[0], &indices.n[1])) {
        throw make_error<error>("type error. term ", term_text(t),
                                " is not a floating-point number");
    }
    return indices;
}

/// rounding, b  null for the operations that have none
const Term_* TermManager::make_fp_op(SymbolTag::tag tag, const char* op_name, const Term_* rounding,
                                     const Term_* a, const Term_* b)
{
    const Symbol* s = make_family_symbol(tag, fp_format(a));
    std::array<const Term_*, 3> args;
    size_t n = 0;
    for (const Term_* t : {rounding, a, b}) {
        if (t) {
            args[n++] = t;
        }
    }
    return make_named(s, op_name, TermArgs(args.data(), n));
}

const Term_* TermManager::make_fp_cast(size_t exp, size_t mant, const Term_* rounding,
                                       const Term_* t)
{
    SymbolIndices indices = fp_format(t);
    indices.n[2] = exp;
    indices.n[3] = mant;
    return make_binary(make_family_symbol(SymbolTag::FP_CAST, indices), "make_fp_cast", rounding,
                       t);
}

const Term_* TermManager::make_fp_from_bv(SymbolTag::tag tag, const char* op_name, size_t exp,
                                          size_t mant, const Term_* rounding, const Term_* t)
{
    const size_t width = bv_width(t, " is not a bit-vector");
    return make_binary(make_family_symbol(tag, {{width, exp, mant}, {}}), op_name, rounding, t);
}

const Term_* TermManager::make_fp_from_sbv(size_t exp, size_t mant, const Term_* rounding,
                                           const Term_* t)
{
    return make_fp_from_bv(SymbolTag::FP_FROM_SBV, "make_fp_from_sbv", exp, mant, rounding, t);
}

const Term_* TermManager::make_fp_from_ubv(size_t exp, size_t mant, const Term_* rounding,
                                           const Term_* t)
{
    return make_fp_from_bv(SymbolTag::FP_FROM_UBV, "make_fp_from_ubv", exp, mant, rounding, t);
}

const Term_* TermManager::make_fp_to_bv(size_t width, const Term_* rounding, const Term_* t)
{
    SymbolIndices indices = fp_format(t);
    indices.n[2] = width;
    return make_binary(make_family_symbol(SymbolTag::FP_TO_BV, indices), "make_fp_to_bv", rounding,
                       t);
}

const Term_* TermManager::make_fp_from_ieeebv(size_t exp, size_t mant, const Term_* t)
{
    bv_width(t, " is not a bit-vector");
    return make_unary(make_family_symbol(SymbolTag::FP_FROM_IEEEBV, {{exp, mant}, {}}),
                      "make_fp_from_ieeebv", t);
}

} // namespace tarq
