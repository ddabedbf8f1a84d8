// TermManager: the front of the term layer. Owns types, symbols and terms, knows the interpreted
// symbols, and has the constructors, tests, substitution, copying and collection.
#pragma once

#include "base/exception.h"
#include "base/hashmap.h"
#include "base/hashset.h"
#include "base/scopedvalue.h"
#include "terms/freevariablemap.h"
#include "terms/numbers.h"
#include "terms/signature.h"
#include "terms/symbolfamilies.h"
#include "terms/symboltags.h"
#include "terms/term.h"
#include "terms/termbank.h"
#include "terms/termsimplifications.h"
#include "terms/typeuniverse.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

using TermSet = hsh::HashSet<const Term_*>;

/// Terms, symbols and types of one family of environments.
///
/// Owns the TypeUniverse, the Signature and the TermBank. Borrows the simplifier. Everything handed
/// out lives until a collection that does not keep it.
///
/// Conventions of the operations below.
/// * A constructor `make_X` typechecks (if that is on), simplifies (if that is on) and interns. It
///   throws `error` and changes nothing when arguments do not fit: "wrong arity for symbol ...",
///   "type error. term ...". Constructors may be called from inside a simplifier.
/// * A test `is_X` takes a symbol or a term of this manager, and gives the symbol's indices through
///   its out-parameters, of which each may be null and none is written when the answer is no. It is
///   a lookup by symbol id and cannot fail.
/// * Widths are in bits. A float format is given by exponent width and mantissa width, the hidden
///   bit not counted.
class TermManager {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    TermManager();
    virtual ~TermManager();
    TermManager(const TermManager&) = delete;
    TermManager& operator=(const TermManager&) = delete;

    // Modes.

    /// Whether constructors check types; on at first. Off while a check builds internal terms.
    void set_typecheck(bool on) { typecheck_ = on; }
    bool get_typecheck() const { return typecheck_; }
    /// Sets it until the end of the block that holds the result.
    [[nodiscard]] ScopedValue<bool> typecheck_in_scope(bool on) { return {&typecheck_, on}; }
    /// Whether constructors call the simplifier; off at first.
    void set_simplify(bool on) { simplify_ = on; }
    /// Sets it until the end of the block that holds the result.
    [[nodiscard]] ScopedValue<bool> simplify_in_scope(bool on) { return {&simplify_, on}; }
    bool get_simplify() const { return simplify_; }
    /// simplifier  borrowed; null for none
    void set_simplifier(TermSimplifier* simplifier) { simplifier_ = simplifier; }
    TermSimplifier* get_simplifier() const { return simplifier_; }
    /// Whether Boolean arguments of functions, arrays, equalities and term-ITEs are errors; on at
    /// first.
    void set_refuse_bool_args(bool on) { refuse_bool_args_ = on; }
    bool get_refuse_bool_args() const { return refuse_bool_args_; }

    /// The environments that work on this manager count themselves: collection is for one only.
    void add_user() { ++num_users_; }
    void remove_user() { --num_users_; }
    int num_users() const { return num_users_; }

    // Types.

    const DataType* get_bool_type() const { return bool_type_; }
    const DataType* get_int_type() const { return int_type_; }
    const DataType* get_real_type() const { return real_type_; }
    /// The type of the four rounding modes, "FPRounding".
    const DataType* get_rounding_type() const { return rounding_type_; }
    /// Of bit-vectors and of floats as bits. A value takes as much memory, and far beyond this GMP
    /// ends the process.
    static constexpr size_t MAX_WIDTH = size_t{1} << 24;
    /// Any width from 0.
    /// throws  error "bit-vector width too large" above MAX_WIDTH
    const DataType* get_bv_type(size_t width);
    /// throws  error "too small exponent and/or mantissa width for FP numbers: ..." for a width
    ///         below 2, with typechecking on; "FP format too large: ..." above MAX_WIDTH bits
    const DataType* get_fp_type(size_t exp, size_t mant);
    /// throws  error "Arrays with Bool as argument are not supported", "Arrays with functions as
    ///         arguments are not supported"
    const DataType* get_array_type(const DataType* index, const DataType* element);
    /// args    argument types in order, at least one
    /// throws  error "Higher-order functions not supported", "Functions with Bool arguments not
    ///         supported", and "function type without arguments" for no argument
    const DataType* get_function_type(const TypeVector& args, const DataType* result);
    /// throws  error "Higher-order compound types not supported"
    const DataType* get_compound_type(const TypeVector& components);
    /// The user's simple type of that name, Bool, Int and Real included. A missing one is made, or
    /// null is returned with `existing_only`.
    const DataType* get_simple_type(const std::string& name, bool existing_only = false);
    /// A simple type that no name leads to, for placeholders.
    const DataType* make_hidden_type(const std::string& name);

