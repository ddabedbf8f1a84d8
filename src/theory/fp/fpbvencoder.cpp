#include "theory/fp/fpbvencoder.h"

#include "theory/fp/fpterms.h"

#include <utility>

namespace tarq::fp {

FpBvEncoder::FpBvEncoder(TermManager* source, TermManager* target,
                         const Configuration::Theory::Fp* options)
    : source_(source), target_(target), options_(options)
{
    using Self = FpBvEncoder;
    register_hook(SymbolTag::AND, &Self::encode_and);
    register_hook(SymbolTag::OR, &Self::encode_or);
    register_hook(SymbolTag::NOT, &Self::encode_not);
    register_hook(SymbolTag::IFF, &Self::encode_iff);
    register_hook(SymbolTag::ITE, &Self::encode_ite);
    register_hook(SymbolTag::EQ, &Self::encode_equality);
    register_hook(SymbolTag::FP_EQ, &Self::encode_fp_equal);
    register_hook(SymbolTag::FP_LT, &Self::encode_lt);
    register_hook(SymbolTag::FP_LE, &Self::encode_le);
    register_hook(SymbolTag::FP_NEG, &Self::encode_neg);
    register_hook(SymbolTag::FP_ABS, &Self::encode_abs);
    register_hook(SymbolTag::FP_ADD, &Self::encode_add);
    register_hook(SymbolTag::FP_SUB, &Self::encode_sub);
    register_hook(SymbolTag::FP_MUL, &Self::encode_mul);
    register_hook(SymbolTag::FP_DIV, &Self::encode_div);
    register_hook(SymbolTag::FP_SQRT, &Self::encode_sqrt);
    register_hook(SymbolTag::FP_MIN, &Self::encode_min);
    register_hook(SymbolTag::FP_MAX, &Self::encode_max);
    register_hook(SymbolTag::FP_CAST, &Self::encode_cast);
    register_hook(SymbolTag::FP_ROUND_TO_INT, &Self::encode_round_to_int);
    register_hook(SymbolTag::FP_FROM_SBV, &Self::encode_from_sbv);
    register_hook(SymbolTag::FP_FROM_UBV, &Self::encode_from_ubv);
    register_hook(SymbolTag::FP_FROM_IEEEBV, &Self::encode_from_ieeebv);
    register_hook(SymbolTag::FP_ISNAN, &Self::encode_isnan);
    register_hook(SymbolTag::FP_ISINF, &Self::encode_isinf);
    register_hook(SymbolTag::FP_ISZERO, &Self::encode_iszero);
    register_hook(SymbolTag::FP_ISSUBNORMAL, &Self::encode_issubnormal);
    register_hook(SymbolTag::FP_ISNORMAL, &Self::encode_isnormal);
    register_hook(SymbolTag::FP_ISNEG, &Self::encode_isneg);
    register_hook(SymbolTag::FP_ISPOS, &Self::encode_ispos);
}

// The walk

FpBvEncoder::hook FpBvEncoder::find_hook(const Term_* t) const
{
    const SymbolTag::tag tag = source_->get_tag(t);
    if (tag <= 0 || static_cast<size_t>(tag) >= NUM_HOOKS) {
        return nullptr;
    }
    if (tag == SymbolTag::EQ && !is_fp_sorted(*source_, t->child(0))) {
        return nullptr;
    }
    if (tag == SymbolTag::ITE && !(ite_filter_ && is_fp_sorted(*source_, t) && ite_filter_(t))) {
        return nullptr;
    }
    return hooks_[static_cast<size_t>(tag)];
}

/// Arguments of terms without a hook are not visited: nothing here depends on them.
const Term_* FpBvEncoder::get_bv_encoding(const Term_* t, TermVector& side_constraints)
{
    const auto folding = target_->simplify_in_scope(true);
    const auto unchecked = target_->typecheck_in_scope(false);
    stack_.assign(1, t);
    while (!stack_.empty()) {
        const Term_* x = stack_.back();
        if (get_cached(x)) {
            stack_.pop_back();
            continue;
        }
        const size_t before = stack_.size();
        const hook h = find_hook(x);
        if (h) {
            for (size_t i = x->arity(); i-- > 0;) {
                if (!get_cached(x->child(i))) {
                    stack_.push_back(x->child(i));
                }
            }
        }
        if (stack_.size() == before) {
            stack_.pop_back();
            if (termination_test_) {
                (*termination_test_)();
            }
            cache_[x] = h ? (this->*h)(x) : encode_leaf(x);
            trail_.push_back(x);
        }
    }
    side_constraints.clear();
    side_constraints.swap(constraints_);
    return get_cached(t);
}

const Term_* FpBvEncoder::get_cached(const Term_* t) const
{
    const auto found = cache_.find(t);
    return found == cache_.end() ? nullptr : found->second;
}

void FpBvEncoder::get_new_bv_terms(std::vector<BvLeaf>& out)
{
    out.clear();
    out.swap(new_bv_terms_);
}

/// What waits to be handed out goes as well: an interrupted call may have left it.
void FpBvEncoder::pop_backtrack_point()
{
    while (trail_.size() > marks_.back()) {
        cache_.erase(trail_.back());
        trail_.pop_back();
    }
    marks_.pop_back();
    constraints_.clear();
    new_bv_terms_.clear();
}

// Leaves

const Term_* FpBvEncoder::encode_leaf(const Term_* t)
{
    const DataType* type = TermManager::get_type(t);
    if (source_->is_number(t) || source_->is_true(t) || source_->is_false(t)) {
        return encode_number(t);
    }
    if (type == source_->get_rounding_type()) {
        return encode_rounding(t);
    }
    return source_->is_fp_type(type) ? encode_constant(t) : encode_bv_constant(t);
}

/// The private manager holds no other names.
const Term_* FpBvEncoder::fresh(const char* prefix, const DataType* type)
{
    const std::string name = prefix + ("." + std::to_string(num_fresh_++));
    return target_->make_constant(
        target_->make_symbol(target_->get_unused_symbol_name(name), type));
}

const Term_* FpBvEncoder::encode_rounding(const Term_* t)
{
    int mode = 0;
    return source_->is_fprounding(t, &mode) ? number(mode, 2)
                                            : fresh("fp.r", target_->get_bv_type(2));
}

const Term_* FpBvEncoder::encode_number(const Term_* t)
{
    QNumber value;
    size_t w = 0;
    if (source_->is_bv_number(t, &value, &w)) {
        return number(value, w);
    }
    if (source_->is_fp_number(t, &value)) {
        return number(value, format_of(t).width());
    }
    return target_->make_bool(source_->is_true(t));
}

/// A bit-vector or a Boolean term, which its owner gives the bits.
const Term_* FpBvEncoder::encode_bv_constant(const Term_* t)
{
    size_t w = 0;
    const bool is_bv = source_->is_bv_type(TermManager::get_type(t), &w);
    const Term_* word = fresh("fp.bv", is_bv ? target_->get_bv_type(w) : target_->get_bool_type());
    new_bv_terms_.push_back({t, word});
    return word;
}

const Term_* FpBvEncoder::encode_constant(const Term_* t)
{
    const Format f = format_of(t);
    const Term_* c = fresh("fp.f", target_->get_bv_type(f.width()));
    const Term_* number = negate(enc_is_nan(c, f));
    constraints_.push_back(either(number, target_->make_equal(c, nan_word(f))));
    return c;
}

IEEEFloat::format FpBvEncoder::format_of(const Term_* t) const
{
    size_t exp = 0, mant = 0;
    source_->is_fp_type(TermManager::get_type(t), &exp, &mant);
    return {exp, mant};
}

// Connectives, for the conditions of term-ITEs

const Term_* FpBvEncoder::encode_not(const Term_* t)
{
    return negate(arg(t, 0));
}

const Term_* FpBvEncoder::encode_and(const Term_* t)
{
    return both(arg(t, 0), arg(t, 1));
}

const Term_* FpBvEncoder::encode_or(const Term_* t)
{
    return either(arg(t, 0), arg(t, 1));
}

const Term_* FpBvEncoder::encode_iff(const Term_* t)
{
    return target_->make_iff(arg(t, 0), arg(t, 1));
}

const Term_* FpBvEncoder::encode_ite(const Term_* t)
{
    return ite(arg(t, 0), arg(t, 1), arg(t, 2));
}

// Comparisons

const Term_* FpBvEncoder::encode_equality(const Term_* t)
{
    return target_->make_equal(arg(t, 0), arg(t, 1));
}

const Term_* FpBvEncoder::encode_fp_equal(const Term_* t)
{
    const Term_* a = arg(t, 0);
    const Term_* b = arg(t, 1);
    const Term_* zeros = both({enc_is_zero(a), enc_is_zero(b)});
    const Term_* same = target_->make_equal(a, b); // and then both are NaN or none
    const Term_* number = negate(enc_is_nan(a, format_of(t->child(0))));
    return either(zeros, both(same, number));
}

/// Whether a is below b, for words that differ and are no NaN; -0 is below +0. Words of one sign
/// compare as numbers, those below zero the other way round.
const Term_* FpBvEncoder::enc_below(const Term_* a, const Term_* b)
{
    const Term_* sign = enc_sign(a);
    const Term_* differs = differ(sign, enc_sign(b));
    const Term_* lower = apply(&TermManager::make_bv_ult, {magnitude(a), magnitude(b)});
    const Term_* in_order = differ(sign, lower);
    return either({both(differs, sign), both(negate(differs), in_order)});
}

const Term_* FpBvEncoder::enc_less(const Term_* t, bool or_equal)
{
    const Format f = format_of(t->child(0));
    const Term_* a = arg(t, 0);
    const Term_* b = arg(t, 1);
    const Term_* numbers = both({negate(enc_is_nan(a, f)), negate(enc_is_nan(b, f))});
    const Term_* zeros = both({enc_is_zero(a), enc_is_zero(b)});
    const Term_* same = either(zeros, target_->make_equal(a, b));
    const Term_* below = enc_below(a, b);
    return both(numbers, or_equal ? either(same, below) : both(negate(same), below));
}

const Term_* FpBvEncoder::encode_lt(const Term_* t)
{
    return enc_less(t, false);
}

const Term_* FpBvEncoder::encode_le(const Term_* t)
{
    return enc_less(t, true);
}

// Classes

const Term_* FpBvEncoder::encode_isnan(const Term_* t)
{
    return enc_is_nan(arg(t, 0), format_of(t->child(0)));
}

const Term_* FpBvEncoder::encode_isinf(const Term_* t)
{
    return enc_is_inf(arg(t, 0), format_of(t->child(0)));
}

const Term_* FpBvEncoder::encode_iszero(const Term_* t)
{
    return enc_is_zero(arg(t, 0));
}

const Term_* FpBvEncoder::encode_issubnormal(const Term_* t)
{
    const Term_* a = arg(t, 0);
    const Term_* low = is_zero(exponent_field(a, format_of(t->child(0))));
    return both(low, negate(enc_is_zero(a)));
}

const Term_* FpBvEncoder::encode_isnormal(const Term_* t)
{
    const Format f = format_of(t->child(0));
    const Term_* field = exponent_field(arg(t, 0), f);
    const Term_* ones = target_->make_equal(field, number(-1, f.exponent_width));
    return both({negate(is_zero(field)), negate(ones)});
}

const Term_* FpBvEncoder::encode_isneg(const Term_* t)
{
    const Term_* a = arg(t, 0);
    return both({enc_sign(a), negate(enc_is_nan(a, format_of(t->child(0))))});
}

/// NaN has the sign bit.
const Term_* FpBvEncoder::encode_ispos(const Term_* t)
{
    return negate(enc_sign(arg(t, 0)));
}

// Exact operations

const Term_* FpBvEncoder::encode_neg(const Term_* t)
{
    const Term_* a = arg(t, 0);
    const Term_* nan = enc_is_nan(a, format_of(t));
    return with_sign({either(nan, negate(enc_sign(a))), magnitude(a)});
}

const Term_* FpBvEncoder::encode_abs(const Term_* t)
{
    const Term_* a = arg(t, 0);
    return with_sign({enc_is_nan(a, format_of(t)), magnitude(a)});
}

const Term_* FpBvEncoder::encode_min_max(const Term_* t, bool is_min)
{
    const Format f = format_of(t);
    const Term_* a = arg(t, 0);
    const Term_* b = arg(t, 1);
    const Term_* zeros = both({enc_is_zero(a), enc_is_zero(b)});
    const Term_* open = both(zeros, differ({enc_sign(a), enc_sign(b)}));
    const Term_* below = enc_below(a, b);
    const Term_* chosen = is_min ? ite(below, a, b) : ite(below, b, a);
    chosen = ite(open, zero_of_min_max(t, is_min, a, b), chosen);
    return ite({enc_is_nan(a, f), b, ite(enc_is_nan(b, f), a, chosen)});
}

/// What the minimum or maximum of +0 and -0 is. Where it is left open, the result depends on the
/// operation, the format and the order of the two alone: two bits that are chosen once.
const Term_* FpBvEncoder::zero_of_min_max(const Term_* t, bool is_min, const Term_* a,
                                          const Term_* b)
{
    const size_t w = format_of(t).width();
    const Term_* positive = number(0, w);
    const Term_* negative = with_sign({target_->make_true(), number(0, w - 1)});
    switch (options_ ? options_->minmax_zero_mode : 0) {
    case 0:
        return is_min ? negative : positive;
    case 1:
        return positive;
    case 2:
        return a;
    case 3:
        return b;
    case 4: {
        const Term_*& signs = open_zeros_[t->get_symbol()];
        if (!signs) {
            signs = fresh("fp.z", target_->get_bv_type(2));
        }
        const Term_* chosen = ite({enc_sign(a), slice(signs, 1, 1), slice(signs, 0, 0)});
        return concat(chosen, number(0, w - 1));
    }
    default:
        throw make_error<error>("unknown semantics for fp.min/fp.max");
    }
}

const Term_* FpBvEncoder::encode_from_ieeebv(const Term_* t)
{
    const Format f = format_of(t);
    const Term_* bits = arg(t, 0);
    return ite({enc_is_nan(bits, f), nan_word(f), bits});
}

} // namespace tarq::fp
