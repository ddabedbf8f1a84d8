// fp::FpBvEncoder: terms of floats as terms of bit-vectors. Sources: fpbvencoder.cpp (the walk,
// leaves, comparisons, classes), _round.cpp (fields and the rounding of exact results), _arith.cpp
// (the rounded operations).
#pragma once

#include "base/configuration.h"
#include "base/exception.h"
#include "base/hashmap.h"
#include "base/terminationtest.h"
#include "terms/ieeefloat.h"
#include "terms/termmanager.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarq::fp {

/// Rewrites terms of a source manager into terms of a target manager, operator by operator. It
/// knows nothing of clauses: a word clausifier gets what it makes, which must build circuits of
/// term-ITEs.
///
/// A float of format (e, m) becomes its IEEE word of e + m + 1 bits, a rounding mode a word of 2
/// bits (nearest even 0, zero 1, plus infinity 2, minus infinity 3), an atom a Boolean term. NaN is
/// one word, that of IEEEFloat: sign 1, exponent all ones, fraction 1; a constant is kept to it by
/// a side constraint. So equality of words is equality of floats.
///
/// Bit-vectors below floats are leaves: fresh words, which the caller ties to the terms.
///
/// Borrows both managers. The same terms come out for the same calls.
class FpBvEncoder {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// A bit-vector term of the source, and the word that stands for it.
    struct BvLeaf {
        const Term_* term;
        const Term_* word;
    };

    /// Whether a term-ITE over floats becomes a circuit; else it is a leaf, which others define.
    using IteFilter = std::function<bool(const Term_*)>;

    /// options  what minimum and maximum of +0 and -0 are; null stands for mode 0. Borrowed
    FpBvEncoder(TermManager* source, TermManager* target, const Configuration::Theory::Fp* options);
    FpBvEncoder(const FpBvEncoder&) = delete;
    FpBvEncoder& operator=(const FpBvEncoder&) = delete;

    /// Polled between terms; borrowed, null for none.
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }
    /// The filter may look at subterms of what is being encoded. Its conditions are made of atoms
    /// of floats and Boolean constants. None by default.
    void set_ite_filter(IteFilter filter) { ite_filter_ = std::move(filter); }

    /// The encoding of a float, a rounding mode, an atom of floats, or a Boolean combination of
    /// such atoms and Boolean constants. Linear in what has no encoding yet.
    /// side_constraints  cleared; receives Boolean terms of the target that must hold for the new
    ///                   encodings to be exact. Each is given once, and again if its term is
    ///                   encoded again after a pop
    /// throws  error "unknown semantics for fp.min/fp.max"; TerminationTest::terminated. Finished
    ///         subterms stay cached then, their constraints come with the next call
    const Term_* get_bv_encoding(const Term_* t, TermVector& side_constraints);
    /// The encoding of a term, or null if it has none.
    const Term_* get_cached(const Term_* t) const;
    /// Swaps out the leaves of bit-vector or Boolean sort that were met since the last call.
    void get_new_bv_terms(std::vector<BvLeaf>& out);

    void push_backtrack_point() { marks_.push_back(trail_.size()); }
    /// Forgets the encodings made since the newest point, of which there must be one.
    void pop_backtrack_point();

