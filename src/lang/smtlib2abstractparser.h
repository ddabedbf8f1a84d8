// The command interface of SMT-LIB 2: every grammar action is one call of a virtual operation
// below. The reader of the library (smtlib2parser.h) is one implementation, a program that runs
// scripts against an environment is another; most of them start from SmtLib2BaseParser, which
// builds terms.
#pragma once

#include "lang/parserinterface.h"
#include "terms/numbers.h"
#include "terms/term.h"

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarq {

class TermManager;

/// Sort lists as the parser hands them over: valid during the call only, as TermArgs are.
using SortArgs = std::span<const DataType* const>;

/// Commands and term events in the order of the text. All names come without the bars of a quoted
/// symbol and all texts are valid during the call only; keywords keep their colon. An operation
/// reports a failure by throwing; the driver then gives up the rest of the command and calls
/// `abandon_command`.
class SmtLib2AbstractParser {
public:
    /// A sort body with placeholders: what define-sort and declare-sort with an arity leave behind.
    class ParametricDataType {
    public:
        /// Has no body; only good for being assigned to.
        ParametricDataType() = default;
        /// tm      owner of all types met here
        /// body    a type over `params`, which are simple types used nowhere else
        ParametricDataType(TermManager* tm, const DataType* body,
                           std::vector<const DataType*> params);

        /// The body with the placeholders replaced, in order.
        /// sorts    as many as `num_params()`
        /// returns  the type; throws what the type constructors throw
        const DataType* instantiate(SortArgs sorts) const;

        const DataType* get_body() const { return body_; }
        unsigned num_params() const { return static_cast<unsigned>(params_.size()); }

    private:
        TermManager* tm_ = nullptr;
        const DataType* body_ = nullptr;
        std::vector<const DataType*> params_;
    };

    /// The attributes behind an objective or a soft constraint; a later one replaces an earlier
    /// one.
    struct OptAttributes {
        std::string id;                ///< the symbol behind :id, empty without one
        bool is_signed = false;        ///< :signed was given
        const Term_* weight = nullptr; ///< the term behind :weight or :dweight, null without one

        void set_weight(const Term_* w) { weight = w; }
    };

    /// One attribute of an annotated term: the keyword with its colon, and the text of the value
    /// (without bars for :named, as it stands otherwise; empty for an attribute without a value).
    using Attribute = std::pair<std::string, std::string>;

    virtual ~SmtLib2AbstractParser() = default;

    // Commands.
    virtual void set_logic(std::string_view name) = 0;
    virtual void declare_sort(std::string_view name, unsigned arity) = 0;
    /// params  the placeholders that `push_sort_parameter` returned, in order; may be empty
    virtual void define_sort(std::string_view name, SortArgs params, const DataType* body) = 0;
    virtual void declare_function(std::string_view name, const DataType* sort) = 0;
    virtual void define_function(std::string_view name, const DataType* sort,
                                 const Term_* term) = 0;
    /// params  the variables made by `make_fresh_variable`, in order
    virtual void define_function(std::string_view name, TermArgs params, const DataType* sort,
                                 const Term_* term) = 0;
    virtual void push(int n) = 0;
    virtual void pop(int n) = 0;
    /// (push) and (pop) without a numeral. Here the missing numeral is a syntax error; a client
    /// that takes 1 for it overrides these.
    virtual void push_default();
    virtual void pop_default();
    virtual void assert_formula(const Term_* term) = 0;
    virtual void check_sat() = 0;
    virtual void get_assertions() = 0;
    virtual void get_unsat_core() = 0;
    virtual void get_proof() = 0;
    /// Strings, symbols other than true, false and none, values in parentheses, numerals that do
    /// not fit an int; empty when there is no value.
    virtual void set_option(std::string_view key, std::string_view value) = 0;
    /// Numerals, and true and false as 1 and 0.
    virtual void set_option(std::string_view key, int value) = 0;
    /// Decimals, and none as 0.
    virtual void set_option(std::string_view key, double value) = 0;
    virtual void get_info(std::string_view key) = 0;
    virtual void set_info(std::string_view key, std::string_view value) = 0;
    virtual void get_assignment() = 0;
    virtual void get_model() = 0;
    /// texts  the source texts of the terms
    virtual void get_value(const std::vector<std::string>& texts) = 0;
    virtual void exit() = 0;
    virtual void get_interpolant(const std::vector<std::string>& texts) = 0;
    virtual void check_allsat(TermArgs terms) = 0;
    virtual void check_sat_assumptions(TermArgs terms) = 0;
    virtual void get_unsat_assumptions() = 0;
    virtual void reset_assertions() = 0;
    /// Any command that the grammar does not know.
    virtual void generic_command(std::string_view name) = 0;
    virtual void generic_command(std::string_view name, const std::vector<std::string>& args) = 0;
    /// Three commands that reach the interface as generic ones unless a client overrides them.
    virtual void get_option(std::string_view key);
    /// text  the decoded content of the string
    virtual void echo(std::string_view text);
    virtual void reset();
    /// A syntax error, reported once per broken command; the text has no line number.
    virtual void handle_error(const std::string& message) = 0;
    /// The command under way failed or broke off: close every scope that its terms and sorts
    /// opened.
    virtual void abandon_command() = 0;

    // Scopes.
    virtual void push_let_namespace(bool is_definition) = 0;
    virtual void pop_let_namespace(bool recycle) = 0;
    virtual void push_bound_variable(std::string_view name, const Term_* var) = 0;
    virtual void pop_bound_variables(std::size_t count) = 0;

    // Terms.
    virtual const Term_* make_term(std::string_view name, const DataType* sort) = 0;
    virtual const Term_* make_term(std::string_view name, const DataType* sort,
                                   const std::vector<QNumber>& indices) = 0;
    virtual const Term_* make_term(std::string_view name, const DataType* sort, TermArgs args) = 0;
    virtual const Term_* make_term(std::string_view name, const DataType* sort,
                                   const std::vector<QNumber>& indices, TermArgs args) = 0;
    virtual const Term_* make_number_term(std::string_view text) = 0;
    virtual const Term_* make_number_term(std::string_view text, std::size_t width, int base) = 0;
    virtual const Term_* make_fresh_variable(const DataType* sort) = 0;
    virtual const Term_* make_named_variable(std::string_view name, const DataType* sort) = 0;
    /// Closes the scopes of the variables, also when it throws.
    virtual const Term_* make_forall_term(TermArgs vars, const Term_* body) = 0;
    virtual const Term_* make_exists_term(TermArgs vars, const Term_* body) = 0;
    virtual void annotate_term(const Term_* term, const std::vector<Attribute>& attributes) = 0;
    virtual void define_let_binding(std::string_view name, const Term_* term,
                                    bool allow_shadow) = 0;

    // Sorts.
    virtual const DataType* make_sort(std::string_view name) = 0;
    virtual const DataType* make_sort(std::string_view name,
                                      const std::vector<unsigned>& indices) = 0;
    virtual const DataType* make_parametric_sort(std::string_view name, SortArgs sorts) = 0;
    /// sorts  the argument sorts, then the result sort
    virtual const DataType* make_function_sort(SortArgs sorts) = 0;
    /// Opens a parameter of a define-sort: `name` means the returned placeholder until
    /// `pop_sort_parameters`, and hides a sort of that name.
    virtual const DataType* push_sort_parameter(std::string_view name) = 0;
    virtual void pop_sort_parameters() = 0;

    // Bare terms, and objectives.
    virtual void internal_set_parsed_terms(TermArgs terms) = 0;
    virtual void push_minimize(const Term_* term, const OptAttributes& attributes) = 0;
    virtual void push_maximize(const Term_* term, const OptAttributes& attributes) = 0;
    virtual void push_minmax(TermArgs terms, const OptAttributes& attributes) = 0;
    virtual void push_maxmin(TermArgs terms, const OptAttributes& attributes) = 0;
    virtual void assert_soft_formula(const Term_* term, const OptAttributes& attributes) = 0;
    virtual void get_objectives() = 0;
    virtual void load_objective_model(std::string_view which) = 0;
};

} // namespace tarq
