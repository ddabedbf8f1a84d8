// AigWordClausifier: bit-blasting into an and-inverter graph, and clauses only for what is asked.
#pragma once

#include "encoding/aigevaluator.h"
#include "theory/bv/wordclausifierbase.h"

namespace tarq::bv {

/// Builds the circuits of words in a graph of its own. A bit gets a literal (a label) together with
/// the clauses of the circuit below it when it is asked for; where labels are, a conversion ends.
/// Backtracking takes labels back, since the clauses go away with them; nodes stay.
class AigWordClausifier : public WordClausifierBase<AigGates> {
public:
    AigWordClausifier(TermManager* tm, const Configuration::Theory::Bv* options,
                      Ites ites = Ites::VARIABLES);

    bool get_bits(const Term_* t, BvLitList* out) const override;
    BvLit bit_blast(const Term_* t, ClauseSink* sink) override;
    void bit_blast_word(const Term_* t, ClauseSink* sink, BvLitList* out) override;
    void set_bits(const Term_* t, ClauseSink* sink, const BvLitList& word) override;
    bool make_bits(const Term_* t, BvLitList* out, ClauseSink* sink) override;
    void notify_interface_term(const Term_* t, ClauseSink* sink) override;
    bool bit_blast_theory_eq(BvLit lit, const Term_* a, const Term_* b, ClauseSink* sink) override;
    bool evaluate(const Term_* t, const std::function<bool(BvLit)>& value, bool fresh,
                  std::vector<bool>* out) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

    AigManager& manager() { return gates_.manager(); }
    /// The word of the term as handles, made if it is not there; no clauses. Valid until the next
    /// word is made.
    std::span<const Aig> bit_blast_aigs(const Term_* t);

private:
    class AigClauseSink;

    Aig bound_variable(BvLit l) override;
    BvLit label(Aig a) const;
    void set_label(uint32_t id, BvLit l);
    BvLit convert(Aig a, BvLit wanted, ClauseSink* sink);

    bool logic_synthesis_;
    bool has_shared_terms_ = false;
    uint32_t unpolled_ = 0;             // nodes that conversions have looked at
    std::vector<BvLit> labels_;         // by node id; a label exists only with its clauses
    std::vector<uint32_t> label_trail_; // ids in the order of labelling
    std::vector<size_t> label_marks_;   // its length at each backtrack point
    AigEvaluator evaluator_{&gates_.manager()};
};

} // namespace tarq::bv
