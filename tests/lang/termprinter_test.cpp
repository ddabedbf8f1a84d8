// Terms as SMT-LIB 2 text: what is printed reads back as the same term.
#include "lang/smtlibtermprinter.h"

#include "lang/smtlib1termprinter.h"
#include "lang/smtlib2parser.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termeval.h"
#include "terms/termgen.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace tarq::test {
namespace {

class PrinterTest : public ::testing::Test {
protected:
    PrinterTest() : simplifier(&tm)
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
    }

    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    std::string script(const Term_* t, bool use_defines, const std::string& logic = "")
    {
        std::ostringstream out;
        SmtLib2TermPrinter(&tm, &config.printer, logic, "", use_defines).print_formula(out, t);
        return out.str();
    }
    std::string term(const Term_* t)
    {
        std::ostringstream out;
        SmtLib2TermPrinter(&tm, &config.printer, "", "", false).print_term(out, t);
        return out.str();
    }
    std::string script1(const Term_* t)
    {
        std::ostringstream out;
        SmtLib1TermPrinter(&tm, &config.printer, "QF_X", "sat").print_formula(out, t);
        return out.str();
    }
    std::string error_of_script1(const Term_* t)
    {
        try {
            script1(t);
        } catch (const TermPrinter::error& e) {
            return e.get_msg();
        }
        return "";
    }
    const Term_* read(const std::string& text)
    {
        std::istringstream in(text);
        return SmtLib2Parser(&tm, false).parse(in);
    }
    void expect_round_trip(const Term_* f)
    {
        for (bool use_defines : {false, true}) {
            const std::string text = script(f, use_defines);
            EXPECT_EQ(read(text), f) << text;
        }
    }

    TermManager tm;
    StdTermSimplifier simplifier;
    Configuration config;
};

TEST_F(PrinterTest, a_script_has_head_declarations_and_the_assertion)
{
    const DataType* sort = tm.get_simple_type("a sort");
    const Term_* u = constant("u", sort);
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({sort, sort}, sort));
    const Term_* args[] = {u, u};
    const Term_* t = tm.make_equal(tm.make_uninterpreted_function(f, args), u);
    EXPECT_EQ(script(t, false, "QF_UF"), "(set-logic QF_UF)\n"
                                         "(set-info :source |printed by Tarq|)\n"
                                         "(declare-sort |a sort| 0)\n"
                                         "(declare-fun f (|a sort| |a sort|) |a sort|)\n"
                                         "(declare-fun u () |a sort|)\n"
                                         "(assert (= u (f u u)))\n");
    expect_round_trip(t);
}

TEST_F(PrinterTest, shared_terms_are_defined_once)
{
    const Term_* x = constant("x", tm.get_int_type());
    const Term_* sum = tm.make_plus(x, tm.make_number(1));
    const Symbol* g =
        tm.make_symbol("g", tm.get_function_type({tm.get_int_type()}, x->get_symbol()->get_type()));
    const Term_* gs = tm.make_uninterpreted_function(g, TermArgs(&sum, 1));
    const Term_* t = tm.make_or(tm.make_equal(gs, x), tm.make_not(tm.make_equal(gs, sum)));
    const std::string with = script(t, true);
    const std::string without = script(t, false);
    const auto count = [](const std::string& text, const std::string& part) {
        size_t n = 0;
        for (size_t i = text.find(part); i != std::string::npos; i = text.find(part, i + 1)) {
            ++n;
        }
        return n;
    };
    EXPECT_EQ(count(with, "(g "), 1u) << with;
    EXPECT_EQ(count(with, "(define-fun .def_"), count(without, "(let ((.def_"));
    EXPECT_GE(count(with, "(define-fun"), 1u);
    expect_round_trip(t);
    config.printer.defines_prefix = "my def";
    EXPECT_NE(script(t, true).find("(define-fun |my def"), std::string::npos);
    expect_round_trip(t);
    // a label never takes the name of a symbol
    config.printer.defines_prefix = "";
    const Term_* trap = constant(".def_" + std::to_string(gs->get_id()), tm.get_bool_type());
    expect_round_trip(tm.make_and(t, trap));
}

