// The encoders of arithmetic.
#include "encoding/constraintencoder.h"

#include <string>
#include <utility>

namespace tarq::encoders {

namespace {

using enc_fun = ConstraintEncoder::enc_fun;

// Roots and powers beyond these are left without the axioms that would unfold them.
constexpr long MAX_ROOT = 1000;
constexpr int MAX_POWER = 5;

const Term_* number(TermManager* tm, const QNumber& q)
{
    return tm->make_number(q);
}

const Term_* negate(TermManager* tm, const Term_* t)
{
    return tm->make_times(number(tm, -1), t);
}

/// a < b
const Term_* less(TermManager* tm, const Term_* a, const Term_* b)
{
    return tm->make_not(tm->make_leq(b, a));
}

/// A constant of the library's own for the term `t`. Names that start with a dot are not for users.
const Term_* make_own_constant(TermManager* tm, const char* what, const Term_* t,
                               const DataType* type, TermSet& added)
{
    const std::string name = "." + (what + std::to_string(t->get_id()));
    const Term_* c = tm->make_constant(tm->make_symbol(name, type));
    added.insert(c);
    return c;
}

class FloorEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        const Term_* x = t->child(0);
        axioms.push_back(tm->make_leq(t, x));
        axioms.push_back(less(tm, x, tm->make_plus(t, number(tm, 1))));
    }
};

/// t is (a = b mod m): a = b + m*x when t holds, else a = b + m*x + y with a remainder y.
class IntModCongrEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet& added) override
    {
        QNumber modulus;
        tm->is_int_modular_congruence(t, &modulus);
        if (modulus.is_one()) {
            axioms.push_back(t);
            return;
        }
        const DataType* type = tm->get_int_type();
        const Term_* x = make_own_constant(tm, "int_mod_x_", t, type, added);
        const Term_* y = make_own_constant(tm, "int_mod_y_", t, type, added);
        const Term_* m = number(tm, modulus);
        const Term_* congruent = tm->make_plus(t->child(1), tm->make_times(m, x));
        axioms.push_back(make_implies(tm, t, tm->make_equal(t->child(0), congruent)));
        const Term_* remainder = tm->make_plus(y, congruent);
        axioms.push_back(tm->make_or(t, tm->make_equal(t->child(0), remainder)));
        axioms.push_back(tm->make_leq(number(tm, 1), y));
        axioms.push_back(tm->make_leq(y, number(tm, modulus - 1)));
    }
};

/// A product with a tree of term-ITEs over numbers is linear below each path of the tree.
class TimesIteEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        // With a number as the other factor the product is linear as it stands.
        if (tm->is_number(t->child(0)) || tm->is_number(t->child(1))) {
            return;
        }
        for (size_t side : {1, 0}) {
            std::vector<Leaf> leaves;
            if (!tm->is_term_ite(t->child(side)) ||
                !collect_terminals(tm, t->child(side), &leaves)) {
                continue;
            }
            for (const Leaf& leaf : leaves) {
                const Term_* product = tm->make_times(leaf.term, t->child(1 - side));
                axioms.push_back(make_implies(tm, leaf.path, tm->make_equal(t, product)));
            }
        }
    }

private:
    // Each path becomes a clause of its own; a tree of more leaves, shared or not, is left alone.
    static constexpr size_t MAX_LEAVES = 256;

    struct Leaf {
        const Term_* path; // the conjunction of the conditions that lead here
        const Term_* term;
    };

    static bool collect_terminals(TermManager* tm, const Term_* tree, std::vector<Leaf>* leaves)
    {
        std::vector<Leaf> stack{{tm->make_true(), tree}};
        while (!stack.empty()) {
            const auto [path, t] = stack.back();
            stack.pop_back();
            if (!tm->is_term_ite(t)) {
                leaves->push_back({path, t});
                if (!tm->is_number(t) || leaves->size() > MAX_LEAVES) {
                    return false;
                }
                continue;
            }
            const Term_* c = t->child(0);
            stack.push_back({tm->make_and(path, tm->make_not(c)), t->child(2)});
            stack.push_back({tm->make_and(path, c), t->child(1)});
        }
        return true;
    }
};

