// The built-in symbols: what each of them builds, by comparison with the constructors, with values
// after folding, and with the error texts.
#include "langfixture.h"

#include "terms/bvnumber.h"

namespace tarq {
namespace {

class HandlersTest : public LangTest {
protected:
    const DataType* bv8 = tm.get_bv_type(8);
    const DataType* fp32 = tm.get_fp_type(8, 23);
    const Term_* p = constant("p", tm.get_bool_type());
    const Term_* q = constant("q", tm.get_bool_type());
    const Term_* r = constant("r", tm.get_bool_type());
    const Term_* i = constant("i", tm.get_int_type());
    const Term_* j = constant("j", tm.get_int_type());
    const Term_* k = constant("k", tm.get_int_type());
    const Term_* x = constant("x", tm.get_real_type());
    const Term_* u = constant("u", bv8);
    const Term_* v = constant("v", bv8);
    const Term_* w = constant("w", bv8);
    const Term_* f = constant("f", fp32);
    const Term_* g = constant("g", fp32);
    const Term_* h = constant("h", fp32);
    const Term_* m = constant("m", tm.get_rounding_type());
    const Term_* a = constant("a", tm.get_array_type(tm.get_int_type(), tm.get_real_type()));

    const Term_* number(int n) { return tm.make_number(n); }
    const Term_* bv(unsigned n, size_t width) { return tm.make_bv_number(n, width); }

    void same(const std::string& text, const Term_* expected)
    {
        const Term_* found = term(text);
        EXPECT_EQ(found, expected)
            << text << "\n  " << found->to_str() << "\n  " << expected->to_str();
    }

    /// Two texts of one term.
    void alike(const std::string& text, const std::string& other) { same(text, term(other)); }

