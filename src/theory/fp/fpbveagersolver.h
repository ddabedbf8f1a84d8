// The eager solver of floats: atoms become terms of bit-vectors, and these clauses of the main SAT
// engine.
#pragma once

#include "base/configuration.h"
#include "encoding/bvites.h"
#include "terms/stdtermsimplifier.h"
#include "theory/bv/bvmodel.h"
#include "theory/bv/eagerbvsolver.h"
#include "theory/bv/eagerequalitysolver.h"
#include "theory/bv/fpbvcombination.h"
#include "theory/fp/fpbvencoder.h"

#include <memory>
#include <vector>

namespace tarq::fp {

/// The clauses of an atom, and of what its encoding depends on, are written when it is told;
/// nothing is left to do in the search but theory combination.
///
/// Encoded terms live in a manager of its own: none of them is seen by anybody else.
class FpBvEagerSolver : public bv::eager::EagerEqualitySolver, public FpBvCombListener {
public:
    FpBvEagerSolver(TermManager* tm, const Configuration::Theory::Fp& options, DpllSolver* engine);

    const char* get_name() const override { return "fp"; }
    void set_logger(Logger* logger) override;
    void set_termination_test(const TerminationTest* test) override;

    /// throws  Exception "eager fp solver does not support proof generation" when proofs are on;
    ///         FpBvCombination::error "FP<->BV combination unsupported by the current
    ///         configuration"; FpBvEncoder::error
    TellAtomResult tell_atom(const Term_* atom) override;
    /// Nothing: encodings and words go with the backtrack point.
    void retract_atom(const Term_*) override {}
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

    void build_model() override { build_abstract_model(); }
    /// Floats and rounding modes that have bits; null for others.
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override;
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override;

    // FpBvCombListener
    void set_fp_bv_combination(FpBvCombination* link) override { link_ = link; }
    void fp_bv_comb_notify_tell(const Term_* t) override { make_word(t); }
    bool fp_bv_comb_get_bits(const Term_* t, std::vector<bv::BvLit>* bits) override;

    /// Whether the term-ITEs that FpIteFilter accepts need no axioms. They are circuits in any case,
    /// but a solver for equalities has to be told what they mean.
    static bool builds_ites(const Configuration::Theory& config)
    {
        return config.fp.enabled && config.fp.mode == 1 && !config.euf.enabled;
    }

private:
    /// Gives the encoding of an atom the atom's variable.
    class Sink : public bv::eager::EagerClauseSink {
    public:
        using EagerClauseSink::EagerClauseSink;
        void set_output(const Term_* encoding, bv::BvLit l)
        {
            encoding_ = encoding;
            output_ = l;
        }
        bool get_proxy(const Term_* t, bv::BvLit* lit) override
        {
            *lit = output_;
            return t == encoding_;
        }
        bool make_proxy(const Term_* t, bv::BvLit* lit) override { return get_proxy(t, lit); }

    private:
        const Term_* encoding_ = nullptr;
        bv::BvLit output_;
    };

    bool is_own_sort(const DataType* type) const override;
    bool has_word(const Term_* t) const override;
    void make_word(const Term_* t) override;
    bool define_equality(bv::BvLit lit, const Term_* a, const Term_* b) override;
    const Term_* ensure_encoded(const Term_* t);
    void tie_leaf(const FpBvEncoder::BvLeaf& leaf);

    /// The settings of the clausifier.
    struct WordOptions : Configuration::Theory::Bv {
        explicit WordOptions(const Configuration::Theory::Fp& options) : Bv(options.parent)
        {
            Bv::operator=(options.bv);
            bit_blast_mode = options.bit_blast_mode;
        }
    };

    const Configuration::Theory::Fp& options_;
    WordOptions word_options_;
    TermManager target_;
    StdTermSimplifier folding_{&target_};
    FpBvEncoder encoder_;
    FpIteFilter ite_filter_;
    Sink sink_;
    std::unique_ptr<bv::WordClausifierInterface> words_;
    bv::BvModelEvaluator model_;
    FpBvCombination* link_ = nullptr;
};

} // namespace tarq::fp
