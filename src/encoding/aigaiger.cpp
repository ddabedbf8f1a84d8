// Text forms of and-inverter graphs.
#include "encoding/aigmanager.h"

#include "base/hashmap.h"

#include <ostream>

namespace tarq {

std::string AigManager::aig2str(Aig a, size_t max_size) const
{
    // a null handle on the stack stands for a closing parenthesis
    std::string out;
    std::vector<Aig> stack{a};
    while (!stack.empty()) {
        const Aig x = stack.back();
        stack.pop_back();
        if (out.size() > max_size) {
            return out.substr(0, max_size) + "...";
        }
        if (x.is_null()) {
            out += ')';
            continue;
        }
        if (!out.empty() && out.back() != '(') {
            out += ' ';
        }
        if (is_constant(x)) {
            out += x.is_negated() ? "false" : "true";
        } else if (x.is_negated()) {
            out += "(not";
            stack.insert(stack.end(), {Aig(), ~x});
        } else if (is_var(x)) {
            out += "v" + std::to_string(var(x));
        } else {
            out += "(and";
            stack.insert(stack.end(), {Aig(), right(x), left(x)});
        }
    }
    return out;
}

void AigManager::aig2aiger(Aig a, std::ostream& out, std::vector<int>* inputs) const
{
    hsh::HashMap<uint32_t, uint32_t> index; // id to AIGER variable
    std::vector<uint32_t> input_ids, gate_ids;
    uint32_t next = 1;
    std::vector<std::pair<uint32_t, bool>> stack{{a.id(), false}};
    while (!stack.empty()) {
        const auto [id, expanded] = stack.back();
        const Aig node(id, false);
        stack.pop_back();
        if (index.find(id) != index.end() || is_constant(node)) {
            continue;
        }
        if (!is_and(node)) {
            index[id] = next++;
            input_ids.push_back(id);
        } else if (expanded) {
            index[id] = next++;
            gate_ids.push_back(id);
        } else {
            stack.emplace_back(id, true);
            stack.emplace_back(right(node).id(), false);
            stack.emplace_back(left(node).id(), false);
        }
    }
    const auto literal = [&](Aig x) {
        const uint32_t negated = x.is_negated() ? 1 : 0;
        return is_constant(x) ? 1 - negated : 2 * index[x.id()] + negated;
    };
    out << "aag " << next - 1 << " " << input_ids.size() << " 0 1 " << gate_ids.size() << "\n";
    for (uint32_t id : input_ids) {
        out << 2 * index[id] << "\n";
        if (inputs) {
            inputs->push_back(var(Aig(id, false)));
        }
    }
    out << literal(a) << "\n";
    for (uint32_t id : gate_ids) {
        out << 2 * index[id] << " " << literal(left(Aig(id, false))) << " "
            << literal(right(Aig(id, false))) << "\n";
    }
}

} // namespace tarq