    bool is_bv_type(const DataType* t, size_t* width = nullptr) const;
    bool is_fp_type(const DataType* t, size_t* exp = nullptr, size_t* mant = nullptr) const;
    bool is_array_type(const DataType* t, const DataType** index = nullptr,
                       const DataType** element = nullptr) const;
    /// args  cleared first
    bool is_function_type(const DataType* t, TypeVector* args = nullptr,
                          const DataType** result = nullptr) const;
    /// Bool, bit-vectors, rounding modes and floats. size receives the number of values. A width
    /// above 2^24 bits counts as infinite: no formula can tell the difference.
    bool is_finite_domain_type(const DataType* t, QNumber* size = nullptr) const;
    bool is_subtype(const DataType* a, const DataType* b) const
    {
        return a == b || types_.is_subtype(a, b);
    }
    /// Whether values of the type are numbers: Int and Real.
    bool is_arith_type(const DataType* t) const { return is_subtype(t, real_type_); }
    /// The larger of two related types.
    /// throws  error "unrelated types: " a " and " b
    const DataType* get_supertype(const DataType* a, const DataType* b) const;
    TypeUniverse* get_type_universe() { return &types_; }

    static const DataType* get_type(const Term_* t) { return t->get_symbol()->get_output_type(); }

    // Symbols.

    /// Declares a user symbol; the same name and type again give the same symbol.
    /// throws  error "Empty name for symbol", "Symbols can't start with the \"`\" character" (or
    ///         "'"), "A symbol with name `" name "' already exists, with type: " type
    const Symbol* make_symbol(const std::string& name, const DataType* type);
    /// The symbol of that name, or null. Numbers have none.
    const Symbol* get_symbol(const std::string& name) const { return signature_.get_symbol(name); }
    /// Frees the name of a user symbol, so that it can be declared anew as another symbol. Terms
    /// over the old one stay as they are.
    /// throws  Signature::error "No symbol with name `" name "' is present", for interpreted
    ///         symbols and variables as well
    void remove_symbol(const std::string& name);
    /// `base` if no symbol has that name, else `base` "_" i for the least i from 0 upward that is
    /// free.
    std::string get_unused_symbol_name(const std::string& base);
    const Signature& get_signature() const { return signature_; }

    /// The tag of an interpreted symbol; UNKNOWN for any other, and for the rounding modes.
    SymbolTag::tag get_tag(const Symbol* s) const
    {
        return static_cast<SymbolTag::tag>(class_of(s).tag);
    }
    SymbolTag::tag get_tag(const Term_* t) const { return get_tag(t->get_symbol()); }

    bool is_interpreted(const Symbol* s) const
    {
        return class_of(s).kind >= SymbolKind::INTERPRETED;
    }
    bool is_interpreted(const Term_* t) const { return is_interpreted(t->get_symbol()); }
    /// A bound variable, of a quantifier or a definition.
    bool is_variable(const Symbol* s) const { return class_of(s).kind == SymbolKind::VARIABLE; }
    bool is_variable(const Term_* t) const { return is_variable(t->get_symbol()); }
    /// A user's symbol of arity 0.
    bool is_constant(const Symbol* s) const
    {
        return s->arity() == 0 && class_of(s).kind == SymbolKind::USER;
    }
    bool is_constant(const Term_* t) const { return is_constant(t->get_symbol()); }
    bool is_boolean_constant(const Symbol* s) const
    {
        return is_constant(s) && s->get_output_type() == bool_type_;
    }
    bool is_boolean_constant(const Term_* t) const { return is_boolean_constant(t->get_symbol()); }
    bool is_uninterpreted_function(const Symbol* s) const
    {
        return s->arity() > 0 && class_of(s).kind == SymbolKind::USER;
    }
    bool is_uninterpreted_function(const Term_* t) const
    {
        return is_uninterpreted_function(t->get_symbol());
    }
    /// A Boolean term whose head is no connective and not true or false. Quantifiers, Boolean
    /// equalities and Boolean term-ITEs are atoms.
    bool is_boolean_atom(const Term_* t) const
    {
        const Symbol* s = t->get_symbol();
        return s->get_output_type() == bool_type_ && !is_connective(s) && s != true_symbol_ &&
               s != false_symbol_;
    }
    /// not, and, or, iff.
    bool is_connective(const Symbol* s) const
    {
        return s == not_symbol_ || s == and_symbol_ || s == or_symbol_ || s == iff_symbol_;
    }

    // General construction.

    /// The application of any symbol. Overridden by managers that add a step of their own.
    virtual const Term_* make_term(const Symbol* symbol, TermArgs args);
    /// Interns the application without typecheck or simplification.
    const Term_* do_make_term(const Symbol* symbol, TermArgs args)
    {
        return bank_.make_term(symbol, args);
    }
    const Term_* make_constant(const Symbol* symbol);
    const Term_* make_uninterpreted_function(const Symbol* symbol, TermArgs args);

    /// The check of one term.
    /// op_name  the operation named in the message
    /// throws   error "type error. term " shallow text " has type " its type ", but " expected
    ///          " was expected. (" op_name ")", also when typechecking is off
    void typecheck(const Term_* t, const DataType* expected, const char* op_name) const;
    /// The check of an application; nothing when typechecking is off. Messages name the constructor
    /// in use, or the symbol.
    void typecheck(const Symbol* symbol, TermArgs args) const;

    // Boolean.

