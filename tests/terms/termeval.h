// The value of terms under a random interpretation of their symbols: the oracle for simplification.
// Shares with the code under test only the numbers of GMP and IEEEFloat, which has tests of its
// own.
#pragma once

#include "terms/bvsemantics.h"
#include "terms/ieeefloat.h"
#include "terms/termmanager.h"

#include <gmpxx.h>

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace tarq::test {

struct ArrayValue;

/// A value of any type; which field counts, the type says.
struct Value {
    Word word = 0;    // Bool, bit-vector, bits of a float, rounding mode, element of a user sort
    mpq_class number; // Int, Real
    std::shared_ptr<const ArrayValue> array;

    friend bool operator==(const Value& a, const Value& b) { return compare(a, b) == 0; }
    friend bool operator<(const Value& a, const Value& b) { return compare(a, b) < 0; }
    static int compare(const Value& a, const Value& b);
};

/// An array in one form: equal arrays have equal fields. Over an index type of few values every
/// index is written and the default is none.
struct ArrayValue {
    std::map<Value, Value> writes;
    Value otherwise;
};

inline int Value::compare(const Value& a, const Value& b)
{
    if (a.word != b.word) {
        return a.word < b.word ? -1 : 1;
    }
    if (const int c = cmp(a.number, b.number)) {
        return c;
    }
    if (!a.array || !b.array) {
        return int(a.array != nullptr) - int(b.array != nullptr);
    }
    const auto& x = *a.array;
    const auto& y = *b.array;
    return x.writes == y.writes && x.otherwise == y.otherwise                  ? 0
           : std::tie(x.writes, x.otherwise) < std::tie(y.writes, y.otherwise) ? -1
                                                                               : 1;
}

inline mpz_class to_mpz(Word w)
{
    mpz_class z(static_cast<unsigned long>(w >> 64));
    z <<= 64;
    return z + static_cast<unsigned long>(w);
}

/// The integer modulo 2^width.
inline Word to_word(mpz_class z, size_t width)
{
    mpz_fdiv_r_2exp(z.get_mpz_t(), z.get_mpz_t(), width);
    const mpz_class high = z >> 64;
    mpz_fdiv_r_2exp(z.get_mpz_t(), z.get_mpz_t(), 64);
    return (Word(high.get_ui()) << 64) | z.get_ui();
}

/// One interpretation: each constant has a random value, each function gives random values, and so
/// do the operations where their meaning leaves open what they give.
class Interpretation {
public:
    /// any_quotient  whether a bit-vector's division by zero is one of those operations
    Interpretation(const TermManager& tm, uint64_t seed, bool any_quotient)
        : tm_(tm), seed_(seed), any_quotient_(any_quotient)
    {
    }

    /// Has a model decide what is random otherwise.
    /// model  gives the value, as a term, of any term whose meaning is open
    void follow(std::function<const Term_*(const Term_*)> model) { model_ = std::move(model); }

    /// throws  std::runtime_error when a model gives two values for equal arguments
    const Value& operator()(const Term_* root)
    {
        std::vector<const Term_*> stack{root};
        while (!stack.empty()) {
            const Term_* t = stack.back();
            const size_t size = stack.size();
            if (!values_.count(t)) {
                for (const Term_* child : t->children()) {
                    if (!values_.count(child)) {
                        stack.push_back(child);
                    }
                }
            }
            if (stack.size() == size) {
                if (!values_.count(t)) {
                    values_[t] = compute(t);
                }
                stack.pop_back();
            }
        }
        return values_[root];
    }

    /// A value of the type, often a special one.
    Value random_value(const DataType* type, std::mt19937_64& rng)
    {
        Value v;
        size_t width = 0, mant = 0;
        const DataType* element = nullptr;
        const DataType* index = nullptr;
        if (type == tm_.get_int_type()) {
            v.number = static_cast<long>(rng() % 9) - 4;
        } else if (type == tm_.get_real_type()) {
            v.number = mpq_class(static_cast<long>(rng() % 17) - 8, 1 + rng() % 4);
            v.number.canonicalize();
        } else if (tm_.is_bv_type(type, &width)) {
            v.word = random_word(width, rng);
        } else if (tm_.is_fp_type(type, &width, &mant)) {
            Word exponent = rng() % 3 ? random_word(width, rng) : Word(1) << (width - 1);
            exponent = (exponent + rng() % 3 - 1) & ones<Word>(width);
            v.word = canonical((Word(rng() % 2) << (width + mant)) | (exponent << mant) |
                                   random_word(mant, rng),
                               width, mant);
        } else if (tm_.is_array_type(type, &index, &element)) {
            ArrayValue array;
            array.otherwise = random_value(element, rng);
            for (size_t n = rng() % 3; n > 0; --n) {
                const Value i = random_value(index, rng);
                array.writes[i] = random_value(element, rng);
            }
            v = make_array(index, std::move(array));
        } else {
            v.word = rng() % (type == tm_.get_bool_type()       ? 2
                              : type == tm_.get_rounding_type() ? 4
                                                                : 3);
        }
        return v;
    }

private:
    static Word random_word(size_t width, std::mt19937_64& rng)
    {
        const Word w = (Word(rng()) << 64) | rng();
        switch (rng() % 4) {
        case 0:
            return (rng() % 4) & ones<Word>(width);
        case 1:
            return ~Word(rng() % 3) & ones<Word>(width);
        case 2:
            return ((Word(1) << (width - 1)) + rng() % 3 - 1) & ones<Word>(width);
        default:
            return w & ones<Word>(width);
        }
    }

    static Word canonical(Word bits, size_t exp, size_t mant)
    {
        const Word inf = ones<Word>(exp) << mant;
        return (bits & ones<Word>(exp + mant)) > inf ? (Word(1) << (exp + mant)) | inf | 1 : bits;
    }

    /// All values of a type of few, or none.
    std::vector<Value> all_values(const DataType* type)
    {
        std::vector<Value> all;
        size_t width = 0, mant = 0;
        size_t count = 0;
        if (type == tm_.get_bool_type()) {
            count = 2;
        } else if (type == tm_.get_rounding_type()) {
            count = 4;
        } else if (tm_.is_bv_type(type, &width) && width <= 5) {
            count = size_t{1} << width;
        } else if (tm_.is_fp_type(type, &width, &mant) && width + mant <= 5) {
            count = size_t{2} << (width + mant);
        }
        for (size_t i = 0; i < count; ++i) {
            Value v;
            v.word = i;
            if (!mant || canonical(i, width, mant) == i) {
                all.push_back(v);
            }
        }
        return all;
    }

    static const Value& at(const ArrayValue& array, const Value& index)
    {
        const auto it = array.writes.find(index);
        return it == array.writes.end() ? array.otherwise : it->second;
    }

    Value make_array(const DataType* index_type, ArrayValue array)
    {
        const std::vector<Value> all = all_values(index_type);
        for (const Value& i : all) {
            array.writes.insert({i, array.otherwise});
        }
        if (!all.empty()) {
            array.otherwise = Value();
        } else {
            std::erase_if(array.writes,
                          [&](const auto& entry) { return entry.second == array.otherwise; });
        }
        Value v;
        v.array = std::make_shared<const ArrayValue>(std::move(array));
        return v;
    }

    static uint64_t hash(const Value& v)
    {
        uint64_t h = mix(static_cast<uint64_t>(v.word), static_cast<uint64_t>(v.word >> 64),
                         mpz_fdiv_ui(v.number.get_num_mpz_t(), 4294967291u));
        h = mix(h, mpz_fdiv_ui(v.number.get_den_mpz_t(), 4294967291u), 1);
        if (v.array) {
            for (const auto& [index, element] : v.array->writes) {
                h = mix(h, hash(index), hash(element));
            }
            h = mix(h, hash(v.array->otherwise), 2);
        }
        return h;
    }

    /// A function of the arguments that nothing else is known of. Functions are told apart by key.
    Value unknown(uint64_t key, const std::vector<const Value*>& args, const DataType* type)
    {
        uint64_t h = mix(seed_, key, args.size());
        for (const Value* v : args) {
            h = mix(h, hash(*v), 3);
        }
        std::mt19937_64 rng(h);
        return random_value(type, rng);
    }

    /// What the model says. Elements of an uninterpreted type are values themselves.
    Value told(const Term_* t, const std::vector<const Value*>& args)
    {
        const Term_* value = model_(t);
        if (!value) {
            throw std::runtime_error("the model has no value for " + t->to_str(1000));
        }
        Value v;
        if (value == t) {
            v.word = t->get_id();
            return v;
        }
        v = (*this)(value);
        std::vector<Value> point;
        for (const Value* a : args) {
            point.push_back(*a);
        }
        if (points_.emplace(std::pair(t->get_symbol(), point), v).first->second != v) {
            throw std::runtime_error("the model gives two values at one point: " + t->to_str(1000));
        }
        return v;
    }

    /// Whether the operator's meaning leaves its value at these arguments to the model.
    bool is_open(SymbolTag::tag tag, const Term_* t, const std::vector<const Value*>& args)
    {
        size_t exp = 0, mant = 0;
        switch (tag) {
        case SymbolTag::DIVIDE:
            return args[1]->number == 0;
        case SymbolTag::BV_UDIV:
        case SymbolTag::BV_SDIV:
        case SymbolTag::BV_UREM:
        case SymbolTag::BV_SREM:
            return any_quotient_ && args[1]->word == 0;
        case SymbolTag::FP_MIN:
        case SymbolTag::FP_MAX:
            tm_.is_fp_type(TermManager::get_type(t), &exp, &mant);
            return ((args[0]->word | args[1]->word) & ones<Word>(exp + mant)) == 0;
        case SymbolTag::FP_TO_BV: {
            tm_.is_fp_type(TermManager::get_type(t->child(1)), &exp, &mant);
            return !has_integer(make_float(args[1]->word, exp, mant, args[0]->word), t);
        }
        default:
            return tag == SymbolTag::UNKNOWN || tag >= SymbolTag::PI;
        }
    }

    Value compute(const Term_* t)
    {
        Value v;
        QNumber q;
        int mode = 0;
        if (tm_.is_true(t) || tm_.is_false(t)) {
            v.word = tm_.is_true(t);
            return v;
        }
        if (tm_.is_arith_number(t, &q)) {
            v.number = q.to_mpq();
            return v;
        }
        if (tm_.is_number(t, &q)) {
            v.word = to_word(q.num_to_mpz(), 128);
            return v;
        }
        if (tm_.is_fprounding(t, &mode)) {
            v.word = static_cast<Word>(mode);
            return v;
        }
        std::vector<const Value*> args;
        for (const Term_* child : t->children()) {
            args.push_back(&values_.at(child));
        }
        const SymbolTag::tag tag = tm_.get_tag(t);
        if (model_ && is_open(tag, t, args)) {
            return told(t, args);
        }
        if (tag == SymbolTag::UNKNOWN || (tag >= SymbolTag::PI && tag != SymbolTag::POW)) {
            return unknown(t->get_symbol()->get_id(), args, TermManager::get_type(t));
        }
        if (tag >= SymbolTag::FP_EQ && tag <= SymbolTag::FP_FROM_IEEEBV) {
            return compute_float(tag, t, args);
        }
        BvOperator op = bv_operator(tm_, t);
        op.any_quotient = any_quotient_;
        if (op.tag != SymbolTag::UNKNOWN) {
            v.word = apply_bv<Word>(op, args[0]->word, args.back()->word);
            return v;
        }
        return compute_other(tag, t, args);
    }

    Value compute_other(SymbolTag::tag tag, const Term_* t, const std::vector<const Value*>& args)
    {
        Value v;
        QNumber modulus;
        const DataType* index = nullptr;
        size_t width = 0;
        const Value& a = *args[0];
        const Value& b = *args.back();
        switch (tag) {
        case SymbolTag::NOT:
            v.word = !a.word;
            break;
        case SymbolTag::AND:
            v.word = a.word & b.word;
            break;
        case SymbolTag::OR:
            v.word = a.word | b.word;
            break;
        case SymbolTag::IFF:
        case SymbolTag::EQ:
            v.word = a == b;
            break;
        case SymbolTag::ITE:
            return a.word ? *args[1] : b;
        case SymbolTag::PLUS:
            v.number = a.number + b.number;
            break;
        case SymbolTag::TIMES:
            v.number = a.number * b.number;
            break;
        case SymbolTag::DIVIDE:
            return quotient(a, b);
        case SymbolTag::FLOOR:
            v.number = floor(a.number);
            break;
        case SymbolTag::LEQ:
            v.word = a.number <= b.number;
            break;
        case SymbolTag::INT_MOD_CONGR:
            tm_.is_int_modular_congruence(t, &modulus);
            v.number = (a.number - b.number) / modulus.to_mpq();
            v.word = v.number.get_den() == 1;
            v.number = 0;
            break;
        case SymbolTag::POW:
            return power(a, b);
        case SymbolTag::INT_FROM_UBV:
        case SymbolTag::INT_FROM_SBV:
            v.number = to_mpz(a.word);
            tm_.is_bv_type(TermManager::get_type(t->child(0)), &width);
            if (tag == SymbolTag::INT_FROM_SBV && top_bit(a.word, width)) {
                v.number -= mpz_class(1) << width;
            }
            break;
        case SymbolTag::INT_TO_BV:
            tm_.is_bv_type(TermManager::get_type(t), &width);
            v.word = to_word(a.number.get_num(), width);
            break;
        case SymbolTag::ARRAY_READ:
            return at(*a.array, b);
        case SymbolTag::ARRAY_WRITE: {
            tm_.is_array_type(TermManager::get_type(t), &index);
            ArrayValue array = *a.array;
            array.writes[*args[1]] = b;
            return make_array(index, std::move(array));
        }
        case SymbolTag::ARRAY_CONST: {
            tm_.is_array_type(TermManager::get_type(t), &index);
            return make_array(index, ArrayValue{{}, a});
        }
        default:
            ADD_FAILURE() << "no meaning for " << t->to_shallow_str();
        }
        return v;
    }

    static mpz_class floor(const mpq_class& q)
    {
        mpz_class z;
        mpz_fdiv_q(z.get_mpz_t(), q.get_num_mpz_t(), q.get_den_mpz_t());
        return z;
    }

    Value quotient(const Value& a, const Value& b)
    {
        if (b.number == 0) {
            return unknown(~uint64_t(0), {&a}, tm_.get_real_type());
        }
        Value v;
        v.number = a.number / b.number;
        return v;
    }

    /// A power whose value is beyond a million bits is as good as unknown.
    Value power(const Value& base, const Value& exponent)
    {
        mpz_class num = base.number.get_num(), den = base.number.get_den();
        const mpz_class factors = abs(exponent.number.get_num());
        const size_t bits =
            std::max(mpz_sizeinbase(num.get_mpz_t(), 2), mpz_sizeinbase(den.get_mpz_t(), 2));
        if (exponent.number.get_den() != 1 || factors > 1000000 / bits) {
            return unknown(~uint64_t(1), {&base, &exponent}, tm_.get_real_type());
        }
        mpz_pow_ui(num.get_mpz_t(), num.get_mpz_t(), factors.get_ui());
        mpz_pow_ui(den.get_mpz_t(), den.get_mpz_t(), factors.get_ui());
        Value product, one;
        product.number = mpq_class(num, den);
        one.number = 1;
        return exponent.number < 0 ? quotient(one, product) : product;
    }

    static IEEEFloat make_float(Word bits, size_t exp, size_t mant, Word mode)
    {
        return IEEEFloat::from_bits(QNumber(to_mpz(bits)), {exp, mant},
                                    static_cast<IEEEFloat::rounding_mode>(mode));
    }

    /// Whether the float, rounded, is a signed number of the width of `t`.
    bool has_integer(const IEEEFloat& x, const Term_* t) const
    {
        size_t width = 0;
        tm_.is_bv_type(TermManager::get_type(t), &width);
        if (x.is_nan() || x.is_inf()) {
            return false;
        }
        const mpz_class z = x.to_integer(0).num_to_mpz();
        const mpz_class limit = mpz_class(1) << (width - 1);
        return -limit <= z && z < limit;
    }

    Value compute_float(SymbolTag::tag tag, const Term_* t, const std::vector<const Value*>& args)
    {
        Value v;
        const Term_* last = t->child(t->arity() - 1);
        size_t exp = 0, mant = 0, width = 0, to_exp = 0, to_mant = 0;
        const bool rounded = TermManager::get_type(t->child(0)) == tm_.get_rounding_type();
        const Word mode = rounded ? args[0]->word : 0;
        tm_.is_fp_type(TermManager::get_type(t), &to_exp, &to_mant);
        if (tm_.is_bv_type(TermManager::get_type(last), &width)) {
            // from a bit-vector
            if (tag == SymbolTag::FP_FROM_IEEEBV) {
                v.word = canonical(args[0]->word, to_exp, to_mant);
                return v;
            }
            mpz_class z = to_mpz(args[1]->word);
            if (tag == SymbolTag::FP_FROM_SBV && top_bit(args[1]->word, width)) {
                z -= mpz_class(1) << width;
            }
            return float_value(IEEEFloat::from_number(QNumber(z), {to_exp, to_mant},
                                                      static_cast<IEEEFloat::rounding_mode>(mode)));
        }
        tm_.is_fp_type(TermManager::get_type(last), &exp, &mant);
        IEEEFloat x = make_float(args[rounded]->word, exp, mant, mode);
        const IEEEFloat y = make_float(args.back()->word, exp, mant, mode);
        switch (tag) {
        case SymbolTag::FP_EQ:
            v.word = x == y;
            return v;
        case SymbolTag::FP_LT:
            v.word = x < y;
            return v;
        case SymbolTag::FP_LE:
            v.word = x <= y;
            return v;
        case SymbolTag::FP_NEG:
            x.self_neg();
            break;
        case SymbolTag::FP_ABS:
            x.set_sign(false);
            break;
        case SymbolTag::FP_ADD:
            x += y;
            break;
        case SymbolTag::FP_SUB:
            x -= y;
            break;
        case SymbolTag::FP_MUL:
            x *= y;
            break;
        case SymbolTag::FP_DIV:
            x /= y;
            break;
        case SymbolTag::FP_SQRT:
            x.sqrt();
            break;
        case SymbolTag::FP_ROUND_TO_INT:
            x = IEEEFloat::round(x);
            break;
        case SymbolTag::FP_MIN:
        case SymbolTag::FP_MAX:
            // of the two zeros, the one that this interpretation likes
            if (x.is_nan() || (x.is_zero() && y.is_zero() && seed_ % 2)) {
                x = y;
            } else if (!y.is_nan() && (tag == SymbolTag::FP_MIN ? y < x : x < y)) {
                x = y;
            }
            break;
        case SymbolTag::FP_CAST:
            x.set_format({to_exp, to_mant});
            break;
        case SymbolTag::FP_AS_IEEEBV:
            v.word = args[0]->word;
            return v;
        case SymbolTag::FP_TO_BV:
            if (!has_integer(x, t)) {
                return unknown(t->get_symbol()->get_id(), args, TermManager::get_type(t));
            }
            tm_.is_bv_type(TermManager::get_type(t), &width);
            v.word = to_word(x.to_integer(0).num_to_mpz(), width);
            return v;
        default:
            v.word = tag == SymbolTag::FP_ISNAN         ? x.is_nan()
                     : tag == SymbolTag::FP_ISINF       ? x.is_inf()
                     : tag == SymbolTag::FP_ISZERO      ? x.is_zero()
                     : tag == SymbolTag::FP_ISSUBNORMAL ? x.is_subnormal()
                     : tag == SymbolTag::FP_ISNORMAL    ? x.is_normal()
                     : tag == SymbolTag::FP_ISNEG       ? !x.is_nan() && x.get_sign()
                                                        : !x.is_nan() && !x.get_sign();
            return v;
        }
        return float_value(x);
    }

    static Value float_value(const IEEEFloat& x)
    {
        Value v;
        v.word = to_word(x.get_bits().num_to_mpz(), 128);
        return v;
    }

    const TermManager& tm_;
    uint64_t seed_;
    bool any_quotient_;
    std::function<const Term_*(const Term_*)> model_; // null for random values
    std::map<std::pair<const Symbol*, std::vector<Value>>, Value> points_;
    std::unordered_map<const Term_*, Value> values_;
};

} // namespace tarq::test
