// Random terms over every operator, each built twice: as it stands and simplified.
#pragma once

#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"

#include <map>
#include <random>
#include <string>
#include <vector>

namespace tarq::test {

/// One term built in two ways from the parts built in the same two ways.
struct TermPair {
    const Term_* raw = nullptr;
    const Term_* simplified = nullptr;
};

/// Generates over a few types of its choice, so that terms share much and meet each other's rules.
class TermGenerator {
public:
    TermGenerator(TermManager& tm, uint64_t seed) : tm_(tm), rng_(seed)
    {
        tm.set_refuse_bool_args(false);
        constexpr std::pair<size_t, size_t> FORMATS[] = {
            {2, 3}, {3, 5}, {5, 10}, {8, 23}, {11, 52}};
        for (int i = 0; i < 2; ++i) {
            formats_.push_back(FORMATS[below(std::size(FORMATS))]);
        }
        widths_ = {1 + below(below(2) ? 4 : 35)};
        // In most worlds only a few types, and of words a few operators, so that terms fit together
        // and the rules find much to do.
        switch (seed % 6) {
        case 0:
        case 1: {
            const size_t w = widths_[0];
            binary_ = {pick(binary_), pick(binary_), pick(binary_)};
            widths_ = {w, w, 2 * w};
            types_ = {tm.get_bool_type(), tm.get_bv_type(w), tm.get_bv_type(w),
                      tm.get_bv_type(2 * w)};
            return;
        }
        case 2:
            types_ = {tm.get_bool_type(), tm.get_bool_type(), tm.get_int_type(), tm.get_int_type(),
                      tm.get_real_type()};
            return;
        case 3: {
            const std::vector<const DataType*> indices = {
                tm.get_int_type(), tm.get_bv_type(2), tm.get_simple_type("U"),
                tm.get_rounding_type(), tm.get_fp_type(2, 2)};
            types_ = {tm.get_bool_type(), pick(indices), pick(indices)};
            types_.insert(types_.end(), 3, tm.get_array_type(types_[1], pick(types_)));
            return;
        }
        default:
            break;
        }
        widths_.clear();
        types_ = {tm.get_bool_type(), tm.get_int_type(), tm.get_real_type(),
                  tm.get_simple_type("U")};
        for (int i = 0; i < 3; ++i) {
            widths_.push_back(1 + below(below(2) ? 8 : 70));
        }
        for (const size_t w : widths_) {
            types_.insert(types_.end(), 3, tm.get_bv_type(w)); // so many rules are about them
        }
        for (const auto& [exp, mant] : formats_) {
            types_.push_back(tm.get_fp_type(exp, mant));
        }
        types_.push_back(tm.get_rounding_type());
        const std::vector<const DataType*> parts = types_;
        const std::vector<const DataType*> small = {tm.get_bv_type(1), tm.get_bv_type(2),
                                                    tm.get_bool_type(), tm.get_rounding_type()};
        for (int i = 0; i < 3; ++i) {
            const DataType* index = rng_() % 2 ? pick(small) : pick(parts);
            types_.push_back(tm.get_array_type(index, pick(i == 2 ? types_ : parts)));
        }
    }

    /// The next term. It may become part of later ones.
    TermPair next()
    {
        const DataType* type = pick(types_);
        const TermPair t = make(type);
        add(t);
        return t;
    }

    /// Whether the last term's parts are all small, else it must not be kept.
    void drop_last() { pool_[last_type_].pop_back(); }

private:
    using Args = std::vector<const Term_*>;
    using Make = const Term_* (*)(TermManager& tm, const Args& args);

    size_t below(size_t n) { return rng_() % n; }
    template <class T>
    T pick(const std::vector<T>& v)
    {
        return v[below(v.size())];
    }

    void add(const TermPair& t)
    {
        last_type_ = TermManager::get_type(t.raw);
        pool_[last_type_].push_back(t);
    }

    /// An existing term of the type, mostly a recent one, or a leaf.
    TermPair arg(const DataType* type)
    {
        const std::vector<TermPair>& pool = pool_[type];
        if (pool.empty() || below(4) == 0) {
            return leaf(type);
        }
        return pool[pool.size() - 1 - below(std::min<size_t>(pool.size(), below(3) ? 6 : 30))];
    }

