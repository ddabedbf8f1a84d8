#include "encoding/toplevelpropagator.h"

#include "base/logger.h"

#include <utility>

namespace tarq {

namespace {

// From this round on, a round has to find one definition for so many nodes to be worth another.
constexpr int MAX_SLOW_ROUNDS = 20;
constexpr size_t MIN_NODES_FOR_SLOW = 200;

} // namespace

/// Records that a constant was substituted. What stands for it is asked when it is wanted.
class ToplevelPropagator::ToplevelpropRewriteStep : public RewriteStep {
public:
    ToplevelpropRewriteStep(ToplevelPropagator* tp, const Term_* src) : tp_(tp), src_(src) {}
    void undo() override { tp_->undo_subst(src_); }
    const Term_* src() const override { return src_; }
    const Term_* dst() const override { return tp_->get_subst_value(src_); }
    std::unique_ptr<RewriteStep> new_copy() const override
    {
        return std::make_unique<ToplevelpropRewriteStep>(tp_, src_);
    }

private:
    ToplevelPropagator* tp_;
    const Term_* src_;
};

ToplevelPropagator::ToplevelPropagator(TermManager* tm, RewriteStack* rewrite_stack,
                                       bool keep_partial, bool division_partial)
    : tm_(tm), rewrite_stack_(rewrite_stack), keep_partial_(keep_partial),
      division_partial_(division_partial)
{
    for (SymbolTag::tag tag : {SymbolTag::UNKNOWN, SymbolTag::EQ, SymbolTag::IFF, SymbolTag::NOT}) {
        checks_[static_cast<size_t>(tag)] = tpsubst::make_standard_substitutions(tag);
    }
}

ToplevelPropagator::~ToplevelPropagator() = default;

void ToplevelPropagator::pop_backtrack_point()
{
    while (const Term_* t = seen_trail_.back()) {
        seen_consts_.erase(t);
        seen_trail_.pop_back();
    }
    seen_trail_.pop_back();
}

void ToplevelPropagator::log(const char* text, const Term_* a, const Term_* b)
{
    if (logger_ && logger_->enabled(2, "TOPLEVEL-PROP")) {
        (*logger_)("TOPLEVEL-PROP")
            << loglevel(2) << text << a->to_str(1000) << " --> " << b->to_str(1000) << EndLog;
    }
}

const Term_* ToplevelPropagator::make_equation(const Term_* a, const Term_* b)
{
    return TermManager::get_type(a) == tm_->get_bool_type() ? tm_->make_iff(a, b)
                                                            : tm_->make_equal(a, b);
}

/// An Int constant must not stand for what may be no integer.
bool ToplevelPropagator::is_allowed_type(const Term_* lhs, const Term_* rhs) const
{
    return TermManager::get_type(lhs) != tm_->get_int_type() ||
           TermManager::get_type(rhs) == tm_->get_int_type();
}

const Term_* ToplevelPropagator::operator()(const Term_* f, int limit)
{
    const auto unchecked = tm_->typecheck_in_scope(false);
    TermCache older;
    const Term_* cur = perform_substitutions(f, older);
    collect_constants(cur);
    expensive_ok_ = true;
    TermVector readd;
    for (int round = 0; limit <= 0 || round < limit; ++round) {
        if (logger_ && logger_->enabled(2, "TOPLEVEL-PROP")) {
            (*logger_)("TOPLEVEL-PROP") << loglevel(2) << "iter: " << round << EndLog;
        }
        find_candidate_substitutions(cur);
        if (candidates_.empty()) {
            break;
        }
        const size_t found = candidates_.size();
        const Term_* next = perform_candidates(cur);
        next = accept_candidates(next, &readd);
        expensive_ok_ = false;
        if (next == cur) {
            break;
        }
        cur = next;
        // A long chain of facts would walk the whole formula for each of them.
        if (round >= MAX_SLOW_ROUNDS && found * MIN_NODES_FOR_SLOW < round_nodes_) {
            break;
        }
    }
    candidate_of_.clear();
    // Clauses of earlier formulas still mention these.
    TermCache closed;
    for (const Term_* x : readd) {
        const Term_* equation = make_equation(x, perform_substitutions(x, closed));
        cur = tm_->make_and(cur, equation);
    }
    for (const Term_* c : input_consts_) {
        if (seen_consts_.insert(c).second) {
            seen_trail_.push_back(c);
        }
    }
    input_consts_.clear();
    return cur;
}

void ToplevelPropagator::collect_constants(const Term_* f)
{
    TermMarksCleaner cleaner(marks_);
    TermVector stack{f};
    marks_.insert(f);
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (tm_->is_constant(t)) {
            input_consts_.push_back(t);
        }
        for (const Term_* c : t->children()) {
            if (marks_.insert(c)) {
                stack.push_back(c);
            }
        }
    }
}

/// Looks at the conjuncts of `f` in their order. The first definition of a constant counts.
void ToplevelPropagator::find_candidate_substitutions(const Term_* f)
{
    candidates_.clear();
    candidate_of_.clear();
    TermMarksCleaner cleaner(marks_);
    TermVector stack{f};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (!marks_.insert(t)) {
            continue;
        }
        if (tm_->is_and(t)) {
            stack.push_back(t->child(1));
            stack.push_back(t->child(0));
            continue;
        }
        Candidate c{nullptr, nullptr};
        if (is_substitution(t, &c.lhs, &c.rhs)) {
            log("candidate: ", c.lhs, c.rhs);
            c.keep = keep_partial_ && has_partial_functions(c.rhs);
            candidate_of_[c.lhs] = candidates_.size();
            candidates_.push_back(c);
        }
    }
}

