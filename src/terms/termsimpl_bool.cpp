// The simplifications of the Boolean connectives and of term-ITE. They read addresses, and what the
// bank tells of an address: in the common case no argument is touched.
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"
#include "terms/termsimpl.h"

namespace tarq::termsimpl {

namespace {

using simpl_fun = StdTermSimplifier::simpl_fun;

using Key = TermBank::Key;

/// Interns a commutative application with the older argument first. Without a branch: which one is
/// older is as good as random.
const Term_* make_sorted(TermManager* tm, const Symbol* symbol, const Term_* a, const Term_* b,
                         Key ka, Key kb)
{
    const Term_* sorted[2];
    const bool swap = tm->get_bank().is_older(b, a, kb, ka);
    sorted[swap] = a;
    sorted[!swap] = b;
    return tm->do_make_term(symbol, sorted);
}

bool are_opposite(const Term_* a, const Term_* b, Key ka, Key kb)
{
    return (ka.get_class() == TermClass::NEGATION && a->child(0) == b) ||
           (kb.get_class() == TermClass::NEGATION && b->child(0) == a);
}

class NotSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* a = args[0];
        if (tm->is_true(a)) {
            return tm->make_false();
        }
        if (tm->is_false(a)) {
            return tm->make_true();
        }
        if (tm->is_not(a)) {
            return a->child(0);
        }
        return tm->do_make_term(symbol, args);
    }
};

/// And, and by duality or: `neutral` is dropped, `absorbing` is the result.
class JunctionSimpl : public simpl_fun {
public:
    JunctionSimpl(const Term_* neutral, const Term_* absorbing)
        : neutral_(neutral), absorbing_(absorbing)
    {
    }
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* a = args[0];
        const Term_* b = args[1];
        const Key ka = tm->get_bank().get_key(a);
        const Key kb = tm->get_bank().get_key(b);
        if (a == b || b == neutral_) {
            return a;
        }
        if (a == neutral_) {
            return b;
        }
        if (a == absorbing_ || b == absorbing_ || are_opposite(a, b, ka, kb)) {
            return absorbing_;
        }
        return make_sorted(tm, symbol, a, b, ka, kb);
    }

private:
    const Term_* neutral_;
    const Term_* absorbing_;
};

class IffSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* a = args[0];
        const Term_* b = args[1];
        const Key ka = tm->get_bank().get_key(a);
        const Key kb = tm->get_bank().get_key(b);
        if (a == b) {
            return tm->make_true();
        }
        if (tm->is_true(a)) {
            return b;
        }
        if (tm->is_true(b)) {
            return a;
        }
        if (tm->is_false(a)) {
            return tm->make_not(b);
        }
        if (tm->is_false(b)) {
            return tm->make_not(a);
        }
        if (are_opposite(a, b, ka, kb)) {
            return tm->make_false();
        }
        return make_sorted(tm, symbol, a, b, ka, kb);
    }
};

class TermIteSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        if (tm->is_true(args[0]) || args[1] == args[2]) {
            return args[1];
        }
        if (tm->is_false(args[0])) {
            return args[2];
        }
        return tm->do_make_term(symbol, args);
    }
};

} // namespace

void register_standard_simplifications(TermManager* tm, StdTermSimplifier* simplifier)
{
    const Term_* t = tm->make_true();
    const Term_* f = tm->make_false();
    simplifier->register_simplification(SymbolTag::NOT, std::make_unique<NotSimpl>());
    simplifier->register_simplification(SymbolTag::AND, std::make_unique<JunctionSimpl>(t, f));
    simplifier->register_simplification(SymbolTag::OR, std::make_unique<JunctionSimpl>(f, t));
    simplifier->register_simplification(SymbolTag::IFF, std::make_unique<IffSimpl>());
    simplifier->register_simplification(SymbolTag::ITE, std::make_unique<TermIteSimpl>());
    register_arith_simplifications(simplifier);
    register_array_simplifications(simplifier);
    register_bv_simplifications(simplifier);
    register_fp_simplifications(simplifier);
}

} // namespace tarq::termsimpl