    void fails(const std::string& text, const std::string& message)
    {
        EXPECT_EQ(term_error(text), message) << text;
    }
};

TEST_F(HandlersTest, connectives)
{
    same("true", tm.make_true());
    same("false", tm.make_false());
    same("(and p)", p);
    same("(and p q r)", tm.make_and(tm.make_and(p, q), r));
    same("(or p q r)", tm.make_or(tm.make_or(p, q), r));
    same("(not p)", tm.make_not(p));
    same("(= p q)", tm.make_iff(p, q));
    alike("(= p q r)", "(and (= p q) (= q r))");
    same("(=> p q)", tm.make_or(tm.make_not(p), q));
    alike("(=> p q r)", "(=> p (=> q r))");
    alike("(xor p q)", "(not (= p q))");
    alike("(xor p q r)", "(xor (xor p q) r)");
    alike("(nand p q)", "(not (and p q))");
    alike("(ite p q r)", "(and (or (not p) q) (or p r))");
    alike("(distinct p q r)", "(and (and (not (= p q)) (not (= p r))) (not (= q r)))");
    alike("(distinct i j k)", "(and (and (not (= i j)) (not (= i k))) (not (= j k)))");
    fails("(distinct i)", "unknown symbol: distinct");
    fails("(not p q)", "ERROR: not takes exactly 1 arguments (2 given)");
    fails("(= p)", "ERROR: = takes at least 2 arguments (1 given)");
    fails("(=> p)", "ERROR: => takes at least 2 arguments (1 given)");
    fails("(nand p q r)", "ERROR: nand takes exactly 2 arguments (3 given)");
    fails("(ite p q)", "ERROR: ite takes exactly 3 arguments (2 given)");
    fails("(and i)", "type error. term i has type Int, but Bool was expected. (and)");
    fails("(and p i)", "type error. term i has type Int, but Bool was expected. (make_and)");
    EXPECT_EQ(term_error("(= p i)").substr(0, 11), "type error.");
    EXPECT_NE(term_error("(= i p)"), "no error");
    EXPECT_NE(term_error("(ite p i q)"), "no error");
    fails("(implies p q)", "unknown symbol: implies");
    fails("(iff p q)", "unknown symbol: iff");
}

TEST_F(HandlersTest, arithmetic)
{
    same("(+ i j k)", tm.make_plus(tm.make_plus(i, j), k));
    same("(* i j k)", tm.make_times(tm.make_times(i, j), k));
    same("(/ i j x)", tm.make_divide(tm.make_divide(i, j), x));
    same("(- 5)", number(-5));
    same("(- 1.5)", tm.make_number(QNumber(-3, 2)));
    same("(~ 5)", number(-5));
    same("(- i)", tm.make_times(number(-1), i));
    alike("(- i j k)", "(+ (+ i (- j)) (- k))");
    same("(<= i j)", tm.make_leq(i, j));
    same("(>= i j)", tm.make_leq(j, i));
    same("(< i j)", tm.make_not(tm.make_leq(j, i)));
    same("(> i j)", tm.make_not(tm.make_leq(i, j)));
    alike("(< i j k)", "(and (< i j) (< j k))");
    alike("(>= i j k)", "(and (>= i j) (>= j k))");
    same("(= i x)", tm.make_equal(i, x));
    same("(to_int x)", tm.make_floor(x));
    same("(to_real i)", i);
    same("(is_int x)", tm.make_equal(x, tm.make_floor(x)));
    same("((_ divisible 3) i)", tm.make_int_modular_congruence(3, i, number(0)));
    same("(abs i)", tm.make_term_ite(tm.make_leq(number(0), i), i, term("(- i)")));
    same("(ite p i x)", tm.make_term_ite(p, i, x));
    same("(exp x)", tm.make_exp(x));
    same("(sin x)", tm.make_sin(x));
    same("(log x)", tm.make_log(x));
    same("(asin x)", tm.make_asin(x));
    same("(pow x i)", tm.make_pow(x, i));
    same("pi", tm.make_pi());
    same("1.50", tm.make_number(QNumber(3, 2)));
    same("2.0", number(2));
    fails("(- #x05)", "type error. term 5_8 has type <BitVec, 8>, but Real was expected. "
                      "(make_times)");
    fails("(to_real p)", "type error. term p has type Bool, but Real was expected. (to_real)");
    fails("(+ i)", "ERROR: + takes at least 2 arguments (1 given)");
    fails("((_ divisible 3 4) i)", "ERROR: divisible takes exactly 1 index arguments (2 given)");
    fails("(div x i)", "type error. term x has type Real, but Int was expected. (div)");
    fails("(mod i x)", "type error. term x has type Real, but Int was expected. (mod)");
    fails("1e5", "unknown symbol: 1e5");
    EXPECT_NE(term_error("1.0e99999999999"), "no error");
}

/// The quotient and remainder that SMT-LIB asks for: n = d * q + r with 0 <= r < |d|.
void euclid(int n, int d, int* q, int* r)
{
    *r = ((n % d) + (d < 0 ? -d : d)) % (d < 0 ? -d : d);
    *q = (n - *r) / d;
}

TEST_F(HandlersTest, integer_division_leaves_a_remainder_that_is_not_negative)
{
    const std::string defs = "(define-fun d ((n Int) (m Int)) Int (div n m))"
                             "(define-fun r ((n Int) (m Int)) Int (mod n m))";
    const auto text = [](int n) {
        return n < 0 ? "(- " + std::to_string(-n) + ")" : std::to_string(n);
    };
    tm.remove_symbol("r");
    fold_constants();
    for (int n = -7; n <= 7; ++n) {
        for (int d = -4; d <= 4; ++d) {
            if (d == 0) {
                continue;
            }
            int quotient;
            int remainder;
            euclid(n, d, &quotient, &remainder);
            const std::string args = " " + text(n) + " " + text(d) + ")";
            EXPECT_EQ(term("(div" + args), number(quotient)) << args;
            EXPECT_EQ(term("(mod" + args), number(remainder)) << args;
            EXPECT_EQ(term("(d" + args, defs), number(quotient)) << args;
            EXPECT_EQ(term("(r" + args, defs), number(remainder)) << args;
        }
    }
    same("(div 17 5 (- 2))", number(-1));
}

TEST_F(HandlersTest, division_by_zero_is_free_and_the_same_for_equal_dividends)
{
    same("(div i 0)", term("(div i 0)"));
    const Term_* div0 = term("(div i 0)");
    const Term_* mod0 = term("(mod i 0)");
    EXPECT_TRUE(tm.is_uninterpreted_function(div0));
    EXPECT_TRUE(tm.is_uninterpreted_function(mod0));
    EXPECT_NE(div0->get_symbol(), mod0->get_symbol());
    EXPECT_EQ(div0->child(0), i);
    const Term_* guarded = term("(mod i j)");
    ASSERT_TRUE(tm.is_term_ite(guarded));
    EXPECT_EQ(guarded->child(0), tm.make_equal(j, number(0)));
    EXPECT_EQ(guarded->child(1), mod0);

    SmtLibTermParser parser(&tm, false);
    parser.set_div_by_zero_mode(0);
    const Term_* zero = number(0);
    const Term_* args[] = {i, zero};
    EXPECT_EQ(parser.make_term("div", nullptr, {}, args), tm.make_floor(tm.make_divide(i, zero)));
    const Term_* open[] = {i, j};
    const Term_* minus_j = tm.make_times(number(-1), j);
    const Term_* negative = tm.make_times(number(-1), tm.make_floor(tm.make_divide(i, minus_j)));
    EXPECT_EQ(
        parser.make_term("div", nullptr, {}, open),
        tm.make_term_ite(tm.make_leq(zero, j), tm.make_floor(tm.make_divide(i, j)), negative));
}

TEST_F(HandlersTest, arrays)
{
    same("(select a i)", tm.make_array_read(a, i));
    same("(store a i 2.5)", tm.make_array_write(a, i, tm.make_number(QNumber(5, 2))));
    same("((as const (Array Int Real)) 1)",
         tm.make_array_const(TermManager::get_type(a), number(1)));
    fails("(const 1)", "unqualified const identifier, please use (as const sort)");
    fails("((as const Int) 1)", "qualifier for const identifier must be an Array sort");
    fails("(select a)", "ERROR: select takes exactly 2 arguments (1 given)");
    fails("(store a i)", "ERROR: store takes exactly 3 arguments (2 given)");
}

TEST_F(HandlersTest, bit_vector_operations)
{
    const std::pair<const char*, const Term_* (TermManager::*)(const Term_*, const Term_*)>
        binary[] = {
            {"bvand", &TermManager::make_bv_and},     {"bvor", &TermManager::make_bv_or},
            {"bvxor", &TermManager::make_bv_xor},     {"bvadd", &TermManager::make_bv_add},
            {"bvsub", &TermManager::make_bv_sub},     {"bvmul", &TermManager::make_bv_mul},
            {"bvudiv", &TermManager::make_bv_udiv},   {"bvurem", &TermManager::make_bv_urem},
            {"bvsdiv", &TermManager::make_bv_sdiv},   {"bvsrem", &TermManager::make_bv_srem},
            {"bvshl", &TermManager::make_bv_lshl},    {"bvlshr", &TermManager::make_bv_lshr},
            {"bvashr", &TermManager::make_bv_ashr},   {"bvcomp", &TermManager::make_bv_comp},
            {"bvult", &TermManager::make_bv_ult},     {"bvule", &TermManager::make_bv_ule},
            {"bvslt", &TermManager::make_bv_slt},     {"bvsle", &TermManager::make_bv_sle},
            {"concat", &TermManager::make_bv_concat},
        };
    for (const auto& [name, make] : binary) {
        same("(" + std::string(name) + " u v)", (tm.*make)(u, v));
        EXPECT_NE(term_error("(" + std::string(name) + " u i)"), "no error") << name;
    }
    for (const char* name : {"bvand", "bvor", "bvxor", "bvadd", "bvmul", "bvudiv", "bvurem",
                             "bvshl", "bvlshr", "bvxnor", "concat"}) {
        const std::string n = name;
        alike("(" + n + " u v w)", "(" + n + " (" + n + " u v) w)");
    }
    for (const char* name : {"bvsub", "bvsdiv", "bvsrem", "bvsmod", "bvashr", "bvcomp", "bvult",
                             "bvsge", "bvnand", "bvnor"}) {
        fails("(" + std::string(name) + " u v w)",
              "ERROR: " + std::string(name) + " takes exactly 2 arguments (3 given)");
    }
    same("(bvnot u)", tm.make_bv_not(u));
    same("(bvneg u)", tm.make_bv_neg(u));
    same("(bvand u)", u);
    alike("(bvnand u v)", "(bvnot (bvand u v))");
    alike("(bvnor u v)", "(bvnot (bvor u v))");
    alike("(bvxnor u v)", "(bvnot (bvxor u v))");
    alike("(bvugt u v)", "(bvult v u)");
    alike("(bvuge u v)", "(bvule v u)");
    alike("(bvsgt u v)", "(bvslt v u)");
    alike("(bvsge u v)", "(bvsle v u)");
    alike("(bvredor u)", "(bvnot (bvcomp u #x00))");
    alike("(bvredand u)", "(bvcomp u (bvnot #x00))");
    fails("(bvor i)", "type error. term i is not a bit-vector");
    fails("(bvsmod i u)", "type error. term i is not a bit-vector");
    fails("(bvredor i)", "type error. term i is not a bit-vector");
    EXPECT_NE(term_error("(bvsmod u #b1)"), "no error");

    same("((_ extract 5 2) u)", tm.make_bv_extract(5, 2, u));
    same("((_ zero_extend 3) u)", tm.make_bv_zero_extend(3, u));
    same("((_ sign_extend 3) u)", tm.make_bv_sign_extend(3, u));
    same("((_ rotate_left 3) u)", tm.make_bv_rotate_left(3, u));
    same("((_ rotate_right 3) u)", tm.make_bv_rotate_right(3, u));
    alike("((_ repeat 3) u)", "(concat (concat u u) u)");
    same("((_ repeat 1) u)", u);
    same("((_ to_bv 8) i)", tm.make_int_to_bv(8, i));
    same("(ubv_to_int u)", tm.make_int_from_ubv(u));
    same("(sbv_to_int u)", tm.make_int_from_sbv(u));
    fails("((_ extract 5) u)", "ERROR: extract takes exactly 2 index arguments (1 given)");
    fails("((_ extract 5 4) u v)", "ERROR: extract takes exactly 1 arguments (2 given)");
    fails("((_ extract 3000000000 4) u)",
          "ERROR: 0-th index value of extract must be a native integer (3000000000 given)");
    fails("((_ repeat 2147483647) u)", "ERROR: repeat takes at most 262144 copies (2147483647 "
                                       "given)");
    EXPECT_NE(term_error("((_ extract 8 2) u)"), "no error");
    EXPECT_NE(term_error("((_ extract 2 5) u)"), "no error");
    EXPECT_NE(term_error("((_ zero_extend 2) i)"), "no error");
    // indices of nested heads do not mix
    alike("((_ extract 3 1) ((_ extract 7 2) ((_ rotate_left 1) u)))",
          "(let ((a1 ((_ rotate_left 1) u))) (let ((a2 ((_ extract 7 2) a1))) ((_ extract 3 1) "
          "a2)))");
}

TEST_F(HandlersTest, bit_vector_literals)
{
    same("#b0101", bv(5, 4));
    same("#xaF", bv(175, 8));
    same("(_ bv5 8)", bv(5, 8));
    same("bit1", bv(1, 1));
    same("bit0", bv(0, 1));
    EXPECT_EQ(term("#x" + std::string(5000, 'f'))->get_symbol(),
              tm.make_bv_number(BVNumber::pow2(20000) - 1, 20000)->get_symbol());
    for (const char* name : {"bv", "bv5x", "b5", "bvx"}) {
        fails("(_ " + std::string(name) + " 8)", "unknown indexed symbol: " + std::string(name));
    }
    fails("(_ bv5 0)", "unknown indexed symbol: bv5");
    fails("(_ bv5 8 8)", "unknown indexed symbol: bv5");
    fails("(_ bv5 99999999999)", "unknown indexed symbol: bv5");
    fails("((_ bv5 8) u)", "unknown indexed symbol: bv5");
    fails("(_ bv256 8)", "the number 256 doesn't fit in 8 bits");

    SmtLibTermParser parser(&tm, false);
    const auto error = [](auto&& call) -> std::string {
        try {
            call();
        } catch (const ParserInterface::error& e) {
            return e.get_msg();
        }
        return "no error";
    };
    EXPECT_EQ(error([&] { parser.make_number_term("10", 16); }),
              "only base-10 numbers implemented");
    EXPECT_EQ(error([&] { parser.make_number_term("12", 8, 2); }),
              "bad value for number in base 2: 12");
    EXPECT_EQ(error([&] { parser.make_number_term("-1", 8, 16); }),
              "bad value for number in base 16: -1");
    EXPECT_EQ(error([&] { parser.make_number_term("7", 8, 8); }), "unsupported base for number: 8");
    EXPECT_EQ(error([&] { parser.pop_bound_variables(1); }),
              "pop_bound_variables: not enough variables to pop");
    EXPECT_EQ(error([&] { parser.pop_let_namespace(false); }), "parse error");
    EXPECT_EQ(error([&] { parser.define_let_binding("l", i, false); }), "parse error");
}

TEST_F(HandlersTest, bvsmod_has_the_sign_of_the_divisor_on_all_words_of_four_bits)
{
    fold_constants();
    const auto as_signed = [](int n) { return n >= 8 ? n - 16 : n; };
    for (int n = 0; n < 16; ++n) {
        for (int d = 1; d < 16; ++d) {
            const int sd = as_signed(d);
            int expected = as_signed(n) % sd;
            expected += expected != 0 && (expected < 0) != (sd < 0) ? sd : 0;
            same("(bvsmod (_ bv" + std::to_string(n) + " 4) (_ bv" + std::to_string(d) + " 4))",
                 bv(static_cast<unsigned>(expected) & 15, 4));
        }
    }
}

TEST_F(HandlersTest, floating_point_operations)
{
    const Term_* even = tm.make_fprounding_even();
    same("(fp.add m f g)", tm.make_fp_add(m, f, g));
    same("(fp.sub RNE f g)", tm.make_fp_sub(even, f, g));
    same("(fp.mul RTZ f g)", tm.make_fp_mul(tm.make_fprounding_zero(), f, g));
    same("(fp.div RTP f g)", tm.make_fp_div(tm.make_fprounding_plus_inf(), f, g));
    same("(fp.sqrt RTN f)", tm.make_fp_sqrt(tm.make_fprounding_minus_inf(), f));
    same("(fp.roundToIntegral m f)", tm.make_fp_round_to_int(m, f));
    for (const auto& [name, other] :
         {std::pair("roundNearestTiesToEven", "RNE"), std::pair("roundTowardZero", "RTZ"),
          std::pair("roundTowardPositive", "RTP"), std::pair("roundTowardNegative", "RTN")}) {
        alike(name, other);
    }
    same("(fp.min f g)", tm.make_fp_min(f, g));
    same("(fp.max f g)", tm.make_fp_max(f, g));
    const std::pair<const char*, const Term_* (TermManager::*)(const Term_*)> unary[] = {
        {"fp.neg", &TermManager::make_fp_neg},
        {"fp.abs", &TermManager::make_fp_abs},
        {"fp.isNaN", &TermManager::make_fp_isnan},
        {"fp.isInfinite", &TermManager::make_fp_isinf},
        {"fp.isZero", &TermManager::make_fp_iszero},
        {"fp.isSubnormal", &TermManager::make_fp_issubnormal},
        {"fp.isNormal", &TermManager::make_fp_isnormal},
        {"fp.isPositive", &TermManager::make_fp_ispos},
        {"fp.isNegative", &TermManager::make_fp_isneg},
    };
    for (const auto& [name, make] : unary) {
        same("(" + std::string(name) + " f)", (tm.*make)(f));
        fails("(" + std::string(name) + " f g)",
              "ERROR: " + std::string(name) + " takes exactly 1 arguments (2 given)");
    }
    same("(fp.eq f g)", tm.make_fp_equal(f, g));
    same("(fp.lt f g)", tm.make_fp_lt(f, g));
    same("(fp.leq f g)", tm.make_fp_le(f, g));
    same("(fp.gt f g)", tm.make_fp_lt(g, f));
    same("(fp.geq f g)", tm.make_fp_le(g, f));
    for (const char* name : {"fp.eq", "fp.lt", "fp.leq", "fp.gt", "fp.geq"}) {
        const std::string n = name;
        alike("(" + n + " f g h)", "(and (" + n + " f g) (" + n + " g h))");
    }
    fails("(fp.add f g)", "ERROR: fp.add takes exactly 3 arguments (2 given)");
    EXPECT_NE(term_error("(fp.add f f g)"), "no error");
}

TEST_F(HandlersTest, floating_point_values_and_conversions)
{
    const Term_* even = tm.make_fprounding_even();
    same("(fp #b0 #b10000010 #b01000000000000000000000)", tm.make_fp_rat_number(10, 8, 23, even));
    same("(fp #b1 #b01 #b00)", tm.make_fp_bits_number(20, 2, 2));
    same("(fp #b1 u #b00)",
         tm.make_fp_from_ieeebv(8, 2, tm.make_bv_concat(tm.make_bv_concat(bv(1, 1), u), bv(0, 2))));
    same("(_ NaN 8 24)", tm.make_fp_nan(8, 23));
    same("(_ +oo 8 24)", tm.make_fp_plus_inf(8, 23));
    same("(_ -oo 8 24)", tm.make_fp_minus_inf(8, 23));
    same("(_ +zero 8 24)", tm.make_fp_bits_number(0, 8, 23));
    same("(_ -zero 8 24)", tm.make_fp_bits_number(QNumber(1L << 31), 8, 23));
    same("((_ to_fp 8 24) RNE 0.1)", tm.make_fp_rat_number(QNumber(1, 10), 8, 23, even));
    alike("((_ to_fp 8 24) RNE (/ 1 10))", "((_ to_fp 8 24) RNE 0.1)");
    alike("((_ to_fp 8 24) RNE (/ (- 1) 10))", "((_ to_fp 8 24) RNE (- 0.1))");
    const auto rounded = [this](const Term_* mode) {
        return tm.make_fp_rat_number(QNumber(1, 10), 8, 23, mode);
    };
    const Term_* inner = tm.make_term_ite(tm.make_equal(m, tm.make_fprounding_plus_inf()),
                                          rounded(tm.make_fprounding_plus_inf()),
                                          rounded(tm.make_fprounding_minus_inf()));
    const Term_* middle = tm.make_term_ite(tm.make_equal(m, tm.make_fprounding_zero()),
                                           rounded(tm.make_fprounding_zero()), inner);
    same("((_ to_fp 8 24) m 0.1)", tm.make_term_ite(tm.make_equal(m, even), rounded(even), middle));
    same("((_ to_fp 3 5) u)", tm.make_fp_from_ieeebv(3, 4, u));
    same("((_ to_fp 11 53) m f)", tm.make_fp_cast(11, 52, m, f));
    same("((_ to_fp 8 24) m u)", tm.make_fp_from_sbv(8, 23, m, u));
    same("((_ to_fp_unsigned 8 24) m u)", tm.make_fp_from_ubv(8, 23, m, u));
    same("((_ fp.to_sbv 9) m f)", tm.make_fp_to_bv(9, m, f));
    const Term_* wider = tm.make_fp_to_bv(10, m, f);
    const Term_* open = tm.make_fp_to_bv(10, m, tm.make_fp_minus_inf(8, 23));
    const Term_* is_negative =
        tm.make_equal(tm.make_bv_extract(9, 9, wider), tm.make_bv_number(1, 1));
    same("((_ fp.to_ubv 9) m f)", tm.make_term_ite(is_negative, tm.make_bv_extract(8, 0, open),
                                                   tm.make_bv_extract(8, 0, wider)));

    fails("((_ +zero 8 24) x)", "ERROR: +zero takes exactly 0 arguments (1 given)");
    fails("(_ NaN 8)", "ERROR: NaN takes exactly 2 index arguments (1 given)");
    fails("(_ NaN 2000000000 24)",
          "ERROR: NaN takes widths of at most 1048576 bits (2000000000 and 24 given)");
    EXPECT_EQ(term_error("(_ NaN 8 0)").substr(0, 9), "too small");
    fails("(fp #b0 i #b0)", "ERROR: fp argument 2 must be a bit-vector term (i given)");
    fails("(fp #b00 #b00 #b0)", "ERROR: fp argument 1 must have width 1");
    fails("((_ to_fp 8 24) m x)", "ERROR: fprat argument 2 must be a positive rational literal (x "
                                  "given)");
    fails("((_ to_fp 8 24) m p)", "wrong arguments for to_fp");
    fails("((_ to_fp 8 24) f f)", "wrong arguments for to_fp");
    fails("((_ to_fp 8 24) f)", "wrong arguments for to_fp");
    fails("((_ fp.to_ubv 0) m f)", "ERROR: fp.to_ubv needs a positive width");
}

TEST_F(HandlersTest, older_dialect_has_its_own_symbols)
{
    SmtLibTermParser parser(&tm, true);
    const auto build = [&](const char* name, std::vector<const Term_*> args) {
        return parser.make_term(name, nullptr, {}, args);
    };
    EXPECT_EQ(build("implies", {p, q}), term("(=> p q)"));
    EXPECT_EQ(build("iff", {p, q}), tm.make_iff(p, q));
    EXPECT_EQ(build("if_then_else", {p, q, r}), term("(ite p q r)"));
    EXPECT_EQ(build("ite", {p, i, j}), tm.make_term_ite(p, i, j));
    EXPECT_EQ(build("=", {i, j, k}), term("(= i j k)"));
    EXPECT_EQ(build("-", {i, j}), term("(- i j)"));
    EXPECT_EQ(build("IsInt", {x}), term("(is_int x)"));
    EXPECT_EQ(build("exists", {tm.make_fresh_variable(tm.get_int_type()), p})->child(1), p);
    EXPECT_THROW(build("=", {p, q}), TermManager::error);
    EXPECT_THROW(build("-", {i}), ParserInterface::error);
    for (const char* name : {"=>", "abs", "div", "mod"}) {
        EXPECT_FALSE(parser.is_builtin(name));
    }
}

} // namespace
} // namespace tarq
