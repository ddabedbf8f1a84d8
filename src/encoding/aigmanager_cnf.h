// The conversions of and-inverter graphs to clauses, templates over the receiver of the clauses.
// Included by the sources that instantiate them.
#pragma once

#include "base/assertion.h"
#include "encoding/aigcutmapper.h"
#include "encoding/aigmanager.h"

namespace tarq {

/// Counts in `parents_` the uses of each node below `root`, down to the nodes that have labels;
/// `touched_` then lists the counted nodes.
template <class Sink>
void AigManager::count_parents(Aig root, Sink& sink)
{
    parents_.resize(nodes_.size(), 0);
    absorbed_.resize(nodes_.size(), 0);
    stack_.assign(1, root.id());
    parents_[root.id()] = 1;
    touched_.assign(1, root.id());
    while (!stack_.empty()) {
        const uint32_t id = stack_.back();
        stack_.pop_back();
        const Node& n = nodes_[id];
        if (n.right.is_null() || sink.has_label(id)) {
            continue;
        }
        for (const Aig in : {n.left, n.right}) {
            if (parents_[in.id()]++ == 0) {
                touched_.push_back(in.id());
                stack_.push_back(in.id());
            }
        }
    }
}

/// Finds out what gate the node becomes, and puts those of its inputs on the stack that need a
/// label first. Returns false, with the node labelled, when there is nothing to define.
template <class Sink>
bool AigManager::open_gate(uint32_t node, Sink& sink)
{
    if (sink.has_label(node)) {
        return false;
    }
    if (!is_and(Aig(node, false))) {
        sink.set_label(node);
        if (node == CONSTANT) {
            sink.add_literal(Aig(node, false));
            sink.add_clause();
        }
        return false;
    }
    Gate g{Gate::CONJUNCTION, node, gate_inputs_.size()};
    Aig c, t, e;
    if (match_multiplexer(node, &c, &t, &e)) {
        g.kind = Gate::MULTIPLEXER;
        gate_inputs_.insert(gate_inputs_.end(), {c, t, e});
    } else {
        collect_.assign({nodes_[node].right, nodes_[node].left});
        while (!collect_.empty()) {
            const Aig in = collect_.back();
            collect_.pop_back();
            Aig x, y, z;
            if (!in.is_negated() && is_and(in) && parents_[in.id()] == 1 && !absorbed_[in.id()] &&
                !sink.has_label(in.id()) && !match_multiplexer(in.id(), &x, &y, &z)) {
                absorbed_[in.id()] = 1;
                collect_.push_back(right(in));
                collect_.push_back(left(in));
            } else {
                gate_inputs_.push_back(in);
            }
        }
    }
    gates_.push_back(g);
    for (size_t i = gate_inputs_.size(); i-- > g.inputs;) {
        if (!sink.has_label(gate_inputs_[i].id())) {
            stack_.push_back(gate_inputs_[i].id());
        }
    }
    return true;
}

/// All inputs have labels: gives the node its own and writes the definition.
template <class Sink>
void AigManager::close_gate(const Gate& g, Sink& sink)
{
    const Aig out(g.node, false);
    const Aig* in = gate_inputs_.data() + g.inputs;
    const Aig* end = gate_inputs_.data() + gate_inputs_.size();
    sink.set_label(g.node);
    if (g.kind == Gate::MULTIPLEXER) {
        for (int branch = 0; branch < 2; ++branch) {
            const Aig guard = in[0] ^ (branch == 0); // false when the branch is taken
            for (const bool sign : {false, true}) {
                sink.add_literal(guard);
                sink.add_literal(out ^ sign);
                sink.add_literal(~in[1 + branch] ^ sign);
                sink.add_clause();
            }
        }
        return;
    }
    for (const Aig* i = in; i != end; ++i) {
        sink.add_literal(~out);
        sink.add_literal(*i);
        sink.add_clause();
    }
    sink.add_literal(out);
    for (const Aig* i = in; i != end; ++i) {
        sink.add_literal(~*i);
    }
    sink.add_clause();
}

template <class Sink>
void AigManager::aig2cnf_tseitin(Aig a, Sink& sink)
{
    gates_.clear();
    gate_inputs_.clear();
    count_parents(a, sink);
    // A gate is on gates_ between the visit before and the visit after its inputs; its node then
    // lies below them on the stack.
    stack_.assign(1, a.id());
    while (!stack_.empty()) {
        const uint32_t node = stack_.back();
        if (!gates_.empty() && gates_.back().node == node) {
            close_gate(gates_.back(), sink);
            gate_inputs_.resize(gates_.back().inputs);
            gates_.pop_back();
            stack_.pop_back();
        } else if (!open_gate(node, sink)) {
            stack_.pop_back();
        }
    }
    clear_parents();
}

template <class Sink>
void AigManager::aig2cnf_ls(Aig a, Sink& sink)
{
    if (!mapper_) {
        mapper_ = std::make_unique<AigCutMapper>(this);
    }
    count_parents(a, sink);
    mapper_->map(a, touched_, parents_, [&sink](uint32_t id) { return sink.has_label(id); });
    clear_parents();
    for (const AigCutMapper::Choice& c : mapper_->choices()) {
        sink.set_label(c.node);
        const Aig out(c.node, false);
        if (c.num_leaves == AigCutMapper::IS_LEAF) {
            continue;
        }
        for (const bool negated : {false, true}) {
            // every cube of the function implies the node, every one of its complement the negation
            for (const AigCover::Cube cube : mapper_->cover(negated ? ~c.function : c.function)) {
                for (unsigned i = 0; i < c.num_leaves; ++i) {
                    const Aig leaf(c.leaves[i], false);
                    if (cube.has_positive(i)) {
                        sink.add_literal(~leaf);
                    } else if (cube.has_negative(i)) {
                        sink.add_literal(leaf);
                    }
                }
                sink.add_literal(out ^ negated);
                sink.add_clause();
            }
        }
    }
}

} // namespace tarq
