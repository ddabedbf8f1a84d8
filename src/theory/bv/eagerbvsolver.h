// The eager bit-vector solver: atoms become clauses of the main SAT engine.
#pragma once

#include "theory/bv/bvmodel.h"
#include "theory/bv/clausesink.h"
#include "theory/bv/eagerequalitysolver.h"

#include <memory>
#include <vector>

namespace tarq {
class DpllSolver;
}

namespace tarq::bv::eager {

/// Writes into the main engine. A term that has a variable there keeps it as its bit.
class EagerClauseSink : public ClauseSink {
public:
    explicit EagerClauseSink(DpllSolver* engine) : engine_(engine) {}

    BvLit new_atom() override;
    bool get_proxy(const Term_* t, BvLit* lit) override;
    bool make_proxy(const Term_* t, BvLit* lit) override;
    void add_clause() override;
    void enable_proxy(bool on) { proxy_enabled_ = on; }

    uint64_t num_clauses = 0;
    uint64_t num_variables = 0;

private:
    DpllSolver* engine_;
    bool proxy_enabled_ = true;
    std::vector<dpll::Lit> lits_;
};

/// All the search is the engine's; what remains is the part in theory combination.
class EagerBVSolver : public EagerEqualitySolver, public FpBvCombListener {
public:
    EagerBVSolver(TermManager* tm, const Configuration::Theory::Bv& options, DpllSolver* engine);

    const char* get_name() const override { return "bv"; }
    void set_logger(Logger* logger) override;
    void set_termination_test(const TerminationTest* test) override;

    /// throws  Exception "eager bv solver does not support proof generation" when proofs are on;
    ///         WordClausifierInterface::error
    TellAtomResult tell_atom(const Term_* atom) override;
    /// Nothing: the words go with the backtrack point.
    void retract_atom(const Term_*) override {}
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

    void build_model() override;
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override;
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override { return BvModelEvaluator::is_alien(*tm_, t); }
    std::vector<std::pair<std::string, std::string>> get_stats() const override;

    // FpBvCombListener
    void set_fp_bv_combination(FpBvCombination* link) override;
    void fp_bv_comb_notify_tell(const Term_* t) override { make_word(t); }
    bool fp_bv_comb_get_bits(const Term_* t, std::vector<BvLit>* bits) override;

    /// Whether the term-ITEs that BvIteFilter accepts become circuits and need no axioms. Where
    /// there is a solver for equalities they need them, since it has to know what they mean.
    static bool builds_ites(const Configuration::Theory& config)
    {
        return config.bv.enabled && config.bv.eager && !config.euf.enabled;
    }
    /// Whether the atom is one of bit-vectors.
    static bool should_handle(const TermManager& tm, const Term_* atom);

private:
    bool is_own_sort(const DataType* type) const override { return tm_->is_bv_type(type); }
    bool has_word(const Term_* t) const override { return words_->is_cached(t); }
    void make_word(const Term_* t) override;
    bool define_equality(BvLit lit, const Term_* a, const Term_* b) override;

    const Configuration::Theory::Bv& options_;
    EagerClauseSink sink_;
    std::unique_ptr<WordClausifierInterface> words_;
    BvModelEvaluator model_;
    FpBvCombination* link_ = nullptr;
};

} // namespace tarq::bv::eager
