// The rules that a TermNormalizer runs on whole formulas before they are encoded.
#pragma once

namespace tarq {

struct Configuration;
class TermNormalizer;

/// The bits of `preprocessor.simplification` that select rules, in the order of their registration.
enum NormRules : int {
    NORM_BITVECTORS = 2,
    NORM_ARRAYS = 4,
    NORM_PRODUCTS = 16,
    NORM_CONJUNCTIONS = 8,
    NORM_ALL = NORM_BITVECTORS | NORM_ARRAYS | NORM_PRODUCTS | NORM_CONJUNCTIONS
};

/// Registers the preprocessing rules that `preprocessor.simplification` selects.
void register_preprocessing_normalizations(const Configuration& config, TermNormalizer* n);

namespace norm {

void register_array_rules(TermNormalizer* n);
void register_mult_rules(TermNormalizer* n);
void register_global_rules(TermNormalizer* n);

} // namespace norm

} // namespace tarq
