// IEEEFloat against MPFR: random and boundary operands in formats narrow and wide, in all four
// rounding modes.
//
// Usage: fuzz_ieeefloat [--count OPERATIONS_PER_FORMAT] [--seed N]
#include "terms/bvnumber.h"
#include "terms/ieeefloat.h"

#include <mpfr.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <random>

namespace {

using namespace tarq;
using Format = IEEEFloat::format;
using Mode = IEEEFloat::rounding_mode;

constexpr Format FORMATS[] = {{3, 5}, {5, 10}, {8, 23}, {11, 52}, {15, 112}, {5, 1}, {9, 37}};
constexpr Mode MODES[] = {IEEEFloat::NEAREST_EVEN, IEEEFloat::TOWARD_ZERO,
                          IEEEFloat::TOWARD_PLUS_INF, IEEEFloat::TOWARD_MINUS_INF};
constexpr mpfr_rnd_t MPFR_MODES[] = {MPFR_RNDN, MPFR_RNDZ, MPFR_RNDU, MPFR_RNDD};

long max_exponent(Format f)
{
    return (1L << (f.exponent_width - 1)) - 1;
}

/// A number of MPFR that holds the values of one format.
class Real {
public:
    explicit Real(Format f) : format_(f)
    {
        mpfr_init2(x_, static_cast<mpfr_prec_t>(f.significand_width) + 1);
    }
    ~Real() { mpfr_clear(x_); }
    Real(const Real&) = delete;
    Real& operator=(const Real&) = delete;

    mpfr_ptr get() { return x_; }

    /// The value of a packed word.
    void set_word(const mpz_class& word)
    {
        const unsigned m = static_cast<unsigned>(format_.significand_width);
        const unsigned e = static_cast<unsigned>(format_.exponent_width);
        const bool negative = mpz_tstbit(word.get_mpz_t(), m + e) != 0;
        const mpz_class magnitude = word & ((mpz_class(1) << (m + e)) - 1);
        const mpz_class field = magnitude >> m;
        mpz_class fraction = magnitude & ((mpz_class(1) << m) - 1);
        const mpz_class all_ones = (mpz_class(1) << e) - 1;
        if (field == all_ones) {
            fraction == 0 ? mpfr_set_inf(x_, negative ? -1 : 1) : mpfr_set_nan(x_);
            return;
        }
        long exponent = 1 - max_exponent(format_) - static_cast<long>(m);
        if (field != 0) {
            fraction += mpz_class(1) << m;
            exponent += field.get_si() - 1;
        }
        use_range();
        mpfr_set_z_2exp(x_, fraction.get_mpz_t(), exponent, MPFR_RNDN);
        mpfr_setsign(x_, x_, negative, MPFR_RNDN);
    }

    /// The packed word of the value, which the format can hold.
    mpz_class word() const
    {
        const unsigned m = static_cast<unsigned>(format_.significand_width);
        const unsigned e = static_cast<unsigned>(format_.exponent_width);
        mpz_class magnitude;
        if (mpfr_nan_p(x_)) {
            return (mpz_class(1) << (m + e + 1)) - (mpz_class(1) << m) + 1;
        }
        if (mpfr_inf_p(x_)) {
            magnitude = ((mpz_class(1) << e) - 1) << m;
        } else if (!mpfr_zero_p(x_)) {
            mpz_class significand;
            long exponent = mpfr_get_z_2exp(significand.get_mpz_t(), x_);
            significand = abs(significand);
            // MPFR's significand fills the precision; subnormal ones end in zeros
            const long least = 1 - max_exponent(format_) - static_cast<long>(m);
            if (exponent < least) {
                significand >>= static_cast<unsigned long>(least - exponent);
                exponent = least;
            }
            const bool is_normal = mpz_sizeinbase(significand.get_mpz_t(), 2) > m;
            magnitude = is_normal ? (mpz_class(exponent - least + 1) << m) +
                                        (significand - (mpz_class(1) << m))
                                  : significand;
        }
        return mpfr_signbit(x_) ? magnitude + (mpz_class(1) << (m + e)) : magnitude;
    }

    /// Makes MPFR's range that of the format, so that overflow and the last bits of subnormal
    /// results are MPFR's own doing.
    void use_range() const
    {
        const long emax = max_exponent(format_);
        mpfr_set_emax(emax + 1);
        mpfr_set_emin(2 - emax - static_cast<long>(format_.significand_width));
    }

    /// Runs op(result, mode), which gives MPFR's ternary value, as one rounding into the format.
    template <class Op>
    void round(mpfr_rnd_t mode, Op op)
    {
        use_range();
        // a copy of a number from a wider range is not brought into the present one by itself
        const int ternary = mpfr_check_range(x_, op(x_, mode), mode);
        mpfr_subnormalize(x_, ternary, mode);
    }

private:
    Format format_;
    mpfr_t x_;
};

class Fuzzer {
public:
    Fuzzer(Format f, unsigned long seed) : format_(f), rng_(seed), a_(f), b_(f), result_(f) {}

