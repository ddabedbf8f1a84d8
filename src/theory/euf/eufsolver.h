// euf::Solver: incremental congruence closure with explanations. It knows literals over terms, and
// nothing of the contract of theory solvers.
//
// Method: P. J. Downey, R. Sethi, R. E. Tarjan, "Variations on the common subexpression problem"
// (the closure); R. Nieuwenhuis, A. Oliveras, "Fast congruence closure and extensions" (curried
// cells, the proof forest).
//
// Sources by verb: eufsolver.cpp (terms to nodes, literals, reading), _merge.cpp (merging and
// undo), _explain.cpp (proof forest).
#pragma once

#include "base/hashmap.h"
#include "terms/termmanager.h"
#include "terms/theorylit.h"
#include "theory/euf/signaturetable.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tarq::euf {

/// Receives equalities between interface terms as classes merge.
class EqPropagator {
public:
    virtual ~EqPropagator() = default;
    virtual void propagate(const Term_* a, const Term_* b) = 0;
};

/// Decides conjunctions of equalities, disequalities and uninterpreted predicates.
///
/// A term f(a1, ..., an) is the chain of cells cons(... cons(F, a1) ..., an), where F is the node
/// of the symbol and the outermost cell is the node of the term. A term without arguments, a number
/// and a term-ITE are leaves; an ITE's meaning comes from literals about it. An equality is a cell
/// of its two sides, in any order; it joins the class of `true` when its sides are in one class. So
/// disequalities need no data of their own: they are equalities in the class of `false`, and two
/// equalities between the same classes are congruent.
///
/// Life cycle: terms are told, at any time, and retracted in reverse order; their nodes outlive the
/// checkpoints. Literals are pushed, checkpoints pushed and undone. What was derived from terms
/// told inside a checkpoint and undone with it is derived again at the next operation, at the then
/// newest checkpoint.
///
/// Owns nodes and tables. Borrows the term manager.
///
/// Invariants, whenever no operation runs and nothing waits to be rechecked:
///   1. Of the cells with one signature exactly one, marked `in_table`, stands in the table; the
///   others
///      are in its class. An equality whose sides are in one class is in that of `true` and not
///      there.
///   2. The forest has one tree per class. Paths never change while their ends are in one tree, so
///      what was derived earlier is explained by what was pushed before it.
///   3. checked_ ascends by position; a node's position is at most the trail's length.
class Solver {
public:
    struct Stats {
        uint64_t nodes_created = 0;
        uint64_t nodes_deleted = 0;
        uint64_t asserted_equalities = 0;
        uint64_t asserted_inequalities = 0;
        uint64_t merges = 0;
        uint64_t merges_undone = 0;
        // what merging touched: members that changed class, table entries moved, edges turned
        uint64_t merge_steps = 0;
        uint64_t atoms_retold = 0; // nodes whose place was looked up again after an undo
    };

    explicit Solver(TermManager* tm);
    Solver(const Solver&) = delete;
    Solver& operator=(const Solver&) = delete;

    // Terms

    /// Makes the nodes of an atom, which from then on is deduced when it follows.
    /// build  with false only the place of the atom in the order is remembered
    void tell_atom(const Term_* atom, bool build = true);
    /// Takes back the newest told atom, with every node made since it was told. The work is done at
    /// the next operation, so a series of calls costs little.
    void retract_atom(const Term_* atom);
    /// Makes the nodes of any term; they go with the newest atom told before.
    void tell_term(const Term_* t);
    bool is_known(const Term_* t) const { return find_node(t) != NONE; }

    /// Equalities between the terms so marked go to the propagator. A term that was added several
    /// times is one until it was removed as often.
    void add_interface_term(const Term_* t);
    void remove_interface_term(const Term_* t);
    /// Borrowed; null for none.
    void set_eq_propagator(EqPropagator* p) { propagator_ = p; }

    // Literals

    /// The literal is true from now on. An atom without node is told first. Returns consistent().
    bool push_constraint(const Term_* atom, bool positive);
    /// The same for the equality of two terms.
    bool push_constraint(const Term_* a, const Term_* b, bool equal);
    /// Finishes what is pending. Returns the consistency.
    bool check();
    bool is_consistent() const { return consistent_; }
    /// The next literal that follows, over a told atom; false when there is none. Literals that
    /// were pushed may come as well.
    bool get_next_implied(const Term_** atom, bool* negated);

