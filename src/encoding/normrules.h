// The rules that a TermNormalizer runs on whole formulas before they are encoded.
#pragma once

namespace tarq {

class Configuration;
class TermNormalizer;

/// Registers the preprocessing rules that the bits of `preprocessor.simplification` select, in
/// their order: 2 bit-vectors, 4 arrays, 16 products, 8 whole conjunctions.
void register_preprocessing_normalizations(const Configuration& config, TermNormalizer* n);

namespace norm {

void register_array_rules(TermNormalizer* n);
void register_mult_rules(TermNormalizer* n);
void register_global_rules(TermNormalizer* n);

} // namespace norm

} // namespace tarq
