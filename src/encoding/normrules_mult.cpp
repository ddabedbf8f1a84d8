// Rules on products: one balanced shape for the products of the same factors, and distribution over
// sums.

#include "encoding/normrules.h"

#include "encoding/termmarks.h"
#include "terms/termmanager.h"
#include "terms/termnormalizer.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace tarq::norm {

namespace {

/// What the rules of one session share.
struct MultChainState {
    TermMap subst_cache; // a product to its canonical form
    TermMarks clean;     // terms without a product that would change: no walk need enter them again
    TermVector stack, factors, became;
    TermVector seen; // entered by the last walk, not clean before it
};

/// Products longer than this, sharing unfolded, stay as they are.
constexpr size_t MAX_FACTORS = 200;

/// Lists the factors of a product from left to right; false if there are too many.
bool get_ntimes_args(TermManager* tm, const Term_* t, TermVector& factors, TermVector& scratch)
{
    factors.clear();
    scratch.assign(1, t);
    while (!scratch.empty()) {
        const Term_* x = scratch.back();
        scratch.pop_back();
        if (tm->is_times(x)) {
            scratch.push_back(x->child(1));
            scratch.push_back(x->child(0));
        } else {
            factors.push_back(x);
        }
        if (factors.size() + scratch.size() > MAX_FACTORS) {
            return false;
        }
    }
    return true;
}

/// The canonical form of a product: the number first, squares of equal factors, and pairs by id.
const Term_* canonical_product(TermManager* tm, const Term_* t, MultChainState& state)
{
    TermVector& factors = state.factors;
    TermVector scratch;
    if (!get_ntimes_args(tm, t, factors, scratch)) {
        return t;
    }
    QNumber coefficient(1), value;
    std::erase_if(factors, [&](const Term_* x) {
        if (!tm->is_arith_number(x, &value)) {
            return false;
        }
        coefficient *= value;
        return true;
    });
    std::sort(factors.begin(), factors.end(), term_lt());
    for (bool merged = true; merged && factors.size() > 1;) {
        merged = false;
        size_t kept = 0;
        bool open = false; // whether the last kept factor may still be squared
        for (const Term_* x : TermVector(factors)) {
            if (open && factors[kept - 1] == x) {
                factors[kept - 1] = tm->make_times(x, x);
                merged = true;
                open = false;
            } else {
                factors[kept++] = x;
                open = true;
            }
        }
        factors.resize(kept);
    }
    while (factors.size() > 1) {
        std::sort(factors.begin(), factors.end(), term_lt());
        size_t kept = 0;
        for (size_t i = 0; i < factors.size(); i += 2) {
            factors[kept++] =
                i + 1 < factors.size() ? tm->make_times(factors[i], factors[i + 1]) : factors[i];
        }
        factors.resize(kept);
    }
    if (factors.empty()) {
        return tm->make_number(coefficient);
    }
    return coefficient.is_one() ? factors[0]
                                : tm->make_times(tm->make_number(coefficient), factors[0]);
}

/// The rule for one applicant; see the registration for the tags.
class RewriteRule_mult_chain : public TermNormalizer::norm_fun {
public:
    RewriteRule_mult_chain(SymbolTag::tag applicant, std::shared_ptr<MultChainState> state)
        : applicant_(applicant), state_(std::move(state))
    {
    }
    SymbolTag::tag get_applicant() const override { return applicant_; }
    TermNormalizer::norm_group get_group() const override
    {
        return TermNormalizer::norm_group::ARITHMETIC;
    }
    std::string get_signature() const override
    {
        return "(* (* (* c a) d) b) >> (* (* a b) (* c d))";
    }

    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        MultChainState& state = *state_;
        bool changed = false;
        state.seen.clear();
        state.stack.assign(1, t);
        while (!state.stack.empty()) {
            const Term_* x = state.stack.back();
            state.stack.pop_back();
            if (x->arity() == 0 || !state.clean.insert(x)) {
                continue;
            }
            state.seen.push_back(x);
            if (is_chain_root(tm, x)) {
                const auto [it, is_new] = state.subst_cache.insert({x, x});
                if (is_new) {
                    const Term_* r = canonical_product(tm, x, state);
                    state.subst_cache[x] = r;
                }
                changed = changed || state.subst_cache[x] != x;
                continue;
            }
            for (const Term_* child : x->children()) {
                state.stack.push_back(child);
            }
        }
        if (!changed) {
            return false;
        }
        *out = substitute_seen(tm, t, state);
        return *out != t;
    }

private:
    static bool is_chain_root(TermManager* tm, const Term_* t)
    {
        return tm->is_times(t) && (!tm->is_arith_number(t->child(0)) || tm->is_times(t->child(1)));
    }