    const Term_* make_true() const { return true_; }
    const Term_* make_false() const { return false_; }
    const Term_* make_bool(bool value) const { return value ? true_ : false_; }
    const Term_* make_not(const Term_* a) { return make_unary(not_symbol_, "make_not", a); }
    const Term_* make_and(const Term_* a, const Term_* b)
    {
        return make_binary(and_symbol_, "make_and", a, b);
    }
    const Term_* make_or(const Term_* a, const Term_* b)
    {
        return make_binary(or_symbol_, "make_or", a, b);
    }
    const Term_* make_iff(const Term_* a, const Term_* b)
    {
        return make_binary(iff_symbol_, "make_iff", a, b);
    }

    bool is_true(const Symbol* s) const { return s == true_symbol_; }
    bool is_true(const Term_* t) const { return t == true_; }
    bool is_false(const Symbol* s) const { return s == false_symbol_; }
    bool is_false(const Term_* t) const { return t == false_; }
    bool is_not(const Symbol* s) const { return s == not_symbol_; }
    bool is_not(const Term_* t) const { return is_not(t->get_symbol()); }
    bool is_and(const Symbol* s) const { return s == and_symbol_; }
    bool is_and(const Term_* t) const { return is_and(t->get_symbol()); }
    bool is_or(const Symbol* s) const { return s == or_symbol_; }
    bool is_or(const Term_* t) const { return is_or(t->get_symbol()); }
    bool is_iff(const Symbol* s) const { return s == iff_symbol_; }
    bool is_iff(const Term_* t) const { return is_iff(t->get_symbol()); }

    // Arithmetic. The binary operations take the Int symbol when both arguments are Int, else the
    // Real one.

    const Term_* make_plus(const Term_* a, const Term_* b)
    {
        return make_binary(plus_symbols_[both_int(a, b)], "make_plus", a, b);
    }
    const Term_* make_times(const Term_* a, const Term_* b)
    {
        return make_binary(times_symbols_[both_int(a, b)], "make_times", a, b);
    }
    const Term_* make_leq(const Term_* a, const Term_* b)
    {
        return make_binary(leq_symbols_[both_int(a, b)], "make_leq", a, b);
    }
    const Term_* make_divide(const Term_* a, const Term_* b)
    {
        return make_binary(divide_symbol_, "make_divide", a, b);
    }
    const Term_* make_floor(const Term_* a) { return make_unary(floor_symbol_, "make_floor", a); }
    const Term_* make_pi();
    const Term_* make_exp(const Term_* a) { return make_unary(exp_symbol_, "make_exp", a); }
    const Term_* make_sin(const Term_* a) { return make_unary(sin_symbol_, "make_sin", a); }
    const Term_* make_log(const Term_* a) { return make_unary(log_symbol_, "make_log", a); }
    const Term_* make_asin(const Term_* a) { return make_unary(asin_symbol_, "make_asin", a); }
    const Term_* make_pow(const Term_* base, const Term_* exponent)
    {
        return make_binary(pow_symbol_, "make_pow", base, exponent);
    }
    /// a and b are congruent modulo `modulus`.
    /// throws  error "bad modulus: " and the number, unless it is a positive integer
    const Term_* make_int_modular_congruence(const QNumber& modulus, const Term_* a,
                                             const Term_* b);

    const Symbol* get_plus_symbol(bool is_int) const { return plus_symbols_[is_int]; }
    const Symbol* get_times_symbol(bool is_int) const { return times_symbols_[is_int]; }
    const Symbol* get_leq_symbol(bool is_int) const { return leq_symbols_[is_int]; }

    bool is_plus(const Symbol* s) const { return s == plus_symbols_[0] || s == plus_symbols_[1]; }
    bool is_plus(const Term_* t) const { return is_plus(t->get_symbol()); }
    bool is_times(const Symbol* s) const
    {
        return s == times_symbols_[0] || s == times_symbols_[1];
    }
    bool is_times(const Term_* t) const { return is_times(t->get_symbol()); }
    bool is_leq(const Symbol* s) const { return s == leq_symbols_[0] || s == leq_symbols_[1]; }
    bool is_leq(const Term_* t) const { return is_leq(t->get_symbol()); }
    bool is_divide(const Symbol* s) const { return s == divide_symbol_; }
    bool is_divide(const Term_* t) const { return is_divide(t->get_symbol()); }
    bool is_floor(const Symbol* s) const { return s == floor_symbol_; }
    bool is_floor(const Term_* t) const { return is_floor(t->get_symbol()); }
    bool is_pi(const Symbol* s) const { return s == pi_symbol_; }
    bool is_pi(const Term_* t) const { return is_pi(t->get_symbol()); }
    bool is_exp(const Symbol* s) const { return s == exp_symbol_; }
    bool is_exp(const Term_* t) const { return is_exp(t->get_symbol()); }
    bool is_sin(const Symbol* s) const { return s == sin_symbol_; }
    bool is_sin(const Term_* t) const { return is_sin(t->get_symbol()); }
    bool is_log(const Symbol* s) const { return s == log_symbol_; }
    bool is_log(const Term_* t) const { return is_log(t->get_symbol()); }
    bool is_asin(const Symbol* s) const { return s == asin_symbol_; }
    bool is_asin(const Term_* t) const { return is_asin(t->get_symbol()); }
    bool is_pow(const Symbol* s) const { return s == pow_symbol_; }
    bool is_pow(const Term_* t) const { return is_pow(t->get_symbol()); }
    bool is_int_modular_congruence(const Symbol* s, QNumber* modulus = nullptr) const;
    bool is_int_modular_congruence(const Term_* t, QNumber* modulus = nullptr) const
    {
        return is_int_modular_congruence(t->get_symbol(), modulus);
    }

