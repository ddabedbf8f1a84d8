#include "encoding/termiteencoder.h"

#include "terms/termsimpl.h"

#include <utility>
#include <vector>

namespace tarq {

namespace {

// Trees with more distinct pairs of leaves than this are left to the axioms.
constexpr size_t MAX_LEAF_PAIRS = 64;

} // namespace

void TermIteEncoder::reset()
{
    done_ = TermCache();
    no_ite_ = BitVector();
    calls_ = 0;
}

void TermIteEncoder::operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet&)
{
    const Term_* c = t->child(0);
    const Term_* then_part = encoders::make_definition(tm, t, t->child(1));
    axioms.push_back(encoders::make_implies(tm, c, then_part));
    const Term_* else_part = encoders::make_definition(tm, t, t->child(2));
    axioms.push_back(tm->make_or(c, else_part));
}

/// Whether there is a term-ITE at or below `f`, outside of quantifiers: that ITE, or null. Each
/// node without one is looked at once in the life of the memos.
const Term_* TermIteEncoder::find_ite_below(const Term_* f)
{
    TermVector stack{f};
    TermVector seen; // becomes plain unless an ITE turns up
    const Term_* found = nullptr;
    while (!stack.empty() && !found) {
        const Term_* t = stack.back();
        stack.pop_back();
        no_ite_.grow(t->get_id() + 1);
        if (no_ite_.get(t->get_id())) {
            continue;
        }
        no_ite_.set(t->get_id());
        seen.push_back(t);
        if (tm_->is_term_ite(t)) {
            found = t;
        } else if (!tm_->is_quantifier(t)) {
            stack.insert(stack.end(), t->children().begin(), t->children().end());
        }
    }
    if (found) {
        for (const Term_* t : seen) {
            no_ite_.unset(t->get_id());
        }
    }
    return found;
}

const Term_* TermIteEncoder::simplify(const Term_* f)
{
    if (!minimization_ && !basic_) {
        return f;
    }
    if (!tm_->get_simplify()) {
        throw make_error<ConstraintEncoder::error>("can't perform Term-ITE simplifications because "
                                                   "they are not enabled in the TermManager");
    }
    return find_ite_below(f) ? rebuild(f) : f;
}

/// Bottom-up through the memo. What a rule makes is looked at again through its own nodes only, so
/// the pass is linear but for the conversions, which are bounded each.
const Term_* TermIteEncoder::rebuild(const Term_* root)
{
    TermVector stack{root};
    TermVector args;
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (done_.contains(t)) {
            stack.pop_back();
            continue;
        }
        if (t->arity() == 0 || tm_->is_quantifier(t)) {
            done_.set(t, t);
            stack.pop_back();
            continue;
        }
        const size_t size = stack.size();
        for (const Term_* c : t->children()) {
            if (!done_.contains(c)) {
                stack.push_back(c);
            }
        }
        if (stack.size() > size) {
            continue;
        }
        poll();
        stack.pop_back();
        args.clear();
        bool changed = false;
        for (const Term_* c : t->children()) {
            args.push_back(done_.find(c));
            changed = changed || args.back() != c;
        }
        done_.set(t, simplify_node(changed ? tm_->make_term(t->get_symbol(), args) : t));
    }
    return done_.find(root);
}

const Term_* TermIteEncoder::simplify_node(const Term_* t)
{
    if (tm_->is_term_ite(t)) {
        return simplify_ite(t);
    }
    return basic_ && can_use_simple_conversion(t) ? do_simple_conversion(t) : t;
}

/// Branches that the condition itself decides: directly below only, or with the minimisation as far
/// down as term-ITEs follow each other.
const Term_* TermIteEncoder::simplify_ite(const Term_* t)
{
    const Term_* c = t->child(0);
    const Term_* a = assume(t->child(1), c, true);
    const Term_* b = assume(t->child(2), c, false);
    return a == t->child(1) && b == t->child(2) ? t : tm_->make_term_ite(c, a, b);
}

