#include "theory/bv/wordclausifierbase.h"

#include <algorithm>

namespace tarq::bv {

template <class Gates>
WordClausifierBase<Gates>::WordClausifierBase(TermManager* tm,
                                              const Configuration::Theory::Bv* options, Ites ites)
    : tm_(tm), options_(options), ites_(ites), ite_filter_(tm)
{
    using Self = WordClausifierBase;
    register_hook(SymbolTag::TRUE, &Self::bool_true);
    register_hook(SymbolTag::FALSE, &Self::bool_false);
    register_hook(SymbolTag::AND, &Self::bool_and);
    register_hook(SymbolTag::OR, &Self::bool_or);
    register_hook(SymbolTag::NOT, &Self::bool_not);
    register_hook(SymbolTag::IFF, &Self::bool_iff);
    register_hook(SymbolTag::EQ, &Self::word_equal);
    register_hook(SymbolTag::BV_CONCAT, &Self::word_concat);
    register_hook(SymbolTag::BV_EXTRACT, &Self::word_sel);
    register_hook(SymbolTag::BV_NOT, &Self::word_not);
    register_hook(SymbolTag::BV_AND, &Self::word_and);
    register_hook(SymbolTag::BV_OR, &Self::word_or);
    register_hook(SymbolTag::BV_XOR, &Self::word_xor);
    register_hook(SymbolTag::BV_ULT, &Self::word_ult);
    register_hook(SymbolTag::BV_SLT, &Self::word_slt);
    register_hook(SymbolTag::BV_ULE, &Self::word_ule);
    register_hook(SymbolTag::BV_SLE, &Self::word_sle);
    register_hook(SymbolTag::BV_COMP, &Self::word_comp);
    register_hook(SymbolTag::BV_NEG, &Self::word_neg);
    register_hook(SymbolTag::BV_ADD, &Self::word_add);
    register_hook(SymbolTag::BV_SUB, &Self::word_sub);
    register_hook(SymbolTag::BV_MUL, &Self::word_mul);
    register_hook(SymbolTag::BV_UDIV, &Self::word_udiv);
    register_hook(SymbolTag::BV_SDIV, &Self::word_sdiv);
    register_hook(SymbolTag::BV_UREM, &Self::word_urem);
    register_hook(SymbolTag::BV_SREM, &Self::word_srem);
    register_hook(SymbolTag::BV_LSHL, &Self::word_lsl);
    register_hook(SymbolTag::BV_LSHR, &Self::word_lsr);
    register_hook(SymbolTag::BV_ASHR, &Self::word_asr);
    register_hook(SymbolTag::BV_ROL, &Self::word_rol);
    register_hook(SymbolTag::BV_ROR, &Self::word_ror);
    register_hook(SymbolTag::BV_ZEXT, &Self::word_zext);
    register_hook(SymbolTag::BV_SEXT, &Self::word_sext);
    register_hook(SymbolTag::FP_TO_BV, &Self::fp_to_bv);
    register_hook(SymbolTag::FP_AS_IEEEBV, &Self::fp_as_ieeebv);
    if (ites != Ites::VARIABLES) {
        register_hook(SymbolTag::ITE, &Self::word_ite);
    }
}

// The cache

template <class Gates>
void WordClausifierBase<Gates>::add_to_cache(const Term_* t, const Word& w)
{
    const uint64_t id = t->get_id();
    if (id >= slot_.size()) {
        slot_.resize(std::max<size_t>(id + 1, 2 * slot_.size()), 0);
    }
    TARQ_ASSERT(slot_[id] == 0);
    trail_.push_back({t, static_cast<uint32_t>(w.size()), bits_.size()});
    slot_[id] = static_cast<uint32_t>(trail_.size());
    bits_.insert(bits_.end(), w.begin(), w.end());
}

template <class Gates>
void WordClausifierBase<Gates>::push_backtrack_point()
{
    trail_.push_back({nullptr, 0, bits_.size()});
}

template <class Gates>
void WordClausifierBase<Gates>::pop_backtrack_point()
{
    const Term_* t = nullptr;
    do {
        TARQ_ASSERT(!trail_.empty());
        t = trail_.back().term;
        bits_.resize(trail_.back().start);
        trail_.pop_back();
        if (t) {
            slot_[t->get_id()] = 0;
        }
    } while (t);
}

template <class Gates>
void WordClausifierBase<Gates>::retract_upto(const Term_* t)
{
    if (!is_cached(t)) {
        return;
    }
    const size_t first = slot_[t->get_id()] - 1;
    for (size_t i = trail_.size(); i-- > first;) {
        if (!trail_[i].term) {
            return; // older than the newest point
        }
    }
    while (trail_.size() > first) {
        slot_[trail_.back().term->get_id()] = 0;
        bits_.resize(trail_.back().start);
        trail_.pop_back();
    }
}

// The walk

/// The hook of the operator, or null for terms that are variables here.
template <class Gates>
typename WordClausifierBase<Gates>::hook WordClausifierBase<Gates>::find_hook(const Term_* t)
{
    const SymbolTag::tag tag = tm_->get_tag(t);
    if (tag <= 0 || static_cast<size_t>(tag) >= NUM_HOOKS) {
        return nullptr;
    }
    if (tag == SymbolTag::EQ && !tm_->is_bv_type(TermManager::get_type(t->child(0)))) {
        return nullptr;
    }
    if (tag == SymbolTag::ITE && ites_ == Ites::FILTERED && !ite_filter_(t)) {
        return nullptr;
    }
    return hooks_[static_cast<size_t>(tag)];
}

template <class Gates>
bool WordClausifierBase<Gates>::is_terminal(const Term_* t) const
{
    return t->arity() == 0 || (tm_->is_term_ite(t) && ites_ == Ites::VARIABLES) ||
           tm_->is_array_read(t) || tm_->is_array_write(t) || tm_->is_uninterpreted_function(t);
}

template <class Gates>
void WordClausifierBase<Gates>::bit_blast_term(const Term_* t, ClauseSink* sink)
{
    gates_.set_sink(sink);
    stack_.assign(1, t);
    while (!stack_.empty()) {
        const Term_* x = stack_.back();
        if (is_cached(x)) {
            stack_.pop_back();
            continue;
        }
        const size_t before = stack_.size();
        if (find_hook(x)) {
            for (size_t i = x->arity(); i-- > 0;) { // so that the first argument comes first
                if (!is_cached(x->child(i))) {
                    stack_.push_back(x->child(i));
                }
            }
        }
        if (stack_.size() == before) {
            stack_.pop_back();
            call_hook(x);
        }
    }
}

template <class Gates>
void WordClausifierBase<Gates>::call_hook(const Term_* t)
{
    gates_.poll();
    QNumber value;
    size_t width = 0;
    proxy_ = l_undef;
    r_.clear();
    if (const hook h = find_hook(t)) {
        (this->*h)(t);
    } else if (tm_->is_bv_number(t, &value, &width)) {
        circuits_.word_constant(value, width, &r_);
    } else {
        generic_variable(t);
    }
    tie_to_proxy(t);
    add_to_cache(t, r_);
}

/// The literal that the term's own variable gives it, for the gates of an atom.
template <class Gates>
BvLit WordClausifierBase<Gates>::proxy_of(const Term_* t)
{
    if constexpr (std::is_same_v<Bit, BvLit>) {
        if (!gates_.sink()->get_proxy(t, &proxy_)) {
            proxy_ = l_undef;
        }
    }
    return proxy_;
}

/// Where the top gate folded, its output is another literal than the atom's.
template <class Gates>
void WordClausifierBase<Gates>::tie_to_proxy([[maybe_unused]] const Term_* t)
{
    if constexpr (std::is_same_v<Bit, BvLit>) {
        if (!proxy_.is_undef() && r_[0] != proxy_) {
            gates_.sink()->clause(-r_[0], proxy_);
            gates_.sink()->clause(r_[0], -proxy_);
            r_[0] = proxy_;
        }
    }
}

template <class Gates>
void WordClausifierBase<Gates>::fail(const Term_* t) const
{
    const DataType* type = TermManager::get_type(t);
    (*logger_)("BV") << loglevel(1) << "Trying to bitblast the unsuported term "
                     << t->to_shallow_str() << " with type:" << type->to_str()
                     << " symbol:" << t->get_symbol()->to_str() << " number:" << tm_->is_number(t)
                     << " function:" << tm_->is_uninterpreted_function(t)
                     << " bv:" << tm_->is_bv_type(type)
                     << " bool:" << (type == tm_->get_bool_type()) << EndLog;
    throw make_error<error>("not supported: ", t->to_shallow_str());
}

template <class Gates>
size_t WordClausifierBase<Gates>::width_of(const Term_* t) const
{
    size_t width = 1;
    const DataType* type = TermManager::get_type(t);
    if (type != tm_->get_bool_type() && !tm_->is_bv_type(type, &width)) {
        fail(t);
    }
    return width;
}

/// A float or a rounding mode: a constant, or the bits that its solver has. Free bits would let it
/// mean one thing here and another one there. Returns false for other sorts.
template <class Gates>
bool WordClausifierBase<Gates>::fp_leaf(const Term_* t)
{
    QNumber bits;
    size_t exp = 0, mant = 0;
    int mode = 0;
    const DataType* type = TermManager::get_type(t);
    if (!tm_->is_fp_type(type, &exp, &mant) && type != tm_->get_rounding_type()) {
        return false;
    }
    BvLitList word;
    if (tm_->is_fp_number(t, &bits)) {
        circuits_.word_constant(bits, exp + mant + 1, &r_);
    } else if (tm_->is_fprounding(t, &mode)) {
        circuits_.word_constant(QNumber(mode), 2, &r_);
    } else if (fp_link_) {
        fp_link_->tell_term(t);
        if (!fp_link_->get_bits(t, &word)) {
            fail(t);
        }
        for (const BvLit l : word) {
            r_.push_back(l.is_constant() ? gates_.bit_constant(l.is_true()) : bound_variable(l));
        }
    } else {
        fail(t);
    }
    return true;
}

template <class Gates>
void WordClausifierBase<Gates>::fp_as_ieeebv(const Term_* t)
{
    load(t, 0, &r_);
}

template <class Gates>
void WordClausifierBase<Gates>::fp_to_bv(const Term_* t)
{
    size_t exp = 0, mant = 0, width = 0;
    tm_->is_fp_to_bv(t, &exp, &mant, &width);
    load(t, 0, &x_);
    load(t, 1, &y_);
    const Bit open = circuits_.word_fp_to_int(x_[0], x_[1], y_, mant, width, &r_);
    if (open == gates_.bit_constant(false)) {
        return;
    }
    // Without an integer the result is some function of the arguments: what an earlier conversion
    // of equal ones has, else what the search likes.
    while (!open_conversions_.empty() && !is_cached(open_conversions_.back().term)) {
        open_conversions_.pop_back();
    }
    Word chosen;
    for (size_t i = 0; i < width; ++i) {
        chosen.push_back(gates_.fresh());
    }
    for (const OpenConversion& earlier : open_conversions_) {
        if (earlier.term->get_symbol() == t->get_symbol()) {
            load(earlier.term, 0, &q_);
            const Bit same_mode = circuits_.word_equal(x_, q_, l_undef);
            load(earlier.term, 1, &q_);
            const Bit same_float = circuits_.word_equal(y_, q_, l_undef);
            q_ = chosen;
            circuits_.word_ite(gates_.bit_and(same_mode, same_float), earlier.value, q_, &chosen);
        }
    }
    q_ = r_;
    circuits_.word_ite(open, chosen, q_, &r_);
    open_conversions_.push_back({t, chosen});
}

/// A term without a circuit: fresh bits, for a Boolean one those of its variable if it has one. An
/// operator whose meaning nobody else supplies must not get free bits.
template <class Gates>
void WordClausifierBase<Gates>::generic_variable(const Term_* t)
{
    if (fp_leaf(t)) {
        return;
    }
    if (tm_->is_quantifier(t)) {
        fail(t);
    }
    BvLit proxy;
    if (TermManager::get_type(t) == tm_->get_bool_type() && gates_.sink() &&
        gates_.sink()->make_proxy(t, &proxy)) {
        set_bit(bound_variable(proxy));
        return;
    }
    const size_t width = width_of(t);
    for (size_t i = 0; i < width; ++i) {
        r_.push_back(gates_.fresh());
    }
}

template <class Gates>
void WordClausifierBase<Gates>::load(const Term_* t, size_t i, Word* out) const
{
    const std::span<const Bit> w = word(t->child(i));
    out->assign(w.begin(), w.end());
}

// Boolean operators

template <class Gates>
void WordClausifierBase<Gates>::bool_and(const Term_* t)
{
    set_bit(gates_.bit_and(word(t->child(0))[0], word(t->child(1))[0]));
}

template <class Gates>
void WordClausifierBase<Gates>::bool_or(const Term_* t)
{
    set_bit(gates_.bit_or(word(t->child(0))[0], word(t->child(1))[0]));
}

template <class Gates>
void WordClausifierBase<Gates>::bool_not(const Term_* t)
{
    set_bit(gates_.bit_not(word(t->child(0))[0]));
}

template <class Gates>
void WordClausifierBase<Gates>::bool_iff(const Term_* t)
{
    const Bit differ = gates_.bit_xor(word(t->child(0))[0], word(t->child(1))[0]);
    set_bit(gates_.bit_not(differ));
}

// Comparisons

template <class Gates>
void WordClausifierBase<Gates>::word_equal(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    set_bit(circuits_.word_equal(x_, y_, proxy_of(t)));
}

template <class Gates>
void WordClausifierBase<Gates>::word_comp(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    set_bit(circuits_.word_equal(x_, y_, l_undef));
}

template <class Gates>
void WordClausifierBase<Gates>::word_ult(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    set_bit(circuits_.word_ult(x_, y_, false, proxy_of(t)));
}

template <class Gates>
void WordClausifierBase<Gates>::word_ule(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    set_bit(circuits_.word_ult(x_, y_, true, proxy_of(t)));
}

template <class Gates>
void WordClausifierBase<Gates>::word_slt(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    set_bit(circuits_.word_slt(x_, y_, false, proxy_of(t)));
}

template <class Gates>
void WordClausifierBase<Gates>::word_sle(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    set_bit(circuits_.word_slt(x_, y_, true, proxy_of(t)));
}

// Moving bits

template <class Gates>
void WordClausifierBase<Gates>::word_concat(const Term_* t)
{
    load(t, 1, &r_);
    load(t, 0, &x_);
    r_.insert(r_.end(), x_.begin(), x_.end());
}

template <class Gates>
void WordClausifierBase<Gates>::word_sel(const Term_* t)
{
    size_t msb = 0, lsb = 0;
    tm_->is_bv_extract(t, &msb, &lsb);
    const std::span<const Bit> w = word(t->child(0));
    r_.assign(w.begin() + static_cast<std::ptrdiff_t>(lsb),
              w.begin() + static_cast<std::ptrdiff_t>(msb) + 1);
}

template <class Gates>
void WordClausifierBase<Gates>::word_rol(const Term_* t)
{
    size_t amount = 0, width = 0;
    tm_->is_bv_rol(t, &amount, &width);
    load(t, 0, &r_);
    if (width > 0) {
        std::rotate(r_.begin(), r_.end() - static_cast<std::ptrdiff_t>(amount % width), r_.end());
    }
}

template <class Gates>
void WordClausifierBase<Gates>::word_ror(const Term_* t)
{
    size_t amount = 0, width = 0;
    tm_->is_bv_ror(t, &amount, &width);
    load(t, 0, &r_);
    if (width > 0) {
        std::rotate(r_.begin(), r_.begin() + static_cast<std::ptrdiff_t>(amount % width), r_.end());
    }
}

template <class Gates>
void WordClausifierBase<Gates>::word_zext(const Term_* t)
{
    load(t, 0, &r_);
    r_.resize(width_of(t), gates_.bit_constant(false));
}

template <class Gates>
void WordClausifierBase<Gates>::word_sext(const Term_* t)
{
    load(t, 0, &r_);
    const Bit sign = r_.empty() ? gates_.bit_constant(false) : r_.back();
    r_.resize(width_of(t), sign);
}

// Bit by bit

template <class Gates>
void WordClausifierBase<Gates>::word_not(const Term_* t)
{
    load(t, 0, &r_);
    circuits_.word_not(&r_);
}

template <class Gates>
void WordClausifierBase<Gates>::word_and(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    for (size_t i = 0; i < x_.size(); ++i) {
        r_.push_back(gates_.bit_and(x_[i], y_[i]));
    }
}

template <class Gates>
void WordClausifierBase<Gates>::word_or(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    for (size_t i = 0; i < x_.size(); ++i) {
        r_.push_back(gates_.bit_or(x_[i], y_[i]));
    }
}

template <class Gates>
void WordClausifierBase<Gates>::word_xor(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    for (size_t i = 0; i < x_.size(); ++i) {
        r_.push_back(gates_.bit_xor(x_[i], y_[i]));
    }
}

template <class Gates>
void WordClausifierBase<Gates>::word_ite(const Term_* t)
{
    load(t, 1, &x_);
    load(t, 2, &y_);
    circuits_.word_ite(word(t->child(0))[0], x_, y_, &r_);
}

// Arithmetic

template <class Gates>
void WordClausifierBase<Gates>::word_neg(const Term_* t)
{
    load(t, 0, &x_);
    circuits_.word_neg(x_, &r_);
}

template <class Gates>
void WordClausifierBase<Gates>::word_add(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    circuits_.word_add(x_, y_, &r_);
}

template <class Gates>
void WordClausifierBase<Gates>::word_sub(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    circuits_.word_sub(x_, y_, &r_);
}

template <class Gates>
void WordClausifierBase<Gates>::word_mul(const Term_* t)
{
    // products that differ in the order of the factors only share their gates
    const size_t rows = t->child(0)->get_id() < t->child(1)->get_id() ? 0 : 1;
    load(t, 1 - rows, &x_);
    load(t, rows, &y_);
    circuits_.word_mul(x_, y_, &r_);
}

template <class Gates>
void WordClausifierBase<Gates>::divide(const Term_* t, bool is_signed, bool want_remainder)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    if (is_signed) {
        circuits_.word_sdiv(x_, y_, &q_, &r_);
    } else {
        circuits_.word_udiv(x_, y_, &q_, &r_);
    }
    if (!want_remainder) {
        r_.swap(q_);
    }
    word_div_complete_semantics(y_, &r_);
}

