// The library's reader: what a script reads to, what it ignores, what it refuses and how.
#include "lang/multi_istream.h"

#include "langfixture.h"

namespace tarq {
namespace {

class ReaderTest : public LangTest {};

TEST_F(ReaderTest, script_reads_to_the_conjunction_of_its_assertions)
{
    EXPECT_EQ(read(""), tm.make_true());
    EXPECT_EQ(read("; nothing\n \t\r\n; at all"), tm.make_true());
    const Term_* a = constant("a", tm.get_bool_type());
    const Term_* b = constant("b", tm.get_bool_type());
    EXPECT_EQ(read("(assert a)"), a);
    const Term_* left = tm.make_and(tm.make_true(), a);
    EXPECT_EQ(read("(assert a)(assert b)"), tm.make_and(left, b));
    EXPECT_EQ(read_list("(assert b) ; (assert a)\n(assert a)(assert b)"),
              (std::vector<const Term_*>{b, a, b}));
}

TEST_F(ReaderTest, commands_for_a_solver_are_accepted_and_do_nothing)
{
    EXPECT_EQ(read(R"((set-logic QF_LIA)(set-option :produce-models true)(set-option :x "y")
        (set-option :n 99999999999999999999)(set-info :status sat)(set-info :source |a
        b|)(set-info :lone)(check-sat)(get-model)(get-info :x)(get-value (x (f 1) #b1 #xF "s" :k))
        (check-sat-assuming ())(check-sat-assumptions (true))(get-assertions)(get-unsat-core)
        (get-proof)(get-assignment)(get-interpolant ())(get-interpolant (g1 (and a b)))
        (check-allsat ())(get-unsat-assumptions)(reset-assertions))"),
              tm.make_true());
}

TEST_F(ReaderTest, exit_stops_reading_and_a_second_parse_starts_anew)
{
    std::istringstream first("(declare-fun a () Bool)(assert a)(exit) ((( garbage");
    std::istringstream second("(assert (not a))");
    SmtLib2Parser parser(&tm, false);
    EXPECT_EQ(parser.parse(first), constant("a", tm.get_bool_type()));
    EXPECT_EQ(parser.parse(second)->to_str(), "(`not` a)");
}

TEST_F(ReaderTest, logic_is_kept_as_text_and_set_once)
{
    std::istringstream in("(set-logic |QF x|[12])");
    SmtLib2Parser parser(&tm, false);
    EXPECT_EQ(parser.get_logic(), "");
    parser.parse(in);
    EXPECT_EQ(parser.get_logic(), "QF x[12]");
    EXPECT_EQ(parser.get_status(), 0);
    EXPECT_EQ(error_of("(set-logic A)(set-logic B)"),
              "set-logic is invalid at this point (line: 1)");
}

TEST_F(ReaderTest, commands_that_change_a_stack_or_an_objective_are_refused_by_name)
{
    const std::pair<const char*, const char*> cases[] = {
        {"(push 1)", "push"},
        {"(pop 1)", "pop"},
        {"(foo 1 2)", "foo"},
        {"(reset)", "reset"},
        {"(echo \"x\")", "echo"},
        {"(get-option :x)", "get-option"},
        {"(declare-datatypes ((T 0)) (((mk (sel Int)) (as let _ ! #b0))))", "declare-datatypes"},
        {"(minimize 1)", "minimize"},
        {"(maximize 1 :id x)", "maximize"},
        {"(minmax 1 2)", "minmax"},
        {"(maxmin 1 2 :signed)", "maxmin"},
        {"(assert-soft true :weight 2)", "assert-soft"},
        {"(get-objectives)", "get-objectives"},
        {"(load-objective-model 1)", "load-objective-model"},
    };
    for (const auto& [text, name] : cases) {
        EXPECT_EQ(error_of(std::string("\n") + text),
                  "unsupported command: " + std::string(name) + " (line: 2)");
    }
}

TEST_F(ReaderTest, syntax_errors_name_the_token_the_expectation_and_the_line)
{
    const std::pair<const char*, const char*> cases[] = {
        {"(push)", "syntax error, unexpected ')', expecting NUMERAL (line: 1)"},
        {"(pop)", "syntax error, unexpected ')', expecting NUMERAL (line: 1)"},
        {"(set-logic 5)", "syntax error, unexpected NUMERAL, expecting SYMBOL (line: 1)"},
        {"(set-info\n\n x y)", "syntax error, unexpected SYMBOL, expecting KEYWORD (line: 3)"},
        {"(assert true", "syntax error, unexpected end of file, expecting ')' (line: 1)"},
        {"foo", "syntax error, unexpected SYMBOL, expecting '(' (line: 1)"},
        {"(check-sat))", "syntax error, unexpected ')', expecting '(' (line: 1)"},
        {"(check-sat true)", "syntax error, unexpected SYMBOL, expecting ')' (line: 1)"},
        {"(declare-fun push () Bool)", "syntax error, unexpected push, expecting SYMBOL (line: 1)"},
        {"(assert (let () true))", "syntax error, unexpected ')', expecting '(' (line: 1)"},
        {"(define-sort P (,) Int)", "syntax error, unexpected ','"},
        {"()", "syntax error, unexpected ')'"},
        {"(assert ())", "syntax error, unexpected ')'"},
        {"(assert (! true))", "syntax error, unexpected ')', expecting KEYWORD (line: 1)"},
        {"(push 99999999999)", "number too large: 99999999999 (line: 1)"},
        {"(declare-sort U 99999999999)", "number too large: 99999999999 (line: 1)"},
        {"(declare-sort U 4000000000)", "number too large: 4000000000 (line: 1)"},
    };
    for (const auto& [text, message] : cases) {
        const std::string found = error_of(text);
        EXPECT_EQ(found.substr(0, std::string(message).size()), message) << text;
        EXPECT_NE(found.find("(line: "), std::string::npos) << text;
    }
}

TEST_F(ReaderTest, text_that_no_token_matches_is_quoted_without_a_line)
{
    EXPECT_EQ(error_of("(assert {x})"), "unrecognized text: {");
    EXPECT_EQ(error_of("(assert [x])"), "unrecognized text: [");
    EXPECT_EQ(error_of("(assert #b2)"), "unrecognized text: #");
    EXPECT_EQ(error_of("(assert \xc3\xa4)"), "unrecognized text: \\xc3");
    EXPECT_EQ(error_of(std::string("(assert true\0b)", 15)), "unrecognized text: \\x00");
    EXPECT_EQ(error_of(std::string("(assert |a\0b|)", 14)), "unrecognized text: \\x00");
    EXPECT_EQ(error_of("(assert |a b)"), "unterminated symbol");
    EXPECT_EQ(error_of("(assert |a b\\"), "unterminated symbol");
    EXPECT_EQ(error_of("(set-info :x \"a b)"), "unterminated string");
}

TEST_F(ReaderTest, tokens_follow_the_longest_match)
{
    EXPECT_EQ(term("5x", "(declare-fun 5x () Int)")->get_symbol()->get_name(), "5x");
    EXPECT_EQ(term("5.5e", "(declare-fun 5.5e () Int)")->get_symbol()->get_name(), "5.5e");
    EXPECT_EQ(term("(= x |x|)", "(declare-fun |x| () Int)")->to_str(), "(`=_int` x x)");
    EXPECT_EQ(term("|a b;(|", "(declare-fun |a b;(| () Int)")->get_symbol()->get_name(), "a b;(");
    EXPECT_EQ(term("|a\\|b|", "(declare-fun |a\\|b| () Int)")->get_symbol()->get_name(), "a|b");
    EXPECT_EQ(term("|a\\b\\\\|c|", "(declare-fun |a\\b\\\\|c| () Int)")->get_symbol()->get_name(),
              "a\\b\\|c");
    EXPECT_EQ(term("bvadd", "(define-fun bvadd () Int 3)"), tm.make_number(3));
    EXPECT_EQ(term("1.5e2"), tm.make_number(150));
    EXPECT_EQ(term_error("(+ 1 -5)"), "unknown symbol: -5");
}

TEST_F(ReaderTest, reserved_words_of_extensions_are_names_elsewhere)
{
    const Term_* t = term(
        "(and minimize (! (or maximize minmax) :id x :weight 1 :signed :dweight 2) "
        "maxmin assert-soft check-allsat)",
        "(declare-fun minimize () Bool)(declare-fun maximize () Bool)(declare-fun minmax () Bool)"
        "(declare-fun maxmin () Bool)(declare-fun assert-soft () Bool)"
        "(declare-fun check-allsat () Bool)(set-info :id x)(set-option :weight 3)");
    EXPECT_EQ(t->to_str(),
              "(`and` (`and` (`and` (`and` minimize (`or` maximize minmax)) maxmin) assert-soft) "
              "check-allsat)");
}

TEST_F(ReaderTest, declarations_keep_built_in_and_defined_names)
{
    EXPECT_EQ(error_of("(declare-fun and () Bool)"), "`and' is a built-in function (line: 1)");
    EXPECT_EQ(error_of("(declare-fun true () Bool)"), "`true' is a built-in function (line: 1)");
    EXPECT_EQ(error_of("(define-fun false () Bool true)"),
              "`false' is a built-in function (line: 1)");
    EXPECT_EQ(error_of("(declare-fun |{int-div0}| (Int) Int)"),
              "`{int-div0}' is a built-in function (line: 1)");
    EXPECT_EQ(error_of("(define-fun f () Int 1)(declare-const f Real)"),
              "`f' is already defined (line: 1)");
    EXPECT_EQ(error_of("(declare-const pi Real)(assert (= pi 2))"), "no error"); // a usual name
    EXPECT_EQ(error_of("(define-fun f () Int 1)(define-fun f () Int 1)"),
              "symbol `f' already defined");
    EXPECT_EQ(error_of("(declare-fun g () Int)(define-fun g () Int 1)"),
              "symbol `g' already defined");
    EXPECT_EQ(error_of("(declare-fun h () Int)(declare-fun h () Int)"), "no error");
    EXPECT_EQ(error_of("(declare-fun h () Bool)"),
              "A symbol with name `h' already exists, with type: Int");
}

TEST_F(ReaderTest, asserted_and_defined_terms_have_the_sort_they_claim)
{
    EXPECT_EQ(error_of("(assert 5)"),
              "type error. term 5 has type Int, but Bool was expected. (assert)");
    EXPECT_EQ(error_of("(define-fun f () Bool 5)"),
              "type error. term 5 has type Int, but Bool was expected. (define-fun)");
    EXPECT_EQ(error_of("(define-fun f ((x Int)) Real (+ x 1))"), "no error");
    EXPECT_EQ(error_of("(define-fun f () Int (/ 1 2))").substr(0, 11), "type error.");
}

TEST_F(ReaderTest, names_are_terms_for_the_rest_of_the_script)
{
    const std::string ab = "(declare-fun a () Bool)(declare-fun b () Bool)";
    const std::vector<const Term_*> twice = read_list(ab + "(assert (! a :named x))(assert x)");
    EXPECT_EQ(twice, (std::vector<const Term_*>{twice[0], twice[0]}));
    EXPECT_EQ(error_of(ab + "(assert (! a :named x))(assert (! b :named x))"),
              "name `x' already used (line: 1)");
    EXPECT_EQ(error_of(ab + "(assert (! a :named x))(assert (! a :named |x|))"), "no error");
    EXPECT_EQ(error_of(ab + "(assert (! a :named))"), "attribute :named needs a symbol (line: 1)");
    EXPECT_EQ(error_of(ab + "(assert (! a :named b))"), "symbol `b' already defined");
    EXPECT_EQ(error_of("(define-fun f ((p Bool)) Bool (! (not p) :named n))"),
              "term named `n' is not closed (line: 1)");
    EXPECT_EQ(error_of("(assert (forall ((i Int)) (! (< i 3) :named n)))"),
              "term named `n' is not closed (line: 1)");
    EXPECT_EQ(error_of("(assert (forall ((i Int)) (! (exists ((j Int)) (< j 3)) :named n)))"
                       "(assert n)"),
              "no error");
}

TEST_F(ReaderTest, annotations_are_kept_in_order_under_their_term)
{
    std::istringstream in(
        "(declare-fun b () Bool)(declare-fun a () Bool)"
        "(assert (! b :weight 3 :pattern ((f  x) ; c\n(g |y  z| \"s \"\"t\" )) :lone :named |n 1|))"
        "(assert (! a :s \"x \"\"y\" :q |q q| :w (let)))(assert (! b :again 1.50))"
        "(assert (! (not a) :named m))");
    SmtLib2Parser parser(&tm, true);
    const auto& names = parser.parse_named(in);
    const Term_* b = constant("b", tm.get_bool_type());
    const Term_* a = constant("a", tm.get_bool_type());
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0].name, "n 1");
    EXPECT_EQ(names[0].term, b);
    EXPECT_EQ(names[1].name, "m");
    EXPECT_EQ(names[1].term, tm.make_not(a));

    std::vector<const Term_*> terms{nullptr};
    parser.get_annotated_terms(terms);
    EXPECT_EQ(terms, (std::vector<const Term_*>{b, a, tm.make_not(a)}));
    using Annotations = SmtLib2Parser::Annotations;
    EXPECT_EQ(*parser.get_annotations(b),
              (Annotations{{":weight", "3"},
                           {":pattern", "((f x) (g |y  z| \"s \"\"t\"))"},
                           {":lone", ""},
                           {":named", "n 1"},
                           {":again", "1.50"}}));
    EXPECT_EQ(*parser.get_annotations(a),
              (Annotations{{":s", "x \"y"}, {":q", "|q q|"}, {":w", "(let)"}}));
    EXPECT_EQ(parser.get_annotations(tm.make_true()), nullptr);
}

TEST_F(ReaderTest, bare_terms_are_framed_without_losing_a_final_comment)
{
    const auto framed = [this](const std::string& text) {
        std::istringstream inner(text);
        multi_istream in;
        in.add(SMTLIB2_TERMS_PREFIX);
        in.add(inner);
        in.add(SMTLIB2_TERMS_SUFFIX);
        SmtLib2Parser parser(&tm, false);
        return parser.parse(in);
    };
    EXPECT_EQ(framed("(+ 1 2) ; and no more")->to_str(), "(`+_int` 1 2)");
    EXPECT_EQ(framed("true false")->to_str(), "(`and` (`and` `true` `true`) `false`)");
    const std::string big(100000, '9');
    EXPECT_EQ(framed(big)->get_symbol()->get_name(), big);
    EXPECT_THROW(framed("(+ 1"), ParserInterface::error);
}

TEST_F(ReaderTest, errors_leave_declarations_and_later_readers_intact)
{
    EXPECT_EQ(error_of("(declare-fun a () Bool)(assert (and a (let ((x a)) (or x nope))))"),
              "unknown symbol: nope");
    EXPECT_EQ(read("(assert a)"), constant("a", tm.get_bool_type()));
    EXPECT_EQ(error_of("(assert x)"), "unknown symbol: x");
}

} // namespace
} // namespace tarq
