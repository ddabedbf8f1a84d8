// Command by command: where commands end, what the client is told, and how it goes on after errors.
#include "langfixture.h"

#include <random>
#include <streambuf>

namespace tarq {
namespace {

class DriverTest : public LangTest {
protected:
    std::vector<std::string> run(const std::string& text)
    {
        RecordingParser parser(&tm);
        parser.run(text);
        return parser.log;
    }
};

using Log = std::vector<std::string>;

TEST_F(DriverTest, every_command_reaches_its_operation)
{
    const std::string decls = "(declare-fun a () Bool)(declare-fun b () Bool)";
    EXPECT_EQ(run(decls + R"x(
        (set-logic QF_UF) (set-info :source |x  y|) (set-info :n (a  b)) (set-info :flag)
        (set-option :i 7)(set-option :t true)(set-option :f false)(set-option :none none)
        (set-option :d 2.5)(set-option :s "a ""b""")(set-option :y -5)(set-option :big 99999999999)
        (set-option :h #xA0)(set-option :l (x "y"  z))(set-option :empty)
        (push 2)(pop 3)(push)(pop)(assert (and a b))(check-sat)
        (check-sat-assuming (a (not b)))(check-sat-assumptions ())(check-allsat (a))
        (get-value ((and a  ; comment
           b) |a b| 1.5 :k "x"))(get-interpolant (g (h)))(get-info :name)(get-option :i)
        (echo "say ""hi""")(echo x)(reset)(reset-assertions)(foo)(bar (a :k) |b|)
        (get-assertions)(get-unsat-core)(get-proof)(get-assignment)(get-model)
        (get-unsat-assumptions)(get-objectives)(load-objective-model 3)
        (minimize 1 :id x :signed)(maximize 2)(minmax 1 2 :id y)(maxmin (! 1 :id z) :weight 3)
        (assert-soft a :dweight 0.5 :weight 2)(.internal-parse-terms (a 1))(exit))x"),
              (Log{"set-logic QF_UF",
                   "set-info :source |x  y|",
                   "set-info :n (a b)",
                   "set-info :flag ",
                   "set-option :i int 7",
                   "set-option :t int 1",
                   "set-option :f int 0",
                   "set-option :none double 0",
                   "set-option :d double 2.5",
                   "set-option :s text a \"b\"",
                   "set-option :y text -5",
                   "set-option :big text 99999999999",
                   "set-option :h text #xA0",
                   "set-option :l text (x \"y\" z)",
                   "set-option :empty text ",
                   "push 2",
                   "pop 3",
                   "push 1",
                   "pop 1",
                   "assert (`and` a b)",
                   "check-sat",
                   "check-sat-assumptions [a,(`not` b)]",
                   "check-sat-assumptions []",
                   "check-allsat [a]",
                   "get-value [(and a b),|a b|,1.5,:k,\"x\"]",
                   "get-interpolant [g,(h)]",
                   "get-info :name",
                   "get-option :i",
                   "echo say \"hi\"",
                   "generic echo [x]",
                   "reset",
                   "reset-assertions",
                   "generic foo",
                   "generic bar [(a :k),|b|]",
                   "get-assertions",
                   "get-unsat-core",
                   "get-proof",
                   "get-assignment",
                   "get-model",
                   "get-unsat-assumptions",
                   "get-objectives",
                   "load-objective-model 3",
                   "minimize 1 id=x signed",
                   "maximize 2 id=",
                   "minmax [1,2] id=y",
                   "maxmin [1] id= weight=3",
                   "assert-soft a id= weight=2",
                   "terms [a,1]",
                   "exit"}));
}

TEST_F(DriverTest, errors_carry_the_line_and_spare_the_commands_around_them)
{
    EXPECT_EQ(run("(declare-fun p () Bool)\n"
                  "(assert (let ((q p)) (and q\n"
                  "   nope\n"
                  "   (or p p)))) (check-sat)\n"
                  "(assert q)\n"
                  "(assert (forall ((x Int) (y Bad)) p))\n"
                  "(assert (! p :named {))\n"
                  "(assert \"a\nb\" ; )\n )\n"
                  "(define-sort S (X) (Array X Undeclared))(assert X)\n"
                  "(check-sat p)(check-sat)\n"
                  "oops ) \"str\" oops\n"
                  "(check-sat)\n"
                  "(check-sat"),
              (Log{"error 3 unknown symbol: nope", "check-sat", "error 5 unknown symbol: q",
                   "error 6 undeclared sort Bad", "error 7 unrecognized text: {",
                   "error 9 syntax error, unexpected STRING", "error 11 undeclared sort Undeclared",
                   "error 11 unknown symbol: X",
                   "error 12 syntax error, unexpected SYMBOL, expecting ')'", "check-sat",
                   "error 13 syntax error, unexpected SYMBOL, expecting '('", "check-sat",
                   "error 15 syntax error, unexpected end of file, expecting ')'"}));
}

TEST_F(DriverTest, broken_definitions_close_their_scopes_and_give_back_their_variables)
{
    RecordingParser parser(&tm);
    parser.run("(define-fun f ((a Int) (b Int)) Int (+ a nope))"
               "(define-fun f ((a Int) (b Int)) Int (+ a b))(.internal-parse-terms ((f 1 2)))"
               "(define-fun g ((a Int) (a Int)) Int a)(.internal-parse-terms (a))"
               "(define-fun h ((x Int)) Bool (exists ((y Int)) (let ((z (+ x y))) (< z w))))"
               "(define-fun h ((x Int)) Bool (exists ((y Int)) (let ((z (+ x y))) (< z 0))))");
    EXPECT_EQ(parser.log, (Log{"error 1 unknown symbol: nope", "terms [(`+_int` 1 2)]",
                               "error 1 symbol `a' already defined", "error 1 unknown symbol: a",
                               "error 1 unknown symbol: w"}));
    EXPECT_EQ(parser.term_parser().get_binding("x"), nullptr);
    EXPECT_EQ(parser.term_parser().get_bound_variable("y"), nullptr);
    // two parameters at a time were in use, so two variables exist
    const Term_* first = parser.term_parser().make_fresh_variable(tm.get_int_type());
    const Term_* second = parser.term_parser().make_fresh_variable(tm.get_int_type());
    EXPECT_LT(first->get_id(), constant("late", tm.get_int_type())->get_id());
    EXPECT_LT(second->get_id(), constant("late", tm.get_int_type())->get_id());
}

TEST_F(DriverTest, source_text_of_the_last_command_is_normalized)
{
    std::istringstream in("(check-sat) ; x\n (assert  ( or p ; not (this\n |a  ;b| \"x  )\"\"\" ) )"
                          "  (declare-fun p () Bool)(assert\n(bad [ 1)\n)");
    SmtLib2Driver driver(in);
    RecordingParser parser(&tm);
    EXPECT_TRUE(driver.parse_command(&parser));
    EXPECT_EQ(driver.command_text(), "(check-sat)");
    EXPECT_THROW(driver.parse_command(&parser), ParserInterface::error);
    EXPECT_EQ(driver.command_text(), "(assert (or p |a  ;b| \"x  )\"\"\"))");
    EXPECT_EQ(driver.get_first_lineno(), 2);
    EXPECT_TRUE(driver.parse_command(&parser));
    EXPECT_EQ(driver.command_text(), "(declare-fun p () Bool)");
    EXPECT_EQ(driver.get_lineno(), 3);
    EXPECT_THROW(driver.parse_command(&parser), ParserInterface::error);
    EXPECT_EQ(driver.command_text(), "(assert (bad [ 1))");
    EXPECT_FALSE(driver.parse_command(&parser));
}

/// Gives one byte at a time and counts them, like a slow pipe.
class TrickleBuffer : public std::streambuf {
public:
    explicit TrickleBuffer(std::string text) : text_(std::move(text)) {}
    std::size_t used = 0;

protected:
    int_type underflow() override
    {
        if (used == text_.size()) {
            return traits_type::eof();
        }
        setg(&text_[used], &text_[used], &text_[used] + 1);
        ++used;
        return traits_type::to_int_type(*gptr());
    }

private:
    std::string text_;
};

TEST_F(DriverTest, interactive_input_is_answered_at_the_closing_parenthesis)
{
    const std::string first = " (set-info :x |)|) ";
    TrickleBuffer buffer(first + "(check-sat)\n; end");
    std::istream in(&buffer);
    SmtLib2Driver driver(in);
    RecordingParser parser(&tm);
    EXPECT_TRUE(driver.parse_command(&parser));
    EXPECT_EQ(buffer.used, first.size() - 1);
    EXPECT_TRUE(driver.parse_command(&parser));
    EXPECT_FALSE(driver.parse_command(&parser));
    EXPECT_EQ(parser.log, (Log{"set-info :x |)|", "check-sat"}));
}

TEST_F(DriverTest, commands_across_buffer_borders_are_whole)
{
    // names of growing length move the borders through all places of a command
    std::string text;
    Log expected;
    for (std::size_t i = 1; i < 1500; ++i) {
        const std::string name(i, i % 2 ? 'x' : '|');
        const std::string value = i % 2 ? name : "|" + std::string(i, ')') + "|";
        text += "(set-info :k " + value + ") ; )(\n\"" + std::string(i % 7, 'a') + "\"\n";
        expected.push_back("set-info :k " + value);
        expected.push_back("error " + std::to_string(2 * i) +
                           " syntax error, unexpected STRING, expecting '('");
    }
    EXPECT_EQ(run(text), expected);
}

std::string repeat(const std::string& text, std::size_t times)
{
    std::string result;
    result.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

TEST_F(DriverTest, deep_nesting_is_read)
{
    constexpr std::size_t million = 1000000;
    constexpr std::size_t deep = 100000;
    const std::string a = "(declare-fun a () Bool)";
    const Term_* nots =
        read(a + "(assert " + repeat("(not ", million) + "a" + repeat(")", million) + ")");
    std::size_t levels = 0;
    for (; tm.is_not(nots); nots = nots->child(0)) {
        ++levels;
    }
    EXPECT_EQ(levels, million);
    EXPECT_EQ(read("(assert " + repeat("(let ((x a)) ", deep) + "x" + repeat(")", deep) + ")"),
              nots);
    EXPECT_EQ(read("(assert " + repeat("(and a ", deep) + "a" + repeat(")", deep) + ")")->child(0),
              nots);
    EXPECT_EQ(run("(set-info :k " + repeat("(", deep) + repeat(")", deep) + ")")[0].size(),
              12 + 2 * deep);
    EXPECT_EQ(error_of("(declare-fun s () " + repeat("(Array Int ", deep) + "Int" +
                       repeat(")", deep) + ")"),
              "no error");
    const Log broken = run("(assert " + repeat("(and a ", deep) + "\n(check-sat)");
    ASSERT_EQ(broken.size(), 1u);
    EXPECT_EQ(broken[0].substr(0, 42), "error 2 syntax error, unexpected check-sat");
}

TEST_F(DriverTest, long_tokens_are_one_token)
{
    constexpr std::size_t size = 10000000;
    const std::string name(size, 'n');
    EXPECT_EQ(run("(assert " + name + ")(check-sat)"),
              (Log{"error 1 unknown symbol: " + name, "check-sat"}));
    EXPECT_EQ(run("(set-info :s \"" + name + "\")")[0].size(), size + 12);
    EXPECT_EQ(run("(declare-fun |" + name + "| () Bool)").size(), 0u);
    EXPECT_EQ(run("(assert |" + name), (Log{"error 1 unterminated symbol"}));
    EXPECT_EQ(run(std::string(size, ')')),
              (Log{"error 1 syntax error, unexpected ')', expecting '('"}));
}

TEST_F(DriverTest, random_bytes_and_cut_scripts_end_in_errors_and_leave_the_client_usable)
{
    const std::string script =
        "(set-logic QF_LIA)(declare-fun x () Int)(declare-fun p () Bool)(declare-sort T 1)"
        "(define-sort P (A) (Array A (T A)))(define-fun f ((a Int)(b Int)) Bool (< a b))"
        "(assert (let ((y (+ x 1)) (z |x|)) (! (forall ((i Int)) (=> (f i y) (= z 3.5)))"
        " :named n :pattern ((f x \"q\"\"r\")))))(check-sat-assuming (p (not p)))"
        "(assert (= ((_ extract 3 0) #xAB) ((_ repeat 2) #b01)))(minimize x :id |a b| :weight 2)"
        "(get-value (x (f 1 2)))(push 1)(pop 1)(set-option :a (b c))(echo \"x\")\n";
    std::mt19937 random(5);
    const std::string alphabet = "()()()|\"; \n!:#._0129azAZ\\\xff" + std::string(1, '\0');
    for (int round = 0; round < 1000; ++round) {
        std::string text = script;
        if (round % 3 == 0) {
            text.resize(random() % text.size());
        }
        for (unsigned n = round % 3 == 0 ? 0 : 1 + random() % 20; n > 0; --n) {
            const std::size_t at = random() % text.size();
            if (round % 3 == 1) {
                text[at] = alphabet[random() % alphabet.size()];
            } else {
                text.erase(at, random() % 5);
            }
        }
        TermManager manager;
        RecordingParser parser(&manager);
        parser.run(text);
        parser.log.clear();
        parser.run("(declare-fun fresh () Bool)(assert (let ((l fresh)) (not l)))");
        ASSERT_EQ(parser.log, (Log{"assert (`not` fresh)"})) << text;
    }
    for (int round = 0; round < 200; ++round) {
        std::string text(random() % 3000, ' ');
        for (char& c : text) {
            c = static_cast<char>(random());
        }
        RecordingParser parser(&tm);
        parser.run(text);
        parser.log.clear();
        parser.run("(check-sat)");
        ASSERT_EQ(parser.log, (Log{"check-sat"}));
    }
}

} // namespace
} // namespace tarq
