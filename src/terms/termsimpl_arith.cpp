// Construction-time simplification of arithmetic: sums, products, quotients, floor, powers, linear
// atoms and congruences, and the arguments of uninterpreted functions.

#include "base/assertion.h"
#include "terms/bvnumber.h"
#include "terms/polynomial.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"
#include "terms/termsimpl.h"

#include <algorithm>
#include <utility>

namespace tarq::termsimpl {

namespace {

using simpl_fun = StdTermSimplifier::simpl_fun;

const Term_* make_raw(TermManager* tm, const Symbol* symbol, const Term_* a, const Term_* b)
{
    const Term_* args[] = {a, b};
    return tm->do_make_term(symbol, args);
}

bool is_int(TermManager* tm, const Term_* t)
{
    return TermManager::get_type(t) == tm->get_int_type();
}

class PlusSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol*, TermArgs args) override
    {
        const Term_* a = args[0];
        const Term_* b = args[1];
        QNumber x, y;
        const bool a_number = tm->is_arith_number(a, &x);
        const bool b_number = tm->is_arith_number(b, &y);
        if (a_number && b_number) {
            return tm->make_number(x + y);
        }
        if (a_number && x.is_zero()) {
            return b;
        }
        if (b_number && y.is_zero()) {
            return a;
        }
        if (b->get_id() < a->get_id()) {
            std::swap(a, b);
        }
        return make_raw(tm, tm->get_plus_symbol(is_int(tm, a) && is_int(tm, b)), a, b);
    }
};

class TimesSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol*, TermArgs args) override
    {
        const Term_* a = args[0];
        const Term_* b = args[1];
        QNumber x, y;
        const bool a_number = tm->is_arith_number(a, &x);
        const bool b_number = tm->is_arith_number(b, &y);
        if (a_number && b_number) {
            return tm->make_number(x * y);
        }
        if (b_number) {
            std::swap(a, b);
            x.swap(y);
        }
        if (a_number || b_number) {
            if (x.is_zero()) {
                return a;
            }
            if (x.is_one()) {
                return b;
            }
        }
        return make_raw(tm, tm->get_times_symbol(is_int(tm, a) && is_int(tm, b)), a, b);
    }
};

class DivideSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber x, d;
        if (!tm->is_arith_number(args[1], &d) || d.is_zero()) {
            return tm->do_make_term(symbol, args);
        }
        if (tm->is_arith_number(args[0], &x)) {
            return tm->make_number(x / d);
        }
        return tm->make_times(tm->make_number(d.inv()), args[0]);
    }
};

class FloorSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* t = args[0];
        QNumber value;
        if (is_int(tm, t)) {
            return t;
        }
        if (tm->is_arith_number(t, &value)) {
            return tm->make_number(value.floor());
        }
        return tm->is_plus(t) ? split(tm, symbol, t) : tm->do_make_term(symbol, args);
    }

private:
    /// Takes the summands of type Int out of the floor.
    const Term_* split(TermManager* tm, const Symbol* symbol, const Term_* t)
    {
        TermVector ints, rest, stack{t};
        size_t steps = 0;
        while (!stack.empty()) {
            // sums that share much are left alone: their summands are too many to list
            if (++steps > MAX_SUMMANDS) {
                return tm->do_make_term(symbol, TermArgs(&t, 1));
            }
            const Term_* x = stack.back();
            stack.pop_back();
            if (tm->is_plus(x)) {
                stack.push_back(x->child(1));
                stack.push_back(x->child(0));
            } else {
                (is_int(tm, x) ? ints : rest).push_back(x);
            }
        }
        if (ints.empty() || rest.empty()) {
            return tm->do_make_term(symbol, TermArgs(&t, 1));
        }
        const Term_* inside = sum(tm, rest);
        return tm->make_plus(sum(tm, ints), tm->make_floor(inside));
    }

    static const Term_* sum(TermManager* tm, const TermVector& summands)
    {
        QNumber constant, value;
        const Term_* result = nullptr;
        for (const Term_* t : summands) {
            if (tm->is_arith_number(t, &value)) {
                constant += value;
            } else {
                result = result ? tm->make_plus(result, t) : t;
            }
        }
        const Term_* number = tm->make_number(constant);
        return result ? tm->make_plus(result, number) : number;
    }

    static constexpr size_t MAX_SUMMANDS = 10000;
};

class PowSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber base, exponent;
        long e = 0;
        if (!tm->is_arith_number(args[1], &exponent) || !exponent.to_int(&e) || e > MAX_BITS ||
            e < -MAX_BITS) {
            return tm->do_make_term(symbol, args);
        }
        const long factors = e < 0 ? -e : e;
        const Term_* product = nullptr;
        if (tm->is_arith_number(args[0], &base)) {
            const unsigned long bits = std::max(BVNumber::bit_length(base.get_num()),
                                                BVNumber::bit_length(base.get_den()));
            if (bits > 1 && static_cast<unsigned long>(factors) > MAX_BITS / bits) {
                return tm->do_make_term(symbol, args);
            }
            product = tm->make_number(power(base, factors));
        } else if (factors <= MAX_FACTORS) {
            product = tm->make_number(QNumber(1));
            for (long i = 0; i < factors; ++i) {
                product = tm->make_times(product, args[0]);
            }
        } else {
            return tm->do_make_term(symbol, args);
        }
        return e < 0 ? tm->make_divide(tm->make_number(QNumber(1)), product) : product;
    }

private:
    static QNumber power(QNumber base, long n)
    {
        QNumber result(1);
        for (; n > 0; n >>= 1) {
            if (n & 1) {
                result *= base;
            }
            base *= base;
        }
        return result;
    }

    // Larger powers stay terms: unfolding them would exhaust the memory.
    static constexpr long MAX_FACTORS = 1024;
    static constexpr long MAX_BITS = 1 << 18;
};

/// Equalities and inequalities between numbers, and through its sibling all other equalities.
class EqLeqSimpl : public simpl_fun {
public:
    explicit EqLeqSimpl(bool is_eq) : is_eq_(is_eq) {}

    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* a = args[0];
        const Term_* b = args[1];
        if (!tm->is_arith_type(TermManager::get_type(a)) &&
            !tm->is_arith_type(TermManager::get_type(b))) {
            return simplify_generic_equality(tm, symbol, a, b);
        }
        if (a == b) {
            return tm->make_true();
        }
        QNumber x, y;
        const bool a_number = tm->is_arith_number(a, &x);
        const bool b_number = tm->is_arith_number(b, &y);
        if (a_number && b_number) {
            return tm->make_bool(is_eq_ ? x == y : x <= y);
        }
        if (is_eq_) {
            const bool a_plain = is_uninterpreted(tm, a);
            const bool b_plain = is_uninterpreted(tm, b);
            if (a_plain && b_plain) {
                return a->get_id() < b->get_id() ? make_atom(tm, a, b) : make_atom(tm, b, a);
            }
            if (a_number && b_plain) {
                return make_plain_value(tm, b, a, x);
            }
            if (a_plain && b_number) {
                return make_plain_value(tm, a, b, y);
            }
        }
        if (!is_eq_) {
            const bool a_plain = is_uninterpreted(tm, a);
            const bool b_plain = is_uninterpreted(tm, b);
            if (a_plain && b_plain) {
                return make_atom(tm, a, b);
            }
            if (a_number && b_plain) {
                return make_atom(tm, is_int(tm, b) ? tm->make_number(x.ceil()) : a, b);
            }
            if (a_plain && b_number) {
                return make_atom(tm, a, is_int(tm, a) ? tm->make_number(y.floor()) : b);
            }
        }
        poly_norm(tm, a, b, true, &polynomial_);
        return make_linear(tm, polynomial_);
    }

