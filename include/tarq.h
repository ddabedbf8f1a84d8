// Tarq: the exported interface. C99; everything is declared here and nothing else is exported.
//
// Handles. Every handle is a structure with one pointer, passed and returned by value. A handle
// whose `repr` is null is the error value of its type; the TARQ_ERROR_* macros test for it. Terms,
// declarations and types are unique: two handles are equal exactly when their `repr` fields are.
//
// Results and errors. Unless a function says otherwise, an `int` status is 0 on success and -1 on
// failure, a handle is an error handle on failure, and a pointer is null on failure. A failure
// stores a text for tarq_last_error_message in the environment that the call was given; calls
// without an environment report nothing but the failure itself. After any failure the environment
// stays usable. An error handle passed where a valid one is needed makes the call fail.
//
// Ownership. Terms, declarations and types belong to the environment family and are never freed one
// by one. What a function hands out in a fresh block (strings, arrays) is the caller's, to be freed
// with tarq_free. Arguments are borrowed for the time of the call.
//
// Threads. One environment family must be used by one thread at a time, and because scratch memory
// is shared by all of them, two families must not be in use at the same moment either.
#ifndef TARQ_H
#define TARQ_H

#include <gmp.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

// Handles

/// Options collected for the environments made from it.
typedef struct tarq_config {
    void* repr;
} tarq_config;

/// A solver context.
typedef struct tarq_env {
    void* repr;
} tarq_env;

/// A formula or term.
typedef struct tarq_term {
    void* repr;
} tarq_term;

/// A declared or built-in symbol, the head of terms.
typedef struct tarq_decl {
    void* repr;
} tarq_decl;

/// A type.
typedef struct tarq_type {
    void* repr;
} tarq_type;

/// The model of a satisfiable check.
typedef struct tarq_model {
    void* repr;
} tarq_model;

/// A place in the list of what a model says.
typedef struct tarq_model_iterator {
    void* repr;
} tarq_model_iterator;

/// Where an external SAT engine reports. Belongs to the environment.
typedef struct tarq_dpll_callback {
    void* repr;
} tarq_dpll_callback;

/// Circuits of and-gates and inverters over the terms of one environment.
typedef struct tarq_aig_manager {
    void* repr;
} tarq_aig_manager;

/// A node of a circuit, or its negation; 0 is no node. Two of one manager are equal exactly when
/// their numbers are.
typedef struct tarq_aig {
    uint64_t repr;
} tarq_aig;

#define TARQ_ERROR_CONFIG(x) ((x).repr == NULL)
#define TARQ_ERROR_ENV(x) ((x).repr == NULL)
#define TARQ_ERROR_TERM(x) ((x).repr == NULL)
#define TARQ_ERROR_DECL(x) ((x).repr == NULL)
#define TARQ_ERROR_TYPE(x) ((x).repr == NULL)
#define TARQ_ERROR_MODEL(x) ((x).repr == NULL)
#define TARQ_ERROR_MODEL_ITERATOR(x) ((x).repr == NULL)
#define TARQ_ERROR_AIG_MANAGER(x) ((x).repr == NULL)

/// The error term.
#ifdef __cplusplus
#define TARQ_MAKE_ERROR_TERM() (tarq_term{NULL})
#else
#define TARQ_MAKE_ERROR_TERM() ((tarq_term){NULL})
#endif

// Enumerations

/// The answer of a check.
typedef enum tarq_result {
    TARQ_UNKNOWN = -1, ///< no answer: an error, an interruption, or solving is switched off
    TARQ_UNSAT = 0,
    TARQ_SAT = 1
} tarq_result;

/// A truth value that may be open.
typedef enum tarq_truth_value { TARQ_UNDEF = -1, TARQ_FALSE = 0, TARQ_TRUE = 1 } tarq_truth_value;

/// What a visitor tells the walk to do next.
typedef enum tarq_visit_status {
    TARQ_VISIT_PROCESS = 0, ///< go on
    TARQ_VISIT_SKIP = 1,    ///< at the entry: leave out the arguments; the exit visit still comes
    TARQ_VISIT_ABORT = 2    ///< end the walk
} tarq_visit_status;

/// The kind of a built-in symbol.
typedef enum tarq_symbol_tag {
    TARQ_TAG_ERROR = -1,  ///< the call failed
    TARQ_TAG_UNKNOWN = 0, ///< no built-in symbol
    TARQ_TAG_TRUE = 1,
    TARQ_TAG_FALSE = 2,
    TARQ_TAG_AND = 3,
    TARQ_TAG_OR = 4,
    TARQ_TAG_NOT = 5,
    TARQ_TAG_IFF = 6,
    TARQ_TAG_PLUS = 7,
    TARQ_TAG_TIMES = 8,
    TARQ_TAG_DIVIDE = 9,
    TARQ_TAG_FLOOR = 10,
    TARQ_TAG_LEQ = 11,
    TARQ_TAG_EQ = 12,
    TARQ_TAG_ITE = 13,
    TARQ_TAG_INT_MOD_CONGR = 14,
    TARQ_TAG_BV_CONCAT = 15,
    TARQ_TAG_BV_EXTRACT = 16,
    TARQ_TAG_BV_NOT = 17,
    TARQ_TAG_BV_AND = 18,
    TARQ_TAG_BV_OR = 19,
    TARQ_TAG_BV_XOR = 20,
    TARQ_TAG_BV_ULT = 21,
    TARQ_TAG_BV_SLT = 22,
    TARQ_TAG_BV_ULE = 23,
    TARQ_TAG_BV_SLE = 24,
    TARQ_TAG_BV_COMP = 25,
    TARQ_TAG_BV_NEG = 26,
    TARQ_TAG_BV_ADD = 27,
    TARQ_TAG_BV_SUB = 28,
    TARQ_TAG_BV_MUL = 29,
    TARQ_TAG_BV_UDIV = 30,
    TARQ_TAG_BV_SDIV = 31,
    TARQ_TAG_BV_UREM = 32,
    TARQ_TAG_BV_SREM = 33,
    TARQ_TAG_BV_LSHL = 34,
    TARQ_TAG_BV_LSHR = 35,
    TARQ_TAG_BV_ASHR = 36,
    TARQ_TAG_BV_ROL = 37,
    TARQ_TAG_BV_ROR = 38,
    TARQ_TAG_BV_ZEXT = 39,
    TARQ_TAG_BV_SEXT = 40,
    TARQ_TAG_ARRAY_READ = 41,
    TARQ_TAG_ARRAY_WRITE = 42,
    TARQ_TAG_ARRAY_CONST = 43,
    TARQ_TAG_FP_EQ = 44,
    TARQ_TAG_FP_LT = 45,
    TARQ_TAG_FP_LE = 46,
    TARQ_TAG_FP_NEG = 47,
    TARQ_TAG_FP_ADD = 48,
    TARQ_TAG_FP_SUB = 49,
    TARQ_TAG_FP_MUL = 50,
    TARQ_TAG_FP_DIV = 51,
    TARQ_TAG_FP_SQRT = 52,
    TARQ_TAG_FP_ABS = 53,
    TARQ_TAG_FP_MIN = 54,
    TARQ_TAG_FP_MAX = 55,
    TARQ_TAG_FP_CAST = 56,
    TARQ_TAG_FP_ROUND_TO_INT = 57,
    TARQ_TAG_FP_FROM_SBV = 58,
    TARQ_TAG_FP_FROM_UBV = 59,
    TARQ_TAG_FP_TO_BV = 60,
    TARQ_TAG_FP_AS_IEEEBV = 61,
    TARQ_TAG_FP_ISNAN = 62,
    TARQ_TAG_FP_ISINF = 63,
    TARQ_TAG_FP_ISZERO = 64,
    TARQ_TAG_FP_ISSUBNORMAL = 65,
    TARQ_TAG_FP_ISNORMAL = 66,
    TARQ_TAG_FP_ISNEG = 67,
    TARQ_TAG_FP_ISPOS = 68,
    TARQ_TAG_FP_FROM_IEEEBV = 69,
    TARQ_TAG_INT_FROM_UBV = 70,
    TARQ_TAG_INT_FROM_SBV = 71,
    TARQ_TAG_INT_TO_BV = 72,
    TARQ_TAG_PI = 73,
    TARQ_TAG_EXP = 74,
    TARQ_TAG_SIN = 75,
    TARQ_TAG_LOG = 76,
    TARQ_TAG_POW = 77,
    TARQ_TAG_ASIN = 78,
    TARQ_TAG_FORALL = 79,
    TARQ_TAG_EXISTS = 80
} tarq_symbol_tag;

