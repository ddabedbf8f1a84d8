// The printer of SMT-LIB 1 text.
#pragma once

#include "lang/smtlibtermprinter.h"

#include <string>

namespace tarq {

/// SMT-LIB 1: a benchmark with one formula, whose shared terms are bound by let and flet. The
/// language has no quoting, no Boolean type and no floats.
class SmtLib1TermPrinter : public SmtLibTermPrinter {
public:
    using SmtLibTermPrinter::SmtLibTermPrinter;

    /// throws  TermPrinter::error for types that the language does not have
    std::string to_smtlib(const DataType* type) const;

protected:
    void print_type_declaration(std::ostream& out, const DataType* type) override;
    void print_symbol_declaration(std::ostream& out, const Symbol* symbol) override;
    std::string label_application(const Term_* term, const std::string& label) override;
    void print_define_start(std::ostream& out, const Term_* term,
                            const std::string& label) override;
    void print_define_end(std::ostream& out, const Term_* term) override;
    void print_formula_start(std::ostream& out, const Term_* term) override;
    void print_formula_end(std::ostream& out, const Term_* term) override;
    void print_start(std::ostream& out) override;
    void print_end(std::ostream& out) override;
    void print_let_start(std::ostream& out, const std::string& label) override;
    const char* let_body() const override { return ") "; }
    void print_let_end(std::ostream& out, size_t count) override;
    bool use_defines() const override { return false; }
    std::string clean(const std::string& name) const override;
    std::string quote(const std::string& name) const override { return name; }
    std::string quote_variable(const std::string& name) const override { return "?" + name; }
    std::string quote_label(const std::string& name, const Term_* term) const override;
    std::string literal(const Term_* term, bool as_real) const override;
    std::string symbol_to_smtlib(const Symbol* symbol) override;
    bool print_special(const Term_* term, Items& out) override;
};

} // namespace tarq