    void push_checkpoint();
    /// Undoes the newest n checkpoints.
    void backtrack(size_t n);
    size_t num_checkpoints() const { return num_checkpoints_; }

    // Explanations; all append literals that were pushed, possibly with repetitions.

    /// After an inconsistency.
    void get_conflict(std::vector<TheoryLit>& out);
    /// Why an implied literal holds, by literals pushed before it was implied.
    void get_implied_reason(const Term_* atom, bool negated, std::vector<TheoryLit>& out);
    /// Why two terms of one class are equal; false when they aren't.
    bool get_congruence_reason(const Term_* a, const Term_* b, std::vector<TheoryLit>& out);
    /// Whether the two are known to differ.
    bool unmergeable_terms(const Term_* a, const Term_* b);
    /// Why; false when they aren't.
    bool collect_disequalities(const Term_* a, const Term_* b, std::vector<TheoryLit>& out);
    /// With true, explanations collect the pairs of applications that they take for equal because
    /// their arguments are.
    void set_collect_congruences(bool on) { collect_congruences_ = on; }
    /// The pairs of the last explanation, lower id first. Cleared by each.
    const std::vector<std::pair<const Term_*, const Term_*>>& congruences_used() const
    {
        return congruences_used_;
    }
    /// Whether one of them was an end of the conflict, rather than below other congruences; it is
    /// then the first.
    bool toplevel_congruence() const { return toplevel_congruence_; }
    void forget_congruences() { congruences_used_.clear(); }

    // Reading

    /// The term that stands for the class of `t`: its number if it has one. An unknown term is
    /// alone.
    const Term_* get_representative(const Term_* t);
    /// Appends one representative for each class of terms.
    void get_all_representatives(TermVector& out);
    void get_congruence_class(const Term_* t, TermVector& out);
    bool are_equal(const Term_* a, const Term_* b)
    {
        return get_representative(a) == get_representative(b);
    }

    const Stats& get_stats() const { return stats_; }
    size_t num_nodes() const { return nodes_.size(); }
    /// Recomputes the closure's invariants in a simple way; for assertions and tests.
    bool check_invariants() const;

private:
    using Node = uint32_t;
    static constexpr Node NONE = ~Node{0};
    static constexpr Node TRUE_NODE = 0;
    static constexpr Node FALSE_NODE = 1;
    static constexpr uint64_t EQUALITY_KEY = uint64_t{1} << 63; // set in keys of equalities

    enum class Kind : uint8_t { LEAF, SYMBOL, CELL, EQUALITY };
    /// What a forest edge stands for.
    enum class Reason : uint8_t {
        LITERAL,
        CONGRUENCE,         // the children are equal pairwise
        SWAPPED_CONGRUENCE, // two equalities, left with right and right with left
        REFLEXIVITY,        // an equality and `true`: its sides are equal
    };
    struct EqNode {
        Node root;
        Node next_in_class; // circular
        Node left;          // NONE for leaves and symbols
        Node right;
        uint32_t use_head;       // this node's own uses: cell * 2 + 1 where it is the right child
        uint32_t next_left_use;  // in the list of `left`
        uint32_t next_right_use; // in the list of `right`
        uint32_t class_size;     // at a root
        uint32_t use_count;      // at a root: uses of all members
        Node value;              // at a root: the number, true or false in the class, or NONE
        Node interface;          // at a root: an interface term of the class, or NONE
        Node forest_parent;
        TheoryLit edge_literal; // of the edge to the parent, as the next
        Reason edge_reason;
        Kind kind;
        bool is_atom;
        bool in_table;
        uint32_t path_mark; // stamps of explanations
    };
    static_assert(sizeof(EqNode) == 64, "a node is a cache line");

    struct Pending {
        Node a;
        Node b;
        Reason reason;
        TheoryLit literal;
    };
    struct Undo {
        enum Kind : uint32_t { CHECKPOINT, CONSTRAINT, MERGE, EDGE, INTERFACE, CONFLICT } kind;
        Node a; // MERGE, EDGE: ends of the forest edge; INTERFACE: the root
        Node b;
        Node dying;    // MERGE
        uint32_t lost; // MERGE: cells that ceased to be table entries
    };
    /// A cell was looked up, or an interface term compared with its class, in the state that the
    /// trail had at that length. `changed`: this made new entries from there on.
    struct Checked {
        size_t position;
        Node node;
        bool as_interface;
        bool changed;
    };
    struct Told {
        const Term_* atom;
        Node first_node; // made for it or later
    };

