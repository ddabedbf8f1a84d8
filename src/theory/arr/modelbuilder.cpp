#include "theory/arr/modelbuilder.h"

#include <algorithm>

namespace tarq::arr {

size_t ModelBuilder::component(size_t c)
{
    while (entries_[c].parent != c) {
        entries_[c].parent = entries_[entries_[c].parent].parent;
        c = entries_[c].parent;
    }
    return c;
}

void ModelBuilder::build_model()
{
    solver_->group();
    const std::vector<SolverBase::Class>& classes = solver_->get_classes();
    entries_.clear();
    places_.clear();
    for (const SolverBase::Class& c : classes) {
        for (const Term_* a : c.arrays) {
            places_[a] = entries_.size();
        }
        entries_.push_back({TermManager::get_type(c.arrays.front()),
                            {},
                            c.constants.empty() ? nullptr : c.constants.front()->child(0),
                            entries_.size(),
                            nullptr});
    }
    for (size_t c = 0; c < classes.size(); ++c) {
        for (const SolverBase::Step& s : classes[c].steps) {
            const size_t a = component(c);
            const size_t b = component(s.to);
            entries_[std::max(a, b)].parent = std::min(a, b);
        }
    }
    for (const SolverBase::Read& r : solver_->get_reads()) {
        solver_->walk(r.array, r.index, [&](uint32_t c) {
            entries_[c].reads.push_back(r.term);
            return true;
        });
    }
    for (size_t c = 0; c < entries_.size(); ++c) {
        Entry& first = entries_[component(c)];
        if (!first.constant) {
            first.constant = entries_[c].constant;
        }
    }
    base_elements_.assign(entries_.size(), nullptr);
}

/// Some value of the type. Arrays that nothing tells apart need not differ.
const Term_* ModelBuilder::any_value(const DataType* type)
{
    size_t width = 0;
    size_t mant = 0;
    const DataType* element = nullptr;
    if (tm_->is_arith_type(type)) {
        return tm_->make_number(QNumber(0));
    }
    if (tm_->is_bv_type(type, &width)) {
        return tm_->make_bv_number(QNumber(0), width);
    }
    if (tm_->is_fp_type(type, &width, &mant)) {
        return tm_->make_fp_bits_number(QNumber(0), width, mant);
    }
    if (type == tm_->get_bool_type()) {
        return tm_->make_false();
    }
    if (type == tm_->get_rounding_type()) {
        return tm_->make_fprounding_even();
    }
    if (tm_->is_array_type(type, nullptr, &element)) {
        return tm_->make_array_const(type, any_value(element));
    }
    return tm_->make_constant(tm_->make_symbol(".element" + type->to_str(), type));
}

/// What the classes of a component hold where nothing is read.
const Term_* ModelBuilder::base_element(size_t c, const Evaluate& evaluate)
{
    const size_t first = component(c);
    if (base_elements_[first]) {
        return base_elements_[first];
    }
    const Term_* element = nullptr;
    if (entries_[first].constant) {
        element = evaluate(entries_[first].constant);
    }
    for (size_t i = first; !element && i < entries_.size(); ++i) {
        if (component(i) == first && !entries_[i].reads.empty()) {
            element = evaluate(entries_[i].reads.front());
        }
    }
    if (!element) {
        const DataType* type = nullptr;
        tm_->is_array_type(entries_[c].type, nullptr, &type);
        element = any_value(type);
    }
    return base_elements_[first] = element;
}

const Term_* ModelBuilder::get_value(const Term_* array, const Evaluate& evaluate)
{
    const auto it = places_.find(array);
    if (it == places_.end()) {
        return nullptr;
    }
    const size_t c = it->second;
    if (entries_[c].value) {
        return entries_[c].value;
    }
    const Term_* base = base_element(c, evaluate);
    std::vector<std::pair<const Term_*, const Term_*>> table;
    for (const Term_* r : entries_[c].reads) {
        const Term_* index = evaluate(r->child(1));
        const Term_* element = evaluate(r);
        if (index && element && element != base) {
            table.emplace_back(index, element);
        }
    }
    std::sort(table.begin(), table.end(),
              [](const auto& a, const auto& b) { return a.first->get_id() < b.first->get_id(); });
    table.erase(std::unique(table.begin(), table.end(),
                            [](const auto& a, const auto& b) { return a.first == b.first; }),
                table.end());
    const Term_* value = tm_->make_array_const(entries_[c].type, base);
    for (const auto& [index, element] : table) {
        value = tm_->make_array_write(value, index, element);
    }
    return entries_[c].value = value;
}

} // namespace tarq::arr