// Callbacks

/// Asked from time to time by long-running calls; a non-zero result stops the call.
typedef int (*tarq_termination_test)(void* user_data);

/// Called for each term of a walk.
/// preorder  1 before the arguments of `t`, 0 after them
typedef tarq_visit_status (*tarq_visit_term_callback)(tarq_env e, tarq_term t, int preorder,
                                                      void* user_data);

/// Called for each model that is found.
/// it       over that model; ends with the call
/// returns  nonzero to go on, 0 to stop
typedef int (*tarq_solve_diversify_model_callback)(tarq_model_iterator it, void* user_data);

/// Called for each model of an enumeration.
/// model    the `size` literals that are true in it, atoms or negations of such; valid for the call
/// returns  nonzero to go on, 0 to stop
typedef int (*tarq_all_sat_model_callback)(tarq_term* model, int size, void* user_data);

/// Finds an unsatisfiable subset of a set of clauses.
/// clauses  the literals of all clauses, nonzero numbers of variables with a sign, and a 0 after
///          each clause
/// core     room for an entry per clause, to be filled with the indices from 0 of the clauses chosen
/// size     in: the number of clauses; out: of the entries in `core`
/// returns  0 for success, anything else for a failure
typedef int (*tarq_ext_unsat_core_extractor)(int* clauses, int* core, size_t* size,
                                             void* user_data);

// Memory, version, errors

/// Frees a block that a function of this interface handed out; null is allowed.
void tarq_free(void* mem);

/// A text with the version of the library, the date of its build, and the versions of GMP and of
/// the compiler.
/// returns  a fresh string, to be freed with tarq_free
char* tarq_get_version(void);

/// The text of the newest failure in `e`; empty if there was none. No success clears it.
/// returns  borrowed, valid until the next failure in `e`; null for an error handle
const char* tarq_last_error_message(tarq_env e);

// Configuration

/// A configuration with all options at their defaults. Freed with tarq_destroy_config.
tarq_config tarq_create_config(void);

/// A configuration with the settings that the library has for a logic, for instance "QF_LRA". The
/// built-in settings are the same for all logics, known or not.
/// logic    not null
tarq_config tarq_create_default_config(const char* logic);

/// A configuration read from a text of lines "name = value", comments starting with "#", and
/// sections "[name]" of which only the default one is in force. An unknown name or a bad value in
/// it is reported when an environment is made.
/// data     not null
tarq_config tarq_parse_config(const char* data);

/// The same from a file, which is read completely.
tarq_config tarq_parse_config_file(const char* filename);

/// Frees a configuration; environments made from it are not concerned. An error handle is ignored.
void tarq_destroy_config(tarq_config cfg);

/// Sets an option. It beats a value from a configuration text, whatever the order of the calls.
/// value    "true" or "false", or a non-negative number in decimal notation, or any text, by the
///          option's type. Whether a number is in the option's range is checked when an environment
///          is made.
/// returns  0, or -1 for an unknown option or a value of the wrong form
int tarq_set_option(tarq_config cfg, const char* option, const char* value);

// Environment

/// Makes an environment, which keeps its own copy of the options.
/// returns  an error handle if an option is out of range, or asks for what this version can't
///          deliver: proof_generation, interpolation, unsat_core_generation 1 (cores by proofs),
///          debug.api_call_trace, theory.fp.mode above 1
tarq_env tarq_create_env(tarq_config cfg);

/// Makes an environment that shares terms, declarations and types with `sibling`; terms of one are
/// terms of the other. The first environment of a family owns them and must be destroyed last.
tarq_env tarq_create_shared_env(tarq_config cfg, tarq_env sibling);

/// Destroys an environment; an error handle is ignored.
void tarq_destroy_env(tarq_env e);

/// Drops all assertions and backtrack points; terms and declarations stay.
int tarq_reset_env(tarq_env e);

/// Frees the terms that are neither asserted nor listed, together with the declarations and types
/// that only they used. All other handles must not be used any more. Frees nothing while the terms
/// are shared with another environment. What the solver has learned is dropped in any case.
/// tokeep   `num_tokeep` terms; may be null when that is 0
int tarq_gc_env(tarq_env e, const tarq_term* tokeep, size_t num_tokeep);

/// Installs the test that long-running calls on `e` ask whether to stop. A stopped call fails with
/// the message "user-requested termination", and the environment stays usable.
/// func       null for no test
/// user_data  passed to `func`, otherwise untouched
int tarq_set_termination_test(tarq_env e, tarq_termination_test func, void* user_data);

// External SAT engine
//
// An engine of the caller's can do the Boolean search of an environment, which keeps everything
// else: formulas, backtrack points, theories, models. The engine is a table of functions. During
// its `solve` it reports its assignment as it changes, through tarq_dpll_callback_* with the handle
// it got by `set_callback`, and asks at each end of propagation and at each full assignment whether
// the theories agree.
//
// Variables are 1, 2, ... in the order of `new_var`; a literal is v or -v. Lists of literals end
// with 0. Lists that are arguments of the engine are borrowed for the call. Lists that a report
// delivers are good until the next report that delivers one.

/// The engine. A caller can keep its state in a larger structure that starts with this one: every
/// function gets the table's address first. Unless noted, results are 0, or another number for a
/// failure, which ends the call on the environment with an error.
typedef struct tarq_ext_dpll_interface {
    /// A variable, to be decided and never to be eliminated for now. The flags are always 1 and the
    /// result is not looked at.
    int (*new_var)(struct tarq_ext_dpll_interface* self, int decision, int problem);
    /// Whether the variable has to be assigned; otherwise it may be, but need not.
    int (*set_decision_var)(struct tarq_ext_dpll_interface* self, int var, int flag);
    /// Whether the variable may occur in clauses and assumptions still to come.
    int (*set_frozen)(struct tarq_ext_dpll_interface* self, int var, int flag);
    /// A clause, possibly empty, for good.
    /// ghost        a hint: the clause does not say what must be decided
    /// in_callback  1 while a report is being answered. Then the answer tells to propagate again.
    /// returns      not looked at
    int (*add_clause)(struct tarq_ext_dpll_interface* self, int* lits, int ghost, int in_callback);
    /// Looks for an assignment of all variables that satisfies the clauses and assumptions and that
    /// tarq_dpll_callback_model_found has answered with TARQ_TRUE; the last report before the
    /// result TARQ_SAT is that one.
    /// conflict  on TARQ_UNSAT set to assumptions that can't hold together, as they were given or
    ///           negated, owned by the engine
    /// returns   TARQ_UNKNOWN to give up, which is an error: after a report that failed, for instance
    tarq_result (*solve)(struct tarq_ext_dpll_interface* self, int* assumptions, int** conflict);
    /// The value of the variable in the assignment that `solve` found.
    tarq_truth_value (*model_value)(struct tarq_ext_dpll_interface* self, int var);
    /// During a report: the literal follows from what was reported, by a clause that
    /// tarq_dpll_callback_ask_theory_reason gives. The engine may make it true, or leave it.
    int (*enqueue_assignment)(struct tarq_ext_dpll_interface* self, int lit);
    /// The variable will not be assumed any more; clauses with its negation may go.
    int (*remove_clauses_containing)(struct tarq_ext_dpll_interface* self, int var);
    /// Back to no variables and no clauses.
    int (*reset)(struct tarq_ext_dpll_interface* self);
    /// Where to report, from now on.
    int (*set_callback)(struct tarq_ext_dpll_interface* self, tarq_dpll_callback cb);
} tarq_ext_dpll_interface;

