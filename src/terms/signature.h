// Signature: the table of declared symbols by name.
#pragma once

#include "base/exception.h"
#include "base/hashmap.h"
#include "base/hashset.h"
#include "terms/symbol.h"

#include <string>
#include <vector>

namespace tarq {

using SymbolSet = hsh::HashSet<const Symbol*>;

/// Owns the symbols of a term manager. Three kinds: named ones, found by `get_symbol`; unlisted
/// ones (the number symbols), which have a name for printing only and so cannot clash with what a
/// user declares; removed ones, whose name is free again while terms may still use them.
class Signature {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// types  borrowed; must outlive the signature
    explicit Signature(TypeUniverse* types);
    ~Signature();
    Signature(const Signature&) = delete;
    Signature& operator=(const Signature&) = delete;

    /// Tells which type is Bool, before the first symbol is made, so that symbols know their class.
    void set_bool_type(const DataType* type) { bool_type_ = type; }
    /// Makes this symbol the head of negations; before the first term with it.
    void set_negation(const Symbol* s);

    /// Declares a new symbol.
    /// throws  error "A symbol with name `" name "' already exists, with type: " type
    const Symbol* add_symbol(const std::string& name, const DataType* type);
    /// A new symbol that is not found by name.
    const Symbol* add_unlisted_symbol(const std::string& name, const DataType* type);
    /// Frees the name; the symbol stays usable until a collection drops it.
    /// throws  error "No symbol with name `" name "' is present"
    void remove_symbol(const std::string& name);
    /// The symbol of that name, or null.
    const Symbol* get_symbol(const std::string& name) const;
    /// Whether this symbol is the one that its name leads to.
    bool is_listed(const Symbol* s) const;

    /// Number of arguments that a type asks for: 0 unless it is a function type.
    size_t compute_arity(const DataType* type) const;

    /// Frees every symbol that is not in `kept`, whatever its kind.
    void gc(const SymbolSet& kept);
    /// Frees all removed symbols; the caller knows that no term uses them.
    void gc_removed();

    /// The named symbols, in the table's order; elements are pairs of name and symbol.
    auto begin() const { return by_name_.begin(); }
    auto end() const { return by_name_.end(); }
    /// Number of named symbols.
    size_t size() const { return by_name_.size(); }

private:
    Symbol* new_symbol(const std::string& name, const DataType* type);

    hsh::HashMap<std::string, Symbol*> by_name_;
    std::vector<Symbol*> unlisted_;
    std::vector<Symbol*> removed_;
    uint64_t next_id_ = 1;
    TypeUniverse* types_;
    const DataType* bool_type_ = nullptr;
};

} // namespace tarq