/// Zeros and signs of a product of two unknowns.
class TimesZeroLineEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        const Term_* u = t->child(0);
        const Term_* v = t->child(1);
        if (tm->is_number(u) || tm->is_number(v)) {
            return;
        }
        const Term_* zero = number(tm, 0);
        const Term_* u_zero = tm->make_equal(u, zero);
        const Term_* some_zero = tm->make_or(u_zero, tm->make_equal(v, zero));
        axioms.push_back(tm->make_iff(some_zero, tm->make_equal(t, zero)));
        const Term_* u_pos = less(tm, zero, u);
        const Term_* v_pos = less(tm, zero, v);
        const Term_* u_neg = less(tm, u, zero);
        const Term_* v_neg = less(tm, v, zero);
        const Term_* both_pos = tm->make_and(u_pos, v_pos);
        const Term_* same = tm->make_or(both_pos, tm->make_and(u_neg, v_neg));
        axioms.push_back(tm->make_iff(less(tm, zero, t), same));
        if (u != v) {
            const Term_* pos_neg = tm->make_and(u_pos, v_neg);
            const Term_* differ = tm->make_or(pos_neg, tm->make_and(u_neg, v_pos));
            axioms.push_back(tm->make_iff(less(tm, t, zero), differ));
        }
    }
};

/// Encoders that share a tag, called in order.
class chain_enc : public enc_fun {
public:
    void add(std::unique_ptr<enc_fun> f) { parts_.push_back(std::move(f)); }
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet& added) override
    {
        for (const auto& f : parts_) {
            (*f)(tm, t, axioms, added);
        }
    }

private:
    std::vector<std::unique_ptr<enc_fun>> parts_;
};

class DivideEncoder : public enc_fun {
public:
    explicit DivideEncoder(bool by_zero_uf) : by_zero_uf_(by_zero_uf) {}

    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        const Term_* a = t->child(0);
        const Term_* b = t->child(1);
        QNumber divisor;
        if (tm->is_number(b, &divisor) && !divisor.is_zero()) {
            return;
        }
        const Term_* zero = number(tm, 0);
        const Term_* is_zero = tm->make_equal(b, zero);
        axioms.push_back(tm->make_or(is_zero, tm->make_equal(tm->make_times(b, t), a)));
        const Term_* by_zero = zero;
        if (by_zero_uf_) {
            const DataType* real = tm->get_real_type();
            const DataType* type = tm->get_function_type({real}, real);
            const std::string name =
                "." + std::string("uf.") + SymbolTag::to_str(SymbolTag::DIVIDE);
            by_zero = tm->make_uninterpreted_function(tm->make_symbol(name, type), TermArgs(&a, 1));
        }
        axioms.push_back(make_implies(tm, is_zero, tm->make_equal(t, by_zero)));
    }

private:
    bool by_zero_uf_;
};

/// t = log(x) for a positive x.
void define_log(TermManager* tm, const Term_* t, TermVector& axioms)
{
    const Term_* x = t->child(0);
    const Term_* undefined = tm->make_leq(x, number(tm, 0));
    axioms.push_back(tm->make_or(undefined, tm->make_equal(x, tm->make_exp(t))));
}

class LogEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        define_log(tm, t, axioms);
    }
};

/// On its domain the arcsine is the one angle between -pi/2 and pi/2 with that sine.
class ASinEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        const Term_* x = t->child(0);
        const Term_* above = tm->make_leq(number(tm, -1), x);
        const Term_* domain = tm->make_and(above, tm->make_leq(x, number(tm, 1)));
        const Term_* pi = tm->make_pi();
        const Term_* low = tm->make_times(number(tm, QNumber(-1, 2)), pi);
        const Term_* high = tm->make_times(number(tm, QNumber(1, 2)), pi);
        axioms.push_back(make_implies(tm, domain, tm->make_equal(tm->make_sin(t), x)));
        axioms.push_back(make_implies(tm, domain, tm->make_leq(low, t)));
        axioms.push_back(make_implies(tm, domain, tm->make_leq(t, high)));
    }
};

/// pow(b, e). A negative base with an exponent that is no integer has no axiom: its value is open.
class PowEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        if (!define_root(tm, t, axioms)) {
            define_power(tm, t, axioms);
        }
    }