/// Has `engine` do the search from now on, after a `reset` of it; null brings the built-in search
/// back. Fails unless the assertion stack is empty, with proof_generation, and when the engine
/// reports a failure; the last two leave the built-in search in use. With an engine tarq_all_sat
/// fails, and the options dpll.preprocessor.mode, dpll.ghost_filtering and dpll.minimize_model have
/// no effect.
/// engine  the table itself is used, not a copy: it must outlive the environment, or its use
int tarq_set_external_dpll_engine(tarq_env e, tarq_ext_dpll_interface* engine);

// Reports of the engine, during its `solve`. They return 0, or -1 when an out-argument is null or
// something failed inside; the engine is to give up then.

/// The literal got true, at the newest level.
int tarq_dpll_callback_notify_assignment(tarq_dpll_callback cb, int lit);
/// A level was opened; the first is 1. Solving starts at level 0, whose assignments of earlier
/// solves stand.
int tarq_dpll_callback_notify_new_level(tarq_dpll_callback cb);
/// All assignments and levels above `level` were undone.
int tarq_dpll_callback_notify_backtrack(tarq_dpll_callback cb, int level);
/// Propagation ended without a conflict.
/// code      set to TARQ_FALSE: `*conflict` is a clause whose literals are all false; TARQ_UNDEF:
///           clauses or literals came, or levels went, propagate again; TARQ_TRUE: go on
/// conflict  set to a list in every case
int tarq_dpll_callback_no_conflict_after_bcp(tarq_dpll_callback cb, tarq_truth_value* code,
                                             int** conflict);
/// All variables are assigned. The same, but that TARQ_TRUE means that the assignment stands.
int tarq_dpll_callback_model_found(tarq_dpll_callback cb, tarq_truth_value* code, int** conflict);
/// Sets `*reason` to a clause of a true literal that came by `enqueue_assignment` and others, which
/// are false.
int tarq_dpll_callback_ask_theory_reason(tarq_dpll_callback cb, int lit, int** reason);

// Types

/// The type of formulas.
tarq_type tarq_get_bool_type(tarq_env e);
/// The type of rational and real numbers.
tarq_type tarq_get_rational_type(tarq_env e);
/// The type of integers, a subtype of the rational type.
tarq_type tarq_get_integer_type(tarq_env e);
/// The type of bit-vectors of `width` bits, at most 2^24.
tarq_type tarq_get_bv_type(tarq_env e, size_t width);
/// The type of arrays from `index` to `element`. Fails for Bool unless allow_bool_function_args.
tarq_type tarq_get_array_type(tarq_env e, tarq_type index, tarq_type element);
/// The type of floating-point rounding modes.
tarq_type tarq_get_fp_roundingmode_type(tarq_env e);
/// The type of IEEE floating-point numbers.
/// exp_width   bits of the exponent, at least 2
/// mant_width  bits of the significand without the hidden one, at least 2; with the exponent less
///             than 2^24
tarq_type tarq_get_fp_type(tarq_env e, size_t exp_width, size_t mant_width);
/// The uninterpreted type of this name, made on first use.
tarq_type tarq_get_simple_type(tarq_env e, const char* name);
/// The type of functions.
/// params   `num_params` argument types; Bool fails unless allow_bool_function_args, functions fail
/// returns  an error handle, without a message, when `num_params` is 0
tarq_type tarq_get_function_type(tarq_env e, const tarq_type* params, size_t num_params,
                                 tarq_type result);

/// 1 if `t` is the type of formulas, else 0.
int tarq_is_bool_type(tarq_env e, tarq_type t);
/// 1 if `t` is the type of rationals, else 0; the type of integers is another one.
int tarq_is_rational_type(tarq_env e, tarq_type t);
/// 1 if `t` is the type of integers, else 0.
int tarq_is_integer_type(tarq_env e, tarq_type t);
/// 1 if `t` is an array type, else 0. The out-parameters are filled on 1 and may be null.
int tarq_is_array_type(tarq_env e, tarq_type t, tarq_type* out_index, tarq_type* out_element);
/// 1 if `t` is a bit-vector type, else 0. `out_width`, in bits, is filled on 1 and may be null.
int tarq_is_bv_type(tarq_env e, tarq_type t, size_t* out_width);
/// 1 if `t` is the type of rounding modes, else 0.
int tarq_is_fp_roundingmode_type(tarq_env e, tarq_type t);
/// 1 if `t` is a floating-point type, else 0. The widths, in bits, are filled on 1 and may be null.
int tarq_is_fp_type(tarq_env e, tarq_type t, size_t* out_exp_width, size_t* out_mant_width);
/// 1 if both are the same type, else 0.
int tarq_type_equals(tarq_type a, tarq_type b);
/// A readable text of the type, in a fresh string.
char* tarq_type_repr(tarq_type t);

// Declarations

/// Declares a symbol: a function for a function type, otherwise a constant. Declaring a name again
/// with the same type gives the same symbol.
/// name     not empty, starting neither with a backquote nor with a single quote
/// returns  an error handle for a bad name and for a name that has another type already
tarq_decl tarq_declare_function(tarq_env e, const char* name, tarq_type type);
/// The declared symbol of this name, or an error handle, without a message, if there is none.
tarq_decl tarq_find_decl(tarq_env e, const char* name);
/// The head symbol of a term.
tarq_decl tarq_term_get_decl(tarq_term t);
/// A number that no other symbol of the family has, at least 1; 0 for an error handle.
size_t tarq_decl_id(tarq_decl d);
/// The kind of a built-in symbol; TARQ_TAG_UNKNOWN for every other one.
tarq_symbol_tag tarq_decl_get_tag(tarq_env e, tarq_decl d);
/// The type of the terms with this head.
tarq_type tarq_decl_get_return_type(tarq_decl d);
/// The number of arguments, 0 for a constant.
size_t tarq_decl_get_arity(tarq_decl d);
/// The type of argument `n`, counted from 0; an error handle at or past the arity.
tarq_type tarq_decl_get_arg_type(tarq_decl d, size_t n);
/// The name, in a fresh string.
char* tarq_decl_get_name(tarq_decl d);
/// A readable text with name and type, in a fresh string.
char* tarq_decl_repr(tarq_decl d);

// Boolean terms

