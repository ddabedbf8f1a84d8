// WordClausifier: bit-blasting straight into clauses.
#pragma once

#include "theory/bv/wordclausifierbase.h"

namespace tarq::bv {

/// Writes the clauses of a circuit while it is built; the bits of words are literals of the sink.
class WordClausifier : public WordClausifierBase<ClauseGates> {
public:
    WordClausifier(TermManager* tm, const Configuration::Theory::Bv* options,
                   Ites ites = Ites::VARIABLES)
        : WordClausifierBase(tm, options, ites)
    {
    }

    bool get_bits(const Term_* t, BvLitList* out) const override;
    BvLit bit_blast(const Term_* t, ClauseSink* sink) override;
    void bit_blast_word(const Term_* t, ClauseSink* sink, BvLitList* out) override;
    void set_bits(const Term_* t, ClauseSink* sink, const BvLitList& word) override;
    bool make_bits(const Term_* t, BvLitList* out, ClauseSink* sink) override;
    bool bit_blast_theory_eq(BvLit lit, const Term_* a, const Term_* b, ClauseSink* sink) override;
    bool evaluate(const Term_* t, const std::function<bool(BvLit)>& value, bool fresh,
                  std::vector<bool>* out) override;

private:
    BvLit bound_variable(BvLit l) override { return l; }
};

} // namespace tarq::bv
