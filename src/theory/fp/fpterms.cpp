#include "theory/fp/fpterms.h"

namespace tarq::fp {

bool should_handle(const TermManager& tm, const Term_* atom)
{
    const SymbolTag::tag tag = tm.get_tag(atom);
    return (tag >= SymbolTag::FP_EQ && tag <= SymbolTag::FP_LE) ||
           (tag >= SymbolTag::FP_ISNAN && tag <= SymbolTag::FP_ISPOS) ||
           (tag == SymbolTag::EQ && is_fp_sorted(tm, atom->child(0)));
}

bool is_alien(const TermManager& tm, const Term_* t)
{
    const SymbolTag::tag tag = tm.get_tag(t);
    if (tag == SymbolTag::EQ) {
        return is_alien(tm, t->child(0)) || is_alien(tm, t->child(1));
    }
    if ((tag >= SymbolTag::FP_EQ && tag <= SymbolTag::FP_FROM_UBV) ||
        (tag >= SymbolTag::FP_ISNAN && tag <= SymbolTag::FP_FROM_IEEEBV)) {
        return false;
    }
    return (t->arity() != 0 && !tm.is_term_ite(t)) || !is_fp_sorted(tm, t);
}

const Term_* from_word(TermManager* tm, const Term_* t, const TermManager& target,
                       const Term_* word)
{
    const DataType* type = TermManager::get_type(t);
    if (!word) {
        const bool is_free = type == tm->get_rounding_type() && t->arity() == 0;
        return is_free ? tm->make_fprounding_even() : nullptr;
    }
    QNumber bits;
    size_t exp = 0, mant = 0;
    target.is_bv_number(word, &bits);
    if (tm->is_fp_type(type, &exp, &mant)) {
        return tm->make_fp_bits_number(bits, exp, mant);
    }
    const Term_* modes[] = {tm->make_fprounding_even(), tm->make_fprounding_zero(),
                            tm->make_fprounding_plus_inf(), tm->make_fprounding_minus_inf()};
    for (int i = 0; i < 4; ++i) {
        if (bits == QNumber(i)) {
            return modes[i];
        }
    }
    return nullptr;
}

} // namespace tarq::fp
