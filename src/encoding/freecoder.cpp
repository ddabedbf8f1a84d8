#include "encoding/freecoder.h"

#include "base/logger.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tarq {

/// Records that a term was replaced: its value is that of the proxy.
class FreeCoder::FreeCodeRewriteStep : public RewriteStep {
public:
    FreeCodeRewriteStep(FreeCoder* coder, const Term_* proxy) : coder_(coder), proxy_(proxy) {}
    void undo() override {} // the coder pops by itself
    const Term_* src() const override { return proxy_; }
    const Term_* dst() const override { return coder_->get_term(proxy_); }
    std::unique_ptr<RewriteStep> new_copy() const override
    {
        return std::make_unique<FreeCodeRewriteStep>(coder_, proxy_);
    }
    bool is_adhoc() const override { return true; }
    bool is_active() const override { return coder_->is_proxy_for_unconstrained_term(proxy_); }

private:
    FreeCoder* coder_;
    const Term_* proxy_;
};

FreeCoder::FreeCoder(TermManager* tm, RewriteStack* rewrite_stack)
    : tm_(tm), rewrite_stack_(rewrite_stack)
{
    tests_.push_back(freecoding::make_bool_test());
    tests_.push_back(freecoding::make_bv_test());
    tests_.push_back(freecoding::make_array_test());
}

FreeCoder::~FreeCoder() = default;

void FreeCoder::log(const char* text, const Term_* t)
{
    if (logger_ && logger_->enabled(2, "FREECODER")) {
        (*logger_)("FREECODER") << loglevel(2) << text << t->to_str(1000) << EndLog;
    }
}

bool FreeCoder::is_proxy_for_unconstrained_term(const Term_* t) const
{
    const auto it = steps_.find(t);
    return it != steps_.end() && !it->second.restored;
}

const Term_* FreeCoder::get_term(const Term_* proxy) const
{
    return steps_.find(proxy)->second.term;
}

const TermVector& FreeCoder::get_taken_out(const Term_* proxy) const
{
    return steps_.find(proxy)->second.taken_out;
}

const Term_* FreeCoder::get_eliminating_proxy(const Term_* constant) const
{
    const auto it = eliminated_by_.find(constant);
    return it != eliminated_by_.end() && is_proxy_for_unconstrained_term(it->second) ? it->second
                                                                                     : nullptr;
}

void FreeCoder::open_session()
{
    parents_.clear();
    free_.clear();
    side_conditions_.clear();
}

const Term_* FreeCoder::operator()(const Term_* f)
{
    const auto unchecked = tm_->typecheck_in_scope(false);
    f = evaluate_according_to_replaceable_terms(f);
    TermVector constants;
    collect_constants(f, &constants);
    count_parents(f);
    for (const Term_* c : constants) {
        if (!seen_.contains(c) && parents_[c] < 2) {
            free_.insert(c);
        }
    }
    calculate_constraints_that_must_be_restored(f);
    for (const Term_* c : constants) {
        set_seen(c);
    }
    const Term_* result = replace_replaceable_terms(f);
    return result == f ? f : simplify(result);
}

void FreeCoder::close_session(const Term_** side_conditions)
{
    const Term_* all = tm_->make_true();
    for (const Term_* c : side_conditions_) {
        log("Restoring the following constraints: ", c);
        all = tm_->make_and(all, c);
    }
    *side_conditions = all;
    open_session();
}