    TermPair leaf(const DataType* type)
    {
        const Term_* t = nullptr;
        size_t width = 0, mant = 0;
        if (below(2) || type == tm_.get_simple_type("U")) {
            t = constant(type);
        } else if (type == tm_.get_bool_type()) {
            t = tm_.make_bool(below(2));
        } else if (type == tm_.get_int_type()) {
            t = tm_.make_number(QNumber(static_cast<long>(below(9)) - 4));
        } else if (type == tm_.get_real_type()) {
            // an integral one has type Int
            t = tm_.make_number(QNumber(2 * static_cast<long>(below(9)) - 7, 2));
        } else if (tm_.is_bv_type(type, &width)) {
            t = tm_.make_bv_number(bits(width), width);
        } else if (tm_.is_fp_type(type, &width, &mant)) {
            t = special_float(width, mant);
        } else if (type == tm_.get_rounding_type()) {
            t = rounding();
        } else {
            const DataType* element = nullptr;
            tm_.is_array_type(type, nullptr, &element);
            const TermPair e = arg(element);
            return {raw([&] { return tm_.make_array_const(type, e.raw); }),
                    simplified([&] { return tm_.make_array_const(type, e.simplified); })};
        }
        return {t, t};
    }

    const Term_* constant(const DataType* type)
    {
        std::string& base = names_[type];
        if (base.empty()) {
            base = "x" + std::to_string(names_.size()) + "_";
        }
        const Symbol* s = tm_.make_symbol(base + std::to_string(below(3)), type);
        return tm_.make_constant(s);
    }

    QNumber bits(size_t width)
    {
        mpz_class top(1);
        top <<= width;
        mpz_class z = static_cast<unsigned long>(rng_());
        z = (z << 64) + static_cast<unsigned long>(rng_());
        switch (below(5)) {
        case 0:
            z = static_cast<unsigned long>(below(4));
            break;
        case 1:
            z = -1;
            break;
        case 2:
            z = mpz_class(1) << below(width);
            break;
        case 3:
            z = static_cast<unsigned long>(width);
            break;
        default:
            break;
        }
        mpz_fdiv_r(z.get_mpz_t(), z.get_mpz_t(), top.get_mpz_t());
        return QNumber(z);
    }

    const Term_* special_float(size_t exp, size_t mant)
    {
        switch (below(5)) {
        case 0:
            return tm_.make_fp_nan(exp, mant);
        case 1:
            return below(2) ? tm_.make_fp_plus_inf(exp, mant) : tm_.make_fp_minus_inf(exp, mant);
        case 2:
            return tm_.make_fp_rat_number(QNumber(static_cast<long>(below(9)) - 4, 2), exp, mant,
                                          rounding());
        case 3: // a zero
            return tm_.make_fp_bits_number(
                below(2) ? QNumber(0) : QNumber(mpz_class(mpz_class(1) << (exp + mant))), exp,
                mant);
        default:
            return tm_.make_fp_bits_number(bits(exp + mant + 1), exp, mant);
        }
    }

    const Term_* rounding()
    {
        const Term_* modes[] = {tm_.make_fprounding_even(), tm_.make_fprounding_zero(),
                                tm_.make_fprounding_plus_inf(), tm_.make_fprounding_minus_inf()};
        return modes[below(4)];
    }

    template <class F>
    const Term_* raw(F make_it)
    {
        tm_.set_simplify(false);
        const Term_* t = make_it();
        tm_.set_simplify(true);
        return t;
    }
    template <class F>
    const Term_* simplified(F make_it)
    {
        return make_it();
    }

    /// An application to arguments of the given types.
    template <class F>
    TermPair apply(const std::vector<const DataType*>& types, F make_it)
    {
        Args a, b;
        for (const DataType* type : types) {
            const TermPair t = arg(type);
            a.push_back(t.raw);
            b.push_back(t.simplified);
        }
        return {raw([&] { return make_it(tm_, a); }), simplified([&] { return make_it(tm_, b); })};
    }

    /// An application of one of the families of two words of one width, and the like.
    TermPair family(SymbolTag::tag tag, const SymbolIndices& indices,
                    const std::vector<const DataType*>& types)
    {
        const Symbol* s = tm_.make_family_symbol(tag, indices);
        return apply(types, [s](TermManager& tm, const Args& a) { return tm.make_term(s, a); });
    }

