// The printers of SMT-LIB text: names, numbers, sorts and the interpreted symbols.
#pragma once

#include "lang/termprinter.h"

#include <string>
#include <utility>
#include <vector>

namespace tarq {

/// What the two versions of the language share: the names of the interpreted symbols and the form of
/// an application.
class SmtLibTermPrinter : public TermPrinter {
public:
    /// logic, status  of the head of a script; empty for none
    SmtLibTermPrinter(TermManager* tm, const Configuration::Printer* config, std::string logic,
                      std::string status)
        : TermPrinter(tm, config), logic_(std::move(logic)), status_(std::move(status))
    {
    }

protected:
    void print_term_and_children(const Term_* term, Items& out) override;
    void print_as_real(const Term_* term, Items& out) override;
    /// The text of a literal; empty for other terms.
    /// as_real  whether an integer must read as a Real
    virtual std::string literal(const Term_* term, bool as_real) const = 0;
    /// The head of an application.
    virtual std::string symbol_to_smtlib(const Symbol* symbol) = 0;
    /// Applications that are not written as a head and its arguments. Returns false for the others.
    virtual bool print_special(const Term_*, Items&) { return false; }
    void print_arguments(const Term_* term, std::string head, Items& out);
    /// The name of a symbol that is written by name alone; null for the others.
    static const char* plain_name(SymbolTag::tag tag);
    /// The name of an operator on words with an amount as its only index; null for others.
    static const char* amount_name(SymbolTag::tag tag);
    /// The names of interpreted symbols but pi.
    bool is_reserved(const std::string& name) const override;

    std::string logic_;
    std::string status_;
};

/// SMT-LIB 2. Abstract values of models, the constants whose names start with "@", are printed as
/// `(as @0 Sort)` and never declared.
class SmtLib2TermPrinter : public SmtLibTermPrinter {
public:
    /// Attributes of terms, with their colon, and their values as they are printed.
    using Annotations =
        hsh::HashMap<const Term_*, std::vector<std::pair<std::string, std::string>>>;

    /// logic, status  of the head of a script; empty for none
    /// use_defines    shared terms become define-funs of the script rather than let bindings
    /// annotations    borrowed, null for none; printed where their terms are
    SmtLib2TermPrinter(TermManager* tm, const Configuration::Printer* config, std::string logic,
                       std::string status, bool use_defines,
                       const Annotations* annotations = nullptr)
        : SmtLibTermPrinter(tm, config, std::move(logic), std::move(status)),
          use_defines_(use_defines), annotations_(annotations)
    {
    }

    /// Attributes that every asserted formula gets, as text.
    void set_annotation_text(std::string text) { annotation_text_ = std::move(text); }
    /// A script that defines a function without arguments for each of `terms`, whatever their
    /// types, and asserts nothing. Terms come once.
    void print_definitions(std::ostream& out, TermArgs terms);

    /// A value as it stands for a term of type `type`, which tells 3 from 3.0.
    std::string value_to_smtlib(const Term_* value, const DataType* type);

    /// A name, between bars if it must be.
    static std::string to_smtlib(const std::string& name);
    /// An integer, or a quotient of two.
    /// as_real  whether an integer must read as a Real
    static std::string to_smtlib(const QNumber& q, bool as_real);
    std::string to_smtlib(const DataType* type) const;
    std::string bv_to_smtlib(const QNumber& value, size_t width) const;
    std::string fp_to_smtlib(const QNumber& bits, size_t exp, size_t mant) const;

protected:
    void print_type_declaration(std::ostream& out, const DataType* type) override;
    void print_symbol_declaration(std::ostream& out, const Symbol* symbol) override;
    void print_term_and_children(const Term_* term, Items& out) override;
    std::string label_application(const Term_* term, const std::string& label) override;
    void print_define_start(std::ostream& out, const Term_* term,
                            const std::string& label) override;
    void print_define_end(std::ostream& out, const Term_* term) override;
    void print_formula_start(std::ostream& out, const Term_* term) override;
    void print_formula_end(std::ostream& out, const Term_* term) override;
    void print_start(std::ostream& out) override;
    void print_end(std::ostream& out) override;
    void print_let_start(std::ostream& out, const std::string& label) override;
    void print_let_end(std::ostream& out, size_t count) override;
    bool use_defines() const override { return use_defines_; }
    std::string clean(const std::string& name) const override;
    std::string quote(const std::string& name) const override { return to_smtlib(name); }

    std::string literal(const Term_* term, bool as_real) const override;
    std::string symbol_to_smtlib(const Symbol* symbol) override;
    bool print_special(const Term_* term, Items& out) override;

private:
    bool is_abstract_value(const Symbol* symbol) const;
    std::string annotation_of(const Term_* term) const;

    bool use_defines_;
    const Annotations* annotations_;
    std::string annotation_text_;
    bool as_definitions_ = false; // print_definitions is at work
};

} // namespace tarq
