// Terms to nodes, literals, and what is read of the classes.
#include "theory/euf/eufsolver.h"

#include <algorithm>

namespace tarq::euf {

Solver::Solver(TermManager* tm) : tm_(tm)
{
    node_of_term(tm->make_true());
    node_of_term(tm->make_false());
    TARQ_ASSERT(nodes_[FALSE_NODE].value == FALSE_NODE);
}

// Nodes

Solver::Node Solver::make_node(Kind kind, const Term_* t)
{
    const Node n = static_cast<Node>(nodes_.size());
    EqNode e;
    e.root = e.next_in_class = n;
    e.left = e.right = NONE;
    e.use_head = e.next_left_use = e.next_right_use = NONE;
    e.class_size = 1;
    e.use_count = 0;
    e.value = e.interface = e.forest_parent = NONE;
    e.edge_reason = Reason::LITERAL;
    e.kind = kind;
    e.is_atom = t && tm_->is_boolean_atom(t);
    e.in_table = false;
    e.path_mark = 0;
    nodes_.push_back(e);
    terms_.push_back(t);
    edge_marks_.push_back(0);
    checked_at_.push_back(SIZE_MAX);
    checked_at_.push_back(SIZE_MAX);
    interface_counts_.push_back(0);
    if (t) {
        const uint64_t id = t->get_id();
        if (id >= node_of_term_.size()) {
            node_of_term_.resize(std::max<size_t>(id + 1, 2 * node_of_term_.size()), NONE);
        }
        node_of_term_[id] = n;
    }
    ++stats_.nodes_created;
    return n;
}

/// Terms whose arguments do not matter here.
bool Solver::is_leaf(const Term_* t) const
{
    return t->arity() == 0 || tm_->is_term_ite(t);
}

Solver::Node Solver::make_leaf(const Term_* t)
{
    const Node n = make_node(Kind::LEAF, t);
    if (tm_->is_true(t) || tm_->is_false(t) || (t->arity() == 0 && tm_->is_interpreted(t))) {
        // Numbers, truth values and rounding modes: different ones are different in every model.
        if (!tm_->is_pi(t)) {
            nodes_[n].value = n;
        }
    }
    return n;
}

Solver::Node Solver::symbol_node(const Symbol* s)
{
    const auto known = symbol_nodes_.find(s->get_id());
    if (known != symbol_nodes_.end()) {
        return known->second;
    }
    const Node n = make_node(Kind::SYMBOL, nullptr);
    nodes_[n].left = static_cast<Node>(s->get_id()); // for the way back to the map
    symbol_nodes_[s->get_id()] = n;
    return n;
}

void Solver::add_use(Node child, uint32_t use, uint32_t* next)
{
    *next = nodes_[child].use_head;
    nodes_[child].use_head = use;
    ++nodes_[root_of(child)].use_count;
}

/// Makes a cell and enters it in the table. Symbols never change class, so they keep no uses.
Solver::Node Solver::make_cell(Node left, Node right, Kind kind, const Term_* t)
{
    const Node n = make_node(kind, t);
    EqNode& e = nodes_[n];
    e.left = left;
    e.right = right;
    if (nodes_[left].kind != Kind::SYMBOL) {
        add_use(left, 2 * n, &e.next_left_use);
    }
    add_use(right, 2 * n + 1, &e.next_right_use);
    place(n);
    return n;
}

Solver::Node Solver::make_application(const Term_* t)
{
    if (tm_->is_equal(t)) {
        return make_cell(find_node(t->child(0)), find_node(t->child(1)), Kind::EQUALITY, t);
    }
    Node n = symbol_node(t->get_symbol());
    for (size_t i = 0; i + 1 < t->arity(); ++i) {
        const Node arg = find_node(t->child(i));
        const uint64_t key = uint64_t{n} << 32 | arg;
        const auto known = inner_cells_.find(key);
        if (known != inner_cells_.end()) {
            n = known->second;
        } else {
            n = make_cell(n, arg, Kind::CELL, nullptr);
            inner_cells_[key] = n;
        }
    }
    return make_cell(n, find_node(t->child(t->arity() - 1)), Kind::CELL, t);
}

Solver::Node Solver::node_of_term(const Term_* t)
{
    const Node known = find_node(t);
    if (known != NONE) {
        return known;
    }
    build_stack_.assign(1, t);
    while (!build_stack_.empty()) {
        const Term_* s = build_stack_.back();
        if (find_node(s) != NONE) {
            build_stack_.pop_back();
            continue;
        }
        if (is_leaf(s)) {
            make_leaf(s);
            build_stack_.pop_back();
            continue;
        }
        const size_t size = build_stack_.size();
        for (const Term_* c : s->children()) {
            if (find_node(c) == NONE) {
                build_stack_.push_back(c);
            }
        }
        if (build_stack_.size() == size) {
            build_stack_.pop_back();
            make_application(s);
        }
    }
    return find_node(t);
}

/// Removes the newest node. It must be alone in its class and have no uses.
void Solver::remove_last_node()
{
    const Node n = static_cast<Node>(nodes_.size() - 1);
    const EqNode& e = nodes_[n];
    TARQ_ASSERT(e.root == n && e.class_size == 1 && e.use_head == NONE && e.forest_parent == NONE);
    if (e.kind == Kind::SYMBOL) {
        symbol_nodes_.erase(e.left);
    } else if (e.left != NONE) {
        if (e.in_table) {
            table_.erase(signature(e));
        }
        nodes_[e.right].use_head = e.next_right_use;
        --nodes_[root_of(e.right)].use_count;
        if (nodes_[e.left].kind != Kind::SYMBOL) {
            nodes_[e.left].use_head = e.next_left_use;
            --nodes_[root_of(e.left)].use_count;
        }
        if (!terms_[n]) {
            inner_cells_.erase((e.kind == Kind::EQUALITY ? EQUALITY_KEY : 0) |
                               uint64_t{e.left} << 32 | e.right);
        }
    }
    if (terms_[n]) {
        node_of_term_[terms_[n]->get_id()] = NONE;
    }
    nodes_.pop_back();
    terms_.pop_back();
    edge_marks_.pop_back();
    interface_counts_.pop_back();
    checked_at_.resize(2 * nodes_.size());
    ++stats_.nodes_deleted;
}

// Telling

void Solver::tell_atom(const Term_* atom, bool build)
{
    settle();
    told_.push_back({atom, static_cast<Node>(nodes_.size())});
    if (!build) {
        return;
    }
    const size_t before = nodes_.size();
    const Node n = node_of_term(atom);
    if (n < before && nodes_[n].is_atom) { // it was there, and has missed being deduced
        const Node value = nodes_[root_of(n)].value;
        if (value == TRUE_NODE || value == FALSE_NODE) {
            implied_.emplace_back(atom, value == FALSE_NODE);
        }
    }
}

void Solver::tell_term(const Term_* t)
{
    settle();
    node_of_term(t);
}

void Solver::retract_atom([[maybe_unused]] const Term_* atom)
{
    TARQ_ASSERT(!told_.empty() && told_.back().atom == atom);
    const Node first = told_.back().first_node;
    told_.pop_back();
    if (first < nodes_.size()) {
        retract_to_ = first;
    }
}

void Solver::add_interface_term(const Term_* t)
{
    settle();
    const Node n = node_of_term(t);
    if (interface_counts_[n]++ == 0) {
        place_interface(n);
    }
}

void Solver::remove_interface_term(const Term_* t)
{
    const Node n = find_node(t);
    if (n != NONE && interface_counts_[n] > 0 && --interface_counts_[n] == 0) {
        retracted_interface_.push_back(n);
    }
}

// Literals

bool Solver::push_constraint(const Term_* atom, bool positive)
{
    settle();
    if (!consistent_) {
        return false;
    }
    const Node n = node_of_term(atom);
    const TheoryLit literal(atom, !positive);
    trail_.push_back({Undo::CONSTRAINT, NONE, NONE, NONE, 0});
    constraints_.push_back(literal);
    ++(positive ? stats_.asserted_equalities : stats_.asserted_inequalities);
    assert_eq(n, positive ? TRUE_NODE : FALSE_NODE, Reason::LITERAL, literal);
    if (positive && nodes_[n].kind == Kind::EQUALITY) {
        assert_eq(nodes_[n].left, nodes_[n].right, Reason::LITERAL, literal);
    }
    propagate();
    if (consistent_ && !positive && tm_->is_leq(atom)) {
        push_strict_order(atom);
    }
    return consistent_;
}

/// The negation of l <= r: the sides differ, and as numbers r is the smaller one.
void Solver::push_strict_order(const Term_* atom)
{
    const TheoryLit literal(atom, true);
    const Node l = find_node(atom->child(0));
    const Node r = find_node(atom->child(1));
    const Node number_l = nodes_[root_of(l)].value;
    const Node number_r = nodes_[root_of(r)].value;
    if (number_l != NONE && number_r != NONE) {
        QNumber a;
        QNumber b;
        if (tm_->is_number(terms_[number_l], &a) && tm_->is_number(terms_[number_r], &b) &&
            !(b < a)) {
            conflict_.assign({{l, number_l}, {r, number_r}});
            conflict_literal_ = literal;
            consistent_ = false;
            trail_.push_back({Undo::CONFLICT, NONE, NONE, NONE, 0});
            return;
        }
    }
    const uint64_t key = EQUALITY_KEY | uint64_t{l} << 32 | r;
    const auto known = inner_cells_.find(key);
    Node e;
    if (known != inner_cells_.end()) {
        e = known->second;
    } else {
        e = make_cell(l, r, Kind::EQUALITY, nullptr);
        inner_cells_[key] = e;
    }
    assert_eq(e, FALSE_NODE, Reason::LITERAL, literal);
    propagate();
}

bool Solver::push_constraint(const Term_* a, const Term_* b, bool equal)
{
    const Term_* atom = tm_->make_equal(a, b);
    if (tm_->is_equal(atom)) {
        return push_constraint(atom, equal);
    }
    return tm_->is_true(atom) == equal && is_consistent();
}

bool Solver::check()
{
    settle();
    return consistent_;
}

bool Solver::get_next_implied(const Term_** atom, bool* negated)
{
    settle();
    if (implied_head_ == implied_.size()) {
        implied_.clear();
        implied_head_ = 0;
        return false;
    }
    const TheoryLit l = implied_[implied_head_++];
    *atom = l.get_term();
    *negated = l.is_neg();
    return true;
}

void Solver::push_checkpoint()
{
    settle();
    trail_.push_back({Undo::CHECKPOINT, NONE, NONE, NONE, 0});
    ++num_checkpoints_;
}

// Reading

const Term_* Solver::get_representative(const Term_* t)
{
    settle();
    const Node n = find_node(t);
    if (n == NONE) {
        return t;
    }
    const Node root = root_of(n);
    const Node value = nodes_[root].value;
    const Term_* r = terms_[value == NONE ? root : value];
    return r ? r : t; // a root without term is an equality that is false, which has a value
}

void Solver::get_all_representatives(TermVector& out)
{
    settle();
    for (Node n = 0; n < nodes_.size(); ++n) {
        const EqNode& e = nodes_[n];
        if (e.root == n && terms_[n]) {
            out.push_back(terms_[e.value == NONE ? n : e.value]);
        }
    }
}

void Solver::get_congruence_class(const Term_* t, TermVector& out)
{
    settle();
    const Node first = find_node(t);
    if (first == NONE) {
        out.push_back(t);
        return;
    }
    Node n = first;
    do {
        if (terms_[n]) {
            out.push_back(terms_[n]);
        }
        n = nodes_[n].next_in_class;
    } while (n != first);
}

bool Solver::check_invariants() const
{
    if (!consistent_ || !pending_.empty() || !to_recheck_.empty() || retract_to_ != NONE ||
        !retracted_interface_.empty()) {
        return true; // they hold at rest only
    }
    hsh::HashMap<uint64_t, Node> cells;
    for (Node n = 0; n < nodes_.size(); ++n) {
        const EqNode& e = nodes_[n];
        if (e.root == n) {
            uint32_t size = 0;
            uint32_t uses = 0;
            for (Node m = n; size == 0 || m != n; m = nodes_[m].next_in_class) {
                if (nodes_[m].root != n || ++size > e.class_size) {
                    return false;
                }
                for (uint32_t u = nodes_[m].use_head; u != NONE; ++uses) {
                    const EqNode& c = nodes_[u / 2];
                    u = u % 2 ? c.next_right_use : c.next_left_use;
                }
            }
            if (size != e.class_size || uses != e.use_count) {
                return false;
            }
        }
        if (e.kind != Kind::CELL && e.kind != Kind::EQUALITY) {
            continue;
        }
        if (e.kind == Kind::EQUALITY && root_of(e.left) == root_of(e.right)) {
            if (e.in_table || e.root != root_of(TRUE_NODE)) {
                return false;
            }
            continue;
        }
        const Node entry = table_.find(signature(e));
        if (entry == NONE || (entry == n) != e.in_table || root_of(entry) != e.root) {
            return false;
        }
    }
    return true;
}

} // namespace tarq::euf
