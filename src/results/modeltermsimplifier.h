// ModelTermSimplifier: folding of applications to values, as models need it.
#pragma once

#include "results/modelstore.h"
#include "terms/termsimplifications.h"

namespace tarq {

/// Adds to another simplifier what is true of values only: abstract values with different names are
/// different, arrays are equal when their normal forms are, and what the options say about division
/// by zero and about the minimum of two zeros. Borrows the array values and the other one, which may
/// be null.
class ModelTermSimplifier : public TermSimplifier {
public:
    ModelTermSimplifier(TermManager* tm, const ModelStore::Options& options, ArrayValues* arrays,
                        TermSimplifier* next)
        : tm_(tm), options_(options), arrays_(arrays), next_(next)
    {
    }
    const Term_* operator()(const Symbol* symbol, TermArgs args) override;

private:
    const Term_* divide_by_zero(const Symbol* symbol, TermArgs args);
    const Term_* min_max_of_zeros(const Symbol* symbol, TermArgs args);

    TermManager* tm_;
    const ModelStore::Options& options_;
    ArrayValues* arrays_;
    TermSimplifier* next_;
};

} // namespace tarq