/// Rebuilds the graph below `root`, each node once. Nodes under quantifiers stay as they are.
/// rebuild  called with a node and with the same over its rebuilt arguments
template <class Rebuild>
const Term_* FreeCoder::rebuild_bottom_up(const Term_* root, Rebuild&& rebuild)
{
    TermMap done;
    TermVector stack{root};
    TermVector args;
    unsigned polled = 0;
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (done.contains(t)) {
            stack.pop_back();
            continue;
        }
        if (termination_test_ && ++polled % 256 == 0) {
            (*termination_test_)();
        }
        const size_t size = stack.size();
        args.clear();
        bool changed = false;
        for (const Term_* c : t->children()) {
            const auto it = done.find(c);
            if (tm_->is_quantifier(t)) {
                args.push_back(c);
            } else if (it == done.end()) {
                stack.push_back(c);
            } else {
                args.push_back(it->second);
                changed = changed || it->second != c;
            }
        }
        if (stack.size() == size) {
            // no simplification: different terms stay different, and so do their places
            const Term_* over_new = changed ? tm_->do_make_term(t->get_symbol(), args) : t;
            const Term_* result = rebuild(t, over_new);
            done[t] = result;
            stack.pop_back();
        }
    }
    return done[root];
}

/// `f` with the terms that earlier sessions replaced as they left them.
const Term_* FreeCoder::evaluate_according_to_replaceable_terms(const Term_* f)
{
    if (steps_.empty()) {
        return f;
    }
    return rebuild_bottom_up(f, [this](const Term_*, const Term_* t) {
        const auto it = proxy_of_.find(t);
        return it != proxy_of_.end() && is_proxy_for_unconstrained_term(it->second) ? it->second
                                                                                    : t;
    });
}

/// Counts the argument places that hold each term. Under a quantifier nothing is looked at, so
/// nothing there is replaced.
void FreeCoder::count_parents(const Term_* f)
{
    TermSet entered;
    TermVector stack{f};
    entered.insert(f);
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        for (const Term_* c : t->children()) {
            parents_[c] += tm_->is_quantifier(t) ? 2 : 1;
            if (entered.insert(c).second) {
                stack.push_back(c);
            }
        }
    }
}

/// Appends the constants of `f`, each once, in the order of a walk.
void FreeCoder::collect_constants(const Term_* f, TermVector* out) const
{
    TermSet entered;
    TermVector stack{f};
    entered.insert(f);
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (tm_->is_constant(t)) {
            out->push_back(t);
        }
        for (const Term_* c : t->children()) {
            if (entered.insert(c).second) {
                stack.push_back(c);
            }
        }
    }
}

void FreeCoder::set_seen(const Term_* t)
{
    if (seen_.insert(t).second) {
        undo_.push_back({UndoStep::Kind::SEEN, t});
    }
}

bool FreeCoder::can_be_declared_replaceable(const Term_* t, unsigned free) const
{
    return free != 0 && std::any_of(tests_.begin(), tests_.end(),
                                    [&](const auto& test) { return (*test)(tm_, t, free); });
}

const Term_* FreeCoder::replace_replaceable_terms(const Term_* f)
{
    return rebuild_bottom_up(f, [this](const Term_* t, const Term_* over_new) {
        unsigned free = 0;
        for (size_t i = 0; i < over_new->arity() && i < 3; ++i) {
            free |= free_.contains(over_new->child(i)) ? 1u << i : 0;
        }
        if (tm_->is_quantifier(t) || !can_be_declared_replaceable(over_new, free)) {
            return over_new;
        }
        const Term_* proxy = declare_replaceable(over_new, free);
        if (parents_[t] < 2) {
            free_.insert(proxy);
        }
        return proxy;
    });
}

const Term_* FreeCoder::declare_replaceable(const Term_* t, unsigned free)
{
    log("We can replace: ", t);
    const Term_* proxy = make_proxy(t);
    Step step{t, proxy, {}, false};
    for (size_t i = 0; i < t->arity() && i < 3; ++i) {
        if (free >> i & 1) {
            step.taken_out.push_back(t->child(i));
            eliminated_by_[t->child(i)] = proxy;
        }
    }
    steps_[proxy] = std::move(step);
    proxy_of_[t] = proxy;
    undo_.push_back({UndoStep::Kind::STEP, proxy});
    set_seen(proxy);
    if (rewrite_stack_) {
        rewrite_stack_->push_rewrite(FreeCodeRewriteStep(this, proxy));
    }
    return proxy;
}

