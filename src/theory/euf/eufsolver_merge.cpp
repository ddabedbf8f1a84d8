// Merging classes, and undoing it.
#include "theory/euf/eufsolver.h"

#include <algorithm>

namespace tarq::euf {

/// The pair of the classes of the children. Equalities take them in ascending order, and are set
/// apart from other cells by a bit that no class number has.
uint64_t Solver::signature(const EqNode& n) const
{
    const uint64_t l = root_of(n.left);
    const uint64_t r = root_of(n.right);
    if (n.kind == Kind::EQUALITY) {
        return EQUALITY_KEY | std::min(l, r) << 32 | std::max(l, r);
    }
    return l << 32 | r;
}

/// Puts a cell in the table, or asserts what it is equal to instead; true in this case.
bool Solver::enter(Node n)
{
    EqNode& e = nodes_[n];
    if (e.kind == Kind::EQUALITY && root_of(e.left) == root_of(e.right)) {
        if (e.root != root_of(TRUE_NODE)) {
            assert_eq(n, TRUE_NODE, Reason::REFLEXIVITY, tlit_Undef);
        }
        return true;
    }
    const Node other = table_.insert(signature(e), n);
    if (other == NONE) {
        e.in_table = true;
        return false;
    }
    const EqNode& o = nodes_[other];
    if (e.root != o.root) {
        const bool swapped = e.kind == Kind::EQUALITY && root_of(e.left) != root_of(o.left);
        assert_eq(n, other, swapped ? Reason::SWAPPED_CONGRUENCE : Reason::CONGRUENCE, tlit_Undef);
    }
    return true;
}

/// Looks a cell up in the present state.
void Solver::place(Node n)
{
    const size_t position = trail_.size();
    if (!nodes_[n].in_table) {
        enter(n);
    }
    const bool changed = !pending_.empty();
    set_checked(n, false, position, changed);
    propagate();
}

/// Compares an interface term with its class in the present state.
void Solver::place_interface(Node n)
{
    const size_t position = trail_.size();
    const Node root = root_of(n);
    const Node other = nodes_[root].interface;
    if (other == NONE) {
        nodes_[root].interface = n;
        trail_.push_back({Undo::INTERFACE, root, NONE, NONE, 0});
    }
    set_checked(n, true, position, other == NONE);
    if (other != NONE && other != n) {
        send_equality(n, other);
    }
}

void Solver::set_checked(Node n, bool as_interface, size_t position, bool changed)
{
    checked_.push_back({position, n, as_interface, changed});
    checked_at_[2 * size_t{n} + static_cast<size_t>(as_interface)] = position;
}

void Solver::send_equality(Node a, Node b)
{
    if (propagator_) {
        propagator_->propagate(terms_[a], terms_[b]);
    }
}

// Merging

void Solver::propagate()
{
    while (pending_head_ < pending_.size() && consistent_) {
        const Pending p = pending_[pending_head_++];
        if (root_of(p.a) != root_of(p.b)) {
            merge(p);
        }
    }
    pending_.clear();
    pending_head_ = 0;
}

/// Two different values came together: the path between them is the conflict.
void Solver::fail(const Pending& p, Node value_a, Node value_b)
{
    const bool a_first =
        nodes_[root_of(p.a)].class_size <= nodes_[root_of(p.b)].class_size; // less to reverse
    add_edge(a_first ? p.a : p.b, a_first ? p.b : p.a, p.reason, p.literal);
    trail_.push_back({Undo::EDGE, p.a, p.b, NONE, 0});
    trail_.push_back({Undo::CONFLICT, NONE, NONE, NONE, 0});
    conflict_.assign(1, {value_a, value_b});
    conflict_literal_ = tlit_Undef;
    consistent_ = false;
}

/// The members of a class that comes together with true or false.
void Solver::queue_implied(Node root, bool negated, const Pending& cause)
{
    Node n = root;
    do {
        if (nodes_[n].is_atom && !(cause.reason == Reason::LITERAL && n == cause.a) && terms_[n]) {
            implied_.emplace_back(terms_[n], negated);
        }
        n = nodes_[n].next_in_class;
    } while (n != root);
}

void Solver::merge(const Pending& p)
{
    ++stats_.merges;
    Node a = p.a;
    Node b = p.b;
    Node dying = root_of(a);
    Node root = root_of(b);
    if (nodes_[dying].value != NONE && nodes_[root].value != NONE) {
        fail(p, nodes_[dying].value, nodes_[root].value);
        return;
    }
    if (nodes_[dying].class_size + nodes_[dying].use_count >
        nodes_[root].class_size + nodes_[root].use_count) {
        std::swap(a, b);
        std::swap(dying, root);
    }
    const Node value_d = nodes_[dying].value;
    const Node value_r = nodes_[root].value;
    if (value_r <= FALSE_NODE) {
        queue_implied(dying, value_r == FALSE_NODE, p);
    } else if (value_d <= FALSE_NODE) {
        queue_implied(root, value_d == FALSE_NODE, p);
    }
    add_edge(a, b, p.reason, p.literal);

    // Entries are erased under the old class, put back under the new one.
    moved_.clear();
    Node m = dying;
    do {
        for (uint32_t u = nodes_[m].use_head; u != NONE;) {
            EqNode& c = nodes_[u / 2];
            if (c.in_table) {
                table_.erase(signature(c));
                c.in_table = false;
                moved_.push_back(u / 2);
            }
            u = u % 2 ? c.next_right_use : c.next_left_use;
        }
        m = nodes_[m].next_in_class;
    } while (m != dying);
    do {
        nodes_[m].root = root;
        m = nodes_[m].next_in_class;
    } while (m != dying);
    EqNode& d = nodes_[dying];
    EqNode& r = nodes_[root];
    std::swap(d.next_in_class, r.next_in_class);
    r.class_size += d.class_size;
    r.use_count += d.use_count;
    if (value_d != NONE) {
        r.value = value_d;
    }
    const Node interface_r = r.interface;
    if (interface_r == NONE) {
        r.interface = d.interface;
    }
    const size_t lost = lost_.size();
    stats_.merge_steps += d.class_size + moved_.size();
    for (Node c : moved_) {
        if (enter(c)) {
            lost_.push_back(c);
        }
    }
    trail_.push_back({Undo::MERGE, a, b, dying, static_cast<uint32_t>(lost_.size() - lost)});
    if (interface_r != NONE && d.interface != NONE) {
        send_equality(d.interface, interface_r);
    }
}

/// Hangs the tree of `child` under `parent`: makes `child` the root of its tree, then links it.
void Solver::add_edge(Node child, Node parent, Reason reason, TheoryLit literal)
{
    Node n = child;
    while (n != NONE) {
        EqNode& e = nodes_[n];
        const Node next = e.forest_parent;
        e.forest_parent = parent;
        std::swap(e.edge_reason, reason);
        std::swap(e.edge_literal, literal);
        ++stats_.merge_steps;
        parent = n;
        n = next;
    }
}

/// A later merge may have turned the edge, so either end may be the child by now.
void Solver::remove_edge(Node a, Node b)
{
    if (nodes_[a].forest_parent == b) {
        nodes_[a].forest_parent = NONE;
    } else {
        TARQ_ASSERT(nodes_[b].forest_parent == a);
        nodes_[b].forest_parent = NONE;
    }
}

// Undoing

void Solver::undo_merge(const Undo& u)
{
    ++stats_.merges_undone;
    const Node dying = u.dying;
    const Node root = root_of(dying);
    EqNode& d = nodes_[dying];
    EqNode& r = nodes_[root];
    std::swap(d.next_in_class, r.next_in_class);
    moved_.clear();
    uint32_t uses = 0; // counted anew: cells may have come since
    Node m = dying;
    do {
        for (uint32_t use = nodes_[m].use_head; use != NONE; ++uses) {
            EqNode& c = nodes_[use / 2];
            if (c.in_table) {
                table_.erase(signature(c));
                c.in_table = false;
                moved_.push_back(use / 2);
            }
            use = use % 2 ? c.next_right_use : c.next_left_use;
        }
        m = nodes_[m].next_in_class;
    } while (m != dying);
    do {
        nodes_[m].root = dying;
        m = nodes_[m].next_in_class;
    } while (m != dying);
    r.class_size -= d.class_size;
    r.use_count -= uses;
    d.use_count = uses;
    if (d.value != NONE && r.value == d.value) {
        r.value = NONE;
    }
    if (d.interface != NONE && r.interface == d.interface) {
        r.interface = NONE;
    }
    const auto put_back = [this](Node n) {
        EqNode& c = nodes_[n];
        if (!c.in_table) {
            c.in_table = table_.insert(signature(c), n) == NONE;
        }
    };
    for (Node c : moved_) {
        put_back(c);
    }
    for (uint32_t i = 0; i < u.lost; ++i) {
        put_back(lost_.back());
        lost_.pop_back();
    }
    remove_edge(u.a, u.b);
}

void Solver::undo_last()
{
    const Undo u = trail_.back();
    trail_.pop_back();
    switch (u.kind) {
    case Undo::CHECKPOINT:
        --num_checkpoints_;
        break;
    case Undo::CONSTRAINT:
        constraints_.pop_back();
        break;
    case Undo::MERGE:
        undo_merge(u);
        break;
    case Undo::EDGE:
        remove_edge(u.a, u.b);
        break;
    case Undo::INTERFACE:
        nodes_[u.a].interface = NONE;
        break;
    case Undo::CONFLICT:
        consistent_ = true;
        conflict_.clear();
        conflict_literal_ = tlit_Undef;
        break;
    }
}

void Solver::undo_to(size_t size)
{
    while (trail_.size() > size) {
        undo_last();
    }
    implied_.clear();
    implied_head_ = 0;
    drop_checks(size);
}

/// What was looked up in a state that is gone has to be looked up again.
void Solver::drop_checks(size_t position)
{
    size_t first = checked_.size();
    while (first > 0 && checked_[first - 1].position >= position) {
        --first;
    }
    const auto is_void = [&](const Checked& c) { return c.position > position || c.changed; };
    for (size_t i = checked_.size(); i-- > first;) {
        if (is_void(checked_[i])) {
            to_recheck_.push_back(checked_[i]);
            checked_at_[2 * size_t{checked_[i].node} +
                        static_cast<size_t>(checked_[i].as_interface)] = SIZE_MAX;
        }
    }
    checked_.erase(
        std::remove_if(checked_.begin() + static_cast<ptrdiff_t>(first), checked_.end(), is_void),
        checked_.end());
}

void Solver::backtrack(size_t n)
{
    if (n == 0) {
        return;
    }
    TARQ_ASSERT(n <= num_checkpoints_);
    const size_t target = num_checkpoints_ - n;
    while (num_checkpoints_ > target) {
        undo_last();
    }
    undo_to(trail_.size());
}

/// Brings about the state that later operations may count on.
void Solver::settle()
{
    if (retract_to_ != NONE || !retracted_interface_.empty()) {
        flush_retractions();
    }
    if (!to_recheck_.empty()) {
        recheck();
    }
    TARQ_ASSERT(pending_.empty());
}

void Solver::recheck()
{
    while (!to_recheck_.empty()) {
        const Checked c = to_recheck_.back();
        to_recheck_.pop_back();
        ++stats_.atoms_retold;
        if (c.as_interface) {
            place_interface(c.node);
        } else {
            place(c.node);
        }
    }
}

/// Goes back to before the nodes that are to go were first looked at, removes them, and replays
/// what was pushed since.
void Solver::flush_retractions()
{
    const Node first = std::min(retract_to_, static_cast<Node>(nodes_.size()));
    size_t position = trail_.size();
    for (size_t i = 2 * size_t{first}; i < checked_at_.size(); ++i) {
        position = std::min(position, checked_at_[i]);
    }
    for (Node n : retracted_interface_) {
        if (n < first) {
            position = std::min(position, checked_at_[2 * size_t{n} + 1]);
        }
    }
    replay_literals_.clear();
    size_t literal = constraints_.size();
    for (size_t i = trail_.size(); i > position; --i) {
        if (trail_[i - 1].kind == Undo::CONSTRAINT) {
            --literal;
        }
    }
    for (size_t i = position; i < trail_.size(); ++i) {
        if (trail_[i].kind == Undo::CHECKPOINT) {
            replay_literals_.push_back(tlit_Undef);
        } else if (trail_[i].kind == Undo::CONSTRAINT) {
            replay_literals_.push_back(constraints_[literal++]);
        }
    }
    undo_to(position);
    // Those not changed at that very position are in the list still.
    size_t from = checked_.size();
    while (from > 0 && checked_[from - 1].position >= position) {
        --from;
    }
    const auto is_gone = [&](const Checked& c) {
        return c.node >= first || (c.as_interface && interface_counts_[c.node] == 0);
    };
    for (size_t i = from; i < checked_.size(); ++i) {
        if (is_gone(checked_[i])) {
            checked_at_[2 * size_t{checked_[i].node} +
                        static_cast<size_t>(checked_[i].as_interface)] = SIZE_MAX;
        }
    }
    checked_.erase(
        std::remove_if(checked_.begin() + static_cast<ptrdiff_t>(from), checked_.end(), is_gone),
        checked_.end());
    to_recheck_.erase(std::remove_if(to_recheck_.begin(), to_recheck_.end(), is_gone),
                      to_recheck_.end());
    while (nodes_.size() > first) {
        remove_last_node();
    }
    retract_to_ = NONE;
    retracted_interface_.clear();
    // The replay may not disturb the list it reads, nor does it: pushing uses no replay.
    for (TheoryLit l : replay_literals_) {
        if (l == tlit_Undef) {
            push_checkpoint();
        } else if (find_node(l.get_term()) != NONE) {
            push_constraint(l.get_term(), !l.is_neg());
        }
    }
}

} // namespace tarq::euf
