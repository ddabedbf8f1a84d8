// From names, indices and arguments to terms: the built-in symbols of SMT-LIB, let and quantifier
// scopes, definitions, numerals. No notion of text or lines; the parsers of both SMT-LIB versions
// stand on it.
#pragma once

#include "base/hashmap.h"
#include "lang/parserinterface.h"
#include "lang/symbolhandler.h"
#include "terms/termmanager.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarq {

/// Names are resolved innermost binding first: lets, definition parameters and quantified variables
/// share one scope stack per name; then definitions, then declared symbols, then built-in ones.
/// Owns its tables; borrows the term manager, in which declared symbols live.
class SmtLibTermParser {
public:
    /// smtlib1  which of the two versions' symbols to install
    SmtLibTermParser(TermManager* tm, bool smtlib1);
    ~SmtLibTermParser();
    SmtLibTermParser(const SmtLibTermParser&) = delete;
    SmtLibTermParser& operator=(const SmtLibTermParser&) = delete;

    /// What `div` and `mod` by zero mean: 1 a value that depends on the dividend only (as SMT-LIB
    /// has it), 0 whatever division by zero gives. The default is 1.
    void set_div_by_zero_mode(int mode) { context_.div_by_zero_mode = mode; }

    /// Applies what `name` means here.
    /// sort     the sort that `(as name sort)` asks for, or null
    /// indices  of `(_ name i ...)`, empty for a plain name
    /// args     empty for a constant
    /// throws   ParserInterface::error: "unknown symbol: ", "unknown indexed symbol: ",
    ///          "wrong number of arguments for symbol `", "bad type requested for symbol `",
    ///          "symbol `" ... "' has non-zero arity", or a handler's; TermManager::error
    const Term_* make_term(std::string_view name, const DataType* sort,
                           const std::vector<QNumber>& indices, TermArgs args);

    /// A numeral or decimal; `base` must be 10.
    const Term_* make_number_term(std::string_view text, int base);
    /// A bit-vector constant of `width` bits; `base` is 2, 10 or 16.
    const Term_* make_number_term(std::string_view text, std::size_t width, int base);

    /// A quantified variable; a new one at each call. It gets its meaning by `push_bound_variable`.
    const Term_* make_named_variable(std::string_view name, const DataType* sort);
    /// A definition parameter: one of this sort that no definition under way uses.
    const Term_* make_fresh_variable(const DataType* sort);

    void push_let_namespace(bool is_definition);
    /// recycle  the variables bound in this namespace may serve the next definition
    void pop_let_namespace(bool recycle);
    /// Binds a name in the namespace opened last.
    /// allow_shadow  false: declared and defined names can't be hidden
    /// throws        ParserInterface::error "parse error" without an open namespace;
    ///               "symbol `" name "' already defined"
    void define_let_binding(std::string_view name, const Term_* term, bool allow_shadow);

    /// throws  ParserInterface::error "symbol `" name "' already defined"
    void define_binding(std::string_view name, const Term_* term);
    /// params  variables made by `make_fresh_variable`
    void define_binding(std::string_view name, TermArgs params, const Term_* term);
    /// The term that a let, a parameter, a quantified variable or a definition gives to the name
    /// now, null without one. For a definition with parameters: its body.
    const Term_* get_binding(std::string_view name) const;
    /// Takes a definition away, so that the name is free again; without effect on an unknown name.
    void remove_binding(std::string_view name);
    /// Whether the name is one of the constants installed at construction (rounding modes, pi,
    /// bit0, bit1) and still means that.
    bool is_predefined(std::string_view name) const;
    /// Lets a declaration take the name of a predefined constant; undone by `restore_predefined`.
    void hide_predefined(std::string_view name);
    /// Gives a hidden predefined constant its meaning back; without effect on other names.
    void restore_predefined(std::string_view name);

    void push_bound_variable(std::string_view name, const Term_* var);
    /// throws  ParserInterface::error "pop_bound_variables: not enough variables to pop"
    void pop_bound_variables(std::size_t count);
    /// The innermost quantified variable of that name, null without one.
    const Term_* get_bound_variable(std::string_view name) const;

    /// Whether a handler interprets the name, or it is "true", "false" or reserved for the library.
    bool is_builtin(std::string_view name) const;
    /// "true", "false" and the names of the library's own functions: not even a definition may take
    /// these.
    static bool is_reserved(std::string_view name);
    /// Whether the term holds a quantified variable or a definition parameter that is in scope now,
    /// so that it has no meaning of its own.
    bool has_open_variables(const Term_* term);
    /// Closes all open namespaces and quantifier scopes, whatever is left open by a broken command.
    void close_scopes();
    /// Appends the terms that a collection has to keep for this parser; between commands.
    void get_roots(TermVector* out) const;
    /// Drops what is stored of names that mean nothing here any more; between commands.
    void forget_unused_names();

private:
    /// Kept per name: two definitions may well have the same body.
    struct Definition {
        const Term_* term = nullptr;
        std::vector<const Term_*> params;
    };
    struct Scope {
        const Term_* term;
        std::size_t
            let_depth; ///< number of the open let namespace that binds it; 0 for a quantifier
    };
    /// All that one name means, found by one look-up.
    struct Name {
        std::string text;
        std::vector<Scope> scopes; ///< lets, parameters, quantified variables; innermost last
        std::unique_ptr<Definition> definition; ///< of the user's, null without one
        const Term_* predefined = nullptr;
        bool hidden = false; ///< `predefined` does not count
        const SymbolHandler* handler = nullptr;
    };
    struct BoundVar {
        Name* name;
        const Term_* var;
    };

    Name* find_name(std::string_view name) const;
    Name* intern_name(std::string_view name);
    const Symbol* find_symbol(const Name* known, std::string_view name) const;
    void define(std::string_view name, Definition definition);
    void recycle_parameter(const Term_* var);
    static bool is_defined(const Name* known);
    void init_symbol_handlers(bool smtlib1);
    const Term_* make_indexed(const Name* known, std::string_view name, const DataType* sort,
                              const std::vector<QNumber>& indices, TermArgs args);
    const Term_* make_bv_literal(std::string_view name, const std::vector<QNumber>& indices);
    const Term_* expand(const Definition& definition, std::string_view name, TermArgs args);
    const Term_* check_sort(std::string_view name, const DataType* requested,
                            const Term_* term) const;

    /// Keys are slices of the entries' own texts.
    struct ViewHash {
        std::size_t operator()(std::string_view s) const;
    };

    TermManager* tm_;
    SymbolHandler::Context context_;
    SymbolHandlerTable handlers_;
    std::vector<std::unique_ptr<Name>> name_store_;
    hsh::HashMap<std::string_view, Name*, ViewHash> names_;
    std::vector<Name*> let_scopes_;       ///< names of all open namespaces in order of binding
    std::vector<std::size_t> let_starts_; ///< where each open namespace begins in `let_scopes_`
    std::vector<BoundVar> bound_vars_;
    std::vector<const Term_*> free_fresh_vars_;
    std::vector<const Term_*> params_in_scope_; ///< fresh variables in use
    mutable std::string scratch_name_;
};

} // namespace tarq
