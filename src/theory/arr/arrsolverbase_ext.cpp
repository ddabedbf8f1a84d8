// Constant arrays that meet, and arrays that have to differ somewhere.
#include "encoding/polaritychecker.h"
#include "terms/typesize.h"
#include "theory/arr/arrsolverbase.h"
#include "theory/euf/eufsolver.h"
#include "theory/iesimplifier.h"

#include <algorithm>

namespace tarq::arr {

// -- Constant arrays

/// Two constant arrays that writes connect have one element if some index stays unwritten on the
/// way.
void SolverBase::make_const_lemmas()
{
    for (const Term_* k : constants_) {
        poll();
        if (!join_constants(k) && config_.lazy_lemmas) {
            return;
        }
    }
}

/// Returns false when it made a lemma.
bool SolverBase::join_constants(const Term_* first)
{
    const Term_* element = first->child(0);
    const Term_* value = key_of(element);
    return walk(class_of(first), nullptr, [&](uint32_t c) {
        for (const Term_* k : classes_[c].constants) {
            if (key_of(k->child(0)) == value) {
                continue;
            }
            std::vector<TheoryLit> clause;
            add_equality(clause, element, k->child(0), false);
            const Term_* at = add_path(clause, first, nullptr, visits_, c);
            add_reasons(clause, at, k);
            const DataType* index = nullptr;
            tm_->is_array_type(TermManager::get_type(first), &index);
            const QNumber size = num_values(tm_, index);
            if (!size.is_zero() && size <= QNumber(path_.size())) {
                if (instantiate_everywhere(first)) {
                    return false;
                }
                continue; // the reads of `first` at all indices say the rest
            }
            ++num_const_lemmas_;
            push_lemma(Kind::READ_OVER_WRITE, nullptr, nullptr, std::move(clause));
            return false;
        }
        return true;
    });
}

/// Reads a constant array over a small type at every index. Returns false when that is done
/// already.
bool SolverBase::instantiate_everywhere(const Term_* constant)
{
    const DataType* index = nullptr;
    tm_->is_array_type(TermManager::get_type(constant), &index);
    bool made = false;
    for (const Term_* at : list_values(tm_, index)) {
        if (!consts_done_.insert({constant, at}).second) {
            continue;
        }
        std::vector<std::vector<TheoryLit>> clauses{{}};
        add_equality_fully(clauses, make_read(constant, at), constant->child(0), false);
        for (std::vector<TheoryLit>& clause : clauses) {
            push_lemma(Kind::CONSTANT, constant, at, std::move(clause));
        }
        ++num_const_lemmas_;
        made = true;
    }
    return made;
}

// -- Arrays that differ

/// For each place where arrays stand that are compared as a whole, those that stand there, one of
/// each class. Without theory.arr.enable_ext_arg every two arrays of one type count as compared, but
/// for those that only lemmas of this kind brought: they would bring ever more of them.
void SolverBase::list_positions(std::vector<TermVector>& lists)
{
    hsh::HashMap<PositionKey, size_t> places;
    hsh::HashMap<const DataType*, size_t> type_places;
    hsh::HashSet<std::pair<uint32_t, size_t>> known; // class and list
    const auto add = [&](const Term_* a, auto& table, const auto& key) {
        const auto [it, fresh] = table.insert({key, lists.size()});
        if (fresh) {
            lists.emplace_back();
        }
        if (known.insert({class_of(a), it->second}).second) {
            lists[it->second].push_back(a);
        }
    };
    for (const Term_* a : arrays_) {
        const Term_* index = tm_->is_array_read(a) ? a->child(1) : a;
        if (!config_.enable_ext_arg && !witnesses_.contains(index)) {
            add(a, type_places, TermManager::get_type(a));
        }
        const auto it = arg_positions_.find(a);
        if (it == arg_positions_.end()) {
            continue;
        }
        for (const ArgPos& p : it->second) {
            add(a, places, PositionKey{p.symbol, static_cast<uint64_t>(p.position)});
        }
    }
}

/// A read of each of two arrays at a fresh index, where they differ if they do at all. Needed for
/// arrays that an atom says to differ, and for those that stand as the same argument of the same
/// function, whose values could otherwise turn out the same.
void SolverBase::make_ext_lemmas()
{
    poll();
    const size_t limit = config_.lazy_lemmas ? static_cast<size_t>(config_.max_ext_lemmas) : 0;
    const auto is_full = [&] { return limit != 0 && lemmas_.size() >= limit; };
    hsh::HashSet<std::pair<uint32_t, uint32_t>> pairs; // of classes, one lemma for each
    const auto is_open = [&](const Term_* a, const Term_* b) {
        const uint32_t x = class_of(a);
        const uint32_t y = class_of(b);
        return x != y && pairs.insert(std::minmax(x, y)).second &&
               !(config_.enable_witness && has_witness(x, y));
    };
    std::vector<TermVector> lists;
    list_positions(lists);
    for (const TermVector& list : lists) {
        for (size_t i = 0; i < list.size() && !is_full(); ++i) {
            for (size_t j = i + 1; j < list.size() && !is_full(); ++j) {
                if (is_open(list[i], list[j])) {
                    make_ext_lemma(list[i], list[j]);
                }
            }
        }
    }
    for (const Term_* eq : equalities_) {
        if (is_full()) {
            return;
        }
        const Term_* a = eq->child(0);
        const Term_* b = eq->child(1);
        // Each atom counts for itself: of two that say the same, one may matter.
        if (!is_irrelevant(eq) && euf_->unmergeable_terms(a, b) && is_open(a, b)) {
            make_ext_lemma(a, b);
        }
    }
}

/// Whether reads at one index show that two classes differ.
bool SolverBase::has_witness(uint32_t a, uint32_t b)
{
    hsh::HashMap<const Term_*, uint32_t> by_index;
    for (uint32_t r : classes_[a].reads) {
        by_index.insert({read_infos_[r].index, r});
    }
    return std::any_of(classes_[b].reads.begin(), classes_[b].reads.end(), [&](uint32_t s) {
        const auto it = by_index.find(read_infos_[s].index);
        return it != by_index.end() && are_apart(read_infos_[it->second], read_infos_[s]);
    });
}

/// Whether the closure knows that two terms differ, and the model will have it so: what the formula
/// does not need of disequalities may be kept from the solver of numbers, and gets no lemma for
/// arrays.
bool SolverBase::are_surely_apart(const Term_* a, const Term_* b) const
{
    if (!euf_->unmergeable_terms(a, b)) {
        return false;
    }
    const DataType* type = TermManager::get_type(a);
    const bool by_value =
        tm_->is_arith_type(type) || (config_.enable_ext_polarity && tm_->is_array_type(type));
    std::vector<TheoryLit> lits;
    if (!polarity_ || !by_value || !euf_->collect_disequalities(a, b, lits)) {
        return true;
    }
    return std::none_of(lits.begin(), lits.end(), [this](TheoryLit l) {
        return l.is_neg() && tm_->is_equal(l.get_term()) && (*polarity_)(l.get_term()) == 2;
    });
}

/// Whether the atom occurs positively only: the formula is satisfied without its being false.
bool SolverBase::is_irrelevant(const Term_* eq) const
{
    return config_.enable_ext_polarity && polarity_ && (*polarity_)(eq) == 2;
}

void SolverBase::make_ext_lemma(const Term_* a, const Term_* b)
{
    const Term_* eq = make_interface_equality(tm_, a, b);
    if (!tm_->is_equal(eq) || !exts_done_.insert(eq).second) {
        return;
    }
    const DataType* index = nullptr;
    tm_->is_array_type(TermManager::get_type(a), &index);
    TermVector indices{tm_->make_true(), tm_->make_false()}; // of a truth value there are no others
    if (index != tm_->get_bool_type()) {
        const Symbol* symbol = tm_->make_symbol(".idx" + std::to_string(eq->get_id()), index);
        indices = {tm_->make_constant(symbol)};
        witnesses_.insert(indices.front());
    }
    std::vector<std::vector<TheoryLit>> clauses{{TheoryLit(eq, false)}};
    for (const Term_* k : indices) {
        add_equality_fully(clauses, make_read(a, k), make_read(b, k), true);
    }
    for (std::vector<TheoryLit>& clause : clauses) {
        push_lemma(Kind::EXTENSIONALITY, eq, nullptr, std::move(clause));
    }
    ++num_ext_lemmas_;
}

} // namespace tarq::arr
