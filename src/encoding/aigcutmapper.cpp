#include "encoding/aigcutmapper.h"

#include "base/assertion.h"

#include <algorithm>
#include <bit>

namespace tarq {

namespace {

constexpr unsigned CLAUSE_COST = 10;

/// The truth table with inputs k and k + 1 exchanged.
uint16_t swap_inputs(uint16_t f, unsigned k)
{
    constexpr unsigned KEPT[3] = {0x9999, 0xc3c3, 0xf00f};
    constexpr unsigned UP[3] = {0x2222, 0x0c0c, 0x00f0};
    const unsigned shift = 1u << k;
    return static_cast<uint16_t>((f & KEPT[k]) | (f & UP[k]) << shift | (f >> shift & UP[k]));
}

bool depends_on(uint16_t f, unsigned k)
{
    const unsigned shift = 1u << k;
    return ((f >> shift ^ f) & static_cast<unsigned>(~AigCover::INPUTS[k]) & 0xffff) != 0;
}

} // namespace

void AigCutMapper::start(std::vector<uint32_t>& nodes)
{
    std::sort(nodes.begin(), nodes.end()); // inputs before the nodes that use them
    infos_.clear();
    cuts_.clear();
    choices_.clear();
    position_.resize(manager_->num_ids());
    const size_t n = nodes.size();
    max_cuts_ = n > 1000000 ? 4 : n > 500000 ? 5 : n > 100000 ? 8 : 10;
}

void AigCutMapper::add_leaf(uint32_t id, bool labelled)
{
    position_[id] = static_cast<uint32_t>(infos_.size());
    infos_.push_back({static_cast<uint32_t>(cuts_.size()), 1, 0, true, labelled});
    if (manager_->is_constant(Aig(id, false))) {
        cuts_.push_back(Cut{{}, 0, 0xffff, 0});
    } else {
        cuts_.push_back(Cut{{id}, uint32_t{1} << (id % 32), AigCover::INPUTS[0], 1});
    }
}

/// The union of two cuts. Returns false when it is too large.
bool AigCutMapper::merge_cuts(const Cut& a, const Cut& b, Cut* out) const
{
    out->signature = a.signature | b.signature;
    if (static_cast<unsigned>(std::popcount(out->signature)) > MAX_LEAVES) {
        return false;
    }
    unsigned n = 0, i = 0, j = 0;
    while (i < a.num_leaves || j < b.num_leaves) {
        if (n == MAX_LEAVES) {
            return false;
        }
        if (j == b.num_leaves || (i < a.num_leaves && a.leaves[i] < b.leaves[j])) {
            out->leaves[n++] = a.leaves[i++];
        } else if (i == a.num_leaves || b.leaves[j] < a.leaves[i]) {
            out->leaves[n++] = b.leaves[j++];
        } else {
            out->leaves[n++] = a.leaves[i++];
            ++j;
        }
    }
    out->num_leaves = static_cast<uint8_t>(n);
    return true;
}

/// The function of `from` over the leaves of `to`, which include its own.
uint16_t AigCutMapper::expand(const Cut& from, const Cut& to)
{
    uint16_t f = from.function;
    unsigned target = to.num_leaves;
    // the last input moves up first, through inputs that the function does not depend on
    for (unsigned i = from.num_leaves; i-- > 0;) {
        do {
            --target;
        } while (to.leaves[target] != from.leaves[i]);
        for (unsigned k = i; k < target; ++k) {
            f = swap_inputs(f, k);
        }
    }
    return f;
}

void AigCutMapper::minimize_support(Cut* c)
{
    unsigned n = 0;
    for (unsigned i = 0; i < c->num_leaves; ++i) {
        if (!depends_on(c->function, n)) {
            for (unsigned k = n; k + 1 < MAX_LEAVES; ++k) {
                c->function = swap_inputs(c->function, k);
            }
            continue;
        }
        c->leaves[n++] = c->leaves[i];
    }
    if (n != c->num_leaves) {
        c->num_leaves = static_cast<uint8_t>(n);
        c->signature = 0;
        for (unsigned i = 0; i < n; ++i) {
            c->signature |= uint32_t{1} << (c->leaves[i] % 32);
        }
    }
}

/// Returns false if a kept cut is part of `c`; else takes out the kept ones that `c` is part of.
bool AigCutMapper::filter_cut(const Cut& c)
{
    const auto is_part = [](const Cut& a, const Cut& b) {
        return a.num_leaves <= b.num_leaves && (a.signature & ~b.signature) == 0 &&
               std::includes(b.leaves, b.leaves + b.num_leaves, a.leaves, a.leaves + a.num_leaves);
    };
    for (const Cut& k : kept_) {
        if (is_part(k, c)) {
            return false;
        }
    }
    std::erase_if(kept_, [&](const Cut& k) { return is_part(c, k); });
    return true;
}

void AigCutMapper::add_node(uint32_t id, const std::vector<uint32_t>& refs)
{
    const Aig node(id, false);
    const Aig left = manager_->left(node);
    const Aig right = manager_->right(node);
    const Info& l = infos_[position_[left.id()]];
    const Info& r = infos_[position_[right.id()]];
    kept_.clear();
    // The trivial cuts stand last in the lists, and the pair of them comes first here: the inputs
    // themselves always remain as a cut.
    for (uint32_t i = l.num_cuts; i-- > 0;) {
        for (uint32_t j = r.num_cuts; j-- > 0;) {
            const Cut& a = cuts_[l.first_cut + i];
            const Cut& b = cuts_[r.first_cut + j];
            Cut c;
            if (!merge_cuts(a, b, &c) || !filter_cut(c)) {
                continue;
            }
            const unsigned fa = expand(a, c) ^ (left.is_negated() ? 0xffffu : 0u);
            const unsigned fb = expand(b, c) ^ (right.is_negated() ? 0xffffu : 0u);
            c.function = static_cast<uint16_t>(fa & fb);
            const uint8_t size = c.num_leaves;
            minimize_support(&c);
            if (c.num_leaves != size && !filter_cut(c)) {
                continue;
            }
            if (kept_.size() < max_cuts_) {
                kept_.push_back(c);
            }
        }
    }
    TARQ_ASSERT(!kept_.empty());
    Info info{static_cast<uint32_t>(cuts_.size()), 0, 0, false, false};
    cuts_.insert(cuts_.end(), kept_.begin(), kept_.end());
    info.num_cuts = static_cast<uint32_t>(kept_.size());
    choose(info, refs);
    cuts_.push_back(Cut{{id}, uint32_t{1} << (id % 32), AigCover::INPUTS[0], 1});
    ++info.num_cuts;
    position_[id] = static_cast<uint32_t>(infos_.size());
    infos_.push_back(info);
}

/// Moves the best cut of a node to the front and sets the node's cost.
void AigCutMapper::choose(Info& info, const std::vector<uint32_t>& refs)
{
    uint32_t best = 0;
    uint64_t best_refs = 0;
    for (uint32_t i = 0; i < info.num_cuts; ++i) {
        const Cut& c = cuts_[info.first_cut + i];
        uint64_t cost = CLAUSE_COST * (cover_(c.function).size() +
                                       cover_(static_cast<uint16_t>(~c.function)).size());
        uint64_t sum_refs = 0;
        for (unsigned k = 0; k < c.num_leaves; ++k) {
            const uint64_t uses = refs[c.leaves[k]];
            cost += infos_[position_[c.leaves[k]]].cost / std::max<uint64_t>(uses, 1);
            sum_refs += uses;
        }
        if (i == 0 || cost < info.cost || (cost == info.cost && sum_refs > best_refs)) {
            best = i;
            info.cost = cost;
            best_refs = sum_refs;
        }
    }
    std::swap(cuts_[info.first_cut], cuts_[info.first_cut + best]);
}

/// The nodes that the choices reach from the root, in post-order.
void AigCutMapper::collect(uint32_t root)
{
    done_.assign(infos_.size(), 0);
    stack_.assign(1, root);
    while (!stack_.empty()) {
        const uint32_t id = stack_.back();
        uint8_t& done = done_[position_[id]];
        const Info& info = infos_[position_[id]];
        if (done == 2 || info.labelled) {
            stack_.pop_back();
            continue;
        }
        const Cut& c = cuts_[info.first_cut];
        const bool is_function = !info.leaf || c.num_leaves == 0;
        if (done == 0 && is_function) {
            done = 1;
            for (unsigned k = c.num_leaves; k-- > 0;) {
                stack_.push_back(c.leaves[k]);
            }
            continue;
        }
        done = 2;
        stack_.pop_back();
        Choice choice{id, {}, c.function, is_function ? c.num_leaves : IS_LEAF};
        std::copy(c.leaves, c.leaves + c.num_leaves, choice.leaves);
        choices_.push_back(choice);
    }
}

} // namespace tarq
