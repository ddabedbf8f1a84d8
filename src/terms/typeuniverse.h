// The types: DataType, one interned node, and TypeUniverse, which owns and interns them. What the
// compound shapes mean (bit-vectors, arrays, floats) is known to TermManager only.
#pragma once

#include "base/exception.h"
#include "base/hashmap.h"
#include "base/hashset.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarq {

class DataType;
using TypeVector = std::vector<const DataType*>;

/// A type. Interned: two types of one universe are equal exactly if their addresses are.
///
/// A simple type has a non-zero id and a name; a compound one has id 0 and components. Components
/// are made before the types that hold them, so types form a directed acyclic graph; operations
/// on them walk it without recursion.
class DataType {
public:
    DataType(const DataType&) = delete;
    DataType& operator=(const DataType&) = delete;

    /// Non-zero for a simple type, 0 for a compound one.
    uint64_t get_id() const { return id_; }
    bool is_simple() const { return id_ != 0; }
    /// The name of a simple type.
    /// throws  TypeUniverse::error "Not a simple type!"
    const std::string& get_name() const;
    /// The parts of a compound type, in order; empty for a simple one.
    const TypeVector& get_components() const { return components_; }
    size_t num_components() const { return components_.size(); }
    /// Component i, counted from 0.
    /// throws  TypeUniverse::error with the type's text and " is a simple type" or " has not enough
    ///         components"
    const DataType* get_component(size_t i) const;
    /// A simple type hashes to its id, a compound one by its components' hashes. Constant time.
    uint64_t hash() const { return hash_; }
    /// The name ("T(id)" when it is empty), or "<", the components separated by ", ", and ">".
    /// max_size  characters after which the text is cut off and "..." stands for the rest. A type
    ///           is a graph with sharing, so its text can be exponentially larger than it.
    std::string to_str(size_t max_size = DEFAULT_MAX_TEXT) const;

    static constexpr size_t DEFAULT_MAX_TEXT = size_t{1} << 24;

private:
    friend class TypeUniverse;
    DataType(uint64_t id, std::string name);
    explicit DataType(const TypeVector& components);
    ~DataType() = default;

    uint64_t id_;
    uint64_t hash_;
    std::string name_;
    TypeVector components_;
};

} // namespace tarq

namespace tarq::hsh {

/// Types are keys by their structure's hash: compound ones all have id 0.
template <>
struct hash<const DataType*> {
    size_t operator()(const DataType* t) const { return t ? t->hash() : 0; }
};

} // namespace tarq::hsh

namespace tarq {

using TypeSet = hsh::HashSet<const DataType*>;

/// The interned types of a term manager and their subtype relation.
///
/// Owns all its types. The application type, the marker of function types, lives here as well and
/// is never collected.
class TypeUniverse {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    TypeUniverse();
    ~TypeUniverse();
    TypeUniverse(const TypeUniverse&) = delete;
    TypeUniverse& operator=(const TypeUniverse&) = delete;

    /// A new simple type, different from all others even of the same name.
    const DataType* make_type(const std::string& name);
    /// The interned compound type with these components, at least one.
    const DataType* make_type(const TypeVector& components);

    /// The marker that stands first in a function type; its name is "->", its id 1.
    const DataType* get_application_type() const { return application_; }

    /// Declares `sub` a direct subtype of `super`.
    /// throws  error, with nothing changed: "the special application type can't occur in the
    ///         subtype relation"; the text of `sub` and " is already a subtype of another type";
    ///         the texts of `super` and `sub` around " is a subtype of " if the relation would be
    ///         circular
    void set_subtype(const DataType* super, const DataType* sub);
    /// Whether every value of `a` is one of `b`: the same type, a chain of declared supertypes from
    /// `a` to `b`, or compound types of equal length whose components are subtypes in turn.
    bool is_subtype(const DataType* a, const DataType* b) const;

    /// Frees one type, which nothing may use any more. The application type is left alone.
    void remove_type(const DataType* t);
    /// Frees all types that are not in `kept`. The set must hold the components of each of its
    /// types; supertypes of kept types are kept by this operation.
    void gc(const TypeSet& kept);

    /// Number of types, the application type not counted.
    size_t size() const { return types_.size(); }

private:
    struct StructureHash {
        size_t operator()(const DataType* t) const { return t->hash(); }
    };
    struct StructureEq {
        bool operator()(const DataType* a, const DataType* b) const;
    };

    bool is_declared_subtype(const DataType* a, const DataType* b) const;

    hsh::HashSet<const DataType*, StructureHash, StructureEq> types_;
    hsh::HashMap<const DataType*, const DataType*> subtype_of_; // type to its direct supertype
    uint64_t next_id_ = 2;
    DataType* application_;
};

} // namespace tarq
