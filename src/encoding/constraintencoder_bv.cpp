// The encoders of bit-vectors and floats.
#include "encoding/constraintencoder.h"

#include "encoding/termiteencoder.h"
#include "terms/bvnumber.h"

#include <string>

namespace tarq::encoders {

namespace {

using enc_fun = ConstraintEncoder::enc_fun;

size_t width_of(TermManager* tm, const Term_* t)
{
    size_t width = 0;
    tm->is_bv_type(TermManager::get_type(t), &width);
    return width;
}

const Term_* bit_is_one(TermManager* tm, const Term_* t, size_t i)
{
    const Term_* bit = tm->make_bv_extract(i, i, t);
    return tm->make_equal(bit, tm->make_bv_number(1, 1));
}

/// The value of the bits of `t` as an Int: a sum of term-ITEs, which the caller's walk defines.
const Term_* mksum(TermManager* tm, const Term_* t)
{
    const Term_* zero = tm->make_number(0);
    const Term_* sum = zero;
    for (size_t i = 0; i < width_of(tm, t); ++i) {
        const Term_* weight = tm->make_number(BVNumber::pow2(i));
        sum = tm->make_plus(tm->make_term_ite(bit_is_one(tm, t, i), weight, zero), sum);
    }
    return sum;
}

/// The Int x modulo 2^w.
class IntToBvEncoder : public enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet& added) override
    {
        const Term_* x = t->child(0);
        const std::string name = ".int2bv_y_" + std::to_string(t->get_id());
        const Term_* y = tm->make_constant(tm->make_symbol(name, tm->get_int_type()));
        added.insert(y);
        const Term_* zero = tm->make_number(0);
        axioms.push_back(tm->make_leq(zero, y));
        const Term_* factor = tm->make_number(BVNumber::pow2(width_of(tm, t)));
        const Term_* rest = tm->make_times(factor, y);
        const Term_* positive = tm->make_leq(zero, x);
        if (!tm->is_false(positive)) {
            const Term_* sum = tm->make_plus(mksum(tm, t), rest);
            axioms.push_back(make_implies(tm, positive, tm->make_equal(x, sum)));
        }
        if (!tm->is_true(positive)) {
            const Term_* minus_x = tm->make_times(tm->make_number(-1), x);
            const Term_* sum = tm->make_plus(mksum(tm, tm->make_bv_neg(t)), rest);
            axioms.push_back(tm->make_or(positive, tm->make_equal(minus_x, sum)));
        }
    }
};

class IntFromBvEncoder : public enc_fun {
public:
    explicit IntFromBvEncoder(bool is_signed) : is_signed_(is_signed) {}

    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        const Term_* x = t->child(0);
        const size_t width = width_of(tm, x);
        const Term_* value = tm->make_equal(t, mksum(tm, x));
        QNumber low = 0;
        QNumber high = BVNumber::pow2(width) - 1;
        if (is_signed_) {
            low = -BVNumber::pow2(width - 1);
            high = BVNumber::pow2(width - 1) - 1;
            const Term_* negative = bit_is_one(tm, x, width - 1);
            const Term_* size = mksum(tm, tm->make_bv_neg(x));
            const Term_* minus = tm->make_times(tm->make_number(-1), size);
            axioms.push_back(tm->make_or(negative, value));
            axioms.push_back(make_implies(tm, negative, tm->make_equal(t, minus)));
        } else {
            axioms.push_back(value);
        }
        axioms.push_back(tm->make_leq(tm->make_number(low), t));
        axioms.push_back(tm->make_leq(t, tm->make_number(high)));
    }

private:
    bool is_signed_;
};

class BvDivEncoder : public enc_fun {
public:
    explicit BvDivEncoder(SymbolTag::tag tag) : tag_(tag) {}

    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        const Term_* a = t->child(0);
        const size_t width = width_of(tm, a);
        const Term_* is_zero = tm->make_equal(t->child(1), tm->make_bv_number(0, width));
        if (tm->is_false(is_zero)) {
            return;
        }
        const DataType* type = TermManager::get_type(a);
        const std::string name =
            "." + std::string("uf.") + SymbolTag::to_str(tag_) + "." + std::to_string(width);
        const Symbol* f = tm->make_symbol(name, tm->get_function_type({type}, type));
        const Term_* by_zero = tm->make_uninterpreted_function(f, TermArgs(&a, 1));
        axioms.push_back(make_implies(tm, is_zero, make_definition(tm, t, by_zero)));
    }

private:
    SymbolTag::tag tag_;
};

class FpMinMaxEncoder : public enc_fun {
public:
    explicit FpMinMaxEncoder(SymbolTag::tag tag) : tag_(tag) {}

    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&) override
    {
        const Term_* a = t->child(0);
        const Term_* b = t->child(1);
        const Term_* a_zero = tm->make_fp_iszero(a);
        const Term_* both = tm->make_and(a_zero, tm->make_fp_iszero(b));
        const Term_* differ = tm->make_not(tm->make_equal(a, b));
        const Term_* open = tm->make_and(both, differ);
        if (tm->is_false(open)) {
            return;
        }
        const DataType* type = TermManager::get_type(t);
        size_t exp = 0;
        size_t mant = 0;
        tm->is_fp_type(type, &exp, &mant);
        const std::string name = "." + std::string("uf.") + SymbolTag::to_str(tag_) + "." +
                                 std::to_string(exp) + "_" + std::to_string(mant);
        const Symbol* f = tm->make_symbol(name, tm->get_function_type({type, type}, type));
        const Term_* some_zero = tm->make_uninterpreted_function(f, t->children());
        axioms.push_back(make_implies(tm, open, make_definition(tm, t, some_zero)));
        axioms.push_back(tm->make_fp_iszero(some_zero));
    }

private:
    SymbolTag::tag tag_;
};

} // namespace

std::unique_ptr<enc_fun> make_int_to_bv_encoder()
{
    return std::make_unique<IntToBvEncoder>();
}

std::unique_ptr<enc_fun> make_int_from_bv_encoder(bool is_signed)
{
    return std::make_unique<IntFromBvEncoder>(is_signed);
}

std::unique_ptr<enc_fun> make_bv_div_encoder(SymbolTag::tag tag)
{
    return std::make_unique<BvDivEncoder>(tag);
}

std::unique_ptr<enc_fun> make_fp_minmax_encoder(SymbolTag::tag tag)
{
    return std::make_unique<FpMinMaxEncoder>(tag);
}

} // namespace tarq::encoders
