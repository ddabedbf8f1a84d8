// AigEvaluator: the values of circuits under an assignment of their inputs.
#pragma once

#include "encoding/aigmanager.h"

#include <cstdint>
#include <vector>

namespace tarq {

/// Computes values bottom-up without recursion and keeps them, until `reset`, so that many roots
/// over one circuit cost its size once. Borrows the manager.
class AigEvaluator {
public:
    explicit AigEvaluator(const AigManager* manager) : manager_(manager) {}

    /// Forgets all values.
    void reset() { values_.assign(values_.size(), UNKNOWN); }

    /// The value of `a`.
    /// known  called as known(id, bool*) once for each node met: true when it gives the value of
    ///        the node; required for variables, while other nodes are computed from their inputs
    template <class Known>
    bool operator()(Aig a, Known known)
    {
        values_.resize(manager_->num_ids(), UNKNOWN);
        stack_.assign(1, a.id());
        while (!stack_.empty()) {
            const uint32_t id = stack_.back();
            const Aig node(id, false);
            if (values_[id] >= UNKNOWN) {
                if (values_[id] == UNKNOWN && visit(node, known)) {
                    continue;
                }
                if (values_[id] == OPEN) {
                    values_[id] = get(manager_->left(node)) && get(manager_->right(node));
                }
            }
            stack_.pop_back();
        }
        return get(a);
    }

private:
    static constexpr uint8_t UNKNOWN = 2;
    static constexpr uint8_t OPEN = 3; // its inputs are on the stack

    /// Returns true when the inputs come first.
    template <class Known>
    bool visit(Aig node, Known& known)
    {
        bool value = true;
        if (manager_->is_constant(node) || known(node.id(), &value)) {
            values_[node.id()] = value;
            return false;
        }
        values_[node.id()] = OPEN;
        stack_.push_back(manager_->right(node).id());
        stack_.push_back(manager_->left(node).id());
        return true;
    }

    bool get(Aig a) const { return (values_[a.id()] != 0) != a.is_negated(); }

    const AigManager* manager_;
    std::vector<uint8_t> values_; // by id: 0, 1, UNKNOWN or OPEN
    std::vector<uint32_t> stack_;
};

} // namespace tarq