TEST_F(PrinterTest, names_that_need_bars_get_them)
{
    const DataType* type = tm.get_bool_type();
    const Term_* t = tm.make_true();
    for (const char* name : {"a b", "1x", "let", "!", "_", "as", "a|b", "a_b", "assert", "x\ny",
                             "par", "~!@$%^&*_-+=<>.?/", "(", ";c", "\"q\""}) {
        t = tm.make_and(t, constant(name, type));
        EXPECT_EQ(read(script(constant(name, type), false)), constant(name, type)) << name;
    }
    expect_round_trip(t);
    EXPECT_EQ(SmtLib2TermPrinter::to_smtlib(std::string("a_b")), "a_b");
    EXPECT_EQ(SmtLib2TermPrinter::to_smtlib(std::string("a|b")), "|a\\|b|");
    EXPECT_EQ(SmtLib2TermPrinter::to_smtlib(std::string()), "||");
    // a backslash that would take the bar with it is replaced; different symbols stay different
    const Term_* both = tm.make_and(constant("x\\", type), tm.make_not(constant("x_", type)));
    const std::string text = script(both, false);
    EXPECT_FALSE(tm.is_false(read(text))) << text;
}

TEST_F(PrinterTest, numbers_read_as_the_type_they_stand_for)
{
    const Term_* r = constant("r", tm.get_real_type());
    const Term_* i = constant("i", tm.get_int_type());
    EXPECT_EQ(term(tm.make_leq(r, tm.make_number(-3))), "(<= r (- 3.0))");
    EXPECT_EQ(term(tm.make_leq(i, tm.make_number(-3))), "(<= i (- 3))");
    EXPECT_EQ(term(tm.make_leq(r, tm.make_number(QNumber(-1, 3)))), "(<= r (/ (- 1) 3))");
    EXPECT_EQ(term(tm.make_plus(r, i)), "(+ r (to_real i))");
    EXPECT_EQ(term(tm.make_floor(r)), "(to_int r)");
    const Term_* mixed = tm.make_leq(tm.make_plus(r, i), tm.make_times(tm.make_number(2), r));
    expect_round_trip(mixed);
    const Term_* c = constant("c", tm.get_bool_type());
    expect_round_trip(tm.make_equal(tm.make_term_ite(c, i, r), tm.make_number(5)));
    expect_round_trip(tm.make_int_modular_congruence(7, i, tm.make_number(3)));
    expect_round_trip(
        tm.make_int_modular_congruence(7, tm.make_times(tm.make_number(3), i), tm.make_number(0)));
    for (const char* text : {"(= (div i 0) 3)", "(= (mod i 0) (mod (+ i 1) 0))",
                             "(= (/ r 0.0) 1.0)", "(= (abs i) (div i 3))", "(is_int r)"}) {
        std::ostringstream in;
        in << "(declare-fun i () Int)(declare-fun r () Real)(assert " << text << ")";
        expect_round_trip(read(in.str()));
    }
}

