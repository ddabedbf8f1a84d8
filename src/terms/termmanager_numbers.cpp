// Value terms. Their symbols are unlisted: the name is the value's text, and a user symbol of the
// same name is another symbol.
#include "terms/termmanager.h"

#include "terms/bvnumber.h"
#include "terms/ieeefloat.h"
#include "terms/termtext.h"

namespace tarq {

size_t TermManager::NumberKey::hash() const
{
    return value.hash() + (width_or_exp * 31 + mant) * 0x9e3779b97f4a7c15U;
}

const Term_* TermManager::find_value(const NumberKey& key) const
{
    auto it = number_records_.find(key);
    return it == number_records_.end() ? nullptr : numbers_[it->second].term;
}

/// The term of a value that is not in the table, or whose term a collection has dropped.
const Term_* TermManager::make_value(const NumberKey& key, const DataType* type,
                                     const std::string& name)
{
    auto it = number_records_.find(key);
    if (it == number_records_.end()) {
        const Symbol* s = signature_.add_unlisted_symbol(name, type);
        uint32_t record = static_cast<uint32_t>(numbers_.size());
        if (free_numbers_.empty()) {
            numbers_.emplace_back();
        } else {
            record = free_numbers_.back();
            free_numbers_.pop_back();
        }
        numbers_[record] = {s, nullptr, key};
        set_class(s, {record, key.kind, SymbolTag::UNKNOWN});
        it = number_records_.insert({key, record}).first;
    }
    NumberRecord& record = numbers_[it->second];
    record.term = bank_.make_term(record.symbol, {});
    return record.term;
}

const Term_* TermManager::make_number(const QNumber& q)
{
    const NumberKey key{q};
    if (const Term_* t = find_value(key)) {
        return t;
    }
    return make_value(key, q.is_int() ? int_type_ : real_type_, q.to_str());
}

const Term_* TermManager::make_bv_number(const QNumber& q, size_t width)
{
    const NumberKey key{q, SymbolKind::BV_NUMBER, width};
    if (const Term_* t = find_value(key)) {
        return t;
    }
    if (q.is_neg()) {
        throw make_error<error>("can't make a bv number from a negative number: ",
                                cut_text(q.to_str()));
    }
    if (!q.is_int()) {
        throw make_error<error>("can't make a bv number from a fractional number: ",
                                cut_text(q.to_str()));
    }
    if (!BVNumber::fits(q, width)) {
        throw make_error<error>("the number ", cut_text(q.to_str()), " doesn't fit in ", width,
                                " bits");
    }
    return make_value(key, get_bv_type(width), q.to_str() + "_" + std::to_string(width));
}

const Term_* TermManager::make_fp_bits_number(const QNumber& bits, size_t exp, size_t mant)
{
    const NumberKey key{bits, SymbolKind::FP_NUMBER, exp, mant};
    if (const Term_* t = find_value(key)) {
        return t;
    }
    const DataType* type = get_fp_type(exp, mant);
    const size_t width = exp + mant + 1;
    if (bits.is_neg()) {
        throw make_error<error>("can't make a bv number from a negative number: ",
                                cut_text(bits.to_str()));
    }
    if (!bits.is_int()) {
        throw make_error<error>("can't make a bv number from a fractional number: ",
                                cut_text(bits.to_str()));
    }
    if (!BVNumber::fits(bits, width)) {
        throw make_error<error>("the number ", cut_text(bits.to_str()), " doesn't fit in ", width,
                                " bits");
    }
    // NaN has many patterns and must be one term
    const NumberKey canonical{IEEEFloat::from_bits(bits, {exp, mant}).get_bits(),
                              SymbolKind::FP_NUMBER, exp, mant};
    if (const Term_* t = find_value(canonical)) {
        return t;
    }
    return make_value(canonical, type,
                      canonical.value.to_str() + "_" + std::to_string(exp) + "_" +
                          std::to_string(mant));
}

const Term_* TermManager::make_fp_rat_number(const QNumber& q, size_t exp, size_t mant,
                                             const Term_* rounding)
{
    int mode;
    if (!is_fprounding(rounding, &mode)) {
        throw make_error<error>("unsupported rounding mode: ", term_text(rounding));
    }
    get_fp_type(exp, mant); // for its check of the widths
    const IEEEFloat x =
        IEEEFloat::from_number(q, {exp, mant}, static_cast<IEEEFloat::rounding_mode>(mode));
    return make_fp_bits_number(x.get_bits(), exp, mant);
}

const Term_* TermManager::make_fp_plus_inf(size_t exp, size_t mant)
{
    get_fp_type(exp, mant); // for its check of the widths
    return make_fp_bits_number(BVNumber::pow2(exp + mant) - BVNumber::pow2(mant), exp, mant);
}

const Term_* TermManager::make_fp_minus_inf(size_t exp, size_t mant)
{
    get_fp_type(exp, mant); // for its check of the widths
    return make_fp_bits_number(BVNumber::pow2(exp + mant + 1) - BVNumber::pow2(mant), exp, mant);
}

const Term_* TermManager::make_fp_nan(size_t exp, size_t mant)
{
    get_fp_type(exp, mant); // for its check of the widths
    return make_fp_bits_number(BVNumber::pow2(exp + mant + 1) - 1, exp, mant);
}

bool TermManager::is_value(const Symbol* s, SymbolKind kind, QNumber* value, size_t* a,
                           size_t* b) const
{
    const SymbolClass& c = class_of(s);
    if (c.kind != kind) {
        return false;
    }
    const NumberKey& key = numbers_[c.record].key;
    if (value) {
        *value = key.value;
    }
    if (a) {
        *a = key.width_or_exp;
    }
    if (b) {
        *b = key.mant;
    }
    return true;
}

bool TermManager::is_number(const Symbol* s, QNumber* value) const
{
    const SymbolClass& c = class_of(s);
    return c.kind >= SymbolKind::NUMBER && is_value(s, c.kind, value, nullptr, nullptr);
}

bool TermManager::is_arith_number(const Symbol* s, QNumber* value) const
{
    return is_value(s, SymbolKind::NUMBER, value, nullptr, nullptr);
}

bool TermManager::is_bv_number(const Symbol* s, QNumber* value, size_t* width) const
{
    return is_value(s, SymbolKind::BV_NUMBER, value, width, nullptr);
}

bool TermManager::is_fp_number(const Symbol* s, QNumber* bits, size_t* exp, size_t* mant) const
{
    return is_value(s, SymbolKind::FP_NUMBER, bits, exp, mant);
}

} // namespace tarq
