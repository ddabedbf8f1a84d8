// The eager bit-vector solver: atoms become clauses of the main SAT engine.
#pragma once

#include "base/hashmap.h"
#include "theory/bv/bvmodel.h"
#include "theory/bv/clausesink.h"
#include "theory/theorysolver.h"

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

/// All the search is the engine's; what remains is the part in theory combination. An equality that
/// another solver derived gets a Boolean constant (its proxy), which implies, bit by bit, that the
/// two words are equal; the proxy is then an implied literal.
///
/// An equality arrives at any time, also while the engine undoes its assignment, so `assume` only
/// keeps a copy. All work is done in `check`, where the assignment can be read and clauses can be
/// added. What has no bits, and is not linked by equalities to what has, is left waiting.
///
/// Invariants
///   1. equalities_ is in the order of arrival, and levels_ says how long it was when each level
///      began.
///   2. An equality that still holds is in verified_ (its proxy was true at some level that is not
///      cancelled) or in todo_, never in both.
class EagerBVSolver : public TheorySolver {
public:
    EagerBVSolver(TermManager* tm, const Configuration::Theory::Bv& options, DpllSolver* engine);
    ~EagerBVSolver() override;

    const char* get_name() const override { return "bv"; }
    void set_logger(Logger* logger) override;
    void set_termination_test(const TerminationTest* test) override;

    /// throws  Exception "eager bv solver does not support proof generation" when proofs are on;
    ///         WordClausifierInterface::error
    TellAtomResult tell_atom(const Term_* atom) override;
    /// Nothing: the words go with the backtrack point.
    void retract_atom(const Term_*) override {}
    void new_decision_level() override;
    void cancel_until(int level) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

    using TheorySolver::assume;
    bool assume(TheoryEq* eq) override;
    bool check(bool approx) override;
    void get_conflict(std::vector<TheoryLit>& out) override;
    TheoryLit get_next_implied() override;
    bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out) override;

    void build_model() override;
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override;
    lbool equal_in_model(const Term_* a, const Term_* b) override;
    bool is_alien(const Term_* t) override { return BvModelEvaluator::is_alien(*tm_, t); }
    void notify_interface_term(const Term_* t) override;
    void retract_interface_term(const Term_* t) override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override;

    /// Whether the term-ITEs that BvIteFilter accepts become circuits and need no axioms. Where
    /// there is a solver for equalities they need them, since it has to know what they mean.
    static bool builds_ites(const Configuration::Theory& config)
    {
        return config.bv.enabled && config.bv.eager && !config.euf.enabled;
    }
    /// Whether the atom is one of bit-vectors.
    static bool should_handle(const TermManager& tm, const Term_* atom);

private:
    using TermPair = std::pair<const Term_*, const Term_*>;
    struct Proxy {
        TermPair sides;
        const Term_* constant; // null: the sides differ in a bit
    };
    struct Verified {
        uint32_t equality;
        int level;
    };

    bool is_relevant(const TheoryEq& eq) const;
    const Term_* proxy_for(const TheoryEq& eq);
    const Term_* make_proxy_constant();

    const Configuration::Theory::Bv& options_;
    DpllSolver* engine_;
    EagerClauseSink sink_;
    std::unique_ptr<WordClausifierInterface> words_;
    BvModelEvaluator model_;

    int level_ = 0;
    uint64_t num_interface_terms_ = 0;
    std::vector<TheoryEq*> equalities_; // copies, owned
    std::vector<size_t> levels_;
    std::vector<uint32_t> todo_; // ascending
    std::vector<Verified> verified_;
    hsh::HashMap<TermPair, const Term_*> proxy_of_;  // ends by id; null: the sides differ in a bit
    std::vector<TermPair> proxy_trail_;              // its keys in the order of making
    std::vector<size_t> proxy_marks_;                // its length at each backtrack point
    hsh::HashMap<const Term_*, uint32_t> reason_of_; // proxy to the equality that implied it last
    std::vector<TheoryLit> implied_;
    size_t implied_head_ = 0;
    static constexpr uint32_t NO_EQUALITY = ~uint32_t{0};
    uint32_t conflict_ = NO_EQUALITY;
    const Term_* conflict_proxy_ = nullptr; // false in the assignment; null: the sides differ
    uint64_t num_proxies_ = 0;
};

} // namespace tarq::bv::eager
