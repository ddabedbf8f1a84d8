// The part of the command interface that builds sorts and terms, common to every client of the
// reader: sort tables, scopes, quantifiers, annotations. Commands are left to the derived class.
#pragma once

#include "base/hashmap.h"
#include "lang/smtlib2abstractparser.h"
#include "lang/smtlibtermparser.h"

#include <string>
#include <string_view>
#include <vector>

namespace tarq {

/// Owns a term parser and the sort tables; borrows the term manager. A derived class that keeps
/// several texts or scopes apart takes sorts and definitions back with `remove_sort` and
/// `term_parser().remove_binding`.
class SmtLib2BaseParser : public SmtLib2AbstractParser {
public:
    explicit SmtLib2BaseParser(TermManager* tm);
    SmtLib2BaseParser(const SmtLib2BaseParser&) = delete;
    SmtLib2BaseParser& operator=(const SmtLib2BaseParser&) = delete;

    TermManager* get_term_manager() const { return tm_; }
    SmtLibTermParser& term_parser() { return term_parser_; }

    /// Whether the name is a sort here, of any arity, predefined ones included.
    bool is_sort(std::string_view name) const;
    /// Makes the name of a declared or defined sort free again; without effect on other names.
    void remove_sort(std::string_view name);

    /// Appends the terms and types that a collection has to keep for this parser; between commands.
    void get_roots(TermVector* terms, TypeVector* types) const;
    /// Drops what is stored of names that mean nothing any more; after a collection.
    void forget_unused_names();

    void declare_sort(std::string_view name, unsigned arity) override;
    void define_sort(std::string_view name, SortArgs params, const DataType* body) override;
    void declare_function(std::string_view name, const DataType* sort) override;
    void define_function(std::string_view name, const DataType* sort, const Term_* term) override;
    void define_function(std::string_view name, TermArgs params, const DataType* sort,
                         const Term_* term) override;
    void abandon_command() override;

    void push_let_namespace(bool is_definition) override;
    void pop_let_namespace(bool recycle) override;
    void push_bound_variable(std::string_view name, const Term_* var) override;
    void pop_bound_variables(std::size_t count) override;

    const Term_* make_term(std::string_view name, const DataType* sort) override;
    const Term_* make_term(std::string_view name, const DataType* sort,
                           const std::vector<QNumber>& indices) override;
    const Term_* make_term(std::string_view name, const DataType* sort, TermArgs args) override;
    const Term_* make_term(std::string_view name, const DataType* sort,
                           const std::vector<QNumber>& indices, TermArgs args) override;
    const Term_* make_number_term(std::string_view text) override;
    const Term_* make_number_term(std::string_view text, std::size_t width, int base) override;
    const Term_* make_fresh_variable(const DataType* sort) override;
    const Term_* make_named_variable(std::string_view name, const DataType* sort) override;
    const Term_* make_forall_term(TermArgs vars, const Term_* body) override;
    const Term_* make_exists_term(TermArgs vars, const Term_* body) override;
    void annotate_term(const Term_* term, const std::vector<Attribute>& attributes) override;
    void define_let_binding(std::string_view name, const Term_* term, bool allow_shadow) override;

    const DataType* make_sort(std::string_view name) override;
    const DataType* make_sort(std::string_view name, const std::vector<unsigned>& indices) override;
    const DataType* make_parametric_sort(std::string_view name, SortArgs sorts) override;
    const DataType* make_function_sort(SortArgs sorts) override;
    const DataType* push_sort_parameter(std::string_view name) override;
    void pop_sort_parameters() override;

protected:
    /// The one way out for errors found here.
    /// throws  ParserInterface::error with the text that `locate` makes of the message
    [[noreturn]] void raise(const std::string& message) const;
    /// Adds the place of the error to its message; the default leaves it as it stands.
    virtual std::string locate(const std::string& message) const;
    /// Called for a `:named` attribute that gave a free name to a term.
    virtual void name_term(std::string_view name, const Term_* term);
    /// Called with all attributes of an annotated term, after its names are installed.
    virtual void record_annotations(const Term_* term, const std::vector<Attribute>& attributes);
    /// throws  through `raise` unless the name is free for a sort of the user's
    void check_new_sort(std::string_view name);
    /// throws  TermManager::error unless the term's type is a subtype of `sort`
    void check_type(const Term_* term, const DataType* sort, const char* operation);

private:
    struct Sort {
        ParametricDataType type;
        bool declared = false; ///< by declare-sort, so that declaring it again changes nothing
    };

    using QuantifierMaker = const Term_* (TermManager::*)(const Term_*, const Term_*);
    const Term_* make_quantifier_term(QuantifierMaker make, TermArgs vars, const Term_* body);
    const DataType* placeholder(std::size_t i);

    TermManager* tm_;
    SmtLibTermParser term_parser_;
    hsh::HashMap<std::string, const DataType*> builtin_sorts_;
    hsh::HashMap<std::string, Sort> parametric_sorts_;
    /// Names taken back by `remove_sort` whose simple type still exists in the term manager.
    hsh::HashMap<std::string, bool> removed_sorts_;
    std::vector<std::pair<std::string, const DataType*>> sort_params_;
    std::vector<const DataType*> placeholders_;
};

} // namespace tarq