/// The formula that holds always.
tarq_term tarq_make_true(tarq_env e);
/// The formula that holds never.
tarq_term tarq_make_false(tarq_env e);
/// Negation.
tarq_term tarq_make_not(tarq_env e, tarq_term t);
/// Conjunction.
tarq_term tarq_make_and(tarq_env e, tarq_term t1, tarq_term t2);
/// Disjunction.
tarq_term tarq_make_or(tarq_env e, tarq_term t1, tarq_term t2);
/// Equivalence of two formulas.
tarq_term tarq_make_iff(tarq_env e, tarq_term t1, tarq_term t2);
/// `t1` where `c` holds, else `t2`; for branches of type Bool allow_bool_function_args must be on.
tarq_term tarq_make_term_ite(tarq_env e, tarq_term c, tarq_term t1, tarq_term t2);
/// Equality of terms of any type; for formulas this is tarq_make_iff.
tarq_term tarq_make_eq(tarq_env e, tarq_term t1, tarq_term t2);
/// Equality of terms that are no formulas.
tarq_term tarq_make_equal(tarq_env e, tarq_term t1, tarq_term t2);

// Arithmetic

/// `t1` <= `t2`.
tarq_term tarq_make_leq(tarq_env e, tarq_term t1, tarq_term t2);
/// Sum.
tarq_term tarq_make_plus(tarq_env e, tarq_term t1, tarq_term t2);
/// Product.
tarq_term tarq_make_times(tarq_env e, tarq_term t1, tarq_term t2);
/// Quotient of two rationals.
tarq_term tarq_make_divide(tarq_env e, tarq_term t1, tarq_term t2);
/// The largest integer that is at most `t`.
tarq_term tarq_make_floor(tarq_env e, tarq_term t);
/// The formula that says that `t1` and `t2`, of type integer, are congruent.
/// modulus  borrowed
tarq_term tarq_make_int_modular_congruence(tarq_env e, mpz_srcptr modulus, tarq_term t1,
                                           tarq_term t2);
/// The number pi.
tarq_term tarq_make_pi(tarq_env e);
/// The exponential function.
tarq_term tarq_make_exp(tarq_env e, tarq_term t);
/// The sine, of an angle in radians.
tarq_term tarq_make_sin(tarq_env e, tarq_term t);
/// The natural logarithm.
tarq_term tarq_make_log(tarq_env e, tarq_term t);
/// `base` to the power of `exponent`.
tarq_term tarq_make_pow(tarq_env e, tarq_term base, tarq_term exponent);
/// The arcsine, in radians.
tarq_term tarq_make_asin(tarq_env e, tarq_term t);

// Numbers

/// A number from text: an integer, a fraction "a/b", or a decimal, which may have an exponent.
tarq_term tarq_make_number(tarq_env e, const char* num_rep);
/// An integer.
tarq_term tarq_make_int_number(tarq_env e, int value);
/// A rational; `value` is borrowed, its denominator must not be 0, and it need not be reduced.
tarq_term tarq_make_mpq_number(tarq_env e, mpq_srcptr value);
/// A bit-vector from text.
/// num_rep  a non-negative integer below 2 to the `width`, without a prefix
/// width    bits
/// base     2, 10 or 16
tarq_term tarq_make_bv_number(tarq_env e, const char* num_rep, size_t width, size_t base);
/// A bit-vector of `width` bits; `value` must be non-negative and fit.
tarq_term tarq_make_bv_int_number(tarq_env e, int value, size_t width);
/// The same from an integer of any size, which is borrowed.
tarq_term tarq_make_bv_mpz_number(tarq_env e, mpz_srcptr value, size_t width);
/// A floating-point number that is the rounding of a rational.
/// num_rep    the rational as text, as for tarq_make_number
/// rounding   one of the four rounding-mode constants
tarq_term tarq_make_fp_rat_number(tarq_env e, const char* num_rep, size_t exp_width,
                                  size_t mant_width, tarq_term rounding);
/// A floating-point number from its IEEE bit pattern.
/// bits       the pattern (sign, exponent, significand from the top) read as a non-negative
///            integer, in decimal notation
tarq_term tarq_make_fp_bits_number(tarq_env e, const char* bits, size_t exp_width,
                                   size_t mant_width);
/// Plus infinity of the format.
tarq_term tarq_make_fp_plus_inf(tarq_env e, size_t exp_width, size_t mant_width);
/// Minus infinity of the format.
tarq_term tarq_make_fp_minus_inf(tarq_env e, size_t exp_width, size_t mant_width);
/// The number that stands for no number in the format.
tarq_term tarq_make_fp_nan(tarq_env e, size_t exp_width, size_t mant_width);

// Symbols, quantifiers

/// The term of a constant; fails for a symbol with arguments.
tarq_term tarq_make_constant(tarq_env e, tarq_decl d);
/// The application of a declared function.
/// args     as many terms as the arity of `func`; an error handle among them ends the list
tarq_term tarq_make_uf(tarq_env e, tarq_decl func, const tarq_term args[]);
/// The application of any symbol, built-in ones included.
/// args     as for tarq_make_uf; may be null for a constant
/// returns  an error term for a list that is too short ("wrong arity for symbol ...") and for
///          arguments of the wrong types
tarq_term tarq_make_term(tarq_env e, tarq_decl d, const tarq_term args[]);
/// A new variable for quantifiers, different from all others even of the same name.
tarq_term tarq_make_variable(tarq_env e, const char* name, tarq_type type);
/// `body` for all values of `var`, which must be a variable.
tarq_term tarq_make_forall(tarq_env e, tarq_term var, tarq_term body);
/// `body` for some value of `var`, which must be a variable.
tarq_term tarq_make_exists(tarq_env e, tarq_term var, tarq_term body);
/// The term of `e` that equals `t`, a term of `src`; `t` itself if the two share their terms.
tarq_term tarq_make_copy_from(tarq_env e, tarq_term t, tarq_env src);

// Arrays

/// The element of `arr` at `idx`.
tarq_term tarq_make_array_read(tarq_env e, tarq_term arr, tarq_term idx);
/// The array that is `arr` but for the element `elem` at `idx`.
tarq_term tarq_make_array_write(tarq_env e, tarq_term arr, tarq_term idx, tarq_term elem);
/// The array of type `arrtp` with `elem` at every index.
tarq_term tarq_make_array_const(tarq_env e, tarq_type arrtp, tarq_term elem);

// Bit-vectors

// Two bit-vector arguments have the same width w unless said otherwise; w is also the result's.

