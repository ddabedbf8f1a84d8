// Explanations from the proof forest.
#include "theory/euf/eufsolver.h"

#include <algorithm>

namespace tarq::euf {

void Solver::start_explanation()
{
    to_explain_.clear();
    congruences_used_.clear();
    toplevel_congruence_ = false;
    if (++edge_stamp_ == 0) {
        std::fill(edge_marks_.begin(), edge_marks_.end(), 0);
        edge_stamp_ = 1;
    }
}

/// Walks up from both ends in turn, so that the cost is in the lengths of the paths up to the
/// meeting point, not in the depth of the tree.
Solver::Node Solver::nearest_common_ancestor(Node a, Node b)
{
    if (++path_stamp_ == 0) {
        for (EqNode& e : nodes_) {
            e.path_mark = 0;
        }
        path_stamp_ = 1;
    }
    for (;;) {
        if (a != NONE) {
            EqNode& e = nodes_[a];
            if (e.path_mark == path_stamp_) {
                return a;
            }
            e.path_mark = path_stamp_;
            a = e.forest_parent;
        }
        if (b != NONE) {
            EqNode& e = nodes_[b];
            if (e.path_mark == path_stamp_) {
                return b;
            }
            e.path_mark = path_stamp_;
            b = e.forest_parent;
        }
        TARQ_ASSERT(a != NONE || b != NONE);
    }
}

/// Answers the questions in to_explain_. Each edge of the forest is explained once, whichever of
/// the questions it belongs to.
void Solver::explain_all(std::vector<TheoryLit>& out)
{
    while (!to_explain_.empty()) {
        const Question q = to_explain_.back();
        to_explain_.pop_back();
        if (q.a != q.b) {
            explaining_toplevel_ = q.toplevel;
            const Node top = nearest_common_ancestor(q.a, q.b);
            explain_path(q.a, top, out);
            explain_path(q.b, top, out);
        }
    }
}

void Solver::explain_path(Node from, Node to, std::vector<TheoryLit>& out)
{
    for (Node n = from; n != to; n = nodes_[n].forest_parent) {
        if (edge_marks_[n] != edge_stamp_) {
            edge_marks_[n] = edge_stamp_;
            explain_edge(n, out);
        }
    }
}

void Solver::explain_edge(Node child, std::vector<TheoryLit>& out)
{
    const EqNode& e = nodes_[child];
    const EqNode& p = nodes_[e.forest_parent];
    switch (e.edge_reason) {
    case Reason::LITERAL:
        out.push_back(e.edge_literal);
        break;
    case Reason::CONGRUENCE:
        to_explain_.push_back({e.left, p.left, false});
        to_explain_.push_back({e.right, p.right, false});
        if (collect_congruences_ && e.kind == Kind::CELL && terms_[child]) {
            const Term_* a = terms_[child];
            const Term_* b = terms_[e.forest_parent];
            if (b->get_id() < a->get_id()) {
                std::swap(a, b);
            }
            if (explaining_toplevel_ && !toplevel_congruence_) {
                toplevel_congruence_ = true;
                congruences_used_.insert(congruences_used_.begin(), {a, b});
            } else {
                congruences_used_.emplace_back(a, b);
            }
        }
        break;
    case Reason::SWAPPED_CONGRUENCE:
        to_explain_.push_back({e.left, p.right, false});
        to_explain_.push_back({e.right, p.left, false});
        break;
    case Reason::REFLEXIVITY: {
        const EqNode& eq = child == TRUE_NODE ? p : e;
        to_explain_.push_back({eq.left, eq.right, explaining_toplevel_});
        break;
    }
    }
}

void Solver::get_conflict(std::vector<TheoryLit>& out)
{
    TARQ_ASSERT(!consistent_);
    start_explanation();
    if (conflict_literal_ != tlit_Undef) {
        out.push_back(conflict_literal_);
    }
    for (auto [a, b] : conflict_) {
        to_explain_.push_back({a, b, true});
    }
    explain_all(out);
}

void Solver::get_implied_reason(const Term_* atom, bool negated, std::vector<TheoryLit>& out)
{
    const Node n = find_node(atom);
    TARQ_ASSERT(n != NONE);
    start_explanation();
    to_explain_.push_back({n, negated ? FALSE_NODE : TRUE_NODE, true});
    explain_all(out);
}

bool Solver::get_congruence_reason(const Term_* a, const Term_* b, std::vector<TheoryLit>& out)
{
    const Node na = find_node(a);
    const Node nb = find_node(b);
    if (a == b) {
        return true;
    }
    if (na == NONE || nb == NONE || root_of(na) != root_of(nb)) {
        return false;
    }
    start_explanation();
    to_explain_.push_back({na, nb, true});
    explain_all(out);
    return true;
}

bool Solver::unmergeable_terms(const Term_* a, const Term_* b)
{
    settle();
    const Node na = find_node(a);
    const Node nb = find_node(b);
    if (na == NONE || nb == NONE) {
        return false;
    }
    const EqNode& ra = nodes_[root_of(na)];
    const EqNode& rb = nodes_[root_of(nb)];
    if (ra.root == rb.root) {
        return false;
    }
    if (ra.value != NONE && rb.value != NONE) {
        return true;
    }
    const Node e = find_equality(ra.root, rb.root);
    return e != NONE && root_of(e) == root_of(FALSE_NODE);
}

/// The table entry among the equalities between two different classes, or NONE.
Solver::Node Solver::find_equality(Node root_a, Node root_b) const
{
    const uint64_t l = std::min(root_a, root_b);
    const uint64_t r = std::max(root_a, root_b);
    return table_.find(EQUALITY_KEY | l << 32 | r);
}

bool Solver::collect_disequalities(const Term_* a, const Term_* b, std::vector<TheoryLit>& out)
{
    if (!unmergeable_terms(a, b)) {
        return false;
    }
    const Node na = find_node(a);
    const Node nb = find_node(b);
    const EqNode& ra = nodes_[root_of(na)];
    const EqNode& rb = nodes_[root_of(nb)];
    start_explanation();
    if (ra.value != NONE && rb.value != NONE) {
        to_explain_.push_back({na, ra.value, true});
        to_explain_.push_back({nb, rb.value, true});
    } else {
        const Node e = find_equality(ra.root, rb.root);
        const bool straight = root_of(nodes_[e].left) == ra.root;
        to_explain_.push_back({na, straight ? nodes_[e].left : nodes_[e].right, true});
        to_explain_.push_back({nb, straight ? nodes_[e].right : nodes_[e].left, true});
        to_explain_.push_back({e, FALSE_NODE, true});
    }
    explain_all(out);
    return true;
}

} // namespace tarq::euf