TEST_F(PrinterTest, bit_vector_and_float_literals_have_three_formats)
{
    const Term_* v = constant("v", tm.get_bv_type(8));
    const Term_* w = constant("w", tm.get_bv_type(7));
    const Term_* bits8 = tm.make_bv_number(10, 8);
    const Term_* bits7 = tm.make_bv_number(10, 7);
    const Term_* half = tm.make_fp_rat_number(QNumber(1, 2), 5, 10, tm.make_fprounding_even());
    const Term_* x = constant("x", TermManager::get_type(half));
    const char* bv8[] = {"(_ bv10 8)", "#b00001010", "#x0a"};
    const char* bv7[] = {"(_ bv10 7)", "#b0001010", "#b0001010"};
    const char* fp[] = {"((_ to_fp 5 11) (_ bv14336 16))", "(fp #b0 #b01110 #b0000000000)",
                        "((_ to_fp 5 11) RNE (/ 1 2))"};
    const Term_* specials[] = {tm.make_fp_nan(5, 10), tm.make_fp_plus_inf(5, 10),
                               tm.make_fp_minus_inf(5, 10), tm.make_fp_bits_number(0, 5, 10),
                               tm.make_fp_bits_number(32768, 5, 10)};
    for (int format = 0; format < 3; ++format) {
        config.printer.bv_number_format = format;
        config.printer.fp_number_format = format;
        EXPECT_EQ(term(bits8), bv8[format]);
        EXPECT_EQ(term(bits7), bv7[format]);
        EXPECT_EQ(term(half), fp[format]);
        const Term_* f = tm.make_and(tm.make_equal(v, bits8), tm.make_equal(w, bits7));
        f = tm.make_and(f, tm.make_equal(x, half));
        expect_round_trip(f);
        for (const Term_* special : specials) {
            expect_round_trip(
                tm.make_fp_le(x, tm.make_fp_add(tm.make_fprounding_zero(), special, x)));
        }
    }
    EXPECT_EQ(term(specials[0]), "(_ NaN 5 11)");
    EXPECT_EQ(term(specials[4]), "(_ -zero 5 11)");
}

TEST_F(PrinterTest, quantified_variables_and_definitions_with_parameters)
{
    const DataType* integer = tm.get_int_type();
    const Term_* x = constant("x", integer);
    const Term_* v = tm.make_named_variable("x", integer);
    const Symbol* g = tm.make_symbol("g", tm.get_function_type({integer}, integer));
    const Term_* gv = tm.make_uninterpreted_function(g, TermArgs(&v, 1));
    const Term_* body = tm.make_or(tm.make_equal(gv, x), tm.make_leq(gv, tm.make_number(0)));
    const Term_* f = tm.make_forall(v, body);
    const std::string text = script(f, true);
    EXPECT_NE(text.find("(forall ((x_0 Int))"), std::string::npos) << text;
    EXPECT_NE(text.find("((x_0 Int)) Int (g x_0))"), std::string::npos) << text;
    EXPECT_TRUE(tm.is_forall(read(text)));
    try {
        script(f, false);
        FAIL() << "the shared term has a free variable";
    } catch (const TermPrinter::error& e) {
        EXPECT_EQ(e.get_msg(),
                  "printing without use-defines is not supported for quantified formulas");
    }
    const Term_* simple = tm.make_exists(v, tm.make_leq(gv, x));
    EXPECT_TRUE(tm.is_exists(read(script(simple, false))));
}

TEST_F(PrinterTest, abstract_values_name_their_sort_and_are_not_declared)
{
    const DataType* sort = tm.get_simple_type("U");
    const Term_* value = constant("@3", sort);
    EXPECT_EQ(term(value), "(as @3 U)");
    EXPECT_EQ(script(tm.make_equal(constant("u", sort), value), false).find("declare-fun @"),
              std::string::npos);
}

TEST_F(PrinterTest, text_is_linear_in_a_shared_graph_and_depth_is_no_trouble)
{
    const Term_* p = constant("p", tm.get_bool_type());
    const Term_* q = constant("q", tm.get_bool_type());
    const Term_* shared = p;
    const Term_* deep = p;
    for (int i = 0; i < 20000; ++i) {
        const Term_* c = constant("c" + std::to_string(i), tm.get_bool_type());
        shared = tm.make_or(tm.make_and(shared, c), tm.make_not(tm.make_iff(shared, q)));
        deep = tm.make_or(tm.make_not(deep), c);
    }
    EXPECT_LT(script(shared, true).size(), size_t{20000} * 300);
    expect_round_trip(shared);
    expect_round_trip(deep);
}