bool ToplevelPropagator::is_substitution(const Term_* t, const Term_** lhs, const Term_** rhs)
{
    const SymbolTag::tag tag = tm_->get_tag(t);
    if (tag < 0) {
        return false;
    }
    for (const auto& check : checks_[static_cast<size_t>(tag)]) {
        if ((!check->is_expensive() || expensive_ok_) && (*check)(this, tm_, t, lhs, rhs)) {
            return is_allowed_type(*lhs, *rhs);
        }
    }
    return false;
}

bool ToplevelPropagator::has_partial_functions(const Term_* t)
{
    if (!division_partial_) {
        return false;
    }
    TermVector seen; // total unless a division turns up
    TermVector stack{t};
    while (!stack.empty()) {
        const Term_* u = stack.back();
        stack.pop_back();
        total_.grow(u->get_id() + 1);
        if (total_.get(u->get_id())) {
            continue;
        }
        if (tm_->is_divide(u)) {
            for (const Term_* v : seen) {
                total_.unset(v->get_id());
            }
            return true;
        }
        total_.set(u->get_id());
        seen.push_back(u);
        stack.insert(stack.end(), u->children().begin(), u->children().end());
    }
    return false;
}

/// Takes the newest term off the stack as a term over what its arguments became, or puts the
/// arguments on it for which that is not known yet.
void ToplevelPropagator::rebuild_or_descend(TermVector& stack, TermCache& done)
{
    const Term_* t = stack.back();
    const size_t size = stack.size();
    for (size_t i = t->arity(); i-- > 0;) {
        if (!done.contains(t->child(i))) {
            stack.push_back(t->child(i));
        }
    }
    if (stack.size() > size) {
        return;
    }
    TermVector args;
    bool changed = false;
    for (const Term_* c : t->children()) {
        args.push_back(done.find(c));
        changed = changed || args.back() != c;
    }
    done.set(t, changed ? tm_->make_term(t->get_symbol(), args) : t);
    stack.pop_back();
}

/// Applies the definitions of this round to `root` and to each other in one walk, in which a left
/// side leads on to its right side. A left side that is met again below itself would depend on
/// itself: it stays, and so does its equation.
const Term_* ToplevelPropagator::perform_candidates(const Term_* root)
{
    TermCache done;
    TermVector stack{root};
    round_nodes_ = 0;
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (done.contains(t)) {
            stack.pop_back();
            continue;
        }
        poll();
        ++round_nodes_;
        const auto it = candidate_of_.find(t);
        if (it != candidate_of_.end()) {
            Candidate& c = candidates_[it->second];
            if (!c.entered) {
                c.entered = true;
                if (!done.contains(c.rhs)) {
                    stack.push_back(c.rhs);
                    continue;
                }
            } else if (!done.contains(c.rhs)) {
                // a second time, below its own right side
                log("erased: ", c.lhs, c.rhs);
                c.erased = true;
                done.set(t, t);
                stack.pop_back();
                continue;
            }
            if (!c.erased) {
                c.value = done.find(c.rhs);
            }
            done.set(t, c.erased ? t : c.value);
            stack.pop_back();
            continue;
        }
        rebuild_or_descend(stack, done);
    }
    return done.find(root);
}

/// Puts the definitions of this round in force, and those that have to stay into the formula.
const Term_* ToplevelPropagator::accept_candidates(const Term_* f, TermVector* readd)
{
    for (const Candidate& c : candidates_) {
        if (c.erased || !c.value) {
            continue;
        }
        log("subst: ", c.lhs, c.value);
        if (c.keep) {
            const Term_* equation = make_equation(c.lhs, c.value);
            f = tm_->make_and(f, equation);
            set_protected(c.lhs);
            continue;
        }
        all_subst_[c.lhs] = c.value;
        if (rewrite_stack_) {
            rewrite_stack_->push_rewrite(ToplevelpropRewriteStep(this, c.lhs));
        }
        if (seen_consts_.contains(c.lhs)) {
            readd->push_back(c.lhs);
        }
    }
    return f;
}

/// Applies all substitutions in force until none is left; the value of a substituted constant is
/// looked through in turn.
/// done  a memo of this, good as long as no substitution is added
const Term_* ToplevelPropagator::perform_substitutions(const Term_* root, TermCache& done)
{
    if (all_subst_.empty()) {
        return root;
    }
    TermVector stack{root};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (done.contains(t)) {
            stack.pop_back();
            continue;
        }
        poll();
        const auto it = all_subst_.find(t);
        if (it != all_subst_.end()) {
            if (done.contains(it->second)) {
                done.set(t, done.find(it->second));
                stack.pop_back();
            } else {
                stack.push_back(it->second);
            }
            continue;
        }
        rebuild_or_descend(stack, done);
    }
    return done.find(root);
}

const Term_* ToplevelPropagator::get_substitution(const Term_* t)
{
    TermCache done;
    return is_substituted(t) ? perform_substitutions(t, done) : nullptr;
}

} // namespace tarq
