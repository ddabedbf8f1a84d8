#include "terms/typeuniverse.h"

#include "base/assertion.h"

#include <utility>

namespace tarq {

DataType::DataType(uint64_t id, std::string name) : id_(id), hash_(id), name_(std::move(name)) {}

DataType::DataType(const TypeVector& components) : id_(0), hash_(0), components_(components)
{
    for (const DataType* c : components_) {
        hash_ ^= c->hash() + (hash_ << 6) + (hash_ >> 2);
    }
}

const std::string& DataType::get_name() const
{
    if (!is_simple()) {
        throw TypeUniverse::error("Not a simple type!");
    }
    return name_;
}

const DataType* DataType::get_component(size_t i) const
{
    if (is_simple()) {
        throw make_error<TypeUniverse::error>(to_str(), " is a simple type");
    }
    if (i >= components_.size()) {
        throw make_error<TypeUniverse::error>(to_str(), " has not enough components");
    }
    return components_[i];
}

std::string DataType::to_str(size_t max_size) const
{
    std::string out;
    std::vector<std::pair<const DataType*, size_t>> stack; // a type and its next component
    stack.emplace_back(this, 0);
    while (!stack.empty()) {
        if (out.size() > max_size) {
            return out.substr(0, max_size) + "...";
        }
        const DataType* t = stack.back().first;
        const size_t i = stack.back().second++;
        if (t->is_simple()) {
            out += t->name_.empty() ? "T(" + std::to_string(t->id_) + ")" : t->name_;
            stack.pop_back();
        } else if (i == t->components_.size()) {
            out += '>';
            stack.pop_back();
        } else {
            out += i == 0 ? "<" : ", ";
            stack.emplace_back(t->components_[i], 0);
        }
    }
    return out;
}

TypeUniverse::TypeUniverse() : application_(new DataType(1, "->")) {}

TypeUniverse::~TypeUniverse()
{
    for (const DataType* t : types_) {
        delete t;
    }
    delete application_;
}

bool TypeUniverse::StructureEq::operator()(const DataType* a, const DataType* b) const
{
    return a->get_id() == b->get_id() && a->get_components() == b->get_components();
}

const DataType* TypeUniverse::make_type(const std::string& name)
{
    const DataType* t = new DataType(next_id_, name);
    ++next_id_;
    types_.insert(t);
    return t;
}

const DataType* TypeUniverse::make_type(const TypeVector& components)
{
    TARQ_ASSERT(!components.empty());
    const DataType candidate(components);
    auto it = types_.find(&candidate);
    if (it != types_.end()) {
        return *it;
    }
    const DataType* t = new DataType(components);
    types_.insert(t);
    return t;
}

void TypeUniverse::set_subtype(const DataType* super, const DataType* sub)
{
    if (super == application_ || sub == application_) {
        throw error("the special application type can't occur in the subtype relation");
    }
    if (subtype_of_.contains(sub)) {
        throw make_error<error>(sub->to_str(), " is already a subtype of another type");
    }
    if (is_subtype(super, sub)) {
        throw make_error<error>(super->to_str(), " is a subtype of ", sub->to_str());
    }
    subtype_of_[sub] = super;
}

bool TypeUniverse::is_declared_subtype(const DataType* a, const DataType* b) const
{
    // set_subtype keeps the relation free of cycles, so the walk ends
    while (a != b) {
        auto it = subtype_of_.find(a);
        if (it == subtype_of_.end()) {
            return false;
        }
        a = it->second;
    }
    return true;
}

bool TypeUniverse::is_subtype(const DataType* a, const DataType* b) const
{
    if (is_declared_subtype(a, b)) {
        return true;
    }
    if (a->is_simple() || a->num_components() != b->num_components()) {
        return false;
    }
    // Pairs of components that must be subtypes. Components are shared, so a pair can come up
    // exponentially often: each is looked at once.
    using Pair = std::pair<const DataType*, const DataType*>;
    std::vector<Pair> todo;
    hsh::HashSet<Pair> seen;
    const auto push_components = [&](const DataType* x, const DataType* y) {
        for (size_t i = 0; i < x->num_components(); ++i) {
            todo.emplace_back(x->get_components()[i], y->get_components()[i]);
        }
    };
    push_components(a, b);
    while (!todo.empty()) {
        const auto [x, y] = todo.back();
        todo.pop_back();
        if (is_declared_subtype(x, y)) {
            continue;
        }
        if (x->is_simple() || x->num_components() != y->num_components()) {
            return false;
        }
        if (seen.insert({x, y}).second) {
            push_components(x, y);
        }
    }
    return true;
}

void TypeUniverse::remove_type(const DataType* t)
{
    if (t == application_) {
        return;
    }
    subtype_of_.erase(t);
    types_.erase(t);
    delete t;
}

void TypeUniverse::gc(const TypeSet& kept)
{
    TypeSet all = kept;
    TypeVector todo(kept.begin(), kept.end());
    while (!todo.empty()) {
        const DataType* t = todo.back();
        todo.pop_back();
        const auto keep = [&](const DataType* x) {
            if (all.insert(x).second) {
                todo.push_back(x);
            }
        };
        for (const DataType* c : t->get_components()) {
            keep(c);
        }
        auto super = subtype_of_.find(t);
        if (super != subtype_of_.end()) {
            keep(super->second);
        }
    }
    for (auto it = subtype_of_.begin(); it != subtype_of_.end();) {
        it = all.contains(it->first) ? ++it : subtype_of_.erase(it);
    }
    for (auto it = types_.begin(); it != types_.end();) {
        const DataType* t = *it;
        if (all.contains(t)) {
            ++it;
        } else {
            it = types_.erase(it);
            delete t;
        }
    }
}

} // namespace tarq
