// BvModelEvaluator: values of bit-vector terms from bits, or from the values of arguments.
#pragma once

#include "base/hashmap.h"
#include "terms/termmanager.h"
#include "theory/bv/wordclausifierinterface.h"

#include <functional>
#include <vector>

namespace tarq::bv {

/// The values that a solver's words have in one assignment. Values are interned constants, so equal
/// values are the same term. Borrows what it is built with.
class BvModelEvaluator {
public:
    /// options  say what a division by zero gives
    BvModelEvaluator(TermManager* tm, WordClausifierInterface* words,
                     const Configuration::Theory::Bv& options)
        : tm_(tm), words_(words), options_(options)
    {
    }

    /// Takes the values of the variables of the engine behind the words, for the calls to come.
    /// value  called as value(var) for each variable below num_vars
    template <class Value>
    void set_assignment(int num_vars, Value value)
    {
        assignment_.resize(static_cast<size_t>(num_vars));
        for (int v = 0; v < num_vars; ++v) {
            assignment_[static_cast<size_t>(v)] = value(v);
        }
        fresh_ = true;
        values_.clear();
    }

    /// The value of a bit-vector or Boolean term: from its bits if it has any, otherwise, with
    /// `evaluate`, from the values of its arguments. Null when there is none.
    const Term_* operator()(const Term_* t, bool evaluate);

    /// Whether the head of `t` is no operator of bit-vectors.
    static bool is_alien(const TermManager& tm, const Term_* t);

private:
    const Term_* from_bits(const Term_* t);
    const Term_* from_arguments(const Term_* t);
    const Term_* apply(const Term_* t, const TermVector& args);
    const Term_* divide_by_zero(const Term_* t, const TermVector& args, size_t width);
    const Term_* default_value(const Term_* t);

    TermManager* tm_;
    WordClausifierInterface* words_;
    const Configuration::Theory::Bv& options_;
    std::vector<bool> assignment_; // by variable
    bool fresh_ = true;
    hsh::HashMap<const Term_*, const Term_*> values_; // of terms computed from arguments
    TermVector stack_;
    std::vector<bool> bits_;
};

} // namespace tarq::bv
