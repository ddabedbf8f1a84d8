#include "theory/fp/fpbvdpllcombination.h"

#include "theory/fp/fpterms.h"

namespace tarq {

void FpBvDpllCombination::tell_term(const Term_* t)
{
    if (!enabled_ || !fp_ || !bv_) {
        throw make_error<error>("FP<->BV combination unsupported by the current configuration");
    }
    if (bits_.contains(t)) {
        return;
    }
    FpBvCombListener* owner = fp::is_fp_sorted(*tm_, t) ? fp_ : bv_;
    owner->fp_bv_comb_notify_tell(t);
    std::vector<bv::BvLit> bits;
    owner->fp_bv_comb_get_bits(t, &bits);
    bits_[t] = std::move(bits);
    told_.push_back(t);
}

/// Post-order on a stack of its own. Telling a term walks what is below it, which has been walked by
/// then, so this does not nest further.
void FpBvDpllCombination::tell_subterms(const Term_* t)
{
    TermVector stack{t};
    while (!stack.empty()) {
        const Term_* x = stack.back();
        walked_.grow(x->get_id() + 1);
        const size_t before = stack.size();
        if (!is_walked(x)) {
            for (const Term_* c : x->children()) {
                if (!is_walked(c)) {
                    stack.push_back(c);
                }
            }
        }
        if (stack.size() > before) {
            continue;
        }
        stack.pop_back();
        if (is_walked(x)) {
            continue;
        }
        walked_.set(x->get_id());
        walked_list_.push_back(x);
        if (fp::converts_from_bv(*tm_, x)) {
            tell_term(x->child(x->arity() - 1));
        } else if (fp::converts_to_bv(*tm_, x)) {
            for (const Term_* c : x->children()) {
                if (!tm_->is_number(c) && !tm_->is_fprounding(c)) {
                    tell_term(c);
                }
            }
        }
    }
}

bool FpBvDpllCombination::get_bits(const Term_* t, std::vector<bv::BvLit>* out)
{
    const auto found = bits_.find(t);
    if (found == bits_.end()) {
        return false;
    }
    *out = found->second;
    return true;
}

void FpBvDpllCombination::pop_backtrack_point()
{
    const Mark mark = marks_.back();
    marks_.pop_back();
    while (told_.size() > mark.told) {
        bits_.erase(told_.back());
        told_.pop_back();
    }
    while (walked_list_.size() > mark.walked) {
        walked_.unset(walked_list_.back()->get_id());
        walked_list_.pop_back();
    }
}

} // namespace tarq
