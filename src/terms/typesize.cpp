#include "terms/typesize.h"

#include "terms/bvnumber.h"

#include <algorithm>

namespace tarq {

namespace {

/// From here on a number of values counts as infinite.
constexpr long MANY_VALUES = 1L << 40;

} // namespace

QNumber num_values(const TermManager* tm, const DataType* type)
{
    const DataType* index = nullptr;
    const DataType* element = nullptr;
    QNumber size;
    if (tm->is_array_type(type, &index, &element)) {
        const QNumber indices = num_values(tm, index);
        const QNumber elements = num_values(tm, element);
        if (indices.is_zero() || elements.is_zero()) {
            return elements == 1L ? QNumber(1) : QNumber();
        }
        QNumber power(1);
        for (QNumber i; i < indices; i += 1L) {
            power *= elements;
            if (power > QNumber(MANY_VALUES)) {
                return QNumber();
            }
        }
        return power;
    }
    if (!tm->is_finite_domain_type(type, &size) || size > QNumber(MANY_VALUES)) {
        return QNumber();
    }
    size_t exp = 0;
    size_t mant = 0;
    if (tm->is_fp_type(type, &exp, &mant)) { // all patterns of NaN are one value
        size = size - QNumber(1L << (mant + 1)) + QNumber(3);
    }
    return size;
}

TermVector list_values(TermManager* tm, const DataType* type)
{
    const DataType* index = nullptr;
    const DataType* element = nullptr;
    size_t width = 0;
    size_t mant = 0;
    TermVector out;
    if (type == tm->get_bool_type()) {
        out = {tm->make_true(), tm->make_false()};
    } else if (type == tm->get_rounding_type()) {
        out = {tm->make_fprounding_even(), tm->make_fprounding_zero(),
               tm->make_fprounding_plus_inf(), tm->make_fprounding_minus_inf()};
    } else if (tm->is_bv_type(type, &width)) {
        const QNumber end = BVNumber::pow2(width);
        for (QNumber n; n < end; n += 1L) {
            out.push_back(tm->make_bv_number(n, width));
        }
    } else if (tm->is_fp_type(type, &width, &mant)) {
        const QNumber end = BVNumber::pow2(width + mant + 1);
        for (QNumber n; n < end; n += 1L) {
            out.push_back(tm->make_fp_bits_number(n, width, mant));
        }
    } else if (tm->is_array_type(type, &index, &element)) {
        const auto plain = tm->simplify_in_scope(false);
        const TermVector elements = list_values(tm, element);
        out = {tm->make_array_const(type, elements.front())};
        for (const Term_* i : elements.size() > 1 ? list_values(tm, index) : TermVector()) {
            for (size_t k = 0, end = out.size(); k < end; ++k) {
                for (size_t e = 1; e < elements.size(); ++e) {
                    out.push_back(tm->make_array_write(out[k], i, elements[e]));
                }
            }
        }
    }
    std::sort(out.begin(), out.end(), term_lt());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

} // namespace tarq
