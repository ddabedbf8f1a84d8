// ModelStore: the model of a satisfiable check. Sources: modelstore.cpp (making it),
// modelstore_eval.cpp (values of terms, iteration).
#pragma once

#include "base/exception.h"
#include "base/hashmap.h"
#include "base/logger.h"
#include "base/terminationtest.h"
#include "results/arrayvalues.h"
#include "results/modelsource.h"
#include "terms/termmanager.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace tarq {

class StdTermSimplifier;

/// An interpretation of all symbols that satisfies the formulas of a check, and the evaluator of
/// terms under it.
///
/// It consists of values for constants and for points of functions: applications to values, which
/// are interned terms as well. Everything else has the default value of its type, so the
/// interpretation is total. What the operators leave open (division by zero, for instance) is kept
/// as points, too. Elements of uninterpreted sorts are constants whose names start with "@".
///
/// Life cycle: state 0 at birth, 1 after compute(), which reads everything it needs from the
/// solvers, 2 after the first get_value() that was not answered at once, when all formulas have
/// been evaluated and found true. From state 1 on the store stands on the term manager alone; a
/// collection of terms ends its life.
///
/// Reference counted: born with one reference, add_ref() adds one, release() takes one and deletes
/// the object with the last. Used by one thread.
class ModelStore {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    struct Options {
        bool full = true; // false: truth values of atoms only
        int real_div_by_zero_mode = 1;
        int bv_div_by_zero_mode = 0;
        int fp_minmax_zero_mode = 1;
    };

    ModelStore(TermManager* tm, const Options& options);
    ModelStore(const ModelStore&) = delete;
    ModelStore& operator=(const ModelStore&) = delete;

    void add_ref() { ++references_; }
    void release()
    {
        if (--references_ == 0) {
            delete this;
        }
    }

    /// test  borrowed, may be null
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }
    /// Messages go to section "MODELSTORE"; borrowed, may be null.
    void set_logger(Logger* logger) { logger_ = logger; }

    /// The formulas that the model has to satisfy.
    void set_formulas(TermVector formulas) { formulas_ = std::move(formulas); }
    /// Reads the interpretation from the solvers.
    /// throws  ModelStore::error "Invalid model" when what they say does not fit together,
    ///         "Impossible to assign a concrete model value to " and a term
    void compute(const ModelSource& source);
    int get_state() const { return state_; }

    /// The value of any term over the symbols of the problem, and over others, which have default
    /// values. Without the full model: that of an atom, and the term itself for any other.
    /// throws  ModelStore::error "Invalid model" when a formula is not satisfied; "can't evaluate
    ///         term: " and the term for quantifiers and transcendental functions
    const Term_* get_value(const Term_* t);
    /// Evaluates the formulas, if nobody has done so yet.
    /// throws  ModelStore::error "Invalid model" when one is not satisfied
    void check() { check_compute_full(); }
    /// The value that everything of this type has unless something else is known.
    const Term_* get_default_value(const DataType* type);

    /// The constants of the formulas and the points of their functions, by symbol and then by term,
    /// each with its value.
    using Entry = std::pair<const Term_*, const Term_*>;
    const std::vector<Entry>& get_entries();

private:
    friend class ModelTermSimplifier;
    class EvaluationScope;

    ~ModelStore();

    // making
    void collect_terminals(TermArgs roots, TermVector* out) const;
    void assign_terminals(const ModelSource& source, TermArgs roots, const TermVector& terminals,
                          const TermMap& truth);
    void note_compared(const ModelSource& source, TermArgs roots, const TermMap& raw);
    void choose_free_values(const ModelSource& source);
    const Term_* value_of_class(const Term_* representative);
    const Term_* value_of_leaf(const Term_* representative);
    const Term_* fresh_value(const DataType* type);
    const Term_* fresh_array(const DataType* type);
    const Term_* make_abstract_value(const DataType* type);
    void set_point(const Term_* point, const Term_* value);
    void note_used(const Term_* value);
    bool is_terminal(const Term_* t) const;
    bool is_partial(const Term_* t) const;
    bool is_good_value(const Term_* t) const;

    // evaluation
    void check_compute_full();
    bool debug_check();
    const Term_* evaluate(const Term_* root);
    bool request_arguments(const Term_* t, TermVector& stack) const;
    const Term_* evaluate_node(const Term_* t);
    const Term_* point_of(const Term_* t);
    const Term_* value_of_point(const Term_* point, const Term_* original);
    void poll()
    {
        if (termination_test_ && ++polled_ % 256 == 0) {
            (*termination_test_)();
        }
    }

    TermManager* tm_;
    Options options_;
    size_t references_ = 1;
    int state_ = 0;
    Logger* logger_ = nullptr;
    const TerminationTest* termination_test_ = nullptr;
    unsigned polled_ = 0;
    std::unique_ptr<StdTermSimplifier> own_simplifier_; // where the term manager has none

    TermVector formulas_;
    ArrayValues arrays_;
    TermMap values_;        // constants, points, and atoms without the full model
    TermMap definitions_;   // replaced symbols
    TermMap classes_;       // representative of a class without a value of its own to its value
    TermSet problem_terms_; // at and below the atoms, when some class has no value of its own
    TermSet used_;          // values that a fresh one must differ from
    QNumber next_number_;   // above all numbers in use
    hsh::HashMap<const DataType*, const Term_*> defaults_;
    hsh::HashMap<const DataType*, size_t> next_abstract_;
    TermMap memo_; // of evaluate
    std::vector<Entry> entries_;
    bool has_entries_ = false;
};

} // namespace tarq
