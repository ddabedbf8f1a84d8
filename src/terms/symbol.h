// Symbol: one declared name with its type. The table of symbols is in signature.h.
#pragma once

#include "terms/typeuniverse.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarq {

/// What TermBank tells of a term without touching it.
enum class TermClass : uint8_t {
    OTHER,    // not Boolean
    BOOLEAN,  // Boolean, and no negation
    NEGATION, // headed by the Boolean `not`
};

/// A declaration: the head of terms. Owned by the Signature that made it and never changed.
///
/// The first character of the name tells the class: a backquote marks an interpreted symbol, a
/// single quote a bound variable. User symbols start with neither.
class Symbol {
public:
    Symbol(const Symbol&) = delete;
    Symbol& operator=(const Symbol&) = delete;

    /// Unique in the signature, from 1 upward, never used again; also the seed of the term hash.
    uint64_t get_id() const { return id_; }
    const std::string& get_name() const { return name_; }
    /// The number of arguments; 0 for a constant.
    size_t arity() const { return arity_; }
    /// The declared type: the function type when the arity is above 0.
    const DataType* get_type() const { return type_; }
    /// The type of a term with this head.
    const DataType* get_output_type() const { return output_type_; }
    /// The type of argument i, counted from 0, below the arity.
    const DataType* get_arg_type(size_t i) const;
    /// Of the terms with this head.
    TermClass get_term_class() const { return term_class_; }
    /// Whether every argument is Boolean, and there is one.
    bool has_boolean_args() const { return has_boolean_args_; }
    /// Text for messages: the name, ":" and the type.
    std::string to_str() const;

private:
    friend class Signature;
    Symbol(uint64_t id, std::string name, size_t arity, const DataType* type,
           const DataType* bool_type);
    ~Symbol() = default;

    uint64_t id_;
    uint32_t arity_;
    TermClass term_class_;
    bool has_boolean_args_;
    const DataType* type_;
    const DataType* output_type_;
    std::string name_;
};

} // namespace tarq
