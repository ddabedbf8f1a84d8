// ArrayValues: one term for each array, so that equal arrays are the same value.
#pragma once

#include "base/hashmap.h"
#include "terms/termmanager.h"

#include <cstddef>

namespace tarq {

/// Makes array values in their normal form: a constant array under writes of other elements, by
/// ascending id of the index. Where the indices are of a finite type and most of them are written,
/// the constant is the most frequent element, the one of the smallest id among several.
///
/// Two values in this form are equal exactly when they are the same term: indices and elements that
/// are different values are different, and types without literals have more elements than any array
/// names.
///
/// Remembers the values it made. Borrows the term manager; a collection of terms ends its life.
class ArrayValues {
public:
    explicit ArrayValues(TermManager* tm) : tm_(tm) {}

    /// Whether an array is a value in normal form.
    bool contains(const Term_* t) const { return known_.contains(t); }
    /// Whether `t` is a literal, an abstract value, or an array in normal form. Constant time.
    bool is_value(const Term_* t) const;
    /// The constant array; null when the element is no value.
    const Term_* make_const(const Symbol* symbol, const Term_* element);
    /// The array with another element at `index`; null when an argument is no value. Linear in the
    /// number of writes that have to stay above the new one.
    const Term_* make_write(const Symbol* symbol, const Term_* array, const Term_* index,
                            const Term_* element);

private:
    struct Shape {
        const Term_* otherwise; // the element where nothing is written
        size_t num_writes;
    };

    const Term_* put_write(const Symbol* symbol, const Term_* array, const Term_* index,
                           const Term_* element);
    const Term_* choose_default(const Symbol* write, const Term_* array, const QNumber& size);
    const Term_* normalize(const Term_* t);

    TermManager* tm_;
    hsh::HashMap<const Term_*, Shape> known_;
};

} // namespace tarq