/// `t` where `condition` has this value, `t` being rebuilt through nested term-ITEs.
const Term_* TermIteEncoder::assume(const Term_* t, const Term_* condition, bool value)
{
    const Term_* opposite = tm_->make_not(condition);
    while (tm_->is_term_ite(t) && (t->child(0) == condition || t->child(0) == opposite)) {
        t = t->child((t->child(0) == condition) == value ? 1 : 2);
    }
    if (!minimization_ || !tm_->is_term_ite(t)) {
        return t;
    }
    TermMap memo;
    TermVector stack{t};
    while (!stack.empty()) {
        const Term_* u = stack.back();
        if (memo.contains(u)) {
            stack.pop_back();
            continue;
        }
        if (!tm_->is_term_ite(u) || (call_limit_ != 0 && calls_ >= call_limit_)) {
            memo[u] = u;
            stack.pop_back();
            continue;
        }
        const bool decided = u->child(0) == condition || u->child(0) == opposite;
        const Term_* taken = u->child((u->child(0) == condition) == value ? 1 : 2);
        const size_t size = stack.size();
        for (const Term_* branch : u->children().subspan(1)) {
            if ((!decided || branch == taken) && !memo.contains(branch)) {
                stack.push_back(branch);
            }
        }
        if (stack.size() > size) {
            continue;
        }
        ++calls_;
        poll();
        stack.pop_back();
        const Term_* result = u;
        if (decided) {
            result = memo[taken];
        } else {
            const Term_* a = memo[u->child(1)];
            const Term_* b = memo[u->child(2)];
            if (a != u->child(1) || b != u->child(2)) {
                result = tm_->make_term_ite(u->child(0), a, b);
            }
        }
        memo[u] = result;
    }
    return memo[t];
}

/// An interpreted atom of two sides, at least one of which is a term-ITE.
bool TermIteEncoder::can_use_simple_conversion(const Term_* t) const
{
    return t->arity() == 2 && TermManager::get_type(t) == tm_->get_bool_type() &&
           tm_->is_interpreted(t) && !tm_->is_connective(t->get_symbol()) &&
           !tm_->is_quantifier(t) &&
           (tm_->is_term_ite(t->child(0)) || tm_->is_term_ite(t->child(1)));
}

/// Whether all leaves of a tree of term-ITEs are values; their number is added up to a limit.
bool TermIteEncoder::is_value_tree(const Term_* t, size_t* leaves)
{
    TermSet seen;
    TermVector stack{t};
    while (!stack.empty()) {
        const Term_* u = stack.back();
        stack.pop_back();
        if (!seen.insert(u).second) {
            continue;
        }
        if (tm_->is_term_ite(u)) {
            stack.push_back(u->child(1));
            stack.push_back(u->child(2));
        } else if (!termsimpl::is_value(tm_, u, false)) {
            return false;
        }
        if (seen.size() > MAX_LEAF_PAIRS) {
            return false;
        }
    }
    *leaves = seen.size();
    return true;
}

/// `ite(c, x, y) op b` as a Boolean combination of `x op b` and `y op b`, all the way down, where
/// the leaves of both sides are values: the atoms then fold and only conditions are left. With
/// other leaves each copy of the atom would be a new one for the theory, and the axioms are
/// cheaper.
const Term_* TermIteEncoder::do_simple_conversion(const Term_* t)
{
    size_t left = 0;
    size_t right = 0;
    if (!is_value_tree(t->child(0), &left) || !is_value_tree(t->child(1), &right) ||
        left * right > MAX_LEAF_PAIRS) {
        return t;
    }
    using Pair = std::pair<const Term_*, const Term_*>;
    hsh::HashMap<Pair, const Term_*> memo;
    std::vector<Pair> stack{{t->child(0), t->child(1)}};
    while (!stack.empty()) {
        const auto [a, b] = stack.back();
        if (memo.contains({a, b})) {
            stack.pop_back();
            continue;
        }
        const bool in_left = tm_->is_term_ite(a);
        if (!in_left && !tm_->is_term_ite(b)) {
            const Term_* args[] = {a, b};
            memo[{a, b}] = tm_->make_term(t->get_symbol(), args);
            stack.pop_back();
            continue;
        }
        const Pair then_part = in_left ? Pair(a->child(1), b) : Pair(a, b->child(1));
        const Pair else_part = in_left ? Pair(a->child(2), b) : Pair(a, b->child(2));
        const bool has_then = memo.contains(then_part);
        const bool has_else = memo.contains(else_part);
        if (!has_then) {
            stack.push_back(then_part);
        }
        if (!has_else) {
            stack.push_back(else_part);
        }
        if (has_then && has_else) {
            const Term_* c = in_left ? a->child(0) : b->child(0);
            const Term_* p = memo[then_part];
            const Term_* q = memo[else_part];
            memo[{a, b}] = make_bool_ite(c, p, q);
            stack.pop_back();
        }
    }
    return memo[{t->child(0), t->child(1)}];
}

const Term_* TermIteEncoder::make_bool_ite(const Term_* c, const Term_* p, const Term_* q)
{
    if (p == q) {
        return p;
    }
    if (tm_->is_true(p) && tm_->is_false(q)) {
        return c;
    }
    if (tm_->is_false(p) && tm_->is_true(q)) {
        return tm_->make_not(c);
    }
    if (q == tm_->make_not(p)) {
        return tm_->make_iff(c, p);
    }
    const Term_* then_part = tm_->make_and(c, p);
    const Term_* else_part = tm_->make_and(tm_->make_not(c), q);
    return tm_->make_or(then_part, else_part);
}

} // namespace tarq