/// Where the result of a division by zero is left open, frees the bits in that case. They are
/// stable for one term only; that equal dividends give equal results is for the encoding to say.
template <class Gates>
void WordClausifierBase<Gates>::word_div_complete_semantics(const Word& divisor, Word* result)
{
    if (!options_ || options_->div_by_zero_mode != 1) {
        return;
    }
    const Word zero(divisor.size(), gates_.bit_constant(false));
    const Bit is_zero = circuits_.word_equal(divisor, zero, l_undef);
    if (is_zero == gates_.bit_constant(false)) {
        return;
    }
    for (Bit& b : *result) {
        b = gates_.bit_ite(is_zero, gates_.fresh(), b);
    }
}

template <class Gates>
void WordClausifierBase<Gates>::word_udiv(const Term_* t)
{
    divide(t, false, false);
}

template <class Gates>
void WordClausifierBase<Gates>::word_urem(const Term_* t)
{
    divide(t, false, true);
}

template <class Gates>
void WordClausifierBase<Gates>::word_sdiv(const Term_* t)
{
    divide(t, true, false);
}

template <class Gates>
void WordClausifierBase<Gates>::word_srem(const Term_* t)
{
    divide(t, true, true);
}

template <class Gates>
void WordClausifierBase<Gates>::word_lsl(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    circuits_.word_shift(WordCircuits<Gates>::Shift::LEFT, x_, y_, &r_);
}

template <class Gates>
void WordClausifierBase<Gates>::word_lsr(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    circuits_.word_shift(WordCircuits<Gates>::Shift::LOGICAL_RIGHT, x_, y_, &r_);
}

template <class Gates>
void WordClausifierBase<Gates>::word_asr(const Term_* t)
{
    load(t, 0, &x_);
    load(t, 1, &y_);
    circuits_.word_shift(WordCircuits<Gates>::Shift::ARITHMETIC_RIGHT, x_, y_, &r_);
}

template class WordClausifierBase<ClauseGates>;
template class WordClausifierBase<AigGates>;

} // namespace tarq::bv