    // Equality, if-then-else, quantifiers.

    /// Equality of two terms of related types; the symbol is that of the larger type.
    /// throws  error "Equality arguments can't be Boolean" while those are refused
    const Term_* make_equal(const Term_* a, const Term_* b);
    /// c is Boolean; a and b have related types, of which the larger is the result's.
    /// throws  error "Term-ITE arguments can't be Boolean" while those are refused
    const Term_* make_term_ite(const Term_* c, const Term_* a, const Term_* b);
    /// var     a bound variable
    /// throws  error "type error. term " text " is not a variable"
    const Term_* make_forall(const Term_* var, const Term_* body);
    const Term_* make_exists(const Term_* var, const Term_* body);
    /// A new bound variable, different from all others even of the same name. Its symbol's name is
    /// the quote and `name`, made unique.
    /// throws  error "Variable names can't start with a number", "Higher-order variables are not
    ///         supported"
    const Term_* make_named_variable(const std::string& name, const DataType* type);
    /// A new bound variable named by the quote and a counter.
    /// throws  error "impossible to create variable ...", "Higher-order variables are not
    /// supported"
    const Term_* make_fresh_variable(const DataType* type);

    const Symbol* make_equality_symbol(const DataType* type);
    const Symbol* make_term_ite_symbol(const DataType* type);
    const Symbol* make_forall_symbol(const DataType* type);
    const Symbol* make_exists_symbol(const DataType* type);

    bool is_equal(const Symbol* s, const DataType** type = nullptr) const
    {
        return is_family(s, SymbolTag::EQ, type);
    }
    bool is_equal(const Term_* t, const DataType** type = nullptr) const
    {
        return is_equal(t->get_symbol(), type);
    }
    bool is_term_ite(const Symbol* s, const DataType** type = nullptr) const
    {
        return is_family(s, SymbolTag::ITE, type);
    }
    bool is_term_ite(const Term_* t, const DataType** type = nullptr) const
    {
        return is_term_ite(t->get_symbol(), type);
    }
    bool is_forall(const Symbol* s, const DataType** type = nullptr) const
    {
        return is_family(s, SymbolTag::FORALL, type);
    }
    bool is_forall(const Term_* t, const DataType** type = nullptr) const
    {
        return is_forall(t->get_symbol(), type);
    }
    bool is_exists(const Symbol* s, const DataType** type = nullptr) const
    {
        return is_family(s, SymbolTag::EXISTS, type);
    }
    bool is_exists(const Term_* t, const DataType** type = nullptr) const
    {
        return is_exists(t->get_symbol(), type);
    }
    bool is_quantifier(const Symbol* s) const { return get_tag(s) >= SymbolTag::FORALL; }
    bool is_quantifier(const Term_* t) const { return is_quantifier(t->get_symbol()); }

    // Arrays.

    const Term_* make_array_read(const Term_* array, const Term_* index);
    const Term_* make_array_write(const Term_* array, const Term_* index, const Term_* element);
    /// The array of type `type` that holds `element` at every index.
    /// throws  error "type error. type " type " is not an array type"
    const Term_* make_array_const(const DataType* type, const Term_* element);

#define TARQ_ARRAY_TEST(name, TAG)                                                                 \
    bool is_##name(const Symbol* s, const DataType** index = nullptr,                              \
                   const DataType** element = nullptr) const                                       \
    {                                                                                              \
        return is_family(s, SymbolTag::TAG, index, element);                                       \
    }                                                                                              \
    bool is_##name(const Term_* t, const DataType** index = nullptr,                               \
                   const DataType** element = nullptr) const                                       \
    {                                                                                              \
        return is_family(t->get_symbol(), SymbolTag::TAG, index, element);                         \
    }
    TARQ_ARRAY_TEST(array_read, ARRAY_READ)
    TARQ_ARRAY_TEST(array_write, ARRAY_WRITE)
    TARQ_ARRAY_TEST(array_const, ARRAY_CONST)
