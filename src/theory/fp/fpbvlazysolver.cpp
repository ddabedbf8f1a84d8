#include "theory/fp/fpbvlazysolver.h"

#include "theory/fp/fpterms.h"
#include "theory/iesimplifier.h"

#include <algorithm>

namespace tarq::fp {

FpBvLazySolver::FpBvLazySolver(TermManager* tm, const Configuration::Theory::Fp& options)
    : TheorySolver(tm), encoder_(tm, &target_, &options),
      inner_(&target_, options.bv, bv::WordClausifierInterface::Ites::CIRCUITS)
{
    target_.set_simplifier(&folding_);
    inner_.set_handle_boolean_connectives(true);
}

void FpBvLazySolver::set_logger(Logger* logger)
{
    TheorySolver::set_logger(logger);
    inner_.set_logger(logger);
}

void FpBvLazySolver::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    encoder_.set_termination_test(test);
    inner_.set_termination_test(test);
}

TellAtomResult FpBvLazySolver::tell_atom(const Term_* atom)
{
    if (!should_handle(*tm_, atom)) {
        log(3, "FP") << "don't have to handle this!: " << atom->to_shallow_str() << EndLog;
        return {};
    }
    told_.push_back(atom);
    return {true, true};
}

void FpBvLazySolver::retract_atom(const Term_* atom)
{
    const auto found = std::find(told_.rbegin(), told_.rend(), atom);
    if (found != told_.rend()) {
        told_.erase(std::next(found).base());
        next_ = std::min(next_, told_.size());
    }
}

void FpBvLazySolver::new_decision_level()
{
    trail_.new_decision_level();
}

void FpBvLazySolver::cancel_until(int level)
{
    conflict_.clear();
    trail_.cancel_until(level);
}

void FpBvLazySolver::push_backtrack_point()
{
    encoder_.push_backtrack_point();
    inner_.push_backtrack_point();
}

void FpBvLazySolver::pop_backtrack_point()
{
    inner_.pop_backtrack_point();
    encoder_.pop_backtrack_point();
    next_ = 0;
}

void FpBvLazySolver::notify_interface_term(const Term_* t)
{
    if (is_fp_sorted(*tm_, t)) {
        interface_terms_.push_back(t);
    }
}

void FpBvLazySolver::retract_interface_term(const Term_* t)
{
    std::erase(interface_terms_, t);
}

// Checking

bool FpBvLazySolver::assume(TheoryLit l)
{
    trail_.push(l);
    return true;
}

bool FpBvLazySolver::assume(TheoryEq* eq)
{
    if (is_fp_sorted(*tm_, eq->left)) {
        trail_.push(*eq);
    }
    return true;
}

/// The encoding of a term, with its constraints asserted.
const Term_* FpBvLazySolver::encode(const Term_* t)
{
    if (const Term_* known = encoder_.get_cached(t)) {
        return known;
    }
    TermVector side_constraints;
    std::vector<FpBvEncoder::BvLeaf> leaves;
    const Term_* encoding = encoder_.get_bv_encoding(t, side_constraints);
    encoder_.get_new_bv_terms(leaves);
    if (!leaves.empty()) {
        throw make_error<error>("unsupported");
    }
    for (const Term_* c : side_constraints) {
        inner_.tell_unlabeled_atom(c);
    }
    return encoding;
}

/// Returns false if the inner solver finds the literal impossible by itself.
bool FpBvLazySolver::assume_inner(const Term_* atom, bool negated, Origin origin)
{
    const Term_* encoding = encode(atom);
    inner_.tell_atom(encoding);
    const TheoryLit l(encoding, negated);
    origin_of_.insert({key(l), origin});
    return inner_.assume(l);
}

bool FpBvLazySolver::check(bool approx)
{
    if (approx) {
        return true;
    }
    ++num_calls_;
    conflict_.clear();
    origin_of_.clear();
    for (; next_ < told_.size(); ++next_) {
        inner_.tell_atom(encode(told_[next_]));
    }
    for (const Term_* t : interface_terms_) {
        const Term_* word = encode(t); // with bits, though no atom may need them
        if (!target_.is_number(word)) {
            inner_.notify_interface_term(word);
        }
    }
    inner_.new_decision_level();
    bool ok = true;
    for (const TheoryLit l : trail_.literals()) {
        ok = ok && assume_inner(l.get_term(), l.is_neg(), {l, 0});
    }
    const std::vector<TheoryEq*>& equalities = trail_.equalities();
    for (size_t e = 0; ok && e < equalities.size(); ++e) {
        const Term_* atom = make_interface_equality(tm_, equalities[e]->left, equalities[e]->right);
        if (tm_->is_false(atom)) {
            conflict_.push_back({tlit_Undef, e});
            ok = false;
        } else if (!tm_->is_true(atom)) {
            ok = assume_inner(atom, false, {tlit_Undef, e});
        }
    }
    if (ok && !inner_.check(false)) {
        std::vector<TheoryLit> lits;
        inner_.get_conflict(lits);
        for (const TheoryLit l : lits) {
            conflict_.push_back(origin_of_.find(key(l))->second);
        }
        ok = false;
    }
    inner_.cancel_until(0);
    return ok;
}

void FpBvLazySolver::get_conflict(std::vector<TheoryLit>& out)
{
    for (const Origin& o : conflict_) {
        if (o.literal.is_undef()) {
            trail_.equalities()[o.equality]->explain(out);
        } else {
            out.push_back(o.literal);
        }
    }
}

// Models

const Term_* FpBvLazySolver::get_model_value(const Term_* t)
{
    const Term_* encoding = is_fp_sorted(*tm_, t) ? encoder_.get_cached(t) : nullptr;
    return encoding ? from_word(tm_, t, target_, inner_.get_model_value(encoding)) : nullptr;
}

lbool FpBvLazySolver::equal_in_model(const Term_* a, const Term_* b)
{
    const Term_* x = get_model_value(a);
    const Term_* y = get_model_value(b);
    if (!x || !y) {
        return l_Undef;
    }
    return x == y ? l_True : l_False;
}

bool FpBvLazySolver::is_alien(const Term_* t)
{
    return fp::is_alien(*tm_, t);
}

std::vector<std::pair<std::string, std::string>> FpBvLazySolver::get_stats() const
{
    std::vector<std::pair<std::string, std::string>> stats = inner_.get_stats();
    for (auto& row : stats) {
        row.first = "fpbv " + row.first;
    }
    stats.insert(stats.begin(), {"fpbv calls", std::to_string(num_calls_)});
    return stats;
}

// The link

void FpBvLazySolver::set_fp_bv_combination(FpBvCombination*)
{
    throw make_error<error>("Lazy FPBV solver doesn't support FP<->BV combination");
}

void FpBvLazySolver::fp_bv_comb_notify_tell(const Term_*)
{
    throw make_error<error>("unsupported");
}

bool FpBvLazySolver::fp_bv_comb_get_bits(const Term_*, std::vector<bv::BvLit>*)
{
    throw make_error<error>("unsupported");
}

} // namespace tarq::fp