    TermPair make(const DataType* type)
    {
        size_t width = 0, mant = 0;
        switch (below(12)) {
        case 0:
            return leaf(type);
        case 1: {
            const Symbol* f = function(type);
            std::vector<const DataType*> args;
            for (size_t i = 0; i < f->arity(); ++i) {
                args.push_back(f->get_arg_type(i));
            }
            return apply(args, [f](TermManager& tm, const Args& a) {
                return tm.make_uninterpreted_function(f, a);
            });
        }
        case 2:
            return apply({tm_.get_bool_type(), type, type}, [](TermManager& tm, const Args& a) {
                return tm.make_term_ite(a[0], a[1], a[2]);
            });
        case 3:
            if (const DataType* array = array_of(type)) {
                const DataType* index = nullptr;
                tm_.is_array_type(array, &index);
                return apply({array, index}, [](TermManager& tm, const Args& a) {
                    return tm.make_array_read(a[0], a[1]);
                });
            }
            break;
        default:
            break;
        }
        if (type == tm_.get_bool_type()) {
            return make_bool();
        }
        if (type == tm_.get_int_type() || type == tm_.get_real_type()) {
            return make_arith(type == tm_.get_int_type());
        }
        if (tm_.is_bv_type(type, &width)) {
            return make_bv(width);
        }
        if (tm_.is_fp_type(type, &width, &mant)) {
            return make_float(width, mant);
        }
        const DataType* index = nullptr;
        const DataType* element = nullptr;
        if (tm_.is_array_type(type, &index, &element)) {
            return apply({type, index, element}, [](TermManager& tm, const Args& a) {
                return tm.make_array_write(a[0], a[1], a[2]);
            });
        }
        return leaf(type);
    }

    const DataType* array_of(const DataType* element)
    {
        for (const DataType* t : types_) {
            const DataType* e = nullptr;
            if (tm_.is_array_type(t, nullptr, &e) && e == element) {
                return t;
            }
        }
        return nullptr;
    }

    const Symbol* function(const DataType* result)
    {
        const Symbol*& f = functions_[result];
        if (!f) {
            TypeVector args{pick(types_)};
            if (below(2)) {
                args.push_back(pick(types_));
            }
            f = tm_.make_symbol("f" + std::to_string(functions_.size()),
                                tm_.get_function_type(args, result));
        }
        return f;
    }

    TermPair make_bool()
    {
        const DataType* b = tm_.get_bool_type();
        const DataType* i = tm_.get_int_type();
        const DataType* t = pick(types_);
        const size_t width = pick(widths_);
        const DataType* bv = tm_.get_bv_type(width);
        const auto [exp, mant] = pick(formats_);
        const DataType* fp = tm_.get_fp_type(exp, mant);
        switch (below(16)) {
        case 0:
            return apply({b}, [](TermManager& tm, const Args& a) { return tm.make_not(a[0]); });
        case 1:
        case 2:
            return apply({b, b},
                         [](TermManager& tm, const Args& a) { return tm.make_and(a[0], a[1]); });
        case 3:
            return apply({b, b},
                         [](TermManager& tm, const Args& a) { return tm.make_or(a[0], a[1]); });
        case 4:
            return apply({b, b},
                         [](TermManager& tm, const Args& a) { return tm.make_iff(a[0], a[1]); });
        case 5:
        case 6:
            return apply({t, t},
                         [](TermManager& tm, const Args& a) { return tm.make_equal(a[0], a[1]); });
        case 7:
        case 8:
            return apply({bv, bv},
                         [](TermManager& tm, const Args& a) { return tm.make_equal(a[0], a[1]); });
        case 9:
            return apply({number_type(), number_type()},
                         [](TermManager& tm, const Args& a) { return tm.make_equal(a[0], a[1]); });
        case 10:
        case 11:
            return apply({number_type(), number_type()},
                         [](TermManager& tm, const Args& a) { return tm.make_leq(a[0], a[1]); });
        case 12: {
            const QNumber modulus(1 + below(6));
            return apply({i, i}, [&modulus](TermManager& tm, const Args& a) {
                return tm.make_int_modular_congruence(modulus, a[0], a[1]);
            });
        }
        case 13:
            return family(pick(std::vector{SymbolTag::BV_ULT, SymbolTag::BV_SLT, SymbolTag::BV_ULE,
                                           SymbolTag::BV_SLE}),
                          {{width}, {}}, {bv, bv});
        case 14:
            return family(pick(std::vector{SymbolTag::FP_EQ, SymbolTag::FP_LT, SymbolTag::FP_LE}),
                          {{exp, mant}, {}}, {fp, fp});
        default:
            return family(static_cast<SymbolTag::tag>(SymbolTag::FP_ISNAN + below(7)),
                          {{exp, mant}, {}}, {fp});
        }
    }