/// `t1` and `t2`, of any widths, joined; `t1` gives the upper bits.
tarq_term tarq_make_bv_concat(tarq_env e, tarq_term t1, tarq_term t2);
/// The bits `msb` down to `lsb` of `t`, counted from 0; the width is msb - lsb + 1.
tarq_term tarq_make_bv_extract(tarq_env e, size_t msb, size_t lsb, tarq_term t);
/// Bitwise or.
tarq_term tarq_make_bv_or(tarq_env e, tarq_term t1, tarq_term t2);
/// Bitwise exclusive or.
tarq_term tarq_make_bv_xor(tarq_env e, tarq_term t1, tarq_term t2);
/// Bitwise and.
tarq_term tarq_make_bv_and(tarq_env e, tarq_term t1, tarq_term t2);
/// Bitwise complement.
tarq_term tarq_make_bv_not(tarq_env e, tarq_term t);
/// Shift left by `t2`, read as unsigned; zeros come in.
tarq_term tarq_make_bv_lshl(tarq_env e, tarq_term t1, tarq_term t2);
/// Shift right by `t2`, read as unsigned; zeros come in.
tarq_term tarq_make_bv_lshr(tarq_env e, tarq_term t1, tarq_term t2);
/// Shift right by `t2`, read as unsigned; copies of the sign bit come in.
tarq_term tarq_make_bv_ashr(tarq_env e, tarq_term t1, tarq_term t2);
/// Sum modulo 2 to the w.
tarq_term tarq_make_bv_plus(tarq_env e, tarq_term t1, tarq_term t2);
/// Difference modulo 2 to the w.
tarq_term tarq_make_bv_minus(tarq_env e, tarq_term t1, tarq_term t2);
/// Two's complement modulo 2 to the w.
tarq_term tarq_make_bv_neg(tarq_env e, tarq_term t);
/// Product modulo 2 to the w.
tarq_term tarq_make_bv_times(tarq_env e, tarq_term t1, tarq_term t2);
/// Quotient of unsigned numbers.
tarq_term tarq_make_bv_udiv(tarq_env e, tarq_term t1, tarq_term t2);
/// Remainder of unsigned numbers.
tarq_term tarq_make_bv_urem(tarq_env e, tarq_term t1, tarq_term t2);
/// Quotient of signed numbers, rounded towards zero.
tarq_term tarq_make_bv_sdiv(tarq_env e, tarq_term t1, tarq_term t2);
/// Remainder of signed numbers, with the sign of `t1`.
tarq_term tarq_make_bv_srem(tarq_env e, tarq_term t1, tarq_term t2);
/// The formula `t1` < `t2` for unsigned numbers.
tarq_term tarq_make_bv_ult(tarq_env e, tarq_term t1, tarq_term t2);
/// The formula `t1` <= `t2` for unsigned numbers.
tarq_term tarq_make_bv_uleq(tarq_env e, tarq_term t1, tarq_term t2);
/// The formula `t1` < `t2` for signed numbers.
tarq_term tarq_make_bv_slt(tarq_env e, tarq_term t1, tarq_term t2);
/// The formula `t1` <= `t2` for signed numbers.
tarq_term tarq_make_bv_sleq(tarq_env e, tarq_term t1, tarq_term t2);
/// One bit: 1 where the arguments are equal, else 0.
tarq_term tarq_make_bv_comp(tarq_env e, tarq_term t1, tarq_term t2);
/// Rotation to the left by `amount` bits.
tarq_term tarq_make_bv_rol(tarq_env e, size_t amount, tarq_term t);
/// Rotation to the right by `amount` bits.
tarq_term tarq_make_bv_ror(tarq_env e, size_t amount, tarq_term t);
/// `t` with `amount` zero bits put on top.
tarq_term tarq_make_bv_zext(tarq_env e, size_t amount, tarq_term t);
/// `t` with `amount` copies of its sign bit put on top.
tarq_term tarq_make_bv_sext(tarq_env e, size_t amount, tarq_term t);
/// The integer `t` modulo 2 to the `width`, as a bit-vector of `width` bits.
tarq_term tarq_make_int_to_bv(tarq_env e, size_t width, tarq_term t);
/// The integer that `t` stands for, read as unsigned.
tarq_term tarq_make_int_from_ubv(tarq_env e, tarq_term t);
/// The integer that `t` stands for, read as signed.
tarq_term tarq_make_int_from_sbv(tarq_env e, tarq_term t);

// Floating point

// Two floating-point arguments have the same format, which is also the result's. A rounding
// argument has the type of rounding modes. Widths are in bits, that of a significand without the
// hidden bit.

/// The rounding mode to nearest, ties to even.
tarq_term tarq_make_fp_roundingmode_nearest_even(tarq_env e);
/// The rounding mode towards zero.
tarq_term tarq_make_fp_roundingmode_zero(tarq_env e);
/// The rounding mode towards plus infinity.
tarq_term tarq_make_fp_roundingmode_plus_inf(tarq_env e);
/// The rounding mode towards minus infinity.
tarq_term tarq_make_fp_roundingmode_minus_inf(tarq_env e);
/// The formula that IEEE equality holds: the zeros are equal, NaN equals nothing.
tarq_term tarq_make_fp_equal(tarq_env e, tarq_term t1, tarq_term t2);
/// The formula `t1` < `t2`.
tarq_term tarq_make_fp_lt(tarq_env e, tarq_term t1, tarq_term t2);
/// The formula `t1` <= `t2`.
tarq_term tarq_make_fp_leq(tarq_env e, tarq_term t1, tarq_term t2);
/// `t` with the other sign.
tarq_term tarq_make_fp_neg(tarq_env e, tarq_term t);
/// Sum.
tarq_term tarq_make_fp_plus(tarq_env e, tarq_term rounding, tarq_term t1, tarq_term t2);
/// Difference.
tarq_term tarq_make_fp_minus(tarq_env e, tarq_term rounding, tarq_term t1, tarq_term t2);
/// Product.
tarq_term tarq_make_fp_times(tarq_env e, tarq_term rounding, tarq_term t1, tarq_term t2);
/// Quotient.
tarq_term tarq_make_fp_div(tarq_env e, tarq_term rounding, tarq_term t1, tarq_term t2);
/// Square root.
tarq_term tarq_make_fp_sqrt(tarq_env e, tarq_term rounding, tarq_term t);
/// The smaller one.
tarq_term tarq_make_fp_min(tarq_env e, tarq_term t1, tarq_term t2);
/// The larger one.
tarq_term tarq_make_fp_max(tarq_env e, tarq_term t1, tarq_term t2);
/// `t` rounded to an integral value of its format.
tarq_term tarq_make_fp_round_to_int(tarq_env e, tarq_term rounding, tarq_term t);
/// `t` without its sign.
tarq_term tarq_make_fp_abs(tarq_env e, tarq_term t);
/// `t` converted to another format.
tarq_term tarq_make_fp_cast(tarq_env e, size_t exp_width, size_t mant_width, tarq_term rounding,
                            tarq_term t);
/// `t` converted to a signed bit-vector of `width` bits.
tarq_term tarq_make_fp_to_bv(tarq_env e, size_t width, tarq_term rounding, tarq_term t);
/// The floating-point number nearest to the bit-vector `t`, read as signed.
tarq_term tarq_make_fp_from_sbv(tarq_env e, size_t exp_width, size_t mant_width, tarq_term rounding,
                                tarq_term t);
/// The floating-point number nearest to the bit-vector `t`, read as unsigned.
tarq_term tarq_make_fp_from_ubv(tarq_env e, size_t exp_width, size_t mant_width, tarq_term rounding,
                                tarq_term t);
/// The IEEE bit pattern of `t`, of exponent width + significand width + 1 bits.
tarq_term tarq_make_fp_as_ieeebv(tarq_env e, tarq_term t);
/// The floating-point number whose IEEE bit pattern is the bit-vector `t`.
tarq_term tarq_make_fp_from_ieeebv(tarq_env e, size_t exp_width, size_t mant_width, tarq_term t);
/// The formula that `t` is NaN.
tarq_term tarq_make_fp_isnan(tarq_env e, tarq_term t);
/// The formula that `t` is an infinity.
tarq_term tarq_make_fp_isinf(tarq_env e, tarq_term t);
/// The formula that `t` is a zero.
tarq_term tarq_make_fp_iszero(tarq_env e, tarq_term t);
/// The formula that `t` is subnormal.
tarq_term tarq_make_fp_issubnormal(tarq_env e, tarq_term t);
/// The formula that `t` is normal.
tarq_term tarq_make_fp_isnormal(tarq_env e, tarq_term t);
/// The formula that `t` is negative and not NaN.
tarq_term tarq_make_fp_isneg(tarq_env e, tarq_term t);
/// The formula that `t` is positive and not NaN.
tarq_term tarq_make_fp_ispos(tarq_env e, tarq_term t);
// Term queries

