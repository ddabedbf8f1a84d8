// TermPrinter: the walk that turns a term graph into text with names for its shared parts. What the
// text looks like is left to the subclasses.
#pragma once

#include "base/configuration.h"
#include "base/exception.h"
#include "base/hashmap.h"
#include "base/hashset.h"
#include "terms/termmanager.h"

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

/// Prints terms whose shared subterms get labels: a definition each, before the first use. Neither
/// the walk nor the printing is recursive, and the text is linear in the size of the graph.
///
/// One object prints any number of terms, one after the other. Borrows the term manager and the
/// configuration.
class TermPrinter {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// config  read while printing
    TermPrinter(TermManager* tm, const Configuration::Printer* config) : tm_(tm), config_(config) {}
    virtual ~TermPrinter() = default;
    TermPrinter(const TermPrinter&) = delete;
    TermPrinter& operator=(const TermPrinter&) = delete;

    /// A whole script: declarations, definitions, and `term` asserted.
    void print_formula(std::ostream& out, const Term_* term);
    /// A whole script that asserts each of `terms`.
    void print_formulas(std::ostream& out, TermArgs terms);
    /// One term by itself, with shared parts bound inside.
    void print_term(std::ostream& out, const Term_* term);

protected:
    /// Piece of text or term still to be printed.
    struct Item {
        const Term_* term = nullptr; // null: `text` is to be printed
        std::string text;
        bool as_real = false; // an Int where a Real is wanted
    };
    using Items = std::vector<Item>; // in the order of printing

    virtual void print_type_declaration(std::ostream& out, const DataType* type) = 0;
    virtual void print_symbol_declaration(std::ostream& out, const Symbol* symbol) = 0;
    /// Appends what the application `term` consists of; its arguments are items with a term.
    virtual void print_term_and_children(const Term_* term, Items& out) = 0;
    /// What stands for a labelled term.
    virtual std::string label_application(const Term_* term, const std::string& label) = 0;
    /// A term of type Int where a Real is wanted.
    virtual void print_as_real(const Term_* term, Items& out) = 0;
    virtual void print_define_start(std::ostream& out, const Term_* term,
                                    const std::string& label) = 0;
    virtual void print_define_end(std::ostream& out, const Term_* term) = 0;
    virtual void print_formula_start(std::ostream& out, const Term_* term) = 0;
    virtual void print_formula_end(std::ostream& out, const Term_* term) = 0;
    virtual void print_start(std::ostream& out) = 0;
    virtual void print_end(std::ostream& out) = 0;
    /// The binding of shared parts inside a single term, or inside a formula when `use_defines` is
    /// off.
    virtual void print_let_start(std::ostream& out, const std::string& label) = 0;
    /// What stands between a binding and its body.
    virtual const char* let_body() const { return ")) "; }
    virtual void print_let_end(std::ostream& out, size_t count) = 0;

    /// Whether shared parts become definitions of the script rather than bindings inside.
    virtual bool use_defines() const = 0;

    /// The printed name of a user symbol or variable, unique within the text.
    const std::string& name_of(const Symbol* symbol);
    /// Whether no user symbol can have this name in a text.
    virtual bool is_reserved(const std::string& name) const = 0;
    /// A name close to `name` that the language can write.
    virtual std::string clean(const std::string& name) const = 0;
    /// The text of a clean name.
    virtual std::string quote(const std::string& name) const = 0;
    /// The text of a clean name as that of a bound variable.
    virtual std::string quote_variable(const std::string& name) const { return quote(name); }
    /// The text of a clean name as the label of a term.
    virtual std::string quote_label(const std::string& name, const Term_*) const
    {
        return quote(name);
    }
    /// `base`, or something longer if the text has this name already.
    std::string unused_name(const std::string& base);
    /// The free bound variables of a labelled term.
    const TermVector& free_variables(const Term_* term) const;

    TermManager* tm_;
    const Configuration::Printer* config_;

private:
    void collect(TermArgs roots);
    void print_shared(std::ostream& out, const Term_* root, bool as_let, size_t* lets);
    void print_nested(std::ostream& out, const Term_* root, bool expand_root);
    void make_label(const Term_* t);

    hsh::HashMap<const Term_*, std::string> labels_; // shared terms; as printed
    TermSet defined_;                                // labels that were printed already
    std::vector<const Symbol*> symbols_;             // of the text, user symbols sorted by name
    std::vector<const DataType*> types_;             // uninterpreted ones, sorted by name
    hsh::HashMap<const Symbol*, std::string> names_;
    hsh::HashSet<std::string> used_names_;
    hsh::HashMap<const Term_*, TermVector> free_variables_; // of labelled terms that have some
};

} // namespace tarq
