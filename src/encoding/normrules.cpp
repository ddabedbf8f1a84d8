#include "encoding/normrules.h"

#include "base/configuration.h"
#include "terms/termnormalizer.h"

namespace tarq {

void register_preprocessing_normalizations(const Configuration& config, TermNormalizer* n)
{
    const int bits = config.preprocessor.simplification;
    if (bits & NORM_BITVECTORS) {
        for (const TermRule* rule :
             preprocessing_term_rules(config.theory.bv.div_by_zero_mode == 0)) {
            n->register_rule(rule);
        }
    }
    if (bits & NORM_ARRAYS) {
        norm::register_array_rules(n);
    }
    if (bits & NORM_PRODUCTS) {
        norm::register_mult_rules(n);
    }
    if (bits & NORM_CONJUNCTIONS) {
        norm::register_global_rules(n);
    }
}

} // namespace tarq
