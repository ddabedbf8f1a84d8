// EqualityClasses: what the theory manager needs of the equality solver beyond the common contract.
#pragma once

#include "terms/termmanager.h"

namespace tarq {

/// The congruence classes as they stand. Terms that the solver was not told of are alone in theirs.
class EqualityClasses {
public:
    virtual ~EqualityClasses() = default;

    /// The term that stands for the class of `t`; a number if there is one in it.
    virtual const Term_* get_representative(const Term_* t) = 0;
    /// Appends the members of the class of `t`, which is one of them.
    virtual void get_congruence_class(const Term_* t, TermVector& out) = 0;
    /// Appends a representative of every class of told terms.
    virtual void get_all_representatives(TermVector& out) = 0;
    /// Chooses a term as the value of each class, if possible one of `keep`.
    virtual void build_model(const TermSet& keep) = 0;
    /// Appends the members of the class whose value is `value`, as the last model has it.
    virtual void get_model_congruence_class(const Term_* value, TermVector& out) = 0;
    /// Equal argument tuples of applications of interpreted symbols with this tag are worth lemmas
    /// of their own, as those of uninterpreted functions are.
    virtual void add_dyn_ack_tag(SymbolTag::tag tag) = 0;
};

} // namespace tarq