    bool run(long count)
    {
        for (long i = 0; i < count && ok_;) {
            i += round(MODES[rng_() % 4]);
        }
        return ok_;
    }

private:
    /// A word whose fields are near their ends in most cases.
    mpz_class random_word()
    {
        const unsigned m = static_cast<unsigned>(format_.significand_width);
        const unsigned e = static_cast<unsigned>(format_.exponent_width);
        const mpz_class ones = (mpz_class(1) << m) - 1;
        const unsigned long max = (1UL << e) - 1;
        const unsigned long fields[] = {0,
                                        0,
                                        1,
                                        2,
                                        max,
                                        max - 1,
                                        max / 2,
                                        max / 2 + rng_() % 4,
                                        (max / 2 + m) & max,
                                        rng_() & max,
                                        rng_() & max};
        mpz_class random = 0;
        for (unsigned i = 0; i < m; i += 32) {
            random = (random << 32) + static_cast<unsigned long>(rng_() & 0xffffffff);
        }
        random &= ones;
        const mpz_class fractions[] = {0,
                                       1,
                                       ones,
                                       ones - 1,
                                       mpz_class(1) << (m - 1),
                                       random,
                                       random,
                                       mpz_class(random >> (rng_() % m)),
                                       mpz_class((random << (rng_() % m)) & ones)};
        const mpz_class field = fields[rng_() % std::size(fields)];
        const mpz_class sign = static_cast<unsigned long>(rng_() % 2);
        return (sign << (m + e)) + (field << m) + fractions[rng_() % std::size(fractions)];
    }

    IEEEFloat value(const mpz_class& word, Mode mode) const
    {
        return IEEEFloat::from_bits(QNumber(word), format_, mode);
    }

    void expect(const char* name, const IEEEFloat& got, const mpz_class& wanted, Real& want)
    {
        const bool same =
            mpfr_nan_p(want.get()) ? got.is_nan() : got.get_bits().num_to_mpz() == wanted;
        if (!same) {
            std::cerr << name << " of " << x_ << " and " << y_ << " in mode "
                      << x_.get_rounding_mode() << " gives " << got << ", not " << wanted.get_str(2)
                      << '\n';
            ok_ = false;
        }
    }

    /// One operand pair through all operations. Returns how many.
    long round(Mode mode)
    {
        const mpfr_rnd_t rnd = MPFR_MODES[mode];
        const mpz_class wa = random_word();
        const mpz_class wb = random_word();
        x_ = value(wa, mode);
        y_ = value(wb, mode);
        a_.set_word(wa);
        b_.set_word(wb);
        mpfr_ptr a = a_.get();
        mpfr_ptr b = b_.get();
        result_.round(rnd, [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_add(r, a, b, k); });
        expect("+", x_ + y_, result_.word(), result_);
        result_.round(rnd, [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_sub(r, a, b, k); });
        expect("-", x_ - y_, result_.word(), result_);
        result_.round(rnd, [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_mul(r, a, b, k); });
        expect("*", x_ * y_, result_.word(), result_);
        result_.round(rnd, [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_div(r, a, b, k); });
        expect("/", x_ / y_, result_.word(), result_);
        result_.round(rnd, [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_sqrt(r, a, k); });
        IEEEFloat root = x_;
        root.sqrt();
        expect("square root", root, result_.word(), result_);
        result_.round(rnd, [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_rint(r, a, k); });
        expect("rounding", IEEEFloat::round(x_), result_.word(), result_);

        const Format other = FORMATS[rng_() % std::size(FORMATS)];
        Real converted(other);
        converted.round(rnd, [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_set(r, a, k); });
        IEEEFloat z = x_;
        z.set_format(other);
        expect("conversion", z, converted.word(), converted);

        const long num = static_cast<long>(rng_() % 2000001) - 1000000;
        const long den = static_cast<long>(rng_() % 1000000) + 1;
        mpq_class q(num, den);
        q.canonicalize();
        result_.round(rnd,
                      [&](mpfr_ptr r, mpfr_rnd_t k) { return mpfr_set_q(r, q.get_mpq_t(), k); });
        if (num != 0) { // MPFR and IEEEFloat give 0 one sign, but so does everybody
            expect("rational", IEEEFloat::from_number(QNumber(q), format_, mode), result_.word(),
                   result_);
        }
        const int order = mpfr_unordered_p(a, b) ? -2
                          : mpfr_cmp(a, b) < 0   ? -1
                          : mpfr_cmp(a, b) > 0   ? 1
                                                 : 0;
        if (IEEEFloat::ieee_cmp(x_, y_) != order) {
            std::cerr << "comparison of " << x_ << " and " << y_ << '\n';
            ok_ = false;
        }
        if (mpfr_number_p(a)) {
            mpq_class exact;
            mpfr_get_q(exact.get_mpq_t(), a);
            if (x_.to_number() != QNumber(exact)) {
                std::cerr << "value of " << x_ << '\n';
                ok_ = false;
            }
        }
        return 10;
    }

    Format format_;
    std::mt19937_64 rng_;
    Real a_, b_, result_;
    IEEEFloat x_, y_;
    bool ok_ = true;
};

} // namespace

int main(int argc, char** argv)
{
    long count = 20000;
    unsigned long seed = 1;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--count") == 0) {
            count = std::atol(argv[i + 1]);
        } else if (std::strcmp(argv[i], "--seed") == 0) {
            seed = std::strtoul(argv[i + 1], nullptr, 10);
        }
    }
    bool ok = true;
    for (const Format f : FORMATS) {
        const bool passed = Fuzzer(f, seed).run(count);
        std::printf("(%lu,%lu): %ld operations %s\n", static_cast<unsigned long>(f.exponent_width),
                    static_cast<unsigned long>(f.significand_width), count,
                    passed ? "agree" : "DIFFER");
        ok = ok && passed;
    }
    return ok ? 0 : 1;
}
