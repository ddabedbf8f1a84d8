// What the tests of the language front end share: a reader on a term manager of its own.
#pragma once

#include "lang/smtlib2baseparser.h"
#include "lang/smtlib2driver.h"
#include "lang/smtlib2parser.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace tarq {

class LangTest : public ::testing::Test {
protected:
    TermManager tm;
    StdTermSimplifier simplifier{&tm};

    /// Lets constants fold, so that a term's value can be compared with a number.
    void fold_constants()
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
    }

    const Term_* read(const std::string& text)
    {
        std::istringstream in(text);
        SmtLib2Parser parser(&tm, false);
        return parser.parse(in);
    }

    std::vector<const Term_*> read_list(const std::string& text)
    {
        std::istringstream in(text);
        SmtLib2Parser parser(&tm, false);
        return parser.parse_list(in);
    }

    /// The term itself, of any sort, behind some declarations.
    const Term_* term(const std::string& text, const std::string& declarations = "")
    {
        return read(declarations + "(.internal-parse-terms (" + text + "))");
    }

    /// The message that reading ends in; "no error" if it does not.
    std::string error_of(const std::string& text)
    {
        try {
            read(text);
        } catch (const Exception& e) {
            return e.get_msg();
        }
        return "no error";
    }

    std::string term_error(const std::string& text, const std::string& declarations = "")
    {
        return error_of(declarations + "(.internal-parse-terms (" + text + "))");
    }

    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
};

/// A client that keeps going: it writes down what it is told, and reports errors with their line.
class RecordingParser : public SmtLib2BaseParser {
public:
    using SmtLib2BaseParser::SmtLib2BaseParser;

    std::vector<std::string> log;

    template <class... Args>
    void note(const Args&... args)
    {
        std::ostringstream out;
        ((out << args << ' '), ...);
        log.push_back(out.str().substr(0, out.str().size() - 1));
    }

    /// Runs a script to its end; after an error with the next command.
    void run(std::istream& in)
    {
        SmtLib2Driver driver(in);
        for (bool more = true; more;) {
            try {
                more = driver.parse_command(this);
            } catch (const Exception& e) {
                note("error", driver.get_lineno(), e.get_msg());
                driver.skip_command();
            }
        }
    }

    void run(const std::string& text)
    {
        std::istringstream in(text);
        run(in);
    }

    static std::string text_of(TermArgs terms)
    {
        std::string text = "[";
        for (const Term_* t : terms) {
            text += (text.size() > 1 ? "," : "") + t->to_str(1000);
        }
        return text + "]";
    }

    static std::string text_of(const std::vector<std::string>& texts)
    {
        std::string text = "[";
        for (const std::string& t : texts) {
            text += (text.size() > 1 ? "," : "") + t;
        }
        return text + "]";
    }

    static std::string text_of(const OptAttributes& a)
    {
        return "id=" + a.id + (a.is_signed ? " signed" : "") +
               (a.weight ? " weight=" + a.weight->to_str() : "");
    }

    void set_logic(std::string_view name) override { note("set-logic", name); }
    void push(int n) override { note("push", n); }
    void pop(int n) override { note("pop", n); }
    void push_default() override { push(1); }
    void pop_default() override { pop(1); }
    void assert_formula(const Term_* t) override { note("assert", t->to_str(1000)); }
    void check_sat() override { note("check-sat"); }
    void get_assertions() override { note("get-assertions"); }
    void get_unsat_core() override { note("get-unsat-core"); }
    void get_proof() override { note("get-proof"); }
    void set_option(std::string_view key, std::string_view value) override
    {
        note("set-option", key, "text", value);
    }
    void set_option(std::string_view key, int value) override
    {
        note("set-option", key, "int", value);
    }
    void set_option(std::string_view key, double value) override
    {
        note("set-option", key, "double", value);
    }
    void get_info(std::string_view key) override { note("get-info", key); }
    void set_info(std::string_view key, std::string_view value) override
    {
        note("set-info", key, value);
    }
    void get_assignment() override { note("get-assignment"); }
    void get_model() override { note("get-model"); }
    void get_value(const std::vector<std::string>& texts) override
    {
        note("get-value", text_of(texts));
    }
    void exit() override { note("exit"); }
    void get_interpolant(const std::vector<std::string>& texts) override
    {
        note("get-interpolant", text_of(texts));
    }
    void check_allsat(TermArgs terms) override { note("check-allsat", text_of(terms)); }
    void check_sat_assumptions(TermArgs terms) override
    {
        note("check-sat-assumptions", text_of(terms));
    }
    void get_unsat_assumptions() override { note("get-unsat-assumptions"); }
    void reset_assertions() override { note("reset-assertions"); }
    void generic_command(std::string_view name) override { note("generic", name); }
    void generic_command(std::string_view name, const std::vector<std::string>& args) override
    {
        note("generic", name, text_of(args));
    }
    void get_option(std::string_view key) override { note("get-option", key); }
    void echo(std::string_view text) override { note("echo", text); }
    void reset() override { note("reset"); }
    void handle_error(const std::string& message) override
    {
        throw ParserInterface::error(message);
    }
    void internal_set_parsed_terms(TermArgs terms) override { note("terms", text_of(terms)); }
    void push_minimize(const Term_* t, const OptAttributes& a) override
    {
        note("minimize", t->to_str(), text_of(a));
    }
    void push_maximize(const Term_* t, const OptAttributes& a) override
    {
        note("maximize", t->to_str(), text_of(a));
    }
    void push_minmax(TermArgs t, const OptAttributes& a) override
    {
        note("minmax", text_of(t), text_of(a));
    }
    void push_maxmin(TermArgs t, const OptAttributes& a) override
    {
        note("maxmin", text_of(t), text_of(a));
    }
    void assert_soft_formula(const Term_* t, const OptAttributes& a) override
    {
        note("assert-soft", t->to_str(), text_of(a));
    }
    void get_objectives() override { note("get-objectives"); }
    void load_objective_model(std::string_view which) override
    {
        note("load-objective-model", which);
    }
};

} // namespace tarq