#undef TARQ_ARRAY_TEST

    // Numbers.

    /// The term of a rational number, of type Int if it is an integer, else Real.
    const Term_* make_number(const QNumber& q);
    /// The bit-vector of `width` bits whose unsigned value is q.
    /// throws  error "can't make a bv number from a negative number: ", "can't make a bv number
    ///         from a fractional number: ", "the number " q " doesn't fit in " width " bits"
    const Term_* make_bv_number(const QNumber& q, size_t width);
    /// The float with this IEEE bit pattern of exp + mant + 1 bits. All patterns of NaN give one
    /// term.
    /// throws  error as `make_bv_number`, and as `get_fp_type`
    const Term_* make_fp_bits_number(const QNumber& bits, size_t exp, size_t mant);
    /// The float nearest to q by a rounding mode.
    /// rounding  one of the four constants, else error "unsupported rounding mode: " and its text
    const Term_* make_fp_rat_number(const QNumber& q, size_t exp, size_t mant,
                                    const Term_* rounding);
    const Term_* make_fp_plus_inf(size_t exp, size_t mant);
    const Term_* make_fp_minus_inf(size_t exp, size_t mant);
    const Term_* make_fp_nan(size_t exp, size_t mant);

    /// Any number: rational, bit-vector or float.
    /// value  its value; for a float its bit pattern
    bool is_number(const Symbol* s, QNumber* value = nullptr) const;
    bool is_number(const Term_* t, QNumber* value = nullptr) const
    {
        return is_number(t->get_symbol(), value);
    }
    /// A number of type Int or Real.
    bool is_arith_number(const Symbol* s, QNumber* value = nullptr) const;
    bool is_arith_number(const Term_* t, QNumber* value = nullptr) const
    {
        return is_arith_number(t->get_symbol(), value);
    }
    bool is_bv_number(const Symbol* s, QNumber* value = nullptr, size_t* width = nullptr) const;
    bool is_bv_number(const Term_* t, QNumber* value = nullptr, size_t* width = nullptr) const
    {
        return is_bv_number(t->get_symbol(), value, width);
    }
    bool is_fp_number(const Symbol* s, QNumber* bits = nullptr, size_t* exp = nullptr,
                      size_t* mant = nullptr) const;
    bool is_fp_number(const Term_* t, QNumber* bits = nullptr, size_t* exp = nullptr,
                      size_t* mant = nullptr) const
    {
        return is_fp_number(t->get_symbol(), bits, exp, mant);
    }

    // Bit-vectors and floats. The regular families: two operands of one width, one operand, or a
    // float operation with its rounding mode first; for each `make_NAME` and `is_NAME`.
#include "terms/familyoperations.def"

    /// `a` in the high bits, `b` in the low ones.
    const Term_* make_bv_concat(const Term_* a, const Term_* b);
    /// Bits msb down to lsb, both counted from 0 and included.
    /// throws  error "bv extraction of an empty range: [msb:lsb]", "range too large in bv
    ///         extraction. arg has width ..."
    const Term_* make_bv_extract(size_t msb, size_t lsb, const Term_* t);
    const Term_* make_bv_rotate_left(size_t amount, const Term_* t);
    const Term_* make_bv_rotate_right(size_t amount, const Term_* t);
    /// `amount` bits more.
    const Term_* make_bv_zero_extend(size_t amount, const Term_* t);
    const Term_* make_bv_sign_extend(size_t amount, const Term_* t);
    /// An Int modulo 2^width.
    const Term_* make_int_to_bv(size_t width, const Term_* t);

    bool is_bv_extract(const Symbol* s, size_t* msb = nullptr, size_t* lsb = nullptr,
                       size_t* width = nullptr) const
    {
        return is_family(s, SymbolTag::BV_EXTRACT, msb, lsb, width);
    }
    bool is_bv_extract(const Term_* t, size_t* msb = nullptr, size_t* lsb = nullptr,
                       size_t* width = nullptr) const
    {
        return is_bv_extract(t->get_symbol(), msb, lsb, width);
    }
    // width is that of the argument
#define TARQ_AMOUNT_TEST(name, TAG)                                                                \
    bool is_##name(const Symbol* s, size_t* amount = nullptr, size_t* width = nullptr) const       \
    {                                                                                              \
        return is_family(s, SymbolTag::TAG, width, amount);                                        \
    }                                                                                              \
    bool is_##name(const Term_* t, size_t* amount = nullptr, size_t* width = nullptr) const        \
    {                                                                                              \
        return is_family(t->get_symbol(), SymbolTag::TAG, width, amount);                          \
    }
    TARQ_AMOUNT_TEST(bv_rol, BV_ROL)
    TARQ_AMOUNT_TEST(bv_ror, BV_ROR)
    TARQ_AMOUNT_TEST(bv_zext, BV_ZEXT)
    TARQ_AMOUNT_TEST(bv_sext, BV_SEXT)
