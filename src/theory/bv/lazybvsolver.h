// The lazy bit-vector solver: atoms become clauses of an engine of its own, which is asked at
// complete checks.
#pragma once

#include "base/hashmap.h"
#include "dpll/dpllsolver.h"
#include "theory/assumptiontrail.h"
#include "theory/bv/bvmodel.h"
#include "theory/bv/clausesink.h"
#include "theory/theorysolver.h"

#include <memory>
#include <vector>

namespace tarq::bv::lazy {

/// Writes into the inner engine, which knows no terms.
class LazyClauseSink : public ClauseSink {
public:
    explicit LazyClauseSink(DpllSolver* engine) : engine_(engine) {}

    BvLit new_atom() override { return BvLit::from_sat(dpll::Lit(engine_->new_var())); }
    bool get_proxy(const Term_*, BvLit*) override { return false; }
    void add_clause() override;

    uint64_t num_clauses = 0;

private:
    DpllSolver* engine_;
    std::vector<dpll::Lit> lits_;
};

/// What bit each atom is in the inner engine, back to the newest backtrack point.
class AtomMap {
public:
    bool contains(const Term_* atom) const { return bits_.find(atom) != bits_.end(); }
    void add_atom(const Term_* atom, BvLit bit);
    /// The bit of the literal; its atom must be there.
    BvLit bit_of(TheoryLit l) const;
    bool empty() const { return trail_.empty(); }
    void push_backtrack_point() { marks_.push_back(trail_.size()); }
    void pop_backtrack_point();

private:
    hsh::HashMap<const Term_*, BvLit> bits_;
    TermVector trail_;
    std::vector<size_t> marks_;
};

/// A complete check solves the inner clauses with the literals of the trail as assumptions, and
/// then, if the option says so and that was satisfiable, once more with the equalities of other
/// solvers. The failed assumptions are the conflict.
class LazyBVSolver : public TheorySolver {
public:
    LazyBVSolver(TermManager* tm, const Configuration::Theory::Bv& options,
                 WordClausifierInterface::Ites ites = WordClausifierInterface::Ites::VARIABLES);

    const char* get_name() const override { return "bv"; }
    void set_logger(Logger* logger) override;
    void set_termination_test(const TerminationTest* test) override;

    /// Whether every Boolean term is an atom here, connectives and all. Off by default.
    void set_handle_boolean_connectives(bool on) { handle_boolean_connectives_ = on; }
    /// Asserts a formula for the rest of the scope.
    void tell_unlabeled_atom(const Term_* f);

    /// throws  WordClausifierInterface::error
    TellAtomResult tell_atom(const Term_* atom) override;
    /// Nothing: the words go with the backtrack point.
    void retract_atom(const Term_*) override {}
    void new_decision_level() override;
    void cancel_until(int level) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

    bool assume(TheoryLit l) override;
    bool assume(TheoryEq* eq) override;
    bool check(bool approx) override;
    void get_conflict(std::vector<TheoryLit>& out) override;

    void build_model() override { build_abstract_model(); }
    const Term_* get_model_value(const Term_* t) override { return model_(t, true); }
    void build_abstract_model() override;
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override { return BvModelEvaluator::is_alien(*tm_, t); }
    void notify_interface_term(const Term_* t) override;
    void retract_interface_term(const Term_* t) override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override;

private:
    using TermPair = std::pair<const Term_*, const Term_*>;

    bool add_literals();
    bool add_equalities();
    bool solve();
    BvLit bit_of_equality(const TheoryEq& eq);

    /// The settings of the inner engine, complete before it is made.
    struct InnerConfiguration : Configuration {
        explicit InnerConfiguration(const Configuration::Theory::Bv& options)
        {
            options.lazydpll.copy_to(&dpll);
            random_seed = options.parent->parent->random_seed;
        }
    };

    const Configuration::Theory::Bv& options_;
    InnerConfiguration inner_config_;
    DpllSolver inner_;
    LazyClauseSink sink_;
    std::unique_ptr<WordClausifierInterface> words_;
    BvModelEvaluator model_;
    AtomMap atoms_;
    bool handle_boolean_connectives_ = false;

    AssumptionTrail trail_;
    uint64_t num_interface_terms_ = 0;
    hsh::HashMap<TermPair, BvLit> equality_bits_; // l_false: the sides differ in a bit
    std::vector<TermPair> equality_trail_;
    std::vector<size_t> equality_marks_;

    // of the running check
    std::vector<dpll::Lit> assumptions_;
    hsh::HashMap<int, TheoryLit> literal_of_; // assumption to the literal that it stands for
    hsh::HashMap<int, uint32_t> equality_of_; // or to the equality
    std::vector<TheoryLit> conflict_literals_;
    std::vector<uint32_t> conflict_equalities_;
};

} // namespace tarq::bv::lazy