    /// `t` with the products replaced. Only terms of the last walk can have changed: all others
    /// were clean before. Those that have changed are not clean.
    static const Term_* substitute_seen(TermManager* tm, const Term_* t, MultChainState& state)
    {
        TermVector& seen = state.seen;
        TermVector& became = state.became; // by position in `seen`
        TermVector args;
        std::sort(seen.begin(), seen.end(), term_lt()); // children first
        became.clear();
        const auto find = [&](const Term_* x) {
            const auto it = std::lower_bound(seen.begin(), seen.end(), x, term_lt());
            const auto i = static_cast<size_t>(it - seen.begin());
            return it != seen.end() && *it == x ? became[i] : x;
        };
        for (const Term_* x : seen) {
            const Term_* r = x;
            if (is_chain_root(tm, x)) {
                r = state.subst_cache[x];
            } else {
                args.clear();
                bool rebuild = false;
                for (const Term_* child : x->children()) {
                    args.push_back(find(child));
                    rebuild = rebuild || args.back() != child;
                }
                r = rebuild ? tm->make_term(x->get_symbol(), args) : x;
            }
            if (r != x) {
                state.clean.erase(x);
            }
            became.push_back(r);
        }
        return find(t);
    }

    SymbolTag::tag applicant_;
    std::shared_ptr<MultChainState> state_;
};

class MultChain_session_handler : public TermNormalizer::session_fun {
public:
    explicit MultChain_session_handler(std::shared_ptr<MultChainState> state)
        : state_(std::move(state))
    {
    }
    void end() override
    {
        state_->subst_cache.clear();
        state_->clean.clear();
    }

private:
    std::shared_ptr<MultChainState> state_;
};

class RewriteRule_mult_distributivity : public TermNormalizer::norm_fun {
public:
    SymbolTag::tag get_applicant() const override { return SymbolTag::TIMES; }
    std::string get_signature() const override
    {
        return "(* (+ a b) (+ c d)) >> (+ (* a c) (* b c) (* a d) (* b d))";
    }

    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        const Term_* x = t->child(0);
        const Term_* y = t->child(1);
        // a multiple of a sum is linear: atoms unfold it themselves, and here a chain of them would
        // be copied at every level
        if ((!tm->is_plus(x) && !tm->is_plus(y)) || tm->is_arith_number(x) ||
            tm->is_arith_number(y)) {
            return false;
        }
        TermVector left, right;
        if (!list_summands(tm, x, left) || !list_summands(tm, y, right) ||
            left.size() * right.size() > MAX_SUMMANDS) {
            return false;
        }
        const Term_* sum = tm->make_number(QNumber(0));
        for (const Term_* a : left) {
            for (const Term_* b : right) {
                sum = tm->make_plus(sum, tm->make_times(a, b));
            }
        }
        *out = sum;
        return true;
    }

private:
    // Repeated products of sums grow exponentially; beyond this they stay factored.
    static constexpr size_t MAX_SUMMANDS = 200;

    static bool list_summands(TermManager* tm, const Term_* t, TermVector& out)
    {
        TermVector stack{t};
        while (!stack.empty()) {
            const Term_* x = stack.back();
            stack.pop_back();
            if (tm->is_plus(x)) {
                stack.push_back(x->child(1));
                stack.push_back(x->child(0));
            } else {
                out.push_back(x);
            }
            if (out.size() + stack.size() > MAX_SUMMANDS) {
                return false;
            }
        }
        return true;
    }
};

} // namespace

void register_mult_rules(TermNormalizer* n)
{
    const auto state = std::make_shared<MultChainState>();
    for (const SymbolTag::tag tag :
         {SymbolTag::EQ, SymbolTag::LEQ, SymbolTag::ITE, SymbolTag::PLUS, SymbolTag::FLOOR,
          SymbolTag::INT_MOD_CONGR, SymbolTag::UNKNOWN, SymbolTag::ARRAY_READ,
          SymbolTag::ARRAY_WRITE, SymbolTag::ARRAY_CONST}) {
        n->register_rule(std::make_unique<RewriteRule_mult_chain>(tag, state));
    }
    n->register_session_handler(std::make_unique<MultChain_session_handler>(state));
    n->register_rule(std::make_unique<RewriteRule_mult_distributivity>());
}

} // namespace tarq::norm
