// Nested applications of one connective as one with many arguments.
#pragma once

#include "encoding/termmarks.h"
#include "terms/termmanager.h"

#include <cstddef>

namespace tarq {

/// Takes nests of conjunctions, disjunctions and the like apart. One object serves many of them and
/// keeps its buffers.
class NestFlattener {
public:
    explicit NestFlattener(const TermManager* tm) : tm_(tm) {}

    /// Appends the arguments of the nest of t's own connective at `t`, in the order of the formula
    /// and each once. Returns how many terms it looked at.
    size_t add_arguments(const Term_* t, TermVector& out)
    {
        const TermMarksCleaner cleaner(seen_);
        const Symbol* const connective = t->get_symbol();
        size_t looked_at = 0;
        stack_.assign(1, t);
        while (!stack_.empty()) {
            const Term_* s = stack_.back();
            stack_.pop_back();
            if (!seen_.insert(s)) {
                continue;
            }
            ++looked_at;
            if (s->get_symbol() == connective) {
                for (size_t i = s->arity(); i-- > 0;) {
                    stack_.push_back(s->child(i));
                }
            } else {
                out.push_back(s);
            }
        }
        return looked_at;
    }

    /// Appends the formulas that `t` is a conjunction of, `t` itself where it is none.
    size_t add_conjuncts(const Term_* t, TermVector& out)
    {
        if (tm_->is_and(t)) {
            return add_arguments(t, out);
        }
        out.push_back(t);
        return 1;
    }

private:
    const TermManager* tm_;
    TermMarks seen_;
    TermVector stack_;
};

} // namespace tarq