    const DataType* number_type() { return below(2) ? tm_.get_int_type() : tm_.get_real_type(); }

    /// is_int  whether the result must have type Int; else it may
    TermPair make_arith(bool is_int)
    {
        const DataType* x = is_int ? tm_.get_int_type() : number_type();
        const DataType* y = is_int ? tm_.get_int_type() : number_type();
        const DataType* real = tm_.get_real_type();
        const DataType* bv = tm_.get_bv_type(pick(widths_));
        switch (below(is_int ? 9 : 12)) {
        case 0:
        case 1:
        case 2:
            return apply({x, y},
                         [](TermManager& tm, const Args& a) { return tm.make_plus(a[0], a[1]); });
        case 3:
        case 4:
            return apply({x, y},
                         [](TermManager& tm, const Args& a) { return tm.make_times(a[0], a[1]); });
        case 5:
            return apply({number_type()},
                         [](TermManager& tm, const Args& a) { return tm.make_floor(a[0]); });
        case 6: {
            const QNumber n(static_cast<long>(below(7)) - 3);
            return apply({x}, [&n](TermManager& tm, const Args& a) {
                return tm.make_times(tm.make_number(n), a[0]);
            });
        }
        case 7:
            return apply({bv},
                         [](TermManager& tm, const Args& a) { return tm.make_int_from_ubv(a[0]); });
        case 8:
            return apply({bv},
                         [](TermManager& tm, const Args& a) { return tm.make_int_from_sbv(a[0]); });
        case 9:
            return apply({x, y},
                         [](TermManager& tm, const Args& a) { return tm.make_divide(a[0], a[1]); });
        case 10: {
            const QNumber n(static_cast<long>(below(7)) - 3);
            return apply({x}, [&n](TermManager& tm, const Args& a) {
                return tm.make_pow(a[0], tm.make_number(n));
            });
        }
        default:
            return below(2) ? apply({real}, [](TermManager& tm,
                                               const Args& a) { return tm.make_exp(a[0]); })
                            : apply({x, y}, [](TermManager& tm, const Args& a) {
                                  return tm.make_pow(a[0], a[1]);
                              });
        }
    }

    TermPair make_bv(size_t width)
    {
        const DataType* bv = tm_.get_bv_type(width);
        const auto [exp, mant] = pick(formats_);
        const DataType* fp = tm_.get_fp_type(exp, mant);
        switch (below(20)) {
        case 0:
        case 1: {
            const bool neg = below(2);
            return family(neg ? SymbolTag::BV_NEG : SymbolTag::BV_NOT, {{width}, {}}, {bv});
        }
        case 2:
        case 3:
            if (width > 1) {
                const size_t low = 1 + below(width - 1);
                return apply(
                    {tm_.get_bv_type(width - low), tm_.get_bv_type(low)},
                    [](TermManager& tm, const Args& a) { return tm.make_bv_concat(a[0], a[1]); });
            }
            break;
        case 4:
        case 5:
        case 6: {
            const size_t from = below(2) ? pick(widths_) : width + below(4);
            if (from >= width) {
                const size_t lsb = below(3) ? below(from - width + 1) : 0;
                return apply({tm_.get_bv_type(from)}, [=](TermManager& tm, const Args& a) {
                    return tm.make_bv_extract(lsb + width - 1, lsb, a[0]);
                });
            }
            break;
        }
        case 7:
        case 8: {
            const size_t amount = below(std::min<size_t>(width, 4));
            const bool zero = below(2);
            return apply({tm_.get_bv_type(width - amount)}, [=](TermManager& tm, const Args& a) {
                return zero ? tm.make_bv_zero_extend(amount, a[0])
                            : tm.make_bv_sign_extend(amount, a[0]);
            });
        }
        case 9: {
            const size_t amount = below(2 * width + 2);
            const bool left = below(2);
            return apply({bv}, [=](TermManager& tm, const Args& a) {
                return left ? tm.make_bv_rotate_left(amount, a[0])
                            : tm.make_bv_rotate_right(amount, a[0]);
            });
        }
        case 10:
            return apply({tm_.get_int_type()}, [=](TermManager& tm, const Args& a) {
                return tm.make_int_to_bv(width, a[0]);
            });
        case 11:
            return apply({tm_.get_rounding_type(), fp}, [=](TermManager& tm, const Args& a) {
                return tm.make_fp_to_bv(width, a[0], a[1]);
            });
        case 12:
            if (width == 1) {
                const size_t w = pick(widths_);
                return family(SymbolTag::BV_COMP, {{w}, {}},
                              {tm_.get_bv_type(w), tm_.get_bv_type(w)});
            }
            if (width == exp + mant + 1) {
                return family(SymbolTag::FP_AS_IEEEBV, {{exp, mant}, {}}, {fp});
            }
            break;
        default:
            break;
        }
        return family(pick(binary_), {{width}, {}}, {bv, bv});
    }