/// A number that no other live term of the family has, at least 1; 0 for an error handle.
size_t tarq_term_id(tarq_term t);
/// The number of arguments.
size_t tarq_term_arity(tarq_term t);
/// Argument `n`, counted from 0; an error term at or past the arity.
tarq_term tarq_term_get_arg(tarq_term t, size_t n);
/// The type of the term.
tarq_type tarq_term_get_type(tarq_term t);
/// The whole term as Lisp-style text, in a fresh string. Shared subterms are written out at each
/// occurrence, so the text can be exponentially larger than the term; past 16 MiB it is cut off and
/// ends in "...".
char* tarq_term_repr(tarq_term t);
/// The value of a number.
/// out      set on success; initialised by the caller
/// returns  0, or -1, without a message, if `t` is no number
int tarq_term_to_number(tarq_env e, tarq_term t, mpq_t out);

// The predicates return 1 or 0, and 0 for an error handle. Those named after a constructor say that
// the term is an application of what that constructor makes, for any widths and types.

/// A number of any type, bit-vector and floating-point ones included.
int tarq_term_is_number(tarq_env e, tarq_term t);
/// A declared constant.
int tarq_term_is_constant(tarq_env e, tarq_term t);
/// A declared constant of type Bool.
int tarq_term_is_boolean_constant(tarq_env e, tarq_term t);
/// A formula that is neither true, false, nor built by not, and, or, iff.
int tarq_term_is_atom(tarq_env e, tarq_term t);
/// A variable for quantifiers.
int tarq_term_is_variable(tarq_env e, tarq_term t);
/// An application of a declared function.
int tarq_term_is_uf(tarq_env e, tarq_term t);
/// An application of a quantifier.
int tarq_term_is_quantifier(tarq_env e, tarq_term t);
/// The indices are filled on 1 and may be null.
int tarq_term_is_bv_extract(tarq_env e, tarq_term t, size_t* out_msb, size_t* out_lsb);
/// The amount, in bits, is filled on 1 and may be null.
int tarq_term_is_bv_zext(tarq_env e, tarq_term t, size_t* out_amount);
/// The amount, in bits, is filled on 1 and may be null.
int tarq_term_is_bv_sext(tarq_env e, tarq_term t, size_t* out_amount);
/// The amount, in bits, is filled on 1 and may be null.
int tarq_term_is_bv_rol(tarq_env e, tarq_term t, size_t* out_amount);
/// The amount, in bits, is filled on 1 and may be null.
int tarq_term_is_bv_ror(tarq_env e, tarq_term t, size_t* out_amount);
/// The modulus is set on 1; initialised by the caller, may be null. -1 on failure.
int tarq_term_is_int_modular_congruence(tarq_env e, tarq_term t, mpz_ptr out_modulus);
/// Made by tarq_make_true.
int tarq_term_is_true(tarq_env e, tarq_term t);
/// Made by tarq_make_false.
int tarq_term_is_false(tarq_env e, tarq_term t);
/// Made by tarq_make_and.
int tarq_term_is_and(tarq_env e, tarq_term t);
/// Made by tarq_make_or.
int tarq_term_is_or(tarq_env e, tarq_term t);
/// Made by tarq_make_not.
int tarq_term_is_not(tarq_env e, tarq_term t);
/// Made by tarq_make_iff.
int tarq_term_is_iff(tarq_env e, tarq_term t);
/// Made by tarq_make_term_ite.
int tarq_term_is_term_ite(tarq_env e, tarq_term t);
/// Made by tarq_make_equal.
int tarq_term_is_equal(tarq_env e, tarq_term t);
/// Made by tarq_make_leq.
int tarq_term_is_leq(tarq_env e, tarq_term t);
/// Made by tarq_make_plus.
int tarq_term_is_plus(tarq_env e, tarq_term t);
/// Made by tarq_make_times.
int tarq_term_is_times(tarq_env e, tarq_term t);
/// Made by tarq_make_divide.
int tarq_term_is_divide(tarq_env e, tarq_term t);
/// Made by tarq_make_floor.
int tarq_term_is_floor(tarq_env e, tarq_term t);
/// Made by tarq_make_pi.
int tarq_term_is_pi(tarq_env e, tarq_term t);
/// Made by tarq_make_exp.
int tarq_term_is_exp(tarq_env e, tarq_term t);
/// Made by tarq_make_sin.
int tarq_term_is_sin(tarq_env e, tarq_term t);
/// Made by tarq_make_log.
int tarq_term_is_log(tarq_env e, tarq_term t);
/// Made by tarq_make_pow.
int tarq_term_is_pow(tarq_env e, tarq_term t);
/// Made by tarq_make_asin.
int tarq_term_is_asin(tarq_env e, tarq_term t);
/// Made by tarq_make_array_read.
int tarq_term_is_array_read(tarq_env e, tarq_term t);
/// Made by tarq_make_array_write.
int tarq_term_is_array_write(tarq_env e, tarq_term t);
/// Made by tarq_make_array_const.
int tarq_term_is_array_const(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_concat.
int tarq_term_is_bv_concat(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_or.
int tarq_term_is_bv_or(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_xor.
int tarq_term_is_bv_xor(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_and.
int tarq_term_is_bv_and(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_not.
int tarq_term_is_bv_not(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_lshl.
int tarq_term_is_bv_lshl(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_lshr.
int tarq_term_is_bv_lshr(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_ashr.
int tarq_term_is_bv_ashr(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_plus.
int tarq_term_is_bv_plus(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_minus.
int tarq_term_is_bv_minus(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_neg.
int tarq_term_is_bv_neg(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_times.
int tarq_term_is_bv_times(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_udiv.
int tarq_term_is_bv_udiv(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_urem.
int tarq_term_is_bv_urem(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_sdiv.
int tarq_term_is_bv_sdiv(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_srem.
int tarq_term_is_bv_srem(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_ult.
int tarq_term_is_bv_ult(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_uleq.
int tarq_term_is_bv_uleq(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_slt.
int tarq_term_is_bv_slt(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_sleq.
int tarq_term_is_bv_sleq(tarq_env e, tarq_term t);
/// Made by tarq_make_bv_comp.
int tarq_term_is_bv_comp(tarq_env e, tarq_term t);
/// Made by tarq_make_int_to_bv.
int tarq_term_is_int_to_bv(tarq_env e, tarq_term t);
/// Made by tarq_make_int_from_ubv.
int tarq_term_is_int_from_ubv(tarq_env e, tarq_term t);
/// Made by tarq_make_int_from_sbv.
int tarq_term_is_int_from_sbv(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_roundingmode_nearest_even.
int tarq_term_is_fp_roundingmode_nearest_even(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_roundingmode_zero.
int tarq_term_is_fp_roundingmode_zero(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_roundingmode_plus_inf.
int tarq_term_is_fp_roundingmode_plus_inf(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_roundingmode_minus_inf.
int tarq_term_is_fp_roundingmode_minus_inf(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_equal.
int tarq_term_is_fp_equal(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_lt.
int tarq_term_is_fp_lt(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_leq.
int tarq_term_is_fp_leq(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_neg.
int tarq_term_is_fp_neg(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_plus.
int tarq_term_is_fp_plus(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_minus.
int tarq_term_is_fp_minus(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_times.
int tarq_term_is_fp_times(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_div.
int tarq_term_is_fp_div(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_sqrt.
int tarq_term_is_fp_sqrt(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_min.
int tarq_term_is_fp_min(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_max.
int tarq_term_is_fp_max(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_round_to_int.
int tarq_term_is_fp_round_to_int(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_abs.
int tarq_term_is_fp_abs(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_cast.
int tarq_term_is_fp_cast(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_to_bv.
int tarq_term_is_fp_to_bv(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_from_sbv.
int tarq_term_is_fp_from_sbv(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_from_ubv.
int tarq_term_is_fp_from_ubv(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_as_ieeebv.
int tarq_term_is_fp_as_ieeebv(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_from_ieeebv.
int tarq_term_is_fp_from_ieeebv(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_isnan.
int tarq_term_is_fp_isnan(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_isinf.
int tarq_term_is_fp_isinf(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_iszero.
int tarq_term_is_fp_iszero(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_issubnormal.
int tarq_term_is_fp_issubnormal(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_isnormal.
int tarq_term_is_fp_isnormal(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_isneg.
int tarq_term_is_fp_isneg(tarq_env e, tarq_term t);
/// Made by tarq_make_fp_ispos.
int tarq_term_is_fp_ispos(tarq_env e, tarq_term t);
// Walks and rewrites

/// Calls `func` on every distinct subterm of `t`, before and after its arguments. The callback may
/// start further walks.
/// returns  0, also when the callback aborted the walk; -1 on failure
int tarq_visit_term(tarq_env e, tarq_term t, tarq_visit_term_callback func, void* user_data);
/// `t` with every occurrence of `from[i]` replaced by `to[i]`, all at the same time.
/// from, to  `n` terms each; the types of a pair must fit
tarq_term tarq_apply_substitution(tarq_env e, tarq_term t, const tarq_term* from,
                                  const tarq_term* to, size_t n);
/// `t` simplified by the rules that the option `preprocessor.simplification` selects, which also
/// run on every formula before it is solved. The result is equivalent to `t`.
/// to_protect  `num_to_protect` constants that the result must say as much about as `t`
/// toplevel    nonzero: a formula loses the other constants that it defines itself, and is
///             equivalent only as far as the rest goes
tarq_term tarq_simplify(tarq_env e, tarq_term t, const tarq_term* to_protect, size_t num_to_protect,
                        int toplevel);
/// An equivalent formula without iff, in which negations stand on atoms only.
tarq_term tarq_to_nnf(tarq_env e, tarq_term t);

// Languages

/// Reads SMT-LIB 2 terms, without a script around them, over what is declared in `e`.
/// data     one term, or several, whose conjunction is the result
tarq_term tarq_from_string(tarq_env e, const char* data);
/// Reads an SMT-LIB 2 script and returns the conjunction of its assertions. Declarations are made
/// in `e`; commands that ask a solver something are skipped, push, pop and unknown commands are
/// errors. Nothing is asserted.
tarq_term tarq_from_smtlib2(tarq_env e, const char* data);
/// The same from an open file, which is read up to its end or to (exit) and stays open.
tarq_term tarq_from_smtlib2_file(tarq_env e, FILE* f);
/// Reads a script and returns the terms that it gives a :named attribute, in order of appearance.
/// out_n      how many
/// out_names  a fresh array of fresh strings; each string and the array are freed with tarq_free
/// out_terms  a fresh array, freed with tarq_free
/// On failure the out-parameters are left alone.
int tarq_named_list_from_smtlib2(tarq_env e, const char* data, size_t* out_n, char*** out_names,
                                 tarq_term** out_terms);
/// The same from an open file.
int tarq_named_list_from_smtlib2_file(tarq_env e, FILE* f, size_t* out_n, char*** out_names,
                                      tarq_term** out_terms);
/// Reads a script and returns all annotations of its terms; a term with three of them comes three
/// times.
/// out_n       how many annotations
/// out_terms   a fresh array of `*out_n` terms, by ascending id
/// out_annots  a fresh array of 2 * `*out_n` fresh strings: key, without its colon, and value of
///             each
/// On failure the out-parameters are left alone.
int tarq_annotated_list_from_smtlib2(tarq_env e, const char* data, size_t* out_n,
                                     tarq_term** out_terms, char*** out_annots);
/// The same from an open file.
int tarq_annotated_list_from_smtlib2_file(tarq_env e, FILE* f, size_t* out_n, tarq_term** out_terms,
                                          char*** out_annots);

/// Prints a script that declares what `term` is made of and asserts it. The formats of numbers are
/// chosen by the options `printer.*`.
/// returns  a fresh string
char* tarq_to_smtlib2(tarq_env e, tarq_term term);
/// The same with a set-logic, unless `logic_name` is null.
/// use_defines  nonzero: subterms that occur more than once become definitions of the script;
///              otherwise they are bound by let
char* tarq_to_smtlib2_ext(tarq_env e, tarq_term term, const char* logic_name, int use_defines);
/// Prints an SMT-LIB 1 benchmark with the formula `term`. That language has no floats and no Boolean
/// arguments; such terms are errors.
/// returns  a fresh string
char* tarq_to_smtlib1(tarq_env e, tarq_term term);
/// The same, to an open file, which stays open.
int tarq_to_smtlib1_file(tarq_env e, tarq_term term, FILE* f);
/// Prints a script in which each of `n` terms of any type carries a name, for
/// tarq_named_list_from_smtlib2 to read. Nothing is asserted. A term may come with several names.
/// returns  a fresh string
char* tarq_named_list_to_smtlib2(tarq_env e, size_t n, const char* const* names,
                                 const tarq_term* terms);
/// The same, to an open file.
int tarq_named_list_to_smtlib2_file(tarq_env e, size_t n, const char* const* names,
                                    const tarq_term* terms, FILE* f);
/// Prints a script in which each of `n` terms carries an attribute, for
/// tarq_annotated_list_from_smtlib2 to read. Nothing is asserted.
/// annots   2 * `n` strings: key, with or without its colon, and value of each; a value is printed
///          as it stands
/// returns  a fresh string
char* tarq_annotated_list_to_smtlib2(tarq_env e, size_t n, const tarq_term* terms,
                                     const char* const* annots);
/// The same, to an open file.
int tarq_annotated_list_to_smtlib2_file(tarq_env e, size_t n, const tarq_term* terms,
                                        const char* const* annots, FILE* f);
/// Prints the term alone, its shared subterms bound by let.
char* tarq_to_smtlib2_term(tarq_env e, tarq_term term);
/// As tarq_to_smtlib2, to an open file, which stays open.
int tarq_to_smtlib2_file(tarq_env e, tarq_term term, FILE* f);
/// As tarq_to_smtlib2_ext, to an open file.
int tarq_to_smtlib2_ext_file(tarq_env e, tarq_term term, const char* logic_name, int use_defines,
                             FILE* f);

// Solving

/// Asserts a formula; it is looked at by the next check. A check that meets what this version can't
/// decide (quantifiers, nonlinear arithmetic) fails and gives no answer.
int tarq_assert_formula(tarq_env e, tarq_term formula);
/// Opens a backtrack point.
int tarq_push_backtrack_point(tarq_env e);
/// Removes the newest backtrack point and what was asserted since; fails when there is none.
int tarq_pop_backtrack_point(tarq_env e);
/// The number of backtrack points.
size_t tarq_num_backtrack_points(tarq_env e);
/// Decides the conjunction of what is asserted.
tarq_result tarq_solve(tarq_env e);
/// The same under assumptions, which hold for this call only.
/// assumptions  `num_assumptions` constants of type Bool or negations of such
tarq_result tarq_solve_with_assumptions(tarq_env e, const tarq_term* assumptions,
                                        size_t num_assumptions);
/// Makes the search decide a constant of type Bool before all constants that are not preferred.
/// phase    the value to try first, TARQ_UNDEF to leave it to the search
int tarq_add_preferred_for_branching(tarq_env e, tarq_term b, tarq_truth_value phase);
/// Forgets all preferences.
int tarq_clear_preferred_for_branching(tarq_env e);
/// What is asserted, oldest first.
/// out_size  how many formulas
/// returns   a fresh array, not null even when it is empty
tarq_term* tarq_get_asserted_formulas(tarq_env e, size_t* out_size);
/// The assumptions that the last check found responsible for its answer, as they were passed; none
/// unless that check was unsatisfiable under its assumptions.
/// out_size  how many
/// returns   a fresh array, not null even when it is empty
tarq_term* tarq_get_unsat_assumptions(tarq_env e, size_t* out_size);
/// Enumerates the models of what is asserted, as to the truth values of some constants, and calls
/// `func` for each. Models told are excluded from then on: open a backtrack point first, and close
/// it afterwards, to have them back. With the option `dpll.allsat_minimize_model` constants whose
/// value makes no difference are left out of a model, which then stands for several; no two of
/// these overlap. With an empty list all atoms of the formulas take part.
/// important  `num_important` constants of type Bool
/// returns    the number of models; -2 when there is nothing to assign; -1 on failure, also when
///            the callback stopped the enumeration
int tarq_all_sat(tarq_env e, const tarq_term* important, size_t num_important,
                 tarq_all_sat_model_callback func, void* user_data);
/// An unsatisfiable subset of the asserted formulas, for which the last check must have been
/// unsatisfiable and the option `unsat_core_generation` be on. After a check under assumptions the
/// subset is unsatisfiable together with the assumptions of tarq_get_unsat_assumptions.
/// out_size  how many formulas
/// returns   a fresh array, null on failure
tarq_term* tarq_get_unsat_core(tarq_env e, size_t* out_size);
/// The same with `unsat_core_generation` 2, where the caller's function finds an unsatisfiable
/// subset of clauses, from which the formulas are read off.
tarq_term* tarq_get_unsat_core_ext(tarq_env e, size_t* out_size,
                                   tarq_ext_unsat_core_extractor extractor, void* user_data);
/// The counters of the search, one line "name value" each, in a fresh string. They start from 0
/// when an environment is made, reset or collected, and at the first check after a stopped or
/// failed one.
char* tarq_get_search_stats(tarq_env e);

// Models
//
// A model gives every symbol a meaning under which the formulas of the last check hold; it is there
// after a satisfiable check with the option `model_generation`. Values are numbers, truth values,
// rounding modes, arrays made of such, and for the elements of uninterpreted types constants whose
// names start with "@". With `bool_model_generation` alone there are values for the atoms of the
// problem only.

/// The model of the last check. It stays valid through further checks, but not beyond a
/// tarq_gc_env or the end of the environments that share its terms.
/// returns  to be given back to tarq_destroy_model
tarq_model tarq_get_model(tarq_env e);
/// Gives a model back; nothing for the error handle.
void tarq_destroy_model(tarq_model m);
/// The value of any term. What the problem does not mention has a default value.
tarq_term tarq_model_eval(tarq_model m, tarq_term t);
/// Walks over the constants of the problem and over the arguments for which its functions were
/// applied: `f(1, 2)` stands for the value of `f` at these arguments.
/// returns  to be given back to tarq_destroy_model_iterator
tarq_model_iterator tarq_model_create_iterator(tarq_model m);
/// The value of a term in the model of the last check.
tarq_term tarq_get_model_value(tarq_env e, tarq_term t);
/// Walks over the model of the last check.
tarq_model_iterator tarq_create_model_iterator(tarq_env e);
/// Nonzero unless the walk is at its end.
int tarq_model_iterator_has_next(tarq_model_iterator i);
/// Gives the term and the value at hand and goes on; -1 at the end, with the outputs left alone.
int tarq_model_iterator_next(tarq_model_iterator i, tarq_term* t, tarq_term* v);
/// Ends a walk; nothing for the error handle. The model stays.
void tarq_destroy_model_iterator(tarq_model_iterator i);
/// Finds models that differ in the values of the given terms, which are of type Bool or have
/// numbers for values, until there is none left or the callback stops. Each model is excluded by a
/// formula that stays asserted; push a backtrack point first to get rid of them.
/// returns  how many were found, -1 on failure
int tarq_solve_diversify(tarq_env e, const tarq_term* diversifiers, size_t num_diversifiers,
                         tarq_solve_diversify_model_callback func, void* user_data);

// Circuits
//
// And-inverter graphs: equal gates are one node, and constants and contradictions fold while a
// circuit is built. Nodes live as long as their manager. A manager is used no longer than its
// environment, and not beyond a tarq_gc_env. Handles of another manager, and the null handle, make
// a call fail; failures are reported to the environment.

/// A manager without nodes but the constants.
/// returns  to be given back to tarq_destroy_aig_manager
tarq_aig_manager tarq_create_aig_manager(tarq_env e);
/// Gives a manager back; nothing for the error handle.
void tarq_destroy_aig_manager(tarq_aig_manager m);
/// No node.
tarq_aig tarq_aig_null(void);
tarq_aig tarq_aig_true(tarq_aig_manager m);
tarq_aig tarq_aig_false(tarq_aig_manager m);
/// The variable of that number. Bits of encoded terms get numbers that were not in use before.
tarq_aig tarq_aig_var(tarq_aig_manager m, int var);
tarq_aig tarq_aig_not(tarq_aig_manager m, tarq_aig a);
tarq_aig tarq_aig_and(tarq_aig_manager m, tarq_aig a, tarq_aig b);
tarq_aig tarq_aig_or(tarq_aig_manager m, tarq_aig a, tarq_aig b);
tarq_aig tarq_aig_iff(tarq_aig_manager m, tarq_aig a, tarq_aig b);
tarq_aig tarq_aig_xor(tarq_aig_manager m, tarq_aig a, tarq_aig b);
/// If c then t else f.
tarq_aig tarq_aig_ite(tarq_aig_manager m, tarq_aig c, tarq_aig t, tarq_aig f);
/// The number of the node, the same for a node and its negation; nodes made later have larger ones.
uint64_t tarq_aig_id(tarq_aig a);
/// Nonzero for the negation of a node.
int tarq_aig_is_negated(tarq_aig a);
/// The node without a negation.
tarq_aig tarq_aig_strip(tarq_aig a);
/// Nonzero when the node is a conjunction.
int tarq_aig_is_and(tarq_aig_manager m, tarq_aig a);
/// Nonzero when the node is a variable.
int tarq_aig_is_var(tarq_aig_manager m, tarq_aig a);
/// The number of a variable; 0 and an error for other nodes.
int tarq_aig_get_var(tarq_aig_manager m, tarq_aig a);
/// The inputs of a conjunction; null and an error for other nodes.
tarq_aig tarq_aig_get_left(tarq_aig_manager m, tarq_aig a);
tarq_aig tarq_aig_get_right(tarq_aig_manager m, tarq_aig a);
/// The bits of a bit-vector or Boolean term, the least significant first. The constants in it
/// become variables, the same ones for each term. Division by zero gives what the language says.
/// out_size  how many bits
/// returns   a fresh array
tarq_aig* tarq_aig_encode(tarq_aig_manager m, tarq_term t, size_t* out_size);
/// The circuit with `a` as its one output in the ASCII AIGER format, in a fresh string. The inputs
/// come in the order in which a depth-first walk, left inputs first, meets the variables.
char* tarq_aig_to_aiger(tarq_aig_manager m, tarq_aig a);
/// An equivalent of a term of type Bool, built anew from the circuit of its connectives.
tarq_term tarq_aig_simplify(tarq_env e, tarq_term t);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
