// WordClausifierBase: the walk over terms, the cache of words and the operators, for both kinds of
// gates. Included by the two clausifiers only; the members are in wordclausifierbase.cpp.
#pragma once

#include "base/logger.h"
#include "encoding/bvites.h"
#include "theory/bv/gates.h"
#include "theory/bv/wordcircuits.h"
#include "theory/bv/wordclausifierinterface.h"

#include <array>
#include <cstdint>
#include <span>

namespace tarq::bv {

/// Words lie in one array in the order of their making, so that forgetting the newest is cutting it
/// off; a bit is 4 bytes.
///
/// Invariants
///   1. slot_[id of t] is 1 + the index in trail_ of the entry of t, or 0.
///   2. The entries' words follow one another in bits_, which ends with the last one.
///   3. Marks (entries without a term) and backtrack points are one to one.
template <class Gates>
class WordClausifierBase : public WordClausifierInterface {
public:
    using Bit = typename Gates::Bit;
    using Word = std::vector<Bit>;

    void set_logger(Logger* logger) override { logger_ = logger; }
    void set_termination_test(const TerminationTest* test) override
    {
        gates_.set_termination_test(test);
    }
    void set_fp_combination(FpBvCombination* link) override { fp_link_ = link; }
    bool is_cached(const Term_* t) const override
    {
        return t->get_id() < slot_.size() && slot_[t->get_id()] != 0;
    }
    bool is_terminal(const Term_* t) const override;
    void notify_interface_term(const Term_* t, ClauseSink* sink) override
    {
        bit_blast_term(t, sink);
    }
    void retract_upto(const Term_* t) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;

protected:
    /// options    null stands for the defaults, with which division by zero is fixed
    WordClausifierBase(TermManager* tm, const Configuration::Theory::Bv* options, Ites ites);

    /// Makes words for `t` and what is below it, on an explicit stack.
    void bit_blast_term(const Term_* t, ClauseSink* sink);
    /// The word of a cached term; valid until the next is made.
    std::span<const Bit> word(const Term_* t) const
    {
        const Entry& e = trail_[slot_[t->get_id()] - 1];
        return {bits_.data() + e.start, e.length};
    }
    void add_to_cache(const Term_* t, const Word& w);
    /// A variable whose literal is known.
    virtual Bit bound_variable(BvLit l) = 0;
    /// The number of bits of a term, 1 for a Boolean one.
    /// throws  error "not supported: " and the term, for a sort without bits
    size_t width_of(const Term_* t) const;

    Gates gates_;
    TermManager* tm_;

private:
    using hook = void (WordClausifierBase::*)(const Term_* t);
    struct Entry {
        const Term_* term; // null marks a backtrack point
        uint32_t length;
        size_t start;
    };
    /// A conversion to an integer, and what it gives for arguments without one.
    struct OpenConversion {
        const Term_* term;
        Word value;
    };
    static constexpr size_t NUM_HOOKS = 64;

    void register_hook(SymbolTag::tag tag, hook h) { hooks_[static_cast<size_t>(tag)] = h; }
    hook find_hook(const Term_* t);
    void call_hook(const Term_* t);
    void tie_to_proxy(const Term_* t);
    [[noreturn]] void fail(const Term_* t) const;
    void generic_variable(const Term_* t);
    void load(const Term_* t, size_t i, Word* out) const;
    BvLit proxy_of(const Term_* t);
    void set_bit(Bit b) { r_.assign(1, b); }

    void bool_true(const Term_*) { set_bit(gates_.bit_constant(true)); }
    void bool_false(const Term_*) { set_bit(gates_.bit_constant(false)); }
    void bool_and(const Term_* t);
    void bool_or(const Term_* t);
    void bool_not(const Term_* t);
    void bool_iff(const Term_* t);
    void word_equal(const Term_* t);
    void word_comp(const Term_* t);
    void word_ite(const Term_* t);
    void word_concat(const Term_* t);
    void word_sel(const Term_* t);
    void word_not(const Term_* t);
    void word_and(const Term_* t);
    void word_or(const Term_* t);
    void word_xor(const Term_* t);
    void word_ult(const Term_* t);
    void word_ule(const Term_* t);
    void word_slt(const Term_* t);
    void word_sle(const Term_* t);
    void word_neg(const Term_* t);
    void word_add(const Term_* t);
    void word_sub(const Term_* t);
    void word_mul(const Term_* t);
    void word_udiv(const Term_* t);
    void word_sdiv(const Term_* t);
    void word_urem(const Term_* t);
    void word_srem(const Term_* t);
    void word_lsl(const Term_* t);
    void word_lsr(const Term_* t);
    void word_asr(const Term_* t);
    void word_rol(const Term_* t);
    void word_ror(const Term_* t);
    void word_zext(const Term_* t);
    void word_sext(const Term_* t);
    void fp_to_bv(const Term_* t);
    void fp_as_ieeebv(const Term_* t);
    bool fp_leaf(const Term_* t);
    void divide(const Term_* t, bool is_signed, bool want_remainder);
    void word_div_complete_semantics(const Word& divisor, Word* result);

    const Configuration::Theory::Bv* options_;
    const Ites ites_;
    BvIteFilter ite_filter_;
    FpBvCombination* fp_link_ = nullptr;
    Logger own_logger_;
    Logger* logger_ = &own_logger_;
    std::array<hook, NUM_HOOKS> hooks_{}; // by tag
    WordCircuits<Gates> circuits_{gates_};

    std::vector<uint32_t> slot_; // by term id
    std::vector<Entry> trail_;
    std::vector<Bit> bits_;
    TermVector stack_;
    std::vector<OpenConversion> open_conversions_; // in the order of making; the last may be gone

    Word x_, y_, q_, r_; // of the operator at hand; its result is in r_
    BvLit proxy_;        // the literal wanted for it
};

extern template class WordClausifierBase<ClauseGates>;
extern template class WordClausifierBase<AigGates>;

} // namespace tarq::bv
