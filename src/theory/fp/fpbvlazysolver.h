// The lazy solver of floats: atoms become terms of bit-vectors at complete checks, for a lazy
// bit-vector solver of its own.
#pragma once

#include "base/configuration.h"
#include "base/hashmap.h"
#include "terms/stdtermsimplifier.h"
#include "theory/bv/fpbvcombination.h"
#include "theory/bv/lazybvsolver.h"
#include "theory/fp/fpbvencoder.h"

#include <vector>

namespace tarq::fp {

/// Nothing happens before a complete check, which encodes the told atoms that have no encoding,
/// assumes the literals of the trail and the equalities of other solvers, and asks the inner solver.
///
/// Invariant: told_ holds all told atoms in the order of telling; those before next_ have been
/// encoded, unless a backtrack point went since: then next_ is 0.
class FpBvLazySolver : public TheorySolver, public FpBvCombListener {
public:
    FpBvLazySolver(TermManager* tm, const Configuration::Theory::Fp& options);

    const char* get_name() const override { return "fp"; }
    void set_logger(Logger* logger) override;
    void set_termination_test(const TerminationTest* test) override;

    TellAtomResult tell_atom(const Term_* atom) override;
    void retract_atom(const Term_* atom) override;
    void new_decision_level() override;
    void cancel_until(int level) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

    bool assume(TheoryLit l) override;
    bool assume(TheoryEq* eq) override;
    /// throws  FpBvEncoder::error; error "unsupported" for an atom that holds bit-vectors
    bool check(bool approx) override;
    void get_conflict(std::vector<TheoryLit>& out) override;

    void build_model() override { inner_.build_model(); }
    /// Null for a term that occurs in no encoded atom.
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override { inner_.build_abstract_model(); }
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override;
    void notify_interface_term(const Term_* t) override;
    void retract_interface_term(const Term_* t) override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override;

    // FpBvCombListener, which this solver is not.
    // throws  error "Lazy FPBV solver doesn't support FP<->BV combination", "unsupported"
    void set_fp_bv_combination(FpBvCombination* link) override;
    void fp_bv_comb_notify_tell(const Term_* t) override;
    bool fp_bv_comb_get_bits(const Term_* t, std::vector<bv::BvLit>* bits) override;

private:
    /// What an assumption of the inner solver stands for.
    struct Origin {
        TheoryLit literal; // undefined: the equality
        size_t equality;
    };

    const Term_* encode(const Term_* t);
    bool assume_inner(const Term_* atom, bool negated, Origin origin);
    static uint64_t key(TheoryLit l) { return 2 * l.get_term()->get_id() + (l.is_neg() ? 1 : 0); }

    TermManager target_;
    StdTermSimplifier folding_{&target_};
    FpBvEncoder encoder_;
    bv::lazy::LazyBVSolver inner_;

    TermVector told_;
    size_t next_ = 0;
    TermVector interface_terms_;
    AssumptionTrail trail_;
    uint64_t num_calls_ = 0;

    // of the last check
    hsh::HashMap<uint64_t, Origin> origin_of_;
    std::vector<Origin> conflict_;
};

} // namespace tarq::fp
