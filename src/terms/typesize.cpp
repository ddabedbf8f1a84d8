#include "terms/typesize.h"

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

} // namespace tarq