private:
    static const Term_* product(TermManager* tm, const Term_* t, long factors)
    {
        const Term_* result = t;
        for (long i = 1; i < factors; ++i) {
            result = tm->make_times(result, t);
        }
        return result;
    }

    /// An exponent 1/n: t^n = b, for an even n with b and t not negative.
    static bool define_root(TermManager* tm, const Term_* t, TermVector& axioms)
    {
        const Term_* b = t->child(0);
        QNumber exponent;
        long n = 0;
        if (!tm->is_arith_number(t->child(1), &exponent) || !exponent.get_num().is_one() ||
            !exponent.get_den().to_int(&n) || n < 2 || n > MAX_ROOT) {
            return false;
        }
        const Term_* power = tm->make_equal(b, product(tm, t, n));
        if (n % 2 != 0) {
            axioms.push_back(power);
            return true;
        }
        const Term_* zero = number(tm, 0);
        const Term_* defined = tm->make_leq(zero, b);
        axioms.push_back(make_implies(tm, defined, power));
        axioms.push_back(make_implies(tm, defined, tm->make_leq(zero, t)));
        return true;
    }

    static void define_power(TermManager* tm, const Term_* t, TermVector& axioms)
    {
        const Term_* b = t->child(0);
        const Term_* e = t->child(1);
        const Term_* zero = number(tm, 0);
        const Term_* is_int = tm->make_equal(e, tm->make_floor(e));
        const Term_* half = tm->make_floor(tm->make_times(number(tm, QNumber(1, 2)), e));
        const Term_* even = tm->make_equal(e, tm->make_times(number(tm, 2), half));
        const Term_* odd = tm->make_and(is_int, tm->make_not(even));
        const Term_* positive = less(tm, zero, b);
        const Term_* negative = less(tm, b, zero);
        const Term_* exp_pos = exp_log(tm, b, e);
        axioms.push_back(make_implies(tm, positive, tm->make_equal(t, exp_pos)));
        const Term_* exp_neg = exp_log(tm, negate(tm, b), e);
        const Term_* neg_even = tm->make_and(negative, even);
        axioms.push_back(make_implies(tm, neg_even, tm->make_equal(t, exp_neg)));
        const Term_* neg_odd = tm->make_and(negative, odd);
        axioms.push_back(make_implies(tm, neg_odd, tm->make_equal(t, negate(tm, exp_neg))));
        const Term_* e_zero = tm->make_equal(e, zero);
        axioms.push_back(make_implies(tm, e_zero, tm->make_equal(t, number(tm, 1))));
        for (int i = 1; i <= MAX_POWER; ++i) {
            const Term_* e_i = tm->make_equal(e, number(tm, i));
            axioms.push_back(make_implies(tm, e_i, tm->make_equal(t, product(tm, b, i))));
        }
    }

    static const Term_* exp_log(TermManager* tm, const Term_* b, const Term_* e)
    {
        return tm->make_exp(tm->make_times(e, tm->make_log(b)));
    }
};

} // namespace

std::unique_ptr<enc_fun> make_floor_encoder()
{
    return std::make_unique<FloorEncoder>();
}

std::unique_ptr<enc_fun> make_congruence_encoder()
{
    return std::make_unique<IntModCongrEncoder>();
}

std::unique_ptr<enc_fun> make_times_encoder(bool zero_line)
{
    auto chain = std::make_unique<chain_enc>();
    chain->add(std::make_unique<TimesIteEncoder>());
    if (zero_line) {
        chain->add(std::make_unique<TimesZeroLineEncoder>());
    }
    return chain;
}

std::unique_ptr<enc_fun> make_divide_encoder(bool by_zero_uf)
{
    return std::make_unique<DivideEncoder>(by_zero_uf);
}

std::unique_ptr<enc_fun> make_log_encoder()
{
    return std::make_unique<LogEncoder>();
}

std::unique_ptr<enc_fun> make_asin_encoder()
{
    return std::make_unique<ASinEncoder>();
}

std::unique_ptr<enc_fun> make_pow_encoder()
{
    return std::make_unique<PowEncoder>();
}

} // namespace tarq::encoders
