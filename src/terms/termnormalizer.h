// TermNormalizer: rewriting to a fixpoint by a table of rules. The bit-vector rules are texts
// (rewriterules.def, termrules.h); other rules derive from norm_fun.
#pragma once

#include "base/logger.h"
#include "terms/symboltags.h"
#include "terms/term.h"
#include "terms/termcache.h"
#include "terms/termrules.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarq {

class TermManager;

/// A rewrite engine over interned terms. Rules are kept by the tag of the terms they apply to and
/// tried in the order of registration; the first that changes the term wins.
///
/// Owns the rules. Borrows the term manager and the logger. What a term became is remembered as
/// long as the object lives, so it must go before terms are collected. Rules may build terms, whose
/// construction may come back to this object.
class TermNormalizer {
public:
    /// The kind of an equality, by the type of its first argument.
    enum class norm_group : uint8_t { OTHER = 0, ARITHMETIC = 1, BITVECTOR = 2, ARRAY = 3 };

    /// A rewrite rule.
    class norm_fun {
    public:
        virtual ~norm_fun() = default;
        /// The tag of the terms to which the rule applies; UNKNOWN for uninterpreted applications.
        virtual SymbolTag::tag get_applicant() const = 0;
        /// Tries the rule on the root of `t`, whose tag fits. True when it gave `*out`, a term
        /// equal to `t` in every model.
        virtual bool operator()(TermManager* tm, const Term_* t, const Term_** out) const = 0;
        /// The rule as text, for the log.
        virtual std::string get_signature() const = 0;
        /// The equalities that a rule of applicant EQ takes.
        virtual norm_group get_group() const { return norm_group::OTHER; }
        /// What child `i` (0 or 1) must look like for the rule to have a chance; see ChildShape.
        virtual int child_shape(size_t) const { return ChildShape::ANY; }
    };

    /// A rule for the whole formula, tried once before the walk; applicant UNKNOWN means any.
    class global_norm_fun : public norm_fun {
    public:
        SymbolTag::tag get_applicant() const override { return SymbolTag::UNKNOWN; }
    };

    /// Told when the normalisation of a whole term begins and ends, also by an exception.
    class session_fun {
    public:
        virtual ~session_fun() = default;
        virtual void begin() {}
        virtual void end() {}
    };

    explicit TermNormalizer(TermManager* tm);
    ~TermNormalizer();
    TermNormalizer(const TermNormalizer&) = delete;
    TermNormalizer& operator=(const TermNormalizer&) = delete;

    void register_rule(std::unique_ptr<norm_fun> rule);
    void register_global_rule(std::unique_ptr<global_norm_fun> rule);
    void register_session_handler(std::unique_ptr<session_fun> handler);
    /// Registers a rule that is a text; the text's rule is borrowed.
    void register_rule(const TermRule* rule);

    /// logger  borrowed; null silences
    void set_logger(Logger* logger) { logger_ = logger; }

    /// Normalises the whole term, bottom-up, to a fixpoint. Linear in the size of the term and of
    /// what it becomes, and iterative.
    const Term_* operator()(const Term_* t);

    /// Normalises the root only: one rule at most, whose result is built by the term manager.
    const Term_* norm_single(const Term_* t);

    static norm_group group_of(TermManager* tm, const Term_* equality);

private:
    /// The longest chain of rules that build terms that fire rules. A term below such a chain stays
    /// as it is, which is sound: what is lost is its normal form. It bounds the machine stack on
    /// spines of any length.
    static constexpr int MAX_DEPTH = 200;

    /// A rule with its shapes at hand, so that most rules fail without a call.
    struct Entry {
        int shapes[2];
        const norm_fun* rule;
    };
    using Entries = std::vector<Entry>;

    const Entries& candidates(const Term_* t) const;
    const Term_* normalize(const Term_* t);
    const Term_* find_in_cache(const Term_* t) const;
    const Term_* rebuild(const Term_* t);
    const Term_* apply_global_rules(const Term_* t);
    void walk(const Term_* t);
    void log_step(const norm_fun& rule, const Term_* from, const Term_* to);

    TermManager* tm_;
    Logger* logger_ = nullptr;
    int depth_ = 0;
    std::vector<Entries> rules_;    // by tag, equalities excepted
    std::vector<Entries> eq_rules_; // by group
    std::vector<std::unique_ptr<norm_fun>> owned_;
    std::vector<std::unique_ptr<global_norm_fun>> global_rules_;
    std::vector<std::unique_ptr<session_fun>> session_handlers_;
    TermCache cache_; // a term to what it became; terms without children have no entry
    TermVector stack_;
};

} // namespace tarq
