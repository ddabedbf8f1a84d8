// The encoder of formulas as arguments.
#include "encoding/constraintencoder.h"

#include <algorithm>
#include <string>

namespace tarq::encoders {

namespace {

bool is_array_operation(const TermManager* tm, const Term_* t)
{
    return tm->is_array_read(t) || tm->is_array_write(t) || tm->is_array_const(t);
}

/// For t = f(b, x): `t = f(p, x)` and `p if and only if b`, where p applies a predicate that serves
/// no other purpose to a constant made for b. The equality solver knows the truth of a predicate,
/// and the search gives each a value, so congruence decides the rest: with p and q true or false
/// alike, f(p, x) and f(q, x) are the same.
class BoolArgumentEncoder : public ConstraintEncoder::enc_fun {
public:
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet& added) override
    {
        const DataType* sort = tm->get_simple_type(".bool_arg");
        const Symbol* holds =
            tm->make_symbol(".bool_arg", tm->get_function_type({sort}, tm->get_bool_type()));
        TermVector args(t->children().begin(), t->children().end());
        for (const Term_*& b : args) {
            if (TermManager::get_type(b) != tm->get_bool_type() || tm->is_true(b) ||
                tm->is_false(b) || b->get_symbol() == holds) {
                continue;
            }
            const std::string name = ".bool_arg_" + std::to_string(b->get_id());
            const Term_* c = tm->make_constant(tm->make_symbol(name, sort));
            added.insert(c);
            const Term_* p = tm->make_uninterpreted_function(holds, TermArgs(&c, 1));
            axioms.push_back(tm->make_iff(p, b));
            b = p;
        }
        const Term_* r = is_array_operation(tm, t)
                             ? tm->do_make_term(t->get_symbol(), args)
                             : tm->make_uninterpreted_function(t->get_symbol(), args);
        if (r != t) {
            axioms.push_back(make_definition(tm, t, r));
        }
    }
};

} // namespace

bool has_bool_argument(const TermManager* tm, const Term_* t)
{
    return t->arity() > 0 && (!tm->is_interpreted(t) || is_array_operation(tm, t)) &&
           std::any_of(t->children().begin(), t->children().end(), [tm](const Term_* c) {
               return TermManager::get_type(c) == tm->get_bool_type();
           });
}

std::unique_ptr<ConstraintEncoder::enc_fun> make_bool_argument_encoder()
{
    return std::make_unique<BoolArgumentEncoder>();
}

} // namespace tarq::encoders
