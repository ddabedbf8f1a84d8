// ConstraintEncoder: axioms for the operators that no theory solver knows, so that solvers can take
// their applications for uninterpreted terms. Sources: constraintencoder.cpp (the walk and the
// table), termiteencoder.h (term-ITEs), constraintencoder_arith.cpp, constraintencoder_bv.cpp (the
// encoders of those theories), constraintencoder_bool.cpp (formulas as arguments).
#pragma once

#include "base/bitvector.h"
#include "base/exception.h"
#include "base/terminationtest.h"
#include "encoding/bvites.h"
#include "terms/symboltags.h"
#include "terms/termmanager.h"

#include <array>
#include <memory>
#include <vector>

namespace tarq {

class TermIteEncoder;

/// Adds to a formula the axioms that define its term-ITEs, floors, congruences, quotients, powers
/// and conversions. The terms themselves stay.
///
/// The axioms of a term are added again for each formula that holds it; the clause conversion finds
/// out. Fresh constants are named by the id of the term that they serve, so they come out the same.
/// Terms below quantifiers are left alone.
///
/// Borrows the term manager and the termination test.
class ConstraintEncoder {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    struct config {
        bool basic_ite_simplification = false;
        bool ite_minimization = false;
        int ite_call_limit = 0;       // of the minimisation, 0 for none
        bool times_zero_line = false; // signs and zeros of products
        bool bv_ite_circuits = false; // the term-ITEs of BvIteFilter stay without axioms
        bool fp_ite_circuits = false; // and those of FpIteFilter
        bool bv_div_uf = false;       // division by zero is a function of the dividend
        bool fp_minmax_uf = false;    // and so is the minimum of two different zeros, of both
        bool real_div_uf = false;     // real division by zero is a function of the dividend
    };

    /// Defines the terms of one symbol tag.
    class enc_fun {
    public:
        virtual ~enc_fun() = default;
        /// Appends axioms that hold for `t` and, together, say what `t` is.
        /// added  receives the fresh constants in the axioms
        virtual void operator()(TermManager* tm, const Term_* t, TermVector& axioms,
                                TermSet& added) = 0;
    };

    ConstraintEncoder(TermManager* tm, const config& c);
    ~ConstraintEncoder();
    ConstraintEncoder(const ConstraintEncoder&) = delete;
    ConstraintEncoder& operator=(const ConstraintEncoder&) = delete;

    /// `f` with simpler term-ITEs and all axioms conjoined. Linear in the distinct nodes of `f` and
    /// of the axioms.
    /// throws  ConstraintEncoder::error "can't perform Term-ITE simplifications because they are
    ///         not enabled in the TermManager", TerminationTest::terminated
    const Term_* operator()(const Term_* f);
    /// The same, with the axioms appended to `axioms` instead; returns the simplified formula.
    const Term_* encode(const Term_* f, TermVector& axioms);
    /// The axioms of `f` and everything below it, `f` as it stands.
    void define(const Term_* f, TermVector& axioms);

    /// Forgets what was remembered of terms.
    void reset();
    void set_termination_test(const TerminationTest* test);
    /// The fresh constants of all axioms made since the last reset.
    const TermSet& get_added_constants() const { return added_; }

private:
    class Visitor;
    static constexpr size_t NUM_TAGS = static_cast<size_t>(SymbolTag::EXISTS) + 1;

    void register_encoder(SymbolTag::tag tag, std::unique_ptr<enc_fun> f);
    enc_fun* find(const Term_* t) const;

    TermManager* tm_;
    config config_;
    const TerminationTest* termination_test_ = nullptr;
    std::array<std::unique_ptr<enc_fun>, NUM_TAGS> table_; // by tag, null for none
    std::unique_ptr<enc_fun> bool_args_; // of uninterpreted functions; null where they are refused
    TermIteEncoder* ite_;                // in the table
    BvIteFilter bv_ites_{tm_};
    FpIteFilter fp_ites_{tm_};
    TermSet added_;
    BitVector plain_; // by term id: nodes with nothing to define at or below them
    BitVector marks_; // of the walk; all off between walks
};

namespace encoders {

/// Whether `t` applies an uninterpreted function or predicate to a formula.
bool has_bool_argument(const TermManager* tm, const Term_* t);
/// Applications with formulas among their arguments, in terms of predicates instead of formulas.
std::unique_ptr<ConstraintEncoder::enc_fun> make_bool_argument_encoder();
std::unique_ptr<ConstraintEncoder::enc_fun> make_floor_encoder();
std::unique_ptr<ConstraintEncoder::enc_fun> make_congruence_encoder();
/// Products with a factor that is a tree of term-ITEs over numbers.
/// zero_line  also relate the signs of products of two unknowns
std::unique_ptr<ConstraintEncoder::enc_fun> make_times_encoder(bool zero_line);
/// by_zero_uf  division by zero is a function of the dividend, else it gives zero
std::unique_ptr<ConstraintEncoder::enc_fun> make_divide_encoder(bool by_zero_uf);
std::unique_ptr<ConstraintEncoder::enc_fun> make_log_encoder();
std::unique_ptr<ConstraintEncoder::enc_fun> make_asin_encoder();
std::unique_ptr<ConstraintEncoder::enc_fun> make_pow_encoder();
std::unique_ptr<ConstraintEncoder::enc_fun> make_int_to_bv_encoder();
std::unique_ptr<ConstraintEncoder::enc_fun> make_int_from_bv_encoder(bool is_signed);
/// Division by zero as a function of the dividend, one for each width.
std::unique_ptr<ConstraintEncoder::enc_fun> make_bv_div_encoder(SymbolTag::tag tag);
/// Minimum or maximum of two zeros of different sign as a function of both.
std::unique_ptr<ConstraintEncoder::enc_fun> make_fp_minmax_encoder(SymbolTag::tag tag);

/// The equality `t = a` as an atom on `t`. Rewriting must not look into `t`, which would lose its
/// definition.
const Term_* make_definition(TermManager* tm, const Term_* t, const Term_* a);
/// `not condition or consequence`.
const Term_* make_implies(TermManager* tm, const Term_* condition, const Term_* consequence);

} // namespace encoders

} // namespace tarq