TEST_F(PrinterTest, names_of_the_language_are_not_given_to_user_symbols)
{
    const Term_* x = constant("select", tm.get_real_type());
    const Term_* user_pi = constant("pi", tm.get_real_type());
    EXPECT_NE(script(tm.make_leq(x, user_pi), false).find("(<= select_0 pi)"), std::string::npos);
    // where the number occurs, the constant is called otherwise
    const std::string both = script(tm.make_leq(user_pi, tm.make_pi()), false);
    EXPECT_NE(both.find("(<= pi_0 pi)"), std::string::npos) << both;
    std::istringstream alone(term(tm.make_leq(user_pi, x)));
    EXPECT_EQ(alone.str(), "(<= pi select_0)");
}

TEST_F(PrinterTest, version_1_has_its_own_declarations_numbers_and_bindings)
{
    const DataType* sort = tm.get_simple_type("a sort");
    const Term_* u = constant("u", sort);
    const Term_* v = constant("2|v", sort);
    const Term_* p = constant("p", tm.get_bool_type());
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({sort}, sort));
    const Symbol* q = tm.make_symbol("q", tm.get_function_type({sort}, tm.get_bool_type()));
    const Term_* fu = tm.make_uninterpreted_function(f, TermArgs(&u, 1));
    const Term_* qf = tm.make_uninterpreted_function(q, TermArgs(&fu, 1));
    const Term_* either = tm.make_or(qf, tm.make_equal(fu, v));
    const Term_* t = tm.make_and(either, tm.make_iff(p, qf));
    const std::string f_label = "?x.def_" + std::to_string(fu->get_id());
    const std::string q_label = "$x.def_" + std::to_string(qf->get_id());
    EXPECT_EQ(script1(t), "(benchmark unnamed\n:status sat\n:logic QF_X\n"
                          ":source { printed by Tarq }\n:extrasorts (a_sort)\n"
                          ":extrafuns ((x2_v a_sort))\n:extrafuns ((f a_sort a_sort))\n"
                          ":extrapreds ((p))\n:extrapreds ((q a_sort))\n"
                          ":extrafuns ((u a_sort))\n\n:formula\n"
                          "(let (" +
                              f_label + " (f u)) (flet (" + q_label + " (q " + f_label +
                              ")) (and (or " + q_label + " (= x2_v " + f_label + ")) (iff p " +
                              q_label + "))))\n)\n");
    const Term_* x = constant("x", tm.get_real_type());
    EXPECT_NE(script1(tm.make_leq(x, tm.make_number(QNumber(-3, 2)))).find("(<= x (/ (~ 3) 2))"),
              std::string::npos);
    const Term_* w = constant("w", tm.get_bv_type(8));
    const Term_* a = constant("a", tm.get_array_type(tm.get_bv_type(4), tm.get_bv_type(8)));
    const Term_* low = tm.make_bv_extract(3, 0, w);
    const std::string words =
        script1(tm.make_bv_ult(tm.make_array_read(a, low), tm.make_bv_number(7, 8)));
    EXPECT_NE(words.find(":extrafuns ((a Array[4:8]))"), std::string::npos);
    EXPECT_NE(words.find("(bvult (select a (extract[3:0] w)) bv7[8])"), std::string::npos) << words;
}

TEST_F(PrinterTest, version_1_refuses_what_it_has_no_form_for)
{
    tm.set_refuse_bool_args(false);
    const DataType* truth = tm.get_bool_type();
    const Term_* p = constant("p", truth);
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({truth}, truth));
    const Term_* a = constant("a", tm.get_array_type(tm.get_int_type(), tm.get_bv_type(8)));
    const Term_* b = constant("b", tm.get_array_type(tm.get_bv_type(8), tm.get_int_type()));
    const Term_* r = constant("r", tm.get_fp_type(5, 10));
    EXPECT_EQ(error_of_script1(tm.make_uninterpreted_function(f, TermArgs(&p, 1))),
              "SMT-LIB v1 format doesn't have an explicit Bool type");
    EXPECT_NE(error_of_script1(tm.make_equal(a, constant("c", TermManager::get_type(a))))
                  .find("unsupported index type for Array: "),
              std::string::npos);
    EXPECT_NE(error_of_script1(tm.make_equal(b, constant("d", TermManager::get_type(b))))
                  .find("unsupported element type for Array: "),
              std::string::npos);
    EXPECT_NE(error_of_script1(tm.make_fp_equal(r, r)).find(" in SMT-LIB "), std::string::npos);
}

