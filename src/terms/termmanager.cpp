// The manager's start, the general construction path with its checks, and the constructors of the
// Boolean, arithmetic, equality, quantifier and array families. The rest of the class stands in
// termmanager_types, _symbols, _numbers, _bv, _fp, _subst, _copy and _gc.
#include "terms/termmanager.h"

#include "base/assertion.h"
#include "terms/termtext.h"

#include <cctype>

namespace tarq {

namespace {

// One thread runs all managers, so a plain counter does.
uint64_t next_serial = 0;

} // namespace

TermManager::TermManager() : signature_(&types_), families_(1), serial_(next_serial++)
{
    initialize_standard_signature();
}

TermManager::~TermManager() = default;

void TermManager::initialize_standard_signature()
{
    bool_type_ = types_.make_type("Bool");
    signature_.set_bool_type(bool_type_);
    real_type_ = types_.make_type("Real");
    int_type_ = types_.make_type("Int");
    array_marker_ = types_.make_type("Array");
    bv_marker_ = types_.make_type("BitVec");
    rounding_type_ = types_.make_type("FPRounding");
    fp_marker_ = types_.make_type("FP");
    types_.set_subtype(real_type_, int_type_);
    // The markers and the rounding type stay out of the user's name space: a user sort of such a
    // name is another type.
    simple_types_["Bool"] = bool_type_;
    simple_types_["Real"] = real_type_;
    simple_types_["Int"] = int_type_;

    const DataType* b = bool_type_;
    const DataType* r = real_type_;
    const DataType* i = int_type_;
    true_symbol_ = add_fixed_symbol("true", b, 0, b, SymbolTag::TRUE);
    false_symbol_ = add_fixed_symbol("false", b, 0, b, SymbolTag::FALSE);
    not_symbol_ = add_fixed_symbol("not", b, 1, b, SymbolTag::NOT);
    signature_.set_negation(not_symbol_);
    and_symbol_ = add_fixed_symbol("and", b, 2, b, SymbolTag::AND);
    or_symbol_ = add_fixed_symbol("or", b, 2, b, SymbolTag::OR);
    iff_symbol_ = add_fixed_symbol("iff", b, 2, b, SymbolTag::IFF);
    plus_symbols_[0] = add_fixed_symbol("+_rat", r, 2, r, SymbolTag::PLUS);
    times_symbols_[0] = add_fixed_symbol("*_rat", r, 2, r, SymbolTag::TIMES);
    divide_symbol_ = add_fixed_symbol("/_rat", r, 2, r, SymbolTag::DIVIDE);
    leq_symbols_[0] = add_fixed_symbol("<=_rat", r, 2, b, SymbolTag::LEQ);
    const Symbol* equal_real = add_fixed_symbol("=_rat", r, 2, b, SymbolTag::EQ);
    plus_symbols_[1] = add_fixed_symbol("+_int", i, 2, i, SymbolTag::PLUS);
    times_symbols_[1] = add_fixed_symbol("*_int", i, 2, i, SymbolTag::TIMES);
    leq_symbols_[1] = add_fixed_symbol("<=_int", i, 2, b, SymbolTag::LEQ);
    const Symbol* equal_int = add_fixed_symbol("=_int", i, 2, b, SymbolTag::EQ);
    register_family(equal_real, SymbolTag::EQ, {{}, {r, nullptr}});
    register_family(equal_int, SymbolTag::EQ, {{}, {i, nullptr}});
    floor_symbol_ = add_fixed_symbol("floor", r, 1, i, SymbolTag::FLOOR);
    pi_symbol_ = add_fixed_symbol("pi", r, 0, r, SymbolTag::PI);
    exp_symbol_ = add_fixed_symbol("exp", r, 1, r, SymbolTag::EXP);
    sin_symbol_ = add_fixed_symbol("sin", r, 1, r, SymbolTag::SIN);
    log_symbol_ = add_fixed_symbol("log", r, 1, r, SymbolTag::LOG);
    asin_symbol_ = add_fixed_symbol("asin", r, 1, r, SymbolTag::ASIN);
    pow_symbol_ = add_fixed_symbol("pow", r, 2, r, SymbolTag::POW);
    constexpr std::array ROUNDING_NAMES = {"fprounding_even", "fprounding_zero",
                                           "fprounding_plus_inf", "fprounding_minus_inf"};
    for (size_t mode = 0; mode < ROUNDING_NAMES.size(); ++mode) {
        rounding_terms_[mode] =
            bank_.make_term(add_fixed_symbol(ROUNDING_NAMES[mode], rounding_type_, 0,
                                             rounding_type_, SymbolTag::UNKNOWN),
                            {});
    }
    true_ = bank_.make_term(true_symbol_, {});
    false_ = bank_.make_term(false_symbol_, {});
}

// Construction.

void TermManager::throw_type_error(const Term_* t, const DataType* expected,
                                   const char* op_name) const
{
    throw make_error<error>("type error. term ", cut_text(t->to_shallow_str()), " has type ",
                            type_text(get_type(t)), ", but ", type_text(expected),
                            " was expected. (", cut_text(op_name), ")");
}

void TermManager::typecheck(const Term_* t, const DataType* expected, const char* op_name) const
{
    if (!is_subtype(get_type(t), expected)) {
        throw_type_error(t, expected, op_name);
    }
}

void TermManager::typecheck(const Symbol* symbol, TermArgs args) const
{
    if (typecheck_) {
        check_application(symbol, args, op_name_);
    }
}

void TermManager::check_application(const Symbol* symbol, TermArgs args, const char* op_name) const
{
    if (args.size() != symbol->arity()) {
        throw make_error<error>("wrong arity for symbol ", cut_text(symbol->get_name()),
                                ". expected ", symbol->arity(), ", got ", args.size());
    }
    for (size_t i = 0; i < args.size(); ++i) {
        const DataType* expected = symbol->get_arg_type(i);
        if (!is_subtype(get_type(args[i]), expected)) {
            throw_type_error(args[i], expected, op_name ? op_name : symbol->get_name().c_str());
        }
    }
    if (has_quantifiers_ && is_quantifier(symbol) && !is_variable(args[0])) {
        throw make_error<error>("type error. term ", term_text(args[0]), " is not a variable");
    }
}

/// Whether this is an application of a connective, or of another symbol over Booleans, to arguments
/// that fit; found without touching them.
inline bool TermManager::are_boolean_arguments(const Symbol* symbol, TermArgs args) const
{
    if (!symbol->has_boolean_args() || args.size() != symbol->arity()) {
        return false;
    }
    for (const Term_* t : args) {
        if (bank_.get_class(t) == TermClass::OTHER) {
            return false;
        }
    }
    return true;
}

const Term_* TermManager::make_term(const Symbol* symbol, TermArgs args)
{
    // taken before anything can throw or build other terms
    const char* op_name = std::exchange(op_name_, nullptr);
    if (typecheck_ && !are_boolean_arguments(symbol, args)) {
        check_application(symbol, args, op_name);
    }
    if (simplify_ && simplifier_) {
        if (const Term_* t = (*simplifier_)(symbol, args)) {
            return t;
        }
    }
    return do_make_term(symbol, args);
}

const Term_* TermManager::make_named(const Symbol* symbol, const char* op_name, TermArgs args)
{
    op_name_ = op_name;
    return make_term(symbol, args);
}

const Term_* TermManager::make_constant(const Symbol* symbol)
{
    return make_named(symbol, "make_constant", {});
}

const Term_* TermManager::make_uninterpreted_function(const Symbol* symbol, TermArgs args)
{
    return make_named(symbol, "make_uninterpreted_function", args);
}

// Arithmetic.

const Term_* TermManager::make_pi()
{
    return make_named(pi_symbol_, "make_pi", {});
}

const Symbol* TermManager::make_congruence_symbol(const QNumber& modulus)
{
    if (!modulus.is_int() || !modulus.is_pos()) {
        throw make_error<error>("bad modulus: ", cut_text(modulus.to_str()));
    }
    auto it = congruence_symbols_.find(modulus);
    if (it != congruence_symbols_.end()) {
        return it->second;
    }
    const Symbol* s = add_interpreted_symbol("int_mod_congr_" + modulus.to_str(),
                                             application_type({int_type_, int_type_}, bool_type_),
                                             SymbolTag::INT_MOD_CONGR);
    uint32_t record = static_cast<uint32_t>(congruences_.size());
    if (free_congruences_.empty()) {
        congruences_.emplace_back();
    } else {
        record = free_congruences_.back();
        free_congruences_.pop_back();
    }
    congruences_[record] = {s, modulus};
    set_class(s, {record, SymbolKind::INTERPRETED, SymbolTag::INT_MOD_CONGR});
    congruence_symbols_[modulus] = s;
    return s;
}

const Term_* TermManager::make_int_modular_congruence(const QNumber& modulus, const Term_* a,
                                                      const Term_* b)
{
    return make_binary(make_congruence_symbol(modulus), "make_int_modular_congruence", a, b);
}

bool TermManager::is_int_modular_congruence(const Symbol* s, QNumber* modulus) const
{
    const SymbolClass& c = class_of(s);
    if (c.tag != SymbolTag::INT_MOD_CONGR) {
        return false;
    }
    if (modulus) {
        *modulus = congruences_[c.record].modulus;
    }
    return true;
}

// Equality and if-then-else.

/// The type whose symbol relates a and b: the larger one. For unrelated types that of a, so that
/// the typecheck reports b.
const DataType* TermManager::common_type(const Term_* a, const Term_* b) const
{
    const DataType* type_a = get_type(a);
    const DataType* type_b = get_type(b);
    if (type_a == type_b) {
        return type_a;
    }
    if (is_subtype(type_a, real_type_)) {
        return real_type_;
    }
    return is_subtype(type_a, type_b) ? type_b : type_a;
}

const Term_* TermManager::make_equal(const Term_* a, const Term_* b)
{
    return make_binary(make_equality_symbol(common_type(a, b)), "make_equal", a, b);
}

const Term_* TermManager::make_term_ite(const Term_* c, const Term_* a, const Term_* b)
{
    const Term_* args[] = {c, a, b};
    return make_named(make_term_ite_symbol(common_type(a, b)), "make_term_ite", args);
}

// Quantifiers and variables.

const Term_* TermManager::make_quantifier(SymbolTag::tag tag, const char* op_name, const Term_* var,
                                          const Term_* body)
{
    if (!is_variable(var)) {
        throw make_error<error>("type error. term ", term_text(var), " is not a variable");
    }
    const Symbol* s = make_family_symbol(tag, {{}, {get_type(var), nullptr}});
    return make_binary(s, op_name, var, body);
}

const Term_* TermManager::make_forall(const Term_* var, const Term_* body)
{
    return make_quantifier(SymbolTag::FORALL, "make_forall", var, body);
}

const Term_* TermManager::make_exists(const Term_* var, const Term_* body)
{
    return make_quantifier(SymbolTag::EXISTS, "make_exists", var, body);
}

const Term_* TermManager::make_variable(const std::string& name, const DataType* type)
{
    return bank_.make_term(add_user_symbol(name, type, SymbolKind::VARIABLE), {});
}

const Term_* TermManager::make_named_variable(const std::string& name, const DataType* type)
{
    if (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0]))) {
        throw error("Variable names can't start with a number");
    }
    if (is_function_type(type)) {
        throw error("Higher-order variables are not supported");
    }
    return make_variable(get_unused_symbol_name("'" + name), type);
}

