#include "terms/signature.h"

#include <memory>

namespace tarq {

Signature::Signature(TypeUniverse* types) : types_(types) {}

Signature::~Signature()
{
    gc(SymbolSet());
}

size_t Signature::compute_arity(const DataType* type) const
{
    const TypeVector& parts = type->get_components();
    return !parts.empty() && parts[0] == types_->get_application_type() ? parts.size() - 2 : 0;
}

Symbol* Signature::new_symbol(const std::string& name, const DataType* type)
{
    Symbol* s = new Symbol(next_id_, name, compute_arity(type), type, bool_type_);
    ++next_id_;
    return s;
}

void Signature::set_negation(const Symbol* s)
{
    by_name_.find(s->get_name())->second->term_class_ = TermClass::NEGATION;
}

const Symbol* Signature::add_symbol(const std::string& name, const DataType* type)
{
    auto it = by_name_.find(name);
    if (it != by_name_.end()) {
        throw make_error<error>("A symbol with name `", name,
                                "' already exists, with type: ", it->second->get_type()->to_str());
    }
    Symbol* s = new_symbol(name, type);
    by_name_.insert({name, s});
    return s;
}

const Symbol* Signature::add_unlisted_symbol(const std::string& name, const DataType* type)
{
    unlisted_.push_back(nullptr);
    return unlisted_.back() = new_symbol(name, type);
}

void Signature::remove_symbol(const std::string& name)
{
    auto it = by_name_.find(name);
    if (it == by_name_.end()) {
        throw make_error<error>("No symbol with name `", name, "' is present");
    }
    removed_.push_back(it->second);
    by_name_.erase(it);
}

const Symbol* Signature::get_symbol(const std::string& name) const
{
    auto it = by_name_.find(name);
    return it == by_name_.end() ? nullptr : it->second;
}

bool Signature::is_listed(const Symbol* s) const
{
    return get_symbol(s->get_name()) == s;
}

void Signature::gc(const SymbolSet& kept)
{
    for (auto it = by_name_.begin(); it != by_name_.end();) {
        Symbol* s = it->second;
        if (kept.contains(s)) {
            ++it;
        } else {
            it = by_name_.erase(it);
            delete s;
        }
    }
    for (std::vector<Symbol*>* list : {&unlisted_, &removed_}) {
        size_t n = 0;
        for (Symbol* s : *list) {
            if (s && kept.contains(s)) {
                (*list)[n++] = s;
            } else {
                delete s;
            }
        }
        list->resize(n);
    }
}

void Signature::gc_removed()
{
    for (Symbol* s : removed_) {
        delete s;
    }
    removed_.clear();
}

} // namespace tarq