private:
    static bool is_uninterpreted(TermManager* tm, const Term_* t) { return !tm->is_interpreted(t); }

    const Term_* make_plain_value(TermManager* tm, const Term_* t, const Term_* number,
                                  const QNumber& value)
    {
        return is_int(tm, t) && !value.is_int() ? tm->make_false() : make_atom(tm, t, number);
    }

    const Term_* make_atom(TermManager* tm, const Term_* a, const Term_* b)
    {
        const bool both_int = is_int(tm, a) && is_int(tm, b);
        return make_raw(
            tm,
            is_eq_ ? tm->make_equality_symbol(both_int ? tm->get_int_type() : tm->get_real_type())
                   : tm->get_leq_symbol(both_int),
            a, b);
    }

    /// The atom `p = 0` or `p <= 0`. The polynomial is scaled.
    const Term_* make_linear(TermManager* tm, Polynomial& p)
    {
        if (p.vars.empty()) {
            return tm->make_bool(is_eq_ ? p.constant.is_zero() : !p.constant.is_pos());
        }
        // the number moves to the other side; with a negative first coefficient everything moves,
        // and of an inequality the number then stands on the left
        const bool flipped = p.coeffs[0].is_neg();
        QNumber k = p.constant;
        if (flipped) {
            p.negate_coeffs();
        } else {
            k.self_neg();
        }
        if (p.all_int && !k.is_int()) {
            // sound because the coefficients are coprime integers: the left side is any integer
            if (is_eq_) {
                return tm->make_false();
            }
            k = flipped ? k.floor() + QNumber(1) : k.floor();
        }
        const bool number_first = flipped && !is_eq_;
        if (p.vars.size() == 2 && k.is_zero() && (p.coeffs[0] + p.coeffs[1]).is_zero()) {
            return number_first ? make_atom(tm, p.vars[1], p.vars[0])
                                : make_atom(tm, p.vars[0], p.vars[1]);
        }
        const Term_* sum = nullptr;
        if (p.vars.size() == 1) {
            k /= p.coeffs[0];
            sum = p.vars[0];
        } else {
            sum = poly_to_term(tm, p);
        }
        const Term_* number = tm->make_number(k);
        return number_first ? make_atom(tm, number, sum) : make_atom(tm, sum, number);
    }

    bool is_eq_;
    Polynomial polynomial_; // for one atom; kept for its memory
};

class IntModCongrSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber modulus;
        tm->is_int_modular_congruence(symbol, &modulus);
        // no scaling: neither a factor nor a divisor of the sides is a unit of the modulus in
        // general
        Polynomial p;
        poly_norm(tm, args[0], args[1], false, &p);
        size_t kept = 0;
        for (size_t i = 0; i < p.vars.size(); ++i) {
            QNumber reduced;
            p.coeffs[i].divmod(modulus, nullptr, &reduced);
            if (!reduced.is_zero()) {
                p.vars[kept] = p.vars[i];
                p.coeffs[kept++] = std::move(reduced);
            }
        }
        p.vars.resize(kept);
        p.coeffs.resize(kept);
        p.products.assign(kept, nullptr);
        QNumber number;
        p.constant.neg().divmod(modulus, nullptr, &number);
        if (p.vars.empty()) {
            return tm->make_bool(number.is_zero());
        }
        return make_raw(tm, symbol, poly_to_term(tm, p), tm->make_number(number));
    }
};

class UfArgArithSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        return make_with_linear_arguments(tm, symbol, args);
    }
};

} // namespace

const Term_* make_with_linear_arguments(TermManager* tm, const Symbol* symbol, TermArgs args)
{
    const auto is_linear = [tm](const Term_* t) { return tm->is_plus(t) || tm->is_times(t); };
    if (std::none_of(args.begin(), args.end(), is_linear)) {
        return tm->do_make_term(symbol, args);
    }
    Polynomial p;
    TermVector norm(args.begin(), args.end());
    for (const Term_*& t : norm) {
        if (is_linear(t)) {
            poly_norm(tm, t, nullptr, false, &p);
            t = poly_to_term_with_constant(tm, p);
        }
    }
    return tm->do_make_term(symbol, norm);
}

void register_arith_simplifications(StdTermSimplifier* s)
{
    s->register_simplification(SymbolTag::PLUS, std::make_unique<PlusSimpl>());
    s->register_simplification(SymbolTag::TIMES, std::make_unique<TimesSimpl>());
    s->register_simplification(SymbolTag::DIVIDE, std::make_unique<DivideSimpl>());
    s->register_simplification(SymbolTag::FLOOR, std::make_unique<FloorSimpl>());
    s->register_simplification(SymbolTag::POW, std::make_unique<PowSimpl>());
    s->register_simplification(SymbolTag::EQ, std::make_unique<EqLeqSimpl>(true));
    s->register_simplification(SymbolTag::LEQ, std::make_unique<EqLeqSimpl>(false));
    s->register_simplification(SymbolTag::INT_MOD_CONGR, std::make_unique<IntModCongrSimpl>());
    s->register_simplification(SymbolTag::UNKNOWN, std::make_unique<UfArgArithSimpl>());
}

} // namespace tarq::termsimpl