const Term_* FreeCoder::make_proxy(const Term_* t)
{
    const Term_*& proxy = proxy_names_[t];
    if (!proxy) {
        const std::string name =
            tm_->get_unused_symbol_name(".free_" + std::to_string(t->get_id()) + "_");
        proxy = tm_->make_constant(tm_->make_symbol(name, TermManager::get_type(t)));
        tm_->remove_symbol(name); // the name must not lead a user to the proxy
    }
    return proxy;
}

/// The graph over the proxies again, as a formula that was made so at once.
const Term_* FreeCoder::simplify(const Term_* f)
{
    return rebuild_bottom_up(f, [this](const Term_* t, const Term_* over_new) {
        if (t->arity() == 0 || tm_->is_quantifier(t)) {
            return over_new;
        }
        const TermVector args(over_new->children().begin(), over_new->children().end());
        return tm_->make_term(over_new->get_symbol(), args);
    });
}

void FreeCoder::calculate_constraints_that_must_be_restored(const Term_* f)
{
    if (eliminated_by_.empty()) {
        return;
    }
    TermVector constants;
    collect_constants(f, &constants);
    for (const Term_* c : constants) {
        if (const Term_* proxy = get_eliminating_proxy(c)) {
            restore_step(proxy);
        }
    }
}

/// Brings the definition of a proxy back, and those that take out constants of this one.
void FreeCoder::restore_step(const Term_* proxy)
{
    TermVector todo{proxy};
    while (!todo.empty()) {
        const Term_* p = todo.back();
        todo.pop_back();
        Step& step = steps_[p];
        if (step.restored) {
            continue;
        }
        step.restored = true;
        undo_.push_back({UndoStep::Kind::RESTORED, p});
        const bool is_bool = TermManager::get_type(p) == tm_->get_bool_type();
        side_conditions_.push_back(is_bool ? tm_->make_iff(p, step.term)
                                           : tm_->make_equal(p, step.term));
        TermVector constants{p};
        collect_constants(step.term, &constants);
        for (const Term_* c : constants) {
            if (const Term_* other = get_eliminating_proxy(c)) {
                todo.push_back(other);
            }
        }
    }
}

void FreeCoder::restore_unconstraint_formula_for_proxy(const Term_* proxy, const Term_** formula)
{
    if (!is_proxy_for_unconstrained_term(proxy)) {
        return;
    }
    open_session();
    restore_step(proxy);
    const Term_* definitions = nullptr;
    close_session(&definitions);
    *formula = tm_->make_and(*formula, definitions);
}

const Term_* FreeCoder::restore(const Term_* t)
{
    open_session();
    calculate_constraints_that_must_be_restored(t);
    TermVector constants;
    collect_constants(t, &constants);
    for (const Term_* c : constants) {
        set_seen(c);
    }
    const Term_* definitions = nullptr;
    close_session(&definitions);
    return definitions;
}

void FreeCoder::push_backtrack_point()
{
    undo_.push_back({UndoStep::Kind::MARK, nullptr});
}

void FreeCoder::pop_backtrack_point()
{
    for (; undo_.back().kind != UndoStep::Kind::MARK; undo_.pop_back()) {
        const Term_* t = undo_.back().term;
        switch (undo_.back().kind) {
        case UndoStep::Kind::SEEN:
            seen_.erase(t);
            break;
        case UndoStep::Kind::STEP:
            log("The term is no longer replaceable: ", steps_[t].term);
            for (const Term_* c : steps_[t].taken_out) {
                eliminated_by_.erase(c);
            }
            proxy_of_.erase(steps_[t].term);
            steps_.erase(t);
            break;
        case UndoStep::Kind::RESTORED:
            log("The constraints are no longer restored: ", steps_[t].term);
            steps_[t].restored = false;
            break;
        case UndoStep::Kind::MARK:
            break;
        }
    }
    undo_.pop_back();
}

} // namespace tarq