TEST_F(PrinterTest, annotations_stand_where_their_terms_are)
{
    const Term_* x = constant("x", tm.get_int_type());
    const Term_* p = constant("p", tm.get_bool_type());
    const Term_* sum = tm.make_plus(x, tm.make_number(1));
    const Term_* atom = tm.make_leq(sum, tm.make_number(5));
    SmtLib2TermPrinter::Annotations annotations;
    annotations[sum].emplace_back(":named", "s");
    annotations[p].emplace_back(":weight", "3");
    annotations[atom].emplace_back(":named", "|an atom|");
    annotations[atom].emplace_back(":kind", "(a b)");
    std::ostringstream out;
    const Term_* roots[] = {atom, p, sum, atom};
    SmtLib2TermPrinter(&tm, &config.printer, "", "", true, &annotations)
        .print_definitions(out, roots);
    std::istringstream in(out.str());
    SmtLib2Parser parser(&tm, true);
    parser.parse(in);
    size_t found = 0;
    for (const auto& [t, attributes] : annotations) {
        const auto* read_back = parser.get_annotations(t);
        ASSERT_TRUE(read_back) << out.str();
        EXPECT_EQ(read_back->size(), attributes.size()) << out.str();
        found += read_back->size();
    }
    EXPECT_EQ(found, 4u);
    std::ostringstream asserted;
    SmtLib2TermPrinter printer(&tm, &config.printer, "", "", false);
    printer.set_annotation_text(":named top");
    printer.print_formula(asserted, p);
    EXPECT_NE(asserted.str().find("(assert (! p :named top))\n"), std::string::npos);
}

/// Reading builds a term anew, which may simplify it further; after that, printing and reading
/// changes nothing, and no step changes the value.
TEST_F(PrinterTest, random_terms_of_all_theories_come_back)
{
    const auto print_and_read = [](TermManager& m, const Configuration& c, const Term_* t,
                                   bool use_defines) {
        std::ostringstream out;
        SmtLib2TermPrinter(&m, &c.printer, "", "", use_defines).print_formula(out, t);
        std::istringstream in(out.str());
        return SmtLib2Parser(&m, false).parse(in);
    };
    for (uint64_t seed = 1; seed <= 30 && !HasFailure(); ++seed) {
        TermManager manager;
        StdTermSimplifier simpl(&manager);
        manager.set_simplifier(&simpl);
        manager.set_simplify(true);
        TermGenerator generator(manager, seed);
        config.printer.bv_number_format = static_cast<int>(seed % 3);
        config.printer.fp_number_format = static_cast<int>(seed / 3 % 3);
        Interpretation world(manager, seed, true);
        for (int i = 0; i < 60 && !HasFailure(); ++i) {
            const Term_* t = generator.next().simplified;
            const DataType* type = TermManager::get_type(t);
            if (type != manager.get_bool_type()) {
                const std::string name = manager.get_unused_symbol_name("pred");
                const DataType* predicate =
                    manager.get_function_type({type}, manager.get_bool_type());
                t = manager.make_uninterpreted_function(manager.make_symbol(name, predicate),
                                                        TermArgs(&t, 1));
            }
            const Term_* again = nullptr;
            try {
                again = print_and_read(manager, config, t, i % 2 == 0);
            } catch (const TermPrinter::error& e) {
                // the bits of a float have no name in the language
                EXPECT_NE(e.get_msg().find("symbol `fpasbv"), std::string::npos) << e.get_msg();
                continue;
            }
            EXPECT_TRUE(world(t) == world(again)) << t->to_str(2000) << "\n" << again->to_str(2000);
            for (bool use_defines : {false, true}) {
                EXPECT_EQ(print_and_read(manager, config, again, use_defines), again)
                    << seed << ": " << again->to_str(2000);
            }
        }
    }
}

} // namespace
} // namespace tarq::test