    TermPair make_float(size_t exp, size_t mant)
    {
        const DataType* fp = tm_.get_fp_type(exp, mant);
        const DataType* rm = tm_.get_rounding_type();
        const DataType* bv = tm_.get_bv_type(pick(widths_));
        const auto [from_exp, from_mant] = pick(formats_);
        switch (below(8)) {
        case 0:
            return family(below(2) ? SymbolTag::FP_NEG : SymbolTag::FP_ABS, {{exp, mant}, {}},
                          {fp});
        case 1:
            return family(below(2) ? SymbolTag::FP_MIN : SymbolTag::FP_MAX, {{exp, mant}, {}},
                          {fp, fp});
        case 2:
            return family(below(2) ? SymbolTag::FP_SQRT : SymbolTag::FP_ROUND_TO_INT,
                          {{exp, mant}, {}}, {rm, fp});
        case 3:
            return apply({rm, tm_.get_fp_type(from_exp, from_mant)},
                         [=](TermManager& tm, const Args& a) {
                             return tm.make_fp_cast(exp, mant, a[0], a[1]);
                         });
        case 4:
            return below(2) ? apply({rm, bv},
                                    [=](TermManager& tm, const Args& a) {
                                        return tm.make_fp_from_sbv(exp, mant, a[0], a[1]);
                                    })
                            : apply({rm, bv}, [=](TermManager& tm, const Args& a) {
                                  return tm.make_fp_from_ubv(exp, mant, a[0], a[1]);
                              });
        case 5:
            return apply({tm_.get_bv_type(exp + mant + 1)}, [=](TermManager& tm, const Args& a) {
                return tm.make_fp_from_ieeebv(exp, mant, a[0]);
            });
        default:
            return family(static_cast<SymbolTag::tag>(SymbolTag::FP_ADD + below(4)),
                          {{exp, mant}, {}}, {rm, fp, fp});
        }
    }

    TermManager& tm_;
    std::mt19937_64 rng_;
    std::vector<const DataType*> types_;
    std::vector<size_t> widths_;
    std::vector<SymbolTag::tag> binary_ = {
        SymbolTag::BV_AND,  SymbolTag::BV_OR,   SymbolTag::BV_XOR,  SymbolTag::BV_ADD,
        SymbolTag::BV_SUB,  SymbolTag::BV_MUL,  SymbolTag::BV_UDIV, SymbolTag::BV_SDIV,
        SymbolTag::BV_UREM, SymbolTag::BV_SREM, SymbolTag::BV_LSHL, SymbolTag::BV_LSHR,
        SymbolTag::BV_ASHR};
    std::vector<std::pair<size_t, size_t>> formats_;
    std::map<const DataType*, std::vector<TermPair>> pool_;
    std::map<const DataType*, std::string> names_;
    std::map<const DataType*, const Symbol*> functions_;
    const DataType* last_type_ = nullptr;
};

} // namespace tarq::test