#undef TARQ_AMOUNT_TEST

    const Term_* make_fprounding_even() const
    {
        return rounding_terms_[0];
    }
    const Term_* make_fprounding_zero() const
    {
        return rounding_terms_[1];
    }
    const Term_* make_fprounding_plus_inf() const
    {
        return rounding_terms_[2];
    }
    const Term_* make_fprounding_minus_inf() const
    {
        return rounding_terms_[3];
    }
    /// One of the four rounding constants.
    /// mode  0 to nearest even, 1 to zero, 2 to plus infinity, 3 to minus infinity
    bool is_fprounding(const Term_* t, int* mode = nullptr) const;

    /// A float in another format.
    const Term_* make_fp_cast(size_t exp, size_t mant, const Term_* rounding, const Term_* t);
    /// The float of a bit-vector read as a signed or unsigned integer.
    const Term_* make_fp_from_sbv(size_t exp, size_t mant, const Term_* rounding, const Term_* t);
    const Term_* make_fp_from_ubv(size_t exp, size_t mant, const Term_* rounding, const Term_* t);
    /// The integer nearest to a float as a two's complement bit-vector.
    const Term_* make_fp_to_bv(size_t width, const Term_* rounding, const Term_* t);
    /// The float of a bit pattern of exp + mant + 1 bits.
    const Term_* make_fp_from_ieeebv(size_t exp, size_t mant, const Term_* t);

    /// exp and mant are those of the argument, to_exp and to_mant those of the result.
    bool is_fp_cast(const Symbol* s, size_t* exp = nullptr, size_t* mant = nullptr,
                    size_t* to_exp = nullptr, size_t* to_mant = nullptr) const
    {
        return is_family(s, SymbolTag::FP_CAST, exp, mant, to_exp, to_mant);
    }
    bool is_fp_cast(const Term_* t, size_t* exp = nullptr, size_t* mant = nullptr,
                    size_t* to_exp = nullptr, size_t* to_mant = nullptr) const
    {
        return is_fp_cast(t->get_symbol(), exp, mant, to_exp, to_mant);
    }
#define TARQ_THREE_INDEX_TEST(name, TAG, first, second, third)                                     \
    bool is_##name(const Symbol* s, size_t* first = nullptr, size_t* second = nullptr,             \
                   size_t* third = nullptr) const                                                  \
    {                                                                                              \
        return is_family(s, SymbolTag::TAG, first, second, third);                                 \
    }                                                                                              \
    bool is_##name(const Term_* t, size_t* first = nullptr, size_t* second = nullptr,              \
                   size_t* third = nullptr) const                                                  \
    {                                                                                              \
        return is_family(t->get_symbol(), SymbolTag::TAG, first, second, third);                   \
    }
    TARQ_THREE_INDEX_TEST(fp_from_sbv, FP_FROM_SBV, width, exp, mant)
    TARQ_THREE_INDEX_TEST(fp_from_ubv, FP_FROM_UBV, width, exp, mant)
    TARQ_THREE_INDEX_TEST(fp_to_bv, FP_TO_BV, exp, mant, width)
#undef TARQ_THREE_INDEX_TEST

    /// The symbol of a family with these indices, made on first use.
    /// tag  of a family of the table
    const Symbol* make_family_symbol(SymbolTag::tag tag, const SymbolIndices& indices);
    /// Whether the symbol belongs to the family of `tag`; `out` receives its indices, in the order
    /// of the table. For the fixed Int and Real equalities too.
    bool get_family_indices(const Symbol* s, SymbolTag::tag* tag, SymbolIndices* out) const;

    // Rewriting.

    /// Simultaneous replacement of the keys of `map` by their values, bottom-up through
    /// `make_term`; a replaced term is not walked. Free variables of a value are never captured: a
    /// quantifier that would do so gets a fresh variable. A key that holds a variable bound around
    /// an occurrence is not replaced there. use_cache  with true, results are kept in `map` for the
    /// next call, which then must go on with
    ///            the same replacements; with false, `map` is left alone
    /// throws     error of the constructors, when a replacement does not fit
    const Term_* substitute(const Term_* t, TermMap& map, bool use_cache);
    const Term_* substitute(const Term_* t, const TermMap& map);
    /// Replaces from[i] by to[i].
    /// throws  error "Incompatible arguments to substitute" for different lengths
    const Term_* substitute(const Term_* t, TermArgs from, TermArgs to);

    /// For each subterm its free bound variables, as a sorted vector or as a set. The first shares
    /// equal sets; the second makes one for each term.
    FreeVariableMap get_free_variable_map(const Term_* t) const;
    hsh::HashMap<const Term_*, TermSet> get_free_variable_set_map(const Term_* t) const;

    // Transfer from another manager. User symbols go by name, interpreted ones by meaning; terms
    // are built by `make_term`. A symbol whose name was taken back in `src`, and a variable whose
    // name has another type here, become fresh symbols, the same one at each call.

    /// src     another manager, borrowed; not this one
    /// throws  error of `make_symbol` when a name has another type here, and of the constructors
    const Term_* copy_term(const TermManager* src, const Term_* t);
    /// map  terms of `src` to the terms of this manager that stand for them; results are added
    const Term_* copy_term_with_subst(const TermManager* src, const Term_* t, TermMap& map);
    /// The same for a list, with one cache.
    TermVector copy_terms(const TermManager* src, TermArgs terms);
    std::vector<const Symbol*> copy_symbols(const TermManager* src,
                                            const std::vector<const Symbol*>& symbols);
    TypeVector copy_types(const TermManager* src, const TypeVector& types);
    const Symbol* copy_symbol(const TermManager* src, const Symbol* s);
    const DataType* copy_type(const TermManager* src, const DataType* t);

    // Collection.

    /// Frees all terms, symbols and types but the fixed ones, the given ones, and what these are
    /// made of. Handles to anything else dangle; ids of freed terms may be given again.
    /// Returns false and frees nothing while more than one user is counted.
    bool gc(const TermVector& terms, const std::vector<const Symbol*>& symbols,
            const TypeVector& types);
    /// The live term with this id, or null. A linear search, for debugging.
    const Term_* debug_get_term(uint64_t id) const;
    const TermBank& get_bank() const
    {
        return bank_;
    }

