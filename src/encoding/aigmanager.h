// AigManager: and-inverter graphs, circuits of two-input conjunctions with inverters on the edges.
// Sources by verb: aigmanager.cpp (building), aigaiger.cpp (text forms); the conversions to clauses
// are templates over the receiver, in aigmanager_cnf.h.
#pragma once

#include "base/exception.h"
#include "encoding/aig.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

class AigCutMapper;

/// Owns the nodes of Boolean circuits. Nodes are shared: building the same conjunction again gives
/// the same node, and a constructor looks two levels down for something simpler. The manager only
/// grows; a node is 8 bytes and 4 to 8 more in the table.
///
/// Invariants
///   1. The inputs of a conjunction have smaller ids than the node, the left one the smaller.
///   2. Node 1 is the constant true. It is in no table, so that no variable is taken for it.
class AigManager {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    AigManager();
    ~AigManager();
    AigManager(const AigManager&) = delete;
    AigManager& operator=(const AigManager&) = delete;

    Aig aig_true() const { return Aig(CONSTANT, false); }
    Aig aig_false() const { return Aig(CONSTANT, true); }
    Aig aig_not(Aig a) const { return ~a; }
    /// The variable of that number, the same node each time.
    Aig aig_var(int var);
    /// Whether the variable of that number exists.
    bool has_var(int var) const;

    /// The conjunction, simplified by what the inputs and their inputs show. Amortised constant.
    /// throws  error "too many nodes" at 2^31 - 1 nodes
    Aig aig_and(Aig a, Aig b);
    /// The conjunction as a node of its own, shared but not simplified.
    Aig aig_nosimpl_and(Aig a, Aig b);
    Aig aig_or(Aig a, Aig b) { return ~aig_and(~a, ~b); }
    Aig aig_ite(Aig c, Aig t, Aig e);
    /// Built on the positive nodes, so that all four sign patterns share it.
    Aig aig_iff(Aig a, Aig b);
    Aig aig_xor(Aig a, Aig b) { return ~aig_iff(a, b); }

    /// Whether the node is a conjunction.
    bool is_and(Aig a) const { return !nodes_[a.id()].right.is_null(); }
    /// Whether the node is a variable.
    bool is_var(Aig a) const { return !is_and(a) && !is_constant(a); }
    bool is_constant(Aig a) const { return a.id() == CONSTANT; }
    /// The inputs of a conjunction.
    Aig left(Aig a) const { return nodes_[a.id()].left; }
    Aig right(Aig a) const { return nodes_[a.id()].right; }
    /// The number of a variable.
    int var(Aig a) const { return static_cast<int>(nodes_[a.id()].left.word()); }
    /// Gives the inputs of a conjunction and returns true; false for other nodes.
    bool aig_get_components(Aig a, Aig* left, Aig* right) const;
    /// Ids are below this.
    uint32_t num_ids() const { return static_cast<uint32_t>(nodes_.size()); }

    /// Lisp-style text, shared nodes written out once for each use.
    /// max_size  characters after which the text is cut off
    std::string aig2str(Aig a, size_t max_size = 100000) const;
    /// Writes the circuit of `a` in the ASCII AIGER format, with one output. The inputs are in the
    /// order in which a depth-first walk meets them.
    /// inputs  when not null, receives the numbers of the variables, in the order of the inputs
    void aig2aiger(Aig a, std::ostream& out, std::vector<int>* inputs = nullptr) const;

    /// Clauses by definitions, one for each wide conjunction and each multiplexer (equivalences
    /// among them) below `a` that has no label yet. Afterwards `a` has one.
    ///
    /// sink  offers has_label(id), set_label(id), add_literal(Aig) and add_clause(). A node has a
    ///       label only together with its clauses, so the walk ends there.
    template <class Sink>
    void aig2cnf_tseitin(Aig a, Sink& sink);
    /// Clauses by cut mapping: the circuit is covered by functions of up to four inputs, and each
    /// is written by the shortest clauses known for it and its complement. The same sink.
    template <class Sink>
    void aig2cnf_ls(Aig a, Sink& sink);

private:
    friend class AigCutMapper;
    struct Node {
        Aig left;
        Aig right; // null: a variable, whose number is the word of `left`, or the constant
    };
    static constexpr uint32_t CONSTANT = 1;

    /// Where the node stands in the table, or the free place where it belongs.
    size_t find_place(Node n) const;
    Aig insert(Node n);
    void grow_table();
    static size_t hash_node(Node n);
    bool simplify_1(Aig a, Aig b, Aig* out) const;
    bool simplify_2(Aig a, Aig b, Aig* out) const;
    bool simplify_3(Aig* a, Aig* b) const;
    bool simplify_pair(Aig a, Aig b, Aig* out) const;
    bool substitute_pair(Aig* a, Aig b) const;

    struct Gate {
        enum Kind : uint8_t { CONJUNCTION, MULTIPLEXER } kind;
        uint32_t node;
        size_t inputs; // where its inputs start in gate_inputs_; they end at the array's end
    };
    template <class Sink>
    void count_parents(Aig root, Sink& sink);
    void clear_parents();
    template <class Sink>
    bool open_gate(uint32_t node, Sink& sink);
    template <class Sink>
    void close_gate(const Gate& g, Sink& sink);
    bool match_multiplexer(uint32_t node, Aig* c, Aig* t, Aig* e) const;

    std::vector<Node> nodes_;
    std::vector<uint32_t> table_; // open addressing; ids, 0 for free; a power of two long
    size_t table_used_ = 0;

    // Scratch of the conversions. parents_ is all zero between them; absorbed_ lasts: a node that
    // was part of a wide gate once gets a gate of its own when it is met again, so that a chain
    // shared by many roots is not copied into each.
    std::vector<uint32_t> parents_;
    std::vector<uint8_t> absorbed_;
    std::vector<uint32_t> touched_;
    std::vector<uint32_t> stack_;
    std::vector<Gate> gates_;
    std::vector<Aig> gate_inputs_;
    std::vector<Aig> collect_;
    std::unique_ptr<AigCutMapper> mapper_; // made when it is first used
};

} // namespace tarq
