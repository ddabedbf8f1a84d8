// WordClausifierInterface: bit-blasting, whatever stands behind it.
#pragma once

#include "base/configuration.h"
#include "base/exception.h"
#include "terms/termmanager.h"
#include "theory/bv/bvlit.h"
#include "theory/bv/clausesink.h"
#include "theory/bv/fpbvcombination.h"

#include <functional>
#include <memory>
#include <vector>

namespace tarq::bv {

/// A word: the bits of a term, the least significant first. A Boolean term has one bit.
using BvLitList = std::vector<BvLit>;

/// Turns bit-vector terms and the Boolean structure above them into bits and clauses.
///
/// The word of a term stays cached, back to the newest backtrack point at which it was made.
/// Clauses that a sink was given are not the clausifier's to remove: the owner pops the engine
/// behind the sink together with the clausifier.
class WordClausifierInterface {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    WordClausifierInterface() = default;
    virtual ~WordClausifierInterface() = default;
    WordClausifierInterface(const WordClausifierInterface&) = delete;
    WordClausifierInterface& operator=(const WordClausifierInterface&) = delete;

    /// What becomes of term-ITEs: variables that others define, circuits where BvIteFilter says so,
    /// or circuits throughout.
    enum class Ites { VARIABLES, FILTERED, CIRCUITS };

    /// The implementation that `options.bit_blast_mode` selects.
    static std::unique_ptr<WordClausifierInterface>
    make(TermManager* tm, const Configuration::Theory::Bv& options, Ites ites = Ites::VARIABLES);

    virtual void set_logger(Logger* logger) = 0;
    /// Polled between terms; borrowed, null for none.
    virtual void set_termination_test(const TerminationTest* test) = 0;

    /// Where the bits of floats and rounding modes come from; borrowed, null for nowhere: then only
    /// constants of these sorts have bits.
    virtual void set_fp_combination(FpBvCombination* link) = 0;

    /// Whether the term has a word.
    virtual bool is_cached(const Term_* t) const = 0;
    /// Gives the bits of a cached term as far as they have literals; l_undef stands for a bit that
    /// no clause was written for. Returns false for a term without a word.
    virtual bool get_bits(const Term_* t, BvLitList* out) const = 0;
    /// Makes words for `t` and its subterms, with the clauses of the bit that is returned: bit 0.
    /// throws  error "not supported: " and the term; TerminationTest::terminated. The finished
    ///         subterms stay cached, with their clauses.
    virtual BvLit bit_blast(const Term_* t, ClauseSink* sink) = 0;
    /// Gives every bit of the term a literal with its clauses.
    virtual void bit_blast_word(const Term_* t, ClauseSink* sink, BvLitList* out) = 0;
    /// Makes the given literals the bits of `t`: its word if it has none, else equal to its bits.
    virtual void set_bits(const Term_* t, ClauseSink* sink, const BvLitList& word) = 0;
    /// Fresh literals that equal the bits of a cached term. Returns false if it is not cached.
    virtual bool make_bits(const Term_* t, BvLitList* out, ClauseSink* sink) = 0;
    /// Writes clauses by which `lit` implies that the words of a and b are equal, and nothing but
    /// these. Returns false without clauses if a pair of bits can't be equal.
    virtual bool bit_blast_theory_eq(BvLit lit, const Term_* a, const Term_* b,
                                     ClauseSink* sink) = 0;
    /// Makes a word for a term shared between theories.
    virtual void notify_interface_term(const Term_* t, ClauseSink* sink) = 0;
    /// Whether the value of the term does not follow from values of arguments.
    virtual bool is_terminal(const Term_* t) const = 0;

    /// The value of a cached term's bits. A bit without a literal is computed from the bits that
    /// it depends on; a variable that no clause mentions counts as false.
    /// value  called as value(lit), for literals that are neither constant nor undefined
    /// fresh  false when the values are the same as in the call before, which saves work
    /// Returns false for a term that is not cached.
    virtual bool evaluate(const Term_* t, const std::function<bool(BvLit)>& value, bool fresh,
                          std::vector<bool>* out) = 0;

    /// Forgets the words of `t` and of everything cached later, but goes no further back than the
    /// newest backtrack point; nothing if `t` is not cached since then.
    virtual void retract_upto(const Term_* t) = 0;
    virtual void push_backtrack_point() = 0;
    /// Forgets the words made since the newest backtrack point, of which there must be one.
    virtual void pop_backtrack_point() = 0;
};

} // namespace tarq::bv
