// What the tests of bit-blasting share: the operators with their arithmetic on machine words, and a
// sink over an engine.
#pragma once

#include "base/configuration.h"
#include "dpll/dpllsolver.h"
#include "terms/termmanager.h"
#include "theory/bv/clausesink.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarq::bv {

/// An operator on one or two words of at most 64 bits.
struct Operator {
    std::string name;
    std::function<const Term_*(TermManager&, const Term_*, const Term_*)> make;
    /// The value by machine arithmetic, to be cut to the width of the result.
    std::function<uint64_t(unsigned width, uint64_t a, uint64_t b)> value;
};

inline uint64_t mask(unsigned width)
{
    return width >= 64 ? ~uint64_t{0} : (uint64_t{1} << width) - 1;
}

inline int64_t to_signed(unsigned width, uint64_t a)
{
    const uint64_t sign = uint64_t{1} << (width - 1);
    return static_cast<int64_t>((a ^ sign) - sign);
}

inline uint64_t sdiv(unsigned width, uint64_t a, uint64_t b, bool remainder)
{
    const bool neg_a = to_signed(width, a) < 0;
    const bool neg_b = to_signed(width, b) < 0;
    const uint64_t x = neg_a ? -a & mask(width) : a;
    const uint64_t y = neg_b ? -b & mask(width) : b;
    const uint64_t q = y == 0 ? mask(width) : x / y;
    const uint64_t r = y == 0 ? x : x % y;
    if (remainder) {
        return neg_a ? -r : r;
    }
    return neg_a != neg_b ? -q : q;
}

/// All operators with two operands of one width, or one operand, the second being ignored.
inline std::vector<Operator> all_operators()
{
    using W = unsigned;
    using U = uint64_t;
    using TM = TermManager;
    using T = const Term_*;
    return {
        {"bvnot", [](TM& tm, T a, T) { return tm.make_bv_not(a); }, [](W, U a, U) { return ~a; }},
        {"bvneg", [](TM& tm, T a, T) { return tm.make_bv_neg(a); }, [](W, U a, U) { return -a; }},
        {"bvand", [](TM& tm, T a, T b) { return tm.make_bv_and(a, b); },
         [](W, U a, U b) { return a & b; }},
        {"bvor", [](TM& tm, T a, T b) { return tm.make_bv_or(a, b); },
         [](W, U a, U b) { return a | b; }},
        {"bvxor", [](TM& tm, T a, T b) { return tm.make_bv_xor(a, b); },
         [](W, U a, U b) { return a ^ b; }},
        {"bvadd", [](TM& tm, T a, T b) { return tm.make_bv_add(a, b); },
         [](W, U a, U b) { return a + b; }},
        {"bvsub", [](TM& tm, T a, T b) { return tm.make_bv_sub(a, b); },
         [](W, U a, U b) { return a - b; }},
        {"bvmul", [](TM& tm, T a, T b) { return tm.make_bv_mul(a, b); },
         [](W, U a, U b) { return a * b; }},
        {"bvudiv", [](TM& tm, T a, T b) { return tm.make_bv_udiv(a, b); },
         [](W w, U a, U b) { return b == 0 ? mask(w) : a / b; }},
        {"bvurem", [](TM& tm, T a, T b) { return tm.make_bv_urem(a, b); },
         [](W, U a, U b) { return b == 0 ? a : a % b; }},
        {"bvsdiv", [](TM& tm, T a, T b) { return tm.make_bv_sdiv(a, b); },
         [](W w, U a, U b) { return sdiv(w, a, b, false); }},
        {"bvsrem", [](TM& tm, T a, T b) { return tm.make_bv_srem(a, b); },
         [](W w, U a, U b) { return sdiv(w, a, b, true); }},
        {"bvshl", [](TM& tm, T a, T b) { return tm.make_bv_lshl(a, b); },
         [](W w, U a, U b) { return b >= w ? 0 : a << b; }},
        {"bvlshr", [](TM& tm, T a, T b) { return tm.make_bv_lshr(a, b); },
         [](W w, U a, U b) { return b >= w ? 0 : a >> b; }},
        {"bvashr", [](TM& tm, T a, T b) { return tm.make_bv_ashr(a, b); },
         [](W w, U a, U b) { return static_cast<U>(to_signed(w, a) >> (b >= w ? w - 1 : b)); }},
        {"bvcomp", [](TM& tm, T a, T b) { return tm.make_bv_comp(a, b); },
         [](W, U a, U b) { return U{a == b}; }},
        {"=", [](TM& tm, T a, T b) { return tm.make_equal(a, b); },
         [](W, U a, U b) { return U{a == b}; }},
        {"bvult", [](TM& tm, T a, T b) { return tm.make_bv_ult(a, b); },
         [](W, U a, U b) { return U{a < b}; }},
        {"bvule", [](TM& tm, T a, T b) { return tm.make_bv_ule(a, b); },
         [](W, U a, U b) { return U{a <= b}; }},
        {"bvslt", [](TM& tm, T a, T b) { return tm.make_bv_slt(a, b); },
         [](W w, U a, U b) { return U{to_signed(w, a) < to_signed(w, b)}; }},
        {"bvsle", [](TM& tm, T a, T b) { return tm.make_bv_sle(a, b); },
         [](W w, U a, U b) { return U{to_signed(w, a) <= to_signed(w, b)}; }},
    };
}

/// A sink over an engine, with proxies for the terms that have a variable there.
class EngineSink : public ClauseSink {
public:
    explicit EngineSink(DpllSolver* engine) : engine_(engine) {}

    BvLit new_atom() override { return BvLit::from_sat(dpll::Lit(engine_->new_var())); }
    bool get_proxy(const Term_* t, BvLit* lit) override
    {
        const int var = engine_->proxy_for_term(t);
        if (var >= 0) {
            *lit = BvLit::from_sat(dpll::Lit(var));
        }
        return var >= 0;
    }
    void add_clause() override
    {
        if (take_clause(&lits_)) {
            ++num_clauses;
            engine_->add_clause(lits_);
        }
    }

    size_t num_clauses = 0;

private:
    DpllSolver* engine_;
    std::vector<dpll::Lit> lits_;
};

} // namespace tarq::bv
