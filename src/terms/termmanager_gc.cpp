// Collection by mark and sweep.
#include "terms/termmanager.h"

#include "base/bitvector.h"
#include "terms/termvisitor.h"

namespace tarq {

/// Marks the terms that are reached and gathers their symbols.
class TermManager::GcVisitCallback {
public:
    GcVisitCallback(BitVector* seen, SymbolSet* symbols) : seen_(seen), symbols_(symbols) {}
    VisitResult visit(const Term_* t, bool pre)
    {
        if (pre) {
            set_seen(t);
        }
        return VisitResult::PROCESS;
    }

private:
    void set_seen(const Term_* t)
    {
        seen_->set(t->get_id());
        symbols_->insert(t->get_symbol());
    }

    BitVector* seen_;
    SymbolSet* symbols_;
};

namespace {

/// Erases the entries of a table for which `is_dead(element)` holds.
template <class Map, class Pred>
void erase_where(Map& map, Pred is_dead)
{
    for (auto it = map.begin(); it != map.end();) {
        it = is_dead(*it) ? map.erase(it) : ++it;
    }
}

/// Adds a type with everything it is made of.
void keep_type(const DataType* type, TypeSet* types)
{
    TypeVector todo = {type};
    while (!todo.empty()) {
        const DataType* t = todo.back();
        todo.pop_back();
        if (types->insert(t).second) {
            todo.insert(todo.end(), t->get_components().begin(), t->get_components().end());
        }
    }
}

} // namespace

bool TermManager::gc(const TermVector& terms, const std::vector<const Symbol*>& symbols,
                     const TypeVector& types)
{
    if (num_users_ > 1) {
        return false;
    }
    if (simplifier_) {
        simplifier_->forget_terms();
    }
    BitVector seen(bank_.get_next_id());
    SymbolSet kept_symbols;
    GcVisitCallback callback(&seen, &kept_symbols);
    {
        TermVisitor visitor(callback);
        visitor.visit(true_, false);
        visitor.visit(false_, false);
        for (const Term_* t : rounding_terms_) {
            visitor.visit(t, false);
        }
        for (const Term_* t : terms) {
            visitor.visit(t, false);
        }
    }
    for (const Symbol* s : fixed_symbols_) {
        kept_symbols.insert(s);
    }
    for (const Symbol* s : symbols) {
        kept_symbols.insert(s);
    }
    TypeSet kept_types;
    for (const DataType* t : {bool_type_, real_type_, int_type_, array_marker_, bv_marker_,
                              rounding_type_, fp_marker_}) {
        kept_types.insert(t);
    }
    for (const Symbol* s : kept_symbols) {
        keep_type(s->get_type(), &kept_types);
    }
    for (const DataType* t : types) {
        keep_type(t, &kept_types);
    }
    gc_symbol_tables(kept_symbols, seen);
    gc_type_tables(kept_types);
    bank_.remove_unseen(seen);
    signature_.gc(kept_symbols);
    types_.gc(kept_types);
    return true;
}

/// Drops what is known of symbols that go, and of value terms that go while their symbol stays.
void TermManager::gc_symbol_tables(const SymbolSet& symbols, const BitVector& seen)
{
    erase_where(family_symbols_, [&](const auto& e) { return !symbols.contains(e.second); });
    for (size_t i = 1; i < families_.size(); ++i) {
        if (families_[i].symbol && !symbols.contains(families_[i].symbol)) {
            families_[i] = FamilyRecord();
            free_families_.push_back(static_cast<uint32_t>(i));
        }
    }
    erase_where(congruence_symbols_, [&](const auto& e) { return !symbols.contains(e.second); });
    for (size_t i = 0; i < congruences_.size(); ++i) {
        if (congruences_[i].symbol && !symbols.contains(congruences_[i].symbol)) {
            congruences_[i] = CongruenceRecord();
            free_congruences_.push_back(static_cast<uint32_t>(i));
        }
    }
    erase_where(number_records_,
                [&](const auto& e) { return !symbols.contains(numbers_[e.second].symbol); });
    for (size_t i = 0; i < numbers_.size(); ++i) {
        NumberRecord& record = numbers_[i];
        if (record.symbol && !symbols.contains(record.symbol)) {
            record = NumberRecord();
            free_numbers_.push_back(static_cast<uint32_t>(i));
        } else if (record.term && !seen.get(record.term->get_id())) {
            record.term = nullptr;
        }
    }
    // Symbol ids are never used again, so the classes of dead symbols may stay.
    erase_where(copied_symbols_, [&](const auto& e) { return !symbols.contains(e.second); });
    unused_names_.clear();
}

void TermManager::gc_type_tables(const TypeSet& types)
{
    const auto value_dies = [&](const auto& e) { return !types.contains(e.second); };
    const auto key_dies = [&](const auto& e) { return !types.contains(e.first); };
    erase_where(simple_types_, value_dies);
    erase_where(type_of_width_, value_dies);
    erase_where(width_of_type_, key_dies);
    erase_where(type_of_format_, value_dies);
    erase_where(format_of_type_, key_dies);
    erase_where(copied_types_, value_dies);
}

} // namespace tarq