private:
    /// The kinds up to VARIABLE are uninterpreted, those from INTERPRETED on are interpreted.
    enum class SymbolKind : uint8_t { USER, VARIABLE, INTERPRETED, NUMBER, BV_NUMBER, FP_NUMBER };
    /// What is known of a symbol, by its id.
    struct SymbolClass {
        uint32_t record = 0; // in families_ (0 for none), congruences_ or numbers_
        SymbolKind kind = SymbolKind::USER;
        int8_t tag = SymbolTag::UNKNOWN;
    };
    struct FamilyRecord {
        const Symbol* symbol = nullptr; // null in a free record
        SymbolTag::tag tag = SymbolTag::UNKNOWN;
        SymbolIndices indices;
    };
    struct CongruenceRecord {
        const Symbol* symbol = nullptr;
        QNumber modulus;
    };
    /// Value with width and format; the zero fields tell the three kinds of numbers apart.
    struct NumberKey {
        QNumber value;
        SymbolKind kind = SymbolKind::NUMBER;
        uint64_t width_or_exp = 0;
        uint64_t mant = 0;
        bool operator==(const NumberKey&) const = default;
        size_t hash() const;
    };
    struct NumberRecord {
        const Symbol* symbol = nullptr;
        const Term_* term = nullptr; // null when a collection kept the symbol only
        NumberKey key;
    };
    struct FamilyKey {
        SymbolTag::tag tag;
        SymbolIndices indices;
        bool operator==(const FamilyKey&) const = default;
        size_t hash() const;
    };
    class Substitution;
    class TermCopyCallback;
    class GcVisitCallback;

    const SymbolClass& class_of(const Symbol* s) const
    {
        static constexpr SymbolClass USER_CLASS{};
        const uint64_t id = s->get_id();
        return id < classes_.size() ? classes_[id] : USER_CLASS;
    }
    void set_class(const Symbol* s, SymbolClass c);

    /// Tests the tag and gives the indices.
    template <class... Out>
    bool is_family(const Symbol* s, SymbolTag::tag tag, Out*... out) const
    {
        const SymbolClass& c = class_of(s);
        if (c.tag != tag) {
            return false;
        }
        const SymbolIndices& indices = families_[c.record].indices;
        size_t i = 0;
        (give_index(indices, i++, out), ...);
        return true;
    }
    static void give_index(const SymbolIndices& indices, size_t i, size_t* out)
    {
        if (out) {
            *out = indices.n[i];
        }
    }
    static void give_index(const SymbolIndices& indices, size_t i, const DataType** out)
    {
        if (out) {
            *out = indices.types[i];
        }
    }

    void initialize_standard_signature();
    const Symbol* add_interpreted_symbol(const std::string& name, const DataType* type,
                                         SymbolTag::tag tag);
    const Symbol* add_fixed_symbol(const char* name, const DataType* arg, size_t arity,
                                   const DataType* result, int tag);
    const DataType* application_type(const TypeVector& args, const DataType* result);
    const DataType* get_type_from_width(size_t width);
    const DataType* family_type(SymbolShape shape, const SymbolIndices& indices);
    std::string family_name(const SymbolFamily& family, const SymbolIndices& indices);
    void register_family(const Symbol* s, SymbolTag::tag tag, const SymbolIndices& indices);
    bool are_boolean_arguments(const Symbol* symbol, TermArgs args) const;
    void check_application(const Symbol* symbol, TermArgs args, const char* op_name) const;

    bool both_int(const Term_* a, const Term_* b) const
    {
        return get_type(a) == int_type_ && get_type(b) == int_type_;
    }
    const Term_* make_named(const Symbol* symbol, const char* op_name, TermArgs args);
    const Term_* make_unary(const Symbol* symbol, const char* op_name, const Term_* a)
    {
        const Term_* args[] = {a};
        return make_named(symbol, op_name, args);
    }
    const Term_* make_binary(const Symbol* symbol, const char* op_name, const Term_* a,
                             const Term_* b)
    {
        const Term_* args[] = {a, b};
        return make_named(symbol, op_name, args);
    }
    [[noreturn]] void throw_type_error(const Term_* t, const DataType* expected,
                                       const char* op_name) const;

    const Symbol* make_congruence_symbol(const QNumber& modulus);
    const DataType* common_type(const Term_* a, const Term_* b) const;
    const Term_* make_quantifier(SymbolTag::tag tag, const char* op_name, const Term_* var,
                                 const Term_* body);
    const Term_* make_variable(const std::string& name, const DataType* type);
    const DataType* array_argument(const Term_* t, SymbolIndices* indices) const;

    size_t bv_width(const Term_* t, const char* what) const;
    const Term_* make_bv_unary(SymbolTag::tag tag, const char* op_name, const Term_* a);
    const Term_* make_bv_binary(SymbolTag::tag tag, const char* op_name, const Term_* a,
                                const Term_* b);
    const Term_* make_bv_indexed(SymbolTag::tag tag, const char* op_name, size_t amount,
                                 const Term_* t);
    SymbolIndices fp_format(const Term_* t) const;
    const Term_* make_fp_op(SymbolTag::tag tag, const char* op_name, const Term_* rounding,
                            const Term_* a, const Term_* b);
    const Term_* make_fp_from_bv(SymbolTag::tag tag, const char* op_name, size_t exp, size_t mant,
                                 const Term_* rounding, const Term_* t);
    const Term_* make_value(const NumberKey& key, const DataType* type, const std::string& name);
    const Term_* find_value(const NumberKey& key) const;
    bool is_value(const Symbol* s, SymbolKind kind, QNumber* value, size_t* a, size_t* b) const;

    const Symbol* copy_user_symbol(const TermManager* src, const Symbol* s);
    const Symbol* copy_interpreted_symbol(const TermManager* src, const Symbol* s);
    const Symbol* add_user_symbol(const std::string& name, const DataType* type, SymbolKind kind);
    const Term_* copy_value(const TermManager* src, const Symbol* s);
    const DataType* copy_one_type(const TermManager* src, const DataType* t,
                                  const hsh::HashMap<const DataType*, const DataType*>& done);

    void gc_symbol_tables(const SymbolSet& symbols, const BitVector& seen);
    void gc_type_tables(const TypeSet& types);

    TypeUniverse types_;
    Signature signature_;
    TermBank bank_;

    bool typecheck_ = true;
    bool simplify_ = false;
    bool refuse_bool_args_ = true;
    TermSimplifier* simplifier_ = nullptr;
    int num_users_ = 0;
    // The constructor in use, taken by the next make_term; null for none.
    const char* op_name_ = nullptr;

    const DataType* bool_type_ = nullptr;
    const DataType* real_type_ = nullptr;
    const DataType* int_type_ = nullptr;
    const DataType* array_marker_ = nullptr;
    const DataType* bv_marker_ = nullptr;
    const DataType* rounding_type_ = nullptr;
    const DataType* fp_marker_ = nullptr;
    hsh::HashMap<std::string, const DataType*> simple_types_;
    hsh::HashMap<size_t, const DataType*> type_of_width_;
    hsh::HashMap<const DataType*, size_t> width_of_type_;
    hsh::HashMap<std::pair<size_t, size_t>, const DataType*> type_of_format_;
    hsh::HashMap<const DataType*, std::pair<size_t, size_t>> format_of_type_;

    const Symbol* true_symbol_ = nullptr;
    const Symbol* false_symbol_ = nullptr;
    const Symbol* not_symbol_ = nullptr;
    const Symbol* and_symbol_ = nullptr;
    const Symbol* or_symbol_ = nullptr;
    const Symbol* iff_symbol_ = nullptr;
    std::array<const Symbol*, 2> plus_symbols_{}; // Real, Int
    std::array<const Symbol*, 2> times_symbols_{};
    std::array<const Symbol*, 2> leq_symbols_{};
    const Symbol* divide_symbol_ = nullptr;
    const Symbol* floor_symbol_ = nullptr;
    const Symbol* pi_symbol_ = nullptr;
    const Symbol* exp_symbol_ = nullptr;
    const Symbol* sin_symbol_ = nullptr;
    const Symbol* log_symbol_ = nullptr;
    const Symbol* asin_symbol_ = nullptr;
    const Symbol* pow_symbol_ = nullptr;
    std::array<const Term_*, 4> rounding_terms_{};
    const Term_* true_ = nullptr;
    const Term_* false_ = nullptr;
    std::vector<const Symbol*> fixed_symbols_; // never collected; every manager has the same list

    std::vector<SymbolClass> classes_;    // by symbol id; may be shorter: user symbols
    std::vector<FamilyRecord> families_;  // record 0 is the empty one
    std::vector<uint32_t> free_families_; // free records
    hsh::HashMap<FamilyKey, const Symbol*> family_symbols_;
    std::vector<CongruenceRecord> congruences_;
    std::vector<uint32_t> free_congruences_;
    hsh::HashMap<QNumber, const Symbol*> congruence_symbols_;
    std::vector<NumberRecord> numbers_;
    std::vector<uint32_t> free_numbers_;
    hsh::HashMap<NumberKey, uint32_t> number_records_; // value to its record

    uint64_t fresh_variables_ = 0;                     // counter of make_fresh_variable
    bool has_quantifiers_ = false;                     // whether one was ever made
    hsh::HashMap<std::string, uint64_t> unused_names_; // base to the least suffix that may be free

    const uint64_t serial_; // tells managers apart, for copied_symbols_
    // (serial of the source, symbol id) to the symbol here, where the name does not tell it
    hsh::HashMap<std::pair<uint64_t, uint64_t>, const Symbol*> copied_symbols_;
    hsh::HashMap<std::pair<uint64_t, uint64_t>, const DataType*> copied_types_; // the same
};

} // namespace tarq
