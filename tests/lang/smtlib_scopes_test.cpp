// What a name means: lets, quantifiers, definitions, declarations, and what takes precedence.
#include "langfixture.h"

namespace tarq {
namespace {

class ScopesTest : public LangTest {};

TEST_F(ScopesTest, bindings_of_one_let_do_not_see_each_other)
{
    EXPECT_EQ(term("(let ((x 1)) (let ((x 2) (y x)) y))"), tm.make_number(1));
    EXPECT_EQ(term("(let ((x 1)) (let ((x 2)) x))"), tm.make_number(2));
    EXPECT_EQ(term("(let ((x 1)) (+ (let ((x 2)) x) x))")->to_str(), "(`+_int` 2 1)");
    EXPECT_EQ(term("(let ((x 1) (y (let ((x 5) (z 6)) (+ x z)))) (+ x y))")->to_str(),
              "(`+_int` 1 (`+_int` 5 6))");
    EXPECT_EQ(term_error("(let ((x 1) (y x)) y)"), "unknown symbol: x");
    EXPECT_EQ(term_error("(let ((x 1) (x 2)) x)"), "symbol `x' already defined");
    EXPECT_EQ(term_error("(let ((x 1)) (x 2))"), "wrong number of arguments for symbol `x'");
    EXPECT_EQ(term_error("(+ (let ((x 1)) x) x)"), "unknown symbol: x");
}

TEST_F(ScopesTest, lets_hide_no_declared_or_defined_name)
{
    EXPECT_EQ(term_error("(let ((x 1)) x)", "(declare-fun x () Int)"),
              "symbol `x' already defined");
    EXPECT_EQ(term_error("(let ((f 1)) f)", "(define-fun f () Int 2)"),
              "symbol `f' already defined");
    EXPECT_EQ(term("(let ((and 1)) and)"), tm.make_number(1));
}

TEST_F(ScopesTest, innermost_binding_wins_whatever_its_kind)
{
    const auto body = [this](const std::string& text, const std::string& declarations = "") {
        const Term_* t = term(text, declarations);
        while (tm.is_quantifier(t)) {
            t = t->child(1);
        }
        return t->to_str();
    };
    EXPECT_EQ(body("(let ((x 1)) (exists ((x Int)) (= x 2)))"), "(`=_int` 'x 2)");
    EXPECT_EQ(body("(exists ((x Int)) (let ((x 1)) (= x 2)))"), "(`=_int` 1 2)");
    EXPECT_EQ(body("(exists ((y Int)) (= y 2))", "(define-fun y () Int 7)"), "(`=_int` 'y 2)");
    EXPECT_EQ(body("(exists ((z Int)) (= z 2))", "(declare-fun z () Int)"), "(`=_int` 'z 2)");
    EXPECT_EQ(body("(exists ((w Int)) (forall ((w Real)) (= w 2)))"), "(`=_rat` 'w_0 2)");
    EXPECT_EQ(
        term("(f 3)", "(define-fun y2 () Int 7)(define-fun f ((y2 Int)) Int (+ y2 1))")->to_str(),
        "(`+_int` 3 1)");
    EXPECT_EQ(term_error("(exists ((g Int)) (= (g 1) 2))", "(declare-fun g (Int) Int)"),
              "wrong number of arguments for symbol `g'");
}

TEST_F(ScopesTest, one_quantifier_binds_one_variable)
{
    const Term_* t = term("(forall ((x Int) (y Bool)) (=> y (< x 3)))");
    ASSERT_TRUE(tm.is_forall(t) && tm.is_forall(t->child(1)));
    EXPECT_EQ(t->child(0)->to_str(), "'x");
    EXPECT_EQ(t->child(1)->child(0)->to_str(), "'y");
    EXPECT_TRUE(tm.is_exists(term("(exists ((x Real)) (< x 3))")));
    EXPECT_EQ(term_error("(forall ((x Int)) x)").substr(0, 11), "type error.");
    EXPECT_EQ(term_error("(and (forall ((x Int)) (< x 3)) x)"), "unknown symbol: x");
}

TEST_F(ScopesTest, definitions_with_one_body_keep_their_own_parameters)
{
    const std::string defs = "(define-fun le ((x Int)(y Int)) Bool (<= x y))"
                             "(define-fun ge ((x Int)(y Int)) Bool (>= x y))"
                             "(define-fun z ((x Int)) Int 0)"
                             "(define-fun v ((b Bool)) Bool b)";
    EXPECT_EQ(term("(le 1 2)", defs)->to_str(), "(`<=_int` 1 2)");
    EXPECT_EQ(term("(ge 1 2)", defs)->to_str(), "(`<=_int` 2 1)");
    EXPECT_EQ(term("(let ((y 0)) y)", defs), tm.make_number(0));
    EXPECT_EQ(term("(z 5)", defs), tm.make_number(0));
    EXPECT_EQ(term("(v (v (le 3 4)))", defs)->to_str(), "(`<=_int` 3 4)");
}

TEST_F(ScopesTest, definitions_expand_to_their_body_with_the_arguments)
{
    const std::string f = "(define-fun f ((a Int)) Int (+ a 1))";
    EXPECT_EQ(term("(f (f 2))", f)->to_str(), "(`+_int` (`+_int` 2 1) 1)");
    EXPECT_EQ(term_error("(f 2 3)", f), "Incompatible arguments to substitute");
    EXPECT_EQ(term_error("f", f), "Incompatible arguments to substitute");
    EXPECT_EQ(term_error("(f true)", f),
              "type error. term `true` has type Bool, but Int was expected. (f)");
    EXPECT_EQ(term("(+ c d)", "(define-const d Int 4)(define-fun c () Int (* d d))")->to_str(),
              "(`+_int` (`*_int` 4 4) 4)");
}

TEST_F(ScopesTest, real_parameters_take_integers)
{
    EXPECT_EQ(term("(g 3)", "(define-fun g ((p Real)) Real (* p p))")->to_str(), "(`*_rat` 3 3)");
    EXPECT_EQ(term_error("(h 1.5)", "(define-fun h ((p Int)) Int p)"),
              "type error. term 3/2 has type Real, but Int was expected. (h)");
}

TEST_F(ScopesTest, requested_sorts_admit_subtypes_only)
{
    EXPECT_EQ(term("(as x Real)", "(declare-fun x () Int)")->to_str(), "x");
    EXPECT_EQ(term_error("(as y Int)", "(declare-fun y () Real)"),
              "bad type requested for symbol `y'");
    EXPECT_EQ(term_error("((as + Bool) 1 2)"), "bad type requested for symbol `+'");
    EXPECT_EQ(term_error("(let ((z true)) (as z Int))"), "bad type requested for symbol `z'");
    EXPECT_EQ(term_error("(as (_ bv1 8) (_ BitVec 9))"), "bad type requested for symbol `bv1'");
}

TEST_F(ScopesTest, declared_symbols_are_applied_by_arity)
{
    const std::string f = "(declare-fun f (Int Real) Int)(declare-fun c () Int)";
    EXPECT_EQ(term("(f c (f 1 2.5))", f)->to_str(), "(f c (f 1 5/2))");
    EXPECT_EQ(term_error("f", f), "symbol `f' has non-zero arity");
    EXPECT_EQ(term_error("(f 1)", f), "wrong arity for symbol f. expected 2, got 1");
    EXPECT_EQ(term_error("and"), "unknown symbol: and");
    EXPECT_EQ(term_error("(nope 1)"), "unknown symbol: nope");
    EXPECT_EQ(term_error("((_ nope 1) 1)"), "unknown indexed symbol: nope");
    EXPECT_EQ(term_error("((_ bvadd 1) #b1 #b1)"), "unknown indexed symbol: bvadd");
    EXPECT_EQ(term_error("(extract #b1)"), "unknown symbol: extract");
}

TEST_F(ScopesTest, clients_can_take_names_back)
{
    RecordingParser parser(&tm);
    parser.run("(define-fun f ((x Int)) Int x)(declare-sort S 1)(declare-fun k () Int)");
    parser.term_parser().remove_binding("f");
    parser.remove_sort("S");
    tm.remove_symbol("k");
    parser.run("(declare-fun c () (S Int))(declare-fun c () S)(declare-fun f (Real) Real)"
               "(define-sort S (A) (Array A A))(declare-fun k () Bool)"
               "(declare-fun d () (S Int))(assert (or k (= (f 0.5) (select d 1))))"
               "(declare-sort S 1)");
    EXPECT_EQ(parser.log, (std::vector<std::string>{
                              "error 1 sort S is not parametric", "error 1 undeclared sort S",
                              "assert (`or` k (`=_rat` (f 1/2) (`read_int_int` d 1)))",
                              "error 1 sort `S' is already defined"}));
}

TEST_F(ScopesTest, clients_can_let_declarations_hide_predefined_constants)
{
    RecordingParser parser(&tm);
    EXPECT_TRUE(parser.term_parser().is_predefined("pi"));
    parser.term_parser().hide_predefined("pi");
    EXPECT_FALSE(parser.term_parser().is_predefined("pi"));
    parser.run("(declare-fun pi () Int)(.internal-parse-terms (pi))");
    tm.remove_symbol("pi");
    parser.term_parser().restore_predefined("pi");
    parser.run("(.internal-parse-terms (pi))");
    EXPECT_EQ(parser.log, (std::vector<std::string>{"terms [pi]", "terms [`pi`]"}));
}

TEST_F(ScopesTest, sorts_are_built_from_names_indices_and_parameters)
{
    const auto sort = [this](const std::string& text, const std::string& declarations = "") {
        TermManager manager;
        std::istringstream in(declarations + "(declare-fun x () " + text + ")(assert (= x x))");
        SmtLib2Parser parser(&manager, false);
        try {
            return TermManager::get_type(parser.parse(in)->child(0))->to_str();
        } catch (const Exception& e) {
            return e.get_msg();
        }
    };
    EXPECT_EQ(sort("Float32"), sort("(_ FloatingPoint 8 24)"));
    EXPECT_EQ(sort("Float16"), sort("(_ FloatingPoint 5 11)"));
    EXPECT_EQ(sort("Float64"), sort("(_ FloatingPoint 11 53)"));
    EXPECT_EQ(sort("Float128"), sort("(_ FloatingPoint 15 113)"));
    EXPECT_EQ(sort("RoundingMode"), "FPRounding");
    EXPECT_EQ(sort("(_ BitVec 8)"), "<BitVec, 8>");
    EXPECT_EQ(sort("(Array Int (Array Real U))", "(declare-sort U 0)"),
              "<Array, Int, <Array, Real, U>>");
    EXPECT_EQ(sort("U", "(declare-sort U 0)(declare-sort U 0)"), "U");
    EXPECT_EQ(sort("(P Int (P Real U))", "(declare-sort U 0)(declare-sort P 2)"),
              "<P, Int, <P, Real, U>>");
    EXPECT_EQ(sort("B", "(define-sort B () (_ BitVec 4))"), "<BitVec, 4>");
    // the parameter hides a sort of its name, and nests in another definition's
    EXPECT_EQ(sort("(Q Int U)", "(declare-sort U 0)(define-sort P (U V) (Array V U))"
                                "(define-sort Q (V U) (Array (P U V) V))"),
              "<Array, <Array, Int, U>, Int>");
    EXPECT_EQ(sort("U", "(declare-sort U 0)(define-sort P (U) (Array U U))"), "U");
    EXPECT_EQ(sort("(P Int)", "(define-sort P (X) Real)"), "Real");

    const std::string where = " (line: 1)";
    EXPECT_EQ(sort("X", "(define-sort P (X) Real)"), "undeclared sort X" + where);
    EXPECT_EQ(sort("Nope"), "undeclared sort Nope" + where);
    EXPECT_EQ(sort("Array"), "undeclared sort Array" + where);
    EXPECT_EQ(sort("(Nope Int)"), "sort Nope is not parametric" + where);
    EXPECT_EQ(sort("(Int Int)"), "sort Int is not parametric" + where);
    EXPECT_EQ(sort("(Array Int)"), "wrong number of parameters for sort Array" + where);
    EXPECT_EQ(sort("P", "(declare-sort P 2)"), "wrong number of parameters for sort P" + where);
    EXPECT_EQ(sort("(P Int)", "(declare-sort P 2)"),
              "wrong number of parameters for sort P" + where);
    EXPECT_EQ(sort("(_ BitVec 1 2)"), "Unknown indexed sort BitVec 1 2" + where);
    EXPECT_EQ(sort("(_ BitVec 0)"), "Unknown indexed sort BitVec 0" + where);
    EXPECT_EQ(sort("(_ Nope 3)"), "Unknown indexed sort Nope 3" + where);
    EXPECT_EQ(sort("(_ FloatingPoint 8 0)").substr(0, 9), "too small");
    EXPECT_EQ(sort("Int", "(declare-sort Int 0)"), "sort `Int' is already defined" + where);
    EXPECT_EQ(sort("A", "(define-sort A () Int)(define-sort A () Bool)"),
              "sort `A' is already defined" + where);
    EXPECT_EQ(sort("Int", "(define-sort A (X X) Int)"), "name `X' already used" + where);
    EXPECT_EQ(sort("(Array Int Bool)"), "Arrays with Bool as argument are not supported");
    EXPECT_EQ(error_of("(declare-fun f (Bool) Int)"),
              "Functions with Bool arguments not supported");
}

} // namespace
} // namespace tarq