const Term_* TermManager::make_fresh_variable(const DataType* type)
{
    if (is_function_type(type)) {
        throw error("Higher-order variables are not supported");
    }
    const std::string name = "'" + std::to_string(++fresh_variables_);
    if (signature_.get_symbol(name)) {
        throw make_error<error>("impossible to create variable ", name,
                                ", because there's already a symbol with the same name");
    }
    return make_variable(name, type);
}

// Arrays.

const DataType* TermManager::array_argument(const Term_* t, SymbolIndices* indices) const
{
    const DataType* type = get_type(t);
    if (!is_array_type(type, &indices->types[0], &indices->types[1])) {
        throw make_error<error>("type error. term ", term_text(t), " is not an array");
    }
    return type;
}

const Term_* TermManager::make_array_read(const Term_* array, const Term_* index)
{
    SymbolIndices indices;
    array_argument(array, &indices);
    return make_binary(make_family_symbol(SymbolTag::ARRAY_READ, indices), "make_array_read", array,
                       index);
}

const Term_* TermManager::make_array_write(const Term_* array, const Term_* index,
                                           const Term_* element)
{
    SymbolIndices indices;
    array_argument(array, &indices);
    const Term_* args[] = {array, index, element};
    return make_named(make_family_symbol(SymbolTag::ARRAY_WRITE, indices), "make_array_write",
                      args);
}

const Term_* TermManager::make_array_const(const DataType* type, const Term_* element)
{
    SymbolIndices indices;
    if (!is_array_type(type, &indices.types[0], &indices.types[1])) {
        throw make_error<error>("type error. type ", type_text(type), " is not an array type");
    }
    return make_unary(make_family_symbol(SymbolTag::ARRAY_CONST, indices), "make_array_const",
                      element);
}

const Term_* TermManager::debug_get_term(uint64_t id) const
{
    for (const Term_* t : bank_) {
        if (t->get_id() == id) {
            return t;
        }
    }
    return nullptr;
}

} // namespace tarq
