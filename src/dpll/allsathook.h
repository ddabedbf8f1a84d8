// AllSatModelFoundHook: what an enumeration of models tells its caller.
#pragma once

#include "terms/theorylit.h"

#include <vector>

namespace tarq {

/// Told of the models that an enumeration finds; may add clauses to the problem meanwhile.
class AllSatModelFoundHook {
public:
    virtual ~AllSatModelFoundHook() = default;

    /// A model was found.
    /// model   its true literals over the atoms of the enumeration, in the order these were given;
    ///         with `dpll.allsat_minimize_model` a cube: atoms that are not there may have any value
    /// Returns whether to go on.
    virtual bool operator()(std::vector<TheoryLit>& model)
    {
        (void)model;
        return true;
    }

    /// Whether get_new_clause has something to say; asked at every fixpoint of the search.
    virtual bool has_new_clauses() { return false; }
    /// Appends the literals of a clause, over Boolean atoms, that the models still to come have to
    /// satisfy. Like the exclusion of a model it holds until the newest point is popped.
    virtual void get_new_clause(std::vector<TheoryLit>& clause) { (void)clause; }
};

} // namespace tarq