private:
    using Format = IEEEFloat::format;
    using hook = const Term_* (FpBvEncoder::*)(const Term_* t);

    /// A word taken apart. A finite value is mant * 2^(exp - bias - m), so the top bit of `mant` has
    /// the weight 2^(exp - bias); for other values `exp` and `mant` mean nothing.
    struct Unpacked {
        const Term_* nan;
        const Term_* inf;
        const Term_* zero;
        const Term_* sign;
        const Term_* exp;  // signed, biased
        const Term_* mant; // m + 1 bits; of a normalized one the top bit is set unless it is zero
        QNumber low, high; // the range of `exp` for finite values that are not zero
    };
    /// An exact result that is to be rounded: the same meaning with the bias of the format that it
    /// is rounded to, and a significand of any width.
    struct Exact {
        const Term_* nan;
        const Term_* inf;
        const Term_* sign;
        const Term_* exp;
        const Term_* mant;
        const Term_* sticky; // whether more than zero is lost below `mant`; null: never
        QNumber low, high;   // the range of `exp` for values that are not zero
        size_t limit;        // the most zeros on top of a significand that is not zero
        bool fits;           // no bit has less weight than the last one of a subnormal
    };

    static constexpr size_t NUM_HOOKS = 80;

    void register_hook(SymbolTag::tag tag, hook h) { hooks_[static_cast<size_t>(tag)] = h; }
    hook find_hook(const Term_* t) const;
    const Term_* encode_leaf(const Term_* t);
    const Term_* fresh(const char* prefix, const DataType* type);
    const Term_* arg(const Term_* t, size_t i) const { return get_cached(t->child(i)); }
    Format format_of(const Term_* t) const;

    // leaves and connectives
    const Term_* encode_rounding(const Term_* t);
    const Term_* encode_number(const Term_* t);
    const Term_* encode_bv_constant(const Term_* t);
    const Term_* encode_constant(const Term_* t);
    const Term_* encode_not(const Term_* t);
    const Term_* encode_and(const Term_* t);
    const Term_* encode_or(const Term_* t);
    const Term_* encode_iff(const Term_* t);
    const Term_* encode_ite(const Term_* t);
    // atoms
    const Term_* encode_equality(const Term_* t);
    const Term_* encode_fp_equal(const Term_* t);
    const Term_* encode_lt(const Term_* t);
    const Term_* encode_le(const Term_* t);
    const Term_* encode_isnan(const Term_* t);
    const Term_* encode_isinf(const Term_* t);
    const Term_* encode_iszero(const Term_* t);
    const Term_* encode_issubnormal(const Term_* t);
    const Term_* encode_isnormal(const Term_* t);
    const Term_* encode_isneg(const Term_* t);
    const Term_* encode_ispos(const Term_* t);
    // exact operations
    const Term_* encode_neg(const Term_* t);
    const Term_* encode_abs(const Term_* t);
    const Term_* encode_min(const Term_* t) { return encode_min_max(t, true); }
    const Term_* encode_max(const Term_* t) { return encode_min_max(t, false); }
    const Term_* encode_min_max(const Term_* t, bool is_min);
    const Term_* zero_of_min_max(const Term_* t, bool is_min, const Term_* a, const Term_* b);
    const Term_* encode_from_ieeebv(const Term_* t);
    // rounded operations
    const Term_* encode_add(const Term_* t) { return enc_add_sub(t, false); }
    const Term_* encode_sub(const Term_* t) { return enc_add_sub(t, true); }
    const Term_* enc_add_sub(const Term_* t, bool subtract);
    const Term_* encode_mul(const Term_* t);
    const Term_* encode_div(const Term_* t);
    const Term_* encode_sqrt(const Term_* t);
    const Term_* encode_round_to_int(const Term_* t);
    const Term_* encode_cast(const Term_* t);
    const Term_* encode_from_ubv(const Term_* t) { return encode_from_bv(t, false); }
    const Term_* encode_from_sbv(const Term_* t) { return encode_from_bv(t, true); }
    const Term_* encode_from_bv(const Term_* t, bool is_signed);

    // fields of words
    const Term_* enc_is_nan(const Term_* word, Format f);
    const Term_* enc_is_inf(const Term_* word, Format f);
    const Term_* enc_is_zero(const Term_* word);
    const Term_* enc_sign(const Term_* word) { return bit(word, width(word) - 1); }
    const Term_* exponent_field(const Term_* word, Format f);
    const Term_* fraction_field(const Term_* word, Format f);
    const Term_* enc_get_exponent(const Term_* word, Format f);
    const Term_* enc_get_mantissa(const Term_* word, Format f);
    const Term_* magnitude(const Term_* word);
    const Term_* with_sign(const Term_* sign, const Term_* magnitude);
    const Term_* nan_word(Format f);
    const Term_* inf_magnitude(Format f);
    const Term_* enc_below(const Term_* a, const Term_* b);
    const Term_* enc_less(const Term_* t, bool or_equal);
    Unpacked unpack(const Term_* word, Format f);
    Unpacked unpack_normalized(const Term_* word, Format f);

    // rounding
    const Term_* enc_do_rounding(const Term_* rm, Format f, Exact x);
    void enc_normalization_shift(Exact* x, bool may_be_subnormal);
    void enc_denormalization_shift(Exact* x, Format f);
    const Term_* enc_round_up(const Term_* rm, const Term_* sign, const Term_* odd,
                              const Term_* half, const Term_* rest);
    const Term_* enc_pack(Format f, const Term_* nan, const Term_* inf, const Term_* sign,
                          const Term_* magnitude);
    const Term_* leading_zeros(const Term_* word);
    const Term_* shift_right_sticky(const Term_* word, const Term_* amount, const Term_** lost);
    const Term_* clamp(const Term_* amount, size_t max);

    // words of the target
    size_t width(const Term_* word) const;
    const Term_* number(const QNumber& value, size_t w);
    const Term_* bit(const Term_* word, size_t i);
    const Term_* to_word(const Term_* boolean, size_t w);
    const Term_* slice(const Term_* word, size_t high, size_t low);
    const Term_* top(const Term_* word, size_t count);
    const Term_* zext(const Term_* word, size_t w);
    const Term_* sext(const Term_* word, size_t w);
    const Term_* resize(const Term_* word, size_t w);
    const Term_* pad(const Term_* word, size_t w);
    const Term_* concat(const Term_* high, const Term_* low);
    const Term_* add_number(const Term_* word, const QNumber& value);
    const Term_* is_zero(const Term_* word);
    const Term_* ite(const Term_* c, const Term_* a, const Term_* b);
    const Term_* both(const Term_* a, const Term_* b) { return target_->make_and(a, b); }
    const Term_* either(const Term_* a, const Term_* b) { return target_->make_or(a, b); }
    const Term_* negate(const Term_* a) { return target_->make_not(a); }
    const Term_* differ(const Term_* a, const Term_* b) { return negate(target_->make_iff(a, b)); }

    // The same with the arguments in braces, which are made in their order: so terms get the same
    // ids whatever compiler it is.
    struct Two {
        const Term_* a;
        const Term_* b;
    };
    struct Three {
        const Term_* c;
        const Term_* a;
        const Term_* b;
    };
    using operation = const Term_* (TermManager::*)(const Term_*, const Term_*);
    const Term_* apply(operation make, Two t) { return (target_->*make)(t.a, t.b); }
    const Term_* both(Two t) { return both(t.a, t.b); }
    const Term_* either(Two t) { return either(t.a, t.b); }
    const Term_* differ(Two t) { return differ(t.a, t.b); }
    const Term_* concat(Two t) { return concat(t.a, t.b); }
    const Term_* with_sign(Two t) { return with_sign(t.a, t.b); }
    const Term_* ite(Three t) { return ite(t.c, t.a, t.b); }

    TermManager* source_;
    TermManager* target_;
    const Configuration::Theory::Fp* options_;
    const TerminationTest* termination_test_ = nullptr;
    IteFilter ite_filter_;
    std::array<hook, NUM_HOOKS> hooks_{}; // by tag

    hsh::HashMap<const Term_*, const Term_*> cache_;
    TermVector trail_; // its keys in the order of their making
    std::vector<size_t> marks_;
    TermVector constraints_; // not given out yet
    std::vector<BvLeaf> new_bv_terms_;
    uint64_t num_fresh_ = 0;
    hsh::HashMap<const Symbol*, const Term_*> open_zeros_; // of operators: signs left open
    TermVector stack_;
};

} // namespace tarq::fp
