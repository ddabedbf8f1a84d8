// AigCutMapper: covers a part of an and-inverter graph by functions of up to four inputs.
#pragma once

#include "encoding/aigcover.h"
#include "encoding/aigmanager.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq {

/// Chooses for the nodes below a root the functions that clauses are written for.
///
/// Method: a cut of a node is a set of nodes such that every path from an input to the node meets
/// one; the cuts of a conjunction are unions of the cuts of its inputs. The few best of up to four
/// nodes are kept, with the truth table of the node over them. Bottom-up, each node takes the cut
/// with the fewest clauses, what lies below included, shared nodes at a share of their cost; the
/// nodes that the root's choice reaches are the ones that get labels (N. Een, A. Mishchenko and N.
/// Sorensson, "Applying logic synthesis for speeding up SAT").
class AigCutMapper {
public:
    static constexpr unsigned MAX_LEAVES = 4;
    static constexpr uint8_t IS_LEAF = 255;

    /// A node with the function that it is of its leaves.
    struct Choice {
        uint32_t node;
        uint32_t leaves[MAX_LEAVES]; // node ids, ascending; input i of the function is leaf i
        uint16_t function;
        uint8_t num_leaves; // IS_LEAF for a variable without label, which is no function
    };

    explicit AigCutMapper(const AigManager* manager) : manager_(manager) {}

    /// Fills choices() with the nodes below `root` that need a label, each after its leaves; empty
    /// when the root has one.
    /// nodes     the ids below the root, down to the nodes with labels and including them, in any
    ///           order; sorted by this
    /// refs      by id: how many of these use it
    /// is_label  whether a node has a label
    /// Nearly linear: the number of cuts kept for a node falls with the number of nodes.
    template <class IsLabelled>
    void map(Aig root, std::vector<uint32_t>& nodes, const std::vector<uint32_t>& refs,
             IsLabelled is_labelled)
    {
        start(nodes);
        for (uint32_t id : nodes) {
            const bool leaf = is_labelled(id);
            if (leaf || !manager_->is_and(Aig(id, false))) {
                add_leaf(id, leaf);
            } else {
                add_node(id, refs);
            }
        }
        collect(root.id());
    }

    const std::vector<Choice>& choices() const { return choices_; }
    std::span<const AigCover::Cube> cover(unsigned function)
    {
        return cover_(static_cast<uint16_t>(function));
    }

private:
    struct Cut {
        uint32_t leaves[MAX_LEAVES];
        uint32_t signature; // bit (id modulo 32) of each leaf
        uint16_t function;
        uint8_t num_leaves;
    };
    struct Info {
        uint32_t first_cut;
        uint32_t num_cuts; // the first one is the best, except for leaves
        uint64_t cost;
        bool leaf;     // has a label, or is a variable or the constant
        bool labelled; // had a label before
    };

    void start(std::vector<uint32_t>& nodes);
    void add_leaf(uint32_t id, bool labelled);
    void add_node(uint32_t id, const std::vector<uint32_t>& refs);
    void collect(uint32_t root);
    void choose(Info& info, const std::vector<uint32_t>& refs);
    bool merge_cuts(const Cut& a, const Cut& b, Cut* out) const;
    bool filter_cut(const Cut& c);
    static uint16_t expand(const Cut& from, const Cut& to);
    static void minimize_support(Cut* c);

    const AigManager* manager_;
    AigCover cover_;
    uint32_t max_cuts_ = 0;
    std::vector<uint32_t> position_; // by id: index in infos_ during a run
    std::vector<Info> infos_;
    std::vector<Cut> cuts_;
    std::vector<Cut> kept_; // of the node at hand
    std::vector<uint8_t> done_;
    std::vector<uint32_t> stack_;
    std::vector<Choice> choices_;
};

} // namespace tarq
