#include "encoding/aigmanager.h"

#include "base/assertion.h"
#include "encoding/aigcutmapper.h"

namespace tarq {

namespace {

constexpr size_t FIRST_TABLE_SIZE = 1024;

} // namespace

AigManager::AigManager()
{
    nodes_.resize(CONSTANT + 1); // node 0 is no node
    table_.resize(FIRST_TABLE_SIZE, 0);
}

AigManager::~AigManager() = default;

// The table of nodes

size_t AigManager::hash_node(Node n)
{
    uint64_t h = (uint64_t{n.right.word()} << 32) + n.left.word();
    h *= 0x9e3779b97f4a7c15;
    return static_cast<size_t>(h ^ (h >> 32));
}

void AigManager::grow_table()
{
    std::vector<uint32_t> old(table_.size() * 2, 0);
    old.swap(table_);
    const size_t mask = table_.size() - 1;
    for (uint32_t id : old) {
        if (id != 0) {
            size_t i = hash_node(nodes_[id]) & mask;
            while (table_[i] != 0) {
                i = (i + 1) & mask;
            }
            table_[i] = id;
        }
    }
}

size_t AigManager::find_place(Node n) const
{
    const size_t mask = table_.size() - 1;
    size_t i = hash_node(n) & mask;
    for (; table_[i] != 0; i = (i + 1) & mask) {
        const Node& m = nodes_[table_[i]];
        if (m.left == n.left && m.right == n.right) {
            break;
        }
    }
    return i;
}

Aig AigManager::insert(Node n)
{
    const size_t i = find_place(n);
    if (table_[i] != 0) {
        return Aig(table_[i], false);
    }
    if (nodes_.size() >= (uint32_t{1} << 31) - 1) {
        throw make_error<error>("too many nodes");
    }
    const uint32_t id = num_ids();
    nodes_.push_back(n);
    table_[i] = id;
    if (++table_used_ * 3 > table_.size() * 2) {
        grow_table();
    }
    return Aig(id, false);
}

Aig AigManager::aig_var(int var)
{
    return insert({Aig::from_word(static_cast<uint32_t>(var)), Aig()});
}

bool AigManager::has_var(int var) const
{
    return table_[find_place({Aig::from_word(static_cast<uint32_t>(var)), Aig()})] != 0;
}

bool AigManager::aig_get_components(Aig a, Aig* left, Aig* right) const
{
    const Node& n = nodes_[a.id()];
    if (n.right.is_null()) {
        return false;
    }
    *left = n.left;
    *right = n.right;
    return true;
}

// Simplification. Below, "an input of x" is an input of its node. A handle that is no conjunction
// stands as a positive conjunction of itself alone.

/// What the two handles alone show.
bool AigManager::simplify_1(Aig a, Aig b, Aig* out) const
{
    if (a == b || a == aig_true()) {
        *out = b;
    } else if (b == aig_true()) {
        *out = a;
    } else if (a == ~b || a == aig_false() || b == aig_false()) {
        *out = aig_false();
    } else {
        return false;
    }
    return true;
}

/// The rules that give a result, with `a` in the first role.
bool AigManager::simplify_pair(Aig a, Aig b, Aig* out) const
{
    Aig a0 = a, a1, b0 = b, b1;
    const bool a_and = aig_get_components(a, &a0, &a1);
    const bool b_and = aig_get_components(b, &b0, &b1);
    const bool a_pos = !a_and || !a.is_negated();
    const bool b_neg = b_and && b.is_negated();
    if (a_and && a_pos) {
        if (b == ~a0 || b == ~a1) {
            *out = aig_false();
            return true;
        }
        if (b_and && !b_neg && (a0 == ~b0 || a0 == ~b1 || a1 == ~b0 || a1 == ~b1)) {
            *out = aig_false();
            return true;
        }
        if (b == a0 || b == a1) {
            *out = a;
            return true;
        }
    }
    if (a_pos && b_neg) {
        if (b0 == ~a0 || b1 == ~a0 || (a_and && (b0 == ~a1 || b1 == ~a1))) {
            *out = a;
            return true;
        }
    }
    if (a_and && a.is_negated() && b_neg) {
        if ((a0 == b0 && a1 == ~b1) || (a0 == b1 && a1 == ~b0)) {
            *out = ~a0;
            return true;
        }
        if ((a1 == b0 && a0 == ~b1) || (a1 == b1 && a0 == ~b0)) {
            *out = ~a1;
            return true;
        }
    }
    return false;
}

bool AigManager::simplify_2(Aig a, Aig b, Aig* out) const
{
    return simplify_pair(a, b, out) || simplify_pair(b, a, out);
}

/// not(a0 and a1) under something that makes a1 true is not a0.
bool AigManager::substitute_pair(Aig* a, Aig b) const
{
    Aig a0, a1, b0, b1;
    if (!a->is_negated() || !aig_get_components(*a, &a0, &a1)) {
        return false;
    }
    const bool b_pos_and = !b.is_negated() && aig_get_components(b, &b0, &b1);
    if (b == a1 || (b_pos_and && (b0 == a1 || b1 == a1))) {
        *a = ~a0;
        return true;
    }
    if (b == a0 || (b_pos_and && (b0 == a0 || b1 == a0))) {
        *a = ~a1;
        return true;
    }
    return false;
}

bool AigManager::simplify_3(Aig* a, Aig* b) const
{
    return substitute_pair(a, *b) || substitute_pair(b, *a);
}

Aig AigManager::aig_and(Aig a, Aig b)
{
    TARQ_ASSERT(!a.is_null() && !b.is_null());
    Aig out;
    // each substitution puts an input in the place of its node, so the loop ends
    do {
        if (simplify_1(a, b, &out) || simplify_2(a, b, &out)) {
            return out;
        }
    } while (simplify_3(&a, &b));
    return aig_nosimpl_and(a, b);
}

Aig AigManager::aig_nosimpl_and(Aig a, Aig b)
{
    if (a.word() > b.word()) {
        std::swap(a, b);
    }
    return insert({a, b});
}

Aig AigManager::aig_ite(Aig c, Aig t, Aig e)
{
    if (t == e) {
        return t;
    }
    if (t == ~e) {
        return aig_iff(c, t);
    }
    const Aig if_true = aig_and(c, t);
    const Aig if_false = aig_and(~c, e);
    return ~aig_and(~if_true, ~if_false);
}

Aig AigManager::aig_iff(Aig a, Aig b)
{
    const bool flip = a.is_negated() != b.is_negated();
    a = a.strip();
    b = b.strip();
    const Aig both = aig_and(a, b);
    const Aig none = aig_and(~a, ~b);
    return ~aig_and(~both, ~none) ^ flip;
}

// Gates of the conversion by definitions

/// Whether the node is not c ? t : e, written as not(c and t) and not(not c and e); gives the
/// branches with the sign that makes the node itself the multiplexer.
bool AigManager::match_multiplexer(uint32_t node, Aig* c, Aig* t, Aig* e) const
{
    const Node& n = nodes_[node];
    if (!n.left.is_negated() || !n.right.is_negated() || !is_and(n.left) || !is_and(n.right)) {
        return false;
    }
    const Node& l = nodes_[n.left.id()];
    const Node& r = nodes_[n.right.id()];
    const Aig lefts[2] = {l.left, l.right};
    const Aig rights[2] = {r.left, r.right};
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) {
            if (lefts[i] == ~rights[j]) {
                *c = lefts[i];
                *t = ~lefts[1 - i];
                *e = ~rights[1 - j];
                return true;
            }
        }
    }
    return false;
}

void AigManager::clear_parents()
{
    for (uint32_t id : touched_) {
        parents_[id] = 0;
    }
    touched_.clear();
}

} // namespace tarq