    // nodes
    Node find_node(const Term_* t) const
    {
        const uint64_t id = t->get_id();
        return id < node_of_term_.size() ? node_of_term_[id] : NONE;
    }
    Node node_of_term(const Term_* t);
    Node make_node(Kind kind, const Term_* t);
    Node make_leaf(const Term_* t);
    Node make_application(const Term_* t);
    Node make_cell(Node left, Node right, Kind kind, const Term_* t);
    Node symbol_node(const Symbol* s);
    void add_use(Node child, uint32_t use, uint32_t* next);
    void remove_last_node();
    bool is_leaf(const Term_* t) const;
    uint64_t signature(const EqNode& n) const;

    // merging
    void assert_eq(Node a, Node b, Reason reason, TheoryLit literal)
    {
        pending_.push_back({a, b, reason, literal});
    }
    void push_strict_order(const Term_* atom);
    Node find_equality(Node root_a, Node root_b) const;
    void propagate();
    void merge(const Pending& p);
    void fail(const Pending& p, Node value_a, Node value_b);
    void add_edge(Node child, Node parent, Reason reason, TheoryLit literal);
    void remove_edge(Node a, Node b);
    bool enter(Node n);
    void queue_implied(Node root, bool negated, const Pending& cause);
    void send_equality(Node a, Node b);
    void place(Node n);
    void place_interface(Node n);
    void undo_merge(const Undo& u);
    void undo_last();
    void undo_to(size_t size);
    void settle();
    void recheck();
    void flush_retractions();
    void drop_checks(size_t position);
    void set_checked(Node n, bool as_interface, size_t position, bool changed);
    Node root_of(Node n) const { return nodes_[n].root; }

    // explanations
    void start_explanation();
    void explain_all(std::vector<TheoryLit>& out);
    Node nearest_common_ancestor(Node a, Node b);
    void explain_path(Node from, Node to, std::vector<TheoryLit>& out);
    void explain_edge(Node child, std::vector<TheoryLit>& out);

    TermManager* tm_;
    EqPropagator* propagator_ = nullptr;
    std::vector<EqNode> nodes_;
    std::vector<const Term_*> terms_; // by node; null for symbols and inner cells
    std::vector<Node> node_of_term_;  // by term id
    hsh::HashMap<uint64_t, Node> symbol_nodes_;
    hsh::HashMap<uint64_t, Node> inner_cells_; // by (left, right)
    SignatureTable table_;

    std::vector<Pending> pending_;
    size_t pending_head_ = 0;
    std::vector<Undo> trail_;
    std::vector<TheoryLit> constraints_; // of the CONSTRAINT entries of the trail
    std::vector<Node> lost_;             // of the MERGE entries
    size_t num_checkpoints_ = 0;
    std::vector<Checked> checked_;
    std::vector<size_t>
        checked_at_; // by 2 * node + as_interface: position of the entry in checked_
    std::vector<Checked> to_recheck_; // undone, the last to be looked at first; positions are void
    std::vector<Told> told_;
    std::vector<uint32_t> interface_counts_; // by node: how often it was added

    Node retract_to_ = NONE;                // nodes from here on are to go
    std::vector<Node> retracted_interface_; // these lose their mark

    bool consistent_ = true;
    std::vector<std::pair<Node, Node>> conflict_; // paths to explain
    TheoryLit conflict_literal_;                  // if not undefined, part of it
    std::vector<TheoryLit> implied_;
    size_t implied_head_ = 0;

    bool collect_congruences_ = false;
    bool toplevel_congruence_ = false;
    std::vector<std::pair<const Term_*, const Term_*>> congruences_used_;
    struct Question {
        Node a;
        Node b;
        bool toplevel;
    };
    std::vector<Question> to_explain_;
    bool explaining_toplevel_ = false;
    std::vector<uint32_t> edge_marks_; // by node: explanation that has the edge to its parent
    uint32_t path_stamp_ = 0;
    uint32_t edge_stamp_ = 0;

    // scratch
    std::vector<Node> moved_;
    TermVector build_stack_;
    std::vector<TheoryLit> replay_literals_;

    Stats stats_;
};

} // namespace tarq::euf
