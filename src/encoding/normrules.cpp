#include "encoding/normrules.h"

#include "base/configuration.h"
#include "terms/termnormalizer.h"

namespace tarq {

void register_preprocessing_normalizations(const Configuration& config, TermNormalizer* n)
{
    const int bits = config.preprocessor.simplification;
    if (bits & 2) {
        for (const TermRule* rule :
             preprocessing_term_rules(config.theory.bv.div_by_zero_mode == 0)) {
            n->register_rule(rule);
        }
    }
    if (bits & 4) {
        norm::register_array_rules(n);
    }
    if (bits & 16) {
        norm::register_mult_rules(n);
    }
    if (bits & 8) {
        norm::register_global_rules(n);
    }
}

} // namespace tarq
